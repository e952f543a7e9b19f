#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>

#include "platform/loop/uLoop.h"
#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"
#include "tests/src/uTestLetter.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;
using enum TServerReply;

// Everything that refers to each other, to be destroyed in any order.
class TWholeSystem : public TTestLetter {
 public:
  TWholeSystem() {
    connection->SetTCP(tcp.get());
    Regs().SetMBTypeInfo(types.get());
    Add({"A", 10});
    Add({"B", 20});
    Add({"C", 30, 1, 0x43});
    letter->ReadAllRegs();
    Emulate();
    letter->ReadAllRegs();
    connection->SetConnectionType(TConnectionType::mbRtu);
  }

  static constexpr int kParts = 6;
  void Destroy(int part) {
    switch (part) {
      case 0:
        return line.reset();
      case 1:
        return tcp.reset();
      case 2:
        return connection.reset();
      case 3:
        return client.reset();
      case 4:
        return letter.reset();
      default:
        return types.reset();
    }
  }
  // Whoever is left refers to those that are left and to nobody else.
  void Check() const {
    if (connection) {
      EXPECT_EQ(connection->RTU(), line.get());
      EXPECT_EQ(connection->TCP(), tcp.get());
    }
    if (client) {
      EXPECT_EQ(client->Connection(), connection.get());
      EXPECT_EQ(client->RTUClient().Connection(), line.get());
      EXPECT_EQ(client->OnReadList.Count(), letter ? 1 : 0);
    }
    if (!letter) return;
    EXPECT_EQ(letter->Client(), client.get());
    EXPECT_EQ(letter->Regs().MBTypeInfo(), types.get());
    EXPECT_EQ(letter->Regs().GetItem(0)->TypeInfo(), types.get());
  }
  // Uses whatever is left.
  void Use() {
    if (line && Queue().Count() > 0) {
      for (int i = 0; i < Queue().Count(); ++i) {
        try {
          Fail(i, srNone);
          break;
        } catch (const EModLinkError&) {  // that one has ended already
        }
      }
    }
    if (client) {
      client->Read(0x03, 1, 2, letter.get());
      client->Active();
      client->CountPendingTransactions();
    }
    if (!letter) return;
    if (client) {
      letter->ReadAllRegs();
    } else {
      EXPECT_THROW(letter->ReadAllRegs(), Exception);
    }
    for (TMBReg* reg : letter->Regs().RegList()) reg->DataToValue();
  }

  std::unique_ptr<TMBTCPConnection> tcp = std::make_unique<TMBTCPConnection>();
  std::unique_ptr<TMBTypeInfo> types = std::make_unique<TMBTypeInfo>();
};

TEST(Lifetime, PartsGoInAnyOrder) {
  std::vector<int> order(TWholeSystem::kParts);
  for (int i = 0; i < TWholeSystem::kParts; ++i) order[static_cast<std::size_t>(i)] = i;
  do {
    SCOPED_TRACE(testing::PrintToString(order));
    TWholeSystem system;
    for (const int part : order) {
      system.Destroy(part);
      system.Check();
      system.Use();
    }
    TLoop::Current().RunPending();
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Lifetime, AnOwnerTakesAllPartsAlong) {
  for (const bool loopFirst : {true, false}) {
    auto form = std::make_unique<TComponent>();
    auto* const line = new TMBRTUConnection(form.get());
    auto* const connection = new TMBConnection(form.get());
    auto* const client = new TMBClient(form.get());
    auto* const letter = new TMBLetter(form.get());
    connection->SetRTU(line);
    connection->SetConnectionType(TConnectionType::mbEmul);
    client->SetConnection(connection);
    letter->SetClient(client);
    AddReg(letter->Regs(), {"A", 10});
    letter->ReadAllRegs();
    if (loopFirst) TLoop::Current().RunPending();
    form.reset();
    TLoop::Current().RunPending();
  }
}

TEST(Lifetime, ALetterOnTheStackMayOutliveItsOwnersOtherParts) {
  TMBLetter letter;
  {
    TComponent form;
    auto* const client = new TMBClient(&form);
    letter.SetClient(client);
  }
  EXPECT_EQ(letter.Client(), nullptr);
  TMBClient other;
  letter.SetClient(&other);
  EXPECT_EQ(letter.Client(), &other);
}

TEST(Lifetime, AReplyToALetterThatIsGoneReachesNoOtherLetter) {
  TTestLetter bench;
  bench.Add({"A", 10});
  bench.letter->ReadAllRegs();
  bench.letter = std::make_unique<TMBLetter>();  // perhaps where the first one stood
  bench.letter->SetClient(bench.client.get());
  bench.Add({"A", 10});
  bench.HearAll();
  bench.client->OnRead = Noting(bench.log, "client");
  bench.Reply(0, {0x03, 2, 1, 2});
  EXPECT_THAT(bench.log, ElementsAre("client srNormalReply $03 10 01 02"));
}

// A letter all of whose events can be made to do something.
class Handlers : public testing::Test, public TTestLetter {
 protected:
  Handlers() {
    for (std::uint32_t i = 0; i < 3; ++i) {
      Add({std::string(1, static_cast<char>('A' + i)), 10 + i});
    }
    HearAll();
  }
  void ReadAndAnswer() {
    letter->ReadAllRegs();
    Reply(Queue().Count() - 1, {0x03, 6, 1, 2, 3, 4, 5, 6});
  }
};

TEST_F(Handlers, WhatOneOfThemThrowsKeepsNobodyFromBeingUpdatedAndTold) {
  letter->OnRegDataChange = [this](TMBLetter&, TMBReg& reg) {
    log.push_back(reg.Name());
    throw Exception(reg.Name());
  };
  EXPECT_THAT([&] { ReadAndAnswer(); }, ThrowsMessage<Exception>("A"));
  EXPECT_THAT(TakeLog(), ElementsAre("A", "B", "C", "read all"));
  EXPECT_EQ(letter->WaitQueue(3), 0u);
  EXPECT_EQ(Regs().GetItem(2)->Data(), (Bytes{5, 6}));
  letter->OnReadAllRegs = [](TMBLetter&) { throw Exception("all"); };
  EXPECT_THAT([&] { ReadAndAnswer(); }, ThrowsMessage<Exception>("A")) << "the first one leaves";
  EXPECT_EQ(letter->WaitQueue(3), 0u);
}

TEST_F(Handlers, ARegisterTakesAllItsBytesThoughItsHandlerThrowsAtTheFirst) {
  int thrown = 0;
  Regs().GetItem(0)->OnDataChange = [&](TMBReg&) {
    ++thrown;
    throw Exception("byte");
  };
  EXPECT_THAT([&] { ReadAndAnswer(); }, ThrowsMessage<Exception>("byte"));
  EXPECT_EQ(thrown, 2);
  EXPECT_THAT(TakeLog(), ElementsAre("A=01 02", "B=03 04", "C=05 06", "read all"));
}

TEST_F(Handlers, ARegisterThatCannotBeDecodedIsToldAndTheOthersDecoded) {
  Regs().GetItem(1)->OnDataToValue = [](const Bytes&, TRegValue&) { throw Exception("decode"); };
  EXPECT_THAT([&] { ReadAndAnswer(); }, ThrowsMessage<Exception>("decode"));
  EXPECT_THAT(TakeLog(), ElementsAre("A=01 02", "B=03 04", "C=05 06", "read all"));
}

TEST_F(Handlers, AFaultHandlerThatThrowsKeepsTheCounterWhole) {
  letter->OnNoneAnswer = [](TMBLetter&, std::uint8_t) { throw Exception("none"); };
  letter->ReadAllRegs();
  EXPECT_THAT([&] { Fail(0, srNone); }, ThrowsMessage<Exception>("none"));
  EXPECT_THAT(TakeLog(), ElementsAre("read all"));
  EXPECT_EQ(letter->WaitQueue(3), 0u);
}

TEST_F(Handlers, AnotherLetterIsAnsweredThoughTheFirstOneThrows) {
  TMBLetter other;
  other.SetClient(client.get());
  AddReg(other.Regs(), {"X", 50});
  letter->OnRegDataChange = [](TMBLetter&, TMBReg&) { throw Exception("first"); };
  letter->ReadAllRegs();
  other.ReadAllRegs();
  EXPECT_THROW(Reply(0, {0x03, 6, 1, 2, 3, 4, 5, 6}), Exception);
  Reply(1, {0x03, 2, 7, 8});
  EXPECT_EQ(other.Regs().GetItem(0)->Data(), (Bytes{7, 8}));
}

TEST_F(Handlers, ARequestCountsThoughOnWorkStartThrows) {
  Add({"D", 20});
  Add({"E", 30, 1, 0x04});
  int starts = 0;
  client->OnWorkStart = [&](TObject&) { throw Exception(std::to_string(++starts)); };
  int groups = 0;
  EXPECT_THAT([&] { letter->ReadAllRegs([&](TMBReg&) { ++groups; }); },
              ThrowsMessage<Exception>("1"));
  EXPECT_THAT(requests, ElementsAre("03 00 0A 00 03", "03 00 14 00 01", "04 00 1E 00 01"));
  EXPECT_EQ(groups, 3);
  EXPECT_EQ(letter->WaitQueue(3), 2u);
  EXPECT_EQ(letter->WaitQueue(4), 1u);
  for (int i = 0; i < 3; ++i) Fail(i, srExceptionReply);
  EXPECT_EQ(log.back(), "read all");
  EXPECT_EQ(std::ranges::count(log, "read all"), 1);
}

TEST_F(Handlers, AProcedureThatThrowsKeepsNoGroupFromBeingRead) {
  Add({"D", 20});
  EXPECT_THAT([&] { letter->ReadAllRegs([](TMBReg& reg) { throw Exception(reg.Name()); }); },
              ThrowsMessage<Exception>("A"));
  EXPECT_THAT(requests, SizeIs(2));
  EXPECT_EQ(letter->WaitQueue(3), 2u);
}

TEST_F(Handlers, AnEmulatedReadCountsThoughOnWorkStartThrows) {
  Emulate();
  client->OnWorkStart = [](TObject&) { throw Exception("start"); };
  EXPECT_THAT([&] { letter->ReadAllRegs(); }, ThrowsMessage<Exception>("start"));
  EXPECT_EQ(letter->WaitQueue(3), 3u);
  TLoop::Current().RunPending();
  EXPECT_THAT(log, ElementsAre("read all"));
}

TEST_F(Handlers, ARequestThatTheLineRefusesDoesNotCount) {
  Queue().OnQueued = [](TModbusTransaction&) { throw Exception("full"); };
  EXPECT_THAT([&] { letter->ReadAllRegs(); }, ThrowsMessage<Exception>("full"));
  EXPECT_EQ(letter->WaitQueue(3), 0u);
  EXPECT_TRUE(letter->ChekAllRegsResive());
}

// Each row hooks act into one of the events of a read of three registers.
struct THook {
  const char* name;
  void (*hook)(TTestLetter& bench, std::function<void()> act);
};

const THook kHooks[] = {
    {"a byte",
     [](TTestLetter& b, std::function<void()> act) {
       b.Regs().GetItem(0)->OnDataChange = [act](TMBReg&) { act(); };
     }},
    {"a register",
     [](TTestLetter& b, std::function<void()> act) {
       b.letter->OnRegDataChange = [act](TMBLetter&, TMBReg&) { act(); };
     }},
    {"completion",
     [](TTestLetter& b, std::function<void()> act) {
       b.letter->OnReadAllRegs = [act](TMBLetter&) { act(); };
     }},
    {"the published event",
     [](TTestLetter& b, std::function<void()> act) {
       b.client->OnRead = [act](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&,
                                TObject*) { act(); };
     }},
};

struct TVictim {
  const char* name;
  void (*destroy)(TTestLetter& bench);
};

const TVictim kVictims[] = {
    {"the letter", [](TTestLetter& b) { b.letter.reset(); }},
    {"the client", [](TTestLetter& b) { b.client.reset(); }},
    {"the connection", [](TTestLetter& b) { b.connection.reset(); }},
    {"the line", [](TTestLetter& b) { b.line.reset(); }},
    {"all registers",
     [](TTestLetter& b) {
       if (b.letter) b.Regs().Clear();
     }},
    {"the first register",
     [](TTestLetter& b) {
       if (b.letter && b.Regs().Count() > 0) b.Regs().Delete(0);
     }},
    {"the last register",
     [](TTestLetter& b) {
       if (b.letter && b.Regs().Count() > 0) b.Regs().Delete(b.Regs().Count() - 1);
     }},
    {"everything",
     [](TTestLetter& b) {
       b.client.reset();
       b.letter.reset();
       b.connection.reset();
       b.line.reset();
     }},
};

TEST(Lifetime, AnyHandlerOfAReplyMayDestroyAnything) {
  for (const THook& hook : kHooks) {
    for (const TVictim& victim : kVictims) {
      SCOPED_TRACE(testing::Message() << victim.name << " goes at " << hook.name);
      TTestLetter bench;
      for (std::uint32_t i = 0; i < 3; ++i) bench.Add({"R" + std::to_string(i), 10 + i});
      int acts = 0;
      hook.hook(bench, [&] {
        ++acts;
        victim.destroy(bench);
      });
      bench.letter->ReadAllRegs();
      bench.letter->ReadAllRegs();
      bench.Fail(0, srNone);
      if (bench.line && bench.client) bench.Reply(1, {0x03, 6, 1, 2, 3, 4, 5, 6});
      EXPECT_GE(acts, 1);
      if (!bench.client) continue;
      EXPECT_EQ(bench.client->OnReadList.Count(), bench.letter ? 1 : 0);
    }
  }
}

TEST(Lifetime, AnyHandlerOfAnEmulatedAnswerMayDestroyAnything) {
  for (const THook& hook : kHooks) {
    for (const TVictim& victim : kVictims) {
      SCOPED_TRACE(testing::Message() << victim.name << " goes at " << hook.name);
      TTestLetter bench;
      bench.Emulate();
      bench.client->OnGetEmulData = [](TMBReg&, Bytes& data) { data = {1, 2}; };
      for (std::uint32_t i = 0; i < 3; ++i) bench.Add({"R" + std::to_string(i), 10 + i});
      int acts = 0;
      hook.hook(bench, [&] {
        ++acts;
        victim.destroy(bench);
      });
      bench.letter->ReadAllRegs();
      TLoop::Current().RunPending();
      EXPECT_GE(acts, 1);
    }
  }
}

TEST(Lifetime, AnythingMayGoWhileALetterIsBeingRequested) {
  for (const bool emulated : {false, true}) {
    for (const bool byProc : {false, true}) {
      for (const TVictim& victim : kVictims) {
        SCOPED_TRACE(testing::Message() << victim.name << (emulated ? ", emulated" : "")
                                        << (byProc ? ", in the procedure" : ", at the start"));
        TTestLetter bench;
        if (emulated) bench.Emulate();
        for (std::uint32_t i = 0; i < 3; ++i) bench.Add({"R" + std::to_string(i), 10 * i});
        bench.Add({"X", 5, 1, 0x04});
        int acts = 0;
        const auto act = [&] {
          ++acts;
          victim.destroy(bench);
        };
        if (!byProc) bench.client->OnWorkStart = [act](TObject&) { act(); };
        bench.letter->ReadAllRegs(byProc ? TMBRegProc([act](TMBReg&) { act(); }) : TMBRegProc());
        EXPECT_GE(acts, 1);
        TLoop::Current().RunPending();
      }
    }
  }
}

TEST(Lifetime, AnyHandlerOfAWriteAnswerMayDestroyAnything) {
  for (const std::uint8_t func : Bytes{0x06, 0x66, 0x10}) {
    for (const TVictim& victim : kVictims) {
      SCOPED_TRACE(testing::Message() << victim.name << " at an answer to " << +func);
      TTestLetter bench;
      for (std::uint32_t i = 0; i < 3; ++i) {
        bench.Add({"R" + std::to_string(i), 10 + i, 1, 0x03, 1, func});
      }
      int acts = 0;
      const auto act = [&] {
        ++acts;
        victim.destroy(bench);
      };
      bench.letter->OnWriteReg = [act](TMBLetter&, TMBReg&) { act(); };
      bench.letter->OnWriteAllRegs = [act](TMBLetter&) { act(); };
      TMBClient elsewhere;
      bench.letter->OnWrite(elsewhere, srNormalReply, func, 10, {1, 2, 3}, bench.letter.get());
      EXPECT_GE(acts, 1);
    }
  }
}

TEST_F(Handlers, ALetterIsReadOnItsOwnThreadOnly) {
  const std::uint32_t items[] = {0};
  TMBReg* const regs[] = {Regs().GetItem(0)};
  TMBClient other;
  const std::function<void()> uses[] = {
      [&] { letter->ReadAllRegs(); },         [&] { letter->ReadRegsByName(TStringDynArray{"A"}); },
      [&] { letter->ReadRegsByItem(items); }, [&] { letter->ReadRegsByArray(regs); },
      [&] { letter->SetClient(&other); },     [&] { letter->SetClient(nullptr); },
  };
  for (const bool emulated : {false, true}) {
    if (emulated) Emulate();
    for (const auto& use : uses) EXPECT_THROW(OnAnotherThread(use), EThreadError);
  }
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_EQ(client->CountPendingTransactions(), 0);
  EXPECT_EQ(letter->Client(), client.get());
  EXPECT_TRUE(letter->ChekAllRegsResive());
}

}  // namespace
}  // namespace OrvixModBus
