#pragma once
// uReplyReceiver: decides what becomes of a request, by what arrives and when.

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>

#include "platform/modbus/uLateReplies.h"
#include "platform/modbus/uLineTiming.h"
#include "platform/modbus/uReplyScanner.h"

namespace OrvixModBus {

/// The receiving half of a line, without the line: it is given the bytes with their times, and
/// says how a request ended and when to look again. Frames have their check sums, replies not.
class TReplyReceiver {
 public:
  using TTime = std::chrono::steady_clock::time_point;

  TReplyReceiver(const TLineSettings& settings, const TReplyLengths& lengths);

  void SetTiming(const TLineTiming& timing) { fTiming = timing; }
  /// A port has been opened: what was learnt of the former one is forgotten.
  void Reset();

  /// frame, an attempt of transaction, is about to be sent: whatever is held came before it.
  void Expect(std::span<const std::uint8_t> frame, std::uint64_t transaction);
  /// The last character of the frame leaves at end.
  void Sent(TTime end, TTime now);
  /// The attempt is over, or was a broadcast: only late replies are of interest from now on.
  void ExpectNothing();
  /// The attempt is given up before its time, with nothing known of its reply.
  void GiveUp();

  std::span<std::uint8_t> Room() { return fScanner.Room(); }
  void Received(std::size_t count, TTime now);

  /// True when the attempt is over: see Result and Reply. Else Due and WantsBytes tell when to
  /// look again.
  bool Look(TTime now);
  TServerReply Result() const { return fResult; }
  /// What came, empty unless normal, an exception or unmatched; without check sum, and with it.
  std::span<const std::uint8_t> Reply() const;
  std::span<const std::uint8_t> ReplyFrame() const { return fReplyFrame; }
  TTime Due() const { return fDue; }
  /// Look as soon as something arrives; else nothing that arrives before Due can end the wait.
  bool WantsBytes() const { return fWantsBytes; }

  /// While nothing is expected: sorts out what has come. Look again at IdleDue.
  void LookIdle(TTime now);
  TTime IdleDue() const;

  TLateReplies& Late() { return fLate; }

  /// Takes the bytes that are thrown away, foreign and late frames included, echoes not.
  std::function<void(std::span<const std::uint8_t>)> OnIgnored;
  std::function<void()> OnLateReply;

 private:
  // Whether bytes take the time that they take at the line's rate. They don't where the port is
  // none, but a USB device that has the server inside, or a pseudo-terminal.
  enum class TPace { Unknown, Characters, Faster };

  TLineRest RestAt(TTime now) const;
  bool Sort(TLineRest rest, TTime now);
  bool Consider(const TScannedFrame& frame);
  bool TakeLate(std::span<const std::uint8_t> frame);
  void TakeUnmatched(std::span<const std::uint8_t> frame, TServerReply kind);
  void Accept(std::span<const std::uint8_t> frame);
  bool HoldBack(std::span<const std::uint8_t> reply);
  void LearnEcho(bool echoes);
  void LearnPace(std::size_t replySize);
  void Fail();
  void OweReply();
  bool HasBadReply() const { return fUnmatched || fScanner.IsBroken(); }
  TTime EndOfWait(TTime now);
  bool MayGoOn(TTime now);
  void Plan(TTime end, TTime now);
  TTime NextWhole(TTime now) const;

  const TLineSettings& fSettings;
  const TReplyLengths& fLengths;
  TLineTiming fTiming;
  TReplyScanner fScanner;
  TLateReplies fLate;
  Bytes fRequest;  // without check sum
  Bytes fReplyFrame;
  Bytes fAccepted;  // the last reply that was
  TTime fAcceptedAt{};
  std::uint64_t fTransaction = 0;
  TTime fSent{}, fDeadline{}, fDue{}, fEarliest{}, fLast{};
  TTime fWhole{};      // the earliest time at which what is awaited can be whole, as last planned
  TTime fHeldSince{};  // when what is held began to arrive, at the earliest
  TTime fWaitingUntil{};
  std::uint64_t fWaitingPlace = 0;
  TServerReply fResult = TServerReply::srNone;
  TServerReply fBest = TServerReply::srNone;  // of the frames that won't do
  bool fWasWaiting = false;
  bool fUnmatched = false;   // a whole reply to something else came
  std::size_t fArrived = 0;  // bytes that came since the last look
  bool fWantsBytes = true;
  TPace fPace = TPace::Unknown;
  bool fEchoAwaited = false;
  bool fEchoes = false;  // learnt: the line hands back what is sent
  bool fEchoKnown = false;
  bool fMayBeEcho = false;  // a reply that equals the request is an echo for all that is known
  bool fHeldBack = false;   // such a one came
};

}  // namespace OrvixModBus
