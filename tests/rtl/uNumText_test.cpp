#include "platform/rtl/uNumText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>

#include "platform/rtl/uException.h"
#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct TFloatRow {
  const char* name;
  double value;
  const char* text;
};

class FloatToStrText : public testing::TestWithParam<TFloatRow> {};

TEST_P(FloatToStrText, IsWhatAPersonExpects) {
  EXPECT_EQ(FloatToStr(GetParam().value), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FloatToStrText,
    testing::Values(
        TFloatRow{"Zero", 0.0, "0"}, TFloatRow{"NegativeZero", -0.0, "0"},
        TFloatRow{"WholeNumber", 25345, "25345"}, TFloatRow{"NegativeWholeNumber", -128, "-128"},
        TFloatRow{"Half", 0.5, "0.5"}, TFloatRow{"NegativeFraction", -2.25, "-2.25"},
        TFloatRow{"NoTrailingZeros", 1280.0, "1280"},
        TFloatRow{"ErrorOfBinaryFractionsHidden", 0.1 * 3, "0.3"},
        TFloatRow{"ErrorOfBinaryFractionsHiddenWhenWhole", 0.1 * 30 / 0.1, "30"},
        TFloatRow{"Third", 1.0 / 3, "0.333333333333333"},
        TFloatRow{"TwoThirdsRoundedUp", 2.0 / 3, "0.666666666666667"},
        TFloatRow{"FifteenDigits", 127.996093750123, "127.996093750123"},
        TFloatRow{"TieGoesAwayFromZero", 199972356.2265625, "199972356.226563"},
        TFloatRow{"TieAfterAnEvenDigitToo", 806128884.6640625, "806128884.664063"},
        TFloatRow{"NegativeTie", -199972356.2265625, "-199972356.226563"},
        TFloatRow{"BelowATie", 191.8828430175781, "191.882843017578"},
        TFloatRow{"NineDecimals", 123456.123456789, "123456.123456789"},
        TFloatRow{"TenDecimals", 12345.1234567891, "12345.1234567891"},
        TFloatRow{"BinaryFraction", 255.99609375, "255.99609375"},
        TFloatRow{"ThousandthsOfALargeNumber", 123456789012.345, "123456789012.345"},
        TFloatRow{"NoThousandthsOfALargerOne", 1234567890123.456, "1234567890123.46"},
        TFloatRow{"TwoUnitsAboveThePlainest", 0.10000000000000003, "0.1"},
        TFloatRow{"HalfADigitBelowAPowerOfTen", 0.9999999999999996, "1"},
        TFloatRow{"ADigitBelowAPowerOfTen", 0.999999999999999, "0.999999999999999"},
        TFloatRow{"RoundedToTheLastPlainWhole", 99999999999999.96, "100000000000000"},
        TFloatRow{"LastPlainPowerOfTen", 1e14, "100000000000000"},
        TFloatRow{"FirstScientific", 1e15, "1E15"},
        TFloatRow{"LargestPlain", 999999999999999, "999999999999999"},
        TFloatRow{"RoundedIntoScientific", 999999999999999.9, "1E15"},
        TFloatRow{"ScientificWithFraction", 1.5e20, "1.5E20"},
        TFloatRow{"ScientificInteger", 123456789012345678.0, "1.23456789012346E17"},
        TFloatRow{"SmallestPlain", 1e-4, "0.0001"}, TFloatRow{"FirstScientificSmall", 1e-5, "1E-5"},
        TFloatRow{"SmallPlainWithDigits", 0.00049609375, "0.00049609375"},
        TFloatRow{"JustBelowPlain", 0.0000999, "9.99E-5"},
        TFloatRow{"RoundedIntoPlain", 9.99999999999999995e-5, "0.0001"},
        TFloatRow{"NegativeScientific", -1.25e-7, "-1.25E-7"},
        TFloatRow{"Largest", DBL_MAX, "1.79769313486232E308"},
        TFloatRow{"MostNegative", -DBL_MAX, "-1.79769313486232E308"},
        TFloatRow{"SmallestNormal", DBL_MIN, "2.2250738585072E-308"},
        TFloatRow{"SmallestOfAll", 5e-324, "4.94065645841247E-324"},
        TFloatRow{"Infinity", kInfinity, "INF"}, TFloatRow{"NegativeInfinity", -kInfinity, "-INF"},
        TFloatRow{"NotANumber", std::nan(""), "NAN"}),
    TRowName());

struct TDigitsRow {
  const char* name;
  double value;
  int digits;
  const char* text;
};

class FloatToGeneralText : public testing::TestWithParam<TDigitsRow> {};

TEST_P(FloatToGeneralText, KeepsSoManyDigits) {
  EXPECT_EQ(FloatToGeneral(GetParam().value, GetParam().digits), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FloatToGeneralText,
    testing::Values(TDigitsRow{"Rounded", 0.001953125, 3, "0.00195"},
                    TDigitsRow{"ScientificWhenTooLong", 1234.5, 3, "1.23E3"},
                    TDigitsRow{"PlainWhenItJustFits", 123.4, 3, "123"},
                    TDigitsRow{"TieAwayFromZero", 0.125, 2, "0.13"},
                    TDigitsRow{"TieOfWholeNumber", 25, 1, "3E1"},
                    TDigitsRow{"CarryThroughAllDigits", 99.96, 3, "100"},
                    TDigitsRow{"CarryIntoScientific", 999.6, 3, "1E3"},
                    TDigitsRow{"MoreThanADoubleHolds", 0.1, 20, "0.10000000000000000555"},
                    TDigitsRow{"NoDigitsCountAsOne", 7, 0, "7"}, TDigitsRow{"Zero", 0, 3, "0"}),
    TRowName());

class FloatToFixedText : public testing::TestWithParam<TDigitsRow> {};

TEST_P(FloatToFixedText, RoundsTheExactValue) {
  EXPECT_EQ(FloatToFixed(GetParam().value, GetParam().digits), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FloatToFixedText,
    testing::Values(
        TDigitsRow{"Padded", 0.5, 3, "0.500"}, TDigitsRow{"TieUp", 0.125, 2, "0.13"},
        TDigitsRow{"TieDown", -0.125, 2, "-0.13"}, TDigitsRow{"NoTieInBinary", 1.005, 2, "1.00"},
        TDigitsRow{"NoTieThoughTheProductIsAbove", 1.115, 2, "1.11"},
        TDigitsRow{"JustAboveATie", 2.675000000000001, 2, "2.68"},
        TDigitsRow{"WholeTie", 2.5, 0, "3"}, TDigitsRow{"BelowOneRoundsUp", 0.75, 0, "1"},
        TDigitsRow{"RoundsToZero", 0.001, 2, "0.00"}, TDigitsRow{"NoSignOnZero", -0.001, 2, "0.00"},
        TDigitsRow{"FarBelowTheLastDecimal", 1e-300, 2, "0.00"},
        TDigitsRow{"CarryLengthens", 999.996, 2, "1000.00"},
        TDigitsRow{"NegativeCountIsNone", 12.6, -3, "13"},
        TDigitsRow{"LargeIntegerIsExact", 1e22, 1, "10000000000000000000000.0"},
        TDigitsRow{"AllBitsOfATenth", 0.1, 25, "0.1000000000000000055511151"},
        TDigitsRow{"Infinity", -kInfinity, 2, "-INF"},
        TDigitsRow{"ZeroWithoutDecimals", 0, 0, "0"}),
    TRowName());

class FloatToExponentText : public testing::TestWithParam<TDigitsRow> {};

TEST_P(FloatToExponentText, CountsAllDigits) {
  EXPECT_EQ(FloatToExponent(GetParam().value, GetParam().digits), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, FloatToExponentText,
                         testing::Values(TDigitsRow{"BelowOne", 0.125, 3, "1.25E-001"},
                                         TDigitsRow{"TieAwayFromZero", 1.25, 2, "1.3E+000"},
                                         TDigitsRow{"PaddedWithZeros", 12, 5, "1.2000E+001"},
                                         TDigitsRow{"ThreeExponentDigits", -1e300, 2, "-1.0E+300"},
                                         TDigitsRow{"Zero", 0, 3, "0.00E+000"},
                                         TDigitsRow{"OneDigit", 0.96, 1, "1E+000"},
                                         TDigitsRow{"NotANumber", std::nan(""), 3, "NAN"}),
                         TRowName());

TEST(AppendedNumbers, StandBehindTheTextThatWasThere) {
  std::string text = "a";
  AppendInt(text, std::numeric_limits<std::int64_t>::min());
  AppendFloat(text += ' ', -0.5);
  AppendGeneral(text += ' ', 1.0 / 3, 3);
  AppendFixed(text += ' ', 2.5, 1);
  AppendFixed(text += ' ', 12345, 0, ',');
  AppendExponent(text += ' ', 12, 3);
  AppendFloat(text += ' ', -kInfinity);
  EXPECT_EQ(text, "a-9223372036854775808 -0.5 0.333 2.5 12,345 1.20E+001 -INF");
}

TEST(FloatToFixed, SetsThousandsApart) {
  EXPECT_EQ(FloatToFixed(1234567.891, 2, ','), "1,234,567.89");
  EXPECT_EQ(FloatToFixed(-999.95, 1, ','), "-1,000.0");
  EXPECT_EQ(FloatToFixed(999, 0, ','), "999");
  EXPECT_EQ(FloatToFixed(100000, 0, ','), "100,000");
}

class DecimalComma : public testing::Test {
 protected:
  DecimalComma() { SetDecimalSeparator(','); }
  ~DecimalComma() override { SetDecimalSeparator('.'); }
};

TEST_F(DecimalComma, StandsInEveryText) {
  EXPECT_EQ(DecimalSeparator(), ',');
  EXPECT_EQ(FloatToStr(0.5), "0,5");
  EXPECT_EQ(FloatToStr(1.5e20), "1,5E20");
  EXPECT_EQ(FloatToFixed(1.5, 2), "1,50");
  EXPECT_EQ(FloatToExponent(1.5, 2), "1,5E+000");
}

TEST_F(DecimalComma, IsReadAndThePointIsNot) {
  EXPECT_EQ(StrToFloat("-1,5"), -1.5);
  EXPECT_THROW(StrToFloat("1.5"), EConvertError);
}

TEST(FloatToStr, AgreesWithTheExactValueOfRandomNumbers) {
  std::mt19937_64 random(20240229);
  for (int i = 0; i < 20000; ++i) {
    double value = 0;
    const std::uint64_t bits = random();
    std::memcpy(&value, &bits, sizeof value);
    // Halfway between two texts the C library rounds to even. Only numbers with about as many
    // digits as a text has get there by chance.
    const double size = std::fabs(value);
    if (!std::isfinite(value) || (size > 1e11 && size < 1e17)) continue;
    std::array<char, 64> expected;
    std::snprintf(expected.data(), expected.size(), "%.14e", value);
    EXPECT_EQ(std::strtod(FloatToStr(value).c_str(), nullptr),
              std::strtod(expected.data(), nullptr))
        << expected.data();
  }
}

TEST(FloatToStr, GivesBackEveryTextOf15Digits) {
  std::mt19937_64 random(15);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t digits = random() % 999999999999999 + 1;
    const int decimals = static_cast<int>(random() % 15);
    const double value =
        StrToFloat(IntToStr(static_cast<std::int64_t>(digits)) + "E-" + IntToStr(decimals));
    EXPECT_EQ(StrToFloat(FloatToStr(value)), value) << digits << " E-" << decimals;
  }
}

TEST(FloatToFixed, AgreesWithTheExactValueOfRandomNumbers) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> numbers(-1e6, 1e6);
  for (int i = 0; i < 5000; ++i) {
    const double value = numbers(random);
    const int decimals = i % 8;
    std::array<char, 64> expected;
    std::snprintf(expected.data(), expected.size(), "%.*f", decimals, value);
    EXPECT_EQ(FloatToFixed(value, decimals), expected.data());
  }
}

struct TIntegerRow {
  const char* name;
  const char* text;
  std::int32_t value;
};

class IntegerText : public testing::TestWithParam<TIntegerRow> {};

TEST_P(IntegerText, IsRead) {
  const auto& [name, text, value] = GetParam();
  EXPECT_EQ(StrToInt(text), value);
  EXPECT_EQ(StrToIntDef(text, value == 77 ? 78 : 77), value);
  std::int32_t read = value == 77 ? 78 : 77;
  EXPECT_TRUE(TryStrToInt(text, read));
  EXPECT_EQ(read, value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, IntegerText,
    testing::Values(TIntegerRow{"Decimal", "15", 15}, TIntegerRow{"Zero", "0", 0},
                    TIntegerRow{"LeadingZeros", "0000000000000017", 17},
                    TIntegerRow{"LeadingBlanks", "  4", 4}, TIntegerRow{"PlusSign", "+4", 4},
                    TIntegerRow{"MinusSign", "-4", -4}, TIntegerRow{"BlankThenSign", " -4", -4},
                    TIntegerRow{"Largest", "2147483647", 2147483647},
                    TIntegerRow{"Smallest", "-2147483648", -2147483647 - 1},
                    TIntegerRow{"DollarHex", "$1f", 31}, TIntegerRow{"CHex", "0x1F", 31},
                    TIntegerRow{"UpperCHex", "0X1F", 31}, TIntegerRow{"BareXHex", "x1F", 31},
                    TIntegerRow{"UpperBareXHex", "X1F", 31},
                    TIntegerRow{"NegativeHex", "-$10", -16},
                    TIntegerRow{"HexOf32BitsWraps", "$FFFFFFFF", -1},
                    TIntegerRow{"TopHexBit", "$80000000", -2147483647 - 1},
                    TIntegerRow{"LongHexOfZeros", "$000000000000000A", 10}),
    TRowName());

struct TBadTextRow {
  const char* name;
  const char* text;
};

class NoInteger : public testing::TestWithParam<TBadTextRow> {};

TEST_P(NoInteger, IsRefusedWithItsText) {
  const std::string text = GetParam().text;
  EXPECT_THAT([&] { StrToInt(text); },
              testing::ThrowsMessage<EConvertError>("'" + text + "' is not a valid integer value"));
  EXPECT_EQ(StrToIntDef(text, -5), -5);
  std::int32_t kept = 9;
  EXPECT_FALSE(TryStrToInt(text, kept));
  EXPECT_EQ(kept, 9);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, NoInteger,
    testing::Values(TBadTextRow{"Empty", ""}, TBadTextRow{"Blank", " "},
                    TBadTextRow{"TrailingBlank", "4 "}, TBadTextRow{"Letters", "4a"},
                    TBadTextRow{"SignAlone", "-"}, TBadTextRow{"TwoSigns", "+-4"},
                    TBadTextRow{"BlankAfterSign", "- 4"}, TBadTextRow{"Fraction", "4.0"},
                    TBadTextRow{"OneTooLarge", "2147483648"},
                    TBadTextRow{"OneTooSmall", "-2147483649"},
                    TBadTextRow{"FarTooLarge", "99999999999999999999"},
                    TBadTextRow{"DollarAlone", "$"}, TBadTextRow{"PrefixAlone", "0x"},
                    TBadTextRow{"HexOf33Bits", "$100000000"}, TBadTextRow{"SignInsideHex", "$-1"},
                    TBadTextRow{"BlankInsideHex", "$ 1"}, TBadTextRow{"TwoPrefixes", "$0x1"},
                    TBadTextRow{"NoHexDigit", "$G"}, TBadTextRow{"Tabulator", "\t4"}),
    TRowName());

TEST(IntToStr, ReachesBothEnds) {
  EXPECT_EQ(IntToStr(0), "0");
  EXPECT_EQ(IntToStr(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(IntToStr(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
}

TEST(IntToHex, FillsUpAndNeverCuts) {
  EXPECT_EQ(IntToHex(0xAB, 4), "00AB");
  EXPECT_EQ(IntToHex(0xABCDE, 2), "ABCDE");
  EXPECT_EQ(IntToHex(0, 0), "0");
  EXPECT_EQ(IntToHex(1, -1), "1");
  EXPECT_EQ(IntToHex(~std::uint64_t{0}, 1), "FFFFFFFFFFFFFFFF");
}

TEST(StrToInt, GivesBackRandomNumbersInBothBases) {
  std::mt19937 random(42);
  for (int i = 0; i < 5000; ++i) {
    const auto value = static_cast<std::int32_t>(random());
    EXPECT_EQ(StrToInt(IntToStr(value)), value);
    EXPECT_EQ(StrToInt("$" + IntToHex(static_cast<std::uint32_t>(value), 8)), value);
  }
}

struct TRealRow {
  const char* name;
  const char* text;
  double value;
};

class RealText : public testing::TestWithParam<TRealRow> {};

TEST_P(RealText, IsRead) {
  EXPECT_EQ(StrToFloat(GetParam().text), GetParam().value);
  double read = 77;
  EXPECT_TRUE(TryStrToFloat(GetParam().text, read));
  EXPECT_EQ(read, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RealText,
    testing::Values(TRealRow{"Whole", "12", 12}, TRealRow{"Fraction", "1.5", 1.5},
                    TRealRow{"BlanksAround", "  1.5  ", 1.5}, TRealRow{"Plus", "+1.5", 1.5},
                    TRealRow{"Minus", "-1.5", -1.5}, TRealRow{"NoDigitBeforePoint", ".5", 0.5},
                    TRealRow{"NoDigitBehindPoint", "5.", 5}, TRealRow{"Exponent", "1E3", 1000},
                    TRealRow{"SmallLetterExponent", "1e3", 1000},
                    TRealRow{"SignedExponents", "25E-1", 2.5},
                    TRealRow{"PlusExponent", "2E+2", 200},
                    TRealRow{"Largest", "1.7976931348623157E308", DBL_MAX},
                    TRealRow{"SmallestOfAll", "5E-324", 5e-324},
                    TRealRow{"LongFraction", "0.1000000000000000055511151231257827", 0.1}),
    TRowName());

class NoReal : public testing::TestWithParam<TBadTextRow> {};

TEST_P(NoReal, IsRefusedWithItsText) {
  const std::string text = GetParam().text;
  EXPECT_THAT([&] { StrToFloat(text); }, testing::ThrowsMessage<EConvertError>(
                                             "'" + text + "' is not a valid floating point value"));
  double kept = 9;
  EXPECT_FALSE(TryStrToFloat(text, kept));
  EXPECT_EQ(kept, 9);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, NoReal,
    testing::Values(TBadTextRow{"Empty", ""}, TBadTextRow{"Blanks", "   "},
                    TBadTextRow{"PointAlone", "."}, TBadTextRow{"SignAlone", "-"},
                    TBadTextRow{"TwoPoints", "1.5.5"}, TBadTextRow{"Comma", "1,5"},
                    TBadTextRow{"Hexadecimal", "$10"}, TBadTextRow{"CHexadecimal", "0x10"},
                    TBadTextRow{"Infinity", "INF"}, TBadTextRow{"NotANumber", "NAN"},
                    TBadTextRow{"ExponentAlone", "E5"}, TBadTextRow{"EmptyExponent", "1E"},
                    TBadTextRow{"SignOnlyExponent", "1E+"}, TBadTextRow{"BlankInside", "1 5"},
                    TBadTextRow{"BlankAfterSign", "- 1"}, TBadTextRow{"TooLarge", "1E309"},
                    TBadTextRow{"TooSmall", "1E-400"}, TBadTextRow{"LettersBehind", "1.5V"}),
    TRowName());

}  // namespace
}  // namespace OrvixModBus
