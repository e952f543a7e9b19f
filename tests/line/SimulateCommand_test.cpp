// `orvixmb simulate` as a program of its own, and `orvixmb` on the other end of its line.

#include <asm/termbits.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "ToolLine.h"
#include "tests/support/Program.h"

namespace OrvixModBus {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

using TWords = std::vector<std::string>;

// A text is what a simulated register says of its own accord.
constexpr char kForm[] = R"(object Plant: TDataModule
  object Line: TMBRTUConnection
    Port = '/dev/absent'
    BaudRate = 57600
    ReceiveTimeout = 5000
    SilentInterval = 0
  end
  object Connection: TMBConnection
    RTU = Line
  end
  object Controller: TMBClient
    Connection = Connection
    Adres = 17
  end
  object Letter: TMBLetter
    Client = Controller
    Regs = <
      item
        Name = 'Name'
        Adress = 100
        BytesInOneReg = 2
        Count = 2
        RegType = rtStr
      end>
  end
  object Events: TMBFunction20
    MBClient = Controller
    OneRecordLength = 8
  end
  object Alone: TMBFunction24
    OneRecordLength = 8
  end
end
)";

constexpr char kRead[] =
    "letter,name,adress,function,raw,text,int,real,error,caption\n"
    "Letter,Name,100,3,4E616D65,Name,,,,\n";

class SimulateCommand : public testing::Test {
 protected:
  SimulateCommand() : fForm(fFolder.Write("plant.form", kForm)), fLink(fFolder.File("link")) {}

  // The arguments of a simulator of the form.
  TWords Simulate(const TWords& words) const {
    TWords all = {"simulate", fForm};
    all.insert(all.end(), words.begin(), words.end());
    return all;
  }

  std::string Read(const std::string& port) const {
    return RunOrvixmb({"read", fForm, "--csv", "--port", port}).Out;
  }

  // The path that a simulator prints when it is ready.
  static std::string PathOf(TProgram& program) {
    EXPECT_EQ(program.Line(), "left out: Alone: it has no client");
    return program.Line();
  }

  TTempFolder fFolder;
  const std::string fForm, fLink;
};

TEST_F(SimulateCommand, ServesTheDevicesOfTheForm) {
  TProgram program(ORVIX_MB, Simulate({}));
  const std::string path = PathOf(program);
  EXPECT_EQ(Read(path), kRead);
  const TToolRun log = RunOrvixmb({"log", fForm, "Events", "--csv", "--port", path});
  EXPECT_EQ(log.Code, 0) << log.Err;
  EXPECT_EQ(std::ranges::count(log.Out, '\n'), 101);
  EXPECT_EQ(program.End(SIGTERM), 0);
}

TEST_F(SimulateCommand, TheLinkIsThereAsLongAsTheProgram) {
  TProgram program(ORVIX_MB, Simulate({"--link", fLink}));
  const std::string path = PathOf(program);  // told when the link is there
  EXPECT_EQ(std::filesystem::read_symlink(fLink), path);
  EXPECT_EQ(Read(fLink), kRead);
  EXPECT_EQ(program.End(SIGINT), 0);
  EXPECT_FALSE(std::filesystem::is_symlink(fLink));
  EXPECT_EQ(program.Rest(), "") << "neither journal nor prompt";
}

TEST_F(SimulateCommand, TheJournalTellsWhatIsAskedAndAnswered) {
  TProgram program(ORVIX_MB, Simulate({"--journal"}));
  const std::string path = PathOf(program);
  Read(path);
  RunOrvixmb({"log", fForm, "Events", "--from", "99", "--port", path});
  EXPECT_EQ(program.End(SIGTERM), 0);
  EXPECT_EQ(program.Rest(),
            "> 17: read 2 holding registers from 100\n"
            "< 17: 4 bytes: 4E61 6D65\n"
            "> 17: log: count\n"
            "< 17: 100 in all, 100 to read\n"
            "> 17: log: 2 records from 99\n"
            "< 17: 16 bytes of records\n");
}

TEST_F(SimulateCommand, TheTraceShowsTheFrames) {
  TProgram program(ORVIX_MB, Simulate({"--trace"}));
  Read(PathOf(program));
  EXPECT_THAT(program.Line(),
              EndsWith(" > 11 03 00 64 00 02 87 44  read 2 holding registers from 100"));
  EXPECT_THAT(program.Line(), EndsWith(" < 11 03 04 4E 61 6D 65 41 BF  4 bytes: 4E61 6D65"));
}

TEST_F(SimulateCommand, ServesAPort) {
  const TPseudoTerminal cable;
  TProgram program(ORVIX_MB, Simulate({"--port", cable.Path(), "--parity", "none", "--journal"}));
  EXPECT_EQ(PathOf(program), cable.Path());
  termios2 port{};
  ASSERT_EQ(ioctl(cable.Handle(), TCGETS2, &port), 0);
  EXPECT_EQ(port.c_ospeed, 57600U) << "as the form has it";
  const Bytes question = {0x11, 0x03, 0x00, 0x64, 0x00, 0x02, 0x87, 0x44};
  ASSERT_EQ(write(cable.Handle(), question.data(), question.size()), std::ssize(question));
  EXPECT_EQ(program.Line(), "> 17: read 2 holding registers from 100");
  EXPECT_EQ(program.Line(), "< 17: 4 bytes: 4E61 6D65");
  EXPECT_EQ(program.End(SIGTERM), 0);
}

TEST_F(SimulateCommand, ARateAndATurnaroundTakeTheirTime) {
  TProgram program(ORVIX_MB, Simulate({"--baud", "1100", "--turnaround", "50"}));
  const std::string path = PathOf(program);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Read(path), kRead);
  // A request of 8 characters and a reply of 9, a character in 10 ms.
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(80 + 50 + 90));
}

TEST_F(SimulateCommand, MistakesAreTold) {
  const std::string file = fFolder.Write("file", "precious");
  const std::string none = fFolder.File("none.form");
  const struct {
    TWords Words;
    int Code;
    std::string Message;
  } mistakes[] = {
      {{"simulate"}, 2, "FORM is required"},
      {{"simulate", none}, 2, "Can't read \"" + none + "\": No such file or directory"},
      {{"simulate", file}, 2, file + ":1:1: expected 'object', found 'precious'"},
      {Simulate({"--port", "x", "--link", "y"}), 2, "--link excludes --port"},
      {Simulate({"--parity", "even"}), 2, "--parity requires --port"},
      {Simulate({"--baud", "9"}), 2, "--baud: Value 9 not in range 50 to 10000000"},
      {Simulate({"--turnaround", "-1"}), 2, "--turnaround: Value -1 not in range 0 to 60000"},
  };
  for (const auto& mistake : mistakes) {
    SCOPED_TRACE(mistake.Message);
    EXPECT_EQ(RunOrvixmb(mistake.Words),
              (TToolRun{mistake.Code, "", "orvixmb: " + mistake.Message + "\n"}));
  }
}

TEST_F(SimulateCommand, WhatCantBeServedIsAFailure) {
  const std::string file = fFolder.Write("file", "precious");
  constexpr char kLeftOut[] = "left out: Alone: it has no client\norvixmb: ";
  EXPECT_EQ(
      RunOrvixmb(Simulate({"--port", "/nowhere/port"})),
      (TToolRun{1, "", std::string(kLeftOut) + "Port /nowhere/port: No such file or directory\n"}));
  const TToolRun run = RunOrvixmb(Simulate({"--link", file}));
  EXPECT_EQ(run.Code, 1);
  EXPECT_THAT(run.Err, StartsWith(kLeftOut));
  EXPECT_THAT(run.Err, HasSubstr("File exists"));
  EXPECT_EQ(fFolder.Read("file"), "precious");
}

TEST_F(SimulateCommand, HelpEndsWithAnExample) {
  EXPECT_THAT(RunOrvixmb({"simulate", "--help"}).Out,
              EndsWith("Example:\n  orvixmb simulate boiler.form --link /tmp/boiler --journal\n"));
}

}  // namespace
}  // namespace OrvixModBus
