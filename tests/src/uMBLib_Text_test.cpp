#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "platform/model/uStringList.h"
#include "platform/rtl/uCodePage.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uText.h"
#include "tests/rtl/TestRows.h"
#include "uMBLib.h"

namespace OrvixModBus {
namespace {

using std::string_literals::operator""s;
using testing::ElementsAre;
using testing::IsEmpty;

Bytes RandomBytes(std::mt19937& random) {
  Bytes data(random() % 12);
  for (std::uint8_t& byte : data) byte = static_cast<std::uint8_t>(random());
  return data;
}

// Characters.

class CyrillicText : public testing::Test {
 protected:
  CyrillicText() { SetAnsiCodePage(1251); }
  ~CyrillicText() override { SetAnsiCodePage(fBefore); }

 private:
  const int fBefore = AnsiCodePage();
};

TEST_F(CyrillicText, OfBytesIsCutToLenCharacters) {
  const Bytes data{0xCD, 0xE0, 0xF1, 0xEE, 0xF1};
  EXPECT_EQ(TMBLib::ByteArToStr(data, 2), "На");
  EXPECT_EQ(TMBLib::ByteArToStr(data, 4), "Насо");
  for (const int whole : {-1, 0, 5, 6, 255}) EXPECT_EQ(TMBLib::ByteArToStr(data, whole), "Насос");
  EXPECT_EQ(TMBLib::ByteArToStr({}, 3), "");
}

TEST_F(CyrillicText, OfWordsHasTheHighByteFirst) {
  EXPECT_EQ(TMBLib::WordToChar(0x4142), "AB");
  EXPECT_EQ(TMBLib::WordToChar(0xCDE0), "На");
  const std::array<std::uint16_t, 2> words{0x4142, 0xDF44};
  EXPECT_EQ(TMBLib::WordArToStr(words), "ABЯD");
  EXPECT_EQ(TMBLib::WordArToStr({}), "");
}

TEST_F(CyrillicText, KeepsZeroCharacters) {
  EXPECT_EQ(TMBLib::WordToChar(0x4100), "A\0"s);
  EXPECT_EQ(TMBLib::WordToChar(0), "\0\0"s);
  EXPECT_EQ(TMBLib::ByteArToStr(Bytes{0, 0x41, 0}, 0), "\0A\0"s);
}

// Binary digits.

TEST(ByteToBinStr, WritesBit0First) {
  EXPECT_EQ(TMBLib::ByteToBinStr(1), "10000000");
  EXPECT_EQ(TMBLib::ByteToBinStr(0x80), "00000001");
  EXPECT_EQ(TMBLib::ByteToBinStr(0), "00000000");
}

TEST(ByteArToBinStr, WritesEveryByteBit0First) {
  EXPECT_EQ(TMBLib::ByteArToBinStr(Bytes{0x01, 0x80}), "1000000000000001");
  EXPECT_EQ(TMBLib::ByteArToBinStr({}), "");
}

TEST(ByteArToBinStr, WithAFlagWritesTheHighestBitFirst) {
  EXPECT_EQ(TMBLib::ByteArToBinStr(Bytes{0x01}, true), "00000001");
  EXPECT_EQ(TMBLib::ByteArToBinStr(Bytes{0x12, 0x34}, true), "0001001000110100");
  EXPECT_EQ(TMBLib::ByteArToBinStr(Bytes{0x12, 0x34}, false), "0011010000010010");
  EXPECT_EQ(TMBLib::ByteArToBinStr({}, true), "");
}

TEST(ByteArToBinStr, FollowsTheNumbersOfTheBits) {
  std::mt19937 random(4);
  for (int i = 0; i < 500; ++i) {
    const Bytes data = RandomBytes(random);
    const bool reverse = random() % 2 == 0;
    std::string expected;
    for (std::size_t bit = 0; bit < data.size() * 8; ++bit) {
      expected.insert(
          0, TMBLib::BitFromAr(data, static_cast<std::uint16_t>(bit), reverse) ? "1" : "0");
    }
    EXPECT_EQ(TMBLib::ByteArToBinStr(data, reverse), expected);
  }
}

// Hexadecimal digits.

struct THexRow {
  const char* name;
  Bytes data;
  const char* reversed;
  const char* natural;
  const char* smooth;
};

class HexText : public testing::TestWithParam<THexRow> {};

TEST_P(HexText, IsWrittenInThreeWays) {
  const auto& p = GetParam();
  EXPECT_EQ(TMBLib::ByteArToHexStr(p.data), p.reversed);
  EXPECT_EQ(TMBLib::ByteArrayToHexStr(p.data, false), p.reversed);
  EXPECT_EQ(TMBLib::ByteArrayToHexStr(p.data, true), p.natural);
  EXPECT_EQ(TMBLib::ByteArToHexStrSmooth(p.data), p.smooth);
}

TEST_P(HexText, IsReadBack) {
  const auto& p = GetParam();
  EXPECT_EQ(TMBLib::HexStrToByteAr(p.reversed), p.data);
  EXPECT_EQ(TMBLib::HexStrToByteArray(p.reversed, false), p.data);
  EXPECT_EQ(TMBLib::HexStrToByteArray(p.natural, true), p.data);
  EXPECT_EQ(TMBLib::HexStrToByteArSep(p.smooth, ' '), p.data);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HexText,
    testing::Values(THexRow{"Nothing", {}, "$", "$", ""},
                    THexRow{"OneByte", {0x0A}, "$0A", "$0A", "$0A"},
                    THexRow{"TwoBytes", {0x12, 0x34}, "$3412", "$1234", "$12 $34"},
                    THexRow{"UpperCase", {0xAB, 0xCD, 0xEF}, "$EFCDAB", "$ABCDEF", "$AB $CD $EF"}),
    TRowName());

TEST(HexText, GivesBackRandomBytes) {
  std::mt19937 random(8);
  for (int i = 0; i < 1000; ++i) {
    const Bytes data = RandomBytes(random);
    EXPECT_EQ(TMBLib::HexStrToByteAr(TMBLib::ByteArToHexStr(data)), data);
    EXPECT_EQ(TMBLib::HexStrToByteArray(TMBLib::ByteArrayToHexStr(data, true), true), data);
    EXPECT_EQ(TMBLib::HexStrToByteArSep(TMBLib::ByteArToHexStrSmooth(data), ' '), data);
  }
}

TEST(HexStrToByteAr, ReadsSmallLetters) {
  EXPECT_THAT(TMBLib::HexStrToByteAr("$abCD"), ElementsAre(0xCD, 0xAB));
}

struct TTextRow {
  const char* name;
  const char* text;
};

class HexWithoutShape : public testing::TestWithParam<TTextRow> {};

TEST_P(HexWithoutShape, GivesNoBytes) {
  EXPECT_THAT(TMBLib::HexStrToByteAr(GetParam().text), IsEmpty());
  EXPECT_THAT(TMBLib::HexStrToByteArray(GetParam().text, true), IsEmpty());
  EXPECT_THAT(TMBLib::HexStrToByteArray(GetParam().text, false), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Rows, HexWithoutShape,
                         testing::Values(TTextRow{"Empty", ""}, TTextRow{"DollarAlone", "$"},
                                         TTextRow{"NoDollar", "1234"},
                                         TTextRow{"DollarNotFirst", " $12"},
                                         TTextRow{"OddCount", "$123"},
                                         TTextRow{"OddCountOfBadDigits", "$6$A"},
                                         TTextRow{"OneCharacterOfTwoBytes", "$я"}),
                         TRowName());

class BadHexPair : public testing::TestWithParam<TTextRow> {};

TEST_P(BadHexPair, IsAConversionError) {
  EXPECT_THROW(TMBLib::HexStrToByteAr(GetParam().text), EConvertError);
  EXPECT_THROW(TMBLib::HexStrToByteArray(GetParam().text, true), EConvertError);
  EXPECT_THROW(TMBLib::HexStrToByteArray(GetParam().text, false), EConvertError);
}

INSTANTIATE_TEST_SUITE_P(Rows, BadHexPair,
                         testing::Values(TTextRow{"Letter", "$12G4"}, TTextRow{"BlankFirst", "$ 1"},
                                         TTextRow{"BlankLast", "$1 "}, TTextRow{"Sign", "$-1"},
                                         TTextRow{"Prefix", "$x1"}, TTextRow{"Dollar", "$$1"},
                                         TTextRow{"TwoCharactersOfTwoBytes", "$яя"},
                                         TTextRow{"CharacterOfThreeBytes", "$1€"}),
                         TRowName());

struct TSeparatedRow {
  const char* name;
  const char* text;
  char32_t separator;
  Bytes data;
};

class SeparatedHex : public testing::TestWithParam<TSeparatedRow> {};

TEST_P(SeparatedHex, SkipsWhatIsNoNumber) {
  EXPECT_EQ(TMBLib::HexStrToByteArSep(GetParam().text, GetParam().separator), GetParam().data);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SeparatedHex,
    testing::Values(
        TSeparatedRow{"WithDollars", "$12 $34", ' ', {0x12, 0x34}},
        TSeparatedRow{"WithoutDollars", "12 34", ' ', {0x12, 0x34}},
        TSeparatedRow{"DollarAloneSkipped", "$12 34 $", ' ', {0x12, 0x34}},
        TSeparatedRow{"EmptyFields", ",12,,34,", ',', {0x12, 0x34}},
        TSeparatedRow{"OneDigit", "a,7", ',', {0x0A, 0x07}},
        TSeparatedRow{"Low8BitsOfLongNumbers", "1234,$A1742F4D,FFFFFFFF", ',', {0x34, 0x4D, 0xFF}},
        TSeparatedRow{"PastA32BitNumber", "100000000,5", ',', {5}},
        TSeparatedRow{"BadFields", "G5, 1,-1,0x1,1 ,$-2,7", ',', {7}},
        TSeparatedRow{"SeparatorOfSeveralBytes", "12№34", U'№', {0x12, 0x34}},
        TSeparatedRow{"BytesOfTheSeparatorElsewhere", "яя 12", ' ', {0x12}},
        TSeparatedRow{"Empty", "", ',', {}}),
    TRowName());

// Lists of strings.

TEST(StringDynArrToString, JoinsWithoutATrailingSeparator) {
  EXPECT_EQ(TMBLib::StringDynArrToString({"a", "b"}, "; "), "a; b");
  EXPECT_EQ(TMBLib::StringDynArrToString({"a"}, "; "), "a");
  EXPECT_EQ(TMBLib::StringDynArrToString({}, "; "), "");
  EXPECT_EQ(TMBLib::StringDynArrToString({"", ""}, ";"), ";");
  EXPECT_EQ(TMBLib::StringDynArrToString({"a", "b"}, ""), "ab");
}

TEST(StrDynArrayToList, AppendsWhatIsNotEmpty) {
  TStringList list;
  list.Add("old");
  TMBLib::StrDynArrayToList(list, {"a", "", "b", " "}, false);
  EXPECT_THAT(TMBLib::ListToStrDynArray(list), ElementsAre("old", "a", "b", " "));
}

TEST(StrDynArrayToList, ClearsFirstWhenAsked) {
  TStringList list;
  list.Add("old");
  TMBLib::StrDynArrayToList(list, {"a"}, true);
  EXPECT_THAT(TMBLib::ListToStrDynArray(list), ElementsAre("a"));
  TMBLib::StrDynArrayToList(list, {}, true);
  EXPECT_EQ(list.Count(), 0);
}

TEST(ListToStrDynArray, SkipsEmptyLines) {
  TStringList list;
  for (const char* line : {"", "a", "", "b", ""}) list.Add(line);
  EXPECT_THAT(TMBLib::ListToStrDynArray(list), ElementsAre("a", "b"));
}

TEST(DelStrFromStrDynAr, DropsEveryEqualElement) {
  EXPECT_THAT(TMBLib::DelStrFromStrDynAr({"a", "b", "a", "A"}, "a"), ElementsAre("b", "A"));
  EXPECT_THAT(TMBLib::DelStrFromStrDynAr({"a", "", "b"}, ""), ElementsAre("a", "b"));
  EXPECT_THAT(TMBLib::DelStrFromStrDynAr({"Насос"}, "насос"), ElementsAre("Насос"));
  EXPECT_THAT(TMBLib::DelStrFromStrDynAr({}, "a"), IsEmpty());
}

}  // namespace
}  // namespace OrvixModBus
