#include "platform/modbus/uCrc16.h"

#include <gtest/gtest.h>

#include "ScriptedPort.h"

namespace OrvixModBus {
namespace {

TEST(TCrc16, KnownValues) {
  const struct {
    const char* Data;
    std::uint16_t Crc;
  } cases[] = {
      {"", 0xFFFF},
      {"00", 0x40BF},
      {"31 32 33 34 35 36 37 38 39", 0x4B37},  // the check value of CRC-16/MODBUS
      {"01 03 00 00 00 0A", 0xCDC5},
      {"02 07", 0x1241},        // the standard's own example
      {"01 04 02 03", 0x7801},  // so this frame also fits with its last byte missing
      {"01 04 02 03 01", 0x0078},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Crc16(Hex(c.Data)), c.Crc) << c.Data;
  }
}

TEST(TCrc16, IsThatOfTheBitsAtEveryLength) {
  Bytes data;
  unsigned crc = 0xFFFF;
  for (unsigned i = 0; i < 600; ++i) {
    EXPECT_EQ(Crc16(data), crc) << data.size() << " bytes";
    data.push_back(static_cast<std::uint8_t>(i * i * 31 + i * 7));
    crc ^= data.back();
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xA001U : crc >> 1;
  }
}

}  // namespace
}  // namespace OrvixModBus
