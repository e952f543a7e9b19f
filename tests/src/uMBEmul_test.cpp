#include "uMBEmul.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/loop/uSystemLoop.h"
#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"
#include "tests/src/uTestRegs.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

// A loop that counts what is posted to it.
class TCountingLoop : public TSystemLoop {
 public:
  TCountingLoop() { fFormer = SetCurrent(this); }
  ~TCountingLoop() override { SetCurrent(fFormer); }
  bool Post(TAction action) override {
    ++posts;
    return TSystemLoop::Post(std::move(action));
  }
  int posts = 0;

 private:
  TLoop* fFormer;
};

class EmulatedDevice : public testing::Test {
 protected:
  EmulatedDevice() {
    const char* names[] = {"One", "Two", "Three"};
    for (int i = 0; i < 3; ++i) {
      Describe(fRegs[i], {.Name = names[i], .Adress = 10u + static_cast<unsigned>(i)});
    }
    fEmul->OnRead = [this](TMBReg& reg, TObject* owner) {
      fLog.push_back("read " + reg.Name() + (owner == &fOwner ? "" : " for nobody"));
    };
    fEmul->OnWrite = [this](TMBReg& reg, Bytes& data, TObject* owner) {
      fLog.push_back("write " + reg.Name() + " " + std::to_string(data.size()) +
                     (owner == &fOwner ? "" : " for nobody"));
    };
  }

  void Read(int reg) { fEmul->ReadRegs(fRegs[reg], &fOwner); }

  TCountingLoop fLoop;
  TMBReg fRegs[3]{TMBReg(nullptr), TMBReg(nullptr), TMBReg(nullptr)};
  TComponent fOwner;
  std::vector<std::string> fLog;
  std::unique_ptr<TEmulClient> fEmul = std::make_unique<TEmulClient>();
};

TEST_F(EmulatedDevice, AnswersLaterInOrderOfAskingWithOneWakeUp) {
  for (const int reg : {2, 0, 1}) Read(reg);
  EXPECT_EQ(fLoop.posts, 1);
  EXPECT_EQ(fEmul->CountPendingTransactions(), 3);
  EXPECT_THAT(fLog, IsEmpty()) << "never inside the call";
  fLoop.RunPending();
  EXPECT_THAT(fLog, ElementsAre("read Three", "read One", "read Two"));
  EXPECT_EQ(fEmul->CountPendingTransactions(), 0);
}

TEST_F(EmulatedDevice, PostsAgainOnceAQueueWasEmpty) {
  Read(0);
  fLoop.RunPending();
  Read(1);
  Read(2);
  EXPECT_EQ(fLoop.posts, 2);
  fLoop.RunPending();
  fLoop.RunPending();
  EXPECT_THAT(fLog, ElementsAre("read One", "read Two", "read Three"));
}

TEST_F(EmulatedDevice, ReadsAndWritesHaveQueuesOfTheirOwn) {
  fEmul->WriteReg(fRegs[0], {1}, &fOwner);
  Read(1);
  fEmul->WriteReg(fRegs[2], {1, 2}, &fOwner);
  EXPECT_EQ(fLoop.posts, 2);
  EXPECT_EQ(fEmul->CountPendingTransactions(), 3);
  fLoop.RunPending();
  EXPECT_THAT(fLog, ElementsAre("write One 1", "write Three 2", "read Two"));
  EXPECT_EQ(fEmul->CountPendingTransactions(), 0);
}

TEST_F(EmulatedDevice, AnEmptyWriteIsNothing) {
  fEmul->WriteReg(fRegs[0], {}, &fOwner);
  EXPECT_EQ(fEmul->CountPendingTransactions(), 0);
  EXPECT_EQ(fLoop.posts, 0);
}

TEST_F(EmulatedDevice, AWriteKeepsACopyOfRegisterAndValue) {
  Bytes value{1, 2};
  std::string told;
  fEmul->OnWrite = [&](TMBReg& reg, Bytes& data, TObject*) {
    EXPECT_NE(&reg, &fRegs[0]);
    told = reg.Name() + " " + std::to_string(reg.Adress()) + " " + std::to_string(data[1]);
  };
  fEmul->WriteReg(fRegs[0], value, &fOwner);
  value[1] = 9;
  fRegs[0].SetRegAdress(999);
  fRegs[0].SetDisplayName("Changed");
  fLoop.RunPending();
  EXPECT_EQ(told, "One 10 2");
}

TEST_F(EmulatedDevice, AReadKeepsTheCallersRegisterItself) {
  TMBReg* told = nullptr;
  fEmul->OnRead = [&](TMBReg& reg, TObject*) { told = &reg; };
  Read(1);
  fLoop.RunPending();
  EXPECT_EQ(told, &fRegs[1]);
}

TEST_F(EmulatedDevice, ARegisterThatIsGoneIsStoodInForByItsAddressAndFunction) {
  auto reg = std::make_unique<TMBReg>(nullptr);
  Describe(*reg, {.Name = "Gone", .Adress = 4711, .Read = 0x43});
  std::string told;
  fEmul->OnRead = [&](TMBReg& r, TObject* owner) {
    told = std::to_string(r.Adress()) + " " + std::to_string(r.MBFuncRead());
    EXPECT_EQ(owner, &fOwner);
  };
  fEmul->ReadRegs(*reg, &fOwner);
  reg.reset();
  fLoop.RunPending();
  EXPECT_EQ(told, "4711 67");
}

TEST_F(EmulatedDevice, AnOwnerThatIsGoneIsNobody) {
  auto owner = std::make_unique<TComponent>();
  fEmul->ReadRegs(fRegs[0], owner.get());
  fEmul->WriteReg(fRegs[1], {1}, owner.get());
  owner.reset();
  fLoop.RunPending();
  EXPECT_THAT(fLog, ElementsAre("read One for nobody", "write Two 1 for nobody"));
}

TEST_F(EmulatedDevice, WhatAHandlerAsksForIsServedInTheSameDrain) {
  fEmul->OnRead = [this](TMBReg& reg, TObject*) {
    fLog.push_back("read " + reg.Name());
    if (fLog.size() < 3) Read(static_cast<int>(fLog.size()));
  };
  Read(0);
  fLoop.RunOnce(TLoop::TClock::time_point::min());
  EXPECT_THAT(fLog, ElementsAre("read One", "read Two", "read Three"));
  fLoop.RunPending();
  EXPECT_EQ(fLog.size(), 3u) << "the wake-ups that are left find nothing";
}

TEST_F(EmulatedDevice, WithoutHandlersItDrainsAllTheSame) {
  fEmul->OnRead = nullptr;
  fEmul->OnWrite = nullptr;
  Read(0);
  fEmul->WriteReg(fRegs[0], {1}, nullptr);
  fLoop.RunPending();
  EXPECT_EQ(fEmul->CountPendingTransactions(), 0);
}

TEST_F(EmulatedDevice, AHandlerThatThrowsKeepsNobodyWaiting) {
  fEmul->OnRead = [this](TMBReg& reg, TObject*) {
    fLog.push_back("read " + reg.Name());
    throw Exception(reg.Name());
  };
  for (const int reg : {0, 1, 2}) Read(reg);
  EXPECT_THAT([&] { fLoop.RunPending(); }, ThrowsMessage<Exception>("One"));
  EXPECT_THAT(fLog, ElementsAre("read One", "read Two", "read Three"));
  Read(0);
  EXPECT_THROW(fLoop.RunPending(), Exception);
  EXPECT_EQ(fLog.size(), 4u) << "the next one is woken up for again";
}

TEST_F(EmulatedDevice, AWriteHandlerThatThrowsKeepsNobodyWaiting) {
  fEmul->OnWrite = [this](TMBReg& reg, Bytes&, TObject*) {
    fLog.push_back("write " + reg.Name());
    throw Exception(reg.Name());
  };
  for (TMBReg& reg : fRegs) fEmul->WriteReg(reg, {1}, nullptr);
  EXPECT_THAT([&] { fLoop.RunPending(); }, ThrowsMessage<Exception>("One"));
  EXPECT_THAT(fLog, ElementsAre("write One", "write Two", "write Three"));
  EXPECT_EQ(fEmul->CountPendingTransactions(), 0);
}

TEST_F(EmulatedDevice, IsDestroyedByItsHandlers) {
  fEmul->OnRead = [this](TMBReg&, TObject*) { fEmul.reset(); };
  Read(0);
  Read(1);
  fLoop.RunPending();
  EXPECT_EQ(fEmul, nullptr);

  fEmul = std::make_unique<TEmulClient>();
  fEmul->OnWrite = [this](TMBReg&, Bytes& data, TObject*) {
    fEmul.reset();
    data.push_back(1);  // entry and value outlive the device
  };
  fEmul->WriteReg(fRegs[0], {1}, nullptr);
  fEmul->WriteReg(fRegs[1], {1}, nullptr);
  fLoop.RunPending();
  EXPECT_EQ(fEmul, nullptr);
}

TEST_F(EmulatedDevice, DestroyedWithRequestsPendingItAnswersNone) {
  Read(0);
  fEmul->WriteReg(fRegs[0], {1}, &fOwner);
  fEmul.reset();
  fLoop.RunPending();
  EXPECT_THAT(fLog, IsEmpty());
}

TEST_F(EmulatedDevice, WithoutAWakeUpTheRequestStaysAndItsQueueStandsStill) {
  fLoop.Close();
  EXPECT_THAT([&] { Read(0); }, ThrowsMessage<Exception>("Device emulation - reading error"));
  EXPECT_THAT([&] { fEmul->WriteReg(fRegs[0], {1}, nullptr); },
              ThrowsMessage<Exception>("Device emulation - writing error"));
  EXPECT_EQ(fEmul->CountPendingTransactions(), 2);
  Read(1);
  fEmul->WriteReg(fRegs[0], {1}, nullptr);
  EXPECT_EQ(fEmul->CountPendingTransactions(), 4) << "nothing is posted any more, nothing raised";
}

TEST_F(EmulatedDevice, ServesTheQueueThatAMessageNames) {
  const auto send = [this](std::uint32_t number, std::intptr_t parameter) {
    TMessage message{number, parameter, 0, -1};
    fEmul->OnGetMessage(message);
    return message.Result;
  };
  Read(0);
  fEmul->WriteReg(fRegs[1], {1}, &fOwner);
  EXPECT_EQ(send(1025, 2), 0);
  EXPECT_EQ(send(1024, 0), -1) << "other messages are left alone";
  EXPECT_THAT(fLog, IsEmpty());
  EXPECT_EQ(send(1025, 1), 0);
  EXPECT_THAT(fLog, ElementsAre("write Two 1"));
  EXPECT_EQ(send(1025, 0), 0);
  EXPECT_EQ(fLog.size(), 2u);
}

TEST_F(EmulatedDevice, TheCopyOfARegisterWithEqualCodesHasNoWriteCode) {
  Describe(fRegs[0], {.Name = "One", .Read = 16, .Write = 16});
  int code = -1;
  fEmul->OnWrite = [&](TMBReg& reg, Bytes&, TObject*) { code = reg.MBFuncWrite(); };
  fEmul->WriteReg(fRegs[0], {1}, nullptr);
  fLoop.RunPending();
  EXPECT_EQ(code, 0);
}

TEST_F(EmulatedDevice, ARegisterTooLongToBeCopiedIsRefusedAndNothingQueued) {
  fRegs[0].SetRegData(Bytes(300));
  EXPECT_THAT([&] { fEmul->WriteReg(fRegs[0], {1}, nullptr); },
              ThrowsMessage<Exception>("More then 250 bytes in reg"));
  EXPECT_EQ(fEmul->CountPendingTransactions(), 0);
}

TEST_F(EmulatedDevice, RefusesRequestsFromAnotherThread) {
  EXPECT_THROW(OnAnotherThread([&] { Read(0); }), EThreadError);
  EXPECT_THROW(OnAnotherThread([&] { fEmul->WriteReg(fRegs[0], {1}, nullptr); }), EThreadError);
  EXPECT_EQ(fEmul->CountPendingTransactions(), 0);
}

TEST_F(EmulatedDevice, ItsEventsAreSetByTheTable) {
  int calls = 0;
  SetEventByTable(*fEmul, "OnRead", TEmulEvent([&](TMBReg&, TObject*) { ++calls; }));
  SetEventByTable(*fEmul, "OnWrite", TEmulWriteEvent([&](TMBReg&, Bytes&, TObject*) { ++calls; }));
  Read(0);
  fEmul->WriteReg(fRegs[0], {1}, nullptr);
  fLoop.RunPending();
  EXPECT_EQ(calls, 2);
  ExpectDefaultsOfNew(*fEmul, "OnRead OnWrite");
}

}  // namespace
}  // namespace OrvixModBus
