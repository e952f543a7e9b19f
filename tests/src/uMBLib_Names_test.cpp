#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/model/uStringList.h"
#include "platform/rtl/uException.h"
#include "tests/rtl/TestRows.h"
#include "uMBLib.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

constexpr const char* kWrongMask = "TMBLib.RegNameDecode - Wrong format of register name mask";

TStringDynArray Decode(const char* line, int index = -1, const char* indexFormat = "%d") {
  return TMBLib::RegNameDecode(line, "%", "|", "!", index, indexFormat);
}

TStringDynArray Lines(const TStringList& list) {
  TStringDynArray lines;
  for (int i = 0; i < list.Count(); ++i) lines.push_back(list.Strings(i));
  return lines;
}

struct TDecodeRow {
  const char* name;
  const char* line;
  int index;
  TStringDynArray names;
};

class RegNameLine : public testing::TestWithParam<TDecodeRow> {};

TEST_P(RegNameLine, StandsForItsNames) {
  EXPECT_EQ(Decode(GetParam().line, GetParam().index), GetParam().names);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RegNameLine,
    testing::Values(
        TDecodeRow{"PlainName", "Speed", -1, {"Speed"}}, TDecodeRow{"Empty", "", -1, {""}},
        TDecodeRow{"Series", "Temp%|1|3", -1, {"Temp1", "Temp2", "Temp3"}},
        TDecodeRow{"SeriesOfOne", "Temp%|5|5", -1, {"Temp5"}},
        TDecodeRow{"Width", "Temp%|8|10|2", -1, {"Temp08", "Temp09", "Temp10"}},
        TDecodeRow{"NumberLongerThanWidth", "T%|99|100|2", -1, {"T99", "T100"}},
        TDecodeRow{"ZeroWidth", "T%|0|1|0", -1, {"T0", "T1"}},
        TDecodeRow{"NegativeNumbers", "T%|-2|0|2", -1, {"T-02", "T-01", "T00"}},
        TDecodeRow{"FirstAboveLast", "Temp%|5|1", -1, {}},
        TDecodeRow{"LargestNumber", "T%|2147483646|2147483647", -1, {"T2147483646", "T2147483647"}},
        TDecodeRow{"EveryMarkReplaced", "%a%|1|2", -1, {"1a1", "2a2"}},
        TDecodeRow{"NoMark", "Temp|1|3", -1, {"Temp", "Temp", "Temp"}},
        TDecodeRow{"EmptyName", "|1|2", -1, {"", ""}},
        TDecodeRow{"BitSuffix", "T%[3]|1|2", -1, {"T1[3]", "T2[3]"}},
        TDecodeRow{"MarkWithoutRange", "T%", -1, {"T%"}},
        TDecodeRow{"IndexKept", "Ch!_V%|1|2", -1, {"Ch!_V1", "Ch!_V2"}},
        TDecodeRow{"IndexReplaced", "Ch!_V%|1|2", 4, {"Ch4_V1", "Ch4_V2"}},
        TDecodeRow{"IndexZero", "!a!", 0, {"0a0"}},
        TDecodeRow{"IndexInTheRange", "T%|1|!", 3, {"T1", "T2", "T3"}},
        TDecodeRow{"OtherNegativeIndexKept", "A!", -2, {"A!"}}),
    TRowName());

TEST(RegNameDecode, RefusesASeriesThatWouldFillTheMemory) {
  for (const char* line : {"T%|0|2147483647", "T%|-2147483648|2147483647|2", "T%|1|100000|9999"}) {
    EXPECT_THAT([&] { Decode(line); }, ThrowsMessage<Exception>("The series T% is too long"))
        << line;
  }
  EXPECT_EQ(Decode("T%|1|1000000|7").size(), 1'000'000u);
  const std::string marks(100'000, '%');
  EXPECT_THROW(Decode((marks + "|1|1|9999").c_str()), Exception);
}

TEST(RegNameDecode, WritesTheIndexInItsFormat) {
  EXPECT_THAT(Decode("Ch!_V%|1|2", 4, "%.2d"), ElementsAre("Ch04_V1", "Ch04_V2"));
  EXPECT_THAT(Decode("A!", 10, "<%x>"), ElementsAre("A<A>"));
  EXPECT_THROW(Decode("A!", 1, "%s"), EConvertError);
}

TEST(RegNameDecode, LooksAtTheIndexFormatOnlyWithAnIndex) {
  EXPECT_THAT(Decode("A!", -1, "%s"), ElementsAre("A!"));
}

TEST(RegNameDecode, TakesMarksOfSeveralCharacters) {
  EXPECT_THAT(TMBLib::RegNameDecode("T<n>_<i>;1;2", "<n>", ";", "<i>", 7, "%d"),
              ElementsAre("T1_7", "T2_7"));
}

TEST(RegNameDecode, SplitsAtEveryCharacterOfTheSeparatorSet) {
  EXPECT_THAT(TMBLib::RegNameDecode("T%;1|2", "%", "|;", "!", -1, "%d"), ElementsAre("T1", "T2"));
  EXPECT_THAT(TMBLib::RegNameDecode("T%№1№2", "%", "№", "!", -1, "%d"), ElementsAre("T1", "T2"));
}

TEST(RegNameDecode, KeepsALineWithoutTheSeparator) {
  EXPECT_THAT(TMBLib::RegNameDecode("T%|1|3", "%", ";", "!", -1, "%d"), ElementsAre("T%|1|3"));
  EXPECT_THAT(TMBLib::RegNameDecode("T%|1|3", "%", "", "!", -1, "%d"), ElementsAre("T%|1|3"));
}

TEST(RegNameDecode, RefusesAWrongCountOfParts) {
  for (const char* line : {"Temp%|1", "Temp%|1|2|3|4", "|", "a|b|c|d|e"}) {
    EXPECT_THAT([&] { Decode(line); }, ThrowsMessage<Exception>(kWrongMask)) << line;
  }
}

TEST(RegNameDecode, RefusesWhatIsNoNumber) {
  for (const char* line : {"T%||", "T%|a|2", "T%|1|b", "T%|1|2 ", "T%|1|!", "T%|1|2147483648"}) {
    EXPECT_THROW(Decode(line), EConvertError) << line;
  }
}

TEST(RegNameDecode, RefusesAWidthThatMakesNoFormat) {
  for (const char* line : {"T%|1|2|", "T%|1|2|x", "T%|1|2|-1", "T%|1|2|%", "T%|1|2|99999"}) {
    EXPECT_THROW(Decode(line), EConvertError) << line;
  }
}

TEST(RegStrDynArDecode, JoinsTheNamesOfAllLinesInOrder) {
  EXPECT_THAT(TMBLib::RegStrDynArDecode({"T#;1;2", "S", "C@"}, "#", ";", "@", 3, "%.2d"),
              ElementsAre("T1", "T2", "S", "C03"));
  EXPECT_THAT(TMBLib::RegStrDynArDecode({}, "#", ";", "@", 3, "%d"), ElementsAre());
}

TEST(RegStrDynArDecode, HasItsUsualMarks) {
  EXPECT_THAT(TMBLib::RegStrDynArDecode({"T%|1|2", "C!"}, 3, "%.2d"),
              ElementsAre("T1", "T2", "C03"));
  EXPECT_THAT(TMBLib::RegStrDynArDecode({"C!"}, -1, "%d"), ElementsAre("C!"));
}

TEST(RegNameListDecode, ReplacesTheLinesByTheirNames) {
  TStringList list;
  for (const char* line : {"Ch!_%|10|11", "", "Speed", "T%|3|1"}) list.Add(line);
  TMBLib::RegNameListDecode(&list, "%", "|");
  EXPECT_THAT(Lines(list), ElementsAre("Ch!_10", "Ch!_11", "", "Speed"));
}

TEST(RegNameListDecode, KeepsWhatCameBeforeABadLine) {
  TStringList list;
  for (const char* line : {"T%|1|2", "bad|1", "after"}) list.Add(line);
  EXPECT_THAT([&] { TMBLib::RegNameListDecode(&list, "%", "|"); },
              ThrowsMessage<Exception>(kWrongMask));
  EXPECT_THAT(Lines(list), ElementsAre("T1", "T2"));
}

TEST(RegNameListDecode, LeavesNilAlone) { TMBLib::RegNameListDecode(nullptr, "%", "|"); }

struct TStripRow {
  const char* name;
  const char* text;
  const char* stripped;
};

class BitSuffix : public testing::TestWithParam<TStripRow> {};

TEST_P(BitSuffix, IsStripped) {
  EXPECT_EQ(TMBLib::DeleteBitFromRegName(GetParam().text), GetParam().stripped);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BitSuffix,
    testing::Values(TStripRow{"Suffix", "Status[3]", "Status"},
                    TStripRow{"None", "Status", "Status"}, TStripRow{"Empty", "", ""},
                    TStripRow{"OpenOnly", "a[3", "a[3"}, TStripRow{"CloseOnly", "a3]", "a3]"},
                    TStripRow{"Inside", "a[x]b", "ab"}, TStripRow{"WrongOrder", "A]b[c", "A]b[c"},
                    TStripRow{"FirstCloseBeforeOpen", "A]b[c]d", "A]b[c]d"},
                    TStripRow{"OnlyTheFirst", "a[1][2]", "a[2]"},
                    TStripRow{"FirstOpenToFirstClose", "a[b[c]d]", "ad]"}),
    TRowName());

class BraceMask : public testing::TestWithParam<TStripRow> {};

TEST_P(BraceMask, IsStripped) {
  EXPECT_EQ(TMBLib::DeleteMaskFromRegName(GetParam().text), GetParam().stripped);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BraceMask,
    testing::Values(TStripRow{"Mask", "Temp{C}%", "Temp%"}, TStripRow{"None", "Temp", "Temp"},
                    TStripRow{"Empty", "", ""}, TStripRow{"OpenOnly", "a{b", "a{b"},
                    TStripRow{"CloseOnly", "a}b", "a}b"}, TStripRow{"WrongOrder", "a}b{c", "a}b{c"},
                    TStripRow{"OnlyTheFirst", "{a}b{c}", "b{c}"}),
    TRowName());

class CountMask : public testing::TestWithParam<TStripRow> {};

TEST_P(CountMask, IsStripped) {
  EXPECT_EQ(TMBLib::DeleteCountMaskFromRegName(GetParam().text), GetParam().stripped);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CountMask,
    testing::Values(TStripRow{"Range", "Temp%|1|8", "Temp%"}, TStripRow{"None", "Temp%", "Temp%"},
                    TStripRow{"AtTheStart", "|1", ""}, TStripRow{"Empty", "", ""},
                    TStripRow{"OtherSeparatorStays", "Temp%;1;8", "Temp%;1;8"}),
    TRowName());

struct TBitRow {
  const char* name;
  const char* text;
  int bit;
};

class BitValue : public testing::TestWithParam<TBitRow> {};

TEST_P(BitValue, IsTheNumberOfTheSuffix) {
  EXPECT_EQ(TMBLib::BitValueFromRegName(GetParam().text), GetParam().bit);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BitValue,
    testing::Values(TBitRow{"Suffix", "Status[3]", 3}, TBitRow{"TwoDigits", "Status[15]", 15},
                    TBitRow{"None", "Status", -1}, TBitRow{"NoNumber", "Flags[x]", -1},
                    TBitRow{"EmptyBrackets", "Flags[]", -1}, TBitRow{"OpenOnly", "Flags[3", -1},
                    TBitRow{"CloseOnly", "Flags3]", -1}, TBitRow{"WrongOrder", "A]b[3", -1},
                    TBitRow{"FirstCloseBeforeOpen", "A]b[3]", -1},
                    TBitRow{"FirstOfTwo", "a[1][2]", 1}, TBitRow{"TooLarge", "a[4294967296]", -1},
                    TBitRow{"Empty", "", -1}),
    TRowName());

}  // namespace
}  // namespace OrvixModBus
