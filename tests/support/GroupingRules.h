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
      const bool anyGap = start - spans.back().End > 0;
      const bool over128 = end - measuredFrom > 128;
      const bool at256 = inRegisters && start % 256 == 0;
      if (anyGap || over128 || at256) {
        beginnings.push_back(matching.size());
        measuredFrom = start;
      }
    }
    matching.push_back(reg);
    spans.push_back({start, end});
  }
  std::vector<TRequestedRun> runs;
  for (std::size_t i = 0; i < beginnings.size(); ++i) {
    std::size_t first = beginnings[i];
    const std::size_t past = i + 1 < beginnings.size() ? beginnings[i + 1] : matching.size();
    const auto bytes = [&](std::size_t last) {
      const std::int64_t width = inRegisters ? matching[first]->BytesInOneReg() : 1;
      return (spans[last].End - spans[first].Start) * width;
    };
    while (first < past) {
      // All that is left, or else as much of it as 250 bytes hold.
      std::size_t last = past - 1;
      if (bytes(last) > 250) {
        last = first;
        while (last + 1 < past && bytes(last + 1) <= 250) ++last;
      }
      const std::int64_t units = spans[last].End - spans[first].Start;
      const auto at = matching.begin();
      if (units > 0) {
        runs.push_back({func,
                        spans[first].Start,
                        units,
                        {at + static_cast<std::ptrdiff_t>(first),
                         at + static_cast<std::ptrdiff_t>(last + 1)}});
      }
      first = last + 1;
    }
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
