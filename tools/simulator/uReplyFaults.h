#pragma once
// uReplyFaults: what may go wrong with a reply on its way - which faults there are, whom they
// befall.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <span>
#include <string_view>
#include <vector>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// What goes wrong. Every request but that of Exception is executed; see FaultForms for names and
/// parameters.
enum class EFault : std::uint8_t {
  None,
  Silence,          ///< no reply
  Late,             ///< the reply after a delay, while the next request may be under way
  WrongCheckSum,    ///< the last byte of the reply is inverted
  FlippedBit,       ///< one bit of the reply
  Cut,              ///< the begin of the reply alone
  ExtraBytes,       ///< right behind the reply
  Noise,            ///< bytes right before the reply
  LeadingZeros,     ///< right before the reply
  Pause,            ///< inside the reply
  AnotherServer,    ///< a whole frame of another server before the reply
  AnotherFunction,  ///< a whole frame of another function code before the reply
  WrongByteCount,   ///< it promises a byte more than follows, and the check sum is right
  WrongSize,        ///< two data bytes too many, and byte count and check sum fit that
  Exception,        ///< not executed, answered by an exception code
  Twice,            ///< the reply, and once more
  Echo,             ///< the request comes back before the reply
  ByteByByte,       ///< each byte of the reply alone
  Babble,           ///< bytes without end in place of the reply
  HangUp,           ///< the port is gone for a while, and the reply with it
};
inline constexpr std::size_t kFaultCount = 20;

/// Parameters of faults, as bits.
enum EFaultParameter : unsigned {
  fpDelay = 1,
  fpDuration = 2,
  fpPosition = 4,
  fpCount = 8,
  fpReply = 16,
  fpCode = 32,
};

/// A fault as people name it, with the parameters that it has.
struct TFaultForm {
  EFault Fault;
  std::string_view Name;
  unsigned Parameters = 0;
};
/// All of them, in the order of EFault.
std::span<const TFaultForm> FaultForms();
std::string_view FaultName(EFault fault);

/// A fault with its parameters, and which requests it befalls. What is absent there fits every
/// request. A parameter that is absent is taken anew from the random source each time, where
/// nothing else is said.
struct TFaultRule {
  using TTime = std::chrono::nanoseconds;

  std::optional<std::uint8_t> Address = std::nullopt;   ///< 0 fits broadcasts
  std::optional<std::uint8_t> Function = std::nullopt;  ///< function code
  std::uint64_t First = 1;                              ///< by TSimulator::RequestCount, from 1
  std::uint64_t Last = std::numeric_limits<std::uint64_t>::max();  ///< this one included
  EFault Fault = EFault::Silence;
  std::uint8_t ExceptionCode = 4;  ///< of Exception; 0 for any of 1 to 11
  double Probability = 1;          ///< that it befalls a request that fits, 0 to 1

  /// Of Late (absent: 1.5 s), Pause (1 to 100 ms), before the second reply of Twice (none), before
  /// each byte of ByteByByte (1 ms) and Babble (5 ms, at least 1 ms).
  std::optional<TTime> Delay = std::nullopt;
  std::optional<TTime> Duration =
      std::nullopt;  ///< of Babble (absent: 2 s, less the bytes) and HangUp (1 s)
  /// How many bytes are left by Cut, and come before Pause; which bit is flipped, from the lowest
  /// of the first byte. What is past the reply's end is taken back to its end.
  std::optional<std::size_t> Position = std::nullopt;
  std::optional<std::size_t> Count = std::nullopt;  ///< of extra bytes, noise, zeros; 1 to 8
  /// Of Noise, LeadingZeros, AnotherServer, AnotherFunction and Echo: false leaves the reply out.
  bool Reply = true;
};

/// The same numbers for the same seed, on every system.
class TFaultRandom {
 public:
  explicit TFaultRandom(std::uint64_t seed = 1) : fEngine(seed) {}

  bool Happens(double probability);
  /// Both ends included.
  std::uint64_t Between(std::uint64_t least, std::uint64_t greatest);
  Bytes SomeBytes(std::size_t count);

 private:
  std::mt19937_64 fEngine;
};

/// Bytes that follow each other, some time after those before them.
struct TReplyPiece {
  std::chrono::nanoseconds Delay{0};
  Bytes Data;
};

/// What a line delivers for a request.
struct TSimulatedReply {
  std::vector<TReplyPiece> Pieces;  ///< empty: nothing
  /// After the pieces the port is gone for so long.
  std::optional<std::chrono::nanoseconds> HangUp = std::nullopt;

  /// Of all pieces.
  Bytes AllBytes() const;
};

/// What becomes of a reply frame by a fault. request and reply are whole frames; the reply is empty
/// for a broadcast, of which nothing but Babble and HangUp makes anything.
TSimulatedReply SpoilReply(const TFaultRule& rule, std::span<const std::uint8_t> request,
                           const Bytes& reply, TFaultRandom& random);

}  // namespace OrvixModBus
