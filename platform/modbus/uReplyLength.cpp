#include "platform/modbus/uReplyLength.h"

#include <algorithm>

namespace OrvixModBus {
namespace {

using TRule = TReplyLengthRule;
using TKind = TReplyLength::TKind;

std::uint8_t ByteAt(std::span<const std::uint8_t> bytes, std::size_t position) {
  return position < bytes.size() ? bytes[position] : std::uint8_t{0};
}

TReplyLength AtLength(std::size_t length, std::size_t have) {
  if (length > kMaxReplyLength) return {TKind::Junk};
  return {have < length ? TKind::More : TKind::Whole, length};
}

}  // namespace

TReplyLengths::TReplyLengths()
    : TReplyLengths({{0x01, TRule::Counted(5, 2)},
                     {0x02, TRule::Counted(5, 2)},
                     {0x03, TRule::Counted(5, 2)},
                     {0x04, TRule::Counted(5, 2)},
                     {0x05, TRule::Fixed(8)},
                     {0x06, TRule::Fixed(8)},
                     {0x0F, TRule::Fixed(8)},
                     {0x10, TRule::Fixed(8)},
                     {0x11, TRule::Counted(5, 2)},
                     {0x14, TRule::Counted(5, 2)},
                     {0x15, TRule::Counted(5, 2)},
                     {0x16, TRule::Fixed(10)},
                     {0x17, TRule::Counted(5, 2)},
                     {0x21, TRule::Request(8, 3, 1, 2)},
                     {0x43, TRule::Counted(8, 5)},
                     {0x44, TRule::Counted(8, 5)},
                     {0x65, TRule::Fixed(8)},
                     {0x66, TRule::Fixed(8)},
                     {0x6C, TRule::Fixed(8)}}) {}

TReplyLength TReplyLengths::Judge(std::span<const std::uint8_t> request,
                                  std::span<const std::uint8_t> reply) const {
  const std::uint8_t code = ByteAt(reply, 1);
  if ((code & kExceptionFlag) != 0) return AtLength(kExceptionLength, reply.size());
  const TRule& rule = Rule(code);
  switch (rule.Kind) {
    case TRule::TKind::Fixed:
      return AtLength(rule.Length, reply.size());
    case TRule::TKind::Counted: {
      const std::size_t least = std::size_t{rule.Position} + 1;  // the count itself is there
      if (reply.size() < least) return {TKind::More, std::max<std::size_t>(rule.Length, least)};
      const std::size_t length = std::size_t{rule.Length} + reply[rule.Position];
      return length < least ? TReplyLength{TKind::Junk} : AtLength(length, reply.size());
    }
    case TRule::TKind::Request: {
      const std::uint8_t byte = ByteAt(request, rule.Position);
      const bool longer = byte >= rule.First && byte <= rule.Last;
      return AtLength(std::size_t{rule.Length} + (longer ? 1 : 0), reply.size());
    }
    case TRule::TKind::Silence:
      break;
  }
  return {reply.size() > kMaxReplyLength ? TKind::Junk : TKind::Silence};
}

const TReplyLengths& RequestLengths() {
  static constexpr TReplyLengths kLengths({{0x01, TRule::Fixed(8)},
                                           {0x02, TRule::Fixed(8)},
                                           {0x03, TRule::Fixed(8)},
                                           {0x04, TRule::Fixed(8)},
                                           {0x05, TRule::Fixed(8)},
                                           {0x06, TRule::Fixed(8)},
                                           {0x0F, TRule::Counted(9, 6)},
                                           {0x10, TRule::Counted(9, 6)},
                                           {0x11, TRule::Fixed(4)},
                                           {0x14, TRule::Counted(5, 2)},
                                           {0x15, TRule::Counted(5, 2)},
                                           {0x16, TRule::Fixed(10)},
                                           {0x17, TRule::Counted(13, 10)},
                                           {0x21, TRule::Fixed(8)},
                                           {0x43, TRule::Fixed(8)},
                                           {0x44, TRule::Fixed(8)},
                                           {0x65, TRule::Counted(8, 5)},
                                           {0x66, TRule::Counted(8, 5)},
                                           {0x6C, TRule::Fixed(8)}});
  return kLengths;
}

}  // namespace OrvixModBus
