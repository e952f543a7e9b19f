#include "platform/modbus/uCrc16.h"

#include <array>

namespace OrvixModBus {
namespace {

constexpr std::array<std::uint16_t, 256> MakeTable() {
  std::array<std::uint16_t, 256> table{};
  for (unsigned i = 0; i < 256; ++i) {
    unsigned crc = i;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xA001U : crc >> 1;
    table[i] = static_cast<std::uint16_t>(crc);
  }
  return table;
}

constexpr auto kTable = MakeTable();

}  // namespace

std::uint16_t Crc16(std::span<const std::uint8_t> data) {
  unsigned crc = 0xFFFF;
  for (const std::uint8_t byte : data) crc = crc >> 8 ^ kTable[(crc ^ byte) & 0xFF];
  return static_cast<std::uint16_t>(crc);
}

}  // namespace OrvixModBus
