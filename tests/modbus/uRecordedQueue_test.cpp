#include "platform/modbus/uRecordedQueue.h"

#include "LineFixture.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;
using testing::ElementsAre;

class TRecorded : public testing::Test {
 public:
  TRecorded() {
    auto queue = std::make_unique<TRecordedQueue>();
    Queue = queue.get();
    Queue->OnQueued = [this](TModbusTransaction& transaction) {
      Log.push_back("queued " + std::to_string(transaction.Command()));
    };
    Queue->OnDiscard = [this](const TModbusClient* client) {
      Log.push_back(client == nullptr ? "discard all" : "discard");
    };
    Connection.SetQueue(std::move(queue));
    Client.SetConnection(&Connection);
    Client.OnCustomTransactionComplete = [this](TModbusClient&, TModbusTransaction& transaction,
                                                std::uint8_t command) {
      Log.push_back("done " + std::to_string(command) + " " +
                    std::to_string(static_cast<int>(transaction.ServerReply())) + " at " +
                    std::to_string(transaction.Reply().GetPosition()));
    };
  }

  std::vector<std::string> Log;  // destroying the client is logged too
  TVirtualLoop Loop;
  TModbusConnection Connection;
  TModbusClient Client;
  TRecordedQueue* Queue = nullptr;
};

TEST_F(TRecorded, RecordsRequestsInOrderAndCompletesThemInAny) {
  Client.InitCustomTransaction(3, Hex("00 00 00 01"), false, nullptr);
  Client.InitCustomTransaction(4, {}, false, nullptr);
  EXPECT_EQ(Queue->Count(), 2);
  EXPECT_EQ(Connection.CountPendingTransactions(&Client), 2);
  Queue->Complete(1, srNone);
  Queue->Complete(0, srNormalReply, Hex("01 03 02 00 07"));
  EXPECT_THAT(Log, ElementsAre("queued 3", "queued 4", "done 4 0 at 0", "done 3 5 at 2"));
  EXPECT_EQ(Connection.CountPendingTransactions(nullptr), 0);
}

TEST_F(TRecorded, IsToldTheReadPosition) {
  Client.InitCustomTransaction(0x43, {}, false, nullptr);
  Client.InitCustomTransaction(0x43, {}, false, nullptr);
  const Bytes reply = Hex("01 43 01 00 00 02 AA BB");
  Queue->Complete(0, srNormalReply, reply);
  Queue->Complete(1, srNormalReply, reply, 4);
  EXPECT_THAT(Log, ElementsAre("queued 67", "queued 67", "done 67 5 at 6", "done 67 5 at 4"));
}

TEST_F(TRecorded, ShowsWhatWasQueued) {
  TObject mine, other;
  Client.SetServerAddress(17);
  Client.InitCustomTransaction(6, Hex("00 01 00 02"), false, &mine);
  TModbusTransaction& transaction = Queue->Transaction(0);
  const auto request = transaction.Request().Data();
  EXPECT_EQ(Bytes(request.begin(), request.end()), Hex("11 06 00 01 00 02"));
  EXPECT_EQ(transaction.UserData(), &mine);
  EXPECT_EQ(transaction.Kind(), TTransactionKind::tkCustom);
  EXPECT_EQ(transaction.Client(), &Client);
  transaction.SetUserData(&other);
  EXPECT_EQ(transaction.Info().UserData.Get(), &other);
}

TEST_F(TRecorded, WhatIsNotPendingIsRefused) {
  Client.InitCustomTransaction(3, {}, false, nullptr);
  Queue->Complete(0, srNone);
  for (const int index : {-1, 0, 1}) {
    EXPECT_THROW(Queue->Transaction(index), EModLinkError) << index;
    EXPECT_THROW(Queue->Complete(index, srNone), EModLinkError) << index;
  }
}

TEST_F(TRecorded, TellsDiscardsInTheirOrder) {
  Client.InitCustomTransaction(3, {}, false, nullptr);
  Connection.DiscardPendingTransactions(nullptr);
  Client.InitCustomTransaction(4, {}, false, nullptr);
  Connection.DiscardPendingTransactions(&Client);
  EXPECT_THAT(Log, ElementsAre("queued 3", "discard all", "queued 4", "discard"));
  EXPECT_THROW(Queue->Complete(0, srNone), EModLinkError);
  EXPECT_EQ(Queue->Count(), 2);
}

TEST_F(TRecorded, ActivityIsAPlainFlag) {
  EXPECT_FALSE(Connection.Active());
  Connection.SetActive(true);
  EXPECT_TRUE(Connection.Active());
  Client.InitCustomTransaction(3, {}, false, nullptr);
  Connection.SetActive(false);
  Loop.RunPending();
  EXPECT_THAT(Log, ElementsAre("queued 3"));
}

TEST_F(TRecorded, ReportsAnIdentity) {
  int count = -1;
  Bytes data;
  TServerReply kind{};
  Client.OnServerIDReport = [&](TModbusClient&, const TTransactionInfo& info, int n,
                                const Bytes& bytes) {
    count = n;
    data = bytes;
    kind = info.Reply;
  };
  Client.ReportServerID(nullptr);
  Queue->Complete(0, srNormalReply, Hex("05 FF 42"));
  EXPECT_EQ(count, 3);
  EXPECT_EQ(data, Hex("05 FF 42"));
  EXPECT_EQ(kind, srNormalReply);
  Client.ReportServerID(nullptr);
  Queue->Complete(1, srNone);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(data, Bytes());
  Client.ReportServerID(nullptr);
  EXPECT_THROW(Queue->Complete(2, srNormalReply, Bytes(256)), EModLinkError);
  Queue->Complete(2, srNormalReply, Bytes(255));
  EXPECT_EQ(count, 255);
}

TEST_F(TRecorded, HandsAFileListBackAsItWasQueued) {
  TModbusFileRecordList list;
  list.Add(5, 1, 7);
  std::vector<int> records;
  Client.OnFileRecordRead = [&](TModbusClient&, const TTransactionInfo&,
                                TModbusFileRecordList& read) {
    for (int i = 0; i < read.Count(); ++i) records.push_back(read.Records(i).Record);
  };
  Client.ReadFileRecord(list, nullptr);
  list.Clear();
  Queue->Complete(0, srUnmatchedReply);
  EXPECT_THAT(records, ElementsAre(1));
}

TEST_F(TRecorded, AHandlerMayDestroyTheQueueByItsOwnCompletion) {
  Client.OnCustomTransactionComplete = [&](TModbusClient&, TModbusTransaction& transaction,
                                           std::uint8_t) {
    Connection.SetQueue(nullptr);
    EXPECT_EQ(transaction.Command(), 3);  // still there
  };
  Client.InitCustomTransaction(3, {}, false, nullptr);
  Client.InitCustomTransaction(3, {}, false, nullptr);
  Queue->Complete(0, srNone);
  EXPECT_EQ(Connection.CountPendingTransactions(nullptr), 0);
}

TEST_F(TRecorded, TransactionsAreUsedAgain) {
  Client.InitCustomTransaction(3, {}, false, nullptr);
  const TModbusTransaction* first = &Queue->Transaction(0);
  Queue->Complete(0, srNormalReply, Hex("01 03 02 00 07"));
  Client.InitCustomTransaction(4, {}, false, nullptr);
  TModbusTransaction& second = Queue->Transaction(1);
  EXPECT_EQ(&second, first);
  EXPECT_EQ(second.ServerReply(), srNone);
  EXPECT_EQ(second.Reply().GetSize(), 0);
  EXPECT_NE(second.Number(), 1u);
}

}  // namespace
}  // namespace OrvixModBus
