// Every allocation of a read or a write fails once: somebody is told, nothing is lost or stuck.
#include <gtest/gtest.h>

#include <vector>

#include "tests/src/uTestRegs.h"
#include "uVirtualLine.h"
#include "uWalk.h"

namespace OrvixModBus {
namespace {

class TLetterScenario : public TVirtualLine {
 public:
  TLetterScenario() {
    auto& number = *Types.TypeNumbers().Add();
    number.SetName("Number");
    number.SetIntPart(2);
    number.SetMultiplier(1);
    number.SetMaxValue(65535);
    auto& bits = *Types.TypeBins().Add();
    bits.SetName("Bits");
    bits.Dictionary().Add("0=no|a long text for the lowest bit");
    TMBRegs& regs = Letter.Regs();
    AddReg(regs, {"A", 10}).SetRegType(TRegType::rtNum);
    regs.GetItem(0)->SetTypeName("Number");
    AddReg(regs, {"B", 11}).SetRegType(TRegType::rtBin);
    regs.GetItem(1)->SetTypeName("Bits");
    AddReg(regs, {"Text", 12, 20, 0x03, 2, 0x10}).SetRegType(TRegType::rtStr);
    AddReg(regs, {"Far", 100});
    AddReg(regs, {"Paged", 0x141, 40, 0x43, 1, 0x66}).SetRegType(TRegType::rtStr);
    AddReg(regs, {"Coil", 3, 1, 0x01, 2, 0x00});
    Device.Holding.Set(12, std::vector<std::uint32_t>(20, 0x4142));
    Line.SetActive(true);
  }

  void CheckAfterFailure() {
    Settle();
    EXPECT_EQ(Line.CountPendingTransactions(nullptr), 0);
    EXPECT_EQ(Client.CountPendingTransactions(), 0);
    EXPECT_TRUE(Letter.ChekAllRegsResive());
    if (!Line.Active()) Line.SetActive(true);
  }
  bool WasTold() const { return Faults > 0; }

  int Complete = 0;
};

class TReading : public TLetterScenario {
 public:
  TReading() {
    Letter.OnReadAllRegs = [this](TMBLetter&) { ++Complete; };
  }
  void Run() {
    Complete = 0;
    Letter.ReadAllRegs();
    RunDry();
  }
  bool IsDone() {
    const TMBRegs& regs = Letter.Regs();
    return Complete == 1 && Letter.ChekAllRegsResive() && regs.GetItem(0)->ValueInt() == 10 &&
           regs.GetItem(1)->Data() == Bytes{0, 11} && regs.GetItem(2)->ValueStr().size() == 40 &&
           regs.GetItem(3)->Data() == Bytes{0, 100} && regs.GetItem(4)->ValueStr().size() == 40 &&
           regs.GetItem(5)->Data() == Bytes{1, 1};
  }
};

class TReadingAgain : public TReading {
 public:
  TReadingAgain() { Run(); }  // what is kept from one reading to the next is there
};

class TReadingByEmulation : public TReading {
 public:
  TReadingByEmulation() {
    Connection.SetConnectionType(TConnectionType::mbEmul);
    Client.OnGetEmulData = [](TMBReg& reg, Bytes& data) {
      const TOwnMemory own;
      const auto first = static_cast<std::uint8_t>(reg.Adress());
      data.assign(static_cast<std::size_t>(reg.CountInByte()),
                  reg.RegType() == TRegType::rtStr ? std::uint8_t{'A'} : std::uint8_t{0});
      if (reg.RegType() != TRegType::rtStr) data.back() = first;
      if (reg.MBFuncRead() == 0x01) data.assign(1, 0xFF);
    };
  }
};

class TWriting : public TLetterScenario {
 public:
  TWriting() {
    Letter.OnWriteAllRegs = [this](TMBLetter&) { ++Complete; };
    Letter.Regs().GetItem(0)->SetRegData({0x12, 0x34});
    Letter.Regs().GetItem(4)->SetRegData(Bytes(40, 0x55));
    Letter.Regs().DeleteByName("Coil");
  }
  void Run() {
    Complete = 0;
    Letter.WriteAllRegs();
    RunDry();
  }
  bool IsDone() {
    return Complete >= 1 && Letter.ChekAllRegsResive() && Device.Holding.Get(10) == 0x1234 &&
           Device.Paged.Get(0x141) == 0x55;
  }
};

class TWritingByEmulation : public TWriting {
 public:
  TWritingByEmulation() {
    Connection.SetConnectionType(TConnectionType::mbEmul);
    Client.OnSetEmulData = [this](TMBReg&, Bytes&) { ++fWrites; };
  }
  void Run() {
    fWrites = 0;
    TWriting::Run();
  }
  bool IsDone() { return Complete >= 1 && Letter.ChekAllRegsResive() && fWrites == kWrites; }

 private:
  // The emulated block write writes every register, the other write those again.
  static constexpr int kWrites = 9;

  int fWrites = 0;
};

TEST(FailingMemory, ReadingALetter) { WalkAllocations<TReading>(60); }
TEST(FailingMemory, ReadingALetterAgain) { WalkAllocations<TReadingAgain>(5); }
TEST(FailingMemory, ReadingALetterByEmulation) { WalkAllocations<TReadingByEmulation>(20); }
TEST(FailingMemory, WritingALetter) { WalkAllocations<TWriting>(40); }
TEST(FailingMemory, WritingALetterByEmulation) { WalkAllocations<TWritingByEmulation>(20); }

}  // namespace
}  // namespace OrvixModBus
