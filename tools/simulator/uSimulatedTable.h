#pragma once
// uSimulatedTable: one table of a simulated device - sparse cells, stored or computed.

#include <array>
#include <bitset>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace OrvixModBus {

/// A computed value: by the cell's place in its range, from 0, and the seconds since the start.
/// Any callable will do, see uSimulatedFormula.h for ready ones. A negative value is its two's
/// complement.
using TFormula = std::function<std::int64_t(std::uint32_t index, double seconds)>;

/// Cells by address; what a cell means (a bit, a byte, a register) is its reader's business, who
/// takes as many of the low bits as fit. A cell that was never set does not exist.
class TSimulatedTable {
 public:
  /// Makes the cells from first on, or changes their values.
  void Set(std::uint32_t first, const std::vector<std::uint32_t>& values);
  /// Makes count cells that are computed whenever they are read. They hide what is stored there
  /// and earlier formulas.
  void SetFormula(std::uint32_t first, std::uint32_t count, TFormula formula);

  bool Has(std::uint32_t first, std::uint32_t count) const;
  /// Whether all cells exist and none is computed.
  bool CanWrite(std::uint32_t first, std::uint32_t count) const;
  /// The cell's value, 0 when there is none.
  std::uint32_t Get(std::uint32_t address, double seconds = 0) const;

 private:
  static constexpr std::uint32_t kPageSize = 256;
  struct TPage {
    std::array<std::uint32_t, kPageSize> Values{};
    std::bitset<kPageSize> Present;
  };
  struct TComputed {
    std::uint64_t End;    // the address past the last one, unless the next range begins before
    std::uint32_t First;  // where the formula's range begins, of which this may be a rest
    TFormula Formula;
  };

  const TPage* FindStored(std::uint32_t address) const;
  const TComputed* FindComputed(std::uint32_t address) const;
  void CutAt(std::uint64_t address);

  std::map<std::uint32_t, TPage> fPages;         // by address / kPageSize
  std::map<std::uint32_t, TComputed> fComputed;  // by first address
};

}  // namespace OrvixModBus
