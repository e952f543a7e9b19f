// Handlers that throw, destroy, close, queue more, or run the loop themselves.
#include "LineFixture.h"
#include "platform/modbus/uRecordedQueue.h"
#include "platform/modbus/uRtuQueue.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;
using testing::ElementsAre;

/// Records the ends of its transactions.
class TEndingClient : public TModbusClient {
 public:
  ~TEndingClient() override { BeginDestroy(); }
  std::vector<std::uint8_t> Ended;
  std::function<void()> OnEnded;

 protected:
  void TransactionEnded(TModbusTransaction& transaction) override {
    Ended.push_back(transaction.Command());
    const auto onEnded = OnEnded;
    if (onEnded) onEnded();
  }
};

class THandlers : public TLineFixture {
 public:
  THandlers() {
    NoCharacters();
    Connection->SetMaxRetries(0);
    Wire.OnWrite = [this](const Bytes& request) {
      if (request[1] == 3) Wire.Arrive(10ms, Frame("01 03 02 00 07"));
      if (request[1] == 4) Wire.Arrive(10ms, Frame("01 04 02 00 08"));
    };
    Ending->SetConnection(Connection.get());
  }

  /// Does this at the first completion of the client.
  void AtCompletion(const std::function<void()>& act) {
    Client->OnCustomTransactionComplete = [this, act](TModbusClient&, TModbusTransaction& t,
                                                      std::uint8_t command) {
      Outcomes.push_back({t.ServerReply(), {}, 0, command, 0, 0, nullptr, Loop.Now()});
      if (Outcomes.size() == 1) act();
    };
  }

  std::unique_ptr<TEndingClient> Ending = std::make_unique<TEndingClient>();
};

TEST_F(THandlers, AnExceptionLeavesByTheRunAndTheNextTransactionGoesOut) {
  AtCompletion([] { throw Exception("from the handler"); });
  Send("03 00 00 00 01");
  Send("04 00 00 00 01");
  EXPECT_THROW(Await(2), Exception);
  Await(2);
  EXPECT_EQ(Outcomes[1].Command, 4);
  EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
}

TEST_F(THandlers, AnExceptionGoesToTheLoopsHook) {
  int caught = 0;
  Loop.OnException = [&](const std::exception_ptr&) { ++caught; };
  AtCompletion([] { throw Exception("from the handler"); });
  Send("03 00 00 00 01");
  Send("04 00 00 00 01");
  Await(2);
  EXPECT_EQ(caught, 1);
  EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
}

TEST_F(THandlers, EveryExceptionOfAMassFailureIsDelivered) {
  int caught = 0;
  Loop.OnException = [&](const std::exception_ptr&) { ++caught; };
  Ending->OnCustomTransactionComplete = [](TModbusClient&, TModbusTransaction&, std::uint8_t) {
    throw Exception("no");
  };
  for (int i = 0; i < 5; ++i) Send("03 00 00 00 01", Ending.get());
  Connection->SetActive(false);
  RunFor(1s);
  EXPECT_EQ(caught, 5);
  EXPECT_EQ(Ending->Ended.size(), 5u);
}

TEST_F(THandlers, MayDestroyTheirClient) {
  AtCompletion([this] { Client.reset(); });
  Send("03 00 00 00 01");
  Send("04 00 00 00 01");
  Send("04 00 00 00 01", Ending.get());
  RunFor(1s);
  EXPECT_EQ(Outcomes.size(), 1u);
  EXPECT_THAT(Ending->Ended, ElementsAre(4));
}

TEST_F(THandlers, MayDestroyTheConnection) {
  AtCompletion([this] { Connection.reset(); });
  Send("03 00 00 00 01");
  Send("04 00 00 00 01");
  Send("04 00 00 00 01", Ending.get());
  RunFor(1s);
  EXPECT_EQ(Outcomes.size(), 1u);
  EXPECT_THAT(Ending->Ended, ElementsAre(4));
  EXPECT_EQ(Client->Connection(), nullptr);
  EXPECT_FALSE(Wire.IsOpen);
  EXPECT_EQ(Loop.WatchCount(), 0u);
}

TEST_F(THandlers, MayDestroyBothAndThrow) {
  AtCompletion([this] {
    Client.reset();
    Connection.reset();
    throw Exception("and still whole");
  });
  Send("03 00 00 00 01");
  EXPECT_THROW(RunFor(1s), Exception);
}

TEST_F(THandlers, MayCloseThePort) {
  AtCompletion([this] { Connection->SetActive(false); });
  Send("03 00 00 00 01");
  Send("04 00 00 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[1].Kind, srNone);
  EXPECT_FALSE(Wire.IsOpen);
}

TEST_F(THandlers, MayCloseAndOpenThePort) {
  AtCompletion([this] {
    Connection->SetActive(false);
    Connection->SetActive(true);
    Send("04 00 00 00 01");
  });
  Send("03 00 00 00 01");
  Send("04 00 00 00 01");
  Await(3);
  EXPECT_EQ(Outcomes[1].Kind, srNone);
  EXPECT_EQ(Outcomes[2].Kind, srNormalReply);
}

TEST_F(THandlers, MayQueueMore) {
  AtCompletion([this] { Send("04 00 00 00 01"); });
  Send("03 00 00 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[1].Command, 4);
}

TEST_F(THandlers, MayDiscardWhatIsQueued) {
  AtCompletion([this] { Connection->DiscardPendingTransactions(nullptr); });
  Send("03 00 00 00 01");
  Send("04 00 00 00 01");
  Send("04 00 00 00 01", Ending.get());
  RunFor(5s);
  EXPECT_EQ(Outcomes.size(), 1u);
  EXPECT_THAT(Ending->Ended, ElementsAre(4));
}

TEST_F(THandlers, MayReplaceTheQueue) {
  AtCompletion([this] { Connection->SetQueue(std::make_unique<TRecordedQueue>()); });
  Send("03 00 00 00 01");
  Send("04 00 00 00 01", Ending.get());
  RunFor(5s);
  EXPECT_THAT(Ending->Ended, ElementsAre(4));
  EXPECT_FALSE(Connection->Active());
}

TEST_F(THandlers, MayRunTheLoopThemselves) {
  AtCompletion([this] {
    Send("04 00 00 00 01");
    Await(2);
  });
  Send("03 00 00 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
}

TEST_F(THandlers, OfTheTraceMayDestroyTheConnection) {
  Connection->OnTrace = [this](TModbusConnection&, TTraceDirection direction,
                               std::span<const std::uint8_t> frame, TVirtualLoop::TTime) {
    if (direction != TTraceDirection::tdReceived) return;
    Connection.reset();
    EXPECT_EQ(frame.size(), 7u);  // still there
  };
  Send("03 00 00 00 01", Ending.get());
  RunFor(5s);
  EXPECT_THAT(Ending->Ended, ElementsAre(3));
}

TEST_F(THandlers, OfTheTraceMayThrow) {
  Connection->OnTrace = [](TModbusConnection&, TTraceDirection, std::span<const std::uint8_t>,
                           TVirtualLoop::TTime) { throw Exception("no"); };
  int caught = 0;
  Loop.OnException = [&](const std::exception_ptr&) { ++caught; };
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
  EXPECT_EQ(caught, 2);
}

TEST_F(THandlers, OfALostPortMayDestroyTheConnection) {
  Connection->OnPortLost = [this](TModbusConnection&, const std::string& reason) {
    Connection.reset();
    EXPECT_EQ(reason, "hung up");
  };
  Send("03 00 00 00 01", Ending.get());
  Wire.HungUp = true;
  RunFor(5s);
  EXPECT_EQ(Connection, nullptr);
  EXPECT_THAT(Ending->Ended, ElementsAre(3));
}

TEST_F(THandlers, TransactionsEndOnceWhateverBecomesOfThem) {
  Ending->OnCustomTransactionComplete = [](TModbusClient&, TModbusTransaction& t, std::uint8_t) {
    if (t.ServerReply() == srNormalReply) throw Exception("no");
  };
  Loop.OnException = [](const std::exception_ptr&) {};
  Send("03 00 00 00 01", Ending.get());  // completed, its handler throws
  Send("05 00 00 FF 00", Ending.get());  // not answered
  Send("06 00 00 00 01", Ending.get());  // discarded on the line
  Send("10 00 00 00 01", Ending.get());  // discarded in the queue
  RunFor(1010ms + 100ms);
  EXPECT_THAT(Ending->Ended, ElementsAre(3, 5));
  Connection->DiscardPendingTransactions(Ending.get());
  EXPECT_THAT(Ending->Ended, ElementsAre(3, 5, 6, 0x10));
  RunFor(10s);
  EXPECT_EQ(Ending->Ended.size(), 4u);
}

TEST_F(THandlers, DestroyingAClientDiscardsWhatItQueuedWhereverItWas) {
  TModbusConnection elsewhere;
  Send("03 00 00 00 01", Ending.get());
  Ending->SetConnection(&elsewhere);
  EXPECT_EQ(Connection->CountPendingTransactions(nullptr), 1);
  Ending.reset();
  EXPECT_EQ(Connection->CountPendingTransactions(nullptr), 0);
  RunFor(1s);
  EXPECT_TRUE(Wire.Written.empty());
}

TEST_F(THandlers, AnEndStepMayQueueMore) {
  Ending->OnEnded = [this] {
    if (Ending->Ended.size() < 3) Send("04 00 00 00 01", Ending.get());
  };
  Send("03 00 00 00 01", Ending.get());
  RunFor(1s);
  EXPECT_THAT(Ending->Ended, ElementsAre(3, 4, 4));
}

TEST_F(THandlers, PendingTransactionsAreCountedByClient) {
  Send("03 00 00 00 01");
  Send("03 00 00 00 01", Ending.get());
  Send("04 00 00 00 01", Ending.get());
  EXPECT_EQ(Connection->CountPendingTransactions(nullptr), 3);
  EXPECT_EQ(Connection->CountPendingTransactions(Client.get()), 1);
  EXPECT_EQ(Connection->CountPendingTransactions(Ending.get()), 2);
  Connection->DiscardPendingTransactions(Ending.get());
  EXPECT_EQ(Connection->CountPendingTransactions(nullptr), 1);
  Await(1);
  EXPECT_EQ(Connection->CountPendingTransactions(nullptr), 0);
}

TEST_F(THandlers, ATransactionBeingCompletedIsNotPending) {
  int pending = -1;
  AtCompletion([&] { pending = Connection->CountPendingTransactions(nullptr); });
  Send("03 00 00 00 01");
  Await(1);
  EXPECT_EQ(pending, 0);
}

}  // namespace
}  // namespace OrvixModBus
