// Letters written to servers of other stacks: what the server's own tables hold afterwards.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Peers.h"
#include "platform/rtl/uNumText.h"
#include "uMBLetters.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;

constexpr std::uint32_t kCells = 10000;  // addresses that the peers have
const char* const kCoils = "coils";
const char* const kRegisters = "registers";

// What a peer's cells hold before anything is written.
std::vector<int> Untouched(const std::string& table, std::uint32_t first, std::uint32_t count) {
  std::vector<int> cells;
  for (std::uint32_t a = first; a < first + count; ++a) {
    cells.push_back(table == kCoils ? PeerCoil(a) : PeerHolding(a));
  }
  return cells;
}

class WritesToPeers : public testing::TestWithParam<TPeerKind>, protected TPeerLine {
 protected:
  WritesToPeers() : TPeerLine(GetParam()) {
    fLetter.SetClient(&Client);
    fLetter.OnWriteReg = [this](TMBLetter&, TMBReg& reg) {
      fEvents.push_back(reg.Name() + " written");
    };
    fLetter.OnWriteAllRegs = [this](TMBLetter&) { fEvents.push_back("all written"); };
    fLetter.OnNoneAnswer = [this](TMBLetter&, std::uint8_t func) { Note("none", func); };
    fLetter.OnExeptionAnswer = [this](TMBLetter&, std::uint8_t func) { Note("exeption", func); };
  }

  void Note(const std::string& event, std::uint8_t func) {
    fEvents.push_back(event + " $" + IntToHex(func, 2));
  }

  // A coil for $05, else a holding register, or several.
  TMBReg& AddReg(const std::string& name, std::uint8_t write, std::uint32_t adress,
                 std::uint8_t count = 1) {
    TMBReg& reg = *fLetter.Regs().Add();
    reg.SetDisplayName(name);
    reg.SetMBFuncRead(write == 0x05 ? 0x01 : 0x03);
    reg.SetMBFuncWrite(write);
    reg.SetRegAdress(adress);
    reg.SetBytesInOneReg(write == 0x05 ? 1 : 2);
    reg.SetRegsCount(count);
    return reg;
  }

  // Writes data to an address without a register that stays.
  void Write(std::uint8_t func, std::uint32_t adress, const Bytes& data) {
    TMBReg& reg = AddReg("Given", func, adress, static_cast<std::uint8_t>(data.size() / 2));
    fLetter.WriteReg(&reg, 0, data);
    fLetter.Regs().DeleteByName("Given");
  }

  TMBLetter fLetter;
  std::vector<std::string> fEvents;
};

TEST_P(WritesToPeers, TheCellsHoldWhatWasWrittenAndTheirNeighboursWhatTheyHeld) {
  const struct {
    const char* Name;
    std::uint8_t Func;
    std::uint32_t Adress;
    Bytes Data;
    const char* Table;
    std::vector<int> Cells;
  } rows[] = {
      {"a coil on", 0x05, 10, {0xFF, 0x00}, kCoils, {1}},
      {"a coil off", 0x05, 12, {0x00, 0x00}, kCoils, {0}},
      {"the first coil", 0x05, 0, {0x00, 0x00}, kCoils, {0}},
      {"the last coil", 0x05, 9999, {0x00, 0x00}, kCoils, {0}},
      {"a register", 0x06, 10, {0x12, 0x34}, kRegisters, {0x1234}},
      {"two one by one", 0x06, 20, {0x00, 0x01, 0xFF, 0xFE}, kRegisters, {1, 0xFFFE}},
      {"the last register", 0x06, 9999, {0x80, 0x00}, kRegisters, {0x8000}},
      {"one by $10", 0x10, 300, {0x56, 0x78}, kRegisters, {0x5678}},
      {"three by $10", 0x10, 511, {0, 1, 0, 2, 0xFF, 0xFF}, kRegisters, {1, 2, 0xFFFF}},
      {"up to the last", 0x10, 9998, {0xAA, 0xBB, 0xCC, 0xDD}, kRegisters, {0xAABB, 0xCCDD}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.Name);
    const auto count = static_cast<std::uint32_t>(row.Cells.size());
    const std::uint32_t before = row.Adress == 0 ? 0 : 1;
    const std::uint32_t after = row.Adress + count < kCells ? 1 : 0;
    std::vector<int> expected = Ask(row.Table, row.Adress - before, count + before + after);
    std::ranges::copy(row.Cells, expected.begin() + before);
    Write(row.Func, row.Adress, row.Data);
    ASSERT_TRUE(RunDry());
    EXPECT_EQ(Ask(row.Table, row.Adress - before, count + before + after), expected);
    EXPECT_THAT(fEvents, ElementsAre("all written"));
    fEvents.clear();
  }
}

TEST_P(WritesToPeers, TheRegisterTakesWhatTheServerEchoes) {
  TMBReg& level = AddReg("Level", 0x06, 40);
  TMBReg& pump = AddReg("Pump", 0x05, 40);
  fLetter.WriteRegByName("Level", 0, {0x12, 0x34});
  fLetter.WriteRegByName("Pump", 0, {0xFF, 0x00});
  ASSERT_TRUE(RunDry());
  EXPECT_THAT(fEvents, ElementsAre("Level written", "Pump written", "all written"));
  EXPECT_EQ(level.Data(), (Bytes{0x12, 0x34}));
  EXPECT_EQ(pump.Data(), (Bytes{0xFF}));
  EXPECT_THAT(Ask(kRegisters, 40, 1), ElementsAre(0x1234));
  EXPECT_THAT(Ask(kCoils, 40, 1), ElementsAre(1));
}

TEST_P(WritesToPeers, NeighboursInOneRequest) {
  int requests = 0;
  Line.OnTrace = [&](TModbusConnection&, TTraceDirection direction, std::span<const std::uint8_t>,
                     auto) { requests += direction == TTraceDirection::tdSent; };
  AddReg("C", 0x10, 602).SetData(1, 3);
  AddReg("A", 0x10, 600).SetData(0, 1);
  AddReg("B", 0x10, 601).SetData(1, 2);
  fLetter.WriteRegsF10(std::vector<std::string>{"C", "A", "B"});
  ASSERT_TRUE(RunDry());
  EXPECT_EQ(requests, 1);
  EXPECT_THAT(fEvents, ElementsAre("all written"));
  EXPECT_THAT(Ask(kRegisters, 599, 5),
              ElementsAre(PeerHolding(599), 0x0100, 2, 3, PeerHolding(603)));
}

// Modbus Application Protocol V1.1b3, 6.12: at most 123 registers.
TEST_P(WritesToPeers, TheLongestRun) {
  Bytes data;
  std::vector<int> expected;
  for (int i = 0; i < 123; ++i) {
    data.push_back(static_cast<std::uint8_t>(200 - i));
    data.push_back(static_cast<std::uint8_t>(i));
    expected.push_back((200 - i) * 256 + i);
  }
  Write(0x10, 1000, data);
  ASSERT_TRUE(RunDry());
  EXPECT_THAT(fEvents, ElementsAre("all written"));
  EXPECT_EQ(Ask(kRegisters, 1000, 123), expected);
  EXPECT_EQ(Ask(kRegisters, 1123, 1), Untouched(kRegisters, 1123, 1));
}

TEST_P(WritesToPeers, AllRegistersOfALetterAndReadBack) {
  const Bytes bytes{0x11, 0x22, 0x33, 0x44};
  for (const auto& [name, func, adress, count] :
       {std::tuple{"Block", 0x10, 700u, 2}, {"Single", 0x06, 703u, 1}, {"Pair", 0x06, 710u, 2}}) {
    TMBReg& reg =
        AddReg(name, static_cast<std::uint8_t>(func), adress, static_cast<std::uint8_t>(count));
    for (std::uint16_t i = 0; i < reg.CountInByte(); ++i) reg.SetData(i, bytes[i]);
  }
  fLetter.WriteAllRegs();
  ASSERT_TRUE(RunDry());
  EXPECT_EQ(fEvents.back(), "all written");
  EXPECT_THAT(Ask(kRegisters, 700, 4), ElementsAre(0x1122, 0x3344, PeerHolding(702), 0x1122));
  EXPECT_THAT(Ask(kRegisters, 710, 3), ElementsAre(0x1122, 0x3344, PeerHolding(712)));
  fLetter.Regs().ClearRegsData();
  fLetter.ReadAllRegs();
  ASSERT_TRUE(RunDry());
  EXPECT_EQ(fLetter.Regs().GetItemByName("Block")->Data(), bytes);
  EXPECT_EQ(fLetter.Regs().GetItemByName("Single")->Data(), (Bytes{0x11, 0x22}));
  EXPECT_EQ(fLetter.Regs().GetItemByName("Pair")->Data(), bytes);
}

TEST_P(WritesToPeers, AHundredWritesInAnyOrder) {
  constexpr std::uint32_t kPlace = 500;
  std::mt19937 random(100);
  const auto below = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
  auto coils = Untouched(kCoils, 0, kPlace);
  auto registers = Untouched(kRegisters, 0, kPlace);
  for (int i = 0; i < 100; ++i) {
    const std::uint8_t func = Bytes{0x05, 0x06, 0x10}[below(3)];
    const std::uint32_t adress = below(kPlace - 20);
    if (func == 0x05) {
      coils[adress] = below(2) == 1;
      Write(func, adress, {static_cast<std::uint8_t>(coils[adress] == 1 ? 0xFF : 0), 0});
      continue;
    }
    Bytes data(2u * (1 + below(func == 0x06 ? 2 : 20)));
    for (std::size_t k = 0; k < data.size(); ++k) {
      data[k] = static_cast<std::uint8_t>(below(256));
      if (k % 2 == 1) registers[adress + k / 2] = data[k - 1] * 256 + data[k];
    }
    Write(func, adress, data);
  }
  ASSERT_TRUE(RunDry());
  EXPECT_EQ(Ask(kCoils, 0, kPlace), coils);
  EXPECT_EQ(Ask(kRegisters, 0, kPlace), registers);
  EXPECT_THAT(fEvents, testing::Each("all written"));
  EXPECT_TRUE(fLetter.ChekAllRegsResive());
}

TEST_P(WritesToPeers, AWritePastTheTablesIsAnExceptionAnswerAndChangesNothing) {
  const struct {
    const char* Name;
    std::uint8_t Func;
    std::uint32_t Adress;
    std::uint8_t Count;
    const char* Event;
  } rows[] = {
      {"coil", 0x05, 10000, 1, "exeption $05"},
      {"register", 0x06, 10000, 1, "exeption $06"},
      {"the last address of all", 0x06, 65535, 1, "exeption $06"},
      {"run", 0x10, 10000, 2, "exeption $10"},
      {"run that begins inside", 0x10, 9999, 2, "exeption $10"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.Name);
    TMBReg& reg = AddReg("Refused", row.Func, row.Adress, row.Count);
    const Bytes held(reg.Data().begin(), reg.Data().end());
    fLetter.WriteReg(&reg, 0, Bytes(2u * row.Count, row.Func == 0x05 ? 0x00 : 0xA5));
    ASSERT_TRUE(RunDry());
    EXPECT_THAT(fEvents, ElementsAre(row.Event, "all written"));
    EXPECT_EQ(reg.Data(), held);
    EXPECT_EQ(Ask(kCoils, 9990, 10), Untouched(kCoils, 9990, 10));
    EXPECT_EQ(Ask(kRegisters, 9990, 10), Untouched(kRegisters, 9990, 10));
    fLetter.Regs().DeleteByName("Refused");
    fEvents.clear();
  }
}

TEST_P(WritesToPeers, AWriteAfterARefusedOneArrives) {
  Write(0x06, 20000, {1, 2});
  Write(0x06, 50, {1, 2});
  ASSERT_TRUE(RunDry());
  EXPECT_THAT(fEvents, ElementsAre("exeption $06", "all written"));
  EXPECT_THAT(Ask(kRegisters, 50, 1), ElementsAre(0x0102));
}

TEST_P(WritesToPeers, AWriteToAnotherServersAddressChangesNothing) {
  Line.SetReceiveTimeout(100);
  Client.SetAdres(kServer + 1);
  Write(0x06, 50, {1, 2});
  ASSERT_TRUE(RunDry());
  EXPECT_THAT(fEvents, ElementsAre("none $06", "all written"));
  EXPECT_EQ(Ask(kRegisters, 50, 1), Untouched(kRegisters, 50, 1));
}

INSTANTIATE_TEST_SUITE_P(Peers, WritesToPeers, testing::ValuesIn(PeerKinds()),
                         [](const auto& kind) { return kind.param.Name; });

}  // namespace
}  // namespace OrvixModBus
