#pragma once
// wire: what targets that face the wire share - lines, frames, and what a reply must look like.

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/modbus/uLineSettings.h"
#include "platform/modbus/uLineTiming.h"
#include "platform/rtl/uBytes.h"
#include "tests/fuzz/input.h"

namespace OrvixModBus {

/// Baud rate, silent interval, time-out, retries and echo as the input wants them.
TLineSettings LineOf(TFuzzInput& input);

/// Nothing to some seconds, mostly around the limits that the line knows.
std::chrono::nanoseconds PauseOf(TFuzzInput& input);

/// body with a right check sum behind.
Bytes WithCheckSum(Bytes body);

/// A reply by the book to request (both without check sum): echoes and counts as they must be, the
/// data taken from filler. Nothing for function codes whose replies this does not know.
std::optional<Bytes> GoodReply(std::span<const std::uint8_t> request, std::uint8_t filler);

/// May reply be delivered as an answer to request (both without check sum)? Written without
/// regard to the tables of the library.
bool MayAnswer(std::span<const std::uint8_t> request, std::span<const std::uint8_t> reply);

/// An attempt that was sent by then has ended by this time, whatever comes.
std::chrono::nanoseconds LongestWait(const TLineSettings& settings);

}  // namespace OrvixModBus
