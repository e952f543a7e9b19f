#include "uMBLetters.h"

#include <algorithm>
#include <limits>
#include <span>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

// The most registers, bits or bytes that one request asks for.
constexpr std::int64_t kMaxRun = 128;

// Sizes are counted in registers for these codes, in bytes for the paged ones.
bool CountsRegisters(std::uint8_t func) {
  return func == 0x01 || func == 0x02 || func == 0x03 || func == 0x04 || func == 0x21;
}

// A register and where it lies. Addresses are unsigned 32-bit; sums are kept wide.
struct TSpan {
  const TMBReg* Reg;
  std::int64_t Start;
  std::int64_t End;
};

// Neighbours, in order of address, that one request reads: from the first one's start to the last
// one's end, even where one before the last reaches further.
using TRun = std::span<const TSpan>;

class TGrouping {
 public:
  TGrouping(const TMBRegList& list, std::uint8_t func)
      : fRegisters(CountsRegisters(func)), fRunStart(list.front()->Adress()) {}

  void Take(const TMBReg& reg) {
    const std::int64_t start = reg.Adress();
    const std::int64_t end = start + (fRegisters ? reg.GetRegsCount() : reg.CountInByte());
    if (fSpans.empty()) {
      fRuns.push_back(0);  // measured from the first register of the whole list
    } else if (BeginsRun(start, end)) {
      fRuns.push_back(fSpans.size());
      fRunStart = start;
    }
    fSpans.push_back({&reg, start, end});
  }

  TMBGroupList Groups() const {
    TMBGroupList groups;
    for (std::size_t i = 0; i < fRuns.size(); ++i) {
      const std::size_t past = i + 1 < fRuns.size() ? fRuns[i + 1] : fSpans.size();
      AppendGroups(TRun(fSpans).subspan(fRuns[i], past - fRuns[i]), groups);
    }
    return groups;
  }

 private:
  bool BeginsRun(std::int64_t start, std::int64_t end) const {
    const bool gap = start > fSpans.back().End;
    const bool tooLong = end - fRunStart > kMaxRun;
    const bool newBlock = fRegisters && (start & 0xFF) == 0;
    return gap || tooLong || newBlock;
  }

  std::int64_t BytesOf(const TRun& run) const {
    const std::int64_t units = run.back().End - run.front().Start;
    return units * (fRegisters ? run.front().Reg->BytesInOneReg() : 1);
  }

  // A run of more bytes than a register may have is read in several requests.
  void AppendGroups(TRun run, TMBGroupList& groups) const {
    while (run.size() > 1 && BytesOf(run) > kMaxRegBytes) {
      std::size_t count = 1;
      while (BytesOf(run.first(count + 1)) <= kMaxRegBytes) ++count;
      AppendGroup(run.first(count), groups);
      run = run.subspan(count);
    }
    AppendGroup(run, groups);
  }

  void AppendGroup(const TRun& run, TMBGroupList& groups) const {
    if (BytesOf(run) > kMaxRegBytes) throw Exception("More then 250 bytes in reg");
    const auto length = static_cast<std::uint8_t>(run.back().End - run.front().Start);
    if (length == 0) return;
    auto group = std::make_unique<TMBReg>(nullptr);
    group->Assign(*run.front().Reg);
    if (fRegisters) {
      group->SetRegsCount(length);
    } else {
      group->SetRegsCount(1);
      group->SetBytesInOneReg(length);
    }
    groups.push_back(std::move(group));
  }

  bool fRegisters;
  std::int64_t fRunStart;
  std::vector<TSpan> fSpans;
  std::vector<std::size_t> fRuns;  // index of each run's first span
};

// Appends the data of reg to the group that ends where it begins, while a block has room.
bool Join(TMBReg& group, const TMBReg& reg) {
  constexpr int kTooLong = 128;
  const std::uint64_t end = std::uint64_t{group.Adress()} + group.Data().size();
  if (end != reg.Adress() || group.CountInByte() + reg.CountInByte() >= kTooLong) return false;
  Bytes data = ToBytes(group.Data());
  data.insert(data.end(), reg.Data().begin(), reg.Data().end());
  group.SetRegData(data);
  return true;
}

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

TMBGroupList RegsToWriteF66F65Optimize(const TMBRegList& list, std::uint8_t func) {
  TMBRegList regs = ListByFunc(list, func, TFuncKind::fkWrite);
  SortMBRegs(regs);
  TMBGroupList groups;
  for (const TMBReg* reg : regs) {
    if (!groups.empty() && Join(*groups.back(), *reg)) continue;
    groups.push_back(std::make_unique<TMBReg>(nullptr));
    groups.back()->Assign(*reg);
    groups.back()->SetRegData(ToBytes(reg->Data()));  // Assign stops at 255 bytes
  }
  return groups;
}

bool ChekSameMBFuncRead(const TMBRegList& list) { return AllSame(list, &TMBReg::MBFuncRead); }
bool ChekSameMBFuncRead(const TMBRegs& regs) { return ChekSameMBFuncRead(regs.RegList()); }
bool ChekSameMBFuncWrite(const TMBRegList& list) { return AllSame(list, &TMBReg::MBFuncWrite); }
bool ChekSameRegType(const TMBRegList& list) { return AllSame(list, &TMBReg::RegType); }
bool ChekSameSize(const TMBRegList& list) { return AllSame(list, &TMBReg::BytesInOneReg); }

}  // namespace OrvixModBus
