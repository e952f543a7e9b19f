// Every allocation fails once while a port is opened, lost, found, traced and set up anew.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "platform/modbus/uLateReplies.h"
#include "tests/src/uTestRegs.h"
#include "uMBLogCustomFunctions.h"
#include "uVirtualLine.h"
#include "uWalk.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

class TLineScenario : public TVirtualLine {
 public:
  TLineScenario() {
    AddReg(Letter.Regs(), {"A", 10});
    Letter.OnReadAllRegs = [this](TMBLetter&) { ++Complete; };
    Line.OnPortFound = [this](TModbusConnection&) { ++Found; };
  }
  void CheckAfterFailure() {
    Wire.HungUp = false;
    Wire.Refusal.clear();
    Settle();
    EXPECT_EQ(Line.CountPendingTransactions(nullptr), 0);
    EXPECT_TRUE(Letter.ChekAllRegsResive());
    Line.SetActive(false);
    EXPECT_FALSE(Wire.IsOpen);
    EXPECT_EQ(Loop.WatchCount(), 0u);
  }
  bool WasTold() const { return Faults > 0; }
  bool HasRead() {
    return Complete > 0 && Letter.Regs().GetItem(0)->Data() == Bytes{0, 10} &&
           Letter.ChekAllRegsResive();
  }

  int Complete = 0, Found = 0;
};

class TOpening : public TLineScenario {
 public:
  void Run() {
    Complete = 0;
    Line.SetPortProperty("a name of a port that is longer than what a string holds by itself");
    Line.SetActive(true);
    Line.SetBaudRate(Line.BaudRate() * 2);
    Letter.ReadAllRegs();
    RunDry();
    Line.SetActive(false);
  }
  bool IsDone() { return HasRead() && !Wire.IsOpen; }
};

class TLosing : public TLineScenario {
 public:
  TLosing() { Line.SetReconnectInterval(100); }
  void Run() {
    Complete = Found = 0;
    {
      const TOwnMemory own;
      Line.SetActive(true);
    }
    Letter.ReadAllRegs();
    Wire.HungUp = true;
    RunDry();
    Loop.RunUntil([] { return false; }, 250ms);
    Wire.HungUp = false;
    Loop.RunUntil([] { return false; }, 250ms);
    Letter.ReadAllRegs();
    RunDry();
  }
  bool IsDone() { return HasRead() && Complete == 2 && Found >= 1 && Line.Active(); }
};

class TTracing : public TLineScenario {
 public:
  TTracing() {
    Line.OnTrace = [this](TModbusConnection&, TTraceDirection, std::span<const std::uint8_t>,
                          TVirtualLoop::TTime) { ++fFrames; };
  }
  void Run() {
    Complete = fFrames = 0;
    Line.SetRecorderSize(Line.RecorderSize() == 4096 ? 8192 : 4096);
    Line.SetActive(true);
    {
      const TOwnMemory own;
      Wire.Arrive(1ms, Hex("55 AA"));
    }
    Letter.ReadAllRegs();
    RunDry();
  }
  bool IsDone() { return HasRead() && fFrames >= 2; }

 private:
  int fFrames = 0;
};

class TMaking {
 public:
  void Run() {
    TMBRTUConnection line;
    TMBConnection connection;
    TMBClient client;
    TMBLetter letter;
    TMBFunction20 log;
    connection.SetRTU(&line);
    client.SetConnection(&connection);
    letter.SetClient(&client);
    log.SetMBClient(&client);
    log.SetName("Log");
    letter.FreeNotification(client);
    auto* const owner = new TMBClient(&client);
    delete owner;
    fMade = true;
  }
  void CheckAfterFailure() {}
  static bool WasTold() { return false; }
  bool IsDone() const { return fMade; }

 private:
  bool fMade = false;
};

// No late reply may pass for another answer because there was no memory to remember it.
TEST(FailingMemory, OwingMoreRepliesThanCanBeRememberedHoldsEveryRequestBack) {
  constexpr TLateReplies::TTime kUntil{1000s};
  const Bytes owed = Hex("01 03 00 00 00 01"), other = Hex("02 06 00 00 00 01");
  TLateReplies late;
  FailAllocation(1);
  std::uint64_t number = 1;
  for (; late.FreeAt(other, 0) < kUntil && number < 100; ++number) late.Owe(number, owed, kUntil);
  EXPECT_TRUE(StopFailing());
  EXPECT_EQ(late.FreeAt(other, 0), kUntil);
  late.Expire(kUntil);
  EXPECT_LE(late.FreeAt(owed, 0), kUntil) << "and no longer";
}

TEST(FailingMemory, OpeningAPort) { WalkAllocations<TOpening>(20); }
TEST(FailingMemory, LosingAPort) { WalkAllocations<TLosing>(20); }
TEST(FailingMemory, TracingALine) { WalkAllocations<TTracing>(20); }
TEST(FailingMemory, MakingEverything) { WalkAllocations<TMaking>(60); }

}  // namespace
}  // namespace OrvixModBus
