#include "tools/display/uTerminal.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <cstdlib>
#include <memory>

#include "tools/simulator/uPseudoTerminal.h"

namespace OrvixModBus {
namespace {

using TFile = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

TEST(Terminal, TellsItsHeight) {
  const TPseudoTerminal terminal;
  const TFile file(std::fopen(terminal.Path().c_str(), "w"), std::fclose);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(TerminalHeight(file.get()), 0U);  // nobody has said
  const winsize size{.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
  ASSERT_EQ(ioctl(terminal.Handle(), TIOCSWINSZ, &size), 0);
  EXPECT_EQ(TerminalHeight(file.get()), 24U);
}

TEST(Terminal, AFileHasNoHeight) {
  const TFile file(std::tmpfile(), std::fclose);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(TerminalHeight(file.get()), 0U);
}

TEST(Terminal, ColourIsRefusedByAVariableThatIsNotEmpty) {
  unsetenv("NO_COLOR");
  EXPECT_TRUE(WantsColour());
  setenv("NO_COLOR", "", 1);
  EXPECT_TRUE(WantsColour());
  setenv("NO_COLOR", "1", 1);
  EXPECT_FALSE(WantsColour());
  unsetenv("NO_COLOR");
}

}  // namespace
}  // namespace OrvixModBus
