#include "platform/modbus/uModbusClient.h"

#include <thread>

#include "LineFixture.h"
#include "platform/modbus/uRecordedQueue.h"
#include "platform/model/uProperty.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;

TEST(TModbusClient, BeginsWithServerOneAndNoConnection) {
  TModbusClient client;
  EXPECT_EQ(client.ServerAddress(), 1);
  EXPECT_EQ(client.Connection(), nullptr);
}

TEST(TModbusClient, RequestsWithoutAConnectionAreRefused) {
  TModbusClient client;
  TModbusFileRecordList list;
  list.Add(1, 1, 1);
  EXPECT_THROW(client.InitCustomTransaction(3, {}, false, nullptr), EModLinkError);
  EXPECT_THROW(client.ReportServerID(nullptr), EModLinkError);
  EXPECT_THROW(client.ReadFileRecord(list, nullptr), EModLinkError);
}

TEST(TModbusClient, RequestsThatDoNotFitAreRefused) {
  TModbusConnection connection;
  TModbusClient client;
  client.SetConnection(&connection);
  EXPECT_THROW(client.InitCustomTransaction(3, Bytes(260), false, nullptr), EModLinkError);
  EXPECT_EQ(connection.CountPendingTransactions(nullptr), 0);
  client.InitCustomTransaction(0x66, Bytes(259), false, nullptr);
  EXPECT_EQ(connection.CountPendingTransactions(nullptr), 1);
}

TEST(TModbusClient, TheConnectionBecomesNilWhenItGoes) {
  TModbusClient client;
  {
    TModbusConnection connection;
    client.SetConnection(&connection);
    EXPECT_EQ(client.Connection(), &connection);
  }
  EXPECT_EQ(client.Connection(), nullptr);
}

TEST(TModbusClient, UserDataThatIsDestroyedMeanwhileComesBackAsNil) {
  TModbusConnection connection;
  auto owned = std::make_unique<TRecordedQueue>();
  TRecordedQueue& queue = *owned;
  connection.SetQueue(std::move(owned));
  TModbusClient client;
  client.SetConnection(&connection);
  auto data = std::make_unique<TObject>();
  client.InitCustomTransaction(3, {}, false, data.get());
  data.reset();
  bool gone = false;
  client.OnCustomTransactionComplete = [&](TModbusClient&, TModbusTransaction& transaction,
                                           std::uint8_t) {
    EXPECT_EQ(transaction.UserData(), nullptr);
    gone = transaction.Info().UserData.Gone();
  };
  queue.Complete(0, srNone);
  EXPECT_TRUE(gone);
}

TEST(TModbusClient, PropertiesAreInItsTable) {
  TModbusConnection connection;
  TModbusClient client;
  const TClassInfo& info = client.ClassInfo();
  EXPECT_EQ(info.Name(), "TModbusClient");
  SetProperty(client, *info.Property("ServerAddress"), std::int64_t{247});
  SetProperty(client, *info.Property("Connection"), static_cast<TPersistent*>(&connection));
  EXPECT_EQ(client.ServerAddress(), 247);
  EXPECT_EQ(client.Connection(), &connection);
  for (const char* event :
       {"OnCustomTransactionComplete", "OnServerIDReport", "OnFileRecordRead"}) {
    ASSERT_NE(info.Property(event), nullptr) << event;
    EXPECT_EQ(info.Property(event)->Kind, TPropertyKind::pkEvent);
  }
}

TEST(TModbusClient, OtherThreadsAreRefused) {
  TModbusConnection connection;
  TModbusClient client;
  client.SetConnection(&connection);
  std::thread([&] {
    EXPECT_THROW(client.InitCustomTransaction(3, {}, false, nullptr), EThreadError);
    EXPECT_THROW(client.ReportServerID(nullptr), EThreadError);
    EXPECT_THROW(client.SetServerAddress(2), EThreadError);
    EXPECT_THROW(client.SetConnection(nullptr), EThreadError);
    EXPECT_THROW(connection.SetActive(true), EThreadError);
    EXPECT_THROW(connection.SetBaudRate(1200), EThreadError);
    EXPECT_THROW(connection.DiscardPendingTransactions(nullptr), EThreadError);
    EXPECT_THROW(connection.CountPendingTransactions(nullptr), EThreadError);
  }).join();
  EXPECT_EQ(connection.BaudRate(), 9600u);
}

class TIdentity : public TLineFixture {};

TEST_F(TIdentity, IsAllBytesAfterTheByteCount) {
  NoCharacters();
  std::vector<Bytes> reports;
  Client->OnServerIDReport = [&](TModbusClient&, const TTransactionInfo& info, int count,
                                 const Bytes& data) {
    EXPECT_EQ(info.Reply, srNormalReply);
    EXPECT_EQ(count, static_cast<int>(data.size()));
    reports.push_back(data);
  };
  Answer({Frame("01 11 03 05 FF 42"), Frame("01 11 00")}, 10ms);
  Client->ReportServerID(nullptr);
  Client->ReportServerID(nullptr);
  ASSERT_TRUE(Loop.RunUntil([&] { return reports.size() == 2; }, 1h));
  EXPECT_EQ(Wire.Written, Frame("01 11") + Frame("01 11"));
  EXPECT_EQ(reports[0], Hex("05 FF 42"));
  EXPECT_EQ(reports[1], Bytes());
}

}  // namespace
}  // namespace OrvixModBus
