#include "platform/modbus/uReplyMatch.h"

#include <algorithm>
#include <optional>

#include "platform/modbus/uRtuFrame.h"

namespace OrvixModBus {
namespace {

using TSpan = std::span<const std::uint8_t>;

// What the reply's byte count (position 2) must be, by the quantity in the request.
enum class TCount : std::uint8_t { Free, Bits, Registers };

struct TMatchRule {
  std::uint8_t FunctionCode;
  std::uint8_t Echoed;  // so many bytes from position 2 on are the request's
  TCount Count;
};

constexpr TMatchRule kRules[] = {
    {0x01, 0, TCount::Bits},       // byte count
    {0x02, 0, TCount::Bits},       //
    {0x03, 0, TCount::Registers},  //
    {0x04, 0, TCount::Registers},  //
    {0x05, 4, TCount::Free},       // address, value
    {0x06, 4, TCount::Free},       //
    {0x0F, 4, TCount::Free},       // address, quantity
    {0x10, 4, TCount::Free},       //
    {0x16, 6, TCount::Free},       // address, both masks
    {0x17, 0, TCount::Registers},  // byte count of what is read
    {0x43, 4, TCount::Free},       // page, address, count
    {0x44, 4, TCount::Free},       //
    {0x65, 4, TCount::Free},       //
    {0x66, 4, TCount::Free},       //
    {0x6C, 4, TCount::Free},       // address, value
};

constexpr std::uint8_t kReadFileRecord = 0x14;
constexpr std::size_t kFirst = 2;  // position after server address and function code

TMatchRule RuleOf(std::uint8_t code) {
  const auto* const found = std::ranges::find(kRules, code, &TMatchRule::FunctionCode);
  return found != std::end(kRules) ? *found : TMatchRule{code, 0, TCount::Free};
}

TSpan Echo(const TMatchRule& rule, TSpan frame) {
  const TSpan data = frame.subspan(std::min(kFirst, frame.size()));
  return data.first(std::min<std::size_t>(rule.Echoed, data.size()));
}

// Nothing when the reply tells no count, or the request holds no quantity.
std::optional<unsigned> ByteCount(const TMatchRule& rule, TSpan request) {
  if (rule.Count == TCount::Free || request.size() < 6) return std::nullopt;
  const unsigned quantity = static_cast<unsigned>(request[4]) << 8 | request[5];
  return rule.Count == TCount::Bits ? (quantity + 7) / 8 : quantity * 2;
}

bool SameHeader(TSpan one, TSpan other) {
  return one.size() >= kFirst && other.size() >= kFirst && one[0] == other[0] && one[1] == other[1];
}

bool IsException(TSpan request, TSpan reply) {
  return request.size() >= kFirst && reply.size() == kExceptionLength - kCheckSumLength &&
         reply[0] == request[0] && reply[1] == (request[1] | kExceptionFlag);
}

}  // namespace

bool ReplyFits(TSpan request, TSpan reply) {
  if (IsException(request, reply)) return true;
  if (!SameHeader(request, reply)) return false;
  const TMatchRule rule = RuleOf(request[1]);
  if (!std::ranges::equal(Echo(rule, request), Echo(rule, reply))) return false;
  const auto count = ByteCount(rule, request);
  return !count || (reply.size() > kFirst && reply[kFirst] == *count);
}

bool RepliesAlike(TSpan one, TSpan other) {
  if (!SameHeader(one, other)) return false;
  const TMatchRule rule = RuleOf(one[1]);
  return std::ranges::equal(Echo(rule, one), Echo(rule, other)) &&
         ByteCount(rule, one) == ByteCount(rule, other);
}

std::size_t LeastReplyLength(const TReplyLengths& lengths, TSpan request) {
  if (request.size() < kFirst) return kMinFrameLength;
  const TReplyLengthRule& length = lengths.Rule(request[1]);
  if (length.Kind == TReplyLengthRule::TKind::Silence) return kMinFrameLength;
  if (length.Kind != TReplyLengthRule::TKind::Counted) {
    return lengths.Judge(request, request.first(kFirst)).Length;
  }
  const TMatchRule rule = RuleOf(request[1]);
  std::size_t count = 0;
  if (length.Position == kFirst) {
    count = ByteCount(rule, request).value_or(0);
  } else if (length.Position < kFirst + rule.Echoed && length.Position < request.size()) {
    count = request[length.Position];
  }
  return std::min(length.Length + count, kMaxReplyLength);
}

bool ReplyMayEqualRequest(const TReplyLengths& lengths, TSpan request) {
  if (request.size() < kFirst) return true;
  // Where a request of file records has the reference type 6, replies have an odd length.
  if (request[1] == kReadFileRecord) return false;
  const TReplyLength length = lengths.Judge(request, request);
  if (length.Kind == TReplyLength::TKind::Silence) return true;
  // The check sum is not in the request here, so a reply of its length is not whole yet.
  return length.Kind == TReplyLength::TKind::More &&
         length.Length == request.size() + kCheckSumLength && ReplyFits(request, request);
}

bool EchoReadsAsValues(TSpan request) {
  constexpr std::uint8_t kCodes[] = {0x20, 0x21, 0x24, 0x41};
  return request.size() >= kFirst && std::ranges::find(kCodes, request[1]) != std::end(kCodes);
}

}  // namespace OrvixModBus
