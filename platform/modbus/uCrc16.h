#pragma once
// uCrc16: the check sum of RTU frames.

#include <cstdint>
#include <span>

namespace OrvixModBus {

/// CRC-16/MODBUS (Modbus over Serial Line V1.02, 6.2.2): polynomial $8005 reflected, begins with
/// $FFFF. On the wire its low byte comes first.
std::uint16_t Crc16(std::span<const std::uint8_t> data);

}  // namespace OrvixModBus
