// The program orvixsim, from outside.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/rtl/uTextFile.h"
#include "tests/support/Program.h"
#include "tests/tools/uHexFrame.h"
#include "tools/simulator/uPseudoTerminal.h"

namespace OrvixModBus {
namespace {

using testing::HasSubstr;

constexpr char kQuestion[] = "01 03 00 64 00 01 C5 D5";
constexpr char kReply[] = "01 03 02 00 01 79 84";

std::string Exchange(THandle handle, std::string_view request, std::size_t replySize) {
  const Bytes bytes = FromHex(request);
  EXPECT_EQ(write(handle, bytes.data(), bytes.size()), std::ssize(bytes));
  const std::string reply =
      ReadUntil(handle, [=](const std::string& text) { return text.size() >= replySize; });
  return ToHex(Bytes(reply.begin(), reply.end()));
}

TOwnedHandle OpenPort(const std::string& path) {
  return {open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), path};
}

// The program, run with these arguments.
class TSimulatorProgram : public TProgram {
 public:
  explicit TSimulatorProgram(const std::vector<std::string>& arguments)
      : TProgram(ORVIX_SIMULATOR, arguments) {}
};

std::string TempPath(const std::string& name) {
  return testing::TempDir() + "orvixsim_" + std::to_string(getpid()) + "_" + name;
}

TEST(Program, ServesThePseudoTerminalThatItNames) {
  TSimulatorProgram program({});
  const TOwnedHandle port = OpenPort(program.Line());
  EXPECT_EQ(Exchange(port.Get(), kQuestion, 7), kReply);
  EXPECT_EQ(program.End(SIGTERM), 0);
}

TEST(Program, HasLogsAndOscillogramsToTry) {
  TSimulatorProgram program({});
  const TOwnedHandle port = OpenPort(program.Line());
  const std::pair<const char*, std::string> exchanges[] = {
      {"01 20 00 00 00 00 80 0D", "01 20 04 B0 00 F0 80 9E"},
      {"01 20 00 F0 00 1F C1 F6", "01 20 65 54 29 04 FF 97 00 02 9D D1"},
      {"01 24 00 00 00 00 71 CD", "01 24 00 64 00 64 31 F9"},
      {"01 41 00 00 00 00 3D C5", "01 41 00 07 00 02 0D C5"},
      {"01 41 00 02 00 00 9C 05", "01 41 65 55 42 80 01 2C 46 61 75 6C 74 20 20 20 20 20 5F ED"},
      {"01 41 01 01 00 06 ED FB", "01 41 00 01 00 06 0B B8 00 00 07 50"},
      {"01 41 3E 02 01 2D 50 60", "01 C1 02 F0 51"},
  };
  for (const auto& [request, reply] : exchanges) {
    EXPECT_EQ(Exchange(port.Get(), request, (reply.size() + 1) / 3), reply);
  }
}

TEST(Program, EndsByTheInterruptKeyToo) {
  TSimulatorProgram program({});
  program.Line();
  EXPECT_EQ(program.End(SIGINT), 0);
}

TEST(Program, ServesTheDevicesOfAFile) {
  const std::string file = TempPath("devices.json");
  WriteWholeFile(file, R"({"servers": [{"address": 17, "holding": {"0x6B": [555]}}]})");
  TSimulatorProgram program({file});
  const TOwnedHandle port = OpenPort(program.Line());
  EXPECT_EQ(Exchange(port.Get(), "11 03 00 6B 00 01 F7 46", 7), "11 03 02 02 2B 38 F8");
  std::filesystem::remove(file);
}

TEST(Program, LinkIsThereAsLongAsTheProgram) {
  const std::string link = TempPath("link");
  std::filesystem::create_symlink("/nowhere", link);  // as a killed one leaves it
  TSimulatorProgram program({"--link", link});
  const std::string path = program.Line();
  EXPECT_EQ(std::filesystem::read_symlink(link), path);
  {
    const TOwnedHandle port = OpenPort(link);
    EXPECT_EQ(Exchange(port.Get(), kQuestion, 7), kReply);
  }
  EXPECT_EQ(program.End(SIGTERM), 0);
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST(Program, LeavesAloneALinkThatIsAnothersNow) {
  const std::string link = TempPath("link");
  TSimulatorProgram program({"--link", link});
  program.Line();
  std::filesystem::remove(link);
  std::filesystem::create_symlink("/nowhere", link);
  EXPECT_EQ(program.End(SIGTERM), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  std::filesystem::remove(link);
}

TEST(Program, DoesNotReplaceAFileByALink) {
  const std::string file = TempPath("file");
  WriteWholeFile(file, "precious");
  TSimulatorProgram program({"--link", file});
  EXPECT_THAT(program.Rest(), HasSubstr("File exists"));
  EXPECT_EQ(program.End(0), 1);
  EXPECT_EQ(ReadWholeFile(file), "precious");
  std::filesystem::remove(file);
}

TEST(Program, TracesFramesWithTheirDirection) {
  TSimulatorProgram program({"--trace"});
  const TOwnedHandle port = OpenPort(program.Line());
  Exchange(port.Get(), kQuestion, 7);
  EXPECT_EQ(program.Line(), std::string("> ") + kQuestion);
  EXPECT_EQ(program.Line(), std::string("< ") + kReply);
}

TEST(Program, ServesAPort) {
  const TPseudoTerminal cable;
  TSimulatorProgram program({"--port", cable.Path(), "--parity", "none", "--baud", "115200"});
  EXPECT_EQ(program.Line(), cable.Path());
  EXPECT_EQ(Exchange(cable.Handle(), kQuestion, 7), kReply);
  EXPECT_EQ(program.End(SIGTERM), 0);
}

TEST(Program, PacedReplyTakesItsTime) {
  TSimulatorProgram program({"--pace", "--baud", "1100", "--turnaround", "20"});
  const TOwnedHandle port = OpenPort(program.Line());
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Exchange(port.Get(), kQuestion, 7), kReply);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(8 * 10 + 20 + 70));
}

// The exception codes by which a device that refuses everything at random answers.
std::string RefusalsOf(const std::vector<std::string>& arguments) {
  TSimulatorProgram program(arguments);
  const TOwnedHandle port = OpenPort(program.Line());
  std::string codes;
  for (int i = 0; i < 16; ++i) codes += Exchange(port.Get(), kQuestion, 5).substr(6, 3);
  EXPECT_EQ(program.End(SIGTERM), 0);
  return codes;
}

TEST(Program, ASeedTellsWhichFaultsBefallTheRequests) {
  const std::string file = TempPath("faults.json");
  WriteWholeFile(file, R"({"servers": [{"address": 1}], "seed": 3,
                           "faults": [{"fault": "exception", "code": 0}]})");
  const std::string codes = RefusalsOf({file});
  EXPECT_EQ(RefusalsOf({file}), codes);
  EXPECT_EQ(RefusalsOf({file, "--seed", "3"}), codes);
  EXPECT_NE(RefusalsOf({file, "--seed", "4"}), codes);
  std::filesystem::remove(file);
}

TEST(Program, TellsWhatIsWrongWithAFile) {
  const std::string file = TempPath("broken.json");
  WriteWholeFile(file, R"({"servers": [{}]})");
  TSimulatorProgram program({file});
  EXPECT_EQ(program.Rest(), "orvixsim: " + file + ":/servers/0 lacks \"address\"\n");
  EXPECT_EQ(program.End(0), 1);
  std::filesystem::remove(file);
}

TEST(Program, TellsThatAPortIsNotThere) {
  TSimulatorProgram program({"--port", "/nowhere/port"});
  EXPECT_EQ(program.Rest(), "orvixsim: Port /nowhere/port: No such file or directory\n");
  EXPECT_EQ(program.End(0), 1);
}

TEST(Program, RefusesOptionsThatDoNotGoTogether) {
  const std::vector<std::string> mistakes[] = {{"--port", "x", "--pace"},
                                               {"--port", "x", "--link", "y"},
                                               {"--burst", "4"},
                                               {"--parity", "odd"},
                                               {"--port", "x", "--parity", "no"},
                                               {"--baud", "0"},
                                               {"--turnaround", "-1"},
                                               {"--fast"}};
  for (const auto& mistake : mistakes) {
    TSimulatorProgram program(mistake);
    EXPECT_THAT(program.Rest(), HasSubstr("Run with --help"));
    EXPECT_GT(program.End(0), 1) << testing::PrintToString(mistake);
  }
}

TEST(Program, HelpShowsTheFormOfTheFile) {
  TSimulatorProgram program({"--help"});
  EXPECT_THAT(program.Rest(), HasSubstr("\"formula\": \"sine\""));
  EXPECT_EQ(program.End(0), 0);
}

}  // namespace
}  // namespace OrvixModBus
