#pragma once
// GroupingRules: the grouping rules said once more, slowly and plainly, to check the letter by.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "uMBLetters.h"

namespace OrvixModBus {

/// One request as the rules give it: units are registers, or bytes for the paged functions.
struct TRequestedRun {
  std::uint8_t Func;
  std::int64_t Start;
  std::int64_t Units;
  std::vector<const TMBReg*> Regs;
};

inline bool CountedInRegisters(std::uint8_t func) {
  return func == 0x01 || func == 0x02 || func == 0x03 || func == 0x04 || func == 0x21;
}

/// The runs of one function code among registers in any order.
inline std::vector<TRequestedRun> RunsByTheRules(std::vector<TMBReg*> regs, std::uint8_t func) {
  std::ranges::stable_sort(regs, {}, &TMBReg::Adress);
  struct TSpan {
    std::int64_t Start, End;
  };
  std::vector<const TMBReg*> matching;
  std::vector<TSpan> spans;
  std::vector<std::size_t> beginnings;  // indexes into matching
  const bool inRegisters = CountedInRegisters(func);
  std::int64_t measuredFrom = regs.empty() ? 0 : regs[0]->Adress();
  for (const TMBReg* reg : regs) {
    if (reg->MBFuncRead() != func) continue;
    const std::int64_t start = reg->Adress();
    const std::int64_t end = start + (inRegisters ? reg->GetRegsCount() : reg->CountInByte());
    if (matching.empty()) {
      beginnings.push_back(0);
    } else {
      const std::size_t first = beginnings.back();
      const std::int64_t width = inRegisters ? matching[first]->BytesInOneReg() : 1;
      const bool anyGap = start - spans.back().End > 0;
      const bool over128 = end - measuredFrom > 128;
      const bool at256 = inRegisters && start % 256 == 0;
      const bool over250Bytes = (end - spans[first].Start) * width > 250;
      if (anyGap || over128 || at256 || over250Bytes) {
        beginnings.push_back(matching.size());
        measuredFrom = start;
      }
    }
    matching.push_back(reg);
    spans.push_back({start, end});
  }
  std::vector<TRequestedRun> runs;
  for (std::size_t i = 0; i < beginnings.size(); ++i) {
    const std::size_t first = beginnings[i];
    const std::size_t past = i + 1 < beginnings.size() ? beginnings[i + 1] : matching.size();
    const std::int64_t units = spans[past - 1].End - spans[first].Start;
    if (units == 0) continue;
    runs.push_back({func,
                    spans[first].Start,
                    units,
                    {matching.begin() + static_cast<std::ptrdiff_t>(first),
                     matching.begin() + static_cast<std::ptrdiff_t>(past)}});
  }
  return runs;
}

inline constexpr std::uint8_t kStandardReads[] = {0x01, 0x02, 0x03, 0x04};

/// The requests, as function code and data, that read a set whose registers of $03, $04 have two
/// bytes and those of $01, $02 one; its other registers are left out.
inline std::vector<Bytes> RequestsByTheRules(const TMBRegs& regs) {
  std::vector<Bytes> requests;
  for (const std::uint8_t func : kStandardReads) {
    for (const TRequestedRun& run : RunsByTheRules(regs.RegList(), func)) {
      const auto byte = [](std::int64_t value, int index) {
        return static_cast<std::uint8_t>((value >> (8 * index)) & 0xFF);
      };
      requests.push_back(
          {func, byte(run.Start, 1), byte(run.Start, 0), byte(run.Units, 1), byte(run.Units, 0)});
    }
  }
  return requests;
}

}  // namespace OrvixModBus
