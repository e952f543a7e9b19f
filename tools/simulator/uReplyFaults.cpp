#include "tools/simulator/uReplyFaults.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/modbus/uRtuFrame.h"

namespace OrvixModBus {
namespace {

using TTime = std::chrono::nanoseconds;
using std::chrono::milliseconds;

constexpr std::array<TFaultForm, kFaultCount> kForms{{
    {EFault::None, "none"},
    {EFault::Silence, "silence"},
    {EFault::Late, "late", fpDelay},
    {EFault::WrongCheckSum, "checksum"},
    {EFault::FlippedBit, "bit", fpPosition},
    {EFault::Cut, "cut", fpPosition},
    {EFault::ExtraBytes, "extra", fpCount},
    {EFault::Noise, "noise", fpCount | fpReply},
    {EFault::LeadingZeros, "zeros", fpCount | fpReply},
    {EFault::Pause, "pause", fpDelay | fpPosition},
    {EFault::AnotherServer, "server", fpReply},
    {EFault::AnotherFunction, "function", fpReply},
    {EFault::WrongByteCount, "count"},
    {EFault::WrongSize, "size"},
    {EFault::Exception, "exception", fpCode},
    {EFault::Twice, "twice", fpDelay},
    {EFault::Echo, "echo", fpReply},
    {EFault::ByteByByte, "bytes", fpDelay},
    {EFault::Babble, "babble", fpDelay | fpDuration},
    {EFault::HangUp, "hangup", fpDuration},
}};

constexpr std::size_t kServer = 0, kFunction = 1;  // positions in a frame
constexpr std::size_t kData = 2;
constexpr std::uint8_t kGreatestAddress = 247;

TSimulatedReply Whole(Bytes bytes, TTime delay = {}) { return {{{delay, std::move(bytes)}}}; }

// The frame after change has had its body.
template <typename TChange>
Bytes Changed(const Bytes& frame, const TChange& change) {
  const auto old = Body(frame);
  Bytes body(old.begin(), old.end());
  change(body);
  Bytes changed;
  FormFrame(body, changed);
  return changed;
}

// Where a normal reply has its byte count; 0 when it has none.
std::size_t CountPosition(std::uint8_t function) {
  switch (function) {
    case 0x01:
    case 0x02:
    case 0x03:
    case 0x04:
    case 0x11:
    case 0x14:
    case 0x15:
    case 0x17:
      return 2;
    case 0x43:
    case 0x44:
      return 5;
    default:
      return 0;
  }
}

void RaiseCount(Bytes& body, std::uint8_t by) {
  const std::size_t position = CountPosition(body[kFunction]);
  if (position == 0 || position >= body.size()) return;
  body[position] = static_cast<std::uint8_t>(body[position] + by);
}

// Without a byte count a byte is missing where the function code promises it.
void MiscountBody(Bytes& body) {
  if (CountPosition(body[kFunction]) == 0) {
    body.pop_back();
  } else {
    RaiseCount(body, 1);
  }
}

void LengthenBody(Bytes& body) {
  body.insert(body.end(), {0x5A, 0xA5});
  RaiseCount(body, 2);
}

// The foreign frames are replies like this one, with another value in the end.
void SpoilValue(Bytes& body) {
  if (body.size() > kData) body.back() ^= 0x5A;
}

void ChangeServer(Bytes& body) {
  body[kServer] = static_cast<std::uint8_t>(body[kServer] % kGreatestAddress + 1);
  SpoilValue(body);
}

// A neighbour of the same kind: coils for inputs, holding registers for input registers, ...
void ChangeFunction(Bytes& body) {
  const std::uint8_t code = body[kFunction];
  body[kFunction] = static_cast<std::uint8_t>((code & 1) != 0 ? code + 1 : code - 1);
  SpoilValue(body);
}

class TSpoiler {
 public:
  TSpoiler(const TFaultRule& rule, const Bytes& reply, TFaultRandom& random)
      : fRule(rule), fReply(reply), fRandom(random) {}

  TSimulatedReply FlippedBit() const {
    const std::size_t bit = Position(0, fReply.size() * 8 - 1);
    Bytes reply = fReply;
    reply[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    return Whole(std::move(reply));
  }

  TSimulatedReply Cut() const {
    const auto end = fReply.begin() + static_cast<std::ptrdiff_t>(Position(1, fReply.size() - 1));
    return Whole(Bytes(fReply.begin(), end));
  }

  TSimulatedReply Paused() const {
    const TTime delay = Delay(milliseconds(fRandom.Between(1, 100)));
    const auto end = fReply.begin() + static_cast<std::ptrdiff_t>(Position(1, fReply.size() - 1));
    return {{{{}, Bytes(fReply.begin(), end)}, {delay, Bytes(end, fReply.end())}}};
  }

  TSimulatedReply Extended() const {
    Bytes reply = fReply;
    const Bytes extra = fRandom.SomeBytes(Count());
    reply.insert(reply.end(), extra.begin(), extra.end());
    return Whole(std::move(reply));
  }

  TSimulatedReply Noisy() const { return After(fRandom.SomeBytes(Count())); }
  TSimulatedReply Zeroed() const { return After(Bytes(Count(), 0)); }

  // first, and the reply right behind it.
  TSimulatedReply After(Bytes first) const {
    if (fRule.Reply) first.insert(first.end(), fReply.begin(), fReply.end());
    return Whole(std::move(first));
  }

  TSimulatedReply Twice() const { return {{{{}, fReply}, {Delay(TTime(0)), fReply}}}; }

  TSimulatedReply ByteByByte() const {
    TSimulatedReply reply;
    for (const std::uint8_t byte : fReply) {
      reply.Pieces.push_back({Delay(milliseconds(1)), {byte}});
    }
    return reply;
  }

  TSimulatedReply Babble() const {
    const TTime delay = std::max<TTime>(Delay(milliseconds(5)), milliseconds(1));
    TSimulatedReply reply;
    for (TTime left = Duration(milliseconds(2000)); left >= delay; left -= delay) {
      reply.Pieces.push_back({delay, fRandom.SomeBytes(1)});
    }
    return reply;
  }

  TSimulatedReply HangUp() const { return {{}, Duration(milliseconds(1000))}; }

  TTime Delay(TTime otherwise) const { return fRule.Delay.value_or(otherwise); }

 private:
  TTime Duration(TTime otherwise) const { return fRule.Duration.value_or(otherwise); }
  std::size_t Count() const { return fRule.Count ? *fRule.Count : fRandom.Between(1, 8); }
  std::size_t Position(std::size_t least, std::size_t greatest) const {
    return fRule.Position ? std::min(*fRule.Position, greatest) : fRandom.Between(least, greatest);
  }

  const TFaultRule& fRule;
  const Bytes& fReply;
  TFaultRandom& fRandom;
};

Bytes WithWrongCheckSum(Bytes reply) {
  reply.back() ^= 0xFF;
  return reply;
}

}  // namespace

std::span<const TFaultForm> FaultForms() { return kForms; }

std::string_view FaultName(EFault fault) { return kForms.at(static_cast<std::size_t>(fault)).Name; }

bool TFaultRandom::Happens(double probability) {
  constexpr double kUnit = 1.0 / 9007199254740992.0;  // 2^53, as many as a double tells apart
  return probability >= 1 || static_cast<double>(fEngine() >> 11) * kUnit < probability;
}

std::uint64_t TFaultRandom::Between(std::uint64_t least, std::uint64_t greatest) {
  return least + fEngine() % (greatest - least + 1);
}

Bytes TFaultRandom::SomeBytes(std::size_t count) {
  Bytes bytes(count);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(fEngine() >> 56);
  return bytes;
}

Bytes TSimulatedReply::AllBytes() const {
  Bytes all;
  for (const TReplyPiece& piece : Pieces) {
    all.insert(all.end(), piece.Data.begin(), piece.Data.end());
  }
  return all;
}

TSimulatedReply SpoilReply(const TFaultRule& rule, std::span<const std::uint8_t> request,
                           const Bytes& reply, TFaultRandom& random) {
  const TSpoiler spoiler(rule, reply, random);
  if (rule.Fault == EFault::Babble) return spoiler.Babble();
  if (rule.Fault == EFault::HangUp) return spoiler.HangUp();
  if (reply.empty()) return {};
  switch (rule.Fault) {
    case EFault::Silence:
      return {};
    case EFault::Late:
      return Whole(reply, spoiler.Delay(milliseconds(1500)));
    case EFault::WrongCheckSum:
      return Whole(WithWrongCheckSum(reply));
    case EFault::FlippedBit:
      return spoiler.FlippedBit();
    case EFault::Cut:
      return spoiler.Cut();
    case EFault::ExtraBytes:
      return spoiler.Extended();
    case EFault::Noise:
      return spoiler.Noisy();
    case EFault::LeadingZeros:
      return spoiler.Zeroed();
    case EFault::Pause:
      return spoiler.Paused();
    case EFault::AnotherServer:
      return spoiler.After(Changed(reply, ChangeServer));
    case EFault::AnotherFunction:
      return spoiler.After(Changed(reply, ChangeFunction));
    case EFault::WrongByteCount:
      return Whole(Changed(reply, MiscountBody));
    case EFault::WrongSize:
      return Whole(Changed(reply, LengthenBody));
    case EFault::Twice:
      return spoiler.Twice();
    case EFault::Echo:
      return spoiler.After(ToBytes(request));
    case EFault::ByteByByte:
      return spoiler.ByteByByte();
    default:
      return Whole(reply);
  }
}

}  // namespace OrvixModBus
