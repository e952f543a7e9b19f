// Ports that vanish, come back, can't be opened, or are set up anew.
#include "LineFixture.h"
#include "platform/modbus/uRtuQueue.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;
using testing::ElementsAre;

class TPort : public TLineFixture {
 public:
  TPort() {
    Connection->OnPortLost = [this](TModbusConnection& sender, const std::string& reason) {
      EXPECT_FALSE(sender.Active());
      Lost.push_back(reason);
    };
    Connection->OnPortFound = [this](TModbusConnection& sender) {
      EXPECT_TRUE(sender.Active());
      ++Found;
    };
  }

  /// Three requests are queued; so many ms later the port vanishes.
  void VanishesAfter(std::chrono::milliseconds time) {
    for (int i = 0; i < 3; ++i) Send("03 00 00 00 7D");
    RunFor(time);
    Wire.HungUp = true;
    const auto vanished = Loop.Now();
    Await(3);
    for (const TOutcome& outcome : Outcomes) {
      EXPECT_EQ(outcome.Kind, srNone);
      EXPECT_LE(outcome.Time - vanished, 100ms);
    }
    EXPECT_THAT(Lost, ElementsAre("hung up"));
    EXPECT_FALSE(Wire.IsOpen);
    EXPECT_FALSE(Connection->Active());
    EXPECT_EQ(Loop.WatchCount(), 0u);
  }

  std::vector<std::string> Lost;
  int Found = 0;
};

TEST_F(TPort, VanishingInTheSilenceEndsAllThatIsQueued) { VanishesAfter(10ms); }
TEST_F(TPort, VanishingWhileARequestLeavesEndsAllThatIsQueued) { VanishesAfter(35ms); }
TEST_F(TPort, VanishingWhileAReplyIsAwaitedEndsAllThatIsQueued) { VanishesAfter(120ms); }
TEST_F(TPort, VanishingShortlyBeforeTheTimeoutEndsAllThatIsQueued) { VanishesAfter(900ms); }

TEST_F(TPort, VanishingWhileAPortTakesNothingEndsAllThatIsQueued) {
  Wire.WriteLimit = 0;
  VanishesAfter(100ms);
}

TEST_F(TPort, VanishingWhileRtsIsHeldEndsAllThatIsQueued) {
  Connection->SetRS485Mode(TRS485Mode::rmRTS);
  Wire.DrainedAt = Loop.Now() + 1h;
  VanishesAfter(100ms);
}

TEST_F(TPort, VanishingInTheTurnaroundEndsAllThatIsQueued) {
  Client->SetServerAddress(0);
  VanishesAfter(120ms);
}

TEST_F(TPort, VanishingWhenIdleIsToldAtOnce) {
  RunFor(1s);
  Wire.HungUp = true;
  Loop.RunPending();
  EXPECT_THAT(Lost, ElementsAre("hung up"));
  EXPECT_FALSE(Connection->Active());
}

TEST_F(TPort, AVanishedPortIsLeftAloneWithoutAReconnectInterval) {
  Wire.HungUp = true;
  RunFor(1h);
  EXPECT_EQ(Wire.Opens, 1);
  EXPECT_EQ(Lost.size(), 1u);
}

TEST_F(TPort, AVanishedPortThatComesBackIsOpenedAndToldOnce) {
  Connection->SetReconnectInterval(500);
  Wire.HungUp = true;
  Wire.Refusal = "No such file or directory";
  RunFor(10s + 100ms);
  EXPECT_EQ(Wire.Opens, 1 + 20);
  EXPECT_EQ(Found, 0);
  Wire.HungUp = false;
  Wire.Refusal.clear();
  RunFor(10s);
  EXPECT_EQ(Wire.Opens, 1 + 21);
  EXPECT_EQ(Found, 1);
  EXPECT_EQ(Lost.size(), 1u);
  Answer({Frame("01 03 02 00 07")}, 300ms);
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
}

TEST_F(TPort, RequestsWhileAwayEndAtTheNextTurn) {
  Connection->SetReconnectInterval(500);
  Wire.HungUp = true;
  Wire.Refusal = "No such file or directory";
  RunFor(1s);
  const auto queued = Loop.Now();
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNone);
  EXPECT_EQ(Loop.Now(), queued);
}

TEST_F(TPort, ClosingWhileAwayEndsTheSearch) {
  Connection->SetReconnectInterval(500);
  Wire.HungUp = true;
  RunFor(100ms);
  Connection->SetActive(false);
  const int opens = Wire.Opens;
  RunFor(1h);
  EXPECT_EQ(Wire.Opens, opens);
}

TEST_F(TPort, SettingTheIntervalToNeverWhileAwayEndsTheSearch) {
  Connection->SetReconnectInterval(500);
  Wire.HungUp = true;
  RunFor(100ms);
  Connection->SetReconnectInterval(0);
  RunFor(1h);
  EXPECT_EQ(Wire.Opens, 1);
}

TEST_F(TPort, OpeningWhileAwayTriesAtOnce) {
  Connection->SetReconnectInterval(500'000);
  Wire.HungUp = true;
  Wire.Refusal = "No such file or directory";
  RunFor(100ms);
  EXPECT_THROW(Connection->SetActive(true), EModLinkError);
  Wire.HungUp = false;
  Wire.Refusal.clear();
  Connection->SetActive(true);
  EXPECT_TRUE(Connection->Active());
  EXPECT_EQ(Found, 0);  // the application knows
}

TEST_F(TPort, APortThatCannotBeOpenedIsRefusedWithItsNameAndTheReason) {
  Connection->SetActive(false);
  Wire.Refusal = "Permission denied";
  try {
    Connection->SetActive(true);
    FAIL() << "nothing was raised";
  } catch (const EModLinkError& error) {
    EXPECT_STREQ(error.what(), "Port line: Permission denied");
  }
  EXPECT_FALSE(Connection->Active());
  EXPECT_TRUE(Lost.empty());
}

TEST_F(TPort, WithoutAnOpenPortRequestsEndAtTheNextTurnNotInsideTheCall) {
  Connection->SetActive(false);
  Send("03 00 00 00 01");
  EXPECT_TRUE(Outcomes.empty());
  Loop.RunPending();
  ASSERT_EQ(Outcomes.size(), 1u);
  EXPECT_EQ(Outcomes[0].Kind, srNone);
}

TEST_F(TPort, ClosingEndsWhatIsQueuedFromTheLoop) {
  Send("03 00 00 00 01");
  Send("03 00 00 00 01");
  RunFor(100ms);
  Connection->SetActive(false);
  EXPECT_FALSE(Wire.IsOpen);
  EXPECT_TRUE(Outcomes.empty());
  EXPECT_EQ(Connection->CountPendingTransactions(nullptr), 2);
  Loop.RunPending();
  EXPECT_EQ(Outcomes.size(), 2u);
  EXPECT_TRUE(Lost.empty());
}

TEST_F(TPort, ChangedSettingsReopenItOnceBeforeTheNextRequest) {
  Send("03 00 00 00 01");
  RunFor(100ms);
  Connection->SetBaudRate(2400);
  Connection->SetParity(TParityScheme::psOdd);
  Connection->SetStopBits(TStopBits::sb2);
  Connection->SetPortProperty("other");
  EXPECT_EQ(Wire.Opens, 1);  // a reply is awaited
  Await(1);
  RunFor(1s);
  EXPECT_EQ(Wire.Opens, 2);
  EXPECT_EQ(Wire.Settings.Name, "other");
  EXPECT_EQ(Wire.Settings.BaudRate, 2400u);
  EXPECT_EQ(Wire.Settings.Parity, TParityScheme::psOdd);
  EXPECT_EQ(Wire.Settings.StopBits, TStopBits::sb2);
  EXPECT_TRUE(Connection->Active());
}

TEST_F(TPort, ChangedSettingsReopenAnIdlePortAtTheNextTurn) {
  RunFor(1s);
  Connection->SetDataBits(TDataBits::db7);
  Loop.RunPending();
  EXPECT_EQ(Wire.Opens, 2);
  EXPECT_EQ(Wire.Settings.DataBits, TDataBits::db7);
}

TEST_F(TPort, ChangedSettingsThatThePortRefusesLoseIt) {
  RunFor(1s);
  Wire.Refusal = "12345 baud is not to be had";
  Connection->SetBaudRate(12345);
  Send("03 00 00 00 01");
  Await(1);
  EXPECT_EQ(Outcomes[0].Kind, srNone);
  EXPECT_THAT(Lost, ElementsAre("Port line: 12345 baud is not to be had"));
  EXPECT_FALSE(Connection->Active());
}

TEST_F(TPort, LowLatencyIsToldWhileOpen) {
  EXPECT_EQ(Connection->LowLatency(), TLowLatency::llSet);
  Connection->SetActive(false);
  EXPECT_EQ(Connection->LowLatency(), TLowLatency::llNotOffered);
}

TEST_F(TPort, DestroyingTheConnectionClosesIt) {
  Send("03 00 00 00 01");
  RunFor(100ms);
  Connection.reset();
  EXPECT_FALSE(Wire.IsOpen);
  EXPECT_EQ(Loop.WatchCount(), 0u);
  RunFor(10s);
  EXPECT_TRUE(Outcomes.empty());
}

TEST_F(TPort, OneThreadServesManyLines) {
  struct TLine {
    explicit TLine(TVirtualLoop& loop) : Wire(loop) {}
    TWire Wire;
    TModbusConnection Connection;
    TModbusClient Client;
    int Done = 0;
  };
  std::vector<std::unique_ptr<TLine>> lines;
  for (int i = 0; i < 64; ++i) {
    auto& line = *lines.emplace_back(std::make_unique<TLine>(Loop));
    line.Connection.SetSerialPort(std::make_unique<TScriptedPort>(line.Wire));
    line.Connection.SetActive(true);
    line.Client.SetConnection(&line.Connection);
    line.Client.OnCustomTransactionComplete = [&line](TModbusClient&, TModbusTransaction& t,
                                                      std::uint8_t) {
      if (t.ServerReply() == srNone) ++line.Done;
    };
    line.Connection.SetMaxRetries(0);
    for (int n = 0; n < 5; ++n) Send("03 00 00 00 01", &line.Client);
  }
  // Nobody answers: five windows of two time-outs each.
  RunFor(11s);
  for (const auto& line : lines) EXPECT_EQ(line->Done, 5);
}

}  // namespace
}  // namespace OrvixModBus
