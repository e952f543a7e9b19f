#include "uMBTypeInfo_Lists.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

using testing::ThrowsMessage;

constexpr std::int32_t kNoInt = TRegValue::kClearedInt;

class ListType : public testing::Test {
 protected:
  ListType() { fList.Dictionary().SetText("0=Stop\n1=Run\n-1=Lost\n3=\n258=Wide\n"); }

  TMBRegTypeList fList{nullptr};
};

TEST_F(ListType, DecodesUpToFourBytesBigEndian) {
  const struct {
    Bytes data;
    const char* text;
    std::int32_t code;
  } cases[] = {
      {{0x00, 0x01}, "Run", 1},
      {{0x01}, "Run", 1},
      {{0x00, 0x00, 0x00, 0x00}, "Stop", 0},
      {{}, "Stop", 0},
      {{0x00, 0x02}, "", 2},
      {{0x00, 0x03}, "", 3},
      {{0x01, 0x02}, "Wide", 258},
      {{0x00, 0x01, 0x02}, "Wide", 258},
      {{0xFF, 0xFF}, "", 65535},
      {{0xFF, 0xFF, 0xFF, 0xFF}, "Lost", -1},
      {{0x80, 0x00, 0x00, 0x00}, "", kNoInt},
  };
  for (const auto& [data, text, code] : cases) {
    SCOPED_TRACE(testing::PrintToString(data));
    const TRegValue value = fList.DataToValue(data);
    EXPECT_EQ(value.Srt, text);
    EXPECT_EQ(value.Int, code);
    EXPECT_EQ(value.R, TRegValue::kClearedReal);
  }
}

TEST_F(ListType, FiveBytesAreNoValue) {
  EXPECT_EQ(fList.DataToValue({0, 0, 0, 0, 1}), TRegValue());
}

TEST_F(ListType, AChangedDictionaryCountsAtTheNextDecoding) {
  EXPECT_EQ(fList.DataToValue({1}).Srt, "Run");
  fList.Dictionary().SetValue("1", "Go");
  EXPECT_EQ(fList.DataToValue({1}).Srt, "Go");
  fList.Dictionary().Clear();
  EXPECT_EQ(fList.DataToValue({1}).Srt, "");
}

TEST_F(ListType, ANameIsReadAndWrittenByItsCode) {
  EXPECT_EQ(fList.GetValue(258), "Wide");
  EXPECT_EQ(fList.Value(-1), "Lost");
  EXPECT_EQ(fList.GetValue(2), "");
  fList.SetValue(2, "Pause");
  fList.SetValue(0, "Halt");
  fList.SetValue(258, "");
  EXPECT_EQ(fList.Dictionary().Text(), "0=Halt\r\n1=Run\r\n-1=Lost\r\n3=\r\n2=Pause\r\n");
}

TEST_F(ListType, TakesACodeThatHasAName) {
  EXPECT_EQ(fList.StrToVar("1"), Variant(1));
  EXPECT_EQ(fList.StrToVar("0"), Variant(0));
  EXPECT_EQ(fList.StrToVar("01"), Variant(1));
}

TEST_F(ListType, RefusesACodeWithoutAName) {
  for (const std::string code : {"2", "3", "4000000"}) {
    EXPECT_THAT([&] { fList.StrToVar(code); },
                ThrowsMessage<TListBoundException>("Error in TMBRegTypeList.StrToVar: Int Value " +
                                                   code + " is not found"));
  }
}

TEST_F(ListType, RefusesANameAndEveryNegativeCode) {
  for (const std::string text : {"Run", "-5", "-1", "", "1 ", "1.0", "99999999999"}) {
    EXPECT_THAT([&] { fList.StrToVar(text); },
                ThrowsMessage<TListIndexException>("Error in TMBRegTypeList.StrToVar: Str Value " +
                                                   text + " is not found"));
  }
}

TEST_F(ListType, ARefusedTextLeavesTheDictionaryAsItWas) {
  const std::string before = fList.Dictionary().Text();
  EXPECT_THROW(fList.StrToVar("2"), TListBoundException);
  EXPECT_THROW(fList.StrToVar("Run"), TListIndexException);
  EXPECT_EQ(fList.Dictionary().Text(), before);
}

TEST_F(ListType, EncodesACodeLittleEndian) {
  EXPECT_EQ(fList.StrToData("258", 4), (Bytes{2, 1, 0, 0}));
  EXPECT_EQ(fList.StrToData("258", 1), (Bytes{2}));
}

TEST_F(ListType, DescribesEveryLine) {
  EXPECT_EQ(fList.ConstraintStr(), "0: Stop; 1: Run; -1: Lost; 3: ; 258: Wide");
  fList.Dictionary().Clear();
  EXPECT_EQ(fList.ConstraintStr(), "");
}

TEST_F(ListType, AssignCopiesNameAndDictionaryButNotTheKind) {
  fList.SetName("Mode");
  fList.SetRegType(TRegType::rtStr);
  TMBRegTypeList copy(nullptr);
  copy.Dictionary().Add("7=Old");
  copy.Assign(fList);
  EXPECT_EQ(copy.Name(), "Mode");
  EXPECT_EQ(copy.RegType(), TRegType::rtList);
  EXPECT_TRUE(copy.Dictionary().Equals(fList.Dictionary()));
  EXPECT_EQ(copy.GetValue(7), "");
  fList.SetValue(1, "changed");
  EXPECT_EQ(copy.GetValue(1), "Run");
}

TEST_F(ListType, TheDictionarySetterCopiesLines) {
  TStringList lines;
  lines.Add("9=Nine");
  const TStringList* const own = &fList.Dictionary();
  fList.SetDictionary(lines);
  lines.Clear();
  EXPECT_EQ(&fList.Dictionary(), own);
  EXPECT_EQ(fList.GetValue(9), "Nine");
  EXPECT_EQ(fList.Dictionary().Count(), 1);
}

}  // namespace
}  // namespace OrvixModBus
