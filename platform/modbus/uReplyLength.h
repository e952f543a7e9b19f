#pragma once
// uReplyLength: how long a reply is, told by its first bytes and by its request.

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <utility>

namespace OrvixModBus {

/// No reply is longer: a paged read of 255 bytes, check sum included.
inline constexpr std::size_t kMaxReplyLength = 263;
/// Set in the function code of an exception reply, which always is this long.
inline constexpr std::uint8_t kExceptionFlag = 0x80;
inline constexpr std::size_t kExceptionLength = 5;

/// How the length of the replies of one function code is told. Lengths are in bytes, server
/// address and check sum included; positions count from 0 = server address.
struct TReplyLengthRule {
  enum class TKind : std::uint8_t {
    Silence,  ///< the reply ends when the line falls silent
    Fixed,    ///< Length
    Counted,  ///< Length + the reply's byte at Position
    Request,  ///< Length, and one more when the request's byte at Position is First to Last
  };
  TKind Kind = TKind::Silence;
  std::uint16_t Length = 0;
  std::uint8_t Position = 0;
  std::uint8_t First = 0, Last = 0;

  static constexpr TReplyLengthRule UntilSilence() { return {}; }
  static constexpr TReplyLengthRule Fixed(std::uint16_t length) { return {TKind::Fixed, length}; }
  static constexpr TReplyLengthRule Counted(std::uint16_t length, std::uint8_t position) {
    return {TKind::Counted, length, position};
  }
  static constexpr TReplyLengthRule Request(std::uint16_t length, std::uint8_t position,
                                            std::uint8_t first, std::uint8_t last) {
    return {TKind::Request, length, position, first, last};
  }

  bool operator==(const TReplyLengthRule&) const = default;
};

/// What the bytes so far tell of a reply's length.
struct TReplyLength {
  enum class TKind : std::uint8_t {
    More,     ///< not all here; Length is the least that it can become
    Whole,    ///< the reply is the first Length bytes
    Silence,  ///< only silence can tell
    Junk,     ///< no reply is like this
  };
  TKind Kind = TKind::More;
  std::size_t Length = 0;
};

/// The rules by function code. An application adds one for a code of its own in one line:
/// `connection.ReplyLengths().Set(0x42, TReplyLengthRule::Counted(5, 2));`
class TReplyLengths {
 public:
  /// The rules of the known function codes.
  TReplyLengths();
  /// Until silence for every code but the given ones.
  constexpr explicit TReplyLengths(
      std::initializer_list<std::pair<std::uint8_t, TReplyLengthRule>> rules) {
    for (const auto& [code, rule] : rules) fRules[code] = rule;
  }

  void Set(std::uint8_t functionCode, const TReplyLengthRule& rule) { At(functionCode) = rule; }
  const TReplyLengthRule& Rule(std::uint8_t functionCode) const {
    return const_cast<TReplyLengths*>(this)->At(functionCode);
  }

  /// request: from the server address on, with or without check sum. reply: the bytes so far,
  /// from the server address on, at least up to the function code. Never reads past either; a
  /// request that is too short for its rule counts as having zeros there.
  TReplyLength Judge(std::span<const std::uint8_t> request,
                     std::span<const std::uint8_t> reply) const;

 private:
  TReplyLengthRule& At(std::uint8_t functionCode) { return fRules[functionCode]; }

  std::array<TReplyLengthRule, 256> fRules{};
};

/// The lengths of requests, for the frames that another master or an echo puts on the line.
const TReplyLengths& RequestLengths();

}  // namespace OrvixModBus
