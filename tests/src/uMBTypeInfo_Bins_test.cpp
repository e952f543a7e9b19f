#include "uMBTypeInfo_Bins.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Throws;
using testing::ThrowsMessage;

constexpr std::int32_t kNoInt = TRegValue::kClearedInt;

class BinType : public testing::Test {
 protected:
  BinType() {
    fBin.Dictionary().SetText("0=Off|On\n3=|Alarm\n8=Low|High\n10=only\n15=a|b|c\n");
    fBin.Bits().SetText("0=Ready\n3=Alarm\n8=Level\n9=\n");
  }

  TMBRegTypeBin fBin{nullptr};
};

TEST_F(BinType, EveryBitHasItsSlotFromBit0InTheLastByte) {
  const struct {
    Bytes data;
    const char* text;
    std::int32_t code;
  } cases[] = {
      {{0x01}, "On|||||||", 1},
      {{0x00}, "Off|||||||", 0},
      {{0x08}, "Off|||Alarm||||", 8},
      {{0xFF}, "On|||Alarm||||", 255},
      {{0x00, 0x01}, "On||||||||Low||only|||||a", 1},
      {{0x81, 0x00}, "Off||||||||High||only|||||b", 0x8100},
      {{0x04, 0x00}, "Off||||||||Low|||||||a", 0x0400},  // bit 10 has no text for 1
      {{}, "", 0},
      {{0xFF, 0xFF, 0xFF, 0xFF}, "On|||Alarm|||||High|||||||b||||||||||||||||", -1},
  };
  for (const auto& [data, text, code] : cases) {
    SCOPED_TRACE(testing::PrintToString(data));
    const TRegValue value = fBin.DataToValue(data);
    EXPECT_EQ(value.Srt, text);
    EXPECT_EQ(value.Int, code);
    EXPECT_EQ(value.R, TRegValue::kClearedReal);
  }
}

TEST_F(BinType, FiveBytesAreDecodedButHaveNoInteger) {
  const TRegValue value = fBin.DataToValue({0, 0, 0, 0, 1});
  EXPECT_EQ(value.Srt, "On||||||||Low||only|||||a||||||||||||||||||||||||");
  EXPECT_EQ(value.Int, kNoInt);
}

TEST_F(BinType, BitsOfTheLongestBlocksAreDecoded) {
  fBin.Dictionary().SetText("0=Off|On\n65536=far|FAR\n");
  Bytes data(8193, 0);
  data[0] = 0x01;  // bit 65536
  const std::string text = fBin.DataToValue(data).Srt;
  EXPECT_EQ(std::count(text.begin(), text.end(), '|'), 8193 * 8 - 1);
  EXPECT_TRUE(text.starts_with("Off|"));
  EXPECT_EQ(text.substr(text.size() - 10), "FAR|||||||");
  fBin.Bits().SetText("65536=Far\n");
  EXPECT_THAT(fBin.TrueBitNameAr(data), ElementsAre("Far"));
}

TEST_F(BinType, AChangedDictionaryCountsAtTheNextDecoding) {
  EXPECT_EQ(fBin.DataToValue({1}).Srt, "On|||||||");
  fBin.SetValue(0, true, "Yes");
  EXPECT_EQ(fBin.DataToValue({1}).Srt, "Yes|||||||");
  fBin.Dictionary().Clear();
  EXPECT_EQ(fBin.DataToValue({1}).Srt, "|||||||");
}

TEST_F(BinType, MoreBitsThanBeforeAreDecoded) {
  EXPECT_EQ(fBin.DataToValue({1}).Srt, "On|||||||");
  EXPECT_EQ(fBin.DataToValue({0x80, 1}).Srt, "On||||||||Low||only|||||b");
  fBin.SetValue(8, false, "Down");
  EXPECT_EQ(fBin.DataToValue({1}).Srt, "On|||||||");
  EXPECT_EQ(fBin.DataToValue({0x80, 1}).Srt, "On||||||||Down||only|||||b");
}

TEST_F(BinType, StateTextsAreThePartsOfALine) {
  const struct {
    std::int32_t bit;
    const char* off;
    const char* on;
  } cases[] = {{0, "Off", "On"}, {3, "", "Alarm"}, {10, "only", ""}, {15, "a", "b"},
               {1, "", ""},      {-1, "", ""},     {9000, "", ""}};
  for (const auto& [bit, off, on] : cases) {
    SCOPED_TRACE(bit);
    EXPECT_EQ(fBin.GetValue(bit, false), off);
    EXPECT_EQ(fBin.GetValue(bit, true), on);
    EXPECT_EQ(fBin.Value(bit, true), on);
  }
}

TEST_F(BinType, WritingOneStateKeepsTheOtherAndDropsFurtherParts) {
  const struct {
    std::int32_t bit;
    bool state;
    const char* value;
    const char* line;
  } cases[] = {
      {0, false, "Shut", "Shut|On"}, {0, true, "Open", "Off|Open"}, {3, true, "", "|"},
      {15, true, "B", "a|B"},        {15, false, "A", "A|b"},       {10, true, "two", "only|two"},
      {4, true, "Alarm", "|Alarm"},  {4, false, "Calm", "Calm|"},   {4, true, "", "|"},
      {4, false, "", "|"},           {9000, false, "Far", "Far|"},  {-3, true, "Below", "|Below"},
  };
  for (const auto& [bit, state, value, line] : cases) {
    SCOPED_TRACE(testing::Message() << bit << ' ' << state << ' ' << value);
    TMBRegTypeBin bin(nullptr);
    bin.Assign(fBin);
    bin.SetValue(bit, state, value);
    EXPECT_EQ(bin.Dictionary().Values(std::to_string(bit)), line);
  }
}

TEST_F(BinType, TheOtherStateOfANewLineIsEmpty) {
  TMBRegTypeBin bin(nullptr);
  bin.SetValue(3, true, "Alarm");
  EXPECT_EQ(bin.Dictionary().Text(), "3=|Alarm\r\n");
  EXPECT_EQ(bin.GetValue(3, false), "");
}

TEST_F(BinType, BitNamesAreReadAndWritten) {
  EXPECT_EQ(fBin.GetBitName(3), "Alarm");
  EXPECT_EQ(fBin.BitName(0), "Ready");
  EXPECT_EQ(fBin.GetBitName(1), "");
  EXPECT_EQ(fBin.GetBitName(9), "");
  fBin.SetBitName(3, "Fault");
  fBin.SetBitName(255, "Last");
  fBin.SetBitName(0, "");
  EXPECT_EQ(fBin.Bits().Text(), "3=Fault\r\n8=Level\r\n9=\r\n255=Last\r\n");
}

TEST_F(BinType, BothStatesAreShown) {
  EXPECT_EQ(fBin.BitValues(0), "0: Off; 1: On");
  EXPECT_EQ(fBin.BitValues(3), "0: ; 1: Alarm");
  EXPECT_EQ(fBin.BitValues(7), "0: ; 1: ");
}

TEST_F(BinType, OneByteNamesBit0AtMost) {
  EXPECT_THAT(fBin.TrueBitNameAr({0xFF}), ElementsAre("Ready"));
  EXPECT_THAT(fBin.TrueBitNameAr({0xFE}), IsEmpty());
}

TEST_F(BinType, TwoBytesNameBits0To8) {
  EXPECT_THAT(fBin.TrueBitNameAr({0xFF, 0xFF}), ElementsAre("Ready", "Alarm", "Level"));
  EXPECT_THAT(fBin.TrueBitNameAr({0x01, 0x00}), ElementsAre("Level"));
  EXPECT_THAT(fBin.TrueBitNameAr({0xFE, 0x08}), ElementsAre("Alarm"));
  EXPECT_THAT(fBin.TrueBitNameAr({}), IsEmpty());
  fBin.Bits().Add("10=Past");
  EXPECT_THAT(fBin.TrueBitNameAr({0xFF, 0xFF}), ElementsAre("Ready", "Alarm", "Level"));
}

std::string Marks(const char* dictionary, const Bytes& data, bool hiFirst = true) {
  TMBRegTypeBin bin(nullptr);
  bin.Dictionary().SetText(dictionary);
  return bin.DataToString(data, ";", "1", "0", hiFirst);
}

TEST(BinTypeDataToString, MarksTheBitsOfTheLinesUpToTheLastBit) {
  EXPECT_EQ(Marks("0=a|b\n7=a|b\n", {0x81}), "1|1");
  EXPECT_EQ(Marks("0=a|b\n2=a|b\n4=a|b\n6=a|b\n", {0x14}), "0|1|1|0");
  EXPECT_EQ(Marks("1=a\n0=b\n2=c\n", {0x05}), "0|1|1");
}

TEST(BinTypeDataToString, NumbersBitsFromEitherEnd) {
  EXPECT_EQ(Marks("0=a\n8=b\n", {0x01, 0x00}, true), "0|1");
  EXPECT_EQ(Marks("0=a\n8=b\n", {0x01, 0x00}, false), "1|0");
}

TEST(BinTypeDataToString, IsEmptyWhenOnlyTheFirstLineHasABit) {
  EXPECT_EQ(Marks("", {0xFF}), "");
  EXPECT_EQ(Marks("0=a|b\n", {0xFF}), "");
  EXPECT_EQ(Marks("0=a|b\nno bit\n\n", {0xFF}), "");
  EXPECT_EQ(Marks("no bit\n", {0xFF}), "");
  EXPECT_EQ(Marks("no bit\n=x\n", {0xFF}), "");
}

TEST(BinTypeDataToString, StopsAtABitPastTheLastLine) {
  EXPECT_EQ(Marks("5=a\n1=b\n3=c\n", {0xFF}), "");
  EXPECT_EQ(Marks("1=a\n5=b\n3=c\n", {0xFF}), "1");
}

TEST(BinTypeDataToString, TheLastBitIsKeptInAByte) {
  EXPECT_EQ(Marks("0=a\n1=b\n2=c\n257=d\n", {0xFF}), "1|1");  // 257 counts as 1
}

TEST(BinTypeDataToString, LinesBehindTheLastBitAreLeftOut) {
  EXPECT_EQ(Marks("0=a\n1=b\nno bit\n\n", {0x02}), "0|1");
}

TEST(BinTypeDataToString, HasNoMoreMarksThanDataHasBits) {
  EXPECT_EQ(Marks("0=a\n1=b\n2=c\n3=d\n4=e\n5=f\n6=g\n7=h\n7=i\n7=j\n", {0xFF}), "1|1|1|1|1|1|1|1");
  EXPECT_EQ(Marks("0=a\n1=b\n", {}), "");
}

TEST(BinTypeDataToString, RefusesABitPastTheDataAndANameThatIsNoBit) {
  EXPECT_THAT([] { Marks("0=a\n9=b\n", {0xFF}); }, ThrowsMessage<Exception>("BitNum error"));
  EXPECT_THAT([] { Marks("-1=a\n3=b\n", {0xFF}); }, ThrowsMessage<Exception>("BitNum error"));
  EXPECT_THAT([] { Marks("x=a\n3=b\n", {0xFF}); }, Throws<EConvertError>());
  EXPECT_THAT([] { Marks("0=a\nx=b\n", {0xFF}); }, Throws<EConvertError>());
}

TEST(BinTypeDataToString, TakesAnyMarks) {
  TMBRegTypeBin bin(nullptr);
  bin.Dictionary().SetText("0=a\n1=b\n");
  EXPECT_EQ(bin.DataToString({0x01}, ", ", "да", "-", true), "да|-");
}

TEST_F(BinType, OneBitIsAValueWithOrWithoutItsText) {
  EXPECT_EQ(fBin.BitNumToValue({0x08}, 3, true), (TRegValue{"Alarm", 1}));
  EXPECT_EQ(fBin.BitNumToValue({0x00}, 0, true), (TRegValue{"Off", 0}));
  EXPECT_EQ(fBin.BitNumToValue({0x08}, 3, false), (TRegValue{"", 1}));
  EXPECT_EQ(fBin.BitNumToValue({0x01, 0x00}, 8, true), (TRegValue{"High", 1}));
  EXPECT_EQ(fBin.BitNumToValue({0xFF}, 1, true), (TRegValue{"", 1}));
}

TEST_F(BinType, ABitPastTheDataIsRefused) {
  for (const std::int32_t bit : {8, -1, 65535, 65536, 65537, 2147483647}) {
    SCOPED_TRACE(bit);
    EXPECT_THAT([&] { fBin.BitNumToValue({0xFF}, bit, true); },
                ThrowsMessage<Exception>("BitNum error"));
  }
  EXPECT_THAT([&] { fBin.BitNumToValue({}, 0, true); }, ThrowsMessage<Exception>("BitNum error"));
  const Bytes longest(8192, 0xFF);  // has bit 65535, the low half of -1
  EXPECT_THAT([&] { fBin.BitNumToValue(longest, -1, true); },
              ThrowsMessage<Exception>("BitNum error"));
}

TEST_F(BinType, TakesTheTextsOfTheTwoStatesOnly) {
  EXPECT_EQ(fBin.StrToVar("0"), Variant(0));
  EXPECT_EQ(fBin.StrToVar("1"), Variant(1));
  for (const std::string text : {"2", "", "on", "-1", "10"}) {
    EXPECT_THAT([&] { fBin.StrToVar(text); },
                ThrowsMessage<TBitBoundException>("Error in TMBRegTypeBin.StrToVar: Value " + text +
                                                  " is not found"));
  }
}

TEST_F(BinType, DescribesTheBits) {
  EXPECT_EQ(fBin.ConstraintStr(), "0: Ready; 3: Alarm; 8: Level; 9: ");
  fBin.Bits().Clear();
  EXPECT_EQ(fBin.ConstraintStr(), "");
}

TEST_F(BinType, EncodesAStateLittleEndian) { EXPECT_EQ(fBin.StrToData("1", 2), (Bytes{1, 0})); }

TEST_F(BinType, AssignCopiesNameDictionaryAndBitsButNotTheKind) {
  fBin.SetName("Flags");
  fBin.SetRegType(TRegType::rtNum);
  TMBRegTypeBin copy(nullptr);
  copy.Bits().Add("1=Old");
  copy.Assign(fBin);
  EXPECT_EQ(copy.Name(), "Flags");
  EXPECT_EQ(copy.RegType(), TRegType::rtBin);
  EXPECT_TRUE(copy.Dictionary().Equals(fBin.Dictionary()));
  EXPECT_TRUE(copy.Bits().Equals(fBin.Bits()));
}

TEST_F(BinType, TheSettersCopyLinesIntoTheirOwnLists) {
  TStringList lines;
  lines.Add("1=x|y");
  fBin.SetDictionary(lines);
  lines.SetString(0, "1=Name");
  fBin.SetBits(lines);
  EXPECT_EQ(fBin.Dictionary().Text(), "1=x|y\r\n");
  EXPECT_EQ(fBin.Bits().Text(), "1=Name\r\n");
}

}  // namespace
}  // namespace OrvixModBus
