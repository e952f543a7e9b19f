#include "uMBClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "platform/loop/uLoop.h"
#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"
#include "tests/src/uTestLine.h"
#include "tests/src/uTestRegs.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;
using enum TServerReply;

class Client : public testing::Test, public TTestClient {
 protected:
  Client() {
    client->OnWorkStart = [this](TObject& sender) {
      EXPECT_EQ(&sender, client.get());
      ++workStarts;
    };
  }

  // Hears everything that an answer raises, each with its own name.
  void HearAll() {
    client->OnNoneAnswer = NotingFault(log, "none");
    client->OnExeptionAnswer = NotingFault(log, "exeption");
    client->OnReadList.Add(Noting(log, "read list"));
    client->OnWriteList.Add(Noting(log, "write list"));
    client->OnRead = Noting(log, "read");
    client->OnWrite = Noting(log, "write");
    client->OnCastomTrunsaction.Add([this](TModbusClient& sender, TModbusTransaction& transaction,
                                           std::uint8_t command) {
      EXPECT_EQ(&sender, &client->RTUClient());
      log.push_back("custom $" + IntToHex(command, 2) + " " + KindName(transaction.ServerReply()));
    });
  }

  TComponent owner;
  int workStarts = 0;
  TTestLog log;
};

TEST_F(Client, ANewOneIsSerialWithoutALineAndListens) {
  const TMBClient fresh;
  ASSERT_NE(fresh.Connection(), nullptr);
  EXPECT_EQ(fresh.Connection()->Owner(), &fresh);
  EXPECT_EQ(fresh.Connection()->ConnectionType(), TConnectionType::mbRtu);
  EXPECT_EQ(fresh.Connection()->RTU(), nullptr);
  EXPECT_TRUE(fresh.MBCntrlOn);
  EXPECT_FALSE(fresh.DisableHandling());
  EXPECT_FALSE(fresh.Active());
  EXPECT_FALSE(fresh.IsEmul());
  EXPECT_EQ(fresh.GetAdres(), 1);
  EXPECT_EQ(fresh.CountPendingTransactions(), 0);
  EXPECT_EQ(fresh.OnReadList.Count() + fresh.OnWriteList.Count() + fresh.OnClearWaitQueue.Count() +
                fresh.OnReadFile.Count() + fresh.OnCastomTrunsaction.Count(),
            0);
}

TEST_F(Client, DefaultsOfItsPropertiesAreTheStateOfANewOne) {
  TMBClient fresh;
  fresh.SetConnection(nullptr);  // the one that it makes for itself has no name to be stored by
  ExpectDefaultsOfNew(fresh,
                      "Connection Adres OnRead OnWrite OnNoneAnswer OnExeptionAnswer "
                      "OnGetEmulData OnSetEmulData OnWorkStart");
}

TEST_F(Client, SettingByTheTableIsSettingByTheSetter) {
  TMBConnection other;
  SetByTable(*client, "Connection", &other);
  SetByTable(*client, "Adres", std::int64_t{247});
  EXPECT_EQ(client->Connection(), &other);
  EXPECT_EQ(client->GetAdres(), 247);
  EXPECT_THROW(SetByTable(*client, "Adres", std::int64_t{256}), EConvertError);
  SetByTable(*client, "Connection", connection.get());
  SetEventByTable(*client, "OnRead", Noting(log, "read"));
  SetEventByTable(*client, "OnNoneAnswer", NotingFault(log, "none"));
  client->Read(0x03, 1, 2, &owner);
  Fail(0, srNone);
  EXPECT_THAT(log, ElementsAre("none srNone $03 1", "read srNone $03 1"));
}

struct TReadCase {
  const char* name;
  std::uint8_t func;
  std::uint32_t start;
  std::uint16_t count;
  std::vector<std::string> requests;
};

TEST_F(Client, ReadsAreFramedByTheirFunction) {
  const TReadCase cases[] = {
      {"registers: half the bytes", 0x03, 100, 10, {"03 00 64 00 05"}},
      {"an odd byte is dropped", 0x04, 100, 11, {"04 00 64 00 05"}},
      {"one byte asks for nothing", 0x03, 100, 1, {"03 00 64 00 00"}},
      {"nothing", 0x03, 100, 0, {"03 00 64 00 00"}},
      {"the most", 0x03, 0xFFFF, 65535, {"03 FF FF 7F FF"}},
      {"bits are not halved", 0x01, 100, 10, {"01 00 64 00 0A"}},
      {"inputs", 0x02, 0x1234, 0x0102, {"02 12 34 01 02"}},
      {"only 16 bits of the start", 0x03, 0x12345678, 2, {"03 56 78 00 01"}},
      {"$21 has no quantity", 0x21, 0x1234, 8, {"21 12 34 00 00"}},
      {"identity", 0x11, 77, 5, {"11"}},
      {"paged", 0x43, 0x010203, 16, {"43 01 02 03 10"}},
      {"paged, the other code", 0x44, 0xFF0000, 255, {"44 FF 00 00 FF"}},
      {"paged, up to the last of the page", 0x43, 0x01FFF0, 15, {"43 01 FF F0 0F"}},
      {"paged, ending on the border", 0x43, 0x01FFF0, 16, {"43 01 FF F0 10", "43 01 FF F0 00"}},
      {"paged, past the border", 0x43, 0x01FFF0, 32, {"43 01 FF F0 10", "43 01 FF F0 10"}},
      {"paged, by one", 0x44, 0x01FFFF, 1, {"44 01 FF FF 01", "44 01 FF FF 00"}},
      {"paged, 128 over", 0x44, 0x00FFFF, 129, {"44 00 FF FF 01", "44 00 FF FF 80"}},
      {"paged, last page of all", 0x43, 0xFFFFFF, 2, {"43 FF FF FF 01", "43 FF FF FF 01"}},
      {"paged, end of the numbers", 0x43, 0xFFFFFFFF, 2, {"43 FF FF FF 01", "43 FF FF FF 01"}},
      {"paged, low byte of the count alone",
       0x43,
       0x01FFF0,
       0x0110,
       {"43 01 FF F0 10", "43 01 FF F0 00"}},
      {"paged, a count of 256 is none", 0x43, 0x01FFF0, 0x0100, {"43 01 FF F0 00"}},
      {"unknown", 0x05, 1, 2, {}},
      {"unknown, 0", 0x00, 1, 2, {}},
      {"unknown, 255", 0xFF, 1, 2, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    workStarts = 0;
    client->Read(c.func, c.start, c.count, &owner);
    EXPECT_EQ(TakeRequests(), c.requests);
    EXPECT_EQ(workStarts, 1) << "also when nothing is sent";
  }
}

TEST_F(Client, PayloadsOfTheCallerAreSentAsTheyAre) {
  for (const std::uint8_t func : Bytes{0x14, 0x18, 0x20, 0x24, 0x41}) {
    SCOPED_TRACE(+func);
    workStarts = 0;
    client->Read(func, 77, 5, &owner, Bytes{1, 2, 3});
    EXPECT_THAT(TakeRequests(), ElementsAre(IntToHex(func, 2) + " 01 02 03"));
    EXPECT_EQ(workStarts, 1);
    client->Read(func, 77, 5, &owner);
    EXPECT_THAT(TakeRequests(), IsEmpty());
    EXPECT_EQ(workStarts, 1) << "without a payload not even the start is told";
  }
}

struct TWriteCase {
  const char* name;
  std::uint8_t func;
  std::uint32_t start;
  Bytes value;
  std::vector<std::string> requests;
};

TEST_F(Client, WritesAreFramedByTheirFunction) {
  const TWriteCase cases[] = {
      {"coil", 0x05, 7, {0xFF, 0}, {"05 00 07 FF 00"}},
      {"two registers one by one", 0x06, 7, {1, 2, 3, 4}, {"06 00 07 01 02", "06 00 08 03 04"}},
      {"$6C", 0x6C, 0x1234, {1, 2}, {"6C 12 34 01 02"}},
      {"over the 16-bit border", 0x06, 0xFFFF, {1, 2, 3, 4}, {"06 FF FF 01 02", "06 00 00 03 04"}},
      {"over the 32-bit border",
       0x6C,
       0xFFFFFFFF,
       {1, 2, 3, 4},
       {"6C FF FF 01 02", "6C 00 00 03 04"}},
      {"odd", 0x06, 7, {1, 2, 3}, {}},
      {"one byte", 0x05, 7, {1}, {}},
      {"no byte", 0x6C, 7, {}, {}},
      {"many", 0x10, 0x0102, {1, 2, 3, 4}, {"10 01 02 00 02 04 01 02 03 04"}},
      {"many, odd", 0x10, 1, {1, 2, 3}, {"10 00 01 00 01 03 01 02 03"}},
      {"many, none", 0x10, 1, {}, {"10 00 01 00 00 00"}},
      {"paged", 0x65, 0x010203, {9, 8}, {"65 01 02 03 02 09 08"}},
      {"paged, the other code", 0x66, 0xFF000000, {9}, {"66 00 00 00 01 09"}},
      {"paged, none", 0x66, 5, {}, {"66 00 00 05 00"}},
      {"unknown", 0x03, 1, {1, 2}, {}},
      {"unknown, 0", 0x00, 1, {1, 2}, {}},
      {"unknown, 15", 0x0F, 1, {1, 2}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    workStarts = 0;
    client->Write(c.func, c.start, c.value, &owner);
    EXPECT_EQ(TakeRequests(), c.requests);
    EXPECT_EQ(workStarts, 1) << "also when nothing is sent";
  }
}

TEST_F(Client, APagedWriteHasAtMost128Bytes) {
  for (const std::uint8_t func : Bytes{0x65, 0x66}) {
    client->Write(func, 0x010203, Bytes(128, 7), &owner);
    ASSERT_THAT(requests, SizeIs(1));
    EXPECT_EQ(Queue().Transaction(Queue().Count() - 1).Request().GetSize(), 2 + 132);
    TakeRequests();
    workStarts = 0;
    EXPECT_THAT([&] { client->Write(func, 0, Bytes(129), &owner); },
                ThrowsMessage<Exception>(
                    "Максимально допустимое кол-во байт для записи по $66, $65 функции = 128"));
    EXPECT_THAT(requests, IsEmpty());
    EXPECT_EQ(workStarts, 0);
  }
}

TEST_F(Client, ABlockTooLongForTheLineIsVoid) {
  EXPECT_THROW(client->Write(0x10, 1, Bytes(256), &owner), EModLinkError);
  EXPECT_EQ(client->CountPendingTransactions(), 0);
  EXPECT_EQ(workStarts, 0);
}

TEST_F(Client, ACustomTransactionIsSentAsItIsWithoutAWorkStart) {
  client->InitCustomTransaction(0x2B, Bytes{0x0E, 1, 0}, &owner);
  client->InitCustomTransaction(0x07, {}, nullptr);
  EXPECT_THAT(TakeRequests(), ElementsAre("2B 0E 01 00", "07"));
  EXPECT_EQ(workStarts, 0);
  line->SetActive(false);
  client->InitCustomTransaction(0x07, {}, nullptr);
  EXPECT_THAT(requests, SizeIs(1)) << "whether the line is active is not asked";
}

TEST_F(Client, WithoutALineACustomTransactionIsRefusedAgainAndAgain) {
  connection->SetRTU(nullptr);
  const int infos = client->ComponentCount();
  for (int i = 0; i < 100; ++i) {
    EXPECT_THROW(client->InitCustomTransaction(0x07, {}, &owner), EModLinkError);
  }
  EXPECT_EQ(client->ComponentCount(), infos) << "and the client does not grow";
}

TEST_F(Client, AnInactiveLineTakesReadsAndWritesWithoutATrace) {
  HearAll();
  const auto expectNothing = [&](const char* situation) {
    SCOPED_TRACE(situation);
    client->Read(0x03, 1, 2, &owner);
    client->Write(0x06, 1, {1, 2}, &owner);
    EXPECT_FALSE(client->Active());
    TLoop::Current().RunPending();
    EXPECT_THAT(requests, IsEmpty());
    EXPECT_THAT(log, IsEmpty());
    EXPECT_EQ(workStarts, 0);
  };
  line->SetActive(false);
  expectNothing("inactive");
  connection->SetRTU(nullptr);
  expectNothing("without a line");
  client->SetConnection(nullptr);
  expectNothing("without a connection");
}

TEST_F(Client, OverTcpNothingIsSentAndOnlyTheReadBinds) {
  TMBTCPConnection tcp;
  connection->SetTCP(&tcp);
  connection->SetConnectionType(TConnectionType::mbTCP);
  client->Read(0x03, 1, 2, &owner);
  client->Write(0x06, 1, {1, 2}, &owner);
  client->InitCustomTransaction(0x07, {}, &owner);
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(workStarts, 0);
  EXPECT_EQ(client->CountPendingTransactions(), 0);
  EXPECT_TRUE(client->Active()) << "asks the serial line all the same";
  line->SetActive(false);
  EXPECT_FALSE(client->Active());
}

TEST_F(Client, OverTcpThePendingOnesOfTheLineDoNotCount) {
  client->Read(0x03, 1, 2, &owner);
  EXPECT_EQ(client->CountPendingTransactions(), 1);
  connection->SetConnectionType(TConnectionType::mbTCP);
  EXPECT_EQ(client->CountPendingTransactions(), 0);
}

TEST_F(Client, CountsItsOwnPendingTransactionsOnly) {
  TMBClient other;
  other.SetConnection(connection.get());
  client->Read(0x03, 1, 2, &owner);
  client->Read(0x03, 1, 2, &owner);
  other.Read(0x03, 1, 2, &owner);
  EXPECT_EQ(client->CountPendingTransactions(), 2);
  EXPECT_EQ(other.CountPendingTransactions(), 1);
  Fail(0, srNone);
  EXPECT_EQ(client->CountPendingTransactions(), 1);
}

TEST_F(Client, UnderEmulationPlainRequestsDoNothing) {
  Emulate();
  line->SetActive(false);
  EXPECT_TRUE(client->Active());
  EXPECT_TRUE(client->IsEmul());
  client->Read(0x03, 1, 2, &owner);
  client->Write(0x06, 1, {1, 2}, &owner);
  client->InitCustomTransaction(0x07, {}, &owner);
  TLoop::Current().RunPending();
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(workStarts, 0);
  EXPECT_EQ(client->CountPendingTransactions(), 0);
}

TEST_F(Client, EveryRequestGoesToTheLineThatItsConnectionNamesNow) {
  TTestLine other;
  client->Read(0x03, 1, 2, &owner);
  connection->SetRTU(other.line.get());
  client->Read(0x03, 2, 2, &owner);
  client->Write(0x06, 2, {1, 2}, &owner);
  client->InitCustomTransaction(0x07, {}, &owner);
  EXPECT_THAT(requests, ElementsAre("03 00 01 00 01"));
  EXPECT_THAT(other.requests, ElementsAre("03 00 02 00 01", "06 00 02 01 02", "07"));
}

TEST_F(Client, TheDevicesAddressStandsInFront) {
  client->SetAdres(17);
  client->Read(0x03, 1, 2, &owner);
  EXPECT_EQ(Queue().Transaction(0).ServerAddress(), 17);
  EXPECT_EQ(Queue().Transaction(0).Request().Data()[0], 17);
  EXPECT_EQ(client->RTUClient().ServerAddress(), 17);
}

TEST_F(Client, FreesAConnectionOfItsOwnWhenAnotherTakesItsPlace) {
  TMBClient fresh;
  TRef<TMBConnection> own(fresh.Connection());
  fresh.SetConnection(own.Get());
  EXPECT_TRUE(own) << "the same one again";
  fresh.SetConnection(connection.get());
  EXPECT_FALSE(own);
  TMBConnection other;
  fresh.SetConnection(&other);
  EXPECT_EQ(connection->RTU(), line.get()) << "one of others stays";
  EXPECT_EQ(fresh.Connection(), &other);
}

TEST_F(Client, BindsItsOwnEndToTheLineOfASerialConnectionOnly) {
  TMBClient fresh;
  TMBConnection emulated;
  emulated.SetRTU(line.get());
  emulated.SetConnectionType(TConnectionType::mbEmul);
  fresh.SetConnection(&emulated);
  EXPECT_EQ(fresh.RTUClient().Connection(), nullptr);
  fresh.SetConnection(connection.get());
  EXPECT_EQ(fresh.RTUClient().Connection(), line.get());
}

TEST_F(Client, IsAssignedItsConnectionOnly) {
  TMBClient copy;
  client->SetAdres(9);
  client->OnRead = Noting(log, "read");
  client->MBCntrlOn = false;
  copy.Assign(*client);
  EXPECT_EQ(copy.Connection(), connection.get());
  EXPECT_EQ(copy.GetAdres(), 1);
  EXPECT_FALSE(copy.OnRead);
  EXPECT_TRUE(copy.MBCntrlOn);
  EXPECT_THAT([&] { copy.Assign(*connection); },
              ThrowsMessage<EConvertError>("Cannot assign a TMBConnection to a TMBClient"));
}

struct TAnswerCase {
  const char* name;
  std::uint8_t func;
  Bytes reply;
  const char* read;   // the values told by OnRead, nil when it does not come
  const char* write;  // the same of OnWrite
};

TEST_F(Client, AGoodReplyIsDecodedByItsFunction) {
  const TAnswerCase cases[] = {
      {"bits", 0x01, {0x01, 2, 0xCD, 0x01}, "CD 01", nullptr},
      {"inputs", 0x02, {0x02, 1, 0xFF}, "FF", nullptr},
      {"registers", 0x03, {0x03, 4, 1, 2, 3, 4}, "01 02 03 04", nullptr},
      {"input registers", 0x04, {0x04, 2, 1, 2}, "01 02", nullptr},
      {"byte count 0", 0x03, {0x03, 0}, "", nullptr},
      {"more bytes than counted", 0x03, {0x03, 1, 1, 2}, "01", nullptr},
      {"fewer bytes than counted", 0x03, {0x03, 4, 1, 2}, "01 02", nullptr},
      {"no byte count", 0x03, {0x03}, "", nullptr},
      {"$21", 0x21, {0x21, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4}, "A0 A1 A2 A3", nullptr},
      {"$21, short", 0x21, {0x21, 0xA0}, "A0", nullptr},
      {"paged", 0x43, {0x43, 1, 2, 3, 2, 0xA0, 0xA1}, "A0 A1", nullptr},
      {"paged, the other code", 0x44, {0x44, 1, 2, 3, 1, 0xA0, 0xA1}, "A0", nullptr},
      {"paged, nothing", 0x44, {0x44, 1, 2, 3, 0}, "", nullptr},
      {"paged, short", 0x43, {0x43, 1, 2, 3, 9, 0xA0}, "A0", nullptr},
      {"coil", 0x05, {0x05, 0, 7, 0xFF, 0}, nullptr, "FF 00"},
      {"register", 0x06, {0x06, 0, 7, 1, 2}, nullptr, "01 02"},
      {"many", 0x10, {0x10, 0, 7, 0, 2}, nullptr, "00 02"},
      {"$6C, short", 0x6C, {0x6C, 0, 7, 1}, nullptr, "01"},
      {"paged write: the length alone", 0x65, {0x65, 1, 2, 3, 3}, nullptr, "00 00 00"},
      {"paged write, short", 0x66, {0x66, 1}, nullptr, ""},
  };
  client->OnRead = Noting(log, "read");
  client->OnWrite = Noting(log, "write");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    log.clear();
    client->InitCustomTransaction(c.func, Bytes{0, 7, 0, 1}, &owner);
    Reply(Queue().Count() - 1, c.reply);
    const std::string kind = " srNormalReply $" + IntToHex(c.func, 2) + " 0";
    const char* values = c.read != nullptr ? c.read : c.write;
    const std::string tail = *values == 0 ? "" : " " + std::string(values);
    EXPECT_THAT(log, ElementsAre((c.read != nullptr ? "read" : "write") + kind + tail));
  }
}

// The position moves by one when the low byte of the requested address is 1 or 2.
TEST_F(Client, AReplyTo21BeginsOneLaterForTheAddresses1And2) {
  client->OnRead = Noting(log, "read");
  for (const auto& [start, values] : {std::pair{0u, "A0 A1 A2 A3"},
                                      {1u, "A1 A2 A3 A4"},
                                      {2u, "A1 A2 A3 A4"},
                                      {3u, "A0 A1 A2 A3"},
                                      {0x0101u, "A1 A2 A3 A4"},
                                      {0x0100u, "A0 A1 A2 A3"}}) {
    log.clear();
    client->Read(0x21, start, 8, &owner);
    Reply(Queue().Count() - 1, {0x21, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4});
    EXPECT_THAT(log, ElementsAre("read srNormalReply $21 " + std::to_string(start) + " " + values));
  }
}

TEST_F(Client, APagedReplyWithoutItsCountIsAnErrorAndNoAnswer) {
  HearAll();
  for (const std::uint8_t func : Bytes{0x43, 0x44}) {
    client->Read(func, 1, 2, &owner);
    EXPECT_THAT(
        [&] {
          Reply(Queue().Count() - 1, {func, 1, 2, 3});
        },
        ThrowsMessage<Exception>("Error replay"));
  }
  EXPECT_THAT(log, IsEmpty());
  client->Read(0x03, 1, 2, &owner);
  Fail(Queue().Count() - 1, srNone);
  EXPECT_THAT(log, SizeIs(3)) << "the next one is answered";
}

TEST_F(Client, ABadAnswerIsToldFirstThenTheOrdinaryEventWithoutValues) {
  HearAll();
  for (const TServerReply kind :
       {srNone, srInvalidFrame, srUnexpectedReply, srUnmatchedReply, srExceptionReply}) {
    const std::string fault = kind == srNone ? "none " : "exeption ";
    for (const std::uint8_t func : Bytes{0x01, 0x02, 0x03, 0x04, 0x21, 0x43, 0x44}) {
      log.clear();
      client->Read(func, 70, 2, &owner);
      Queue().Complete(Queue().Count() - 1, kind, Bytes{1, 2, 3, 4, 5, 6, 7});
      const std::string what = std::string(KindName(kind)) + " $" + IntToHex(func, 2) + " 70";
      EXPECT_THAT(log, ElementsAre(fault + what, "read list " + what, "read " + what));
    }
    for (const std::uint8_t func : Bytes{0x05, 0x06, 0x10, 0x6C, 0x65, 0x66}) {
      log.clear();
      client->Write(func, 70, {1, 2}, &owner);
      Queue().Complete(Queue().Count() - 1, kind, Bytes{1, 2, 3, 4, 5, 6, 7});
      const std::string what = std::string(KindName(kind)) + " $" + IntToHex(func, 2) + " 70";
      EXPECT_THAT(log, ElementsAre(fault + what, "write list " + what, "write " + what));
    }
  }
}

TEST_F(Client, FunctionsThatItDoesNotDecodeGoToTheCustomListeners) {
  HearAll();
  for (const std::uint8_t func :
       Bytes{0x14, 0x18, 0x20, 0x24, 0x41, 0x00, 0x07, 0x2B, 0x67, 0xFF}) {
    log.clear();
    client->InitCustomTransaction(func, Bytes{1}, &owner);
    Reply(Queue().Count() - 1, {func, 1});
    EXPECT_THAT(log, ElementsAre("custom $" + IntToHex(func, 2) + " srNormalReply"));
  }
  log.clear();
  client->Read(0x20, 5, 1, &owner, Bytes{1});
  Fail(Queue().Count() - 1, srNone);
  EXPECT_THAT(log, ElementsAre("none srNone $20 5", "custom $20 srNone"));
}

TEST_F(Client, TheOwnerOfARequestComesBackWithItsAnswer) {
  TComponent other;
  std::vector<TObject*> owners;
  client->OnRead = [&](TMBClient& sender, TServerReply, std::uint8_t, std::uint32_t, const Bytes&,
                       TObject* o) {
    EXPECT_EQ(&sender, client.get());
    owners.push_back(o);
  };
  client->Read(0x03, 1, 2, &owner);
  client->Read(0x03, 1, 2, &other);
  client->Read(0x03, 1, 2, nullptr);
  Fail(1, srNone);
  Fail(0, srNone);
  Fail(2, srNone);
  EXPECT_THAT(owners, ElementsAre(&other, &owner, nullptr));
}

TEST_F(Client, AnOwnerThatIsGoneIsNobodyEvenIfItsMemoryIsUsedAgain) {
  TObject* told = &owner;
  client->OnRead = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&,
                       TObject* o) { told = o; };
  auto gone = std::make_unique<TComponent>();
  client->Read(0x03, 1, 2, gone.get());
  gone.reset();
  std::vector<std::unique_ptr<TComponent>> others;
  for (int i = 0; i < 64; ++i) others.push_back(std::make_unique<TComponent>());
  Fail(0, srNone);
  EXPECT_EQ(told, nullptr);
}

TEST_F(Client, AListenerMayDestroyTheOwnerForThoseAfterIt) {
  std::vector<bool> nobody;
  auto tag = std::make_unique<TComponent>();
  for (int i = 0; i < 2; ++i) {
    client->OnReadList.Add(
        [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&, TObject* o) {
          nobody.push_back(o == nullptr);
          tag.reset();
        });
  }
  client->Read(0x03, 1, 2, tag.get());
  Fail(0, srNone);
  EXPECT_THAT(nobody, ElementsAre(false, true));
}

TEST_F(Client, ListenersHearInOrderThenThePublishedEvent) {
  client->OnRead = Noting(log, "published");
  client->OnReadList.Add(Noting(log, "first"));
  client->OnReadList.Add(TMBEvent());
  client->OnReadList.Add(Noting(log, "second"));
  EXPECT_EQ(client->OnReadList.Count(), 3);
  client->Read(0x03, 1, 2, &owner);
  Fail(0, srNone);
  EXPECT_THAT(log,
              ElementsAre("first srNone $03 1", "second srNone $03 1", "published srNone $03 1"));
}

TEST_F(Client, MBCntrlOnSilencesTheListsAlone) {
  HearAll();
  client->MBCntrlOn = false;
  client->Read(0x03, 1, 2, &owner);
  client->Write(0x06, 1, {1, 2}, &owner);
  client->InitCustomTransaction(0x07, {}, &owner);
  for (int i = 0; i < 3; ++i) Fail(i, srNone);
  EXPECT_THAT(log, ElementsAre("none srNone $03 1", "read srNone $03 1", "none srNone $06 1",
                               "write srNone $06 1", "none srNone $07 0", "custom $07 srNone"));
}

TEST_F(Client, DisableHandlingSilencesEveryAnswer) {
  HearAll();
  client->Read(0x03, 1, 2, &owner);
  client->Write(0x06, 1, {1, 2}, &owner);
  client->InitCustomTransaction(0x07, {}, &owner);
  client->Read(0x11, 0, 0, &owner);
  client->Read(0x03, 5, 2, &owner);
  client->SetDisableHandling(true);
  for (int i = 0; i < 3; ++i) Fail(i, srExceptionReply);
  Queue().Complete(3, srNormalReply, Bytes{1});
  EXPECT_THAT(log, IsEmpty());
  client->SetDisableHandling(false);
  Fail(4, srNone);
  EXPECT_THAT(log, SizeIs(3));
}

TEST_F(Client, TransactionsOfOthersAreIgnored) {
  HearAll();
  client->Read(0x03, 1, 2, &owner);
  client->Read(0x03, 1, 2, &owner);
  Queue().Transaction(0).SetUserData(nullptr);
  Queue().Transaction(1).SetUserData(&owner);
  Fail(0, srNone);
  Reply(1, {0x03, 2, 0, 1});
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(Client, AnIdentityIsReadUnderItsCode) {
  HearAll();
  client->Read(0x11, 33, 0, &owner);
  Queue().Complete(0, srNormalReply, Bytes{'A', 'B'});
  EXPECT_THAT(
      log, ElementsAre("read list srNormalReply $11 33 41 42", "read srNormalReply $11 33 41 42"));
  log.clear();
  client->Read(0x11, 34, 0, &owner);
  Fail(1, srNone);
  EXPECT_THAT(log,
              ElementsAre("none srNone $11 34", "read list srNone $11 34", "read srNone $11 34"));
}

TEST_F(Client, AnIdentityReportWithoutItsInfoIsDropped) {
  HearAll();
  client->RTUClient().ReportServerID(&owner);
  client->RTUClient().ReportServerID(nullptr);
  Queue().Complete(0, srNormalReply, Bytes{1});
  Queue().Complete(1, srNone);
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(Client, InfosAreUsedAgainOnceTheirTransactionsHaveEnded) {
  const auto poll = [&](int times) {
    for (int i = 0; i < times; ++i) {
      const int first = Queue().Count();
      client->Read(0x03, 1, 2, &owner);
      client->Read(0x43, 0x01FFF0, 32, &owner);
      client->Write(0x06, 1, {1, 2, 3, 4}, &owner);
      client->Read(0x05, 1, 2, &owner);
      client->Read(0x11, 1, 2, &owner);
      for (int k = first; k < Queue().Count(); ++k) Fail(k, srNone);
    }
    return client->ComponentCount();
  };
  const int once = poll(1);
  EXPECT_EQ(poll(50), once);
}

TEST_F(Client, AnInfoIsNotLentWhileOneOfItsTransactionsIsUnderWay) {
  TComponent other;
  std::vector<TObject*> owners;
  client->OnWrite = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&,
                        TObject* o) { owners.push_back(o); };
  client->Write(0x06, 1, {1, 2, 3, 4}, &owner);
  Fail(0, srNone);
  client->Write(0x06, 1, {1, 2}, &other);
  Fail(1, srNone);
  Fail(2, srNone);
  EXPECT_THAT(owners, ElementsAre(&owner, &owner, &other));
}

// A hook of the queue may end a request's first transaction before its second is queued.
TEST_F(Client, AnInfoIsNotLentWhileItsRequestIsStillBeingQueued) {
  std::vector<TObject*> owners;
  client->OnWrite = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&,
                        TObject* o) { owners.push_back(o); };
  TComponent other;
  Queue().OnQueued = [&](TModbusTransaction&) {
    if (Queue().Count() != 1) return;
    Fail(0, srNone);
    client->Write(0x05, 9, {0xFF, 0}, &other);
  };
  client->Write(0x06, 1, {1, 2, 3, 4}, &owner);
  Fail(2, srNone);
  Fail(1, srNone);
  EXPECT_THAT(owners, ElementsAre(&owner, &owner, &other));
}

TEST_F(Client, ARequestWhoseQueueingThrowsIsVoidAsAWhole) {
  HearAll();
  Queue().OnQueued = [&](TModbusTransaction&) {
    if (Queue().Count() == 2) throw Exception("no room");
  };
  EXPECT_THAT(
      [&] {
        client->Write(0x06, 1, {1, 2, 3, 4}, &owner);
      },
      ThrowsMessage<Exception>("no room"));
  EXPECT_EQ(workStarts, 0);
  TComponent other;
  client->Write(0x06, 5, {1, 2}, &other);
  Fail(0, srNone);
  EXPECT_THROW(Queue().Transaction(1), EModLinkError) << "taken back";
  EXPECT_THAT(log, IsEmpty()) << "what was queued of it ends unnoticed";
  Fail(2, srNone);
  EXPECT_THAT(log, SizeIs(3));
}

TEST_F(Client, DiscardingEverythingHasAllLettersForgetWhatTheyWaitFor) {
  std::vector<TObject*> told;
  client->OnClearWaitQueue.Add([&](TObject& sender) { told.push_back(&sender); });
  HearAll();
  TMBClient other;
  other.SetConnection(connection.get());
  client->Read(0x03, 1, 2, &owner);
  other.Read(0x03, 1, 2, &owner);
  client->ClearWaitQueueAllLetters();
  EXPECT_EQ(discards, 1);
  EXPECT_EQ(client->CountPendingTransactions() + other.CountPendingTransactions(), 0);
  for (const auto type : {TConnectionType::mbTCP, TConnectionType::mbEmul}) {
    connection->SetConnectionType(type);
    client->ClearWaitQueueAllLetters();
  }
  EXPECT_EQ(discards, 1) << "only a serial line is emptied";
  connection->SetConnectionType(TConnectionType::mbRtu);
  connection->SetRTU(nullptr);
  client->ClearWaitQueueAllLetters();
  EXPECT_THAT(told, ElementsAre(client.get(), client.get(), client.get(), client.get()));
  client->SetConnection(nullptr);
  client->ClearWaitQueueAllLetters();
  EXPECT_THAT(told, SizeIs(4)) << "nothing without a connection";
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(Client, DiscardedTransactionsGiveTheirInfosBack) {
  client->Read(0x03, 1, 2, &owner);
  const int once = client->ComponentCount();
  for (int i = 0; i < 20; ++i) {
    client->ClearWaitQueueAllLetters();
    client->Read(0x03, 1, 2, &owner);
  }
  EXPECT_EQ(client->ComponentCount(), once);
}

TEST_F(Client, WhatOneHandlerThrowsKeepsNobodyFromHearing) {
  HearAll();
  client->OnNoneAnswer = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t) {
    log.push_back("none throws");
    throw Exception("first");
  };
  TMBClient& c = *client;
  c.OnReadList.Add([](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&,
                      TObject*) { throw Exception("second"); });
  c.OnReadList.Add(Noting(log, "last"));
  c.Read(0x03, 1, 2, &owner);
  c.Read(0x03, 2, 2, &owner);
  const int infos = c.ComponentCount();
  EXPECT_THAT([&] { Fail(0, srNone); }, ThrowsMessage<Exception>("first"));
  EXPECT_THAT(log, ElementsAre("none throws", "read list srNone $03 1", "last srNone $03 1",
                               "read srNone $03 1"));
  log.clear();
  EXPECT_THAT([&] { Reply(1, {0x03, 0}); }, ThrowsMessage<Exception>("second"));
  EXPECT_THAT(log, SizeIs(3));
  c.Read(0x03, 1, 2, &owner);
  EXPECT_EQ(c.ComponentCount(), infos) << "infos come back after a throw, too";
}

TEST_F(Client, WhatACustomListenerThrowsKeepsNobodyFromHearing) {
  client->OnCastomTrunsaction.Add(
      [](TModbusClient&, TModbusTransaction&, std::uint8_t) { throw Exception("custom"); });
  HearAll();
  client->InitCustomTransaction(0x07, {}, &owner);
  EXPECT_THAT([&] { Fail(0, srNone); }, ThrowsMessage<Exception>("custom"));
  EXPECT_THAT(log, ElementsAre("none srNone $07 0", "custom $07 srNone"));
}

TEST_F(Client, ARequestIsUnderWayThoughOnWorkStartThrows) {
  client->OnWorkStart = [](TObject&) { throw Exception("start"); };
  const std::uint64_t started = client->WorkStarts();
  EXPECT_THAT([&] { client->Read(0x03, 1, 2, &owner); }, ThrowsMessage<Exception>("start"));
  EXPECT_EQ(client->WorkStarts(), started + 1);
  client->OnRead = Noting(log, "read");
  Reply(0, {0x03, 2, 0, 5});
  EXPECT_THAT(log, ElementsAre("read srNormalReply $03 1 00 05"));
}

class THookedClient : public TMBClient {
 public:
  using TMBClient::TMBClient;
  std::function<void()> hook;

 protected:
  void OnCompleteTransaction() override {
    if (hook) hook();
  }
};

TEST_F(Client, TheHookOfDescendantsRunsOncePerHandledCompletion) {
  int hooked = 0;
  THookedClient descendant;
  descendant.SetConnection(connection.get());
  descendant.hook = [&] { ++hooked; };
  descendant.OnRead = Noting(log, "read");
  for (int i = 0; i < 4; ++i) descendant.Read(0x03, 1, 2, &owner);
  Fail(0, srNone);
  EXPECT_EQ(hooked, 1);
  Queue().Transaction(1).SetUserData(nullptr);
  Fail(1, srNone);
  EXPECT_EQ(hooked, 1) << "not without user data";
  Queue().Transaction(2).SetUserData(&owner);
  Fail(2, srNone);
  EXPECT_EQ(hooked, 2) << "but with that of others";
  descendant.hook = [] { throw Exception("hook"); };
  EXPECT_THROW(Fail(3, srNone), Exception);
  EXPECT_THAT(log, SizeIs(2)) << "the listeners hear of it all the same";
}

TEST_F(Client, AHookMayDestroyTheClient) {
  auto descendant = std::make_unique<THookedClient>();
  descendant->SetConnection(connection.get());
  descendant->hook = [&] { descendant.reset(); };
  descendant->OnRead = Noting(log, "read");
  descendant->Read(0x03, 1, 2, &owner);
  Fail(0, srNone);
  EXPECT_EQ(descendant, nullptr);
  EXPECT_THAT(log, IsEmpty());
}

// Each row makes one handler destroy the client; nothing that follows it may be raised.
TEST_F(Client, AnyHandlerMayDestroyTheClient) {
  using TMake = std::function<void(TMBClient&, std::function<void()>)>;
  const auto event = [](std::function<void()> act) {
    return TMBEvent([act](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&,
                          TObject*) { act(); });
  };
  const struct {
    const char* name;
    TMake make;
    int heard;
  } cases[] = {
      {"OnNoneAnswer",
       [](TMBClient& c, std::function<void()> act) {
         c.OnNoneAnswer = [act](TMBClient&, TServerReply, std::uint8_t, std::uint32_t) { act(); };
       },
       0},
      {"OnReadList", [&](TMBClient& c, std::function<void()> act) { c.OnReadList.Add(event(act)); },
       0},
      {"OnRead", [&](TMBClient& c, std::function<void()> act) { c.OnRead = event(act); }, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TTestClient bench;
    int heard = 0;
    if (std::string(c.name) != "OnRead") {
      bench.client->OnRead = event([&] { ADD_FAILURE() << "raised by a client that is gone"; });
    }
    c.make(*bench.client, [&] { bench.client.reset(); });
    bench.client->OnReadList.Add(event([&] { ++heard; }));
    bench.client->Read(0x03, 1, 2, &owner);
    bench.client->Read(0x03, 1, 2, &owner);
    bench.Fail(0, srNone);
    EXPECT_EQ(bench.client, nullptr);
    EXPECT_EQ(heard, c.heard);
    EXPECT_THROW(bench.Fail(1, srNone), EModLinkError) << "its other requests went with it";
  }
}

TEST_F(Client, AHandlerMayDestroyTheLineTheConnectionOrTheOwner) {
  auto tag = std::make_unique<TComponent>();
  TObject* told = tag.get();
  client->OnReadList.Add(
      [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&, TObject*) {
        tag.reset();
        line.reset();
        connection.reset();
      });
  client->OnRead = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&,
                       TObject* o) { told = o; };
  client->Read(0x03, 1, 2, tag.get());
  Fail(0, srNone);
  EXPECT_EQ(told, nullptr);
  EXPECT_EQ(client->Connection(), nullptr);
  EXPECT_EQ(client->RTUClient().Connection(), nullptr);
  client->Read(0x03, 1, 2, nullptr);
  EXPECT_FALSE(client->Active());
}

TEST_F(Client, ARequestMayBeMadeInsideAnAnswer) {
  client->OnRead = [&](TMBClient& c, TServerReply, std::uint8_t, std::uint32_t start,
                       const Bytes& values, TObject* o) {
    log.push_back(std::to_string(start) + ": " + Hex(values));
    if (start >= 3) return;
    c.Read(0x03, start + 1, 2, o);
    Reply(Queue().Count() - 1, {0x03, 2, 0, static_cast<std::uint8_t>(start + 10)});
    EXPECT_EQ(Hex(values), start == 1 ? "00 07" : "00 0B") << "its values are still its own";
  };
  client->Read(0x03, 1, 2, &owner);
  Reply(0, {0x03, 2, 0, 7});
  EXPECT_THAT(log, ElementsAre("1: 00 07", "2: 00 0B", "3: 00 0C"));
}

TEST_F(Client, RequestsFromAnotherThreadAreRefused) {
  const std::function<void()> requestsFromThere[] = {
      [&] { client->Read(0x03, 1, 2, &owner); },
      [&] {
        client->Write(0x06, 1, {1, 2}, &owner);
      },
      [&] { client->InitCustomTransaction(0x07, {}, &owner); },
      [&] { client->SetConnection(nullptr); },
      [&] { client->ClearWaitQueueAllLetters(); },
  };
  for (const auto& request : requestsFromThere) {
    EXPECT_THROW(OnAnotherThread(request), EThreadError);
  }
  TMBReg reg(nullptr);
  Emulate();
  EXPECT_THROW(OnAnotherThread([&] { client->ReadEmul(reg, &owner); }), EThreadError);
  EXPECT_THROW(OnAnotherThread([&] { client->WriteEmul(reg, {1}, &owner); }), EThreadError);
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(client->Connection(), connection.get());
  EXPECT_EQ(client->CountPendingTransactions(), 0);
}

class EmulatingClient : public Client {
 protected:
  EmulatingClient() {
    Emulate();
    HearAll();
    Describe(reg, {.Name = "Pump", .Adress = 70, .Write = 0x10});
  }
  static void Run() { TLoop::Current().RunPending(); }

  TMBReg reg{nullptr};
};

TEST_F(EmulatingClient, AReadIsFilledByTheApplicationAndAlwaysGood) {
  client->OnGetEmulData = [&](TMBReg& asked, Bytes& data) {
    EXPECT_EQ(&asked, &reg);
    data = {1, 2};
  };
  client->ReadEmul(reg, &owner);
  EXPECT_EQ(workStarts, 1);
  EXPECT_EQ(client->CountPendingTransactions(), 1);
  EXPECT_THAT(log, IsEmpty());
  Run();
  EXPECT_EQ(client->CountPendingTransactions(), 0);
  EXPECT_THAT(
      log, ElementsAre("read list srNormalReply $03 70 01 02", "read srNormalReply $03 70 01 02"));
}

TEST_F(EmulatingClient, TheApplicationIsAskedForSixFunctionsNotFor02) {
  int asked = 0;
  client->OnGetEmulData = [&](TMBReg&, Bytes& data) {
    ++asked;
    data = {9};
  };
  for (int func = 0; func < 256; ++func) {
    SCOPED_TRACE(func);
    asked = 0;
    log.clear();
    reg.SetMBFuncRead(static_cast<std::uint8_t>(func));
    client->OnEmulRead(reg, &owner);
    const bool known =
        func == 1 || func == 3 || func == 4 || func == 0x21 || func == 0x43 || func == 0x44;
    EXPECT_EQ(asked, known ? 1 : 0);
    const std::string what =
        "srNormalReply $" + IntToHex(static_cast<unsigned>(func), 2) + " 70" + (known ? " 09" : "");
    EXPECT_THAT(log, ElementsAre("read list " + what, "read " + what));
  }
}

TEST_F(EmulatingClient, WithoutAHandlerReadsAndWritesAreEmpty) {
  client->ReadEmul(reg, &owner);
  client->WriteEmul(reg, {1, 2}, &owner);
  Run();
  EXPECT_THAT(log, ElementsAre("read list srNormalReply $03 70", "read srNormalReply $03 70",
                               "write list srNormalReply $10 70", "write srNormalReply $10 70"));
}

TEST_F(EmulatingClient, AWriteIsHandedOverAndReportedAsTheHandlerLeavesIt) {
  client->OnSetEmulData = [&](TMBReg& copy, Bytes& data) {
    EXPECT_NE(&copy, &reg);
    EXPECT_EQ(copy.Name(), "Pump");
    log.push_back("set " + Hex(data));
    data.pop_back();
  };
  client->WriteEmul(reg, {1, 2}, &owner);
  EXPECT_EQ(workStarts, 1);
  Run();
  EXPECT_THAT(log, ElementsAre("set 01 02", "write list srNormalReply $10 70 01",
                               "write srNormalReply $10 70 01"));
}

TEST_F(EmulatingClient, AnEmptyWriteStartsWorkAndNothingElse) {
  client->WriteEmul(reg, {}, &owner);
  Run();
  EXPECT_EQ(workStarts, 1);
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(EmulatingClient, DisableHandlingDoesNotConcernIt) {
  client->SetDisableHandling(true);
  client->ReadEmul(reg, &owner);
  Run();
  EXPECT_THAT(log, SizeIs(2));
}

TEST_F(EmulatingClient, TheKindOfConnectionIsNotAskedFor) {
  connection->SetConnectionType(TConnectionType::mbRtu);
  client->ReadEmul(reg, &owner);
  Run();
  EXPECT_THAT(log, SizeIs(2));
}

TEST_F(EmulatingClient, WhatItsHandlersThrowKeepsNobodyFromHearing) {
  client->OnGetEmulData = [](TMBReg&, Bytes&) { throw Exception("get"); };
  client->OnSetEmulData = [](TMBReg&, Bytes&) { throw Exception("set"); };
  client->ReadEmul(reg, &owner);
  EXPECT_THAT([] { Run(); }, ThrowsMessage<Exception>("get"));
  client->WriteEmul(reg, {1}, &owner);
  EXPECT_THAT([] { Run(); }, ThrowsMessage<Exception>("set"));
  EXPECT_THAT(log, SizeIs(4));
}

TEST_F(EmulatingClient, ItsHandlersMayDestroyTheClient) {
  client->OnGetEmulData = [&](TMBReg&, Bytes&) { client.reset(); };
  client->ReadEmul(reg, &owner);
  Run();
  client = std::make_unique<TMBClient>();
  client->OnSetEmulData = [&](TMBReg&, Bytes& data) {
    client.reset();
    data = {1};
  };
  client->WriteEmul(reg, {1}, &owner);
  Run();
  EXPECT_EQ(client, nullptr);
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(EmulatingClient, AHandlerMayDestroyTheRegisterThatItIsAskedFor) {
  auto gone = std::make_unique<TMBReg>(nullptr);
  Describe(*gone, {.Name = "Gone", .Adress = 5});
  client->OnGetEmulData = [&](TMBReg&, Bytes& data) {
    gone.reset();
    data = {1};
  };
  client->ReadEmul(*gone, &owner);
  Run();
  EXPECT_THAT(log, ElementsAre("read list srNormalReply $03 5 01", "read srNormalReply $03 5 01"));
}

}  // namespace
}  // namespace OrvixModBus
