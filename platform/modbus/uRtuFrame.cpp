#include "platform/modbus/uRtuFrame.h"

#include "platform/modbus/uCrc16.h"

namespace OrvixModBus {

void FormFrame(std::span<const std::uint8_t> body, Bytes& frame) {
  const std::uint16_t crc = Crc16(body);
  frame.assign(body.begin(), body.end());
  frame.push_back(static_cast<std::uint8_t>(crc & 0xFF));
  frame.push_back(static_cast<std::uint8_t>(crc >> 8));
}

bool CheckSumFits(std::span<const std::uint8_t> frame) {
  if (frame.size() < kMinFrameLength) return false;
  const unsigned found = frame[frame.size() - 2] | static_cast<unsigned>(frame.back()) << 8;
  return Crc16(Body(frame)) == found;
}

}  // namespace OrvixModBus
