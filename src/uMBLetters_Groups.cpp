#include "uMBLetters.h"

#include <algorithm>
#include <limits>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

// The most registers, bits or bytes that one request asks for.
constexpr std::int64_t kMaxRun = 128;

// Sizes are counted in registers for these codes, in bytes for the paged ones.
bool CountsRegisters(std::uint8_t func) {
  return func == 0x01 || func == 0x02 || func == 0x03 || func == 0x04 || func == 0x21;
}

// Neighbours that one request reads. Addresses are unsigned 32-bit; sums are kept wide.
struct TRun {
  const TMBReg* First;
  std::int64_t Start;
  std::int64_t End;
};

class TGrouping {
 public:
  TGrouping(const TMBRegList& list, std::uint8_t func)
      : fFunc(func), fRegisters(CountsRegisters(func)), fRunStart(list.front()->Adress()) {}

  void Take(const TMBReg& reg) {
    const std::int64_t start = reg.Adress();
    const std::int64_t end = start + (fRegisters ? reg.GetRegsCount() : reg.CountInByte());
    if (fRuns.empty() || BeginsRun(start, end)) {
      // The very first run is measured from the first register of the whole list.
      if (!fRuns.empty()) fRunStart = start;
      fRuns.push_back({&reg, start, end});
    } else {
      fRuns.back().End = end;
    }
  }

  TMBGroupList Groups() const {
    TMBGroupList groups;
    for (const TRun& run : fRuns) {
      if (run.End != run.Start) groups.push_back(GroupOf(run));
    }
    return groups;
  }

 private:
  bool BeginsRun(std::int64_t start, std::int64_t end) const {
    const TRun& run = fRuns.back();
    const bool gap = start > run.End;
    const bool tooLong = end - fRunStart > kMaxRun;
    const bool newBlock = fRegisters && (start & 0xFF) == 0;
    return gap || tooLong || newBlock || BytesOf(run, end) > kMaxRegBytes;
  }

  std::int64_t BytesOf(const TRun& run, std::int64_t end) const {
    return (end - run.Start) * (fRegisters ? run.First->BytesInOneReg() : 1);
  }

  std::unique_ptr<TMBReg> GroupOf(const TRun& run) const {
    if (BytesOf(run, run.End) > kMaxRegBytes) throw Exception("More then 250 bytes in reg");
    const auto length = static_cast<std::uint8_t>(run.End - run.Start);
    auto group = std::make_unique<TMBReg>(nullptr);
    group->Assign(*run.First);
    if (fRegisters) {
      group->SetRegsCount(length);
    } else {
      group->SetRegsCount(1);
      group->SetBytesInOneReg(length);
    }
    return group;
  }

  std::uint8_t fFunc;
  bool fRegisters;
  std::int64_t fRunStart;
  std::vector<TRun> fRuns;
};

template <class TCollectionOfRegs, class TProperty>
bool AllSame(const TCollectionOfRegs& regs, TProperty (TMBReg::*property)() const) {
  if (regs.empty()) throw Exception("Empty array");
  const TProperty first = (regs.front()->*property)();
  return std::ranges::all_of(regs, [&](const TMBReg* r) { return (r->*property)() == first; });
}

}  // namespace

void ClearMBRegList(TMBGroupList& list) {
  while (!list.empty()) list.pop_back();
}

std::int32_t TMBRegAdressComparer::Compare(const TMBReg& left, const TMBReg& right) const {
  using TLimits = std::numeric_limits<std::int32_t>;
  if (left.Adress() == right.Adress()) return 0;
  return left.Adress() < right.Adress() ? TLimits::min() : TLimits::max();
}

void SortMBRegs(TMBRegList& list) { std::ranges::stable_sort(list, {}, &TMBReg::Adress); }

TMBRegList ListByFunc(const TMBRegList& list, std::uint8_t func, TFuncKind kind) {
  const auto funcOf = kind == TFuncKind::fkRead ? &TMBReg::MBFuncRead : &TMBReg::MBFuncWrite;
  TMBRegList found;
  std::ranges::copy_if(list, std::back_inserter(found),
                       [&](const TMBReg* reg) { return (reg->*funcOf)() == func; });
  return found;
}

TMBGroupList MBRegsOptimize(const TMBRegList& list, std::uint8_t /*maxHole*/, std::uint8_t func) {
  if (list.empty()) return {};
  TGrouping grouping(list, func);
  for (const TMBReg* reg : list) {
    if (reg->MBFuncRead() == func) grouping.Take(*reg);
  }
  return grouping.Groups();
}

bool ChekSameMBFuncRead(const TMBRegList& list) { return AllSame(list, &TMBReg::MBFuncRead); }
bool ChekSameMBFuncRead(const TMBRegs& regs) { return ChekSameMBFuncRead(regs.RegList()); }
bool ChekSameMBFuncWrite(const TMBRegList& list) { return AllSame(list, &TMBReg::MBFuncWrite); }
bool ChekSameRegType(const TMBRegList& list) { return AllSame(list, &TMBReg::RegType); }
bool ChekSameSize(const TMBRegList& list) { return AllSame(list, &TMBReg::BytesInOneReg); }

}  // namespace OrvixModBus
