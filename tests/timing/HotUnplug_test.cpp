// An adapter is pulled out while letters poll, and comes back as another device of the same name.

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "platform/loop/uSystemLoop.h"
#include "tests/line/SimulatedLine.h"
#include "tests/rtl/uTempFolder.h"
#include "tests/timing/ProcessorTime.h"
#include "tools/simulator/uTerminalPort.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using TTime = TLoop::TClock::time_point;

constexpr auto kAway = 2000ms;
constexpr std::uint64_t kLastRequest = 40;  // before the adapter is gone

// Open terminals, both ends, of this process.
int OpenTerminals() {
  int count = 0;
  for (const auto& handle : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const std::string target = std::filesystem::read_symlink(handle.path(), error).string();
    if (target.starts_with("/dev/pt")) ++count;
  }
  return count;
}

// Two letters that are read again as soon as they are complete, on a port with a stable name.
class HotUnplug : public testing::Test {
 public:
  HotUnplug() {
    for (std::uint32_t adress = 0; adress < 20; ++adress) {
      Simulator.Device(kDevice).Holding.Set(adress, {adress});
    }
    Simulator.Faults = {
        {.First = kLastRequest, .Last = kLastRequest, .Fault = EFault::HangUp, .Duration = kAway}};
    Simulator.OnRequest = [this](const TJournalEntry& entry) {
      if (entry.Fault == EFault::HangUp) Gone = Loop.Now();
    };
    Line.SetPortProperty(Link);
    Line.SetReconnectInterval(200);
    Line.OnPortLost = [this](TModbusConnection&, const std::string&) { ++Lost; };
    Line.OnPortFound = [this](TModbusConnection&) {
      ++Found;
      for (TMBLetter& letter : Letters) letter.ReadAllRegs();
    };
    Connection.SetRTU(&Line);
    Client.SetConnection(&Connection);
    Client.SetAdres(kDevice);
    for (TMBLetter& letter : Letters) Poll(letter);
  }
  ~HotUnplug() override { TLoop::SetCurrent(Former); }

  void Poll(TMBLetter& letter) {
    letter.SetClient(&Client);
    for (std::uint32_t adress = 0; adress < 20; adress += 2) AddReg(letter, 0x03, adress, 1);
    letter.OnReadAllRegs = [this](TMBLetter& complete) {
      if (Line.Active()) complete.ReadAllRegs();
    };
    letter.OnRegDataChange = [this](TMBLetter&, TMBReg&) { LastValue = Loop.Now(); };
  }

  bool RunUntil(const std::function<bool()>& condition) { return Loop.RunUntil(condition, 20s); }

  const int TerminalsBefore = OpenTerminals();
  const TTempFolder Folder;
  const std::string Link = Folder.File("adapter");
  TSystemLoop Loop;
  TLoop* const Former = TLoop::SetCurrent(&Loop);
  TSimulator Simulator;
  TTerminalPort Adapter{Link};
  TSimulatorLine Far{Loop, Adapter, [this](auto request) { return Simulator.Answer(request); }};
  std::optional<TPseudoTerminal> Another;  // takes the number of the adapter that is gone
  TMBRTUConnection Line;
  TMBConnection Connection;
  TMBClient Client;
  TMBLetter Letters[2];
  int Lost = 0, Found = 0;
  TTime Gone{}, LastValue{};
};

TEST_F(HotUnplug, PollingStopsAtOnceAndGoesOnWhenTheAdapterIsBack) {
  const std::string path = Adapter.Path();
  Line.SetActive(true);
  for (TMBLetter& letter : Letters) letter.ReadAllRegs();
  ASSERT_TRUE(RunUntil([this] { return Lost > 0; }));
  ASSERT_TRUE(RunUntil([this] { return Client.CountPendingTransactions() == 0; }));
  EXPECT_LE(Loop.Now() - Gone, 100ms);
  EXPECT_FALSE(Line.Active());
  for (const TMBLetter& letter : Letters) EXPECT_TRUE(letter.ChekAllRegsResive());
  EXPECT_EQ(OpenTerminals(), TerminalsBefore);

  Another.emplace();
  const auto time = ProcessorTimeOfThisThread();
  Loop.RunUntil([] { return false; }, 1s);
  EXPECT_LT(ProcessorTimeOfThisThread() - time, 10ms) << "one part in a hundred";
  EXPECT_EQ(Lost, 1);
  EXPECT_EQ(Found, 0);

  const TTime back = Gone + kAway;
  ASSERT_TRUE(RunUntil([&] { return LastValue >= back; }));
  EXPECT_LE(LastValue - back, 1s);
  EXPECT_NE(Adapter.Path(), path) << "it has another number";
  Loop.RunUntil([] { return false; }, 300ms);
  EXPECT_EQ(Lost, 1);
  EXPECT_EQ(Found, 1);
}

}  // namespace
}  // namespace OrvixModBus
