#include "tools/simulator/uSimulatedTable.h"

#include <utility>

namespace OrvixModBus {

void TSimulatedTable::Set(std::uint32_t first, const std::vector<std::uint32_t>& values) {
  std::uint32_t address = first;
  for (const std::uint32_t value : values) {
    TPage& page = fPages[address / kPageSize];
    page.Values[address % kPageSize] = value;
    page.Present.set(address % kPageSize);
    ++address;
  }
}

void TSimulatedTable::SetFormula(std::uint32_t first, std::uint32_t count, TFormula formula) {
  fComputed.insert(fComputed.begin(), {first, count, std::move(formula)});
}

bool TSimulatedTable::Has(std::uint32_t first, std::uint32_t count) const {
  for (std::uint32_t i = 0; i < count; ++i) {
    if (FindStored(first + i) == nullptr && FindComputed(first + i) == nullptr) return false;
  }
  return true;
}

bool TSimulatedTable::CanWrite(std::uint32_t first, std::uint32_t count) const {
  for (std::uint32_t i = 0; i < count; ++i) {
    if (FindStored(first + i) == nullptr || FindComputed(first + i) != nullptr) return false;
  }
  return true;
}

std::uint32_t TSimulatedTable::Get(std::uint32_t address, double seconds) const {
  if (const TComputed* range = FindComputed(address)) {
    return static_cast<std::uint32_t>(range->Formula(address - range->First, seconds));
  }
  const TPage* page = FindStored(address);
  return page != nullptr ? page->Values[address % kPageSize] : 0;
}

const TSimulatedTable::TPage* TSimulatedTable::FindStored(std::uint32_t address) const {
  const auto page = fPages.find(address / kPageSize);
  return page != fPages.end() && page->second.Present[address % kPageSize] ? &page->second
                                                                           : nullptr;
}

const TSimulatedTable::TComputed* TSimulatedTable::FindComputed(std::uint32_t address) const {
  for (const TComputed& range : fComputed) {
    if (address >= range.First && address - range.First < range.Count) return &range;
  }
  return nullptr;
}

}  // namespace OrvixModBus
