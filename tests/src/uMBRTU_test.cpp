#include "uMBRTU.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "platform/modbus/uRecordedQueue.h"
#include "tests/src/uTestLine.h"
#include "tests/src/uTestRegs.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum TServerReply;

TEST(TMBRTUConnection, ItsSettingsAreOneRecord) {
  TMBRTUConnection line;
  EXPECT_EQ(line.GetComSet(),
            (TComSet{"", 9600, TParityScheme::psEven, TDataBits::db8, TStopBits::sb1, 2, 1000}));
  const TComSet other{"/dev/ttyX", 115200,    TParityScheme::psOdd, TDataBits::db7, TStopBits::sb2,
                      9,           4294967295};
  line.SetComSet(other);
  EXPECT_EQ(line.GetComSet(), other);
  EXPECT_EQ(line.Port(), "/dev/ttyX");
  EXPECT_EQ(line.BaudRate(), 115200u);
  EXPECT_EQ(line.Parity(), TParityScheme::psOdd);
  EXPECT_EQ(line.DataBits(), TDataBits::db7);
  EXPECT_EQ(line.StopBits(), TStopBits::sb2);
  EXPECT_EQ(line.MaxRetries(), 9);
  EXPECT_EQ(line.ReceiveTimeout(), 4294967295u);
}

TEST(TMBRTUConnection, ARefusedSettingLeavesThoseAfterItUntouched) {
  TMBRTUConnection line;
  TComSet settings = line.GetComSet();
  settings.Name = "/dev/ttyX";
  settings.Speed = 0;
  settings.MaxRetries = 7;
  EXPECT_THROW(line.SetComSet(settings), EModLinkError);
  EXPECT_EQ(line.Port(), "/dev/ttyX");
  EXPECT_EQ(line.BaudRate(), 9600u);
  EXPECT_EQ(line.MaxRetries(), 2);
}

TEST(TMBRTUConnection, PublishesWhatTheLinePublishes) {
  EXPECT_EQ(TMBRTUConnection::StaticClass().Properties(),
            TModbusConnection::StaticClass().Properties());
}

class PagedEvents : public testing::Test {
 protected:
  PagedEvents() {
    fClient.SetConnection(fLine.line.get());
    fClient.OnDX517Read = [this](TModbusClient& sender, const TTransactionInfo& info,
                                 std::uint8_t page, std::uint16_t start, std::uint8_t count,
                                 const Bytes& values) {
      EXPECT_EQ(&sender, &fClient);
      EXPECT_EQ(info.UserData.Get(), &fTag);
      EXPECT_EQ(values.size(), count);
      fLog.push_back(std::string("read ") + KindName(info.Reply) + " " + std::to_string(page) +
                     " " + std::to_string(start) + ": " + Hex(values));
    };
    fClient.OnDX517Write = [this](TModbusClient&, const TTransactionInfo& info, std::uint8_t page,
                                  std::uint16_t start, std::uint8_t count) {
      fLog.push_back(std::string("write ") + KindName(info.Reply) + " " + std::to_string(page) +
                     " " + std::to_string(start) + ": " + std::to_string(count));
    };
    fClient.OnCustomTransactionComplete = [this](TModbusClient&, TModbusTransaction& transaction,
                                                 std::uint8_t command) {
      fLog.push_back("other $" + IntToHex(command, 2) + " " + KindName(transaction.ServerReply()));
    };
  }

  int Request(std::uint8_t func, const Bytes& data) {
    fClient.InitCustomTransaction(func, data, false, &fTag);
    return fLine.Queue().Count() - 1;
  }

  TTestLine fLine;
  TRTUClient fClient;
  TComponent fTag;
  std::vector<std::string> fLog;
};

TEST_F(PagedEvents, TellAReadWithItsPageStartAndBytes) {
  for (const std::uint8_t func : Bytes{0x43, 0x44}) {
    const int request = Request(func, {0x01, 0x02, 0x03, 0x04});
    fLine.Reply(request, {func, 0x01, 0x02, 0x03, 0x04, 0xA1, 0xA2, 0xA3, 0xA4});
    EXPECT_THAT(fLog, ElementsAre("read srNormalReply 1 515: A1 A2 A3 A4"));
    fLog.clear();
  }
}

TEST_F(PagedEvents, AReadOf16AnsweredWith10IsUnmatchedAndItsTailZero) {
  const int request = Request(0x43, {0x01, 0x02, 0x03, 0x10});
  fLine.Reply(request, {0x43, 0x01, 0x02, 0x03, 0x10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  EXPECT_THAT(fLog, ElementsAre("read srUnmatchedReply 1 515: "
                                "01 02 03 04 05 06 07 08 09 0A 00 00 00 00 00 00"));
}

TEST_F(PagedEvents, BytesAreTakenFromTheReadPositionOnward) {
  Request(0x44, {0, 0, 1, 2});
  fLine.Queue().Complete(0, srNormalReply, Bytes{1, 0x44, 0, 0, 1, 2, 0xA1, 0xA2, 0xA3}, 7);
  EXPECT_THAT(fLog, ElementsAre("read srNormalReply 0 1: A2 A3"));
}

TEST_F(PagedEvents, ReadOfAnyOtherKindIsAllZeros) {
  for (const TServerReply kind :
       {srNone, srInvalidFrame, srUnexpectedReply, srUnmatchedReply, srExceptionReply}) {
    fLog.clear();
    fLine.Fail(Request(0x43, {0x7F, 0xFF, 0xFF, 2}), kind);
    EXPECT_THAT(fLog, ElementsAre(std::string("read ") + KindName(kind) + " 127 65535: 00 00"));
  }
}

TEST_F(PagedEvents, TellAWriteWhoseCountIsEchoed) {
  for (const std::uint8_t func : Bytes{0x65, 0x66}) {
    fLog.clear();
    fLine.Reply(Request(func, {1, 2, 3, 2, 0xAA, 0xBB}), {func, 1, 2, 3, 2});
    EXPECT_THAT(fLog, ElementsAre("write srNormalReply 1 515: 2"));
  }
}

TEST_F(PagedEvents, AWriteOf16EchoedAs8IsUnmatched) {
  Bytes data{1, 2, 3, 16};
  data.resize(20);
  fLine.Reply(Request(0x66, data), {0x66, 1, 2, 3, 8});
  EXPECT_THAT(fLog, ElementsAre("write srUnmatchedReply 1 515: 16"));
}

TEST_F(PagedEvents, AWriteWithoutAWholeReplyKeepsItsKind) {
  fLine.Fail(Request(0x66, {1, 2, 3, 1, 9}), srNone);
  fLine.Reply(Request(0x66, {1, 2, 3, 1, 9}), {0x66, 1, 2});
  EXPECT_THAT(fLog, ElementsAre("write srNone 1 515: 1", "write srUnmatchedReply 1 515: 1"));
}

TEST_F(PagedEvents, WithoutAHandlerTheOrdinaryEventComes) {
  fClient.OnDX517Read = nullptr;
  fLine.Fail(Request(0x43, {0, 0, 0, 1}), srNone);
  fLine.Fail(Request(0x65, {0, 0, 0, 1, 1}), srNone);
  fClient.OnDX517Write = nullptr;
  fLine.Fail(Request(0x44, {0, 0, 0, 1}), srNone);
  fLine.Fail(Request(0x66, {0, 0, 0, 1, 1}), srNone);
  EXPECT_THAT(fLog, ElementsAre("other $43 srNone", "write srNone 0 0: 1", "other $44 srNone",
                                "other $66 srNone"));
}

TEST_F(PagedEvents, OtherFunctionsPass) {
  for (const std::uint8_t func : Bytes{0x03, 0x42, 0x45, 0x64, 0x67}) {
    fLog.clear();
    fLine.Fail(Request(func, {0, 0, 0, 1}), srNone);
    EXPECT_THAT(fLog, ElementsAre("other $" + IntToHex(func, 2) + " srNone"));
  }
}

TEST_F(PagedEvents, ARequestTooShortToBePagedIsAnErrorAndNothingElse) {
  Request(0x43, {0, 0});
  Request(0x03, {0, 0, 0, 1});
  EXPECT_THROW(fLine.Fail(0, srNone), EModLinkError);
  fLine.Fail(1, srNone);
  EXPECT_THAT(fLog, ElementsAre("other $03 srNone"));
}

TEST_F(PagedEvents, TheEndOfEveryTransactionIsTold) {
  int ended = 0;
  fClient.OnTransactionEnded = [&](TModbusTransaction& transaction) {
    EXPECT_EQ(transaction.UserData(), &fTag);
    ++ended;
  };
  Request(0x43, {0, 0, 0, 1});
  Request(0x03, {0, 0, 0, 1});
  Request(0x03, {0, 0, 0, 1});
  fLine.Fail(0, srNone);
  EXPECT_EQ(ended, 1);
  fClient.OnCustomTransactionComplete = [](TModbusClient&, TModbusTransaction&, std::uint8_t) {
    throw Exception("handler");
  };
  EXPECT_THROW(fLine.Fail(1, srNone), Exception);
  EXPECT_EQ(ended, 2);
  fLine.line->DiscardPendingTransactions(nullptr);
  EXPECT_EQ(ended, 3);
}

TEST_F(PagedEvents, AHandlerMayDestroyTheClient) {
  auto client = std::make_unique<TRTUClient>();
  client->SetConnection(fLine.line.get());
  client->OnDX517Read = [&](TModbusClient&, const TTransactionInfo&, std::uint8_t, std::uint16_t,
                            std::uint8_t, const Bytes&) { client.reset(); };
  client->InitCustomTransaction(0x43, Bytes{0, 0, 0, 1}, false, nullptr);
  fLine.Fail(0, srNone);
  EXPECT_EQ(client, nullptr);
}

TEST_F(PagedEvents, AreSetByTheTable) {
  ExpectDefaultsOfNew(TRTUClient(),
                      "Connection ServerAddress OnCustomTransactionComplete OnServerIDReport "
                      "OnFileRecordRead OnDX517Read OnDX517Write");
  SetEventByTable(fClient, "OnDX517Read", TDX517RegistersRead());
  SetEventByTable(fClient, "OnDX517Write", TDX517RegistersWrite());
  fLine.Fail(Request(0x43, {0, 0, 0, 1}), srNone);
  fLine.Fail(Request(0x66, {0, 0, 0, 1, 1}), srNone);
  EXPECT_THAT(fLog, ElementsAre("other $43 srNone", "other $66 srNone"));
}

}  // namespace
}  // namespace OrvixModBus
