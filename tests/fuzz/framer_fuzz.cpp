// Requests on a line on which anything may arrive at any time. Each attempt ends in time, the
// receiver never spins, and what it accepts stood on the line as a whole frame that may answer the
// request; of every byte it is known what became of it.

#include <algorithm>
#include <deque>

#include "platform/modbus/uReplyReceiver.h"
#include "platform/modbus/uRtuFrame.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/wire.h"

namespace OrvixModBus {
namespace {

using TSpan = std::span<const std::uint8_t>;
using TTime = TReplyReceiver::TTime;

constexpr int kMostAttempts = 5;
constexpr std::size_t kMostBytes = 320;  // on the wire: more takes longer and shows no more

bool IsSame(TSpan one, TSpan other) { return std::ranges::equal(one, other); }

// Is whole the same as rest with part put in somewhere?
bool IsRestWithPart(TSpan whole, TSpan rest, TSpan part) {
  if (whole.size() != rest.size() + part.size()) return false;
  for (std::size_t at = 0; at <= rest.size(); ++at) {
    const TSpan behind = whole.subspan(at + part.size());
    if (IsSame(whole.subspan(at, part.size()), part) && IsSame(behind, rest.subspan(at))) {
      return true;
    }
    if (at < rest.size() && whole[at] != rest[at]) return false;
  }
  return false;
}

// The same, with an echo somewhere before part, too.
bool IsRestWithEchoAndPart(const Bytes& whole, TSpan rest, TSpan echo, TSpan part) {
  for (auto at = whole.begin(); at != whole.end(); ++at) {
    at = std::search(at, whole.end(), echo.begin(), echo.end());
    if (at == whole.end()) return false;
    Bytes without(whole.begin(), at);
    without.insert(without.end(), at + static_cast<std::ptrdiff_t>(echo.size()), whole.end());
    if (IsRestWithPart(without, rest, part)) return true;
  }
  return false;
}

class TLine {
 public:
  explicit TLine(TFuzzInput& input)
      : fInput(input),
        fSettings(LineOf(input)),
        fTiming(fSettings),
        fReceiver(fSettings, fLengths) {
    fReceiver.OnIgnored = [this](TSpan bytes) {
      fIgnored.insert(fIgnored.end(), bytes.begin(), bytes.end());
    };
    fReceiver.OnLateReply = [this] { ++fLate; };
    ReadRule();
  }

  void Run() {
    for (int i = 0; i < kMostAttempts && !fInput.AtEnd(); ++i) {
      const std::uint8_t flags = fInput.Byte();
      if ((flags & 1) == 0 || fFrame.empty()) NextRequest();
      if ((flags & 6) == 6) fReceiver.Reset();
      Idle();
      Attempt(flags);
    }
  }

 private:
  // An application's own rule, as odd as it may be.
  void ReadRule() {
    const std::uint8_t kind = fInput.Byte();
    if ((kind & 0x80) == 0) return;
    fOwnCode = static_cast<std::uint8_t>(fInput.Byte() & 0x7F);
    const std::uint16_t length = fInput.Byte();
    const std::uint8_t position = fInput.Byte();
    switch (kind & 3) {
      case 0:
        return fLengths.Set(fOwnCode, TReplyLengthRule::UntilSilence());
      case 1:
        return fLengths.Set(fOwnCode, TReplyLengthRule::Fixed(length));
      case 2:
        return fLengths.Set(fOwnCode, TReplyLengthRule::Counted(length, position));
      default:
        fLengths.Set(fOwnCode, TReplyLengthRule::Request(length, position, 1, fInput.Byte()));
    }
  }

  void NextRequest() {
    constexpr std::uint8_t kServers[] = {1, 1, 2, 0};
    constexpr std::uint8_t kCodes[] = {0x03, 0x01, 0x04, 0x06, 0x10, 0x11, 0x14, 0x21, 0x24,
                                       0x41, 0x43, 0x65, 0x6C, 0x05, 0x16, 0x17, 0x02};
    constexpr std::uint8_t kSizes[] = {4, 4, 4, 0, 2, 6, 9};
    const std::uint8_t code = fInput.Byte();
    Bytes body{fInput.OneOf(kServers), code < 0x80 ? kCodes[code % std::size(kCodes)]
                                                   : static_cast<std::uint8_t>(code & 0x7F)};
    const Bytes data = fInput.Bytes(fInput.OneOf(kSizes));
    body.insert(body.end(), data.begin(), data.end());
    fRequest = body;
    fFrame = WithCheckSum(body);
    ++fTransaction;
  }

  // ---- the wire ---------------------------------------------------------------------------------

  struct TArrival {
    TTime Time;
    std::uint8_t Byte;
  };

  // When the next byte is there; max() for never. What comes is made up as time goes on.
  TTime NextArrival() {
    while (fIncoming.empty() && !fInput.AtEnd()) MakeArrivals();
    return fIncoming.empty() ? TTime::max() : fIncoming.front().Time;
  }

  void MakeArrivals() {
    const std::uint8_t what = fInput.Byte();
    if ((what & 7) == 0) {
      fWire = std::max(fWire, fNow) + PauseOf(fInput);
      return;
    }
    const bool spaced = (what & 8) != 0;
    const Bytes chunk = Chunk(what & 7);
    const std::chrono::nanoseconds apart =
        spaced ? fTiming.Characters(1) : TLineTiming::TDuration();
    fWire = std::max(fWire, fNow);
    for (const std::uint8_t byte : chunk) {
      if (++fMade > kMostBytes) return;
      fWire += apart;
      fIncoming.push_back({fWire, byte});
    }
    fChunk = chunk;
  }

  Bytes Chunk(int what) {
    switch (what) {
      case 1:
        return fInput.Bytes(fInput.Byte() & 31);
      case 2:
        return WithCheckSum(fInput.Bytes(2 + (fInput.Byte() & 31)));
      case 3:
        return Answer();
      case 4:
        return fFrame;
      case 5:
        return WithCheckSum(
            {fRequest[0], static_cast<std::uint8_t>(fRequest[1] | 0x80), fInput.Byte()});
      case 6:
        return Damaged(Answer());
      default:
        return fChunk;
    }
  }

  Bytes Answer() {
    const std::uint8_t filler = fInput.Byte();
    if (const auto reply = GoodReply(fRequest, filler)) return WithCheckSum(*reply);
    Bytes body(fRequest.begin(), fRequest.begin() + 2);
    const Bytes data = fInput.Bytes(filler & 15);
    body.insert(body.end(), data.begin(), data.end());
    return WithCheckSum(body);
  }

  // Cut, or with one byte changed.
  Bytes Damaged(Bytes frame) {
    const std::size_t at = fInput.Byte() % frame.size();
    const std::uint8_t change = fInput.Byte();
    if (change == 0) {
      frame.resize(at);
    } else {
      frame[at] ^= change;
    }
    return frame;
  }

  void Receive() {
    const auto room = fReceiver.Room();
    Require(!room.empty(), "there is room for what comes");
    std::size_t count = 0;
    while (count < room.size() && NextArrival() <= fNow) {
      room[count++] = fIncoming.front().Byte;
      fArrived.push_back(fIncoming.front().Byte);
      fIncoming.pop_front();
    }
    fReceiver.Received(count, fNow);
  }

  // ---- an attempt -------------------------------------------------------------------------------

  // Until the request may be sent.
  void Idle() {
    const TTime free = fReceiver.Late().FreeAt(fRequest, fTransaction);
    const TTime until = std::max({fNow, fRequest[0] == 0 ? fNow : free, fNow + PauseOf(fInput)});
    for (;;) {
      const TTime wake = std::min(fReceiver.IdleDue(), NextArrival());
      if (wake > until) break;
      fNow = std::max(fNow, wake);
      Receive();
      fReceiver.LookIdle(fNow);
      Require(fReceiver.IdleDue() > fNow, "idling does not spin");
    }
    fNow = until;
  }

  void Attempt(std::uint8_t flags) {
    fReceiver.Expect(fFrame, fTransaction);
    Require(fIgnored == fArrived, "what came before the request is thrown away");
    fArrived.clear();
    fIgnored.clear();
    fLate = 0;
    const TTime sent = fNow + fTiming.Characters(fFrame.size());
    fReceiver.Sent(sent, fNow);
    if (fRequest[0] == 0) {
      fReceiver.ExpectNothing();
    } else if ((flags & 8) != 0) {
      fReceiver.GiveUp();
    } else {
      Await(sent + LongestWait(fSettings));
      Judge();
    }
    fArrived.clear();
    fIgnored.clear();
  }

  void Await(TTime end) {
    for (;;) {
      TTime wake = fReceiver.Due();
      if (fReceiver.WantsBytes()) wake = std::min(wake, NextArrival());
      fNow = std::max(fNow, wake);
      Receive();
      const bool over = fReceiver.Look(fNow);
      Require(fNow <= end, "an attempt ends in time");
      if (over) return;
      Require(fReceiver.Due() > fNow, "waiting does not spin");
    }
  }

  void Judge() {
    const TServerReply kind = fReceiver.Result();
    const TSpan frame = fReceiver.ReplyFrame();
    const bool accepted =
        kind == TServerReply::srNormalReply || kind == TServerReply::srExceptionReply;
    const bool held = accepted || kind == TServerReply::srUnmatchedReply;
    Require(held || frame.empty(), "nothing that came is a reply of this kind");
    Require(kind != TServerReply::srNone || fIgnored.empty() || fLate > 0, "noise is told");
    if (held && !frame.empty()) JudgeFrame(frame, accepted);
    Require(!accepted || !frame.empty(), "what is accepted is handed over");
    const TSpan reply = accepted ? frame : TSpan();
    const bool explained = IsRestWithPart(fArrived, fIgnored, reply) ||
                           IsRestWithEchoAndPart(fArrived, fIgnored, fFrame, reply);
    Require(explained, "of every byte is known what became of it");
  }

  void JudgeFrame(TSpan frame, bool accepted) const {
    Require(CheckSumFits(frame), "a reply has a right check sum");
    const auto found = std::search(fArrived.begin(), fArrived.end(), frame.begin(), frame.end());
    Require(found != fArrived.end(), "a reply stood on the line after its request");
    if (!accepted) return;
    const TSpan reply = Body(frame);
    const bool exception = (reply[1] & kExceptionFlag) != 0;
    const auto kind = exception ? TServerReply::srExceptionReply : TServerReply::srNormalReply;
    Require(fReceiver.Result() == kind, "an exception is told as one");
    Require(ReplyFits(fRequest, reply), "a reply fits its request");
    Require(fOwnCode == fRequest[1] || MayAnswer(fRequest, reply), "a reply may answer");
  }

  TFuzzInput& fInput;
  const TLineSettings fSettings;
  const TLineTiming fTiming;
  TReplyLengths fLengths;
  TReplyReceiver fReceiver;
  std::uint8_t fOwnCode = 0xFF;  // no request has it

  Bytes fRequest, fFrame;  // without check sum, with it
  std::uint64_t fTransaction = 0;

  TTime fNow{std::chrono::hours(1)}, fWire{};
  std::deque<TArrival> fIncoming;
  Bytes fChunk;  // what was made last
  std::size_t fMade = 0;

  Bytes fArrived, fIgnored;  // in this attempt, or since the last one
  int fLate = 0;
};

}  // namespace

void FuzzOne(std::string_view bytes) {
  TFuzzInput input(bytes);
  TLine(input).Run();
}

}  // namespace OrvixModBus
