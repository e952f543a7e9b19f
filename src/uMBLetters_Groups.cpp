#include "uMBLetters.h"

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

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
    if (const auto begin = Begin(start, end)) {
      fRuns.push_back({fSpans.size(), *begin});
      // The first run is measured from the first register of the whole list.
      if (*begin != TRunBegin::rbFirst) fRunStart = start;
    }
    fSpans.push_back({&reg, start, end});
  }

  // take(begin, run) for every run; one of more bytes than a register may have is several.
  template <class TTake>
  void ForEachRun(TTake take) const {
    for (std::size_t i = 0; i < fRuns.size(); ++i) {
      const std::size_t past = i + 1 < fRuns.size() ? fRuns[i + 1].First : fSpans.size();
      TRun run = TRun(fSpans).subspan(fRuns[i].First, past - fRuns[i].First);
      TRunBegin begin = fRuns[i].Begin;
      while (run.size() > 1 && BytesOf(run) > kMaxRegBytes) {
        std::size_t count = 1;
        while (BytesOf(run.first(count + 1)) <= kMaxRegBytes) ++count;
        take(begin, run.first(count));
        run = run.subspan(count);
        begin = TRunBegin::rbTooManyBytes;
      }
      take(begin, run);
    }
  }

  // Nil when there is nothing to read.
  std::unique_ptr<TMBReg> GroupOf(const TRun& run) const {
    if (BytesOf(run) > kMaxRegBytes) throw Exception("More then 250 bytes in reg");
    const auto length = static_cast<std::uint8_t>(run.back().End - run.front().Start);
    if (length == 0) return nullptr;
    auto group = std::make_unique<TMBReg>(nullptr);
    group->Assign(*run.front().Reg);
    if (fRegisters) {
      group->SetRegsCount(length);
    } else {
      group->SetRegsCount(1);
      group->SetBytesInOneReg(length);
    }
    return group;
  }

 private:
  struct TRunStart {
    std::size_t First;  // index into the spans
    TRunBegin Begin;
  };

  // Nothing when the register goes on with the run before.
  std::optional<TRunBegin> Begin(std::int64_t start, std::int64_t end) const {
    if (fSpans.empty()) return TRunBegin::rbFirst;
    if (start > fSpans.back().End) return TRunBegin::rbGap;
    if (end - fRunStart > kMaxRun) {
      const bool ownStart = fRunStart == fSpans[fRuns.back().First].Start;
      return ownStart ? TRunBegin::rbTooLong : TRunBegin::rbTooFar;
    }
    if (fRegisters && (start & 0xFF) == 0) return TRunBegin::rbNewBlock;
    return std::nullopt;
  }

  std::int64_t BytesOf(const TRun& run) const {
    const std::int64_t units = run.back().End - run.front().Start;
    return units * (fRegisters ? run.front().Reg->BytesInOneReg() : 1);
  }

  bool fRegisters;
  std::int64_t fRunStart;
  std::vector<TSpan> fSpans;
  std::vector<TRunStart> fRuns;
};

// Calls take(begin, run, group) for every run of function code func that there is something to read
// of. list must be sorted by address.
template <class TTake>
void ForEachGroup(const TMBRegList& list, std::uint8_t func, TTake take) {
  if (list.empty()) return;
  TGrouping grouping(list, func);
  for (const TMBReg* reg : list) {
    if (reg->MBFuncRead() == func) grouping.Take(*reg);
  }
  grouping.ForEachRun([&](TRunBegin begin, const TRun& run) {
    if (auto group = grouping.GroupOf(run)) take(begin, run, std::move(group));
  });
}

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

void SortMBRegs(TMBRegList& list) {
  if (std::ranges::is_sorted(list, {}, &TMBReg::Adress)) return;
  // The addresses beside the registers: these are a long way off in memory.
  std::vector<std::pair<std::uint32_t, TMBReg*>> places;
  places.reserve(list.size());
  for (TMBReg* reg : list) places.emplace_back(reg->Adress(), reg);
  std::ranges::stable_sort(places, {}, &std::pair<std::uint32_t, TMBReg*>::first);
  std::ranges::transform(places, list.begin(), &std::pair<std::uint32_t, TMBReg*>::second);
}

TMBRegList ListByFunc(const TMBRegList& list, std::uint8_t func, TFuncKind kind) {
  const auto funcOf = kind == TFuncKind::fkRead ? &TMBReg::MBFuncRead : &TMBReg::MBFuncWrite;
  TMBRegList found;
  std::ranges::copy_if(list, std::back_inserter(found),
                       [&](const TMBReg* reg) { return (reg->*funcOf)() == func; });
  return found;
}

TMBGroupList MBRegsOptimize(const TMBRegList& list, std::uint8_t /*maxHole*/, std::uint8_t func) {
  TMBGroupList groups;
  ForEachGroup(list, func, [&](TRunBegin, const TRun&, std::unique_ptr<TMBReg> group) {
    groups.push_back(std::move(group));
  });
  return groups;
}

std::vector<TMBRegRun> MBRegRuns(const TMBRegList& list, std::uint8_t func) {
  std::vector<TMBRegRun> runs;
  ForEachGroup(list, func, [&](TRunBegin begin, const TRun& run, std::unique_ptr<TMBReg> group) {
    TMBRegRun& found = runs.emplace_back();
    found.Begin = begin;
    found.Group = std::move(group);
    std::ranges::transform(run, std::back_inserter(found.Regs), &TSpan::Reg);
  });
  return runs;
}

std::optional<std::uint16_t> CountToRead(const TMBReg& group) {
  if (group.GetRegsCount() == 0 && group.MBFuncRead() != 0x21) return std::nullopt;
  return static_cast<std::uint16_t>(group.GetRegsCount() * group.BytesInOneReg());
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
