// Letters over a real port: every read function, and how failures reach the application.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "SimulatedLine.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;

class ReadsFromSimulator : public testing::Test {
 protected:
  ReadsFromSimulator() {
    fLetter.SetClient(&fLine.Client);
    fLetter.OnReadAllRegs = [this](TMBLetter&) { fEvents.push_back("OnReadAllRegs"); };
    fLetter.OnNoneAnswer = [this](TMBLetter&, std::uint8_t func) { Record("OnNoneAnswer", func); };
    fLetter.OnExeptionAnswer = [this](TMBLetter&, std::uint8_t func) {
      Record("OnExeptionAnswer", func);
    };
    fLetter.OnRegDataChange = [this](TMBLetter&, TMBReg& reg) { fEvents.push_back(reg.Name()); };
  }

  void Record(const char* event, std::uint8_t func) {
    fEvents.push_back(std::string(event) + " " + std::to_string(func));
  }

  // Changes the device between requests.
  TSimulatedDevice& Device() { return fLine.Simulator.Device(kDevice); }

  void ReadAll() {
    fLetter.ReadAllRegs();
    ASSERT_TRUE(fLine.RunDry());
  }

  TSimulatedLine fLine;
  TMBLetter fLetter;
  std::vector<std::string> fEvents;
};

TEST_F(ReadsFromSimulator, EveryReadFunctionInOneLetter) {
  {
    const auto lock = fLine.Thread.Lock();
    Device().Coils.Set(5, {1});
    Device().Discrete.Set(6, {1});
    Device().Extended.Set(1, {0x01020304});
    Device().Extended.Set(16, {0x05060708});
    Device().Paged.Set(0x01FF10, {0xA1, 0xA2, 0xA3});
    Device().Paged.Set(0x020000, {0xB1, 0xB2});
  }
  struct TRow {
    std::uint8_t Func;
    std::uint32_t Adress;
    std::uint8_t Count;
    Bytes Data;
  };
  const TRow rows[] = {
      {0x01, 5, 1, {1}},
      {0x02, 6, 1, {1}},
      {0x03, 0x0102, 2, {0x01, 0x02, 0x01, 0x03}},
      {0x04, 1, 1, {0xFF, 0xFE}},
      {0x21, 1, 2, {1, 2, 3, 4}},
      {0x21, 16, 2, {5, 6, 7, 8}},
      {0x43, 0x01FF10, 3, {0xA1, 0xA2, 0xA3}},
      {0x44, 0x020000, 2, {0xB1, 0xB2}},
  };
  for (const TRow& row : rows) AddReg(fLetter, row.Func, row.Adress, row.Count);
  ReadAll();
  EXPECT_EQ(fEvents.back(), "OnReadAllRegs");
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const TMBReg& reg = *fLetter.Regs().GetItem(static_cast<int>(i));
    EXPECT_EQ(reg.Data(), rows[i].Data) << reg.Name();
  }
}

TEST_F(ReadsFromSimulator, AnExceptionReplyIsAnEventAndTheLetterStillCompletes) {
  AddReg(fLetter, 0x03, 5000, 1);
  AddReg(fLetter, 0x04, 3, 1);
  ReadAll();
  EXPECT_THAT(fEvents, ElementsAre("OnExeptionAnswer 3", "F4_3", "OnReadAllRegs"));
}

TEST_F(ReadsFromSimulator, NoReplyIsAnEventAndTheLetterStillCompletes) {
  {
    const auto lock = fLine.Thread.Lock();
    fLine.Simulator.Faults.push_back({.Function = 0x03, .Fault = EFault::Silence});
  }
  fLine.Line.SetReceiveTimeout(20);
  AddReg(fLetter, 0x03, 5, 1);
  AddReg(fLetter, 0x04, 3, 1);
  ReadAll();
  EXPECT_THAT(fEvents, ElementsAre("OnNoneAnswer 3", "F4_3", "OnReadAllRegs"));
  EXPECT_EQ(fLetter.Regs().GetItem(0)->Data(), (Bytes{0, 0}));
}

TEST_F(ReadsFromSimulator, AWrongCheckSumIsAskedForAgain) {
  {
    const auto lock = fLine.Thread.Lock();
    fLine.Simulator.Faults.push_back({.Last = 1, .Fault = EFault::WrongCheckSum});
  }
  fLine.Line.SetMaxRetries(1);
  AddReg(fLetter, 0x03, 7, 1);
  ReadAll();
  EXPECT_THAT(fEvents, ElementsAre("F3_7", "OnReadAllRegs"));
  EXPECT_EQ(fLine.Line.Counters().Retries, 1u);
}

TEST_F(ReadsFromSimulator, ALetterThatReadsAgainFromItsOwnCompletion) {
  AddReg(fLetter, 0x03, 7, 1);
  int rounds = 0;
  fLetter.OnReadAllRegs = [&](TMBLetter& letter) {
    if (++rounds < 100) letter.ReadAllRegs();
  };
  ReadAll();
  EXPECT_EQ(rounds, 100);
}

TEST_F(ReadsFromSimulator, AHandlerThatThrowsStopsNeitherTheLineNorTheLetter) {
  AddReg(fLetter, 0x03, 7, 1);
  AddReg(fLetter, 0x03, 20, 1);
  AddReg(fLetter, 0x04, 3, 1);
  fLetter.OnRegDataChange = [this](TMBLetter&, TMBReg& reg) {
    fEvents.push_back(reg.Name());
    if (reg.Name() == "F3_7") throw Exception("from the handler");
  };
  fLetter.ReadAllRegs();
  EXPECT_THROW(fLine.RunDry(), Exception);
  EXPECT_TRUE(fLine.RunDry());
  EXPECT_THAT(fEvents, ElementsAre("F3_7", "F3_20", "F4_3", "OnReadAllRegs"));
  EXPECT_TRUE(fLetter.ChekAllRegsResive());
}

TEST_F(ReadsFromSimulator, TheLoopsHookTakesWhatHandlersThrow) {
  AddReg(fLetter, 0x03, 7, 1);
  fLetter.OnRegDataChange = [](TMBLetter&, TMBReg&) { throw Exception("from the handler"); };
  int taken = 0;
  TLoop::Current().OnException = [&](std::exception_ptr) { ++taken; };
  ReadAll();
  TLoop::Current().OnException = nullptr;
  EXPECT_EQ(taken, 1);
  EXPECT_THAT(fEvents, ElementsAre("OnReadAllRegs"));
}

TEST_F(ReadsFromSimulator, ALetterDestroyedWhileItsRequestsAreOnTheLine) {
  auto letter = std::make_unique<TMBLetter>();
  letter->SetClient(&fLine.Client);
  for (std::uint32_t adress = 0; adress < 40; adress += 2) AddReg(*letter, 0x03, adress, 1);
  letter->OnRegDataChange = [&](TMBLetter&, TMBReg& reg) {
    fEvents.push_back(reg.Name());
    letter.reset();
  };
  letter->ReadAllRegs();
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_THAT(fEvents, ElementsAre("F3_0"));
}

TEST_F(ReadsFromSimulator, AClientDestroyedByItsOwnEvent) {
  auto client = std::make_unique<TMBClient>();
  client->SetConnection(&fLine.Connection);
  fLetter.SetClient(client.get());
  AddReg(fLetter, 0x03, 1, 1);
  AddReg(fLetter, 0x03, 3, 1);
  client->OnRead = [&](auto&&...) { client.reset(); };
  fLetter.ReadAllRegs();
  EXPECT_TRUE(TLoop::Current().RunUntil([&] { return client == nullptr; }, kLineLimit));
  EXPECT_EQ(fLetter.Client(), nullptr);
  EXPECT_EQ(fLine.Line.CountPendingTransactions(nullptr), 0);
}

TEST_F(ReadsFromSimulator, TwoClientsShareTheLineInTheOrderOfAsking) {
  {
    const auto lock = fLine.Thread.Lock();
    fLine.Simulator.Device(2).Holding.Set(0, {0x2222});
  }
  TMBClient second;
  second.SetConnection(&fLine.Connection);
  second.SetAdres(2);
  TMBLetter other;
  other.SetClient(&second);
  AddReg(other, 0x03, 0, 1).SetDisplayName("Second");
  AddReg(fLetter, 0x03, 1, 1);
  AddReg(fLetter, 0x03, 3, 1);
  other.OnRegDataChange = fLetter.OnRegDataChange;
  fLetter.ReadAllRegs();
  other.ReadAllRegs();
  ASSERT_TRUE(TLoop::Current().RunUntil(
      [&] { return fLine.Line.CountPendingTransactions(nullptr) == 0; }, kLineLimit));
  EXPECT_THAT(fEvents, ElementsAre("F3_1", "F3_3", "OnReadAllRegs", "Second"));
  EXPECT_EQ(other.Regs().GetItem(0)->Data(), (Bytes{0x22, 0x22}));
}

TEST(PacedLine, ALetterAtTheSpeedOfTheWire) {
  TSimulatedLine line({.BaudRate = 115200, .Turnaround = std::chrono::milliseconds(1)});
  TMBLetter letter;
  letter.SetClient(&line.Client);
  for (std::uint32_t adress = 0; adress < 300; adress += 3) AddReg(letter, 0x03, adress, 2);
  letter.ReadAllRegs();
  ASSERT_TRUE(line.RunDry());
  for (const TMBReg* reg : letter.Regs().RegList()) {
    EXPECT_EQ(reg->GetData(3), (reg->Adress() + 1) & 0xFF) << reg->Name();
  }
}

TEST(NoPort, TheErrorNamesThePortAndTheSystemsReason) {
  TMBRTUConnection line;
  line.SetPortProperty("/dev/ttyNowhere");
  try {
    line.SetActive(true);
    FAIL() << "opened";
  } catch (const EModLinkError& error) {
    EXPECT_THAT(error.what(), testing::AllOf(testing::HasSubstr("/dev/ttyNowhere"),
                                             testing::HasSubstr("No such file or directory")));
  }
  EXPECT_FALSE(line.Active());
}

}  // namespace
}  // namespace OrvixModBus
