#include "platform/rtl/uFormat.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "platform/rtl/uException.h"
#include "platform/rtl/uNumText.h"
#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

struct TFormatRow {
  const char* name;
  const char* format;
  TFormatArg arg;
  const char* text;
};

class FormatOne : public testing::TestWithParam<TFormatRow> {};

TEST_P(FormatOne, FillsThePlaceholder) {
  EXPECT_EQ(Format(GetParam().format, {GetParam().arg}), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Integers, FormatOne,
    testing::Values(
        TFormatRow{"Decimal", "%d", 5, "5"}, TFormatRow{"Negative", "%d", -5, "-5"},
        TFormatRow{"CapitalLetter", "%D", 5, "5"}, TFormatRow{"TextAround", "Ch%d_V", 4, "Ch4_V"},
        TFormatRow{"Width", "%4d|", 5, "   5|"}, TFormatRow{"LeftAligned", "%-4d|", 5, "5   |"},
        TFormatRow{"WidthTooSmall", "%2d", 12345, "12345"},
        TFormatRow{"PrecisionFillsWithZeros", "%.4d", 17, "0017"},
        TFormatRow{"PrecisionCountsDigitsOnly", "%.2d", -5, "-05"},
        TFormatRow{"PrecisionTooSmall", "%.1d", 123, "123"},
        TFormatRow{"WidthAndPrecision", "%6.3d", 17, "   017"},
        TFormatRow{"Smallest", "%d", std::numeric_limits<std::int64_t>::min(),
                   "-9223372036854775808"},
        TFormatRow{"LargestUnsigned", "%d", ~std::uint64_t{0}, "18446744073709551615"},
        TFormatRow{"SmallType", "%d", std::int8_t{-7}, "-7"},
        TFormatRow{"UnsignedViewOfNegative", "%u", -1, "4294967295"},
        TFormatRow{"UnsignedViewOf64Bits", "%u", std::int64_t{-1}, "18446744073709551615"},
        TFormatRow{"Hexadecimal", "%x", 255, "FF"},
        TFormatRow{"HexadecimalFilled", "$%.4x", 255, "$00FF"},
        TFormatRow{"HexadecimalOfNegative", "%X", -1, "FFFFFFFF"}),
    TRowName());

INSTANTIATE_TEST_SUITE_P(
    Reals, FormatOne,
    testing::Values(TFormatRow{"FixedHasTwoDecimals", "%f", 0.5625, "0.56"},
                    TFormatRow{"Fixed", "%.3f", 0.5, "0.500"},
                    TFormatRow{"FixedWhole", "%.0f", 1.75, "2"},
                    TFormatRow{"TieAwayFromZero", "%.1f", 0.75, "0.8"},
                    TFormatRow{"Width", "%8.3f", -0.125, "  -0.125"},
                    TFormatRow{"LeftAligned", "%-8.2f|", 63.998046875, "64.00   |"},
                    TFormatRow{"Unit", "%.1f °C", 0.001953125, "0.0 °C"},
                    TFormatRow{"PerCent", "%.2f %%", 127.5, "127.50 %"},
                    TFormatRow{"GeneralHas15Digits", "t=%g", 127.99609375, "t=127.99609375"},
                    TFormatRow{"GeneralHidesBinaryErrors", "%g", 0.1 * 3, "0.3"},
                    TFormatRow{"GeneralShort", "%.3g", 0.001953125, "0.00195"},
                    TFormatRow{"Exponent", "%.3e", 0.125, "1.25E-001"},
                    TFormatRow{"ExponentHas15Digits", "%e", 1.25, "1.25000000000000E+000"},
                    TFormatRow{"Groups", "%n", 1234567.5, "1,234,567.50"},
                    TFormatRow{"GroupsWhole", "%.0n", -1234.0, "-1,234"},
                    TFormatRow{"ArgumentIndex", "%0:.2f", 0.25, "0.25"}),
    TRowName());

INSTANTIATE_TEST_SUITE_P(
    Texts, FormatOne,
    testing::Values(TFormatRow{"Text", "<%s>", "ab", "<ab>"}, TFormatRow{"Empty", "<%s>", "", "<>"},
                    TFormatRow{"Width", "%5s|", "ab", "   ab|"},
                    TFormatRow{"LeftAligned", "%-5s|", "ab", "ab   |"},
                    TFormatRow{"WidthCountsCharacters", "%5s|", "Насо", " Насо|"},
                    TFormatRow{"PrecisionCutsCharacters", "%.3s", "Насос", "Нас"},
                    TFormatRow{"PrecisionLongerThanText", "%.9s", "ab", "ab"},
                    TFormatRow{"PlaceholderInAnArgumentIsText", "%s", "%d", "%d"},
                    TFormatRow{"NoPlaceholder", "100 %%", "unused", "100 %"},
                    TFormatRow{"EmptyFormat", "", "unused", ""}),
    TRowName());

TEST(Format, TakesArgumentsInOrderAndByIndex) {
  EXPECT_EQ(Format("%s=%d (%g)", {"a", 1, 2.5}), "a=1 (2.5)");
  EXPECT_EQ(Format("%1:s %0:s %s", {"a", "b"}), "b a b");
  EXPECT_EQ(Format("%0:d %0:-3d|%0:.3d", {7}), "7 7  |007");
}

TEST(Format, CopiesNoTextThatOutlivesTheCall) {
  EXPECT_EQ(Format("%s", {std::string(100, 'x') + "y"}), std::string(100, 'x') + "y");
}

TEST(Format, GroupsAndDecimalsStayApartWithADecimalComma) {
  SetDecimalSeparator(',');
  const std::string text = Format("%n", {1234.5});
  SetDecimalSeparator('.');
  EXPECT_EQ(text, "1.234,50");
}

TEST(Format, FillsTheLongestFieldThatItTakes) {
  EXPECT_EQ(Format("%9999d", {1}).size(), 9999u);
  EXPECT_EQ(Format("%.9999f", {0.5}).size(), 10001u);
}

class FormatMisfit : public testing::TestWithParam<TFormatRow> {};

TEST_P(FormatMisfit, IsRefusedWithTheFormat) {
  const std::string text = Format(GetParam().text, {GetParam().format});
  EXPECT_THAT([&] { Format(GetParam().format, {GetParam().arg}); },
              testing::ThrowsMessage<EConvertError>(text));
}

constexpr const char* kInvalid = "Format '%s' invalid or incompatible with argument";
constexpr const char* kMissing = "No argument for format '%s'";

INSTANTIATE_TEST_SUITE_P(
    Rows, FormatMisfit,
    testing::Values(TFormatRow{"PercentAtEnd", "5 %", 1, kInvalid},
                    TFormatRow{"NoLetter", "%5.2", 1.0, kInvalid},
                    TFormatRow{"UnknownLetter", "%q", 1, kInvalid},
                    TFormatRow{"PointerLetter", "%p", 1, kInvalid},
                    TFormatRow{"WritingLetterTakesNoInteger", "%n", 1, kInvalid},
                    TFormatRow{"BlankAsLetter", "% d", 1, kInvalid},
                    TFormatRow{"EmptyPrecision", "%.d", 1, kInvalid},
                    TFormatRow{"StarWidth", "%*d", 1, kInvalid},
                    TFormatRow{"ColonWithoutIndex", "%:d", 1, kInvalid},
                    TFormatRow{"WidthTooLong", "%10000d", 1, kInvalid},
                    TFormatRow{"WidthPastAllTypes", "%99999999999999999999999d", 1, kInvalid},
                    TFormatRow{"PrecisionTooLong", "%.10000f", 1.0, kInvalid},
                    TFormatRow{"IntegerLetterForReal", "%d", 1.5, kInvalid},
                    TFormatRow{"RealLetterForInteger", "%f", 1, kInvalid},
                    TFormatRow{"TextLetterForInteger", "%s", 1, kInvalid},
                    TFormatRow{"TextLetterForReal", "%s", 1.5, kInvalid},
                    TFormatRow{"IntegerLetterForText", "%x", "1", kInvalid},
                    TFormatRow{"RealLetterForText", "%g", "1", kInvalid},
                    TFormatRow{"SecondArgumentMissing", "%d %d", 1, kMissing},
                    TFormatRow{"IndexPastTheArguments", "%1:d", 1, kMissing}),
    TRowName());

TEST(AppendFormat, FillsUpItsOwnFieldsOnly) {
  std::string text = "ä|";
  AppendFormat(text, "%5.1f|%-6d|%3s", {2.25, 7, "äö"});
  EXPECT_EQ(text, "ä|  2.3|7     | äö");
}

}  // namespace
}  // namespace OrvixModBus
