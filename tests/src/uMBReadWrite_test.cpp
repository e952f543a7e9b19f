#include "uMBReadWrite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "platform/loop/uLoop.h"
#include "platform/rtl/uException.h"
#include "tests/src/uTestLetter.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;
using enum TServerReply;

using TNames = std::vector<std::string>;

std::string NamesOf(const TMBRegList& regs) {
  std::string names;
  for (const TMBReg* reg : regs) names += reg->Name();
  return names;
}

// A letter with registers A at 10, B at 11, C at 20, and a driver that was made from it.
class ReadWriter : public testing::Test, public TTestLetter {
 protected:
  ReadWriter() {
    TMBRegTypeNumber& level = *types.TypeNumbers().Add();
    level.SetName("Level");
    level.SetMaxValue(65535);
    level.SetIntPart(2);
    level.SetMultiplier(1);
    int value = 1;
    for (const auto& [name, adress] : {std::pair{"A", 10u}, {"B", 11u}, {"C", 20u}}) {
      TMBReg& reg = Add({.Name = name, .Adress = adress});
      reg.SetRegType(TRegType::rtNum);
      reg.SetTypeName("Level");
      reg.SetTypeInfo(&types);
      reg.SetData(1, static_cast<std::uint8_t>(value++));
    }
    letter->SetMaxHole(7);
    HearAll();
    driver = std::make_unique<TMBLetterReadWriter>(*letter);
  }

  TMBReg& Own(const std::string& name) const {
    return *driver->Letter().Regs().GetItemByName(name);
  }
  TMBLetterReadWriter::TAfterEvent Event() {
    return TMBLetterReadWriter::TAfterEvent([this](TObject& sender) {
      EXPECT_EQ(&sender, &driver->Letter());
      log.push_back("event");
    });
  }
  TMBLetterReadWriter::TAfterProc Proc() {
    return [this] { log.push_back("proc"); };
  }

  TMBTypeInfo types;
  std::unique_ptr<TMBLetterReadWriter> driver;
};

TEST_F(ReadWriter, WorksOnACopyThatSharesTheClient) {
  const TMBLetter& copy = driver->Letter();
  EXPECT_NE(&copy, letter.get());
  EXPECT_EQ(copy.Client(), client.get());
  EXPECT_EQ(copy.MaxHole(), 7);
  EXPECT_EQ(copy.Owner(), nullptr);
  EXPECT_EQ(NamesOf(copy.Regs().RegList()), "ABC");
  EXPECT_EQ(Hex(Own("B").Data()), "00 02") << "the data as it was then";
  EXPECT_EQ(client->OnReadList.Count(), 2);
  EXPECT_EQ(client->OnWriteList.Count(), 2);
  EXPECT_EQ(client->OnClearWaitQueue.Count(), 2);
  EXPECT_THAT(driver->Regs(), IsEmpty());
  driver.reset();
  EXPECT_EQ(client->OnReadList.Count(), 1);
  EXPECT_EQ(client->OnWriteList.Count(), 1);
  EXPECT_EQ(client->OnClearWaitQueue.Count(), 1);
}

TEST_F(ReadWriter, ABatchByNamesIsInTheirOrderWithoutUnknownOnes) {
  const struct {
    const char* situation;
    TNames names;
    const char* batch;
  } rows[] = {
      {"in the order of the names", {"C", "A", "B"}, "CAB"},
      {"unknown ones are skipped", {"X", "B", "", "Y", "A"}, "BA"},
      {"each replaces the one before", {"C"}, "C"},
      {"a name twice", {"A", "A"}, "AA"},
      {"case ignored", {"a"}, "A"},
      {"only unknown ones", {"X"}, ""},
      {"none", {}, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.situation);
    driver->AssignRegs(row.names);
    EXPECT_EQ(NamesOf(driver->Regs()), row.batch);
    for (const TMBReg* reg : driver->Regs()) EXPECT_EQ(reg, &Own(reg->Name()));
  }
}

TEST_F(ReadWriter, ABatchOfRegistersIsExactlyThose) {
  TMBReg own(nullptr);
  const TMBRegList given{&own, Regs().GetItemByName("A"), &own};
  driver->AssignRegs(TNames{"C"});
  driver->AssignRegs(given);
  EXPECT_EQ(driver->Regs(), given);
  driver->AssignRegs(TMBRegList{});
  EXPECT_THAT(driver->Regs(), IsEmpty());
}

TEST_F(ReadWriter, ReadsTheBatchSortedAndGrouped) {
  driver->AssignRegs(TNames{"C", "B", "A"});
  driver->ReadArray();
  EXPECT_THAT(requests, ElementsAre("03 00 0A 00 02", "03 00 14 00 01"));
}

TEST_F(ReadWriter, CallsBackOnceWhenBothRequestsAreAnsweredThoughOneFailed) {
  for (const TServerReply kind : {srNone, srExceptionReply, srInvalidFrame}) {
    SCOPED_TRACE(KindName(kind));
    const int first = Queue().Count();
    driver->AssignRegs(TNames{"A", "C"});
    driver->ReadRegsByArray(Event(), {});
    Fail(first, kind);
    EXPECT_THAT(log, IsEmpty());
    Reply(first + 1, {0x03, 2, 0x01, 0x02});
    EXPECT_THAT(TakeLog(), ElementsAre("event"));
    EXPECT_EQ(Hex(Own("A").Data()), "00 01");
    EXPECT_EQ(Hex(Own("C").Data()), "01 02");
  }
}

TEST_F(ReadWriter, CallsBackThoughEveryRequestFailed) {
  driver->AssignRegs(TNames{"A", "C"});
  driver->ReadRegsByArray({}, Proc());
  Fail(1, srNone);
  Fail(0, srNone);
  EXPECT_THAT(log, ElementsAre("proc"));
}

TEST_F(ReadWriter, AnEmptyBatchSendsNothingAndNeverCallsBack) {
  driver->ReadRegsByArray(Event(), Proc());
  driver->AssignRegs(TNames{"X"});
  driver->ReadRegsByArray(Event(), Proc());
  driver->WriteArray();
  TLoop::Current().RunPending();
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(ReadWriter, OnlyOneOfTheCallbacksIsCalled) {
  const struct {
    const char* situation;
    TMBLetterReadWriter::TAfterEvent event;
    TMBLetterReadWriter::TAfterProc proc;
    TTestLog heard;
  } rows[] = {
      {"both", Event(), Proc(), {"event"}},
      {"the event", Event(), {}, {"event"}},
      {"the procedure", {}, Proc(), {"proc"}},
      {"none", {}, {}, {}},
  };
  driver->AssignRegs(TNames{"A"});
  for (const auto& row : rows) {
    SCOPED_TRACE(row.situation);
    driver->ReadRegsByArray(row.event, row.proc);
    Fail(Queue().Count() - 1, srNone);
    EXPECT_EQ(TakeLog(), row.heard);
    driver->WriteArray();
    Fail(Queue().Count() - 1, srNone);
    EXPECT_EQ(TakeLog(), row.heard) << "after writing";
  }
}

TEST_F(ReadWriter, TheGivenLetterIsLeftAlone) {
  driver->AssignRegs(TNames{"A"});
  driver->AssignProcs({}, Proc());
  driver->ReadArray();
  EXPECT_EQ(letter->WaitQueue(0x03), 0u);
  Reply(0, {0x03, 2, 0x12, 0x34});
  driver->WriteArray();
  EXPECT_EQ(letter->WaitQueue(0x06), 0u);
  Fail(1, srNone);
  EXPECT_THAT(log, ElementsAre("proc", "proc")) << "no event of the letter";
  EXPECT_EQ(Hex(Regs().GetItemByName("A")->Data()), "00 01");
  EXPECT_EQ(Hex(Own("A").Data()), "12 34");
}

TEST_F(ReadWriter, TheGivenLettersOwnRequestsDoNotCallBack) {
  driver->AssignProcs(Event(), Proc());
  letter->ReadRegsByName(TNames{"A"});
  Reply(0, {0x03, 2, 0x12, 0x34});
  EXPECT_THAT(log, ElementsAre("A=12 34", "read all"));
  EXPECT_EQ(Hex(Own("A").Data()), "00 01");
}

TEST_F(ReadWriter, LivesOnWithoutTheGivenLetter) {
  driver->AssignRegs(TNames{"A"});
  letter.reset();
  driver->ReadRegsByArray({}, Proc());
  Reply(0, {0x03, 2, 0x12, 0x34});
  EXPECT_THAT(log, ElementsAre("proc"));
  EXPECT_EQ(Hex(Own("A").Data()), "12 34");
}

TEST_F(ReadWriter, RepliesToRegistersOfTheCallerGoToThePrivateLetters) {
  TMBReg given(nullptr);
  Describe(given, {.Name = "Given", .Adress = 10, .Count = 2});
  driver->AssignRegs(TMBRegList{&given});
  driver->ReadRegsByArray({}, Proc());
  EXPECT_THAT(requests, ElementsAre("03 00 0A 00 02"));
  Reply(0, {0x03, 4, 0x12, 0x34, 0x56, 0x78});
  EXPECT_THAT(log, ElementsAre("proc"));
  EXPECT_EQ(Hex(Own("A").Data()), "12 34");
  EXPECT_EQ(Hex(Own("B").Data()), "56 78");
  EXPECT_EQ(Hex(given.Data()), "00 00 00 00");
}

TEST_F(ReadWriter, WritesTheDataOfTheBatchInItsOrder) {
  driver->AssignRegs(TNames{"C", "A"});
  driver->AssignProcs({}, Proc());
  driver->WriteArray();
  EXPECT_THAT(requests, ElementsAre("06 00 14 00 03", "06 00 0A 00 01"));
  Reply(0, {0x06, 0, 20, 0, 3});
  EXPECT_THAT(log, IsEmpty());
  Fail(1, srExceptionReply);
  EXPECT_THAT(log, ElementsAre("proc"));
}

TEST_F(ReadWriter, WritesRegistersOfTheCaller) {
  TMBReg coil(nullptr), run(nullptr);
  Describe(coil, {.Name = "Coil", .Adress = 5, .Read = 0x01, .Write = 0x05});
  coil.SetData(0, 0xFF);
  Describe(run, {.Name = "Run", .Adress = 0x0102, .Count = 2, .Write = 0x10});
  run.SetData(3, 9);
  driver->AssignRegs(TMBRegList{&run, &coil});
  driver->WriteArray();
  EXPECT_THAT(requests, ElementsAre("10 01 02 00 02 04 00 00 00 09", "05 00 05 FF 00"));
}

// Each answer to a write by $10 ends the batch, whatever else is still waited for.
TEST_F(ReadWriter, EveryAnswerToAWriteBy10CallsBack) {
  for (const char* name : {"A", "C"}) Own(name).SetMBFuncWrite(0x10);
  driver->AssignRegs(TNames{"A", "C"});
  driver->AssignProcs({}, Proc());
  driver->WriteArray();
  Reply(0, {0x10, 0, 10, 0, 1});
  EXPECT_THAT(log, ElementsAre("proc"));
  Reply(1, {0x10, 0, 20, 0, 1});
  EXPECT_THAT(log, ElementsAre("proc", "proc"));
}

TEST_F(ReadWriter, RegistersOfThePagedWritesAreLeftOut) {
  Own("A").SetMBFuncWrite(0x66);
  Own("C").SetMBFuncWrite(0x65);
  driver->AssignProcs(Event(), Proc());
  driver->AssignRegs(TNames{"A", "B", "C"});
  driver->WriteArray();
  EXPECT_THAT(TakeRequests(), ElementsAre("06 00 0B 00 02"));
  driver->AssignRegs(TNames{"C", "A"});
  driver->WriteArray();
  driver->WriteAllF66F65();
  TLoop::Current().RunPending();
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(ReadWriter, ARegisterWithTooFewBytesIsRefusedBeforeAnythingIsSent) {
  TMBReg narrow(nullptr);
  Describe(narrow, {.Name = "Narrow", .Adress = 5, .Width = 1});
  driver->AssignRegs(TMBRegList{&Own("A"), &narrow});
  EXPECT_THAT([&] { driver->WriteArray(); },
              ThrowsMessage<Exception>("Reg Narrow: writing 1 registers takes 2 bytes, not 1"));
  EXPECT_THAT(requests, IsEmpty());
}

TEST_F(ReadWriter, RegistersThatAreGoneHaveLeftTheBatch) {
  auto gone = std::make_unique<TMBReg>(nullptr);
  auto left = std::make_unique<TMBReg>(nullptr);
  Describe(*gone, {.Name = "Gone", .Adress = 40});
  Describe(*left, {.Name = "Left", .Adress = 50});
  driver->AssignRegs(TMBRegList{gone.get(), left.get()});
  gone.reset();
  EXPECT_EQ(NamesOf(driver->Regs()), "Left");
  driver->WriteArray();
  driver->ReadArray();
  EXPECT_THAT(TakeRequests(), ElementsAre("06 00 32 00 00", "03 00 32 00 01"));
  left.reset();
  driver->WriteArray();
  driver->ReadArray();
  EXPECT_THAT(requests, IsEmpty());
}

TEST_F(ReadWriter, RegistersDestroyedWhileTheyAreWrittenAreLeftOut) {
  auto first = std::make_unique<TMBReg>(nullptr);
  auto second = std::make_unique<TMBReg>(nullptr);
  Describe(*first, {.Name = "First", .Adress = 40, .Count = 2});
  Describe(*second, {.Name = "Second", .Adress = 50});
  client->OnWorkStart = [&](TObject&) {
    first.reset();
    second.reset();
  };
  driver->AssignRegs(TMBRegList{first.get(), second.get()});
  driver->WriteArray();
  EXPECT_THAT(requests, ElementsAre("06 00 28 00 00", "06 00 29 00 00"));
}

TEST_F(ReadWriter, WithoutAClientReadingAndWritingAreRefused) {
  letter->SetClient(nullptr);
  driver = std::make_unique<TMBLetterReadWriter>(*letter);
  driver->AssignRegs(TNames{"A"});
  EXPECT_THAT([&] { driver->ReadRegsByArray(Event(), Proc()); },
              ThrowsMessage<Exception>("MBClient not assigned"));
  EXPECT_THAT([&] { driver->WriteArray(); }, ThrowsMessage<Exception>("MBClient not assigned"));
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(ReadWriter, AClientThatIsGoneIsNoClient) {
  driver->AssignRegs(TNames{"A"});
  client.reset();
  EXPECT_THAT([&] { driver->ReadArray(); }, ThrowsMessage<Exception>("MBClient not assigned"));
  EXPECT_THAT([&] { driver->WriteArray(); }, ThrowsMessage<Exception>("MBClient not assigned"));
}

TEST_F(ReadWriter, AValueIsThatOfThePrivateLetterOrTheDefault) {
  driver->AssignRegs(TNames{"A"});
  driver->ReadArray();
  Reply(0, {0x03, 2, 0x01, 0x02});
  EXPECT_EQ(driver->GetFloatValue("A", -5), 0x0102);
  EXPECT_EQ(driver->GetFloatValue("X", -5.25), -5.25);
  EXPECT_EQ(driver->GetFloatValue("", 0), 0);
  Regs().GetItemByName("A")->SetDisplayName("Renamed");
  EXPECT_EQ(driver->GetFloatValue("Renamed", 7), 7) << "the given letter's names don't count";
}

TEST_F(ReadWriter, EitherCallbackMayDestroyTheDriver) {
  const TMBLetterReadWriter::TAfterEvent event([this](TObject&) { driver.reset(); });
  const TMBLetterReadWriter::TAfterProc proc = [this] { driver.reset(); };
  const std::pair<TMBLetterReadWriter::TAfterEvent, TMBLetterReadWriter::TAfterProc> forms[] = {
      {event, {}}, {{}, proc}};
  for (const auto& [afterEvent, afterProc] : forms) {
    for (const bool write : {false, true}) {
      driver = std::make_unique<TMBLetterReadWriter>(*letter);
      driver->AssignProcs(afterEvent, afterProc);
      driver->AssignRegs(TNames{"A"});
      write ? driver->WriteArray() : driver->ReadArray();
      Fail(Queue().Count() - 1, srNone);
      EXPECT_EQ(driver, nullptr);
      EXPECT_EQ(client->OnReadList.Count(), 1);
    }
  }
}

TEST_F(ReadWriter, DestroyedWithRequestsOutstandingItNeverCallsBack) {
  driver->AssignProcs(Event(), Proc());
  driver->AssignRegs(TNames{"A", "C"});
  driver->ReadArray();
  driver->WriteArray();
  driver.reset();
  EXPECT_EQ(client->CountPendingTransactions(), 4) << "what is queued is sent all the same";
  driver = std::make_unique<TMBLetterReadWriter>(*letter);
  driver->AssignProcs(Event(), Proc());
  Reply(0, {0x03, 2, 0x12, 0x34});
  Fail(1, srNone);
  Reply(2, {0x06, 0, 10, 0, 1});
  Fail(3, srNone);
  EXPECT_THAT(log, IsEmpty());
  EXPECT_EQ(Hex(Own("A").Data()), "00 01");
}

TEST_F(ReadWriter, ACallbackMayAssignOthersAndStartAgain) {
  driver->AssignRegs(TNames{"A"});
  driver->ReadRegsByArray({}, [this] {
    log.push_back("read");
    driver->AssignProcs(Event(), {});
    driver->AssignRegs(TNames{"C"});
    driver->WriteArray();
  });
  Reply(0, {0x03, 2, 0x12, 0x34});
  EXPECT_THAT(TakeLog(), ElementsAre("read"));
  EXPECT_THAT(requests, ElementsAre("03 00 0A 00 01", "06 00 14 00 03"));
  Reply(1, {0x06, 0, 20, 0, 3});
  EXPECT_THAT(log, ElementsAre("event"));
}

TEST_F(ReadWriter, WhatACallbackThrowsLeavesByTheReply) {
  driver->AssignRegs(TNames{"A"});
  driver->ReadRegsByArray({}, [] { throw Exception("from the callback"); });
  EXPECT_THAT([&] { Fail(0, srNone); }, ThrowsMessage<Exception>("from the callback"));
  driver->ReadRegsByArray({}, Proc());
  Fail(1, srNone);
  EXPECT_THAT(log, ElementsAre("proc"));
}

TEST_F(ReadWriter, TwoDriversOfOneLetterCallBackEachForItsOwn) {
  TMBLetterReadWriter other(*letter);
  other.AssignRegs(TNames{"C"});
  driver->AssignRegs(TNames{"A"});
  other.ReadRegsByArray({}, [this] { log.push_back("other"); });
  driver->ReadRegsByArray({}, Proc());
  Fail(1, srNone);
  EXPECT_THAT(log, ElementsAre("proc"));
  Fail(0, srNone);
  EXPECT_THAT(log, ElementsAre("proc", "other"));
}

TEST_F(ReadWriter, UnderEmulationItReadsAndWritesTheEmulatedDevice) {
  Emulate();
  client->OnGetEmulData = [](TMBReg&, Bytes& data) { data = {0x12, 0x34}; };
  client->OnSetEmulData = [this](TMBReg& reg, Bytes& data) {
    log.push_back(reg.Name() + "<-" + Hex(data));
  };
  driver->AssignRegs(TNames{"C", "A"});
  driver->ReadRegsByArray({}, Proc());
  TLoop::Current().RunPending();
  EXPECT_THAT(TakeLog(), ElementsAre("proc"));
  EXPECT_EQ(driver->GetFloatValue("C", 0), 0x1234);
  Own("C").SetMBFuncWrite(0x66);
  driver->WriteArray();
  TLoop::Current().RunPending();
  EXPECT_THAT(log, ElementsAre("A<-12 34", "proc"));
  EXPECT_THAT(requests, IsEmpty());
}

}  // namespace
}  // namespace OrvixModBus
