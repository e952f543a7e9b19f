#include "platform/modbus/uReplyReceiver.h"

#include <algorithm>

#include "platform/modbus/uReplyMatch.h"
#include "platform/modbus/uRtuFrame.h"

namespace OrvixModBus {
namespace {

using TSpan = std::span<const std::uint8_t>;
using TTime = TReplyReceiver::TTime;

// A port that hangs up is noticed only when it is looked at.
constexpr std::chrono::milliseconds kLongestBlindSleep{50};

}  // namespace

TReplyReceiver::TReplyReceiver(const TLineSettings& settings, const TReplyLengths& lengths)
    : fSettings(settings), fLengths(lengths), fTiming(settings), fScanner(lengths) {
  fScanner.OnThrown = [this](TSpan bytes) {
    fBest = std::max(fBest, TServerReply::srInvalidFrame);
    OnIgnored(bytes);
  };
}

void TReplyReceiver::Reset() {
  fScanner.ExpectNothing();
  fEchoes = fEchoKnown = false;
  fPace = TPace::Unknown;
}

void TReplyReceiver::Expect(TSpan frame, std::uint64_t transaction) {
  const TSpan body = Body(frame);
  fRequest.assign(body.begin(), body.end());
  fReplyFrame.clear();
  fTransaction = transaction;
  const bool tellsItself = !ReplyMayEqualRequest(fLengths, body);
  const TEchoSuppression mode = fSettings.EchoSuppression;
  const bool echo = mode == TEchoSuppression::esOn ||
                    (mode == TEchoSuppression::esAuto && (fEchoes || tellsItself));
  fScanner.Expect(frame, echo);
  fEchoAwaited = echo && tellsItself;
  fMayBeEcho = mode == TEchoSuppression::esAuto && !fEchoKnown && EchoReadsAsValues(body);
  fHeldBack = false;
  fBest = TServerReply::srNone;
  fUnmatched = fWasWaiting = false;
  fArrived = 0;
}

void TReplyReceiver::Sent(TTime end, TTime now) {
  fSent = end;
  fDeadline = end + std::chrono::milliseconds(fSettings.ReceiveTimeout);
  fEarliest = end + fTiming.Characters(LeastReplyLength(fLengths, fRequest));
  fWhole = fEarliest;
  fWantsBytes = !fTiming.HasCharacters() || fPace != TPace::Characters;
  fDue = fWantsBytes ? fDeadline : std::min(fEarliest, now + kLongestBlindSleep);
}

void TReplyReceiver::ExpectNothing() {
  fScanner.ExpectNothing();
  fTransaction = 0;
}

void TReplyReceiver::GiveUp() {
  OweReply();
  ExpectNothing();
}

void TReplyReceiver::Received(std::size_t count, TTime now) {
  if (count == 0) return;
  if (!fScanner.HasBytes()) fHeldSince = now - fTiming.Characters(count);
  fScanner.Received(count);
  fLast = now;
  fArrived += count;
}

TSpan TReplyReceiver::Reply() const { return fReplyFrame.empty() ? TSpan() : Body(fReplyFrame); }

bool TReplyReceiver::Look(TTime now) {
  if (Sort(RestAt(now), now)) return true;
  if (MayGoOn(now)) return false;
  // The last word on what is held: nothing in there is waited for any more.
  if (Sort(TLineRest::Cut, now)) return true;
  if (MayGoOn(now)) return false;
  Fail();
  return true;
}

bool TReplyReceiver::MayGoOn(TTime now) {
  const TTime end = EndOfWait(now);
  if (now >= end) return false;
  Plan(end, now);
  return true;
}

TLineRest TReplyReceiver::RestAt(TTime now) const {
  const auto rest = now - fLast;
  if (rest >= fTiming.Pause()) return TLineRest::Cut;
  return rest >= fTiming.Quiet() ? TLineRest::Quiet : TLineRest::Flowing;
}

bool TReplyReceiver::Sort(TLineRest rest, TTime now) {
  // A late reply that has begun within its window is still one when it is whole.
  fLate.Expire(fScanner.HasBytes() ? std::min(fHeldSince, now) : now);
  for (;;) {
    const TScannedFrame frame = fScanner.Next(rest);
    if (frame.Kind == TScannedFrame::TKind::None) return false;
    if (Consider(frame)) return true;
  }
}

bool TReplyReceiver::Consider(const TScannedFrame& frame) {
  if (frame.Kind == TScannedFrame::TKind::Echo) {
    LearnEcho(true);
    fEchoAwaited = false;
    return false;
  }
  if (TakeLate(frame.Frame)) return false;
  const TSpan reply = Body(frame.Frame);
  if (frame.Kind == TScannedFrame::TKind::Reply && ReplyFits(fRequest, reply)) {
    if (HoldBack(reply)) {
      TakeUnmatched(frame.Frame, TServerReply::srUnmatchedReply);
      return false;
    }
    Accept(frame.Frame);
    return true;
  }
  const bool ours = !fRequest.empty() && reply[0] == fRequest[0];
  if (frame.Kind == TScannedFrame::TKind::Reply) {
    fUnmatched = true;
    fReplyFrame.assign(frame.Frame.begin(), frame.Frame.end());
  }
  TakeUnmatched(frame.Frame,
                ours ? TServerReply::srUnmatchedReply : TServerReply::srUnexpectedReply);
  return false;
}

bool TReplyReceiver::TakeLate(TSpan frame) {
  const bool onceMore =
      std::ranges::equal(frame, fAccepted) && fHeldSince <= fAcceptedAt + fTiming.Pause();
  if (!fLate.Take(Body(frame), fTransaction, onceMore)) return false;
  OnLateReply();
  OnIgnored(frame);
  return true;
}

void TReplyReceiver::TakeUnmatched(TSpan frame, TServerReply kind) {
  fBest = std::max(fBest, kind);
  OnIgnored(frame);
}

// The first reply that equals its request, while nobody knows whether the line echoes, and its
// values would be taken for the server's: better none than those. Another reply settles it.
bool TReplyReceiver::HoldBack(TSpan reply) {
  if (!fMayBeEcho || fHeldBack || !std::ranges::equal(reply, fRequest)) return false;
  fHeldBack = true;
  return true;
}

void TReplyReceiver::LearnEcho(bool echoes) {
  fEchoes = echoes;
  fEchoKnown = true;
}

// By the first reply after the port was opened, whose bytes are not slept through. Half of its
// time makes sure: no rate is so wrong.
void TReplyReceiver::LearnPace(std::size_t replySize) {
  if (fPace != TPace::Unknown) return;
  const bool tooEarly = fLast < fSent + fTiming.Characters(replySize) / 2;
  fPace = tooEarly ? TPace::Faster : TPace::Characters;
}

void TReplyReceiver::Accept(TSpan frame) {
  // Without the echo before it the line does not echo, or does no more.
  if (fEchoAwaited) LearnEcho(false);
  if (fHeldBack) LearnEcho(true);
  fReplyFrame.assign(frame.begin(), frame.end());
  fAccepted = fReplyFrame;
  fAcceptedAt = fLast;
  LearnPace(frame.size());
  const bool exception = (frame[1] & kExceptionFlag) != 0;
  fResult = exception ? TServerReply::srExceptionReply : TServerReply::srNormalReply;
  if (fLate.Settle(fTransaction)) OweReply();
  ExpectNothing();
}

void TReplyReceiver::Fail() {
  fResult = fBest;
  if (fBest != TServerReply::srUnmatchedReply) fReplyFrame.clear();
  // A reply that came broken is not owed any more, unless it may have been another one.
  const bool came = fBest == TServerReply::srInvalidFrame && fScanner.IsBroken() && !fLate.Any();
  if (!came) OweReply();
  ExpectNothing();
}

void TReplyReceiver::OweReply() {
  const std::chrono::milliseconds window(fSettings.ReceiveTimeout);
  // A server that was busy with another answer until now begins its own only then.
  fLate.Owe(fTransaction, fRequest, std::max(fSent + 2 * window, fLast + window));
}

// A reply under way may be finished after the time-out, as long as it does not pause too long;
// one that won't do ends the wait once the line is quiet, because its header may be false.
TTime TReplyReceiver::EndOfWait(TTime now) {
  if (!fScanner.IsWaiting()) {
    fWasWaiting = false;
    return HasBadReply() ? std::min(fDeadline, fLast + fTiming.Quiet()) : fDeadline;
  }
  if (!fWasWaiting || fWaitingPlace != fScanner.WaitingPlace()) {
    const std::size_t most = fScanner.EndsWithSilence() ? kMaxReplyLength : fScanner.Missing();
    fWasWaiting = true;
    fWaitingPlace = fScanner.WaitingPlace();
    fWaitingUntil = now < fDeadline ? now + fTiming.Characters(most) + fTiming.Pause() : fDeadline;
  }
  return std::min(fLast + fTiming.Pause(), std::max(fDeadline, fWaitingUntil));
}

void TReplyReceiver::Plan(TTime end, TTime now) {
  fWhole = NextWhole(now);
  fArrived = 0;
  fWantsBytes = fWhole <= now;
  fDue = fWantsBytes ? end : std::min({end, fWhole, now + kLongestBlindSleep});
  const bool silenceTells = fScanner.IsWaiting() ? fScanner.EndsWithSilence() : fScanner.HasBytes();
  if (silenceTells && RestAt(now) == TLineRest::Flowing) {
    fDue = std::min(fDue, fLast + fTiming.Quiet());
  }
}

// The earliest time at which what is under way can be whole; now or earlier when that is not
// known, or when the line was expected to deliver and did not.
TTime TReplyReceiver::NextWhole(TTime now) const {
  if (!fTiming.HasCharacters() || fPace != TPace::Characters) return now;
  if (!fScanner.IsWaiting()) return fScanner.HasBytes() ? now : fEarliest;
  const std::size_t missing = fScanner.Missing();
  if (now < fWhole) return std::min(fWhole, now + fTiming.Characters(missing));
  // What came at once tells how much more may be held back, and come at once, too.
  return fArrived > 0 && fArrived < missing ? now + fTiming.Characters(missing - fArrived) : now;
}

void TReplyReceiver::LookIdle(TTime now) { Sort(RestAt(now), now); }

TTime TReplyReceiver::IdleDue() const {
  if (!fScanner.HasBytes() || !fLate.Any()) return TTime::max();
  return fLast + fTiming.Pause();
}

}  // namespace OrvixModBus
