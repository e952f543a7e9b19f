#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <numeric>

#include "platform/loop/uLoop.h"
#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"
#include "tests/src/uTestLetter.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;
using enum TServerReply;

constexpr char kTooLong[] =
    "Максимально допустимое кол-во байт для записи по $66, $65 функции = 128";

// 1, 2, 3 ...
Bytes Counted(int size) {
  Bytes data(static_cast<std::size_t>(size));
  std::iota(data.begin(), data.end(), std::uint8_t{1});
  return data;
}

class Writing : public testing::Test, public TTestLetter {
 protected:
  Writing() { HearAll(); }
  TMBReg& Hold(const TRegTraits& traits, const Bytes& data) {
    TMBReg& reg = Add(traits);
    reg.SetRegData(data);
    return reg;
  }
  // What the letter waits for, as "$06=3 $10=1".
  std::string Waits() const {
    std::string text;
    for (int func = 0; func < 256; ++func) {
      const std::uint32_t count = letter->WaitQueue(static_cast<std::uint8_t>(func));
      if (count == 0) continue;
      text += (text.empty() ? "$" : " $") + IntToHex(static_cast<std::uint64_t>(func), 2) + "=" +
              std::to_string(count);
    }
    return text;
  }
  void ExpectRefused(const std::function<void()>& write, const std::string& message) {
    EXPECT_THAT(write, ThrowsMessage<Exception>(message));
    EXPECT_THAT(TakeRequests(), IsEmpty());
    EXPECT_EQ(Waits(), "");
  }
};

struct TWriteCase {
  const char* name;
  TRegTraits reg;
  Bytes data;
  TTestLog sent;
  const char* waits;
  std::uint8_t offset = 0;
};

TRegTraits Plain(int count, std::uint8_t func, std::uint8_t read = 0x03) {
  return {"A", 10, count, read, 2, func};
}

const TTestLog kThree = {"06 00 0A 01 02", "06 00 0B 03 04", "06 00 0C 05 06"};
const TTestLog kCoils = {"05 00 0A FF 00", "05 00 0B 00 00"};

const TWriteCase kWrites[] = {
    {"$06 is one request per register", Plain(3, 0x06), {1, 2, 3, 4, 5, 6}, kThree, "$06=3"},
    {"so is $6C", Plain(2, 0x6C), {1, 2, 3, 4}, {"6C 00 0A 01 02", "6C 00 0B 03 04"}, "$6C=2"},
    {"more bytes are left out", Plain(1, 0x06), {1, 2, 3, 4, 5}, {"06 00 0A 01 02"}, "$06=1"},
    {"with an offset", Plain(1, 0x06), {1, 2}, {"06 00 0F 01 02"}, "$06=1", 5},
    {"a count of 0 sends nothing", Plain(0, 0x06), {1, 2}, {}, ""},
    {"no data, no request", Plain(1, 0x06), {}, {}, ""},
    {"$10", Plain(3, 0x10), {1, 2, 3, 4}, {"10 00 0B 00 02 04 01 02 03 04"}, "$10=1", 1},
    {"$05", Plain(1, 0x05, 0x01), {0xFF, 0}, {"05 00 0A FF 00"}, "$05=1"},
    {"two requests of $05 count once", Plain(2, 0x05, 0x01), {0xFF, 0, 0, 0}, kCoils, "$05=1"},
    {"half a pair of $05 counts", Plain(1, 0x05, 0x01), {1}, {}, "$05=1"},
    {"$65", {"A", 0x1000A, 1, 0x43, 2, 0x65}, {7, 8}, {"65 01 00 0A 02 07 08"}, "$65=1"},
    {"$66", {"A", 0xFFFF, 1, 0x43, 1, 0x66}, {7}, {"66 01 00 FE 01 07"}, "$66=1", 0xFF},
    {"past all addresses", {"A", ~0u, 1, 3, 2, 0x6C}, {1, 2}, {"6C 00 00 01 02"}, "$6C=1", 1},
    {"code 0 counts", Plain(1, 0x00), {1, 2}, {}, "$00=1"},
    {"codes above 128 are not counted", Plain(1, 0xC8), {1, 2}, {}, ""},
};

TEST_F(Writing, ARegisterIsRequestedByItsWriteCode) {
  for (const TWriteCase& write : kWrites) {
    SCOPED_TRACE(write.name);
    TMBReg& reg = Add(write.reg);
    letter->WriteReg(&reg, write.offset, write.data);
    EXPECT_EQ(TakeRequests(), write.sent);
    EXPECT_EQ(Waits(), write.waits);
    letter->ClearWaitQueue();
    letter->WriteRegByName("a", write.offset, write.data);
    EXPECT_EQ(TakeRequests(), write.sent);
    EXPECT_EQ(Waits(), write.waits);
    letter->ClearWaitQueue();
    Regs().Clear();
  }
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(Writing, NoRegisterNoRequestEvenWithoutAClient) {
  TMBReg& reg = Add({"A", 10});
  for (TMBClient* const value : {client.get(), static_cast<TMBClient*>(nullptr)}) {
    letter->SetClient(value);
    letter->WriteReg(nullptr, 0, {1, 2});
    letter->WriteReg(&reg, 0, {});
    letter->WriteRegByName("B", 0, {1, 2});
    letter->WriteRegsF10({});
    letter->WriteAllF66F65({});
    EXPECT_THAT(requests, IsEmpty());
    EXPECT_EQ(Waits(), "");
  }
  Regs().Clear();
  letter->WriteAllF66F65();
  letter->WriteAllRegs();
}

TEST_F(Writing, NothingIsWrittenWithoutAClient) {
  TMBReg& reg = Add({"A", 10, 1, 0x03, 2, 0x66});
  letter->SetClient(nullptr);
  const std::function<void()> writes[] = {
      [&] {
        letter->WriteReg(&reg, 0, {1, 2});
      },
      [&] {
        letter->WriteRegByName("A", 0, {1, 2});
      },
      [&] { letter->WriteRegsF10(TStringDynArray{"A"}); },
      [&] { letter->WriteAllF66F65(); },
      [&] { letter->WriteAllRegs(); },
  };
  for (const auto& write : writes) ExpectRefused(write, "MBClient not assigned");
}

TEST_F(Writing, WhatCannotBeWrittenWholeIsRefusedBeforeAnythingIsSent) {
  const struct {
    TRegTraits reg;
    int size;
    std::string message;
  } cases[] = {
      {{"A", 10, 3}, 5, "Reg A: writing 3 registers takes 6 bytes, not 5"},
      {{"A", 10, 1}, 1, "Reg A: writing 1 registers takes 2 bytes, not 1"},
      {{"B", 10, 2, 0x03, 1, 0x6C}, 2, "Reg B: writing 2 registers takes 4 bytes, not 2"},
      {{"A", 10, 1, 0x43, 1, 0x66}, 129, kTooLong},
      {{"A", 10, 1, 0x43, 1, 0x65}, 129, kTooLong},
  };
  for (const auto& c : cases) {
    TMBReg& reg = Add(c.reg);
    ExpectRefused([&] { letter->WriteReg(&reg, 0, Counted(c.size)); }, c.message);
    Regs().Clear();
  }
}

TEST_F(Writing, AnInactiveLineCountsAndSendsNothing) {
  TMBReg& reg = Add({"A", 10, 3});
  TMBReg& block = Add({"B", 0, 1, 0x43, 1, 0x66});
  line->SetActive(false);
  letter->WriteReg(&reg, 0, Counted(6));
  letter->WriteReg(&block, 0, Counted(129));
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(Waits(), "$06=3 $66=1");
}

TEST_F(Writing, NamedRegistersGoInOneRequestByOrderOfAddress) {
  Hold({"C", 12, 1, 0x03, 2, 0x06}, {5, 6});
  Hold({"A", 10, 1, 0x03, 2, 0x10}, {1, 2});
  Hold({"B", 11, 2, 0x03, 2, 0x6C}, {3, 4, 9, 9});
  letter->WriteRegsF10(TStringDynArray{"c", "B", "A"});
  EXPECT_THAT(TakeRequests(), ElementsAre("10 00 0A 00 03 06 01 02 03 04 05 06"))
      << "two bytes each, by the code of the first";
  EXPECT_EQ(Waits(), "$10=1");
  letter->WriteRegsF10(TStringDynArray{"B", "C"});
  EXPECT_THAT(TakeRequests(), ElementsAre("6C 00 0B 03 04", "6C 00 0C 05 06"))
      << "one for each register of the first";
}

TEST_F(Writing, NamedRegistersThatDoNotFitTogetherAreRefused) {
  Add({"A", 10, 1, 0x03, 2, 0x10});
  Add({"B", 11, 1, 0x03, 2, 0x10});
  Add({"Hole", 13, 1, 0x03, 2, 0x10});
  Add({"Input", 11, 1, 0x04, 2, 0x10});
  Add({"Byte", 12, 1, 0x03, 1, 0x10});
  Add({"Long", 10, 2, 0x03, 2, 0x06});
  const struct {
    TStringDynArray names;
    std::string message;
  } cases[] = {
      {{"A", "X", "B"}, "Regs with name X not in regs list"},
      {{"A", "Input"}, "Not all regs have write function $10"},
      {{"A", "Hole"}, "Max hole between regs must be 0"},
      {{"A", "B", "Hole"}, "Max hole between regs must be 0"},
      {{"A", "a"}, "Max hole between regs must be 0"},
      {{"A", "B", "Byte"}, "Reg Byte has fewer than the 2 bytes that are written"},
      {{"Long"}, "Reg Long: writing 2 registers takes 4 bytes, not 2"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.names));
    ExpectRefused([&] { letter->WriteRegsF10(c.names); }, c.message);
  }
}

TEST_F(Writing, OnlyTheAddressBeforeIsCutTo16BitsWhenHolesAreLookedFor) {
  const struct {
    std::uint32_t first, second;
    const char* sent;
  } cases[] = {
      {0xFFFE, 0xFFFF, "10 FF FE 00 02 04 00 00 00 00"},
      {0xFFFF, 0x10000, "10 FF FF 00 02 04 00 00 00 00"},
      {0x10000, 0x10001, nullptr},
      {0x1FFFF, 0x20000, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    Add({"A", c.first, 1, 0x03, 2, 0x10});
    Add({"B", c.second, 1, 0x03, 2, 0x10});
    const auto write = [&] { letter->WriteRegsF10(TStringDynArray{"A", "B"}); };
    if (c.sent == nullptr) {
      ExpectRefused(write, "Max hole between regs must be 0");
    } else {
      write();
      EXPECT_THAT(TakeRequests(), ElementsAre(c.sent));
    }
    letter->ClearWaitQueue();
    Regs().Clear();
  }
}

TRegTraits Block(const char* name, std::uint32_t adress, int size, std::uint8_t func = 0x66) {
  return {name, adress, size, 0x43, 1, func};
}

struct TBlockCase {
  const char* name;
  std::vector<TRegTraits> regs;
  const char* heads;  // function code, address, length of each request
};

const TBlockCase kBlocks[] = {
    {"neighbours join, others do not",
     {Block("A", 0, 8), Block("B", 8, 8), Block("C", 20, 4)},
     "66 00 00 00 10, 66 00 00 14 04"},
    {"in order of address",
     {Block("A", 20, 4), Block("B", 8, 8), Block("C", 0, 8)},
     "66 00 00 00 10, 66 00 00 14 04"},
    {"128 bytes do not join",
     {Block("A", 0, 64), Block("B", 64, 64)},
     "66 00 00 00 40, 66 00 00 40 40"},
    {"127 bytes do", {Block("A", 0, 63), Block("B", 63, 64)}, "66 00 00 00 7F"},
    {"a full block is followed by the next one",
     {Block("A", 0, 63), Block("B", 63, 64), Block("C", 127, 1), Block("D", 128, 2)},
     "66 00 00 00 7F, 66 00 00 7F 03"},
    {"overlapping ones do not join",
     {Block("A", 0, 8), Block("B", 4, 8)},
     "66 00 00 00 08, 66 00 00 04 08"},
    {"over a page's end", {Block("A", 0xFFFC, 8), Block("B", 0x10004, 4)}, "66 00 FF FC 0C"},
    {"addresses count bytes, not registers",
     {{"A", 0, 2, 0x43, 2, 0x66}, {"B", 4, 1, 0x43, 2, 0x66}, {"C", 7, 1, 0x43, 2, 0x66}},
     "66 00 00 00 06, 66 00 00 07 02"},
    {"$66 before $65, which join apart",
     {Block("A", 0, 4, 0x65), Block("B", 4, 4), Block("C", 4, 4, 0x65), Block("D", 8, 4)},
     "66 00 00 04 08, 65 00 00 00 08"},
    {"one register of 128 bytes", {Block("A", 0, 128)}, "66 00 00 00 80"},
    {"a register without bytes", {Block("A", 0, 0)}, ""},
    {"other codes are left out", {{"A", 0}, Block("B", 0, 1, 0x64)}, ""},
};

TEST_F(Writing, NeighboursAreMergedIntoBlocksOfFewerThan128Bytes) {
  for (const TBlockCase& block : kBlocks) {
    SCOPED_TRACE(block.name);
    for (const TRegTraits& traits : block.regs) Add(traits);
    letter->WriteAllF66F65();
    const std::size_t counted = letter->WaitQueue(0x65) + letter->WaitQueue(0x66);
    EXPECT_EQ(counted, requests.size());
    std::string heads;
    for (const std::string& request : TakeRequests()) {
      heads += (heads.empty() ? "" : ", ") + request.substr(0, 14);
    }
    EXPECT_EQ(heads, block.heads);
    letter->ClearWaitQueue();
    Regs().Clear();
  }
}

TEST_F(Writing, ABlockHoldsTheDataOfItsRegistersWhichKeepTheirs) {
  TMBReg& second = Hold(Block("B", 0x10002, 3), {3, 4, 5});
  TMBReg& first = Hold(Block("A", 0x10000, 2), {1, 2});
  Hold(Block("C", 0x10005, 1), {6});
  letter->WriteAllF66F65({&second, &first});
  EXPECT_THAT(TakeRequests(), ElementsAre("66 01 00 00 05 01 02 03 04 05"));
  EXPECT_EQ(first.Data(), (Bytes{1, 2}));
  EXPECT_EQ(second.Adress(), 0x10002u);
}

TEST_F(Writing, OneBlockTooLongKeepsAllFromBeingSent) {
  Add({"Plain", 10});
  Add(Block("A", 0, 4));
  Add(Block("B", 0, 129, 0x65));
  ExpectRefused([&] { letter->WriteAllF66F65(); }, kTooLong);
  ExpectRefused([&] { letter->WriteAllRegs(); }, kTooLong);
}

TEST_F(Writing, ABlockOfMoreThanAByteCountsIsRefusedNotCut) {
  Add({"Plain", 10});
  Add(Block("A", 0, 4)).SetRegData(Bytes(300));
  ExpectRefused([&] { letter->WriteAllF66F65(); }, kTooLong);
  ExpectRefused([&] { letter->WriteAllRegs(); }, kTooLong);
}

TEST_F(Writing, NilEntriesOfAListAreSkipped) {
  TMBReg& block = Hold(Block("A", 0, 1), {7});
  letter->WriteAllF66F65({nullptr, &block});
  EXPECT_THAT(TakeRequests(), ElementsAre("66 00 00 00 01 07"));
}

TEST_F(Writing, OnePlainRegisterTooShortKeepsAllFromBeingSent) {
  Add(Block("A", 0, 4));
  Add({"B", 10});
  Add({"C", 11, 1, 0x03, 1});
  ExpectRefused([&] { letter->WriteAllRegs(); }, "Reg C: writing 1 registers takes 2 bytes, not 1");
}

TEST_F(Writing, AllRegistersAreWrittenInBlocksThenInCollectionOrder) {
  Hold({"P", 50}, {1, 2});
  Hold(Block("Q", 0, 1, 0x65), {3});
  Hold({"R", 40, 2, 0x03, 2, 0x10}, {4, 5, 6, 7});
  Hold(Block("S", 9, 1), {8});
  Hold({"T", 1, 1, 0x03, 2, 0x00}, {9, 9});
  Add({"Empty", 60, 0, 0x03, 2, 0x10});
  letter->WriteAllRegs();
  EXPECT_THAT(TakeRequests(), ElementsAre("66 00 00 09 01 08", "65 00 00 00 01 03",
                                          "06 00 32 01 02", "10 00 28 00 02 04 04 05 06 07"));
  EXPECT_EQ(Waits(), "$00=1 $06=1 $10=1 $65=1 $66=1");
}

TEST_F(Writing, EmulationWritesAllUnmergedAndPlainOnesTwice) {
  Hold(Block("A", 0, 2), {1, 2});
  Hold({"P", 10, 2}, {3, 4, 5, 6});
  Hold(Block("B", 2, 2), {7, 8});
  Emulate();
  TTestLog told;
  client->OnSetEmulData = [&](TMBReg& reg, Bytes& data) {
    told.push_back(reg.Name() + " " + Hex(data));
  };
  letter->WriteAllRegs();
  EXPECT_EQ(Waits(), "$06=2 $66=2") << "one request for both registers of P";
  TLoop::Current().RunPending();
  EXPECT_THAT(told, ElementsAre("A 01 02", "P 03 04 05 06", "B 07 08", "P 03 04 05 06"));
  EXPECT_EQ(Waits(), "");
  EXPECT_EQ(log.back(), "written all");
  EXPECT_THAT(requests, IsEmpty());
}

TEST_F(Writing, ARegisterWrittenInPiecesIsNotToldOfAny) {
  TMBReg& reg = Add({"A", 10, 3});
  letter->WriteReg(&reg, 0, Counted(6));
  Reply(0, {0x06, 0, 10, 1, 2});
  Reply(1, {0x06, 0, 11, 3, 4});
  EXPECT_THAT(TakeLog(), IsEmpty());
  Reply(2, {0x06, 0, 12, 5, 6});
  EXPECT_THAT(TakeLog(), ElementsAre("written all"));
  EXPECT_TRUE(reg.IsDataZero());
}

TEST_F(Writing, TwoCoilsCountOnceSoTheSecondAnswerWrapsTheCounter) {
  TMBReg& reg = Add({"A", 10, 1, 0x01, 2, 0x05});
  letter->WriteReg(&reg, 0, {0xFF, 0, 0, 0});
  Reply(0, {0x05, 0, 10, 0xFF, 0});
  EXPECT_THAT(TakeLog(), ElementsAre("A written", "A=FF 00", "written all"));
  Reply(1, {0x05, 0, 11, 0, 0});
  EXPECT_EQ(Waits(), "$05=4294967295");
}

TEST_F(Writing, ABlockWriteThatFailsIsToldCompleteOnlyWhenItWasTheLast) {
  TMBReg& reg = Add({"A", 10, 1, 0x03, 2, 0x10});
  for (int i = 0; i < 2; ++i) letter->WriteReg(&reg, 0, {1, 2});
  Fail(0, srExceptionReply);
  EXPECT_THAT(TakeLog(), ElementsAre("exeption $10"));
  Fail(1, srNone);
  EXPECT_THAT(TakeLog(), ElementsAre("none $10", "written all"));
  letter->WriteReg(&reg, 0, {1, 2});
  Reply(2, {0x10, 0, 10, 0, 1});
  EXPECT_THAT(TakeLog(), ElementsAre("written all")) << "once";
}

TEST_F(Writing, APagedAnswerThatIsNotUsedUpCompletesTheLetter) {
  TMBReg& reg = Add(Block("A", 10, 2));
  letter->WriteReg(&reg, 0, Counted(4));
  Reply(0, {0x66, 0, 0, 10, 4});
  EXPECT_THAT(TakeLog(), ElementsAre("A written", "written all"));
  letter->WriteReg(&reg, 0, Counted(2));
  Reply(1, {0x66, 0, 0, 10, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("A written"));
  letter->OnWriteReg = nullptr;
  letter->WriteReg(&reg, 1, Counted(2));
  Reply(2, {0x66, 0, 0, 11, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("written all")) << "no register was met";
}

TEST_F(Writing, AnAnswerOfAnotherOwnerIsNotHeard) {
  TMBReg& reg = Add({"A", 10});
  letter->WriteReg(&reg, 0, {1, 2});
  for (TObject* const owner : {static_cast<TObject*>(client.get()), static_cast<TObject*>(nullptr)})
    letter->OnWrite(*client, srNormalReply, 0x06, 10, {1, 2}, owner);
  EXPECT_THAT(log, IsEmpty());
  EXPECT_EQ(Waits(), "$06=1");
}

TEST_F(Writing, AnAnswerUpdatesWithoutOnWriteRegAndReachesRegistersWithoutBytes) {
  Add({"A", 10});
  Add({"Empty", 12, 0});
  letter->OnWriteReg = nullptr;
  GetWritten(0x06, 10, {1, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("A=01 02", "Empty="));
}

TEST_F(Writing, ALetterIsWrittenOnItsOwnThreadOnly) {
  TMBReg& reg = Add(Block("A", 10, 2));
  const std::function<void()> writes[] = {
      [&] {
        letter->WriteReg(&reg, 0, {1, 2});
      },
      [&] { letter->WriteRegsF10(TStringDynArray{"A"}); },
      [&] { letter->WriteAllF66F65(); },
      [&] { letter->WriteAllRegs(); },
  };
  for (const auto& write : writes) EXPECT_THROW(OnAnotherThread(write), EThreadError);
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(Waits(), "");
}

TEST(WritingSameReg, ComparesNameAddressCountAndWidth) {
  const struct {
    TRegTraits other;
    bool same;
  } cases[] = {
      {{"A", 10, 2, 0x03, 2, 0x06}, true},
      {{"A", 10, 2, 0x04, 2, 0x10}, true},
      {{"a", 10, 2}, false},
      {{"A", 11, 2}, false},
      {{"A", 10, 3}, false},
      {{"A", 10, 2, 0x03, 1}, false},
  };
  for (const auto& c : cases) {
    TMBReg reg(nullptr), other(nullptr);
    Describe(reg, {"A", 10, 2});
    Describe(other, c.other);
    EXPECT_EQ(TMBLetter::SameReg(reg, other), c.same) << c.other.Name << c.other.Adress;
    EXPECT_EQ(TMBLetter::SameReg(other, reg), c.same);
  }
}

TEST_F(Writing, ValuesAreCopiedBetweenRegistersThatLieAlike) {
  TMBReg& reg = Add({"A", 10});
  reg.SetRegType(TRegType::rtStr);
  reg.OnDataChange = [this](TMBReg&) { log.push_back("byte"); };
  Add({"Moved", 20});
  Add({"Longer", 30, 2});
  TMBReg& bytes = Add({"Bytes", 40, 2, 0x03, 1});
  Add({"Here", 50});
  TMBLetter source;
  for (const TRegTraits& traits : std::vector<TRegTraits>{
           {"A", 10}, {"Moved", 21}, {"Longer", 30}, {"Bytes", 40}, {"There", 50}}) {
    AddReg(source.Regs(), traits).SetRegData({'O', 'K'});
  }
  const TStringDynArray names{"Moved", "A", "Longer", "Bytes", "Here", "There", "Nowhere"};
  EXPECT_EQ(letter->CopyRegValues(&source, names), 2);
  EXPECT_EQ(reg.ValueStr(), "OK");
  EXPECT_EQ(bytes.Data(), (Bytes{'O', 'K'})) << "as many bytes";
  EXPECT_TRUE(Regs().GetItemByName("Moved")->IsDataZero());
  EXPECT_EQ(Regs().GetItemByName("Longer")->Data(), Bytes(4, 0));
  EXPECT_THAT(log, IsEmpty());
  EXPECT_EQ(letter->CopyRegValues(&source, TStringDynArray{"Moved"}), 0);
  EXPECT_EQ(letter->CopyRegValues(&source, {}), 0);
  EXPECT_EQ(letter->CopyRegValues(client.get(), names), -1);
  EXPECT_EQ(letter->CopyRegValues(nullptr, names), -1);
}

TEST_F(Writing, ListAndRegistersAreLeftWithTheNamesOfBoth) {
  for (const char* name : {"A", "Twin", "B", "Twin", "C"}) Add({name, 10});
  TStringList list;
  list.SetText("X\nX\nC\nY\na\n");
  letter->RemoveNotFoundRegNames(list);
  EXPECT_EQ(list.Text(), "C\r\na\r\n");
  EXPECT_THAT(Regs().RegNameAr({TRegType::rtNone}), ElementsAre("A", "C"));
  EXPECT_EQ(Regs().GetItemByName("Twin"), nullptr);
  list.SetText("X");
  letter->RemoveNotFoundRegNames(list);
  EXPECT_EQ(list.Count() + Regs().Count(), 0);
}

TEST_F(Writing, AssigningALetterTakesClientHoleAndRegistersAlone) {
  Hold({"A", 10}, {1, 2});
  letter->SetMaxHole(7);
  letter->SetChanelID(5);
  TMBClient former;
  TMBLetter other;
  other.SetClient(&former);
  other.SetChanelID(9);
  AddReg(other.Regs(), {"Old", 1});
  other.Assign(*letter);
  EXPECT_EQ(other.Client(), client.get());
  EXPECT_EQ(former.OnWriteList.Count() + former.OnReadList.Count(), 0);
  EXPECT_EQ(client->OnWriteList.Count(), 2);
  EXPECT_EQ(other.MaxHole(), 7);
  EXPECT_EQ(other.ChanelID(), 9);
  ASSERT_EQ(other.Regs().Count(), 1);
  EXPECT_EQ(other.Regs().GetItem(0)->Data(), (Bytes{1, 2}));
  EXPECT_FALSE(other.OnWriteReg || other.OnWriteAllRegs || other.OnRegDataChange ||
               other.OnReadAllRegs || other.OnNoneAnswer || other.OnExeptionAnswer);
  EXPECT_THAT([&] { other.Assign(*client); },
              ThrowsMessage<EConvertError>("Cannot assign a TMBClient to a TMBLetter"));
  EXPECT_EQ(other.Client(), client.get());
}

}  // namespace
}  // namespace OrvixModBus
