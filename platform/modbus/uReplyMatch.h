#pragma once
// uReplyMatch: does a whole reply fit its request, by all that it repeats of it?

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/modbus/uReplyLength.h"

namespace OrvixModBus {

/// These functions look at no more than this many bytes of a request.
inline constexpr std::size_t kTellingBytes = 8;

// Requests and replies here are whole frames without their check sums.

/// Could reply be the answer to request? Same server; same function code and everything fits
/// that the reply repeats of the request; or the exception reply of that function code.
bool ReplyFits(std::span<const std::uint8_t> request, std::span<const std::uint8_t> reply);

/// Could a normal reply to one request pass for a reply to the other one?
bool RepliesAlike(std::span<const std::uint8_t> one, std::span<const std::uint8_t> other);

/// The length, check sum included, of the shortest normal reply that fits request;
/// kMaxReplyLength when none does, because it asks for more.
std::size_t LeastReplyLength(const TReplyLengths& lengths, std::span<const std::uint8_t> request);

/// Could a reply be the same bytes as its request? Then it can't be told from an echo.
bool ReplyMayEqualRequest(const TReplyLengths& lengths, std::span<const std::uint8_t> request);

/// Would an echo of request that is taken for its reply be read as values that the server never
/// sent? Else it only confirms a write, as the reply does with the same bytes.
bool EchoReadsAsValues(std::span<const std::uint8_t> request);

}  // namespace OrvixModBus
