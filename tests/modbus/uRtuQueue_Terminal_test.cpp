// The line over a pseudo-terminal in real time, in the default loop.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AllocationCount.h"
#include "PseudoTerminal.h"
#include "ScriptedPort.h"
#include "platform/loop/uSystemLoop.h"
#include "platform/modbus/uModbusClient.h"
#include "platform/modbus/uModbusConnection.h"
#include "platform/modbus/uRtuQueue.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using enum TServerReply;

class TTerminal : public testing::Test {
 public:
  TTerminal() {
    Connection.SetPortProperty(Line.PortName());
    Connection.SetSilentInterval(0);
    Connection.SetMaxRetries(0);
    Connection.SetActive(true);
    Client.SetConnection(&Connection);
    Client.OnCustomTransactionComplete = [this](TModbusClient&, TModbusTransaction& transaction,
                                                std::uint8_t) {
      ++Done;
      Last = transaction.ServerReply();
      LastAt = Loop.Now();
      if (Done < Wanted) Ask();
    };
    // The server: answers every read of a register.
    Server = Loop.NewWatch(Line.Handle(), [this](TReadiness) {
      std::uint8_t request[300];
      if (Line.Take(request) > 0 && Answers) Line.Send(kReply);
    });
    Server->Want(TReadiness::rdRead);
  }
  ~TTerminal() override { TLoop::SetCurrent(nullptr); }

  void Ask() { Client.InitCustomTransaction(3, kRead, false, nullptr); }
  bool AwaitDone(int count) {
    return Loop.RunUntil([&] { return Done >= count; }, 20s);
  }

  const Bytes kRead = Hex("00 00 00 01");
  const Bytes kReply = Frame("01 03 02 00 07");
  TSystemLoop Loop;
  const bool fCurrent = (TLoop::SetCurrent(&Loop), true);
  TPseudoTerminal Line;
  TModbusConnection Connection;
  TModbusClient Client;
  std::unique_ptr<TLoopWatch> Server;
  bool Answers = true;
  int Done = 0, Wanted = 0;
  TServerReply Last = srNone;
  TLoop::TClock::time_point LastAt;
};

TEST_F(TTerminal, ReadsARegister) {
  Ask();
  ASSERT_TRUE(AwaitDone(1));
  EXPECT_EQ(Last, srNormalReply);
}

TEST_F(TTerminal, ReadsARegisterAtLineSpeed) {
  Connection.SetSilentInterval(-1);
  Connection.SetBaudRate(115200);
  Ask();
  ASSERT_TRUE(AwaitDone(1));
  EXPECT_EQ(Last, srNormalReply);
}

TEST_F(TTerminal, AllocatesNothingOnceItIsWarm) {
  Wanted = 1000;
  Ask();
  ASSERT_TRUE(AwaitDone(100));
  const std::uint64_t before = AllocationCount();
  while (Done < 1000) Loop.RunOnce(Loop.Now() + 5s);
  EXPECT_EQ(AllocationCount() - before, 0u);
}

TEST_F(TTerminal, WaitsOnceForItsReplyAndTheServerOnceForItsRequest) {
  Wanted = 1000;
  Ask();
  ASSERT_TRUE(AwaitDone(100));
  const auto before = Loop.WaitCount();
  while (Done < 1000) Loop.RunOnce(Loop.Now() + 5s);
  EXPECT_LE(Loop.WaitCount() - before, 2u * 900 + 20);
}

TEST_F(TTerminal, AHangUpEndsAllThatIsQueuedWithin100Milliseconds) {
  for (const std::int32_t silence : {0, -1}) {
    SCOPED_TRACE(silence);
    TPseudoTerminal line;
    TModbusConnection connection;
    connection.SetPortProperty(line.PortName());
    connection.SetSilentInterval(silence);
    connection.SetActive(true);
    int lost = 0;
    connection.OnPortLost = [&](TModbusConnection&, const std::string&) { ++lost; };
    Client.SetConnection(&connection);
    Done = 0;
    for (int i = 0; i < 10; ++i) Ask();
    Loop.RunUntil([] { return false; }, 60ms);
    line.HangUp();
    const auto hungUp = Loop.Now();
    ASSERT_TRUE(AwaitDone(10));
    EXPECT_LE(LastAt - hungUp, 100ms);
    EXPECT_EQ(Last, srNone);
    EXPECT_EQ(lost, 1);
    EXPECT_FALSE(connection.Active());
  }
}

TEST_F(TTerminal, AnotherConnectionCannotOpenThePort) {
  TModbusConnection second;
  second.SetPortProperty(Line.PortName());
  EXPECT_THROW(second.SetActive(true), EModLinkError);
  Connection.SetActive(false);
  second.SetActive(true);
  EXPECT_TRUE(second.Active());
}

}  // namespace
}  // namespace OrvixModBus
