#include "tools/display/uWatchedTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

TTextTable Values(std::vector<TStringDynArray> rows) {
  return {{{"name"}, {"value", EAlign::Right}}, std::move(rows)};
}

TEST(WatchedTable, StandsBelowTheLastRoundWhereNobodyWatches) {
  TWatchedTable table(false, true);
  EXPECT_EQ(table.Next(Values({{"a", "1"}, {"b", "2"}})),
            "  name  value\n"
            "  a         1\n"
            "  b         2\n");
  EXPECT_EQ(table.Next(Values({{"a", "1"}, {"b", "3"}})),
            "\n"
            "  name  value\n"
            "  a         1\n"
            "* b         3\n");
  EXPECT_EQ(table.Next(Values({{"a", "1"}, {"b", "3"}, {"c", "4"}})),  // a new row has no past
            "\n"
            "  name  value\n"
            "  a         1\n"
            "  b         3\n"
            "  c         4\n");
}

TEST(WatchedTable, TakesThePlaceOfTheLastRoundOnATerminal) {
  TWatchedTable table(true, true);
  EXPECT_EQ(table.Next(Values({{"a", "1"}, {"b", "2"}})),
            "\x1b[?7l"
            "\x1b[2Kname  value\n"
            "\x1b[2Ka         1\n"
            "\x1b[2Kb         2\n"
            "\x1b[J\x1b[?7h");
  EXPECT_EQ(table.Next(Values({{"a", "1"}, {"b", "30"}})),
            "\r\x1b[3A\x1b[?7l"
            "\x1b[2Kname  value\n"
            "\x1b[2Ka         1\n"
            "\x1b[2Kb        \x1b[1;33m30\x1b[0m\n"
            "\x1b[J\x1b[?7h");
  EXPECT_EQ(table.Next(Values({{"a", "1"}})),
            "\r\x1b[3A\x1b[?7l"
            "\x1b[2Kname  value\n"
            "\x1b[2Ka         1\n"
            "\x1b[J\x1b[?7h");
  EXPECT_THAT(table.Next(Values({{"a", "1"}})), testing::StartsWith("\r\x1b[2A\x1b[?7l"));
}

TEST(WatchedTable, WithoutColourCellsStandOutInReverse) {
  TWatchedTable table(true, false);
  table.Next(Values({{"a", "1"}}));
  const std::string round = table.Next(Values({{"a", "2"}}));
  EXPECT_THAT(round, testing::HasSubstr("\x1b[7m2\x1b[0m\n"));
  EXPECT_THAT(round, testing::Not(testing::HasSubstr("\x1b[1;33m")));
}

TEST(WatchedTable, FitsTheScreen) {
  const std::vector<TStringDynArray> rows = {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}};
  const struct {
    std::size_t Height;
    const char* Lines;
  } cases[] = {
      {0, "name  value,a         1,b         2,c         3,d         4"},
      {6, "name  value,a         1,b         2,c         3,d         4"},  // 5 and the cursor's
      {5, "name  value,a         1,b         2,... 2 more"},
      {4, "name  value,a         1,... 3 more"},
      {1, "name  value,... 4 more"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.Height);
    std::string expected = "\x1b[?7l\x1b[2K";
    for (const char* at = test.Lines; *at != '\0'; ++at) {
      expected += *at == ',' ? "\n\x1b[2K" : std::string(1, *at);
    }
    EXPECT_EQ(TWatchedTable(true, true).Next(Values(rows), test.Height),
              expected + "\n\x1b[J\x1b[?7h");
  }
}

}  // namespace
}  // namespace OrvixModBus
