#include "tools/display/uShownText.h"

#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

TEST(ShownText, WritesBytesAsPairs) {
  EXPECT_EQ(HexText(Bytes{}), "");
  EXPECT_EQ(HexText(Bytes{0x0A}), "0A");
  EXPECT_EQ(HexText(Bytes{0x11, 0x03, 0xFF}), "11 03 FF");
  EXPECT_EQ(HexText(Bytes{0x11, 0x03, 0xFF}, ""), "1103FF");
}

TEST(ShownText, LeavesOutTheBitsWithoutText) {
  const struct {
    const char *Value, *Shown;
  } cases[] = {
      {"", ""}, {"|||", ""}, {"Run|||", "Run"}, {"||Fault", "Fault"}, {"On||Fault|", "On, Fault"}};
  for (const auto& test : cases) EXPECT_EQ(BitTexts(test.Value), test.Shown) << test.Value;
}

}  // namespace
}  // namespace OrvixModBus
