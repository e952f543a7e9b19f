#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"
#include "tests/src/uTestLetter.h"
#include "uMBClient.h"
#include "uMBTypeInfo.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;
using enum TServerReply;

// "file 5, records 0-14 of 7"; every record is looked at.
std::string Told(const TModbusFileRecordList& list) {
  if (list.Count() == 0) return "no records";
  const TModbusFileRecord& first = list.Records(0);
  for (int i = 0; i < list.Count(); ++i) {
    const TModbusFileRecord& record = list.Records(i);
    EXPECT_EQ(record.File, first.File);
    EXPECT_EQ(record.Record, first.Record + i);
    EXPECT_EQ(record.Length, first.Length);
  }
  return "file " + std::to_string(first.File) + ", records " + std::to_string(first.Record) + "-" +
         std::to_string(list.Records(list.Count() - 1).Record) + " of " +
         std::to_string(first.Length);
}

class ClientFiles : public testing::Test, public TTestLetter {
 protected:
  ClientFiles() {
    Queue().OnQueued = [this](TModbusTransaction& transaction) {
      const bool file = transaction.Kind() == TTransactionKind::tkFileRecord;
      requests.push_back(file ? Told(transaction.FileRecords())
                              : Hex(transaction.Request().Data().subspan(1)));
    };
    client->OnWorkStart = [this](TObject&) { ++workStarts; };
    list.Add(4, 1, 2);
    list.Add(4, 2, 2);
  }
  ~ClientFiles() override { client.reset(); }  // its end is noted, too, while there is a log

  // The fields of a structure, of which the last one has this offset and size.
  std::vector<TMBRegTypeStructure*> Fields(std::int16_t offset, std::uint16_t size) {
    fields.Clear();
    AddField(100, 77);
    AddField(offset, size);
    return {fields.Items(0), fields.Items(1)};
  }
  void AddField(std::int16_t offset, std::uint16_t size) {
    TMBRegTypeStructure& field = *fields.Add();
    field.SetOffset(offset);
    field.SetSize(size);
  }

  // Notes everything that a file reply raises.
  void HearReply() {
    Queue().OnDiscard = [this](const TModbusClient* whose) {
      log.push_back(whose == nullptr ? "discard all" : "discard some");
    };
    client->OnClearWaitQueue.Add([this](TObject& sender) {
      EXPECT_EQ(&sender, client.get());
      log.push_back("clear");
    });
    client->OnNoneAnswer = NotingFault(log, "none");
    client->OnExeptionAnswer = NotingFault(log, "exeption");
    client->OnReadList.Add(Noting(log, "read list"));
    client->OnRead = Noting(log, "read");
    Listen("file");
  }
  void Listen(const std::string& name, std::function<void()> act = {}) {
    client->OnReadFile.Add(
        [this, name, act](TMBClient& sender, TServerReply kind, TModbusFileRecordList&, TObject*) {
          EXPECT_EQ(&sender, client.get());
          log.push_back(name + " " + KindName(kind));
          if (act) act();
        });
  }

  TMBTypeInfo types;
  TMBRegTypeStructurs& fields = types.TypeStructurs();
  TModbusFileRecordList list;
  TComponent owner;
  int workStarts = 0;
};

TEST_F(ClientFiles, TheLastFieldTellsTheLengthOfARecord) {
  const struct {
    const char* name;
    std::int16_t offset;
    std::uint16_t size;
    std::string first;
  } rows[] = {
      {"14 bytes, 15 records", 10, 4, "file 5, records 0-14 of 7"},
      {"an odd byte takes a register", 10, 3, "file 5, records 0-15 of 7"},
      {"one byte", 0, 1, "file 5, records 0-82 of 1"},
      {"none", 0, 0, "file 5, records 0-124 of 0"},
      {"the sum wraps at 256", 200, 60, "file 5, records 0-40 of 2"},
      {"the sum wraps to none", 250, 6, "file 5, records 0-124 of 0"},
      {"low bytes alone", 0x0110, 0x0102, "file 5, records 0-11 of 9"},
      {"low byte of a negative offset", -2, 4, "file 5, records 0-61 of 1"},
      {"two to a request", 120, 3, "file 5, records 0-1 of 62"},
      {"one to a request", 120, 4, "file 5, records 0-0 of 62"},
      {"the longest", 200, 49, "file 5, records 0-0 of 125"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    client->ReadFileByStructur(5, 0, 300, Fields(row.offset, row.size), &owner);
    EXPECT_EQ(TakeRequests().front(), row.first);
  }
}

TEST_F(ClientFiles, ARecordThatFitsNoRequestIsADivisionByZero) {
  for (const auto& [offset, size] : {std::pair{200, 50}, {250, 5}, {-1, 0}, {-6, 256}}) {
    SCOPED_TRACE(offset);
    const auto ar = Fields(static_cast<std::int16_t>(offset), static_cast<std::uint16_t>(size));
    EXPECT_THAT([&] { client->ReadFileByStructur(5, 0, 1, ar, &owner); },
                ThrowsMessage<EDivByZero>("Division by zero"));
  }
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(workStarts, 0);
}

TEST_F(ClientFiles, WithoutFieldsTheLengthIsNotKnown) {
  const auto read = [&] { client->ReadFileByStructur(5, 0, 30, {}, &owner); };
  const char* const message =
      "The list of structure fields is empty: the record length is not known";
  EXPECT_THAT(read, ThrowsMessage<Exception>(message));
  TMBRegTypeStructure* const none[] = {nullptr};
  EXPECT_THAT([&] { client->ReadFileByStructur(5, 0, 30, none, &owner); },
              ThrowsMessage<Exception>(message));
  Emulate();
  EXPECT_THAT(read, ThrowsMessage<Exception>(message));
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(workStarts, 0);
}

// Fields of 14 bytes, 15 records to a group.
TEST_F(ClientFiles, TheFirstIndexCountsGroupsAndEmptyGroupsAreNotSent) {
  const struct {
    std::uint16_t first, need;
    std::vector<std::string> requests;
  } rows[] = {
      {0, 30, {"file 5, records 0-14 of 7", "file 5, records 15-29 of 7"}},
      {0,
       31,
       {"file 5, records 0-14 of 7", "file 5, records 15-29 of 7", "file 5, records 30-30 of 7"}},
      {1, 30, {"file 5, records 15-29 of 7"}},
      {2, 30, {}},
      {2, 31, {"file 5, records 30-30 of 7"}},
      {3, 31, {}},
      {0, 0, {}},
      {1, 0, {}},
      {0, 1, {"file 5, records 0-0 of 7"}},
      {0, 14, {"file 5, records 0-13 of 7"}},
      {0, 15, {"file 5, records 0-14 of 7"}},
      {1, 15, {}},
      {1, 16, {"file 5, records 15-15 of 7"}},
      {4368, 65535, {"file 5, records 65520-65534 of 7"}},
      {4369, 65535, {}},
      {65535, 65535, {}},
  };
  const auto ar = Fields(10, 4);
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "first " << row.first << ", need " << row.need);
    workStarts = 0;
    client->ReadFileByStructur(5, row.first, row.need, ar, &owner);
    EXPECT_EQ(TakeRequests(), row.requests);
    EXPECT_EQ(workStarts, static_cast<int>(row.requests.size()));
  }
}

TEST_F(ClientFiles, TheWholeFileIsReadRecordByRecord) {
  client->ReadFileByStructur(0xFFFF, 0, 65535, Fields(10, 4), &owner);
  ASSERT_THAT(requests, SizeIs(4369));
  EXPECT_EQ(requests.back(), "file 65535, records 65520-65534 of 7");
}

TEST_F(ClientFiles, TheListIsCopiedWhenItIsQueued) {
  client->ReadFileRecord(list, &owner);
  list.Clear();
  list.Add(9, 9, 9);
  EXPECT_EQ(Told(Queue().Transaction(0).FileRecords()), "file 4, records 1-2 of 2");
  client->ReadFileByStructur(5, 0, 31, Fields(10, 4), &owner);
  EXPECT_EQ(Told(Queue().Transaction(1).FileRecords()), "file 5, records 0-14 of 7");
  EXPECT_EQ(Told(Queue().Transaction(2).FileRecords()), "file 5, records 15-29 of 7");
  EXPECT_EQ(Told(Queue().Transaction(3).FileRecords()), "file 5, records 30-30 of 7");
}

TEST_F(ClientFiles, AnEmptyListIsSentAsItIs) {
  client->ReadFileRecord({}, &owner);
  EXPECT_THAT(requests, ElementsAre("no records"));
  EXPECT_EQ(workStarts, 1);
}

TEST_F(ClientFiles, TheOwnerItselfIsTheUserData) {
  client->ReadFileRecord(list, &owner);
  client->ReadFileByStructur(5, 0, 1, Fields(10, 4), letter.get());
  client->ReadFileRecord(list, nullptr);
  EXPECT_EQ(Queue().Transaction(0).UserData(), &owner);
  EXPECT_EQ(Queue().Transaction(1).UserData(), letter.get());
  EXPECT_EQ(Queue().Transaction(2).UserData(), nullptr);
}

TEST_F(ClientFiles, AnInactiveLineTakesThemWithoutATrace) {
  const auto expectNothing = [&](const char* situation) {
    SCOPED_TRACE(situation);
    client->ReadFileRecord(list, &owner);
    client->ReadFileByStructur(5, 0, 30, Fields(10, 4), &owner);
    EXPECT_THAT(requests, IsEmpty());
    EXPECT_EQ(workStarts, 0);
  };
  line->SetActive(false);
  expectNothing("inactive");
  connection->SetConnectionType(TConnectionType::mbTCP);
  expectNothing("inactive, mbTCP");
  connection->SetRTU(nullptr);
  expectNothing("without a line");
  client->SetConnection(nullptr);
  expectNothing("without a connection");
}

TEST_F(ClientFiles, OverTcpTheyGoToTheSerialLine) {
  connection->SetConnectionType(TConnectionType::mbTCP);
  client->ReadFileRecord(list, &owner);
  EXPECT_THAT(requests, ElementsAre("file 4, records 1-2 of 2"));
  EXPECT_EQ(workStarts, 1);
}

TEST_F(ClientFiles, UnderEmulationOnlyTheStartIsTold) {
  Emulate();
  line->SetActive(false);
  client->ReadFileRecord(list, &owner);
  EXPECT_EQ(workStarts, 1);
  client->ReadFileByStructur(5, 0, 30, Fields(10, 4), &owner);
  EXPECT_EQ(workStarts, 3) << "one for each group that is not empty";
  EXPECT_THAT(requests, IsEmpty());
}

TEST_F(ClientFiles, AGoodReplyHandsTheRecordsToTheListenersInOrder) {
  HearReply();
  Bytes data;
  TObject* told = nullptr;
  client->OnReadFile.Add({});
  client->OnReadFile.Add(
      [&](TMBClient&, TServerReply, TModbusFileRecordList& records, TObject* letterOwner) {
        log.push_back("second: " + Told(records));
        data = records.Records(1).Data;
        told = letterOwner;
      });
  client->ReadFileRecord(list, &owner);
  Queue().Transaction(0).FileRecords().Records(1).Data = {1, 2, 3, 4};
  Queue().Complete(0, srNormalReply);
  EXPECT_THAT(log, ElementsAre("file srNormalReply", "second: file 4, records 1-2 of 2"));
  EXPECT_EQ(data, (Bytes{1, 2, 3, 4}));
  EXPECT_EQ(told, &owner);
}

TEST_F(ClientFiles, MBCntrlOnDoesNotConcernFiles) {
  HearReply();
  client->MBCntrlOn = false;
  client->ReadFileRecord(list, &owner);
  Queue().Complete(0, srNormalReply);
  EXPECT_THAT(log, ElementsAre("file srNormalReply"));
}

TEST_F(ClientFiles, ABadReplyDiscardsWhatIsQueuedThenIsToldThenHeard) {
  HearReply();
  for (const TServerReply kind :
       {srNone, srInvalidFrame, srUnexpectedReply, srUnmatchedReply, srExceptionReply}) {
    SCOPED_TRACE(KindName(kind));
    log.clear();
    client->ReadFileRecord(list, &owner);
    Fail(Queue().Count() - 1, kind);
    EXPECT_THAT(log, ElementsAre("discard all", "clear",
                                 std::string(kind == srNone ? "none " : "exeption ") +
                                     KindName(kind) + " $14 0",
                                 std::string("file ") + KindName(kind)));
  }
}

TEST_F(ClientFiles, ABadReplyTakesTheRequestsOfAllClientsAndTheLettersWaiting) {
  Add({.Name = "Level", .Adress = 70});
  TMBClient other;
  other.SetConnection(connection.get());
  int waiting = -1;
  client->OnExeptionAnswer = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t) {
    waiting = static_cast<int>(letter->WaitQueue(0x03));
    EXPECT_EQ(client->CountPendingTransactions() + other.CountPendingTransactions(), 0);
  };
  HearAll();
  client->ReadFileRecord(list, letter.get());
  letter->ReadAllRegs();
  client->ReadFileRecord(list, &owner);
  other.Read(0x03, 1, 2, &owner);
  ASSERT_EQ(letter->WaitQueue(0x03), 1u);
  Fail(0, srExceptionReply);
  EXPECT_EQ(waiting, 0);
  EXPECT_EQ(discards, 1);
  EXPECT_TRUE(letter->ChekAllRegsResive());
  EXPECT_THAT(log, IsEmpty()) << "the letter itself tells nothing";
}

TEST_F(ClientFiles, AGoodReplyLeavesTheQueueAlone) {
  Add({.Name = "Level", .Adress = 70});
  client->ReadFileRecord(list, &owner);
  letter->ReadAllRegs();
  Queue().Complete(0, srNormalReply);
  EXPECT_EQ(discards, 0);
  EXPECT_EQ(client->CountPendingTransactions(), 1);
  EXPECT_EQ(letter->WaitQueue(0x03), 1u);
}

TEST_F(ClientFiles, ABadReplyOnAConnectionThatIsNoLongerSerialClearsTheLettersAlone) {
  for (const auto type : {TConnectionType::mbTCP, TConnectionType::mbEmul}) {
    TTestClient bench;
    TTestLog heard;
    bench.client->OnClearWaitQueue.Add([&](TObject&) { heard.push_back("clear"); });
    bench.client->OnNoneAnswer = NotingFault(heard, "none");
    bench.client->ReadFileRecord(list, &owner);
    bench.connection->SetConnectionType(type);
    bench.Fail(0, srNone);
    EXPECT_EQ(bench.discards, 0);
    EXPECT_THAT(heard, ElementsAre("clear", "none srNone $14 0"));
  }
}

TEST_F(ClientFiles, DisableHandlingSilencesTheReplyAndDiscardsNothing) {
  HearReply();
  client->ReadFileRecord(list, &owner);
  client->ReadFileRecord(list, &owner);
  client->ReadFileRecord(list, &owner);
  client->SetDisableHandling(true);
  Fail(0, srNone);
  Queue().Complete(1, srNormalReply);
  EXPECT_THAT(log, IsEmpty());
  client->SetDisableHandling(false);
  Queue().Complete(2, srNormalReply);
  EXPECT_THAT(log, ElementsAre("file srNormalReply"));
}

TEST_F(ClientFiles, AnOwnerThatIsGoneIsNobody) {
  std::vector<TObject*> told;
  client->OnReadFile.Add(
      [&](TMBClient&, TServerReply, TModbusFileRecordList&, TObject* o) { told.push_back(o); });
  client->ReadFileRecord(list, letter.get());
  client->ReadFileRecord(list, letter.get());
  letter.reset();
  Queue().Complete(0, srNormalReply);
  Fail(1, srNone);
  EXPECT_THAT(told, ElementsAre(nullptr, nullptr));
}

TEST_F(ClientFiles, AListenerMayDestroyTheOwnerForThoseAfterIt) {
  std::vector<bool> nobody;
  for (int i = 0; i < 2; ++i) {
    client->OnReadFile.Add([&](TMBClient&, TServerReply, TModbusFileRecordList&, TObject* o) {
      nobody.push_back(o == nullptr);
      letter.reset();
    });
  }
  client->ReadFileRecord(list, letter.get());
  Queue().Complete(0, srNormalReply);
  EXPECT_THAT(nobody, ElementsAre(false, true));
}

TEST_F(ClientFiles, AHandlerMayDestroyTheOwnerBeforeTheListenersHear) {
  TObject* told = &owner;
  client->OnReadFile.Add(
      [&](TMBClient&, TServerReply, TModbusFileRecordList&, TObject* o) { told = o; });
  TRef<TObject> tag(letter.get());
  client->OnClearWaitQueue.Add([&](TObject&) { letter.reset(); });
  client->ReadFileRecord(list, letter.get());
  Fail(0, srNone);
  EXPECT_FALSE(tag);
  EXPECT_EQ(told, nullptr);
}

// Each row makes one handler of a bad reply destroy the client; nothing that follows is raised.
TEST_F(ClientFiles, AnyHandlerOfAReplyMayDestroyTheClient) {
  const struct {
    const char* name;
    std::function<void(TTestClient&)> make;
    int heard;
  } rows[] = {
      {"OnClearWaitQueue",
       [](TTestClient& bench) {
         bench.client->OnClearWaitQueue.Add([&](TObject&) { bench.client.reset(); });
       },
       0},
      {"OnNoneAnswer",
       [](TTestClient& bench) {
         bench.client->OnNoneAnswer = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t) {
           bench.client.reset();
         };
       },
       0},
      {"OnReadFile", [](TTestClient&) {}, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    TTestClient bench;
    int heard = 0;
    row.make(bench);
    const auto listener = [&](TMBClient&, TServerReply, TModbusFileRecordList&, TObject*) {
      ++heard;
      bench.client.reset();
    };
    bench.client->OnReadFile.Add(listener);
    bench.client->OnReadFile.Add(listener);
    bench.client->ReadFileRecord(list, &owner);
    bench.client->ReadFileRecord(list, &owner);
    bench.Fail(0, srNone);
    EXPECT_EQ(bench.client, nullptr);
    EXPECT_EQ(heard, row.heard);
    EXPECT_EQ(bench.line->CountPendingTransactions(nullptr), 0) << "its requests went with it";
  }
}

TEST_F(ClientFiles, AGoodReplysListenerMayDestroyTheClient) {
  Listen("file", [&] { client.reset(); });
  client->OnReadFile.Add([](TMBClient&, TServerReply, TModbusFileRecordList&, TObject*) {
    ADD_FAILURE() << "raised by a client that is gone";
  });
  client->ReadFileRecord(list, letter.get());
  Queue().Complete(0, srNormalReply);
  EXPECT_EQ(client, nullptr);
  EXPECT_EQ(letter->Client(), nullptr);
}

TEST_F(ClientFiles, AHandlerMayDestroyTheLineAndTheConnection) {
  HearReply();
  client->OnClearWaitQueue.Add([&](TObject&) {
    line.reset();
    connection.reset();
  });
  client->ReadFileRecord(list, &owner);
  Fail(0, srNone);
  EXPECT_THAT(log, ElementsAre("discard all", "clear", "none srNone $14 0", "file srNone"));
}

TEST_F(ClientFiles, WhatOneHandlerThrowsKeepsNobodyFromHearing) {
  client->OnClearWaitQueue.Add([](TObject&) { throw Exception("clearing"); });
  HearReply();
  Listen("throwing", [] { throw Exception("listening"); });
  Listen("last");
  client->ReadFileRecord(list, &owner);
  EXPECT_THAT([&] { Fail(0, srNone); }, ThrowsMessage<Exception>("clearing"));
  EXPECT_THAT(log, ElementsAre("discard all", "clear", "none srNone $14 0", "file srNone",
                               "throwing srNone", "last srNone"));
  client->ReadFileRecord(list, &owner);
  EXPECT_THAT([&] { Queue().Complete(1, srNormalReply); }, ThrowsMessage<Exception>("listening"));
}

TEST_F(ClientFiles, WhatAHandlerOfTheStartThrowsKeepsNoGroupFromBeingSent) {
  client->OnWorkStart = [](TObject&) { throw Exception("start"); };
  const auto ar = Fields(10, 4);
  EXPECT_THAT([&] { client->ReadFileByStructur(5, 0, 31, ar, &owner); },
              ThrowsMessage<Exception>("start"));
  EXPECT_THAT(requests, SizeIs(3));
}

TEST_F(ClientFiles, AHandlerOfTheStartMayDestroyTheOwnerOrTheClient) {
  client->OnWorkStart = [&](TObject&) { letter.reset(); };
  client->ReadFileByStructur(5, 0, 30, Fields(10, 4), letter.get());
  ASSERT_THAT(TakeRequests(), SizeIs(2));
  EXPECT_EQ(Queue().Transaction(0).UserData(), nullptr);
  EXPECT_EQ(Queue().Transaction(1).UserData(), nullptr);
  client->OnWorkStart = [&](TObject&) { client.reset(); };
  client->ReadFileByStructur(5, 0, 30, Fields(10, 4), nullptr);
  EXPECT_THAT(requests, SizeIs(1)) << "nobody is left to send the second group";
}

TEST_F(ClientFiles, TheConfirmationIsSentWhetherTheLineIsActiveOrNot) {
  client->ConfirmComandDX517();
  line->SetActive(false);
  client->ConfirmComandDX517();
  EXPECT_THAT(requests, ElementsAre("67 02 FD FF 00", "67 02 FD FF 00"));
  EXPECT_EQ(Queue().Transaction(0).UserData(), nullptr);
  EXPECT_EQ(workStarts, 0);
}

TEST_F(ClientFiles, TheAnswerToAConfirmationIsIgnored) {
  HearReply();
  client->OnCastomTrunsaction.Add([](TModbusClient&, TModbusTransaction&, std::uint8_t) {
    ADD_FAILURE() << "told to custom listeners";
  });
  for (const TServerReply kind : {srNormalReply, srNone, srInvalidFrame, srUnexpectedReply,
                                  srUnmatchedReply, srExceptionReply}) {
    client->ConfirmComandDX517();
    Queue().Complete(Queue().Count() - 1, kind, Bytes{1, 0x67, 2, 0xFD, 0xFF, 0});
  }
  EXPECT_THAT(log, IsEmpty());
  EXPECT_EQ(client->CountPendingTransactions(), 0);
}

TEST_F(ClientFiles, OnlyASerialConnectionCarriesAConfirmation) {
  for (const auto type : {TConnectionType::mbEmul, TConnectionType::mbTCP}) {
    connection->SetConnectionType(type);
    client->ConfirmComandDX517();
  }
  connection->SetConnectionType(TConnectionType::mbRtu);
  connection->SetRTU(nullptr);
  EXPECT_THROW(client->ConfirmComandDX517(), EModLinkError) << "a serial one without a line";
  client->SetConnection(nullptr);
  client->ConfirmComandDX517();
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(workStarts, 0);
}

TEST_F(ClientFiles, TheyGoToTheLineThatTheConnectionNamesNow) {
  TTestLine other;
  connection->SetRTU(other.line.get());
  client->ReadFileRecord(list, &owner);
  client->ConfirmComandDX517();
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_THAT(other.requests, ElementsAre(testing::StartsWith("14"), "67 02 FD FF 00"));
}

TEST_F(ClientFiles, AnIdentityUnderAnotherUserDataIsNoAnswerWhateverItsKind) {
  HearReply();
  for (const TServerReply kind : {srNormalReply, srNone, srExceptionReply}) {
    TTransactionInfo info;
    info.Reply = kind;
    client->OnDevId(client->RTUClient(), info, 2, {1, 2});
    info.UserData = letter.get();
    client->OnDevId(client->RTUClient(), info, 2, {1, 2});
  }
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(ClientFiles, RequestsFromAnotherThreadAreRefused) {
  const auto ar = Fields(10, 4);
  const std::function<void()> requestsFromThere[] = {
      [&] { client->ReadFileRecord(list, &owner); },
      [&] { client->ReadFileByStructur(5, 0, 1, ar, &owner); },
      [&] { client->ConfirmComandDX517(); },
  };
  for (const auto& request : requestsFromThere) {
    EXPECT_THROW(OnAnotherThread(request), EThreadError);
  }
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(workStarts, 0);
}

}  // namespace
}  // namespace OrvixModBus
