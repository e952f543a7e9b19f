#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <limits>
#include <random>

#include "platform/rtl/uException.h"
#include "tests/src/uTestLetter.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum TServerReply;

class Replies : public testing::Test, public TTestLetter {
 protected:
  Replies() { HearAll(); }
  // Has the letter wait for something of func: a surplus write answer wraps its counter.
  void WaitFor(std::uint8_t func) {
    letter->OnWrite(*client, srNone, func, 0, {}, letter.get());
    TakeLog();
  }
};

TEST_F(Replies, ARequestIsAnsweredDownToTheValue) {
  Add({"Text", 10, 2}).SetRegType(TRegType::rtStr);
  letter->ReadAllRegs();
  Reply(0, {0x03, 4, 'O', 'K', ' ', 0});
  EXPECT_THAT(TakeLog(), ElementsAre("Text=4F 4B 20 00", "read all"));
  EXPECT_EQ(Regs().GetItem(0)->ValueStr(), "OK");
  EXPECT_EQ(letter->WaitQueue(3), 0u);
}

TEST_F(Replies, RegistersAreCoveredFromTheStartToTheLastWholeOne) {
  Add({"A", 10, 1});
  Add({"B", 11, 2});
  Add({"C", 12, 2});
  Add({"D", 9, 2});
  Add({"E", 12, 1});
  GetReply(0x03, 10, {1, 2, 3, 4, 5, 6});
  EXPECT_THAT(TakeLog(), ElementsAre("A=01 02", "B=03 04 05 06", "E=05 06", "read all"));
  EXPECT_TRUE(Regs().GetItem(2)->IsDataZero());
  EXPECT_TRUE(Regs().GetItem(3)->IsDataZero());
}

TEST_F(Replies, AllRegistersOfTheLetterAreUpdatedWhetherRequestedOrNot) {
  Add({"A", 10});
  Add({"B", 11});
  letter->ReadRegsByName(TStringDynArray{"A"});
  Reply(0, {0x03, 4, 1, 2, 3, 4});
  EXPECT_THAT(TakeLog(), ElementsAre("A=01 02", "B=03 04", "read all"));
}

TEST_F(Replies, RegistersOfAnotherFunctionKeepTheirData) {
  Add({"A", 10, 1, 0x03});
  Add({"B", 10, 1, 0x04});
  GetReply(0x03, 10, {1, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("A=01 02", "read all"));
}

TEST_F(Replies, TheyAreVisitedInOrderOfTheCollection) {
  Add({"Z", 12});
  Add({"Y", 10});
  Add({"X", 11});
  GetReply(0x03, 10, {1, 2, 3, 4, 5, 6});
  EXPECT_THAT(TakeLog(), ElementsAre("Z=05 06", "Y=01 02", "X=03 04", "read all"));
}

struct TReplyCase {
  const char* name;
  TRegTraits reg;
  std::uint8_t func;
  std::uint32_t start;
  Bytes values;
  const char* expected;  // the data afterwards, nil when the register is not covered
};

TEST_F(Replies, WhatAReplyCoversDependsOnTheFunctionsUnit) {
  constexpr std::uint32_t kTop = 0xFFFFFFFF;
  const TReplyCase cases[] = {
      {"registers, all", {"R", 10, 2}, 0x03, 10, {1, 2, 3, 4}, "01 02 03 04"},
      {"registers, the end missing", {"R", 10, 2}, 0x03, 10, {1, 2, 3}, nullptr},
      {"registers, before the start", {"R", 9, 1}, 0x03, 10, {1, 2, 3, 4}, nullptr},
      {"input registers", {"R", 11, 1, 0x04}, 0x04, 10, {1, 2, 3, 4}, "03 04"},
      {"$21", {"R", 11, 1, 0x21}, 0x21, 10, {1, 2, 3, 4}, "03 04"},
      {"wide ones are found by their width",
       {"R", 11, 1, 0x03, 4},
       0x03,
       10,
       {1, 2, 3, 4, 5, 6, 7, 8},
       "05 06 07 08"},
      {"wide ones past the values keep what they had",
       {"R", 11, 1, 0x03, 4},
       0x03,
       10,
       {1, 2, 3, 4, 5, 6},
       "05 06 00 00"},
      {"wide ones far past the values",
       {"R", 12, 1, 0x03, 4},
       0x03,
       10,
       {1, 2, 3, 4, 5, 6},
       "00 00 00 00"},
      {"narrow ones", {"R", 11, 1, 0x03, 1}, 0x03, 10, {1, 2, 3, 4}, "02"},
      {"no count at the end", {"R", 12, 0}, 0x03, 10, {1, 2, 3, 4}, ""},
      {"no count past the end", {"R", 13, 0}, 0x03, 10, {1, 2, 3, 4}, nullptr},
      {"no values, no count", {"R", 10, 0}, 0x03, 10, {}, ""},
      {"no values", {"R", 10, 1}, 0x03, 10, {}, nullptr},
      {"the last address", {"R", kTop, 1}, 0x03, kTop, {1, 2}, "01 02"},
      {"behind the last address", {"R", 0, 1}, 0x03, kTop, {1, 2, 3, 4}, nullptr},
      {"bytes, all", {"R", 10, 2, 0x43}, 0x43, 10, {1, 2, 3, 4}, "01 02 03 04"},
      {"bytes, one by one", {"R", 11, 1, 0x44}, 0x44, 10, {1, 2, 3}, "02 03"},
      {"bytes, the end missing", {"R", 12, 1, 0x43}, 0x43, 10, {1, 2, 3}, nullptr},
      {"bytes, the last address", {"R", kTop, 1, 0x43, 1}, 0x43, kTop - 1, {1, 2}, "02"},
      {"a bit", {"R", 10, 1, 0x01, 1}, 0x01, 10, {0x01}, "01"},
      {"a bit that is clear", {"R", 11, 1, 0x01, 1}, 0x01, 10, {0x01}, "00"},
      {"the bit of every byte", {"R", 15, 2, 0x01, 1}, 0x01, 10, {0x20, 0}, "01 01"},
      {"bits run from the first byte up", {"R", 19, 1, 0x02, 1}, 0x02, 10, {0, 0x02}, "01"},
      {"the last bit", {"R", 25, 1, 0x01, 1}, 0x01, 10, {0, 0x80}, "01"},
      {"past the last bit", {"R", 26, 1, 0x01, 1}, 0x01, 10, {0, 0x80}, nullptr},
      {"seven more bits are not missed",
       {"R", 25, 7, 0x01, 1},
       0x01,
       10,
       {0, 0x80},
       "01 01 01 01 01 01 01"},
      {"eight are", {"R", 25, 8, 0x01, 1}, 0x01, 10, {0, 0x80}, nullptr},
      {"no bits", {"R", 10, 0, 0x01, 1}, 0x01, 10, {}, nullptr},
      {"other functions cover nothing", {"R", 10, 1, 0x14}, 0x14, 10, {1, 2}, nullptr},
      {"identities cover nothing", {"R", 10, 1, 0x11}, 0x11, 10, {1, 2}, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Regs().Clear();
    Add(c.reg);
    GetReply(c.func, c.start, c.values);
    if (c.expected == nullptr) {
      EXPECT_THAT(TakeLog(), ElementsAre("read all"));
      EXPECT_TRUE(Regs().GetItem(0)->IsDataZero());
    } else {
      EXPECT_THAT(TakeLog(), ElementsAre("R=" + std::string(c.expected), "read all"));
    }
  }
}

TEST_F(Replies, OfABitsDistanceTheLow16BitsCount) {
  Add({"R", 65536 + 9, 1, 0x01, 1});
  Bytes values(8193 + 1);
  values[1] = 0x02;
  GetReply(0x01, 0, values);
  EXPECT_THAT(TakeLog(), ElementsAre("R=01", "read all"));
}

TEST_F(Replies, OfOthersChangeNothing) {
  Add({"A", 10});
  TMBLetter other;
  other.SetClient(client.get());
  WaitFor(0x03);
  for (TObject* owner : {static_cast<TObject*>(&other), static_cast<TObject*>(nullptr)}) {
    letter->OnRead(*client, srNormalReply, 0x03, 10, {1, 2}, owner);
    letter->OnRead(*client, srNone, 0x03, 10, {}, owner);
    letter->OnWrite(*client, srNormalReply, 0x06, 10, {1, 2}, owner);
  }
  EXPECT_THAT(log, IsEmpty());
  EXPECT_EQ(letter->WaitQueue(0x03), std::numeric_limits<std::uint32_t>::max());
  EXPECT_EQ(letter->WaitQueue(0x06), 0u);
}

TEST_F(Replies, BadOnesAreToldByTheirKindAndCompleteTheLetter) {
  Add({"A", 10});
  for (const auto kind :
       {srNone, srInvalidFrame, srUnexpectedReply, srUnmatchedReply, srExceptionReply}) {
    letter->ReadAllRegs();
    Fail(Queue().Count() - 1, kind);
    EXPECT_THAT(TakeLog(), ElementsAre(kind == srNone ? "none $03" : "exeption $03", "read all"));
  }
}

TEST_F(Replies, TheCheckTellsGoodFromBad) {
  for (int kind = 0; kind < 9; ++kind) {
    SCOPED_TRACE(kind);
    const auto reply = static_cast<TServerReply>(kind);
    EXPECT_EQ(letter->ChekServerReply(reply, 0x2A), kind == 5);
    const auto told = TakeLog();
    if (kind == 0) {
      EXPECT_THAT(told, ElementsAre("none $2A"));
    } else if (kind < 5) {
      EXPECT_THAT(told, ElementsAre("exeption $2A"));
    } else {
      EXPECT_THAT(told, IsEmpty());
    }
  }
  letter->OnNoneAnswer = nullptr;
  letter->OnExeptionAnswer = nullptr;
  EXPECT_FALSE(letter->ChekServerReply(srNone, 3));
  EXPECT_FALSE(letter->ChekServerReply(srExceptionReply, 3));
}

TEST_F(Replies, TheLetterIsCompleteOnceAfterTheLastOfItsRequests) {
  Add({"A", 10});
  Add({"B", 20});
  letter->ReadAllRegs();
  Fail(0, srExceptionReply);
  EXPECT_THAT(TakeLog(), ElementsAre("exeption $03"));
  Reply(1, {0x03, 2, 1, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("B=01 02", "read all"));
}

TEST_F(Replies, CountersOfTheCodes1To102HoldTheEventBack) {
  for (int func = 0; func < 256; ++func) {
    SCOPED_TRACE(func);
    letter->ClearWaitQueue();
    WaitFor(static_cast<std::uint8_t>(func));
    const bool held = func >= 1 && func <= 102;
    EXPECT_EQ(letter->ChekAllRegsResive(), !held);
    EXPECT_EQ(letter->WaitQueue(static_cast<std::uint8_t>(func)) > 0, func <= 128);
    GetReply(0x04, 0, {});
    EXPECT_EQ(TakeLog(), held ? TTestLog{} : TTestLog{"read all"});
  }
}

TEST_F(Replies, AReadNeverCountsBelowZeroAWriteWraps) {
  GetReply(0x03, 0, {});
  EXPECT_EQ(letter->WaitQueue(0x03), 0u);
  GetWritten(0x06, 0, {});
  EXPECT_EQ(letter->WaitQueue(0x06), std::numeric_limits<std::uint32_t>::max());
  GetReply(0xFF, 0, {});
  GetWritten(0xFF, 0, {});
  EXPECT_EQ(letter->WaitQueue(0xFF), 0u) << "codes above 128 are not counted";
}

TEST_F(Replies, ClearedCountersTellNothingAndALateReplyTellsAgain) {
  Add({"A", 10});
  letter->ReadAllRegs();
  letter->ReadAllRegs();
  client->OnClearWaitQueue(*client);
  EXPECT_TRUE(letter->ChekAllRegsResive());
  EXPECT_THAT(log, IsEmpty());
  Reply(0, {0x03, 2, 1, 2});
  Reply(1, {0x03, 2, 1, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("A=01 02", "read all", "A=01 02", "read all"));
}

TEST_F(Replies, ClearingTheClientsQueueClearsTheLetter) {
  Add({"A", 10});
  letter->ReadAllRegs();
  client->ClearWaitQueueAllLetters();
  EXPECT_TRUE(letter->ChekAllRegsResive());
  EXPECT_EQ(client->CountPendingTransactions(), 0);
}

TEST_F(Replies, ALetterWithoutRegistersIsCompleteAllTheSame) {
  GetReply(0x03, 10, {1, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("read all"));
}

TEST_F(Replies, ANextReadMayBeginInsideTheEvent) {
  Add({"A", 10});
  int reads = 0;
  letter->OnReadAllRegs = [&](TMBLetter& l) {
    log.push_back("read all");
    if (++reads < 2) l.ReadAllRegs();
  };
  letter->ReadAllRegs();
  Reply(0, {0x03, 2, 0, 1});
  EXPECT_EQ(letter->WaitQueue(3), 1u);
  Reply(1, {0x03, 2, 0, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("A=00 01", "read all", "A=00 02", "read all"));
}

TEST_F(Replies, AReadBegunByARegistersEventPutsTheCompletionOff) {
  TMBReg& reg = Add({"A", 10});
  letter->OnRegDataChange = [&](TMBLetter& l, TMBReg&) {
    if (Queue().Count() == 1) l.ReadAllRegs();
  };
  letter->ReadAllRegs();
  Reply(0, {0x03, 2, 0, 1});
  EXPECT_THAT(log, IsEmpty());
  Reply(1, {0x03, 2, 0, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("read all"));
  EXPECT_EQ(reg.Data(), (Bytes{0, 2}));
}

TEST_F(Replies, AnotherReplyMayComeInsideARegistersEvent) {
  Add({"A", 10});
  Add({"B", 11});
  bool nested = false;
  letter->OnRegDataChange = [&](TMBLetter&, TMBReg& reg) {
    log.push_back(reg.Name() + "=" + Hex(reg.Data()));
    if (!std::exchange(nested, true)) GetReply(0x03, 10, {5, 6, 7, 8});
  };
  GetReply(0x03, 10, {1, 2, 3, 4});
  EXPECT_THAT(TakeLog(),
              ElementsAre("A=01 02", "A=05 06", "B=07 08", "read all", "B=03 04", "read all"));
}

// The hook of descendants comes between decoding and the event.
class THookedLetter : public TMBLetter {
 public:
  using TMBLetter::TMBLetter;
  TTestLog* log = nullptr;

 protected:
  void RegDataChange(TMBReg& reg) override { log->push_back("hook " + reg.ValueStr()); }
};

TEST_F(Replies, AnUpdatedRegisterIsStoredDecodedHookedAndTold) {
  THookedLetter hooked;
  hooked.log = &log;
  TMBReg& reg = AddReg(hooked.Regs(), {"A", 10, 1, 0x03, 2, 0x06});
  reg.OnDataChange = [&](TMBReg& r) { log.push_back("byte " + Hex(r.Data())); };
  reg.OnDataToValue = [&](const Bytes& data, TRegValue& value) { value.Srt = Hex(data); };
  hooked.OnRegDataChange = [&](TMBLetter& l, TMBReg& r) {
    EXPECT_EQ(&l, &hooked);
    log.push_back("event " + r.ValueStr());
  };
  hooked.OnWriteReg = [&](TMBLetter&, TMBReg&) { log.push_back("written"); };
  hooked.OnRead(*client, srNormalReply, 0x03, 10, {7, 8}, &hooked);
  EXPECT_THAT(TakeLog(), ElementsAre("byte 07 00", "byte 07 08", "hook 07 08", "event 07 08"));
  hooked.OnWrite(*client, srNormalReply, 0x06, 10, {9, 9}, &hooked);
  EXPECT_THAT(TakeLog(),
              ElementsAre("byte 09 08", "byte 09 09", "hook 09 09", "written", "event 09 09"));
}

TEST_F(Replies, AnAnswerGoesToItsLetterAlone) {
  TMBLetter other;
  other.SetClient(client.get());
  int others = 0;
  other.OnReadAllRegs = [&](TMBLetter&) { ++others; };
  AddReg(other.Regs(), {"A", 10});
  Add({"A", 10});
  letter->ReadAllRegs();
  other.ReadAllRegs();
  Reply(1, {0x03, 2, 1, 2});
  EXPECT_THAT(log, IsEmpty());
  EXPECT_EQ(others, 1);
  EXPECT_TRUE(Regs().GetItem(0)->IsDataZero());
  Reply(0, {0x03, 2, 1, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("A=01 02", "read all"));
}

TEST_F(Replies, AnAnswerThroughAFormerClientIsLost) {
  Add({"A", 10});
  letter->ReadAllRegs();
  letter->SetClient(nullptr);
  Reply(0, {0x03, 2, 1, 2});
  EXPECT_THAT(log, IsEmpty());
  EXPECT_EQ(letter->WaitQueue(3), 1u);
}

TEST_F(Replies, ARegisterThatMovesIsFoundAtItsNewPlace) {
  TMBReg& reg = Add({"A", 10});
  Add({"B", 11});
  GetReply(0x03, 10, {1, 2});
  reg.SetRegAdress(500);
  GetReply(0x03, 10, {3, 4});
  GetReply(0x03, 500, {5, 6});
  reg.SetMBFuncRead(0x04);
  GetReply(0x03, 500, {7, 8});
  GetReply(0x04, 500, {9, 9});
  Regs().GetItem(1)->SetRegAdress(500);
  Regs().GetItem(1)->SetIndex(0);
  reg.SetMBFuncRead(0x03);
  GetReply(0x03, 500, {1, 1});
  EXPECT_THAT(TakeLog(),
              ElementsAre("A=01 02", "read all", "read all", "A=05 06", "read all", "read all",
                          "A=09 09", "read all", "B=01 01", "A=01 01", "read all"));
}

TEST_F(Replies, ARegisterThatTakesAnotherFunctionMeanwhileIsPassedOver) {
  Add({"A", 10});
  TMBReg& next = Add({"B", 11});
  Regs().GetItem(0)->OnDataChange = [&](TMBReg&) { next.SetMBFuncRead(0x04); };
  GetReply(0x03, 10, {1, 2, 3, 4});
  EXPECT_THAT(TakeLog(), ElementsAre("A=01 02", "read all"));
}

TEST_F(Replies, AWrittenRegisterTakesItsBytesAndIsTold) {
  Add({"A", 10, 1});
  Add({"B", 10, 1, 0x03, 2, 0x10});
  Add({"C", 11, 1});
  GetWritten(0x06, 10, {1, 2});
  EXPECT_THAT(TakeLog(), ElementsAre("A written", "A=01 02"));
}

TEST_F(Replies, WrittenOnesAreMeasuredInBytesWhateverTheFunction) {
  Add({"A", 10, 2});
  Add({"B", 12, 1});
  Add({"C", 13, 1});
  GetWritten(0x06, 10, {1, 2, 3, 4, 5, 6});
  EXPECT_THAT(TakeLog(), ElementsAre("A written", "A=01 02 03 04", "B written", "B=05 06",
                                     "C written", "C=00 00"))
      << "what the values do not hold is kept";
}

TEST_F(Replies, ACoilsAnswerIsForTheFirstRegisterAlone) {
  Add({"A", 10, 1, 0x01, 2, 0x05});
  Add({"B", 10, 1, 0x01, 2, 0x05});
  GetWritten(0x05, 10, {0xFF, 0});
  EXPECT_THAT(TakeLog(), ElementsAre("A written", "A=FF 00"));
}

TEST_F(Replies, ABlockWriteIsCompleteAtOnceWhateverElseIsWaitedFor) {
  Add({"A", 10, 1, 0x03, 2, 0x10});
  WaitFor(0x03);
  GetWritten(0x10, 10, {0, 1});
  EXPECT_THAT(TakeLog(), ElementsAre("written all"));
  EXPECT_TRUE(Regs().GetItem(0)->IsDataZero());
}

TEST_F(Replies, PagedWritesAreToldByLengthAndKeepTheData) {
  Add({"A", 10, 2, 0x43, 1, 0x66});
  Add({"B", 12, 2, 0x43, 1, 0x66});
  Add({"C", 14, 2, 0x43, 1, 0x66});
  Add({"D", 10, 2, 0x43, 1, 0x65});
  GetWritten(0x66, 10, Bytes(4, 9));
  EXPECT_THAT(TakeLog(), ElementsAre("A written", "B written"));
  EXPECT_TRUE(Regs().GetItem(0)->IsDataZero());
  GetWritten(0x66, 10, Bytes(3, 9));
  EXPECT_THAT(TakeLog(), ElementsAre("A written"));
  letter->OnWriteReg = nullptr;
  GetWritten(0x66, 10, Bytes(4, 9));
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(Replies, ReadsAndWritesShareTheirCounters) {
  Add({"A", 10, 1, 0x03, 2, 0x16});
  for (const TServerReply kind : {srNormalReply, srNone, srExceptionReply}) {
    letter->ReadAllRegs();
    letter->ReadAllRegs();
    letter->OnRead(*client, srNormalReply, 0x03, 500, {}, letter.get());
    EXPECT_THAT(TakeLog(), IsEmpty());
    letter->OnWrite(*client, kind, 0x03, 500, {}, letter.get());
    EXPECT_EQ(TakeLog().back(), "written all") << "the last answer was one of a write";
    EXPECT_TRUE(letter->ChekAllRegsResive());
  }
}

TEST_F(Replies, WritesOfUncountedCodesCompleteALetterThatWaitsForNothing) {
  letter->OnWrite(*client, srNone, 0xC8, 10, {}, letter.get());
  letter->OnWrite(*client, srExceptionReply, 0xC8, 10, {}, letter.get());
  letter->OnWrite(*client, srNormalReply, 0xC8, 10, {}, letter.get());
  EXPECT_THAT(TakeLog(),
              ElementsAre("none $C8", "written all", "exeption $C8", "written all", "written all"));
}

// Random sets and replies against the rules said once more, walking every register.
class RandomReplies : public Replies, public testing::WithParamInterface<unsigned> {
 protected:
  int Below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

  static bool Covered(std::uint8_t func, std::int64_t start, std::int64_t length,
                      const TMBReg& reg) {
    const std::int64_t adress = reg.Adress();
    if (adress < start) return false;
    switch (func) {
      case 0x01:
      case 0x02:
        return start + 8 * length - 1 >= adress + reg.GetRegsCount() / 8;
      case 0x43:
      case 0x44:
        return start + length >= adress + reg.CountInByte();
      default:
        return start + length / 2 >= adress + reg.GetRegsCount();
    }
  }

  static Bytes After(std::uint8_t func, std::uint32_t start, const Bytes& values,
                     const TMBReg& reg) {
    Bytes data = reg.Data();
    const std::size_t distance = reg.Adress() - start;
    for (std::size_t j = 0; j < data.size(); ++j) {
      if (func == 0x01 || func == 0x02) {
        const std::size_t bit = distance & 0xFFFF;
        if (bit / 8 < values.size()) data[j] = (values[bit / 8] >> (bit % 8)) & 1;
      } else {
        const std::size_t width = func >= 0x43 ? 1 : reg.BytesInOneReg();
        const std::size_t index = j + distance * width;
        if (index < values.size()) data[j] = values[index];
      }
    }
    return data;
  }

  std::mt19937 random{GetParam()};
};

TEST_P(RandomReplies, AreSpreadByTheRulesInCollectionOrder) {
  constexpr std::uint8_t kFuncs[] = {0x01, 0x02, 0x03, 0x04, 0x21, 0x43, 0x44};
  constexpr std::uint32_t kBases[] = {0, 1000, 0xFFFFFFC0};
  for (int round = 0; round < 30; ++round) {
    SCOPED_TRACE(round);
    Regs().Clear();
    const std::uint32_t base = kBases[Below(3)];
    const auto place = [&] { return base + static_cast<std::uint32_t>(Below(63)); };
    for (int i = Below(80); i >= 0; --i) {
      const std::uint8_t func = kFuncs[Below(7)];
      Add({"R" + std::to_string(i), place(), Below(5), func, Below(4) == 0 ? Below(5) : 2});
    }
    for (int reply = 0; reply < 30; ++reply) {
      const std::uint8_t func = kFuncs[Below(7)];
      const std::uint32_t start = place();
      Bytes values(static_cast<std::size_t>(Below(40)));
      for (auto& value : values) value = static_cast<std::uint8_t>(Below(256));
      TTestLog expected;
      std::vector<Bytes> data;
      for (const TMBReg* reg : Regs().RegList()) {
        const bool covered = reg->MBFuncRead() == func &&
                             Covered(func, start, static_cast<std::int64_t>(values.size()), *reg);
        data.push_back(covered ? After(func, start, values, *reg) : reg->Data());
        if (covered) expected.push_back(reg->Name() + "=" + Hex(data.back()));
      }
      expected.push_back("read all");
      GetReply(func, start, values);
      ASSERT_EQ(TakeLog(), expected) << "$" << IntToHex(func, 2) << " from " << start;
      for (int i = 0; i < Regs().Count(); ++i) {
        ASSERT_EQ(Regs().GetItem(i)->Data(), data[static_cast<std::size_t>(i)]);
      }
      if (Below(10) == 0) Regs().GetItem(Below(Regs().Count()))->SetRegAdress(place());
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomReplies, testing::Values(11u, 12u, 13u, 14u));

// Processor time of many small replies to a letter of that size.
double TimeOfReplies(int registers) {
  TTestLetter bench;
  {
    const TUpdate update(bench.Regs());
    for (int i = 0; i < registers; ++i) {
      bench.Add({"R" + std::to_string(i), static_cast<std::uint32_t>(i)});
    }
  }
  const auto reply = [&](int i) {
    const auto adress = static_cast<std::uint32_t>(i * 37 % registers);
    bench.GetReply(0x03, adress, {1, 2});
    bench.GetWritten(0x06, adress, {1, 2});
  };
  reply(0);  // finds the places once
  const std::clock_t begin = std::clock();
  for (int i = 0; i < 3000; ++i) reply(i);
  return static_cast<double>(std::clock() - begin);
}

TEST(LetterCosts, AReplyToAHundredThousandRegistersWalksOverNoSet) {
  const double few = TimeOfReplies(100);
  const double many = TimeOfReplies(100000);
  EXPECT_LT(many, 20 * few + 0.1 * CLOCKS_PER_SEC) << "a walk takes a thousand times as long";
}

}  // namespace
}  // namespace OrvixModBus
