// Letters written over a real port: what the device then holds, and by which requests.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "SimulatedLine.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;

constexpr std::uint32_t kSeed = 20261121;
constexpr std::uint8_t kPagedWrites[] = {0x66, 0x65};

struct TWriteKind {
  std::uint8_t Write, Read, Width;
  int MaxCount;
};
constexpr TWriteKind kKinds[] = {{0x05, 0x01, 2, 1},  {0x06, 0x03, 2, 3},  {0x6C, 0x03, 2, 3},
                                 {0x10, 0x03, 2, 20}, {0x66, 0x43, 1, 60}, {0x65, 0x44, 1, 60}};

bool IsPaged(std::uint8_t write) { return write == 0x65 || write == 0x66; }

/// A letter of registers that do not overlap, now and then with gaps, of any data.
class TRandomLetter {
 public:
  TRandomLetter(TMBLetter& letter, std::mt19937& random) : fLetter(letter), fRandom(random) {
    for (const TWriteKind& kind : kKinds) fNext[kind.Read] = Number(0, 900);
    fNext[0x43] += static_cast<std::uint32_t>(Number(0, 3)) << 16;
    const auto count = static_cast<int>(Number(1, 12));
    for (int i = 0; i < count; ++i) Add(kKinds[Number(0, std::size(kKinds) - 1)]);
  }

 private:
  template <class T>
  std::uint32_t Number(std::uint32_t least, T greatest) {
    return std::uniform_int_distribution<std::uint32_t>(
        least, static_cast<std::uint32_t>(greatest))(fRandom);
  }

  void Add(const TWriteKind& kind) {
    TMBReg& reg = *fLetter.Regs().Add();
    const auto count = static_cast<std::uint8_t>(Number(1, kind.MaxCount));
    std::uint32_t& next = fNext[kind.Read == 0x44 ? 0x43 : kind.Read];
    next += Number(0, 2);
    reg.SetDisplayName("R" + std::to_string(reg.Index()));
    reg.SetMBFuncRead(kind.Read);
    reg.SetMBFuncWrite(kind.Write);
    reg.SetRegAdress(next);
    reg.SetBytesInOneReg(kind.Width);
    reg.SetRegsCount(count);
    Bytes data(reg.Data().size());
    for (std::uint8_t& byte : data) byte = static_cast<std::uint8_t>(Number(0, 255));
    if (kind.Write == 0x05) data = {static_cast<std::uint8_t>(Number(0, 1) * 0xFF), 0};
    reg.SetRegData(data);
    next += count;
  }

  TMBLetter& fLetter;
  std::mt19937& fRandom;
  std::map<std::uint8_t, std::uint32_t> fNext;  // first free address, by read code
};

Bytes DataOf(const TMBReg& reg) { return {reg.Data().begin(), reg.Data().end()}; }

std::uint8_t Byte(std::uint32_t value, int index) {
  return static_cast<std::uint8_t>(value >> (8 * index) & 0xFF);
}

/// The requests that write a letter, said slowly: merged blocks by $66, then by $65, then the
/// others in collection order.
std::vector<Bytes> WritesByTheRules(const TMBRegs& regs) {
  std::vector<Bytes> requests;
  for (const std::uint8_t func : kPagedWrites) {
    TMBRegList sorted = regs.RegList();
    std::erase_if(sorted, [&](const TMBReg* reg) { return reg->MBFuncWrite() != func; });
    std::ranges::stable_sort(sorted, {}, &TMBReg::Adress);
    std::vector<std::pair<std::uint32_t, Bytes>> blocks;
    for (const TMBReg* reg : sorted) {
      const Bytes data = DataOf(*reg);
      const bool joins = !blocks.empty() &&
                         blocks.back().first + blocks.back().second.size() == reg->Adress() &&
                         blocks.back().second.size() + data.size() < 128;
      if (!joins) blocks.emplace_back(reg->Adress(), Bytes());
      Bytes& block = blocks.back().second;
      block.insert(block.end(), data.begin(), data.end());
    }
    for (const auto& [start, data] : blocks) {
      Bytes request{func, Byte(start, 2), Byte(start, 1), Byte(start, 0),
                    static_cast<std::uint8_t>(data.size())};
      request.insert(request.end(), data.begin(), data.end());
      requests.push_back(request);
    }
  }
  for (const TMBReg* reg : regs.RegList()) {
    const std::uint8_t func = reg->MBFuncWrite();
    const Bytes data = DataOf(*reg);
    if (IsPaged(func)) continue;
    if (func == 0x10) {
      Bytes request{func, Byte(reg->Adress(), 1), Byte(reg->Adress(), 0),
                    0,    reg->GetRegsCount(),    static_cast<std::uint8_t>(data.size())};
      request.insert(request.end(), data.begin(), data.end());
      requests.push_back(request);
      continue;
    }
    for (std::uint32_t i = 0; i < reg->GetRegsCount(); ++i) {
      const std::uint32_t adress = reg->Adress() + i;
      requests.push_back({func, Byte(adress, 1), Byte(adress, 0), data[2 * i], data[2 * i + 1]});
    }
  }
  return requests;
}

/// What the device's own tables hold where the register lies.
Bytes HeldBy(TSimulatedDevice& device, const TMBReg& reg) {
  Bytes held;
  for (std::uint32_t i = 0; i < reg.GetRegsCount(); ++i) {
    const std::uint32_t adress = reg.Adress() + i;
    if (IsPaged(reg.MBFuncWrite())) {
      held.push_back(Byte(device.Paged.Get(adress, 0), 0));
    } else if (reg.MBFuncWrite() == 0x05) {
      held.insert(held.end(), {Byte(device.Coils.Get(adress, 0) * 0xFFu, 0), 0});
    } else {
      const std::uint32_t value = device.Holding.Get(adress, 0);
      held.insert(held.end(), {Byte(value, 1), Byte(value, 0)});
    }
  }
  return held;
}

class WritesToSimulator : public testing::Test {
 protected:
  WritesToSimulator() {
    fLetter.SetClient(&fLine.Client);
    fLine.KeepJournal();
    const auto lock = fLine.Thread.Lock();
    TSimulatedDevice& device = Device();
    const std::vector<std::uint32_t> zeros(2000);
    device.Coils.Set(0, zeros);
    device.Holding.Set(0, zeros);
    for (std::uint32_t page = 0; page < 4; ++page) device.Paged.Set(page << 16, zeros);
  }

  TSimulatedDevice& Device() { return fLine.Simulator.Device(kDevice); }

  void ExpectHeldAsWritten(const TMBLetter& letter) {
    const auto lock = fLine.Thread.Lock();
    for (const TMBReg* reg : letter.Regs().RegList()) {
      ASSERT_EQ(HeldBy(Device(), *reg), DataOf(*reg)) << reg->Name();
    }
  }

  /// A coil's one bit comes back in each of its bytes.
  void ExpectReadBackAsWritten(TMBLetter& written) {
    TMBLetter copy;
    copy.Assign(written);
    copy.Regs().ClearRegsData();
    copy.ReadAllRegs();
    ASSERT_TRUE(fLine.RunDry());
    for (int i = 0; i < copy.Regs().Count(); ++i) {
      const TMBReg& reg = *written.Regs().GetItem(i);
      const std::uint8_t bit = reg.GetData(0) & 1;
      const Bytes expected = reg.MBFuncWrite() == 0x05 ? Bytes{bit, bit} : DataOf(reg);
      ASSERT_EQ(DataOf(*copy.Regs().GetItem(i)), expected) << reg.Name();
    }
  }

  TSimulatedLine fLine;
  TMBLetter fLetter;
};

TEST_F(WritesToSimulator, AThousandRandomLettersArriveByteForByteAndReadBack) {
  std::mt19937 random(kSeed);
  for (int round = 0; round < 1000; ++round) {
    SCOPED_TRACE("letter " + std::to_string(round));
    TMBLetter letter;
    letter.SetClient(&fLine.Client);
    TRandomLetter(letter, random);
    const std::vector<Bytes> expected = WritesByTheRules(letter.Regs());
    letter.WriteAllRegs();
    ASSERT_TRUE(fLine.RunDry());
    ASSERT_EQ(fLine.TakeRequests(), expected);
    ASSERT_TRUE(letter.ChekAllRegsResive());
    ASSERT_NO_FATAL_FAILURE(ExpectHeldAsWritten(letter));
    ASSERT_NO_FATAL_FAILURE(ExpectReadBackAsWritten(letter));
    fLine.TakeRequests();
  }
}

TEST_F(WritesToSimulator, ARefusedWriteIsAnEventAndChangesNothing) {
  TMBReg& reg = AddReg(fLetter, 0x03, 5000, 1);
  reg.SetMBFuncWrite(0x06);
  std::vector<int> refused;
  fLetter.OnExeptionAnswer = [&](TMBLetter&, std::uint8_t func) { refused.push_back(func); };
  fLetter.WriteReg(&reg, 0, {0x12, 0x34});
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_THAT(refused, ElementsAre(0x06));
  EXPECT_EQ(DataOf(reg), (Bytes{0, 0}));
  EXPECT_TRUE(fLetter.ChekAllRegsResive());
}

TEST_F(WritesToSimulator, AWriteAmongReadsKeepsTheOrderOfAsking) {
  TMBReg& reg = AddReg(fLetter, 0x03, 7, 1);
  reg.SetMBFuncWrite(0x06);
  std::vector<Bytes> seen;
  fLetter.OnRegDataChange = [&](TMBLetter&, TMBReg& changed) { seen.push_back(DataOf(changed)); };
  fLetter.ReadAllRegs();
  fLetter.WriteReg(&reg, 0, {0x12, 0x34});
  fLetter.ReadAllRegs();
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_THAT(seen, ElementsAre(Bytes{0, 0}, Bytes{0x12, 0x34}, Bytes{0x12, 0x34}));
}

TEST_F(WritesToSimulator, FileRecordsOfAStructureComeInGroups) {
  {
    const auto lock = fLine.Thread.Lock();
    for (std::uint16_t n = 0; n < 31; ++n) {
      Device().Files[5].Records[n] = Bytes(14, static_cast<std::uint8_t>(n));
    }
  }
  TMBRegTypeStructure last(nullptr);
  last.SetOffset(10);
  last.SetSize(4);
  TMBRegTypeStructure* const fields[] = {&last};
  std::vector<Bytes> records;
  fLine.Client.OnReadFile.Add(
      [&](TMBClient&, TServerReply kind, TModbusFileRecordList& list, TObject*) {
        EXPECT_EQ(kind, TServerReply::srNormalReply);
        for (int i = 0; i < list.Count(); ++i) records.push_back(list.Records(i).Data);
      });
  fLine.Client.ReadFileByStructur(5, 0, 31, fields, nullptr);
  ASSERT_TRUE(fLine.RunDry());
  ASSERT_EQ(records.size(), 31u);
  for (std::uint8_t n = 0; n < 31; ++n) EXPECT_EQ(records[n], Bytes(14, n));
  EXPECT_EQ(fLine.TakeRequests().size(), 3u);
}

TEST_F(WritesToSimulator, AMissingRecordRefusesTheWholeRequest) {
  TModbusFileRecordList list;
  list.Add(9, 0, 1);
  std::vector<TServerReply> kinds;
  fLine.Client.OnReadFile.Add(
      [&](TMBClient&, TServerReply kind, TModbusFileRecordList& records, TObject*) {
        kinds.push_back(kind);
        EXPECT_TRUE(records.Records(0).Data.empty());
      });
  fLine.Client.ReadFileRecord(list, nullptr);
  fLine.Client.ReadFileRecord({}, nullptr);
  ASSERT_TRUE(fLine.RunDry());
  // The refusal discards the request behind it.
  EXPECT_THAT(kinds, ElementsAre(TServerReply::srExceptionReply));
}

TEST_F(WritesToSimulator, AnEmptyListIsRefusedByTheDevice) {
  std::vector<TServerReply> kinds;
  fLine.Client.OnReadFile.Add([&](TMBClient&, TServerReply kind, TModbusFileRecordList&, TObject*) {
    kinds.push_back(kind);
  });
  fLine.Client.ReadFileRecord({}, nullptr);
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_THAT(kinds, ElementsAre(TServerReply::srExceptionReply));
  EXPECT_THAT(fLine.TakeRequests(), ElementsAre(Bytes{0x14, 0x00}));
}

TEST_F(WritesToSimulator, IdentityAndConfirmation) {
  {
    const auto lock = fLine.Thread.Lock();
    Device().Identity = TSimulatedIdentity{.ServerId = {0x0A}, .Text = "Pump"};
  }
  Bytes identity;
  fLine.Client.OnRead = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t,
                            const Bytes& values, TObject*) { identity = values; };
  fLine.Client.Read(0x11, 0, 0, nullptr);
  fLine.Client.ConfirmComandDX517();
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_EQ(identity, (Bytes{0x0A, 0xFF, 'P', 'u', 'm', 'p'}));
  EXPECT_THAT(fLine.TakeRequests(), ElementsAre(Bytes{0x11}, Bytes{0x67, 0x02, 0xFD, 0xFF, 0x00}));
}

}  // namespace
}  // namespace OrvixModBus
