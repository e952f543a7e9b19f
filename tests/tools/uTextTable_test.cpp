#include "tools/display/uTextTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

using testing::ElementsAre;

TEST(TextTable, WidthIsWhatATerminalShows) {
  const struct {
    const char* Text;
    std::size_t Width;
  } cases[] = {
      {"", 0},        {"abc", 3},      {"Температура", 11}, {"°C", 2}, {"й", 1},  // one character
      {"и\u0306", 1},  // a letter and a combining mark
      {"温度", 4},    {"\xFF\xFE", 2},
  };
  for (const auto& test : cases) EXPECT_EQ(DisplayWidth(test.Text), test.Width) << test.Text;
}

TEST(TextTable, AlignsColumnsByWhatIsSeen) {
  const TTextTable table{{{"name"}, {"address", EAlign::Right}, {"value"}},
                         {{"T1", "7", "36.6"}, {"Давление", "65535", "a text that is not cut"}}};
  EXPECT_THAT(TableLines(table), ElementsAre("name      address  value",  //
                                             "T1              7  36.6",   //
                                             "Давление    65535  a text that is not cut"));
  EXPECT_EQ(TableText({{{"a"}}, {{"1"}}}), "a\n1\n");
}

TEST(TextTable, ShortRowsAndEmptyCellsLeaveNoBlanksAtTheEnd) {
  const TTextTable table{{{"a"}, {"b"}, {"c", EAlign::Right}},
                         {{"..."}, {"x", "", ""}, {}, {"", "", "12"}}};
  EXPECT_THAT(TableLines(table), ElementsAre("a    b   c", "...", "x", "", "        12"));
}

TEST(TextTable, ADeviceCanNotMoveTheCursor) {
  const TTextTable table{{{"v"}, {"w"}}, {{"a\x1b[2J\r\n\t\x7f", "b\xC2\x85\xFFz"}}};
  EXPECT_THAT(TableLines(table), ElementsAre("v          w", "a?[2J????  b??z"));
}

TEST(TextTable, MarksStandAroundTheTextAndTakeNoWidth) {
  const TTextTable table{{{"n"}, {"v", EAlign::Right}, {"c"}}, {{"a", "1", "u"}, {"b", "22", ""}}};
  const TCellMarks marks{[](std::size_t row, std::size_t column) { return column == row + 1; }, "<",
                         ">"};
  EXPECT_THAT(TableLines(table, marks), ElementsAre("n   v  c", "a   <1>  u", "b  22"));
}

TEST(TextTable, CsvQuotesWhatWouldBreakALine) {
  const struct {
    const char *Cell, *Written;
  } cases[] = {{"plain text", "plain text"},
               {"a,b", "\"a,b\""},
               {"say \"no\"", "\"say \"\"no\"\"\""},
               {"a\nb", "\"a\nb\""},
               {"a\rb", "\"a\rb\""},
               {"Дверь; 5 °C", "Дверь; 5 °C"},
               {"", ""},
               {"\"", "\"\"\"\""}};
  for (const auto& test : cases) {
    EXPECT_EQ(CsvText({{{"a"}, {"b"}}, {{"1", test.Cell}}}),
              "a,b\n1," + std::string(test.Written) + "\n");
  }
}

TEST(TextTable, CsvRowsAreAsLongAsTheHead) {
  EXPECT_EQ(CsvText({{{"a"}, {"b,c"}, {"d"}}, {{"1"}, {}, {"1", "2", "3"}}}),
            "a,\"b,c\",d\n1,,\n,,\n1,2,3\n");
  EXPECT_EQ(CsvText({{{"a"}}, {{""}, {"1"}}}), "a\n\"\"\n1\n");  // no line is empty
}

}  // namespace
}  // namespace OrvixModBus
