#include "uMBTypeInfo_Texts.h"

#include <gtest/gtest.h>

#include "platform/rtl/uNumText.h"

namespace OrvixModBus {
namespace {

struct TNumberCase {
  std::int32_t number;
  std::string_view text;
};

TEST(TMBRegTypeTexts, ANumberIsFoundByItsDecimalTextOnly) {
  TMBRegTypeTexts texts;
  texts.Lines().SetText(
      "0=Stop\n1=Run\n-1=Minus\n255=Last\n007=Padded\n2=a=b\n3=\n10= spaced \n+4=Plus\n-0=Zero\n"
      "4294967295=Never\n2147483647=Highest\n-2147483648=Lowest\n5\n 6=Blank\n8 =Blank\n$9=Hex\n"
      "11x=Rest\n2047=LastLow\n2048=FirstFar\n=Nameless\n");
  const TNumberCase cases[] = {
      {0, "Stop"},
      {1, "Run"},
      {-1, "Minus"},
      {255, "Last"},
      {7, ""},
      {2, "a=b"},
      {3, ""},
      {10, " spaced "},
      {4, ""},
      {2147483647, "Highest"},
      {-2147483647 - 1, "Lowest"},
      {5, ""},
      {6, ""},
      {8, ""},
      {9, ""},
      {11, ""},
      {2047, "LastLow"},
      {2048, "FirstFar"},
      {2049, ""},
      {-2, ""},
  };
  for (const auto& [number, text] : cases) {
    SCOPED_TRACE(number);
    EXPECT_EQ(texts.Find(number), text);
  }
}

TEST(TMBRegTypeTexts, FindsWhatNameAndValueAccessFinds) {
  TMBRegTypeTexts texts;
  for (int i = 0; i < 500; ++i) {
    const int number = i * 37 % 4999 - 1000;  // out of order, below, inside and past the low ones
    texts.Lines().Add(IntToStr(number) + "=" + IntToStr(i));
  }
  for (int number = -1100; number < 4100; ++number) {
    ASSERT_EQ(texts.Find(number), texts.Lines().Values(IntToStr(number))) << number;
  }
}

TEST(TMBRegTypeTexts, OfEqualNumbersTheFirstLineCountsEvenWhenItsTextIsEmpty) {
  TMBRegTypeTexts texts;
  texts.Lines().SetText(
      "1=first\n1=second\n2=\n2=second\n5000=first\n5000=second\n6000=\n6000=x\n");
  EXPECT_EQ(texts.Find(1), "first");
  EXPECT_EQ(texts.Find(2), "");
  EXPECT_EQ(texts.Find(5000), "first");
  EXPECT_EQ(texts.Find(6000), "");
}

TEST(TMBRegTypeTexts, NothingIsFoundInAnEmptyList) {
  const TMBRegTypeTexts texts;
  EXPECT_EQ(texts.Find(0), "");
  EXPECT_EQ(texts.Find(-1), "");
  EXPECT_EQ(texts.Find(100000), "");
}

TEST(TMBRegTypeTexts, EveryChangeOfTheListIsSeenAtTheNextSearch) {
  TMBRegTypeTexts texts;
  TStringList& lines = texts.Lines();
  EXPECT_EQ(texts.Find(1), "");
  lines.Add("1=added");
  EXPECT_EQ(texts.Find(1), "added");
  lines.Insert(0, "1=inserted");
  EXPECT_EQ(texts.Find(1), "inserted");
  lines.SetString(0, "2=renamed");
  EXPECT_EQ(texts.Find(1), "added");
  EXPECT_EQ(texts.Find(2), "renamed");
  lines.SetValue("2", "set");
  EXPECT_EQ(texts.Find(2), "set");
  lines.Delete(0);
  EXPECT_EQ(texts.Find(2), "");
  lines.SetText("3=z\n3=a\n");
  EXPECT_EQ(texts.Find(1), "");
  EXPECT_EQ(texts.Find(3), "z");
  lines.Sort();
  EXPECT_EQ(texts.Find(3), "a");
  TStringList other;
  other.Add("4=assigned");
  lines.Assign(other);
  EXPECT_EQ(texts.Find(4), "assigned");
  lines.SetText("70000=far\n");
  EXPECT_EQ(texts.Find(4), "");
  EXPECT_EQ(texts.Find(70000), "far");
  lines.SetString(0, "-70000=farther");
  EXPECT_EQ(texts.Find(70000), "");
  EXPECT_EQ(texts.Find(-70000), "farther");
  lines.Clear();
  EXPECT_EQ(texts.Find(-70000), "");
}

TEST(TMBRegTypeTexts, SetReplacesTheFirstLineAddsOrRemoves) {
  TMBRegTypeTexts texts;
  texts.Lines().SetText("0=Stop\n1=Run\n1=Again\n");
  texts.Set(1, "Go");
  texts.Set(-7, "Added");
  texts.Set(0, "");
  texts.Set(9, "");
  EXPECT_EQ(texts.Lines().Text(), "1=Go\r\n1=Again\r\n-7=Added\r\n");
}

TEST(TMBRegTypeTexts, DescriptionNamesEveryLineInOrder) {
  const struct {
    const char* lines;
    const char* description;
  } cases[] = {
      {"", ""},
      {"0=Stop\n1=Run\n", "0: Stop; 1: Run"},
      {"3=\n", "3: "},
      {"b=x=y\na=\n", "b: x=y; a: "},
      {"no name\n1=Run\n", ": ; 1: Run"},
      {"\n", ": "},
  };
  for (const auto& [lines, description] : cases) {
    SCOPED_TRACE(lines);
    TMBRegTypeTexts texts;
    texts.Lines().SetText(lines);
    EXPECT_EQ(texts.Description(), description);
  }
}

}  // namespace
}  // namespace OrvixModBus
