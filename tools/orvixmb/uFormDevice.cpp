#include "tools/orvixmb/uFormDevice.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "platform/rtl/uFormat.h"
#include "tools/orvixmb/uFormValues.h"
#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {
namespace {

constexpr std::uint32_t kLogRecords = 100;
constexpr int kOscillograms = 3;
constexpr std::uint32_t kOscillogramRecords = 400;
constexpr std::uint16_t kFiles = 10;
constexpr std::uint16_t kFileRecords = 250;
constexpr std::int32_t kLongestRecord = 248;       // that the library asks for
constexpr std::int32_t kLongestDescription = 252;  // that a reply holds
constexpr std::size_t kLongestFileRecord = 250;
constexpr std::size_t kDefaultRecord = 16;
constexpr std::uint32_t kLongestRun = 250;  // of cells in one request

enum class TUnit : std::uint8_t { Bit, Word, Byte };

// Which table a function reads or writes, and how many addresses there are on the wire.
struct TPlace {
  std::uint8_t Func = 0;
  TSimulatedTable TSimulatedDevice::*Table = nullptr;
  TUnit Unit = TUnit::Word;
  std::uint32_t LastAddress = 0xFFFF;
};

constexpr TPlace kReads[] = {
    {0x01, &TSimulatedDevice::Coils, TUnit::Bit},
    {0x02, &TSimulatedDevice::Discrete, TUnit::Bit},
    {0x03, &TSimulatedDevice::Holding, TUnit::Word},
    {0x04, &TSimulatedDevice::Input, TUnit::Word},
    {0x21, &TSimulatedDevice::Extended, TUnit::Word},
    {0x43, &TSimulatedDevice::Paged, TUnit::Byte, 0xFFFFFF},
    {0x44, &TSimulatedDevice::Paged, TUnit::Byte, 0xFFFFFF},
};

constexpr TPlace kWrites[] = {
    {0x05, &TSimulatedDevice::Coils, TUnit::Bit},
    {0x06, &TSimulatedDevice::Holding, TUnit::Word},
    {0x10, &TSimulatedDevice::Holding, TUnit::Word},
    {0x65, &TSimulatedDevice::Paged, TUnit::Byte, 0xFFFFFF},
    {0x66, &TSimulatedDevice::Paged, TUnit::Byte, 0xFFFFFF},
    {0x6C, &TSimulatedDevice::Holding, TUnit::Word},
};

template <std::size_t N>
const TPlace* Find(const TPlace (&places)[N], std::uint8_t func) {
  const auto* const found = std::ranges::find(places, func, &TPlace::Func);
  return found != std::end(places) ? found : nullptr;
}

// What a cell at an index behind the first one holds of a register's bytes. A bit register shows
// its bit in all its bytes.
std::uint32_t CellOf(TByteView bytes, TUnit unit, std::uint32_t index) {
  const auto byte = [&](std::size_t at) -> std::uint32_t {
    return at < bytes.size() ? bytes[at] : 0;
  };
  switch (unit) {
    case TUnit::Bit:
      return bytes.empty() ? 0 : bytes.back() & 1U;
    case TUnit::Word:
      return byte(std::size_t{2} * index) << 8 | byte(std::size_t{2} * index + 1);
    case TUnit::Byte:
      return byte(index);
  }
  return 0;
}

std::uint32_t CountCells(const TMBReg& reg, TUnit unit) {
  const auto bytes = static_cast<std::uint32_t>(reg.CountInByte());
  switch (unit) {
    case TUnit::Bit:
      return reg.GetRegsCount();
    case TUnit::Word:
      return std::max<std::uint32_t>(reg.GetRegsCount(), (bytes + 1) / 2);
    case TUnit::Byte:
      return bytes;
  }
  return 0;
}

// Cells of a place, from an address on. Addresses are cut to what the wire carries of them.
struct TCells {
  TSimulatedTable& Table;
  const TPlace& Place;
  std::uint32_t First, Count;

  std::uint32_t At(std::uint32_t index) const { return (First + index) & Place.LastAddress; }

  // Hands out the runs, by index and count, of cells that are not there yet.
  template <class TAction>
  void ForFreeRuns(TAction action) const {
    for (std::uint32_t begin = 0; begin < Count; ++begin) {
      std::uint32_t end = begin;
      while (end < Count && !Table.Has(At(end), 1) && At(end) == At(begin) + (end - begin)) ++end;
      if (end == begin) continue;
      action(begin, end - begin);
      begin = end - 1;
    }
  }

  void Fix(TByteView bytes) const {
    ForFreeRuns([&](std::uint32_t begin, std::uint32_t count) {
      std::vector<std::uint32_t> values(count);
      for (std::uint32_t i = 0; i < count; ++i) values[i] = CellOf(bytes, Place.Unit, begin + i);
      Table.Set(At(begin), values);
    });
  }

  void Compute(const TValueSource& source) const {
    ForFreeRuns([&](std::uint32_t begin, std::uint32_t count) {
      const auto cell = [source, begin, unit = Place.Unit](std::uint32_t index, double seconds) {
        return CellOf(source(seconds), unit, begin + index);
      };
      Table.SetFormula(At(begin), count, cell);
    });
  }
};

// A device in the making. Its extended cells of four bytes overlap: each goes on over the next
// register. So they are made of registers of two bytes, which are kept apart until the end.
class TDeviceMaker {
 public:
  explicit TDeviceMaker(TSimulatedDevice& device) : fDevice(device) { device.PagesGoOn = true; }

  TSimulatedDevice& Device() { return fDevice; }

  TCells Cells(const TPlace& place, std::uint32_t first, std::uint32_t count) {
    const bool extended = place.Table == &TSimulatedDevice::Extended;
    if (extended) fExtendedRuns.emplace_back(first & place.LastAddress, count);
    return {extended ? *fExtended : fDevice.*place.Table, place, first, count};
  }

  void Finish() {
    for (const auto& [first, count] : fExtendedRuns) {
      const auto cell = [words = fExtended, begin = first](std::uint32_t index, double seconds) {
        return std::int64_t{words->Get(begin + index, seconds)} << 16 |
               words->Get(begin + index + 1, seconds);
      };
      fDevice.Extended.SetFormula(first, count, cell);
    }
  }

 private:
  TSimulatedDevice& fDevice;
  const std::shared_ptr<TSimulatedTable> fExtended = std::make_shared<TSimulatedTable>();
  std::vector<std::pair<std::uint32_t, std::uint32_t>> fExtendedRuns;
};

// A register that a device has: the places are nil for functions that have none.
struct TServedReg {
  TDeviceMaker* Maker;
  const TMBReg* Reg;
  const TPlace* Read;
  const TPlace* Write;
  TValueSource Source;

  TCells CellsOf(const TPlace& place) const {
    return Maker->Cells(place, Reg->Adress(), CountCells(*Reg, place.Unit));
  }
};

// The components of a kind in root and below, in the order in which they were made.
template <class T>
std::vector<const T*> FindAll(const TComponent& root) {
  std::vector<const T*> found;
  std::vector<std::reference_wrapper<const TComponent>> open{root};
  while (!open.empty()) {
    const TComponent& next = open.back();
    open.pop_back();
    if (const auto* component = dynamic_cast<const T*>(&next)) found.push_back(component);
    for (int i = next.ComponentCount() - 1; i >= 0; --i) open.push_back(*next.Components(i));
  }
  return found;
}

std::vector<Bytes> Records(const TValueSource& source, std::uint32_t count) {
  std::vector<Bytes> records;
  for (std::uint32_t i = 0; i < count; ++i) records.push_back(source(i));
  return records;
}

// Numbers of two bytes, after the time when that is wanted and there is room for both.
TValueBlock DefaultBlock(std::size_t size, bool withTime) {
  TValueBlock block{.Size = size};
  std::size_t offset = 0;
  const auto add = [&](TRegType type, std::size_t bytes) {
    block.Fields.push_back({.Type = type, .Size = bytes, .Offset = offset});
    offset += bytes;
  };
  if (withTime && size >= 6) add(TRegType::rtNone, 4);
  while (offset < size) add(TRegType::rtNum, std::min<std::size_t>(2, size - offset));
  return block;
}

class TFormDevices {
 public:
  TFormDevices(const TComponent& root, TSimulator& simulator) : fSimulator(simulator) {
    for (const auto* catalogue : FindAll<TMBTypeInfo>(root)) ValuesOf(catalogue);
    for (const auto* client : FindAll<TMBClient>(root)) AddClient(*client);
    for (const auto* letter : FindAll<TMBLetter>(root)) AddLetter(*letter);
    for (const auto* log : FindAll<TMBLogFunction>(root)) AddLog(*log);
    for (const auto* oscillograms : FindAll<TMBFunction41>(root)) AddOscillograms(*oscillograms);
    PlaceRegs();
  }

  TStringDynArray LeftOut() && { return std::move(fLeftOut); }

 private:
  struct TStructur {
    TFormValues* Values;
    const TValueBlock* Block;
  };

  void LeaveOut(const TComponent& component, std::string_view reason) {
    const std::string& name = component.Name();
    fLeftOut.push_back((name.empty() ? std::string(component.ClassName()) : name) + ": " +
                       std::string(reason));
  }

  TFormValues& ValuesOf(const TMBTypeInfo* catalogue) {
    const auto [found, isNew] = fValues.try_emplace(catalogue, catalogue);
    if (isNew && catalogue != nullptr) {
      for (const TValueBlock& block : found->second.Structurs()) {
        if (block.Size > 0) fStructurs.push_back({&found->second, &block});
      }
    }
    return found->second;
  }

  // Nil for a component that can ask nobody; that is said.
  TDeviceMaker* MakerOf(const TComponent& component, const TMBClient* client) {
    const auto found = client != nullptr ? fMakers.find(client->GetAdres()) : fMakers.end();
    if (found != fMakers.end()) return &found->second;
    LeaveOut(component, client == nullptr ? "it has no client" : "its client has no device");
    return nullptr;
  }

  void AddClient(const TMBClient& client) {
    constexpr std::uint8_t kGreatestAddress = 247;
    const std::uint8_t address = client.GetAdres();
    if (address == 0 || address > kGreatestAddress) {
      return LeaveOut(client, Format("no device can have the server address %d", {address}));
    }
    TSimulatedDevice& device = fSimulator.Device(address);
    if (!fMakers.try_emplace(address, device).second) return;
    device.Identity = TSimulatedIdentity{.ServerId = {address}, .Text = client.Name()};
    AddFiles(device);
  }

  void AddLetter(const TMBLetter& letter) {
    TDeviceMaker* const maker = MakerOf(letter, letter.Client());
    if (maker == nullptr) return;
    for (int i = 0; i < letter.Regs().Count(); ++i)
      AddReg(letter, *letter.Regs().GetItem(i), *maker);
  }

  void AddReg(const TMBLetter& letter, const TMBReg& reg, TDeviceMaker& maker) {
    const TPlace* const read = Find(kReads, reg.MBFuncRead());
    const TPlace* const write = Find(kWrites, reg.MBFuncWrite());
    if (read == nullptr && reg.MBFuncRead() != 0)
      LeaveOutFunction(letter, reg, "read", reg.MBFuncRead());
    if (write == nullptr && reg.MBFuncWrite() != 0) {
      LeaveOutFunction(letter, reg, "written", reg.MBFuncWrite());
    }
    if (read == nullptr && write == nullptr) return;
    const TValueType type{.Type = reg.RegType(),
                          .TypeName = reg.RegTypeName(),
                          .Size = static_cast<std::size_t>(reg.CountInByte()),
                          .Text = reg.Name()};
    fRegs.push_back({&maker, &reg, read, write, ValuesOf(reg.TypeInfo()).Value(type)});
  }

  void LeaveOutFunction(const TMBLetter& letter, const TMBReg& reg, const char* what,
                        std::uint8_t func) {
    LeaveOut(letter, Format("register %s is not %s, for no letter does that by function $%.2x",
                            {reg.Name(), what, func}));
  }

  // Those to be written first: what they share with others is not computed.
  void PlaceRegs() {
    for (const TServedReg& reg : fRegs) {
      if (reg.Write == nullptr) continue;
      const Bytes bytes = reg.Source(0);
      reg.CellsOf(*reg.Write).Fix(bytes);
      if (reg.Read != nullptr) reg.CellsOf(*reg.Read).Fix(bytes);
    }
    for (const TServedReg& reg : fRegs) {
      if (reg.Read != nullptr) reg.CellsOf(*reg.Read).Compute(reg.Source);
    }
    for (const TServedReg& reg : fRegs) FillReach(reg);
    for (auto& [_, maker] : fMakers) maker.Finish();
  }

  // On purpose a letter asks for as many bits or words as the bytes of its registers tell, which
  // reach past the last register where one has more bytes than that.
  static void FillReach(const TServedReg& reg) {
    if (reg.Read == nullptr || reg.Read->Unit == TUnit::Byte) return;
    const int usual = reg.Read->Unit == TUnit::Bit ? 1 : 2;
    if (reg.Reg->BytesInOneReg() <= usual) return;
    reg.Maker->Cells(*reg.Read, reg.Reg->Adress(), kLongestRun).Fix({});
  }

  // The first of that length, nil when there is none.
  const TStructur* StructurOf(std::size_t size) const {
    const auto found = std::ranges::find_if(
        fStructurs, [=](const TStructur& one) { return one.Block->Size == size; });
    return found != fStructurs.end() ? &*found : nullptr;
  }

  TValueSource RecordSource(std::size_t size, bool withTime) {
    const TStructur* const structur = StructurOf(size);
    return structur != nullptr ? structur->Values->Block(*structur->Block)
                               : ValuesOf(nullptr).Block(DefaultBlock(size, withTime));
  }

  // A description whose number Records, if it has one, tells the truth.
  TValueSource InfoSource(std::size_t size) {
    const TStructur* const structur = StructurOf(size);
    if (structur == nullptr) return RecordSource(size, true);
    TValueBlock block = *structur->Block;
    for (TValueType& field : block.Fields) {
      if (field.Text == "Records") field.Real = kOscillogramRecords;
    }
    return structur->Values->Block(block);
  }

  // The length of a property, or the usual one when nothing can be read by it; that is said.
  std::size_t Length(const TComponent& component, const char* property, std::int32_t length,
                     std::int32_t longest) {
    if (length >= 1 && length <= longest) return static_cast<std::size_t>(length);
    LeaveOut(component, Format("with %s = %d nothing can be read", {property, length}));
    return kDefaultRecord;
  }

  void AddLog(const TMBLogFunction& log) {
    TDeviceMaker* const maker = MakerOf(log, log.MBClient());
    if (maker == nullptr) return;
    const std::size_t size = Length(log, "OneRecordLength", log.OneRecordLength(), kLongestRecord);
    TSimulatedLog& served = maker->Device().Logs[log.MBFunc()];
    if (served.Records.empty()) {
      served.Records = Records(RecordSource(size, true), kLogRecords);
    } else if (served.Records.front().size() != size) {
      LeaveOut(log, Format("another log of function $%.2x has records of %d bytes",
                           {log.MBFunc(), served.Records.front().size()}));
    }
  }

  void AddOscillograms(const TMBFunction41& function) {
    TDeviceMaker* const maker = MakerOf(function, function.MBClient());
    if (maker == nullptr) return;
    const std::size_t info =
        Length(function, "OscilInfoLength", function.OscilInfoLength(), kLongestDescription);
    const std::size_t data =
        Length(function, "OscilDataLength", function.OscilDataLength(), kLongestRecord);
    auto& served = maker->Device().Oscillograms;
    if (!served.empty()) {
      const TSimulatedOscillogram& first = served.begin()->second;
      if (first.Info.size() == info && first.Records.front().size() == data) return;
      return LeaveOut(function, "another component's oscillograms have other lengths");
    }
    for (int number = 1; number <= kOscillograms; ++number) {
      served[static_cast<std::uint8_t>(number)] = {
          .Info = InfoSource(info)(number),
          .Records = Records(RecordSource(data, false), kOscillogramRecords)};
    }
  }

  void AddFiles(TSimulatedDevice& device) {
    if (fFiles.empty()) MakeFiles();
    device.Files = fFiles;
  }

  void MakeFiles() {
    std::size_t longest = fStructurs.empty() ? kDefaultRecord : 0;
    for (const TStructur& one : fStructurs) longest = std::max(longest, one.Block->Size);
    const std::size_t size = std::min(longest + longest % 2, kLongestFileRecord);
    for (std::uint16_t number = 0; number < kFiles; ++number) {
      TSimulatedFile& file = fFiles[number];
      const std::vector<Bytes> records = Records(FileSource(number), kFileRecords);
      for (std::uint16_t i = 0; i < kFileRecords; ++i) {
        file.Records[i] = records[i];
        file.Records[i].resize(size);
      }
    }
  }

  TValueSource FileSource(std::uint16_t number) {
    if (fStructurs.empty()) return RecordSource(kDefaultRecord, true);
    const std::size_t place = (number + fStructurs.size() - 1) % fStructurs.size();
    return fStructurs[place].Values->Block(*fStructurs[place].Block);
  }

  TSimulator& fSimulator;
  std::map<const TMBTypeInfo*, TFormValues> fValues;  // nil: what no catalogue describes
  std::vector<TStructur> fStructurs;                  // of all catalogues
  std::map<std::uint8_t, TDeviceMaker> fMakers;       // by server address
  std::map<std::uint16_t, TSimulatedFile> fFiles;     // the same for all devices
  std::vector<TServedReg> fRegs;
  TStringDynArray fLeftOut;
};

}  // namespace

TStringDynArray FormDevices(const TComponent& root, TSimulator& simulator) {
  return TFormDevices(root, simulator).LeftOut();
}

}  // namespace OrvixModBus
