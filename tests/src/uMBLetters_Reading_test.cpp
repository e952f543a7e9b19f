#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <random>
#include <set>

#include "platform/loop/uLoop.h"
#include "platform/rtl/uException.h"
#include "tests/src/uTestLetter.h"
#include "tests/support/GroupingRules.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class Reading : public testing::Test, public TTestLetter {
 protected:
  // A procedure that notes the group registers that it gets.
  TMBRegProc Noting() {
    return [this](TMBReg& reg) {
      log.push_back(std::to_string(reg.Adress()) + ":" + std::to_string(reg.GetRegsCount()) + "x" +
                    std::to_string(reg.BytesInOneReg()));
    };
  }
};

TEST_F(Reading, ANewLetterHasNoClientNoRegistersAndWaitsForNothing) {
  const TMBLetter fresh;
  EXPECT_EQ(fresh.Client(), nullptr);
  EXPECT_EQ(fresh.MaxHole(), 0);
  EXPECT_EQ(fresh.ChanelID(), 0);
  EXPECT_EQ(fresh.Regs().Count(), 0);
  EXPECT_TRUE(fresh.ChekAllRegsResive());
  for (int func = 0; func < 256; ++func) {
    EXPECT_EQ(fresh.WaitQueue(static_cast<std::uint8_t>(func)), 0u);
  }
  ExpectDefaultsOfNew(fresh,
                      "Client MaxHole Regs OnReadAllRegs OnRegDataChange OnExeptionAnswer "
                      "OnNoneAnswer OnWriteReg ChanelID");
}

TEST_F(Reading, SettingByTheTableIsSettingByTheSetter) {
  TMBLetter other, source;
  source.Regs().Add()->SetDisplayName("Pump");
  SetByTable(other, "Client", client.get());
  SetByTable(other, "MaxHole", std::int64_t{255});
  SetByTable(other, "ChanelID", std::int64_t{-5});
  SetByTable(other, "Regs", &source.Regs());
  EXPECT_EQ(other.Client(), client.get());
  EXPECT_EQ(client->OnReadList.Count(), 2) << "it listens like the first one";
  EXPECT_EQ(other.MaxHole(), 255);
  EXPECT_EQ(other.ChanelID(), -5);
  EXPECT_NE(other.Regs().GetItemByName("Pump"), nullptr);
  EXPECT_EQ(source.Regs().Count(), 1) << "copied, not taken";
  EXPECT_THROW(SetByTable(other, "MaxHole", std::int64_t{256}), EConvertError);
  int calls = 0;
  SetEventByTable(other, "OnReadAllRegs", TLetterEvent([&](TMBLetter&) { ++calls; }));
  other.OnRead(*client, TServerReply::srNormalReply, 3, 0, {}, &other);
  EXPECT_EQ(calls, 1);
}

TEST_F(Reading, ALetterListensToOneClientAtATime) {
  const auto lists = [](TMBClient& c) {
    return std::vector{c.OnReadList.Count(), c.OnWriteList.Count(), c.OnClearWaitQueue.Count(),
                       c.OnReadFile.Count(), c.OnCastomTrunsaction.Count()};
  };
  EXPECT_THAT(lists(*client), ElementsAre(1, 1, 1, 0, 0));
  letter->SetClient(client.get());
  EXPECT_THAT(lists(*client), ElementsAre(1, 1, 1, 0, 0));
  TMBClient other;
  letter->SetClient(&other);
  EXPECT_THAT(lists(*client), ElementsAre(0, 0, 0, 0, 0));
  EXPECT_THAT(lists(other), ElementsAre(1, 1, 1, 0, 0));
  letter->SetClient(nullptr);
  EXPECT_THAT(lists(other), ElementsAre(0, 0, 0, 0, 0));
  letter->SetClient(&other);
  letter.reset();
  EXPECT_THAT(lists(other), ElementsAre(0, 0, 0, 0, 0));
}

struct TGroupingCase {
  const char* name;
  std::vector<TRegTraits> regs;
  std::vector<std::string> requests;
};

// Registers have two bytes and function $03 unless the row says otherwise.
TEST_F(Reading, NeighboursAreReadTogether) {
  const auto row = [](std::uint32_t from, std::uint32_t to, std::uint8_t func, int width) {
    std::vector<TRegTraits> regs;
    for (std::uint32_t a = from; a <= to; ++a) regs.push_back({"R", a, 1, func, width});
    return regs;
  };
  const TGroupingCase cases[] = {
      {"neighbours", {{"A", 10, 2}, {"B", 12, 1}}, {"03 00 0A 00 03"}},
      {"a gap of one", {{"A", 10, 2}, {"B", 13, 1}}, {"03 00 0A 00 02", "03 00 0D 00 01"}},
      {"in any order", {{"B", 12, 1}, {"A", 10, 2}}, {"03 00 0A 00 03"}},
      {"the same twice", {{"A", 10, 2}, {"B", 10, 2}}, {"03 00 0A 00 02"}},
      {"overlapping", {{"A", 10, 4}, {"B", 12, 4}}, {"03 00 0A 00 06"}},
      {"the last one's end counts, not the farthest",
       {{"A", 10, 9}, {"B", 11, 1}},
       {"03 00 0A 00 02"}},
      {"a gap behind a nested one",
       {{"A", 10, 9}, {"B", 11, 1}, {"C", 15, 1}},
       {"03 00 0A 00 02", "03 00 0F 00 01"}},
      {"a multiple of 256 opens",
       {{"A", 255, 1}, {"B", 256, 1}},
       {"03 00 FF 00 01", "03 01 00 00 01"}},
      {"256 inside a register does not", {{"A", 254, 4}, {"B", 258, 1}}, {"03 00 FE 00 05"}},
      {"one by one over 256", row(200, 300, 0x03, 2), {"03 00 C8 00 38", "03 01 00 00 2D"}},
      {"bits: 128", row(1, 128, 0x01, 1), {"01 00 01 00 80"}},
      {"bits: 129", row(1, 129, 0x01, 1), {"01 00 01 00 80", "01 00 81 00 01"}},
      {"inputs split at 256", row(250, 260, 0x02, 1), {"02 00 FA 00 06", "02 01 00 00 05"}},
      {"registers of one byte ask for half", row(1, 128, 0x03, 1), {"03 00 01 00 40"}},
      {"125 of two bytes are 250", row(1, 125, 0x04, 2), {"04 00 01 00 7D"}},
      {"126 of two bytes are too many", row(1, 126, 0x04, 2), {"04 00 01 00 7D", "04 00 7E 00 01"}},
      {"62 of four bytes are 248", row(1, 63, 0x03, 4), {"03 00 01 00 7C", "03 00 3F 00 02"}},
      {"$21 is not divided by length", {{"A", 1, 2, 0x21}, {"B", 3, 2, 0x21}}, {"21 00 01 00 00"}},
      {"paged ones count bytes",
       {{"A", 0x10000, 2, 0x43}, {"B", 0x10004, 1, 0x43}},
       {"43 01 00 00 06"}},
      {"paged ones do not split at 256",
       {{"A", 0xFE, 1, 0x43}, {"B", 0x100, 1, 0x43}},
       {"43 00 00 FE 04"}},
      {"paged: 128 bytes",
       {{"A", 1, 64, 0x44}, {"B", 129, 1, 0x44}},
       {"44 00 00 01 80", "44 00 00 81 02"}},
      {"paged: a long one alone", {{"A", 1, 100, 0x44}}, {"44 00 00 01 C8"}},
      {"no count is not read", {{"A", 10, 0}}, {}},
      {"no count opens a run", {{"A", 10, 0}, {"B", 10, 2}}, {"03 00 0A 00 02"}},
      {"no width hides its run", {{"A", 10, 0, 0x03, 0}, {"B", 10, 2}}, {}},
      {"the last address", {{"A", 0xFFFFFFFF, 2}}, {"03 FF FF 00 02"}},
      {"addresses are unsigned",
       {{"A", 0x80000000, 1}, {"B", 1, 1}},
       {"03 00 01 00 01", "03 00 00 00 01"}},
      {"other functions", {{"A", 1, 1, 0x05}, {"B", 2, 1, 0x00}, {"C", 3, 1, 0x14}}, {}},
      {"functions in their order",
       {{"A", 1, 1, 0x44},
        {"B", 2, 1, 0x43},
        {"C", 3, 1, 0x21},
        {"D", 4, 1, 0x04},
        {"E", 5, 1, 0x03},
        {"F", 6, 1, 0x02, 1},
        {"G", 7, 1, 0x01, 1}},
       {"01 00 07 00 01", "02 00 06 00 01", "03 00 05 00 01", "04 00 04 00 01", "21 00 03 00 00",
        "43 00 00 02 02", "44 00 00 01 02"}},
      {"functions between do not split",
       {{"A", 1, 1}, {"B", 2, 1, 0x04}, {"C", 2, 1}},
       {"03 00 01 00 02", "04 00 02 00 01"}},
      // The first run is measured from the first register of all.
      {"the lowest reads otherwise",
       {{"Low", 0, 1, 0x04}, {"A", 100, 20}, {"B", 120, 9}},
       {"03 00 64 00 14", "03 00 78 00 09", "04 00 00 00 01"}},
      {"as long as 128 suffices",
       {{"Low", 0, 1, 0x04}, {"A", 100, 20}, {"B", 120, 8}},
       {"03 00 64 00 1C", "04 00 00 00 01"}},
      {"the second run is measured from itself",
       {{"Low", 0, 1, 0x04}, {"A", 120, 9}, {"B", 129, 9}, {"C", 138, 90}},
       {"03 00 78 00 09", "03 00 81 00 63", "04 00 00 00 01"}},
  };
  for (const int hole : {0, 1, 2, 255}) {  // plays no part
    letter->SetMaxHole(static_cast<std::uint8_t>(hole));
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << c.name << ", MaxHole " << hole);
      Regs().Clear();
      for (const TRegTraits& traits : c.regs) Add(traits);
      letter->ReadAllRegs();
      EXPECT_EQ(TakeRequests(), c.requests);
    }
  }
}

TEST_F(Reading, ASingleRegisterPast250BytesIsRefusedBeforeAnythingIsSent) {
  Add({"Ok", 1, 1, 0x01, 1});
  Add({"Long", 2, 1, 0x04}).SetRegData(Bytes(252));
  EXPECT_THAT([&] { letter->ReadAllRegs(); },
              ThrowsMessage<Exception>("More then 250 bytes in reg"));
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_TRUE(letter->ChekAllRegsResive());
}

TEST_F(Reading, EveryRequestCountsAndIsShownToTheProcedureAfterwards) {
  Add({"A", 10, 2});
  Add({"B", 20, 1});
  Add({"C", 5, 3, 0x43});
  std::vector<std::uint32_t> counts;
  const TMBRegProc note = Noting();
  letter->ReadAllRegs([&](TMBReg& reg) {
    note(reg);
    EXPECT_EQ(reg.Collection(), nullptr) << "a group register";
    counts.push_back(letter->WaitQueue(reg.MBFuncRead()));
  });
  EXPECT_THAT(log, ElementsAre("10:2x2", "20:1x2", "5:1x6"));
  EXPECT_THAT(counts, ElementsAre(1, 2, 1));
  EXPECT_EQ(letter->WaitQueue(0x03), 2u);
  EXPECT_EQ(letter->WaitQueue(0x43), 1u);
  EXPECT_FALSE(letter->ChekAllRegsResive());
}

TEST_F(Reading, WhatHasChangedSinceTheLastReadIsAskedForAsItIs) {
  TMBReg& first = Add({"A", 10, 2});
  TMBReg& paged = Add({"P", 0x20, 1, 0x43});
  const struct {
    const char* name;
    std::function<void()> change;
    std::vector<std::string> requests;
  } cases[] = {
      {"nothing", [] {}, {"03 00 0A 00 02", "43 00 00 20 02"}},
      {"nothing again", [] {}, {"03 00 0A 00 02", "43 00 00 20 02"}},
      {"address", [&] { first.SetRegAdress(11); }, {"03 00 0B 00 02", "43 00 00 20 02"}},
      {"count", [&] { first.SetRegsCount(3); }, {"03 00 0B 00 03", "43 00 00 20 02"}},
      {"code", [&] { first.SetMBFuncRead(4); }, {"04 00 0B 00 03", "43 00 00 20 02"}},
      {"data", [&] { paged.SetRegData(Bytes(5)); }, {"04 00 0B 00 03", "43 00 00 20 05"}},
      {"a byte", [&] { paged.SetData(5, 1); }, {"04 00 0B 00 03", "43 00 00 20 06"}},
      {"arrival",
       [&] {
         Add({"B", 14, 1, 4});
       },
       {"04 00 0B 00 04", "43 00 00 20 06"}},
      {"departure", [&] { letter->Regs().DeleteByName("P"); }, {"04 00 0B 00 04"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    c.change();
    letter->ReadAllRegs();
    EXPECT_EQ(TakeRequests(), c.requests);
  }
}

TEST_F(Reading, NothingToReadNeedsNoClient) {
  letter->SetClient(nullptr);
  letter->ReadAllRegs();
  letter->ReadRegsByName({});
  letter->ReadRegsByName(TStringDynArray{"Nobody"});
  letter->ReadRegsByItem({});
  letter->ReadRegsByArray({});
  TMBRegList none;
  letter->ReadRegs(none, {});
}

TEST_F(Reading, WithoutAClientItThrowsAndCountsNothing) {
  TMBReg& reg = Add({"A", 10});
  letter->SetClient(nullptr);
  const std::uint32_t items[] = {0};
  TMBReg* const regs[] = {&reg};
  const auto expectRefused = [&](const std::function<void()>& read) {
    EXPECT_THAT(read, ThrowsMessage<Exception>("MBClient not assigned"));
    EXPECT_TRUE(letter->ChekAllRegsResive());
  };
  expectRefused([&] { letter->ReadAllRegs(); });
  expectRefused([&] { letter->ReadRegsByName(TStringDynArray{"A"}); });
  expectRefused([&] { letter->ReadRegsByItem(items); });
  expectRefused([&] { letter->ReadRegsByArray(regs); });
}

TEST_F(Reading, ByNameUnknownOnesAreSkipped) {
  Add({"A", 10});
  Add({"B", 11});
  letter->ReadRegsByName(TStringDynArray{"b[3]", "Nobody", "", "A"});
  EXPECT_THAT(TakeRequests(), ElementsAre("03 00 0A 00 02"));
  letter->ReadRegsByName(TStringDynArray{"B"});
  EXPECT_THAT(TakeRequests(), ElementsAre("03 00 0B 00 01"));
  letter->ReadRegsByName(TStringDynArray{"Nobody"});
  EXPECT_THAT(TakeRequests(), IsEmpty());
}

TEST_F(Reading, ByItemABadIndexSendsNothing) {
  Add({"A", 10});
  Add({"B", 11});
  letter->ReadRegsByItem(std::vector<std::uint32_t>{1, 0});
  EXPECT_THAT(TakeRequests(), ElementsAre("03 00 0A 00 02"));
  letter->ReadRegsByItem(std::vector<std::uint32_t>{1});
  EXPECT_THAT(TakeRequests(), ElementsAre("03 00 0B 00 01"));
  for (const std::uint32_t bad : {2u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_THROW(letter->ReadRegsByItem(std::vector<std::uint32_t>{0, bad}), EListError) << bad;
  }
  EXPECT_THAT(TakeRequests(), IsEmpty());
  EXPECT_EQ(letter->WaitQueue(3), 2u);
}

TEST_F(Reading, ByArrayAnyRegistersAreRequestedAndMissingOnesSkipped) {
  TMBReg loose(nullptr);
  Describe(loose, {"Loose", 50});
  TMBReg& own = Add({"Own", 51});
  TMBReg* const regs[] = {&own, nullptr, &loose};
  letter->ReadRegsByArray(regs);
  EXPECT_THAT(requests, ElementsAre("03 00 32 00 02"));
}

TEST_F(Reading, AListIsSortedInPlace) {
  TMBReg& b = Add({"B", 0x80000000});
  TMBReg& a = Add({"A", 3, 1, 0x05});
  TMBRegList list{&b, &a};
  letter->ReadRegs(list, {});
  EXPECT_THAT(list, ElementsAre(&a, &b));
}

TEST_F(Reading, ASilentLineIsWaitedForAllTheSame) {
  Add({"A", 10});
  line->SetActive(false);
  letter->ReadAllRegs();
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(letter->WaitQueue(3), 1u);
}

TEST_F(Reading, GroupsAreOfferedToTheApplication) {
  Add({"A", 10, 2});
  Add({"B", 12, 1});
  Add({"C", 14, 1});
  Add({"D", 13, 1, 0x04});
  TMBGroupList groups =
      letter->CreateOptimizedRegList(TStringDynArray{"C", "no", "B", "A", "D"}, 0x03);
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_EQ(groups[0]->Adress(), 10u);
  EXPECT_EQ(groups[0]->GetRegsCount(), 3);
  EXPECT_EQ(groups[0]->Name(), "A") << "made from the first of the run";
  EXPECT_EQ(groups[1]->Adress(), 14u);
  ClearMBRegList(groups);
  EXPECT_THAT(groups, IsEmpty());
  EXPECT_THAT(letter->CreateOptimizedRegList(TStringDynArray{"A"}, 0x04), IsEmpty());
  EXPECT_THAT(letter->CreateOptimizedRegList({}, 0x03), IsEmpty());
  EXPECT_THAT(requests, IsEmpty());
}

// Tells of its end.
class TTellingReg : public TMBReg {
 public:
  TTellingReg(int number, std::vector<int>& ends) : TMBReg(nullptr), fNumber(number), fEnds(ends) {}
  ~TTellingReg() override { fEnds.push_back(fNumber); }

 private:
  int fNumber;
  std::vector<int>& fEnds;
};

TEST(LetterTools, AListIsClearedFromItsEnd) {
  std::vector<int> ends;
  TMBGroupList list;
  for (int i = 0; i < 3; ++i) list.push_back(std::make_unique<TTellingReg>(i, ends));
  ClearMBRegList(list);
  EXPECT_THAT(ends, ElementsAre(2, 1, 0));
  EXPECT_THAT(list, IsEmpty());
  ClearMBRegList(list);
}

TEST(LetterTools, AddressesAreComparedUnsigned) {
  const TMBRegAdressComparer comparer;
  TMBReg low(nullptr), high(nullptr);
  low.SetRegAdress(1);
  high.SetRegAdress(0x80000000);
  EXPECT_EQ(comparer.Compare(low, high), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(comparer.Compare(high, low), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(comparer.Compare(low, low), 0);
}

class ListTools : public Reading {
 protected:
  ListTools()
      : list{&Add({"A", 3, 1, 0x03, 2, 6}), &Add({"B", 1, 1, 0x04, 2, 6}),
             &Add({"C", 2, 1, 0x03, 2, 16})} {}
  TMBRegList list;
};

TEST_F(ListTools, SortByAddress) {
  SortMBRegs(list);
  EXPECT_THAT(list, ElementsAre(Regs().GetItem(1), Regs().GetItem(2), Regs().GetItem(0)));
}

TEST_F(ListTools, FilterByEitherFunction) {
  EXPECT_THAT(ListByFunc(list, 0x03, TFuncKind::fkRead),
              ElementsAre(Regs().GetItem(0), Regs().GetItem(2)));
  EXPECT_THAT(ListByFunc(list, 0x06, TFuncKind::fkWrite),
              ElementsAre(Regs().GetItem(0), Regs().GetItem(1)));
  EXPECT_THAT(ListByFunc(list, 0x06, TFuncKind::fkRead), IsEmpty());
  EXPECT_THAT(ListByFunc({}, 0x03, TFuncKind::fkRead), IsEmpty());
  EXPECT_EQ(static_cast<int>(TFuncKind::fkRead), 0);
  EXPECT_EQ(static_cast<int>(TFuncKind::fkWrite), 1);
}

TEST_F(ListTools, TellWhetherAllAgree) {
  using TCheck = bool (*)(const TMBRegList&);
  const struct {
    const char* name;
    TCheck check;
    void (*differ)(TMBReg&);
  } cases[] = {
      {"read code", ChekSameMBFuncRead, [](TMBReg& r) { r.SetMBFuncRead(0x44); }},
      {"write code", ChekSameMBFuncWrite, [](TMBReg& r) { r.SetMBFuncWrite(0x66); }},
      {"type", ChekSameRegType, [](TMBReg& r) { r.SetRegType(TRegType::rtBin); }},
      {"width", ChekSameSize, [](TMBReg& r) { r.SetBytesInOneReg(4); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TMBReg regs[3]{TMBReg(nullptr), TMBReg(nullptr), TMBReg(nullptr)};
    const TMBRegList all{&regs[0], &regs[1], &regs[2]};
    EXPECT_TRUE(c.check(all));
    EXPECT_TRUE(c.check({&regs[0]}));
    c.differ(regs[2]);
    EXPECT_FALSE(c.check(all));
    EXPECT_THAT([&] { c.check({}); }, ThrowsMessage<Exception>("Empty array"));
  }
}

TEST_F(ListTools, TellWhetherAWholeSetAgrees) {
  EXPECT_FALSE(ChekSameMBFuncRead(Regs()));
  Regs().DeleteByName("B");
  EXPECT_TRUE(ChekSameMBFuncRead(Regs()));
  Regs().Clear();
  EXPECT_THAT([&] { ChekSameMBFuncRead(Regs()); }, ThrowsMessage<Exception>("Empty array"));
}

TEST(LetterTools, LoggingIsEnabledWhileItHasAFile) {
  EXPECT_FALSE(LoggingEnabled());
  EnableLogging("letter.log");
  EXPECT_TRUE(LoggingEnabled());
  EXPECT_EQ(LoggingFileName(), "letter.log");
  EnableLogging("");
  EXPECT_FALSE(LoggingEnabled());
}

class EmulatedReading : public Reading {
 protected:
  EmulatedReading() {
    Emulate();
    client->OnGetEmulData = [](TMBReg& reg, Bytes& data) {
      data.assign(static_cast<std::size_t>(reg.CountInByte()), 7);
    };
    HearAll();
  }
  static void Run() { TLoop::Current().RunPending(); }
};

TEST_F(EmulatedReading, EveryRegisterIsReadAloneInOrderOfAddresses) {
  Add({"B", 12, 1});
  Add({"A", 10, 2});
  const TMBRegProc note = Noting();
  letter->ReadAllRegs([&](TMBReg& reg) {
    EXPECT_EQ(reg.Collection(), &Regs()) << "the register itself";
    note(reg);
  });
  EXPECT_THAT(TakeLog(), ElementsAre("10:2x2", "12:1x2"));
  EXPECT_EQ(letter->WaitQueue(3), 2u);
  EXPECT_EQ(client->CountPendingTransactions(), 2);
  Run();
  EXPECT_THAT(TakeLog(), ElementsAre("A=07 07 07 07", "B=07 07", "read all"));
  EXPECT_THAT(requests, IsEmpty());
}

TEST_F(EmulatedReading, Function02IsNotRead) {
  for (const std::uint8_t func : Bytes{0x01, 0x02, 0x03, 0x04, 0x05, 0x21, 0x43, 0x44, 0x00}) {
    Regs().Clear();
    Add({"A", 10, 1, func, 1});
    letter->ClearWaitQueue();
    letter->ReadAllRegs();
    const bool read = func != 0x02 && func != 0x05 && func != 0x00;
    EXPECT_EQ(letter->WaitQueue(func), read ? 1u : 0u) << +func;
    EXPECT_EQ(client->CountPendingTransactions(), read ? 1 : 0) << +func;
    Run();
  }
}

TEST_F(EmulatedReading, ARegisterThatGoesBeforeItsTurnIsStillAnsweredFor) {
  Add({"A", 10});
  Add({"B", 11});
  letter->ReadAllRegs();
  Regs().DeleteByName("A");
  Run();
  EXPECT_THAT(TakeLog(), ElementsAre("B=07 07", "read all"));
  EXPECT_TRUE(letter->ChekAllRegsResive());
}

// Many registers of all functions, close together and overlapping; the rules said once more tell
// which requests to expect.
class RandomReading : public Reading, public testing::WithParamInterface<unsigned> {
 protected:
  static constexpr std::uint8_t kFuncs[] = {0x01, 0x02, 0x03, 0x04, 0x21, 0x43, 0x44};

  int Below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

  // Dense enough that runs meet the limits of 128 units, of 250 bytes, and addresses of 256.
  void Fill(int count) {
    const int functions = 1 + Below(7);
    std::uint32_t adress = static_cast<std::uint32_t>(Below(400));
    for (int i = 0; i < count; ++i) {
      const std::uint8_t func = kFuncs[Below(functions)];
      const int width = Below(12) == 0 ? Below(5) : (func <= 2 ? 1 : 2);
      const int size = Below(3) == 0 ? Below(50) : Below(4);
      Add({"R" + std::to_string(i), adress, size, func, width});
      const int step = Below(8);
      if (step > 0)
        adress += static_cast<std::uint32_t>(step == 7 ? size + 1 : step == 6 ? 1 : size);
    }
  }

  static std::string Expected(const TRequestedRun& run) {
    const auto byte = [](std::int64_t value, int index) {
      return static_cast<std::uint8_t>((value >> (8 * index)) & 0xFF);
    };
    const std::int64_t bytes = run.Units * run.Regs[0]->BytesInOneReg();
    const std::uint8_t high = byte(run.Start, 1), low = byte(run.Start, 0);
    switch (run.Func) {
      case 0x01:
      case 0x02:
        return Hex(Bytes{run.Func, high, low, byte(bytes, 1), byte(bytes, 0)});
      case 0x03:
      case 0x04:
        return Hex(Bytes{run.Func, high, low, byte(bytes / 2, 1), byte(bytes / 2, 0)});
      case 0x21:
        return Hex(Bytes{run.Func, high, low, 0, 0});
      default:
        return Hex(Bytes{run.Func, byte(run.Start, 2), high, low, byte(run.Units, 0)});
    }
  }

  std::mt19937 random{GetParam()};
};

TEST_P(RandomReading, RequestsWhatTheRulesGiveAndEveryRegisterOnce) {
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    Regs().Clear();
    Fill(1 + Below(150));
    std::vector<std::string> expected;
    std::multiset<const TMBReg*> covered;
    for (const std::uint8_t func : kFuncs) {
      for (const TRequestedRun& run : RunsByTheRules(Regs().RegList(), func)) {
        covered.insert(run.Regs.begin(), run.Regs.end());
        const bool countless = CountedInRegisters(func) && run.Regs[0]->BytesInOneReg() == 0;
        if (!countless || func == 0x21) expected.push_back(Expected(run));
      }
    }
    letter->ReadAllRegs();
    ASSERT_EQ(TakeRequests(), expected);
    for (const TMBReg* reg : Regs().RegList()) EXPECT_LE(covered.count(reg), 1u) << reg->Name();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomReading, testing::Values(1u, 2u, 3u, 4u, 5u));

}  // namespace
}  // namespace OrvixModBus
