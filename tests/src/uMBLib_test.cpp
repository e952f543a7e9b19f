#include "uMBLib.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "platform/rtl/uException.h"
#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

constexpr const char* kLengthError = "Length of data byte array error";
constexpr const char* kBitError = "BitNum error";

Bytes RandomBytes(std::mt19937& random, std::size_t count) {
  Bytes data(count);
  for (std::uint8_t& byte : data) byte = static_cast<std::uint8_t>(random());
  return data;
}

// Bytes and integers.

TEST(ByteFromCardinal, CountsFromTheLeastSignificant) {
  EXPECT_EQ(TMBLib::ByteFromCardinal(0x12345678, 0), 0x78);
  EXPECT_EQ(TMBLib::ByteFromCardinal(0x12345678, 3), 0x12);
  EXPECT_EQ(TMBLib::ByteFromCardinal(0xFFFFFFFF, 4), 0);
  EXPECT_EQ(TMBLib::ByteFromCardinal(0xFFFFFFFF, 255), 0);
}

TEST(ToByteToWord, PutsTheHighByteFirst) {
  EXPECT_EQ(TMBLib::ToByteToWord(0x12, 0x34), 0x1234);
  EXPECT_EQ(TMBLib::ToByteToWord(0xFF, 0xFF), 0xFFFF);
}

struct TIntegerRow {
  const char* name;
  Bytes data;
  std::uint32_t cardinal;
  std::int64_t int64;
};

class BigEndianBytes : public testing::TestWithParam<TIntegerRow> {};

TEST_P(BigEndianBytes, AreReadAsIntegers) {
  EXPECT_EQ(TMBLib::ByteArToCardinal(GetParam().data), GetParam().cardinal);
  EXPECT_EQ(TMBLib::ByteArToInt64(GetParam().data), GetParam().int64);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BigEndianBytes,
    testing::Values(
        TIntegerRow{"None", {}, 0, 0}, TIntegerRow{"One", {0x80}, 0x80, 0x80},
        TIntegerRow{"Two", {0x12, 0x34}, 0x1234, 0x1234},
        TIntegerRow{"Three", {0x01, 0x00, 0x02}, 0x10002, 0x10002},
        TIntegerRow{"LeadingZeros", {0, 0, 1, 2}, 258, 258},
        TIntegerRow{"FourAreUnsigned", {0xFF, 0xFF, 0xFF, 0xFF}, 0xFFFFFFFF, 0xFFFFFFFF},
        TIntegerRow{
            "EightAreSigned", {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}, 0xFFFFFFFE, -2},
        TIntegerRow{"SmallestOfAll",
                    {0x80, 0, 0, 0, 0, 0, 0, 0},
                    0,
                    std::numeric_limits<std::int64_t>::min()},
        TIntegerRow{"LastOnesOfTooMany", {9, 0, 0, 0, 0, 0, 0, 0, 7}, 7, 7}),
    TRowName());

TEST(CardinalToAr, IsBigEndianWithReverse) {
  EXPECT_THAT(TMBLib::CardinalToAr(1, true), ElementsAre(0, 0, 0, 1));
  EXPECT_THAT(TMBLib::CardinalToAr(1, false), ElementsAre(1, 0, 0, 0));
  EXPECT_THAT(TMBLib::CardinalToAr(0x12345678, true), ElementsAre(0x12, 0x34, 0x56, 0x78));
}

TEST(CardinalToAr, IsReadBack) {
  std::mt19937 random(11);
  for (int i = 0; i < 2000; ++i) {
    const auto value = static_cast<std::uint32_t>(random());
    EXPECT_EQ(TMBLib::ByteArToCardinal(TMBLib::CardinalToAr(value, true)), value);
    const Bytes little = TMBLib::CardinalToAr(value, false);
    EXPECT_EQ(TMBLib::ByteArToCardinal(Bytes(little.rbegin(), little.rend())), value);
  }
}

TEST(CorrectIntValue, ExtendsTheSignOfOneAndTwoBytesOnly) {
  EXPECT_EQ(TMBLib::CorrectIntValue(0xFF, 1), -1);
  EXPECT_EQ(TMBLib::CorrectIntValue(0x7F, 1), 127);
  EXPECT_EQ(TMBLib::CorrectIntValue(0x1280, 1), -128);
  EXPECT_EQ(TMBLib::CorrectIntValue(0xFFFE, 2), -2);
  EXPECT_EQ(TMBLib::CorrectIntValue(0x18000, 2), -32768);
  for (const int size : {-1, 0, 3, 4, 5}) {
    EXPECT_EQ(TMBLib::CorrectIntValue(0xFFFFFF, size), 0xFFFFFF) << size;
    EXPECT_EQ(TMBLib::CorrectIntValue(-1, size), -1) << size;
  }
}

TEST(ReverseBytes, CopiesBackwardsAndNoMoreThanAsked) {
  const Bytes source{1, 2, 3, 4};
  Bytes dest{9, 9, 9, 9};
  TMBLib::ReverseBytes(source.data(), dest.data(), 3);
  EXPECT_THAT(dest, ElementsAre(3, 2, 1, 9));
  TMBLib::ReverseBytes(source.data(), dest.data(), 0);
  TMBLib::ReverseBytes(source.data(), dest.data(), -5);
  EXPECT_THAT(dest, ElementsAre(3, 2, 1, 9));
}

TEST(ReverseBytes, TouchesNothingWithoutACount) { TMBLib::ReverseBytes(nullptr, nullptr, 0); }

TEST(InRange, HoldsBothBounds) {
  EXPECT_TRUE(TMBLib::InRange(5, 5, 5));
  EXPECT_TRUE(TMBLib::InRange(0, 0, 1));
  EXPECT_TRUE(TMBLib::InRange(1, 0, 1));
  EXPECT_FALSE(TMBLib::InRange(std::nextafter(1, 2), 0, 1));
  EXPECT_FALSE(TMBLib::InRange(-0.001, 0, 1));
  EXPECT_FALSE(TMBLib::InRange(0.5, 1, 0));
  EXPECT_FALSE(TMBLib::InRange(std::nan(""), 0, 1));
}

TEST(TRegValue, DiffersInEachOfItsForms) {
  const TRegValue value{"1.5", 15, 1.5};
  EXPECT_EQ(value, (TRegValue{"1.5", 15, 1.5}));
  for (const TRegValue& other :
       {TRegValue{"1.50", 15, 1.5}, TRegValue{"1.5", 16, 1.5}, TRegValue{"1.5", 15, 1.6}}) {
    EXPECT_FALSE(value == other);
  }
}

TEST(ClearValue, LeavesTheSentinels) {
  TRegValue value{"x", 5, 1.5};
  TMBLib::ClearValue(value);
  EXPECT_EQ(value.Srt, "");
  EXPECT_EQ(value.Int, -2147483647 - 1);
  EXPECT_EQ(value.R, -1.7976931348623157E308);
  EXPECT_EQ(value, TRegValue());
  EXPECT_NE(value, (TRegValue{"", 0, TRegValue::kClearedReal}));
}

// Fixed-point reals.

struct TFixedRow {
  const char* name;
  Bytes data;
  std::uint8_t intBytes, fracBytes, startIndex;
  double value;
};

class UnsignedFixedPoint : public testing::TestWithParam<TFixedRow> {};

TEST_P(UnsignedFixedPoint, IsRead) {
  const auto& p = GetParam();
  EXPECT_EQ(TMBLib::ByteArToReal(p.data, p.intBytes, p.fracBytes, p.startIndex), p.value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UnsignedFixedPoint,
    testing::Values(
        TFixedRow{"OneAndAHalf", {0x01, 0x80}, 1, 1, 0, 1.5},
        TFixedRow{"Integer", {0xFF, 0xFF}, 2, 0, 0, 65535},
        TFixedRow{"FractionOnly", {0x40}, 0, 1, 0, 0.25},
        TFixedRow{"FromAnIndex", {9, 9, 0x02, 0x40}, 1, 1, 2, 2.25},
        TFixedRow{"BytesBehindIgnored", {0x01, 0x80, 0xFF}, 1, 1, 0, 1.5},
        TFixedRow{"NoBytesWanted", {}, 0, 0, 0, 0},
        TFixedRow{
            "EightBytesUnsigned", {0x80, 0, 0, 0, 0, 0, 0, 0}, 8, 0, 0, 9223372036854775808.0},
        TFixedRow{"EightFractionBytes", {0x80, 0, 0, 0, 0, 0, 0, 0}, 0, 8, 0, 0.5}),
    TRowName());

class SignedFixedPoint : public testing::TestWithParam<TFixedRow> {};

TEST_P(SignedFixedPoint, IsReadAndDataKept) {
  const auto& p = GetParam();
  const Bytes data = p.data;
  EXPECT_EQ(TMBLib::ByteArToSignedReal(data, p.intBytes, p.fracBytes, p.startIndex), p.value);
  EXPECT_EQ(data, p.data);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SignedFixedPoint,
    testing::Values(TFixedRow{"Negative", {0x81, 0x80}, 1, 1, 0, -1.5},
                    TFixedRow{"Positive", {0x01, 0x80}, 1, 1, 0, 1.5},
                    TFixedRow{"SignAndMagnitude", {0xFF, 0xFE, 0x00}, 2, 1, 0, -32766},
                    TFixedRow{"OneByteIsTwosComplement", {0xFF}, 1, 0, 0, -1},
                    TFixedRow{"TwoBytesAreTwosComplement", {0xFF, 0xFE}, 2, 0, 0, -2},
                    TFixedRow{"ThreeBytesKeepNoSign", {0xFF, 0xFF, 0xFE}, 3, 0, 0, 16777214},
                    TFixedRow{"FourBytesAreTwosComplement", {0xFF, 0xFF, 0xFF, 0xFE}, 4, 0, 0, -2},
                    TFixedRow{"IntegerReadsTheWholeData", {1, 2, 3, 0x84}, 2, 0, 1, 900},
                    TFixedRow{"IntegerIgnoresTheIndex", {0x80, 0x3D}, 1, 0, 200, 61},
                    TFixedRow{"NoBytesWanted", {}, 0, 0, 0, 0},
                    TFixedRow{"FiveBytesAreSignAndMagnitude", {0x80, 0, 0, 0, 5}, 5, 0, 0, -5},
                    TFixedRow{"SignOutsideTheNumber", {0xB7, 0x00, 0xFE}, 1, 1, 1, -0.9921875},
                    TFixedRow{"TopBitInsideIsNoSign", {0x01, 0x80, 0x80}, 1, 1, 1, 128.5},
                    TFixedRow{"NegativeZero", {0x80, 0x00}, 1, 1, 0, 0}),
    TRowName());

TEST(FixedPoint, WithTooFewBytesIsRefused) {
  const Bytes two{1, 2};
  EXPECT_THAT([&] { TMBLib::ByteArToReal(two, 2, 1, 0); }, ThrowsMessage<Exception>(kLengthError));
  EXPECT_THAT([&] { TMBLib::ByteArToReal(two, 255, 255, 0); },
              ThrowsMessage<Exception>(kLengthError));
  EXPECT_THAT([&] { TMBLib::ByteArToSignedReal(two, 1, 2, 0); },
              ThrowsMessage<Exception>(kLengthError));
  EXPECT_THAT([] { TMBLib::ByteArToSignedReal({}, 1, 0, 0); },
              ThrowsMessage<Exception>(kLengthError));
}

TEST(FixedPoint, PastTheEndByItsIndexIsRefused) {
  const Bytes two{1, 0x82};
  EXPECT_THAT([&] { TMBLib::ByteArToReal(two, 1, 1, 1); }, ThrowsMessage<Exception>(kLengthError));
  EXPECT_THAT([&] { TMBLib::ByteArToSignedReal(two, 1, 1, 1); },
              ThrowsMessage<Exception>(kLengthError));
}

struct TEncodeRow {
  const char* name;
  double value;
  std::uint8_t intBytes, fracBytes;
  Bytes data;
};

class RealToBytes : public testing::TestWithParam<TEncodeRow> {};

TEST_P(RealToBytes, IsUnsignedFixedPoint) {
  const auto& p = GetParam();
  EXPECT_EQ(TMBLib::RealToByteAr(p.value, p.intBytes, p.fracBytes), p.data);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RealToBytes,
    testing::Values(
        TEncodeRow{"OneAndAHalf", 1.5, 1, 1, {0x01, 0x80}}, TEncodeRow{"Zero", 0, 2, 0, {0, 0}},
        TEncodeRow{"NegativeZero", -0.0, 1, 1, {0, 0}}, TEncodeRow{"NoBytes", 5, 0, 0, {}},
        TEncodeRow{"MoreThanATenthRoundsUp", 0.2, 0, 1, {0x34}},
        TEncodeRow{"LessThanATenthRoundsDown", 30.09 / 256, 0, 1, {30}},
        TEncodeRow{"HalfRoundsUp", 30.5 / 256, 0, 1, {31}},
        TEncodeRow{"FractionIsCutWithoutFractionBytes", 2.99, 2, 0, {0, 2}},
        TEncodeRow{"CarryOutOfTheFractionIsLost", 255.999, 1, 1, {0xFF, 0}},
        TEncodeRow{"CarryInsideTheFraction", 0.5 - 0.1 / 65536, 0, 2, {0x80, 0x00}},
        TEncodeRow{"IntegerModulo32Bits", 4294967297.0, 4, 0, {0, 0, 0, 1}},
        TEncodeRow{"LargestInteger", 4294967295.0, 4, 0, {0xFF, 0xFF, 0xFF, 0xFF}},
        TEncodeRow{"HighBytesCutOff", 0x12345, 2, 0, {0x23, 0x45}},
        TEncodeRow{"MoreThanFourIntegerBytes", 1, 6, 0, {0, 0, 0, 0, 0, 1}},
        TEncodeRow{"FourFractionBytes", 0.3333037345465497, 0, 4, {0x55, 0x53, 0x64, 0xC0}},
        TEncodeRow{"TenFractionBytes", 0.5, 0, 10, {0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        TEncodeRow{"HugeValue", 1e300, 1, 1, {0, 0}}),
    TRowName());

TEST(RealToByteAr, RefusesNegativeNumbers) {
  for (const double value : {-0.5, -1e-300, -std::numeric_limits<double>::infinity()}) {
    EXPECT_THAT([&] { TMBLib::RealToByteAr(value, 1, 1); },
                ThrowsMessage<Exception>("Отрицательные числа не поддерживаются."));
  }
}

TEST(RealToByteAr, RefusesWhatIsNotFinite) {
  EXPECT_THROW(TMBLib::RealToByteAr(std::numeric_limits<double>::infinity(), 1, 1), Exception);
  EXPECT_THROW(TMBLib::RealToByteAr(std::nan(""), 1, 1), Exception);
}

TEST(RealToByteAr, FillsTheMostBytesThatCanBeAskedFor) {
  EXPECT_EQ(TMBLib::RealToByteAr(0.1, 255, 255).size(), 510u);
}

TEST(RealToByteAr, GivesBackRandomFixedPointNumbers) {
  std::mt19937 random(5);
  for (int i = 0; i < 5000; ++i) {
    const auto intBytes = static_cast<std::uint8_t>(random() % 5);
    const auto fracBytes = static_cast<std::uint8_t>(random() % 3);  // 6 bytes fit a double
    const Bytes data = RandomBytes(random, std::size_t{intBytes} + fracBytes);
    const double value = TMBLib::ByteArToReal(data, intBytes, fracBytes, 0);
    EXPECT_EQ(TMBLib::RealToByteAr(value, intBytes, fracBytes), data);
  }
}

// Date and time.

struct TDateRow {
  const char* name;
  Bytes data;
  double value;
};

class DateTimeBytes : public testing::TestWithParam<TDateRow> {};

TEST_P(DateTimeBytes, AreRead) {
  EXPECT_EQ(TMBLib::DateTimeToValue(GetParam().data), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DateTimeBytes,
    testing::Values(
        TDateRow{"Milliseconds",
                 {0x18, 0x0C, 0x1F, 0x17, 0x3B, 0x3B, 0x03, 0xE7},
                 EncodeDateTime(2024, 12, 31, 23, 59, 59, 999)},
        TDateRow{"Hundredths",
                 {0x18, 0x0C, 0x1F, 0x17, 0x3B, 0x3B, 0x63},
                 EncodeDateTime(2024, 12, 31, 23, 59, 59, 990)},
        TDateRow{"LastYear", {0xFF, 1, 1, 0, 0, 0, 0}, EncodeDateTime(2255, 1, 1, 0, 0, 0, 0)},
        TDateRow{"SixBytesAreZero", {0x18, 0x0C, 0x1F, 0x17, 0x3B, 0x3B}, 0},
        TDateRow{"NineBytesAreZero", {0x18, 0x0C, 0x1F, 0x17, 0x3B, 0x3B, 3, 0xE7, 1}, 0},
        TDateRow{"NoBytesAreZero", {}, 0}),
    TRowName());

TEST(DateTimeToValue, PassesTheErrorOfAnImpossibleDateOn) {
  for (const Bytes& data :
       {Bytes{24, 0, 1, 0, 0, 0, 0}, Bytes{24, 1, 32, 0, 0, 0, 0}, Bytes{24, 1, 1, 24, 0, 0, 0},
        Bytes{24, 1, 1, 0, 0, 0, 100}, Bytes{24, 1, 1, 0, 0, 0, 0x03, 0xE8}}) {
    EXPECT_THROW(TMBLib::DateTimeToValue(data), EConvertError);
  }
}

// Bits.

TEST(BitFromByte, ReadsUpToBit7) {
  EXPECT_TRUE(TMBLib::BitFromByte(0x80, 7));
  EXPECT_FALSE(TMBLib::BitFromByte(0x7F, 7));
  EXPECT_TRUE(TMBLib::BitFromByte(0x01, 0));
  EXPECT_THAT([] { TMBLib::BitFromByte(0xFF, 8); }, ThrowsMessage<Exception>(kBitError));
}

TEST(BitFromWord, Bit16IsAcceptedAndClear) {
  EXPECT_TRUE(TMBLib::BitFromWord(0x8000, 15));
  EXPECT_FALSE(TMBLib::BitFromWord(0xFFFF, 16));
  EXPECT_THAT([] { TMBLib::BitFromWord(0xFFFF, 17); }, ThrowsMessage<Exception>(kBitError));
}

TEST(BitFromCardinal, Bit32IsAcceptedAndIsBit0) {
  EXPECT_TRUE(TMBLib::BitFromCardinal(0x80000000, 31));
  EXPECT_TRUE(TMBLib::BitFromCardinal(1, 32));
  EXPECT_FALSE(TMBLib::BitFromCardinal(0xFFFFFFFE, 32));
  EXPECT_THAT([] { TMBLib::BitFromCardinal(1, 33); }, ThrowsMessage<Exception>(kBitError));
}

TEST(BitToByte, ChangesOneBit) {
  EXPECT_EQ(TMBLib::BitToByte(0x00, 7, true), 0x80);
  EXPECT_EQ(TMBLib::BitToByte(0x80, 7, true), 0x80);
  EXPECT_EQ(TMBLib::BitToByte(0xFF, 0, false), 0xFE);
  EXPECT_EQ(TMBLib::BitToByte(0xFE, 0, false), 0xFE);
  EXPECT_THAT([] { TMBLib::BitToByte(0, 8, true); }, ThrowsMessage<Exception>(kBitError));
}

TEST(BitToCardinal, Bit32IsAcceptedAndIsBit0) {
  EXPECT_EQ(TMBLib::BitToCardinal(0, 31, true), 0x80000000);
  EXPECT_EQ(TMBLib::BitToCardinal(0xFFFFFFFF, 31, false), 0x7FFFFFFF);
  EXPECT_EQ(TMBLib::BitToCardinal(0, 32, true), 1u);
  EXPECT_EQ(TMBLib::BitToCardinal(3, 32, false), 2u);
  EXPECT_THAT([] { TMBLib::BitToCardinal(0, 33, true); }, ThrowsMessage<Exception>(kBitError));
}

TEST(BitFromAr, NumbersTheArrayFromEitherEnd) {
  const Bytes data{0x01, 0x80};
  EXPECT_TRUE(TMBLib::BitFromAr(data, 0, false));
  EXPECT_TRUE(TMBLib::BitFromAr(data, 15, false));
  EXPECT_TRUE(TMBLib::BitFromAr(data, 7, true));
  EXPECT_TRUE(TMBLib::BitFromAr(data, 8, true));
  EXPECT_FALSE(TMBLib::BitFromAr(data, 0, true));
}

TEST(BitFromAr, PastTheArrayIsRefused) {
  const Bytes data{0xFF, 0xFF};
  for (const bool reverse : {false, true}) {
    EXPECT_THAT([&] { TMBLib::BitFromAr(data, 16, reverse); }, ThrowsMessage<Exception>(kBitError));
    EXPECT_THAT([&] { TMBLib::BitFromAr(data, 65535, reverse); },
                ThrowsMessage<Exception>(kBitError));
    EXPECT_THAT([&] { TMBLib::BitFromAr({}, 0, reverse); }, ThrowsMessage<Exception>(kBitError));
  }
}

TEST(BitToAr, ChangesTheSameArray) {
  Bytes data{0, 0};
  EXPECT_EQ(&TMBLib::BitToAr(data, 8, true, true), &data);
  EXPECT_THAT(data, ElementsAre(0x01, 0x00));
  TMBLib::BitToAr(data, 15, true, false);
  EXPECT_THAT(data, ElementsAre(0x01, 0x80));
  TMBLib::BitToAr(data, 0, false, false);
  EXPECT_THAT(data, ElementsAre(0x00, 0x80));
}

TEST(BitToAr, LeavesAnEmptyArrayAlone) {
  Bytes data;
  EXPECT_EQ(&TMBLib::BitToAr(data, 100, true, true), &data);
  EXPECT_TRUE(data.empty());
}

TEST(BitToAr, PastTheArrayIsRefusedAndNothingChanges) {
  Bytes data{0x55};
  EXPECT_THAT([&] { TMBLib::BitToAr(data, 8, true, true); }, ThrowsMessage<Exception>(kBitError));
  EXPECT_THAT([&] { TMBLib::BitToAr(data, 8, true, false); }, ThrowsMessage<Exception>(kBitError));
  EXPECT_THAT(data, ElementsAre(0x55));
}

TEST(BitToAr, IsReadBackAndKeepsEveryOtherBit) {
  std::mt19937 random(9);
  for (int i = 0; i < 2000; ++i) {
    const Bytes before = RandomBytes(random, 1 + random() % 9);
    const auto bit = static_cast<std::uint16_t>(random() % (before.size() * 8));
    const bool value = random() % 2 == 0;
    const bool reverse = random() % 2 == 0;
    Bytes after = before;
    TMBLib::BitToAr(after, bit, value, reverse);
    EXPECT_EQ(TMBLib::BitFromAr(after, bit, reverse), value);
    TMBLib::BitToAr(after, bit, TMBLib::BitFromAr(before, bit, reverse), reverse);
    EXPECT_EQ(after, before);
  }
}

TEST(BitCopy, CopiesOneBitIntoDest) {
  const Bytes source{0x80, 0x7F, 0xFF};
  Bytes dest{0x7F, 0x58};
  EXPECT_EQ(&TMBLib::BitCopy(source, dest, 9, 7, false), &dest);
  EXPECT_THAT(dest, ElementsAre(0xFF, 0x58));
  TMBLib::BitCopy(source, dest, 15, 3, true);
  EXPECT_THAT(dest, ElementsAre(0xFF, 0x50));
}

TEST(BitCopy, FromPastTheSourceIsRefusedAndDestKept) {
  Bytes dest{0x01};
  EXPECT_THAT([&] { TMBLib::BitCopy({}, dest, 0, 0, true); }, ThrowsMessage<Exception>(kBitError));
  EXPECT_THAT(dest, ElementsAre(0x01));
}

TEST(BitCopy, IntoAnEmptyDestDoesNothing) {
  Bytes dest;
  EXPECT_TRUE(TMBLib::BitCopy(Bytes{1}, dest, 0, 0, true).empty());
}

}  // namespace
}  // namespace OrvixModBus
