#include "uMBTypeInfo_Numbers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace OrvixModBus {
namespace {

using testing::Throws;
using testing::ThrowsMessage;

constexpr std::int32_t kNoInt = TRegValue::kClearedInt;

/// What a number of the tests differs in; the rest is an unsigned integer of 2 bytes, unscaled.
struct TShape {
  double Min = 0;
  double Max = 1e6;
  std::uint8_t IntPart = 2;
  std::uint8_t RealPart = 0;
  double Multiplier = 1;
  double Step = 0;
  const char* DisplayFormat = "";
  std::int32_t FromIndex = -1;
};

void Shape(TMBRegTypeNumber& number, const TShape& shape) {
  number.SetMinValue(shape.Min);
  number.SetMaxValue(shape.Max);
  number.SetIntPart(shape.IntPart);
  number.SetRealPart(shape.RealPart);
  number.SetMultiplier(shape.Multiplier);
  number.SetStep(shape.Step);
  number.SetDisplayFormat(shape.DisplayFormat);
  number.SetFromIndex(shape.FromIndex);
}

TRegValue Decode(const TShape& shape, const Bytes& data) {
  TMBRegTypeNumber number(nullptr);
  Shape(number, shape);
  return number.DataToValue(data);
}

struct TDecodeCase {
  const char* situation;
  TShape shape;
  Bytes data;
  TRegValue value;
};

class NumberDecoding : public testing::TestWithParam<TDecodeCase> {};

TEST_P(NumberDecoding, GivesTextIntegerAndReal) {
  const TRegValue value = Decode(GetParam().shape, GetParam().data);
  EXPECT_EQ(value.Srt, GetParam().value.Srt);
  EXPECT_EQ(value.Int, GetParam().value.Int);
  EXPECT_EQ(value.R, GetParam().value.R);
}

const TRegValue kMissing{"-", kNoInt, TRegValue::kClearedReal};
const TRegValue kNone;
const Bytes kSixBytes{0x00, 0x00, 0x00, 0x01, 0x00, 0x02};

INSTANTIATE_TEST_SUITE_P(
    Table, NumberDecoding,
    testing::Values(
        TDecodeCase{"UnsignedInteger", {}, {0x01, 0x02}, {"258", 258, 258}},
        TDecodeCase{"Zero", {}, {0x00, 0x00}, {"0", 0, 0}},
        TDecodeCase{"AllBytes255AreMissing", {}, {0xFF, 0xFF}, kMissing},
        TDecodeCase{"AllBytes255AreMissingWhenSigned", {.Min = -5}, {0xFF, 0xFF}, kMissing},
        TDecodeCase{"OneByte255IsAValue", {.IntPart = 1}, {0xFF}, {"255", 255, 255}},
        TDecodeCase{"NegativeMinSelectsSigned", {.Min = -0.0001}, {0x00, 0x05}, {"5", 5, 5}},
        TDecodeCase{"SignedBelowMin", {.Min = -0.0001}, {0xFF, 0xFE}, kNone},
        TDecodeCase{"SignedInRange", {.Min = -5}, {0xFF, 0xFE}, {"-2", -2, -2}},
        TDecodeCase{"ZeroMinSelectsUnsigned", {}, {0xFF, 0xFE}, {"65534", 65534, 65534}},
        TDecodeCase{"StepTwoPlacesRounds",
                    {.RealPart = 2, .Step = 0.01},
                    {0x00, 0x0C, 0x58, 0x94},  // 12.34600830078125
                    {"12.35", kNoInt, 12.35}},
        TDecodeCase{"OtherMultiplierDoesNotRound",
                    {.IntPart = 1, .RealPart = 1, .Multiplier = 0.1, .Step = 0.01},
                    {0x7B, 0x80},  // 123.5
                    {"12.35", kNoInt, 123.5 * 0.1}},
        TDecodeCase{"OtherMultiplierKeepsAllPlaces",
                    {.IntPart = 1, .RealPart = 1, .Multiplier = 0.5, .Step = 0.1},
                    {0x01, 0x40},  // 1.25
                    {"0.625", kNoInt, 0.625}},
        TDecodeCase{
            "WithoutStepHalfRoundsUp", {.IntPart = 1, .RealPart = 1}, {0x02, 0x80}, {"3", 3, 3}},
        TDecodeCase{
            "WithoutStepLessRoundsDown", {.IntPart = 1, .RealPart = 1}, {0x02, 0x66}, {"2", 2, 2}},
        TDecodeCase{"HalfRoundsAwayFromZero",
                    {.Min = -10, .IntPart = 1, .RealPart = 1},
                    {0x82, 0x80},
                    {"-3", -3, -3}},
        TDecodeCase{"AtMax", {.Max = 100}, {0x00, 0x64}, {"100", 100, 100}},
        TDecodeCase{"AboveMax", {.Max = 100}, {0x00, 0x65}, kNone},
        TDecodeCase{"AtMin", {.Min = 7}, {0x00, 0x07}, {"7", 7, 7}},
        TDecodeCase{"BelowMin", {.Min = 7}, {0x00, 0x06}, kNone},
        TDecodeCase{"RoundedBeforeTheRangeCounts",
                    {.Max = 2, .IntPart = 1, .RealPart = 1},
                    {0x02, 0x40},
                    {"2", 2, 2}},
        TDecodeCase{
            "BoundsAreScaled", {.Max = 100, .Multiplier = 0.5}, {0x00, 0x64}, {"50", 50, 50}},
        TDecodeCase{"ScaledBoundsExclude", {.Max = 100, .Multiplier = 0.5}, {0x00, 0x65}, kNone},
        TDecodeCase{"NegativeMultiplierHasNoRange", {.Multiplier = -1}, {0x00, 0x05}, kNone},
        TDecodeCase{"NegativeMultiplierWithReversedBounds",
                    {.Min = 10, .Max = 0, .Multiplier = -2},
                    {0x00, 0x05},
                    {"-10", -10, -10}},
        TDecodeCase{"Format", {.DisplayFormat = "%.1f"}, {0x00, 0x02}, {"2.0", 2, 2}},
        TDecodeCase{"FormatWithUnit",
                    {.Multiplier = 0.25, .DisplayFormat = "%.2f °C"},
                    {0x00, 0x05},
                    {"1.25 °C", kNoInt, 1.25}},
        TDecodeCase{"FromIndexTakesItsBytes", {.FromIndex = 2}, kSixBytes, {"1", 1, 1}},
        TDecodeCase{"FromIndexZeroTakesTheFirstBytes",
                    {.Min = -1, .FromIndex = 0},
                    {0x00, 0x09, 0x00, 0x01},
                    {"9", 9, 9}},
        TDecodeCase{"FromIndexAtTheEndTakesAll",
                    {.Max = 1e15, .IntPart = 6, .FromIndex = 6},
                    kSixBytes,
                    {"65538", 65538, 65538}},
        TDecodeCase{"FromIndexPastTheEndTakesAll",
                    {.Max = 1e15, .IntPart = 6, .FromIndex = 2147483647},
                    kSixBytes,
                    {"65538", 65538, 65538}},
        TDecodeCase{"FromIndexBelowMinusOneTakesAll", {.FromIndex = -2}, {0x00, 0x03}, {"3", 3, 3}},
        TDecodeCase{"OnlyTheOwnBytesAre255", {.FromIndex = 1}, {0x00, 0xFF, 0xFF, 0x00}, kMissing},
        TDecodeCase{"ByteBehindIsNot255", {}, {0xFF, 0xFF, 0x00}, {"65535", 65535, 65535}},
        TDecodeCase{"NoParts", {.IntPart = 0}, {0x01, 0x02}, {"0", 0, 0}},
        TDecodeCase{"ZeroMultiplierGivesZero", {.Multiplier = 0}, {0x01, 0x02}, {"0", 0, 0}},
        TDecodeCase{"LargestInteger",
                    {.Max = 1e12, .IntPart = 4},
                    {0x7F, 0xFF, 0xFF, 0xFF},
                    {"2147483647", 2147483647, 2147483647}},
        TDecodeCase{"PastTheLargestIntegerIsARealOnly",
                    {.Max = 1e12, .IntPart = 4},
                    {0x80, 0x00, 0x00, 0x00},
                    {"2147483648", kNoInt, 2147483648.0}}),
    [](const auto& param) { return std::string(param.param.situation); });

TEST(NumberType, DataShorterThanItsPartsIsRefused) {
  for (const double min : {0.0, -1.0}) {
    EXPECT_THAT([&] { Decode({.Min = min}, {0x01}); },
                ThrowsMessage<Exception>("Length of data byte array error"));
  }
  EXPECT_THAT(
      [] {
        Decode({.FromIndex = 1}, {0x00, 0x01});
      },
      ThrowsMessage<Exception>("Length of data byte array error"));
  EXPECT_THAT([] { Decode({}, {}); }, ThrowsMessage<Exception>("Length of data byte array error"));
}

TEST(NumberType, AFormatThatTakesNoRealIsRefused) {
  EXPECT_THAT([] { Decode({.DisplayFormat = "%d"}, {0, 1}); }, Throws<EConvertError>());
  EXPECT_THAT([] { Decode({.DisplayFormat = "%s"}, {0, 1}); }, Throws<EConvertError>());
  EXPECT_THAT([] { Decode({.DisplayFormat = "%.1f %.1f"}, {0, 1}); }, Throws<EConvertError>());
}

TEST(NumberType, AFormatIsNotAskedForAValueOutOfRange) {
  EXPECT_EQ(Decode({.Max = 1, .DisplayFormat = "%d"}, {0, 2}), TRegValue());
}

TEST(NumberType, ANewOneIsUnscaledToZeroAndTakesAllBytes) {
  const TMBRegTypeNumber number(nullptr);
  EXPECT_EQ(number.Multiplier(), 0);
  EXPECT_EQ(number.MinValue(), 0);
  EXPECT_EQ(number.MaxValue(), 0);
  EXPECT_EQ(number.Step(), 0);
  EXPECT_EQ(number.Precision(), 0);
  EXPECT_EQ(number.IntPart(), 0);
  EXPECT_EQ(number.RealPart(), 0);
  EXPECT_EQ(number.FromIndex(), -1);
  EXPECT_EQ(number.DisplayFormat(), "");
  EXPECT_EQ(number.DataToValue({0x12}), (TRegValue{"0", 0, 0}));
}

TEST(NumberType, PlacesOfAStep) {
  const TMBRegTypeNumber number(nullptr);
  const struct {
    double step;
    int places;
  } cases[] = {
      {0, 0},
      {1, 0},
      {-1, 0},
      {10, 0},
      {1e300, 0},
      {0.5, 1},
      {0.25, 2},
      {-0.25, 2},
      {0.125, 3},
      {2.5, 1},
      {0.1, 1},
      {0.2, 1},
      {0.4, 1},
      {0.8, 1},
      {0.01, 2},
      {0.05, 2},
      {0.001, 3},
      {0.0001, 4},
      {0.00001, 5},
      {0.000001, 6},
      {0.3, 6},
      {0.6, 6},
      {0.7, 6},
      {5.9, 6},
      {1e-7, 6},
      {0.126, 6},
      {1.0 / 3, 6},
      {0.015625, 6},
      {0.0078125, 6},
      {std::numeric_limits<double>::infinity(), 0},
      {std::numeric_limits<double>::quiet_NaN(), 0},
  };
  for (const auto& [step, places] : cases) {
    SCOPED_TRACE(step);
    EXPECT_EQ(number.NumAfterPoint(step), places);
  }
}

TEST(NumberType, TheStepSetsThePrecision) {
  TMBRegTypeNumber number(nullptr);
  number.SetStep(0.01);
  EXPECT_EQ(number.Step(), 0.01);
  EXPECT_EQ(number.Precision(), -2);
  number.SetStep(0.3);
  EXPECT_EQ(number.Precision(), -6);
  number.SetStep(5);
  EXPECT_EQ(number.Precision(), 0);
}

Bytes Encode(const TShape& shape, const Variant& value, std::uint8_t byteCount = 2) {
  TMBRegTypeNumber number(nullptr);
  Shape(number, shape);
  return number.ValueToData(value, byteCount);
}

TEST(NumberType, EncodesBigEndianWhateverTheByteCount) {
  EXPECT_EQ(Encode({}, 258), (Bytes{1, 2}));
  EXPECT_EQ(Encode({}, 258, 0), (Bytes{1, 2}));
  EXPECT_EQ(Encode({}, 258, 250), (Bytes{1, 2}));
  EXPECT_EQ(Encode({.IntPart = 4}, 258, 1), (Bytes{0, 0, 1, 2}));
  EXPECT_EQ(Encode({.IntPart = 0}, 258), Bytes());
}

TEST(NumberType, EncodesTheValueDividedByTheMultiplier) {
  EXPECT_EQ(Encode({.Multiplier = 0.5}, 100), (Bytes{0, 200}));
  EXPECT_EQ(Encode({.Multiplier = -2}, -100), (Bytes{0, 50}));
  EXPECT_EQ(Encode({.IntPart = 1, .RealPart = 1}, 1.5), (Bytes{1, 0x80}));
}

TEST(NumberType, WithoutAFractionItEncodesTowardsZero) {
  EXPECT_EQ(Encode({}, 2.9), (Bytes{0, 2}));
  EXPECT_EQ(Encode({}, -0.9), (Bytes{0, 0}));
}

TEST(NumberType, NeitherRangeNorFromIndexCountWhenEncoding) {
  EXPECT_EQ(Encode({.Min = 1, .Max = 2, .FromIndex = 4}, 300), (Bytes{1, 44}));
}

TEST(NumberType, ATextThatIsANumberIsEncoded) {
  TMBRegTypeNumber number(nullptr);
  Shape(number, {.Multiplier = 0.5});
  EXPECT_EQ(number.StrToVar("1.5"), Variant(1.5));
  EXPECT_EQ(number.StrToVar(" -2 "), Variant(-2.0));
  EXPECT_EQ(number.StrToData("1.5", 2), (Bytes{0, 3}));
}

TEST(NumberType, ATextThatIsNoNumberIsRefused) {
  const TMBRegTypeNumber number(nullptr);
  for (const char* text : {"", "x", "1.5.5", "1,5", "$10"}) {
    EXPECT_THAT([&] { number.StrToVar(text); },
                ThrowsMessage<EConvertError>("'" + std::string(text) +
                                             "' is not a valid floating point value"));
  }
}

TEST(NumberType, EncodingWithoutAMultiplierIsADivisionByZero) {
  EXPECT_THAT([] { Encode({.Multiplier = 0}, 5); },
              ThrowsMessage<EZeroDivide>("Floating point division by zero"));
  EXPECT_THAT([] { Encode({.Multiplier = 0}, 0); }, Throws<EZeroDivide>());
}

TEST(NumberType, ANegativeNumberCanNotBeEncoded) {
  EXPECT_THAT([] { Encode({.Min = -5}, -1); },
              ThrowsMessage<Exception>("Отрицательные числа не поддерживаются."));
}

TEST(NumberType, DescribesItsScaledRange) {
  const struct {
    TShape shape;
    const char* text;
  } cases[] = {
      {{.Max = 1000, .Multiplier = 0.1}, "Min: 0; Max: 100"},
      {{.Min = -10, .Max = 65535, .Multiplier = 0.01}, "Min: -0.1; Max: 655.35"},
      {{.Max = 1e15}, "Min: 0; Max: 1E15"},
      {{.Max = 5, .Multiplier = 0}, "Min: 0; Max: 0"},
  };
  for (const auto& [shape, text] : cases) {
    TMBRegTypeNumber number(nullptr);
    Shape(number, shape);
    EXPECT_EQ(number.ConstraintStr(), text);
  }
}

TEST(NumberType, AssignCopiesEverythingButTheKind) {
  TMBRegTypeNumber source(nullptr);
  Shape(source, {-1, 2, 3, 4, 5, 0.25, "%.2f", 6});
  source.SetName("Speed");
  source.SetRegType(TRegType::rtStr);
  TMBRegTypeNumber copy(nullptr);
  copy.Assign(source);
  EXPECT_EQ(copy.Name(), "Speed");
  EXPECT_EQ(copy.RegType(), TRegType::rtNum);
  EXPECT_EQ(copy.MinValue(), -1);
  EXPECT_EQ(copy.MaxValue(), 2);
  EXPECT_EQ(copy.IntPart(), 3);
  EXPECT_EQ(copy.RealPart(), 4);
  EXPECT_EQ(copy.Multiplier(), 5);
  EXPECT_EQ(copy.Step(), 0.25);
  EXPECT_EQ(copy.Precision(), -2);
  EXPECT_EQ(copy.DisplayFormat(), "%.2f");
  EXPECT_EQ(copy.FromIndex(), 6);
}

}  // namespace
}  // namespace OrvixModBus
