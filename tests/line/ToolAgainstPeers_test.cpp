// The program orvixmb as people start it, against servers of other stacks and on a terminal.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "Peers.h"
#include "ToolRun.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"
#include "tests/rtl/uTempFolder.h"
#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uSimulatorThread.h"

extern char** environ;

namespace OrvixModBus {
namespace {

// Runs orvixmb to its end. Its outputs go to files; its standard output to out, if that is given.
TToolRun RunProgram(std::vector<std::string> arguments, const std::string& out = {}) {
  const TTempFolder folder;
  arguments.insert(arguments.begin(), ORVIX_MB);
  std::vector<char*> words;
  for (std::string& each : arguments) words.push_back(each.data());
  words.push_back(nullptr);
  const std::string outFile = out.empty() ? folder.File("out") : out;
  const std::string errFile = folder.File("err");
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NOCTTY;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outFile.c_str(), kFlags, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errFile.c_str(), kFlags, 0600);
  pid_t process = -1;
  const int failed = posix_spawn(&process, ORVIX_MB, &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw Exception("can't start orvixmb");
  int status = 0;
  waitpid(process, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.Read("out"), folder.Read("err")};
}

constexpr char kPlant[] = R"(object Plant: TDataModule
  object Line: TMBRTUConnection
    Port = 'PORT'
    BaudRate = 115200
    Parity = psNone
    ReceiveTimeout = 5000
  end
  object Connection: TMBConnection
    RTU = Line
  end
  object Device: TMBClient
    Connection = Connection
    Adres = 17
  end
  object Types: TMBTypeInfo
    TypeNumbers = <
      item
        Name = 'Tenths'
        MaxValue = 65000
        IntPart = 2
        Multiplier = 0.1
      end>
    TypeBins = <
      item
        Name = 'Pump'
        Dictionary.Strings = (
          '0=rests|runs')
      end>
  end
  object Pumps: TMBLetter
    Client = Device
    Regs = <
      item
        Name = 'Flow'
        Adress = 100
        BytesInOneReg = 2
        Count = 1
        Caption = 'l/s'
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end
      item
        Name = 'Level'
        Adress = 101
        BytesInOneReg = 2
        Count = 1
        Caption = 'cm'
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end
      item
        Name = 'Outdoors'
        Adress = 40
        MBFuncRead = 4
        BytesInOneReg = 2
        Count = 1
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end
      item
        Name = 'Pump1'
        Adress = 9
        MBFuncRead = 1
        Count = 1
        RegType = rtBin
        RegTypeName = 'Pump'
        TypeInfo = Types
      end
      item
        Name = 'Pump2'
        Adress = 10
        MBFuncRead = 2
        Count = 1
        RegType = rtBin
        RegTypeName = 'Pump'
        TypeInfo = Types
      end
      item
        Name = 'Missing'
        Adress = 20000
        BytesInOneReg = 2
        Count = 1
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end>
  end
end
)";

// Its own line to the peer is closed, so that the program can open the port.
class ToolAgainstPeers : public testing::TestWithParam<TPeerKind> {
 protected:
  ToolAgainstPeers() : fPeer(GetParam()) { fPeer.Line.SetActive(false); }

  TToolRun Read(const std::vector<std::string>& options) {
    const TTempFolder folder;
    const std::string form =
        folder.Write("plant.form", ReplaceAll(kPlant, "PORT", fPeer.Cable.PathA()));
    std::vector<std::string> words = {"read", form};
    words.insert(words.end(), options.begin(), options.end());
    return RunProgram(words);
  }

  TToolRun Poll(const std::vector<std::string>& options) {
    std::vector<std::string> words = {
        "poll",      "--port", fPeer.Cable.PathA(), "--baud", "115200", "--parity", "none",
        "--address", "17",     "--timeout",         "5000"};
    words.insert(words.end(), options.begin(), options.end());
    return RunProgram(words);
  }

  TPeerLine fPeer;
};

// Holding registers hold their address * 7 + 3, input registers * 13 + 5.
TEST_P(ToolAgainstPeers, ReadsALetter) {
  EXPECT_EQ(Read({"--names", "Flow,Level,Outdoors,Pump1,Pump2"}),
            (TToolRun{0,
                      "name      address  value  raw bytes  caption\n"
                      "Flow          100  70.3   02 BF      l/s\n"
                      "Level         101  71     02 C6      cm\n"
                      "Outdoors       40  52.5   02 0D\n"
                      "Pump1           9  runs   01\n"
                      "Pump2          10  runs   01\n",
                      ""}));
}

TEST_P(ToolAgainstPeers, ReadsTheRestOfALetterWhenARegisterIsRefused) {
  EXPECT_EQ(Read({"--csv"}),
            (TToolRun{1,
                      "letter,name,adress,function,raw,text,int,real,error,caption\n"
                      "Pumps,Flow,100,3,02BF,70.3,,70.3,,l/s\n"
                      "Pumps,Level,101,3,02C6,71,71,71.0,,cm\n"
                      "Pumps,Outdoors,40,4,020D,52.5,,52.5,,\n"
                      "Pumps,Pump1,9,1,01,runs|||||||,1,,,\n"
                      "Pumps,Pump2,10,2,01,runs|||||||,1,,,\n"
                      "Pumps,Missing,20000,3,,,,,exception 2: illegal data address,\n",
                      "orvixmb: 1 of 6 registers could not be read\n"}));
}

TEST_P(ToolAgainstPeers, Polls) {
  const std::string coil = "Coil9         9  1      01\nCoil10       10  0      00\n";
  EXPECT_EQ(Poll({"--function", "3", "--start", "100", "--count", "2", "--type", "uint32"}),
            (TToolRun{0,
                      "name        address  value     raw bytes    caption\n"
                      "Holding100      100  46072518  02 BF 02 C6\n",
                      ""}));
  EXPECT_EQ(Poll({"--function", "4", "--start", "40", "--count", "1", "--type", "hex"}),
            (TToolRun{0,
                      "name     address  value  raw bytes  caption\n"
                      "Input40       40  $020D  02 0D\n",
                      ""}));
  EXPECT_EQ(Poll({"--function", "1", "--start", "9", "--count", "2"}),
            (TToolRun{0, "name    address  value  raw bytes  caption\n" + coil, ""}));
}

TEST_P(ToolAgainstPeers, PollsMoreThanOneRequestHolds) {
  std::string rows;
  for (std::uint32_t a = 0; a < 300; ++a) {
    const std::string value = std::to_string(PeerHolding(a));
    rows += "Poll,Holding" + std::to_string(a) + "," + std::to_string(a) + ",3," +
            IntToHex(PeerHolding(a), 4) + "," + value + "," + value + "," + value + ".0,,\n";
  }
  EXPECT_EQ(
      Poll({"--function", "3", "--start", "0", "--count", "300", "--csv"}),
      (TToolRun{0, "letter,name,adress,function,raw,text,int,real,error,caption\n" + rows, ""}));
}

INSTANTIATE_TEST_SUITE_P(Peers, ToolAgainstPeers, testing::ValuesIn(PeerKinds()),
                         [](const auto& kind) { return kind.param.Name; });

// What has come to the screen of a terminal.
std::string Screen(const TPseudoTerminal& terminal) {
  std::string text;
  pollfd arrived{terminal.Handle(), POLLIN, 0};
  std::array<char, 4096> buffer{};
  while (poll(&arrived, 1, 0) > 0) {
    const ssize_t count = read(terminal.Handle(), buffer.data(), buffer.size());
    if (count <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

TEST(ToolOnATerminal, AWatchedTableStaysInPlaceAndMarksWhatChanged) {
  TSimulator simulator;
  simulator.Clock = [&] { return static_cast<double>(simulator.RequestCount()); };
  simulator.Device(17).Holding.Set(0, {0, 5});
  simulator.Device(17).Holding.SetFormula(
      0, 1, [](std::uint32_t, double requests) { return static_cast<std::int64_t>(requests); });
  const TPseudoTerminal cable, screen;
  const TSimulatorThread thread(simulator, cable.Handle());
  setenv("NO_COLOR", "1", 1);
  const TToolRun run = RunProgram(
      {"poll", "--port", cable.Path(), "--baud", "115200", "--address", "17", "--function", "3",
       "--start", "0", "--count", "2", "--watch", "0.01", "--rounds", "2"},
      screen.Path());
  unsetenv("NO_COLOR");
  EXPECT_EQ(run, (TToolRun{0, "", ""}));
  EXPECT_EQ(Screen(screen),
            "\x1b[?7l"
            "\x1b[2Kname      address  value  raw bytes  caption\n"
            "\x1b[2KHolding0        0  1      00 01\n"
            "\x1b[2KHolding1        1  5      00 05\n"
            "\x1b[J\x1b[?7h"
            "\r\x1b[3A\x1b[?7l"
            "\x1b[2Kname      address  value  raw bytes  caption\n"
            "\x1b[2KHolding0        0  \x1b[7m2\x1b[0m      \x1b[7m00 02\x1b[0m\n"
            "\x1b[2KHolding1        1  5      00 05\n"
            "\x1b[J\x1b[?7h");
}

}  // namespace
}  // namespace OrvixModBus
