#include "platform/rtl/uVariant.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/rtl/uException.h"
#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

struct TVariantRow {
  const char* name;
  Variant value;
  std::int32_t integer;
  double real;
  const char* text;
};

class VariantValue : public testing::TestWithParam<TVariantRow> {};

TEST_P(VariantValue, IsReadInEveryForm) {
  const Variant& value = GetParam().value;
  EXPECT_FALSE(value.IsEmpty());
  EXPECT_EQ(value.ToInteger(), GetParam().integer);
  EXPECT_EQ(value.ToDouble(), GetParam().real);
  EXPECT_EQ(value.ToText(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, VariantValue,
                         testing::Values(TVariantRow{"Integer", 12, 12, 12, "12"},
                                         TVariantRow{"Negative", -1, -1, -1, "-1"},
                                         TVariantRow{"Real", 0.6, 1, 0.6, "0.6"},
                                         TVariantRow{"TieToEvenBelow", -2.5, -2, -2.5, "-2.5"},
                                         TVariantRow{"TieToEvenAbove", -1.5, -2, -1.5, "-1.5"},
                                         TVariantRow{"RealJustFits", 2147483647.4, 2147483647,
                                                     2147483647.4, "2147483647.4"},
                                         TVariantRow{"RealJustFitsBelow", -2147483648.5,
                                                     -2147483647 - 1, -2147483648.5,
                                                     "-2147483648.5"},
                                         TVariantRow{"Text", "12", 12, 12, "12"},
                                         TVariantRow{"TextOfAReal", "2.5", 2, 2.5, "2.5"},
                                         TVariantRow{"TextWithBlanks", " 3 ", 3, 3, " 3 "}),
                         TRowName());

TEST(Variant, ReadsHexadecimalTextAsAnIntegerOnly) {
  EXPECT_EQ(Variant("$10").ToInteger(), 16);
  EXPECT_THROW(Variant("$10").ToDouble(), EVariantError);
}

TEST(Variant, OfNothingIsEmptyAndHasNoNumber) {
  const Variant nothing;
  EXPECT_TRUE(nothing.IsEmpty());
  EXPECT_EQ(nothing.ToText(), "");
  EXPECT_THAT([&] { nothing.ToInteger(); }, testing::ThrowsMessage<EVariantError>(
                                                "An empty value can't be converted to a number"));
  EXPECT_THROW(nothing.ToDouble(), EVariantError);
}

TEST(Variant, OfTextThatIsNoNumberIsRefused) {
  EXPECT_THAT([] { Variant("on").ToDouble(); },
              testing::ThrowsMessage<EVariantError>("Value 'on' can't be converted to a number"));
  EXPECT_THROW(Variant("on").ToInteger(), EVariantError);
  EXPECT_THROW(Variant("").ToInteger(), EVariantError);
}

TEST(Variant, PastAnIntegerIsRefused) {
  EXPECT_THAT(
      [] { Variant("2147483648").ToInteger(); },
      testing::ThrowsMessage<EVariantError>("Value '2147483648' can't be converted to an integer"));
  EXPECT_THROW(Variant(2147483647.5).ToInteger(), EVariantError);
  EXPECT_THROW(Variant(-2147483649.0).ToInteger(), EVariantError);
  EXPECT_THROW(Variant(std::nan("")).ToInteger(), EVariantError);
  EXPECT_THROW(Variant(std::numeric_limits<double>::infinity()).ToInteger(), EVariantError);
}

TEST(Variant, EqualsOneOfTheSameKindAndValue) {
  EXPECT_EQ(Variant(1), Variant(1));
  EXPECT_NE(Variant(1), Variant(1.0));
  EXPECT_NE(Variant("1"), Variant(1));
  EXPECT_EQ(Variant(), Variant());
}

}  // namespace
}  // namespace OrvixModBus
