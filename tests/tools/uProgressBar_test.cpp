#include "tools/display/uProgressBar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <memory>

#include "tools/display/uTerminal.h"
#include "tools/simulator/uPseudoTerminal.h"

namespace OrvixModBus {
namespace {

using TFile = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

TEST(ProgressBar, FillsUpWithTheShareThatIsDone) {
  struct TCase {
    std::uint64_t done, total;
    const char* line;
  };
  const TCase cases[] = {
      {0, 240, "  Log [------------------------------]   0 %  0 of 240"},
      {96, 240, "  Log [############------------------]  40 %  96 of 240"},
      {239, 240, "  Log [#############################-]  99 %  239 of 240"},
      {240, 240, "  Log [##############################] 100 %  240 of 240"},
      {250, 240, "  Log [##############################] 100 %  250 of 240"},
      {0, 0, "  Log [##############################] 100 %  0 of 0"},
  };
  for (const TCase& test : cases) EXPECT_EQ(ProgressLine("Log", test.done, test.total), test.line);
}

TEST(ProgressBar, ShowsNothingWhereNobodyWatches) {
  const TFile file(std::tmpfile(), std::fclose);
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(IsTerminal(file.get()));
  {
    TProgressBar bar("Log", file.get());
    bar.Show(1, 2);
  }
  EXPECT_EQ(std::ftell(file.get()), 0);
}

TEST(ProgressBar, ReplacesItsLineOnATerminalAndWipesItAtTheEnd) {
  const TPseudoTerminal terminal;
  const TFile file(std::fopen(terminal.Path().c_str(), "w"), std::fclose);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(IsTerminal(file.get()));
  {
    TProgressBar bar("Log", file.get());
    bar.Show(1, 4);
    bar.Show(1, 4);  // the same line is not shown again
    bar.Show(2, 4);
  }
  const std::string wiped(ProgressLine("Log", 1, 4).size(), ' ');
  const std::string expected = "\r\r" + ProgressLine("Log", 1, 4) + "\r" + wiped + "\r" +
                               ProgressLine("Log", 2, 4) + "\r" + wiped + "\r";
  std::string shown(expected.size(), '\0');
  for (std::size_t at = 0; at < shown.size();) {
    pollfd watched{terminal.Handle(), POLLIN, 0};
    ASSERT_EQ(poll(&watched, 1, 10'000), 1) << "only " << at << " bytes came";
    const ssize_t got = read(terminal.Handle(), shown.data() + at, shown.size() - at);
    ASSERT_GT(got, 0);
    at += static_cast<std::size_t>(got);
  }
  EXPECT_EQ(shown, expected);
}

}  // namespace
}  // namespace OrvixModBus
