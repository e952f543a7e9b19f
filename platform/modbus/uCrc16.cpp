#include "platform/modbus/uCrc16.h"

#include <array>

namespace OrvixModBus {
namespace {

// Eight bytes at a time wait for each other once, not eight times.
constexpr std::size_t kSlice = 8;
using TTables = std::array<std::array<unsigned, 256>, kSlice>;

// [n][byte]: what byte leaves in the check sum when n more bytes have followed it.
constexpr TTables MakeTables() {
  TTables tables{};
  for (unsigned i = 0; i < 256; ++i) {
    unsigned crc = i;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xA001U : crc >> 1;
    tables[0][i] = crc;
  }
  for (std::size_t n = 1; n < kSlice; ++n) {
    for (std::size_t i = 0; i < 256; ++i) {
      const unsigned crc = tables[n - 1][i];
      tables[n][i] = crc >> 8 ^ tables[0][crc & 0xFF];
    }
  }
  return tables;
}

constexpr TTables kTables = MakeTables();

}  // namespace

std::uint16_t Crc16(std::span<const std::uint8_t> data) {
  unsigned crc = 0xFFFF;
  for (; data.size() >= kSlice; data = data.subspan(kSlice)) {
    crc = kTables[7][(crc ^ data[0]) & 0xFF] ^ kTables[6][crc >> 8 ^ data[1]] ^
          kTables[5][data[2]] ^ kTables[4][data[3]] ^ kTables[3][data[4]] ^ kTables[2][data[5]] ^
          kTables[1][data[6]] ^ kTables[0][data[7]];
  }
  for (const std::uint8_t byte : data) crc = crc >> 8 ^ kTables[0][(crc ^ byte) & 0xFF];
  return static_cast<std::uint16_t>(crc);
}

}  // namespace OrvixModBus
