#include "tools/simulator/uSimulatedRecord.h"

#include <gtest/gtest.h>

#include "platform/rtl/uException.h"
#include "tests/tools/uHexFrame.h"
#include "tools/simulator/uSimulatedFormula.h"

namespace OrvixModBus {
namespace {

struct TCase {
  const char* Name;
  TRecordField Field;
  std::uint32_t Index;
  const char* Hex;
};

TEST(SimulatedRecord, FieldGivesItsBytes) {
  const auto little = std::endian::little;
  const TCase cases[] = {
      {"one byte", NumberField(1, ConstantFormula(0xAB)), 0, "AB"},
      {"high byte first", NumberField(3, ConstantFormula(0x010203)), 0, "01 02 03"},
      {"low byte first", NumberField(3, ConstantFormula(0x010203), little), 0, "03 02 01"},
      {"eight bytes", NumberField(8, ConstantFormula(0x10203040506)), 0, "00 00 01 02 03 04 05 06"},
      {"negative", NumberField(2, ConstantFormula(-2)), 0, "FF FE"},
      {"negative, low byte first", NumberField(2, ConstantFormula(-2), little), 0, "FE FF"},
      {"negative in eight bytes", NumberField(8, ConstantFormula(-2)), 0,
       "FF FF FF FF FF FF FF FE"},
      {"cut to its low bytes", NumberField(1, ConstantFormula(-257)), 0, "FF"},
      {"four bytes and no sign", NumberField(5, ConstantFormula(0xFFFFFFFF)), 0, "00 FF FF FF FF"},
      {"time stamps", NumberField(4, RampFormula(0x65000000, 60)), 2, "65 00 00 78"},
      {"period of records", NumberField(2, SineFormula(-1000, 1000, 8)), 6, "FC 18"},
      {"codes by turns", NumberField(1, CycleFormula({1, 2, 5})), 5, "05"},
      {"steps after a few records", NumberField(1, CounterFormula(0, 1, 10)), 29, "02"},
      {"text", TextField(3, "ABC"), 7, "41 42 43"},
      {"blanks behind a text", TextField(4, "AB"), 0, "41 42 20 20"},
  };
  for (const TCase& one : cases) {
    SCOPED_TRACE(one.Name);
    EXPECT_EQ(ToHex(one.Field(one.Index)), one.Hex);
  }
}

TEST(SimulatedRecord, FieldOfAnotherSizeIsRefused) {
  EXPECT_THROW(NumberField(0, ConstantFormula(1)), EArgumentOutOfRangeException);
  EXPECT_THROW(NumberField(9, ConstantFormula(1)), EArgumentOutOfRangeException);
  EXPECT_THROW(TextField(3, "ABCD"), EArgumentOutOfRangeException);
}

TEST(SimulatedRecord, RecordsHoldTheirFieldsInOrder) {
  const TRecordFormat format{NumberField(2, RampFormula(256, 1)),
                             [](std::uint32_t index) { return Bytes(index, 0xEE); },
                             TextField(1, "x")};
  const std::vector<Bytes> records{
      {0x01, 0x00, 'x'}, {0x01, 0x01, 0xEE, 'x'}, {0x01, 0x02, 0xEE, 0xEE, 'x'}};
  EXPECT_EQ(FormRecords(format, 3), records);
  EXPECT_EQ(FormRecords({}, 2), std::vector<Bytes>(2));
  EXPECT_TRUE(FormRecords(format, 0).empty());
}

}  // namespace
}  // namespace OrvixModBus
