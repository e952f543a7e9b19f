// Letters read from servers of other stacks: every register's value, and the requests it took.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "Peers.h"
#include "tests/support/GroupingRules.h"
#include "uMBLetters.h"

namespace OrvixModBus {
namespace {

class ReadsFromPeers : public testing::TestWithParam<TPeerKind> {
 protected:
  ReadsFromPeers() : fLine(GetParam()) {
    fLine.Line.OnTrace = [this](TModbusConnection&, TTraceDirection direction,
                                std::span<const std::uint8_t> frame, auto) {
      if (direction == TTraceDirection::tdSent) fSent.emplace_back(frame.begin(), frame.end());
    };
    fLetter.SetClient(&fLine.Client);
    fLetter.OnReadAllRegs = [this](TMBLetter&) { fComplete = true; };
    fLetter.OnNoneAnswer = [](TMBLetter&, std::uint8_t func) {
      ADD_FAILURE() << "no answer to function " << int{func};
    };
    fLetter.OnExeptionAnswer = [](TMBLetter&, std::uint8_t func) {
      ADD_FAILURE() << "bad answer to function " << int{func};
    };
  }

  TMBReg& AddReg(std::uint8_t func, std::uint32_t adress, std::uint8_t count) {
    TMBReg& reg = *fLetter.Regs().Add();
    reg.SetDisplayName("F" + std::to_string(func) + "_" + std::to_string(adress));
    reg.SetMBFuncRead(func);
    reg.SetRegAdress(adress);
    reg.SetBytesInOneReg(func <= 0x02 ? 1 : 2);
    reg.SetRegsCount(count);
    return reg;
  }

  void ReadAll() {
    fLetter.ReadAllRegs();
    ASSERT_TRUE(fLine.RunDry());
    ASSERT_TRUE(fComplete);
  }

  // The request data (function code, address, quantity) of every frame sent.
  std::vector<Bytes> Requests() const {
    std::vector<Bytes> requests;
    for (const Bytes& frame : fSent) requests.emplace_back(frame.begin() + 1, frame.end() - 2);
    return requests;
  }

  TPeerLine fLine;
  TMBLetter fLetter;
  std::vector<Bytes> fSent;
  bool fComplete = false;
};

Bytes ExpectedData(const TMBReg& reg) {
  Bytes data;
  for (std::uint32_t i = 0; i < reg.GetRegsCount(); ++i) {
    const std::uint32_t a = reg.Adress() + i;
    const std::uint16_t word = reg.MBFuncRead() == 0x03 ? PeerHolding(a) : PeerInput(a);
    data.push_back(static_cast<std::uint8_t>(word >> 8));
    data.push_back(static_cast<std::uint8_t>(word & 0xFF));
  }
  return data;
}

Bytes ExpectedBit(const TMBReg& reg) {
  const bool set = reg.MBFuncRead() == 0x01 ? PeerCoil(reg.Adress()) : PeerDiscrete(reg.Adress());
  return Bytes(reg.Data().size(), set ? 1 : 0);
}

void ExpectTheirValues(const TMBRegs& regs) {
  for (const TMBReg* reg : regs.RegList()) {
    const bool bit = reg->MBFuncRead() <= 0x02;
    EXPECT_EQ(reg->Data(), bit ? ExpectedBit(*reg) : ExpectedData(*reg)) << reg->Name();
  }
}

TEST_P(ReadsFromPeers, AllFourTablesInOneLetter) {
  for (const std::uint8_t func : kStandardReads) {
    for (const std::uint32_t adress : {0u, 1u, 2u, 7u, 8u, 9u, 300u, 511u, 9999u}) {
      AddReg(func, adress, 1);
    }
  }
  ReadAll();
  ExpectTheirValues(fLetter.Regs());
}

TEST_P(ReadsFromPeers, TheLongestRunOfEachFunction) {
  AddReg(0x03, 1000, 125);
  AddReg(0x04, 2001, 125);
  for (std::uint32_t adress = 3000; adress < 3000 + 128; ++adress) AddReg(0x01, adress, 1);
  ReadAll();
  ExpectTheirValues(fLetter.Regs());
}

// A plant as they are: clusters of values of one, two and four words with gaps between them.
TEST_P(ReadsFromPeers, FiveHundredRegistersInTheRequestsOfTheRules) {
  std::mt19937 random(500);
  const auto below = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); };
  std::uint32_t adress = 0;
  for (int i = 0; i < 500; ++i) {
    if (below(12) == 0) adress += 1 + below(40);
    const auto func = static_cast<std::uint8_t>(i % 100 < 85 ? 0x03 : 0x04);
    const auto count = static_cast<std::uint8_t>(1u << below(3));
    AddReg(func, adress, count);
    adress += count;
  }
  ReadAll();
  ExpectTheirValues(fLetter.Regs());
  EXPECT_EQ(Requests(), RequestsByTheRules(fLetter.Regs()));
}

TEST_P(ReadsFromPeers, AnAddressThatIsNotThereIsAnExceptionAnswer) {
  AddReg(0x03, 20000, 1);
  int refused = 0;
  fLetter.OnExeptionAnswer = [&](TMBLetter&, std::uint8_t func) { refused += func == 0x03; };
  ReadAll();
  EXPECT_EQ(refused, 1);
  EXPECT_EQ(fLetter.Regs().GetItem(0)->Data(), (Bytes{0, 0}));
}

INSTANTIATE_TEST_SUITE_P(Peers, ReadsFromPeers, testing::ValuesIn(PeerKinds()),
                         [](const auto& kind) { return kind.param.Name; });

}  // namespace
}  // namespace OrvixModBus
