#pragma once
// uRtuFrame: forms a frame for the wire and checks one that came from it.

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// Server address, function code and check sum: no frame is shorter.
inline constexpr std::size_t kMinFrameLength = 4;
inline constexpr std::size_t kCheckSumLength = 2;

/// frame becomes body (server address, function code, data) and its check sum, low byte first.
void FormFrame(std::span<const std::uint8_t> body, Bytes& frame);

/// True when frame is long enough and ends with its own check sum.
bool CheckSumFits(std::span<const std::uint8_t> frame);

/// frame, not shorter than kMinFrameLength, without its check sum.
inline std::span<const std::uint8_t> Body(std::span<const std::uint8_t> frame) {
  return frame.first(frame.size() - kCheckSumLength);
}

}  // namespace OrvixModBus
