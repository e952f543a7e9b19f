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
using testing::ThrowsMessage;
using enum TServerReply;

// A letter with three registers, of which the last one is written as a block.
class TWritingLetter : public TTestLetter {
 public:
  TWritingLetter() {
    Add({"A", 10, 3});
    Add({"B", 20});
    Add({"C", 0, 2, 0x43, 1, 0x66});
  }
  void WriteA() { letter->WriteReg(Regs().GetItem(0), 0, {1, 2, 3, 4, 5, 6}); }
  std::uint32_t Waits() const { return letter->WaitQueue(0x06) + letter->WaitQueue(0x66); }
};

constexpr std::uint32_t kWrapped = 0xFFFFFFFF;
constexpr int kGone = -1;

// What the first OnWorkStart does, and how many requests are sent and waited for in the end: of
// three for register A, of five for all registers.
struct TDeed {
  const char* name;
  void (*act)(TWritingLetter& bench);
  std::size_t sentOfA;
  int waitsOfA;
  std::size_t sentOfAll;
  int waitsOfAll;
};

const TDeed kDeeds[] = {
    {"the letter goes", [](TWritingLetter& b) { b.letter.reset(); }, 1, kGone, 1, kGone},
    {"the register goes", [](TWritingLetter& b) { b.Regs().Delete(0); }, 3, 3, 2, 2},
    {"all registers go", [](TWritingLetter& b) { b.Regs().Clear(); }, 3, 3, 1, 1},
    {"the client goes", [](TWritingLetter& b) { b.client.reset(); }, 1, 0, 1, 0},
    {"the letter leaves", [](TWritingLetter& b) { b.letter->SetClient(nullptr); }, 1, 1, 1, 1},
    {"the connection goes", [](TWritingLetter& b) { b.connection.reset(); }, 1, 3, 1, 5},
    {"the line goes", [](TWritingLetter& b) { b.line.reset(); }, 1, 3, 1, 5},
    {"the line closes", [](TWritingLetter& b) { b.line->SetActive(false); }, 1, 3, 1, 5},
    {"waiting ends", [](TWritingLetter& b) { b.letter->ClearWaitQueue(); }, 3, 3, 5, 5},
};

TEST(WritingLifetime, TheStartOfARequestMayChangeAnything) {
  for (const bool all : {false, true}) {
    for (const TDeed& deed : kDeeds) {
      SCOPED_TRACE(testing::Message() << deed.name << (all ? ", of all" : ", of one"));
      TWritingLetter bench;
      bool done = false;
      bench.client->OnWorkStart = [&](TObject&) {
        if (!std::exchange(done, true)) deed.act(bench);
      };
      if (all) {
        bench.letter->WriteAllRegs();
      } else {
        bench.WriteA();
      }
      EXPECT_TRUE(done);
      EXPECT_EQ(bench.requests.size(), all ? deed.sentOfAll : deed.sentOfA);
      const int waits = bench.letter ? static_cast<int>(bench.Waits()) : kGone;
      EXPECT_EQ(waits, all ? deed.waitsOfAll : deed.waitsOfA);
    }
  }
}

TEST(WritingLifetime, TheStartOfAnEmulatedWriteMayChangeAnything) {
  for (const TDeed& deed : kDeeds) {
    SCOPED_TRACE(deed.name);
    TWritingLetter bench;
    bench.Emulate();
    bool done = false;
    bench.client->OnWorkStart = [&](TObject&) {
      if (!std::exchange(done, true)) deed.act(bench);
    };
    bench.letter->WriteAllRegs();
    EXPECT_TRUE(done);
    TLoop::Current().RunPending();
    EXPECT_THAT(bench.requests, IsEmpty());
  }
}

TEST(WritingLifetime, AStartThatThrowsKeepsNothingFromBeingSentAndCounted) {
  TWritingLetter bench;
  int starts = 0;
  bench.client->OnWorkStart = [&](TObject&) { throw Exception(std::to_string(++starts)); };
  EXPECT_THAT([&] { bench.WriteA(); }, ThrowsMessage<Exception>("1"));
  EXPECT_THAT(bench.TakeRequests(),
              ElementsAre("06 00 0A 01 02", "06 00 0B 03 04", "06 00 0C 05 06"));
  EXPECT_EQ(bench.letter->WaitQueue(0x06), 3u);
  EXPECT_THAT([&] { bench.letter->WriteAllRegs(); }, ThrowsMessage<Exception>("4"));
  EXPECT_EQ(bench.requests.size(), 5u);
  EXPECT_EQ(bench.Waits(), 8u);
}

TEST(WritingLifetime, ARequestThatTheLineRefusesEndsTheWriteAndDoesNotCount) {
  TWritingLetter bench;
  int queued = 0;
  bench.Queue().OnQueued = [&](TModbusTransaction&) {
    if (++queued == 2) throw Exception("full");
  };
  EXPECT_THAT([&] { bench.WriteA(); }, ThrowsMessage<Exception>("full"));
  EXPECT_EQ(queued, 2);
  EXPECT_EQ(bench.letter->WaitQueue(0x06), 1u);
}

TEST(WritingLifetime, AWriteGoesOnThroughTheClientThatTheLetterHasThen) {
  TWritingLetter bench;
  TTestClient other;
  bench.client->OnWorkStart = [&](TObject&) { bench.letter->SetClient(other.client.get()); };
  bench.WriteA();
  EXPECT_THAT(bench.requests, ElementsAre("06 00 0A 01 02"));
  EXPECT_THAT(other.requests, ElementsAre("06 00 0B 03 04", "06 00 0C 05 06"));
  EXPECT_EQ(bench.letter->WaitQueue(0x06), 3u);
}

TEST(WritingLifetime, WritesQueueUpBehindReadsAndTheLastAnswerCompletes) {
  TTestLetter bench;
  TMBReg& reg = bench.Add({"A", 10});
  bench.HearAll();
  bench.letter->ReadAllRegs();
  bench.letter->WriteReg(&reg, 0, {1, 2});
  bench.letter->ReadAllRegs();
  bench.letter->WriteReg(&reg, 0, {3, 4});
  EXPECT_THAT(bench.requests,
              ElementsAre("03 00 0A 00 01", "06 00 0A 01 02", "03 00 0A 00 01", "06 00 0A 03 04"));
  EXPECT_EQ(bench.letter->WaitQueue(0x03), 2u);
  EXPECT_EQ(bench.letter->WaitQueue(0x06), 2u);
  bench.Reply(0, {0x03, 2, 9, 9});
  bench.Reply(1, {0x06, 0, 10, 1, 2});
  bench.Reply(3, {0x06, 0, 10, 3, 4});
  EXPECT_THAT(bench.TakeLog(),
              ElementsAre("A=09 09", "A written", "A=01 02", "A written", "A=03 04"));
  bench.Reply(2, {0x03, 2, 3, 4});
  EXPECT_THAT(bench.TakeLog(), ElementsAre("A=03 04", "read all"));
}

TEST(WritingLifetime, AnswersToALetterThatIsGoneReachTheClientAlone) {
  TWritingLetter bench;
  int gone = 0;
  bench.client->OnWrite = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t start,
                              const Bytes&, TObject* owner) {
    bench.log.push_back(std::to_string(start));
    if (owner == nullptr) ++gone;
  };
  bench.HearAll();
  bench.WriteA();
  bench.letter.reset();
  TMBLetter next;  // perhaps where the first one stood
  next.SetClient(bench.client.get());
  bench.Reply(0, {0x06, 0, 10, 1, 2});
  bench.Fail(1, srNone);
  bench.Fail(2, srExceptionReply);
  EXPECT_THAT(bench.log, ElementsAre("10", "11", "12"));
  EXPECT_EQ(gone, 3);
  EXPECT_EQ(next.WaitQueue(0x06), 0u);
}

TEST(WritingLifetime, AHandlerThatEndsAllWaitingCompletesTheLetterAndALateAnswerWraps) {
  for (const bool written : {false, true}) {
    TTestLetter bench;
    TMBReg& reg = bench.Add({"A", 10});
    bench.Add({"B", 10});
    bench.HearAll();
    const auto clear = [&](TMBLetter&, TMBReg&) { bench.client->ClearWaitQueueAllLetters(); };
    (written ? bench.letter->OnWriteReg : bench.letter->OnRegDataChange) = clear;
    bench.letter->ReadAllRegs();
    for (int i = 0; i < 2; ++i) bench.letter->WriteReg(&reg, 0, {1, 2});
    bench.Reply(bench.Queue().Count() - 2, {0x06, 0, 10, 1, 2});
    const TTestLog log = bench.TakeLog();
    EXPECT_EQ(log.back(), "written all");
    EXPECT_EQ(log.size(), 3u) << "both registers are told";
    EXPECT_TRUE(bench.letter->ChekAllRegsResive());
    EXPECT_EQ(bench.client->CountPendingTransactions(), 0);
    EXPECT_EQ(bench.Regs().GetItem(1)->Data(), (Bytes{1, 2}));
    bench.letter->OnWrite(*bench.client, srNone, 0x06, 10, {}, bench.letter.get());
    EXPECT_EQ(bench.letter->WaitQueue(0x06), kWrapped);
    EXPECT_THAT(bench.TakeLog(), ElementsAre("none $06")) << "not complete any more";
  }
}

TEST(WritingLifetime, ALetterThatMovesToAnotherClientGoesOnWaitingForWhatItNoLongerHears) {
  TWritingLetter bench;
  TMBClient other;
  other.SetConnection(bench.connection.get());
  bench.client->OnWrite = Noting(bench.log, "client");
  bench.HearAll();
  bench.WriteA();
  bench.letter->SetClient(&other);
  bench.Reply(0, {0x06, 0, 10, 1, 2});
  bench.Fail(1, srNone);
  EXPECT_THAT(bench.TakeLog(),
              ElementsAre("client srNormalReply $06 10 01 02", "client srNone $06 11"));
  EXPECT_EQ(bench.letter->WaitQueue(0x06), 3u);
  bench.letter->WriteReg(bench.Regs().GetItem(1), 0, {7, 8});
  bench.Reply(3, {0x06, 0, 20, 7, 8});
  EXPECT_THAT(bench.TakeLog(), ElementsAre("B written", "B=07 08"));
  bench.client->ClearWaitQueueAllLetters();
  EXPECT_EQ(bench.letter->WaitQueue(0x06), 3u);
  other.ClearWaitQueueAllLetters();
  EXPECT_EQ(bench.letter->WaitQueue(0x06), 0u);
}

// Two letters with registers A, B and C; something happens while the first one is decoded.
struct TCopyBench : TTestLetter {
  TCopyBench() {
    for (const char* name : {"A", "B", "C"}) {
      Add({name, 10});
      AddReg(source->Regs(), {name, 10}).SetRegData({1, 2});
    }
  }
  int Copy() { return letter->CopyRegValues(source.get(), TStringDynArray{"A", "B", "C"}); }
  std::unique_ptr<TMBLetter> source = std::make_unique<TMBLetter>();
  std::unique_ptr<TMBTypeInfo> types = std::make_unique<TMBTypeInfo>();
};

struct TCopyDeed {
  const char* name;
  void (*act)(TCopyBench& bench);
  int copied;
  bool byCatalogue;  // whose handlers must leave alone what is being decoded
};

const TCopyDeed kCopyDeeds[] = {
    {"the source goes", [](TCopyBench& b) { b.source.reset(); }, 1, true},
    {"its registers go", [](TCopyBench& b) { b.source->Regs().Clear(); }, 1, true},
    {"its next register goes", [](TCopyBench& b) { b.source->Regs().Delete(1); }, 2, true},
    {"the next register goes", [](TCopyBench& b) { b.Regs().Delete(1); }, 2, true},
    {"the next one moves", [](TCopyBench& b) { b.Regs().GetItem(1)->SetRegAdress(9); }, 2, true},
    {"the client goes", [](TCopyBench& b) { b.client.reset(); }, 3, true},
    {"the catalogue goes", [](TCopyBench& b) { b.types.reset(); }, 3, true},
    {"the register itself goes", [](TCopyBench& b) { b.Regs().Delete(0); }, 3, false},
    {"the letter goes", [](TCopyBench& b) { b.letter.reset(); }, 1, false},
};

TEST(WritingLifetime, AHandlerMayDestroyAnythingWhileValuesAreCopied) {
  for (const bool byCatalogue : {false, true}) {
    for (const TCopyDeed& deed : kCopyDeeds) {
      if (byCatalogue && !deed.byCatalogue) continue;
      SCOPED_TRACE(deed.name);
      TCopyBench bench;
      bool done = false;
      const auto act = [&] {
        if (!std::exchange(done, true)) deed.act(bench);
      };
      if (byCatalogue) bench.Regs().GetItem(0)->SetTypeInfo(bench.types.get());
      bench.Regs().GetItem(0)->OnDataToValue = [&](const Bytes&, TRegValue&) { act(); };
      bench.types->OnDataToValue = [&](TRegType, const std::string&, const Bytes&, bool&,
                                       const std::string&) {
        act();
        return TRegValue{};
      };
      EXPECT_EQ(bench.Copy(), deed.copied);
      EXPECT_TRUE(done);
    }
  }
}

TEST(WritingLifetime, ACopyThatCannotBeDecodedEndsThere) {
  TCopyBench bench;
  bench.Regs().GetItem(1)->OnDataToValue = [](const Bytes&, TRegValue&) { throw Exception("B"); };
  EXPECT_THAT([&] { bench.Copy(); }, ThrowsMessage<Exception>("B"));
  EXPECT_EQ(bench.Regs().GetItem(1)->Data(), (Bytes{1, 2}));
  EXPECT_TRUE(bench.Regs().GetItem(2)->IsDataZero());
}

TEST(WritingLifetime, ARegisterThatShrinksMeanwhileSendsOnlyWhatItStillHasWhole) {
  TTestLetter bench;
  bench.Add({"A", 10});
  TMBReg& next = bench.Add({"B", 20});
  bench.client->OnWorkStart = [&](TObject&) { next.SetBytesInOneReg(1); };
  bench.letter->WriteAllRegs();
  EXPECT_THAT(bench.requests, ElementsAre("06 00 0A 00 00"));
  EXPECT_EQ(bench.letter->WaitQueue(0x06), 1u);
}

TEST(WritingLifetime, ARegisterThatIsEmptiedMeanwhileSendsNothing) {
  TTestLetter bench;
  bench.Add({"A", 10});
  TMBReg& next = bench.Add({.Name = "B", .Adress = 20, .Write = 0x10});
  bench.client->OnWorkStart = [&](TObject&) { next.SetRegsCount(0); };
  bench.letter->WriteAllRegs();
  EXPECT_THAT(bench.requests, ElementsAre("06 00 0A 00 00"));
  EXPECT_EQ(bench.letter->WaitQueue(0x10), 0u);
}

}  // namespace
}  // namespace OrvixModBus
