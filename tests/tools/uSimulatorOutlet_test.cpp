#include "tools/simulator/uSimulatorOutlet.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <sstream>
#include <vector>

#include "tests/tools/uHexFrame.h"
#include "tools/simulator/uPseudoTerminal.h"

namespace OrvixModBus {
namespace {

constexpr char kQuestion[] = "01 03 00 64 00 01 C5 D5";
constexpr char kReply[] = "01 03 02 00 01 79 84";

std::string TempLink() {
  return testing::TempDir() + "outlet_" + std::to_string(getpid()) + "_link";
}

// Leaves the request where the server finds it as soon as it runs.
void Ask(const std::string& path) {
  const auto port = TSerialPort::New();
  port->Open({.Name = path});
  const Bytes request = FromHex(kQuestion);
  EXPECT_EQ(port->Write(request).Count, request.size());
}

TEST(SimulatorOutlet, ServesFramesAndEndsBySignalAgainAndAgain) {
  TSimulator simulator;
  simulator.Device(1).Holding.Set(100, {1});
  const TSimulatorOutlet outlet({});
  for (const int signal : {SIGINT, SIGTERM, SIGINT}) {
    SCOPED_TRACE(signal);
    Ask(outlet.Path());
    std::vector<std::string> frames;
    const auto onFrame = [&](ELineFrame kind, std::span<const std::uint8_t> frame) {
      frames.push_back((kind == ELineFrame::Request ? "> " : "< ") + ToHex(frame));
      if (kind == ELineFrame::Reply) std::raise(signal);
    };
    std::ostringstream ready;
    ServeUntilSignal(simulator, outlet, {}, ready, onFrame);
    EXPECT_EQ(ready.str(), outlet.Path() + "\n");
    EXPECT_EQ(frames, (std::vector<std::string>{std::string("> ") + kQuestion,
                                                std::string("< ") + kReply}));
  }
}

TEST(SimulatorOutlet, SignalsDoAfterwardsWhatTheyDidBefore) {
  static int heard = 0;
  const auto former = std::signal(SIGTERM, [](int) { ++heard; });
  TSimulator simulator;
  simulator.Device(1).Holding.Set(100, {1});
  const TSimulatorOutlet outlet({});
  Ask(outlet.Path());
  std::ostringstream ready;
  ServeUntilSignal(simulator, outlet, {}, ready,
                   [](ELineFrame, std::span<const std::uint8_t>) { std::raise(SIGTERM); });
  EXPECT_EQ(heard, 0);
  std::raise(SIGTERM);
  EXPECT_EQ(heard, 1);
  std::signal(SIGTERM, former);
}

TEST(SimulatorOutlet, ALinkLeadsToTheTerminalAsLongAsItIsServed) {
  const std::string link = TempLink();
  std::filesystem::create_symlink("/nowhere", link);  // as a killed program leaves it
  {
    const TSimulatorOutlet outlet({.Port = {}, .Link = link});
    EXPECT_EQ(std::filesystem::read_symlink(link), outlet.Path());
  }
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST(SimulatorOutlet, APortIsServedByItsName) {
  const TPseudoTerminal cable;
  const TSimulatorOutlet outlet({.Port = {.Name = cable.Path()}, .Link = ""});
  EXPECT_EQ(outlet.Path(), cable.Path());
  EXPECT_NE(outlet.Port().Handle(), cable.Handle());
}

TEST(SimulatorOutlet, APortThatIsNotThereIsAnError) {
  EXPECT_THROW(TSimulatorOutlet({.Port = {.Name = "/nowhere/port"}, .Link = ""}), EModLinkError);
}

}  // namespace
}  // namespace OrvixModBus
