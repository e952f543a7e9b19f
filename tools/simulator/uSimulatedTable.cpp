#include "tools/simulator/uSimulatedTable.h"

#include <iterator>
#include <limits>
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
  if (count == 0) return;
  const std::uint64_t end = std::uint64_t{first} + count;
  CutAt(end);
  auto hidden = fComputed.lower_bound(first);
  while (hidden != fComputed.end() && hidden->first < end) hidden = fComputed.erase(hidden);
  fComputed.insert(hidden, {first, {end, first, std::move(formula)}});
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
  const auto after = fComputed.upper_bound(address);
  if (after == fComputed.begin()) return nullptr;
  const TComputed& range = std::prev(after)->second;
  return address < range.End ? &range : nullptr;
}

// Makes two ranges of one that goes on across address.
void TSimulatedTable::CutAt(std::uint64_t address) {
  if (address > std::numeric_limits<std::uint32_t>::max()) return;
  const auto start = static_cast<std::uint32_t>(address);
  if (FindComputed(start) == nullptr || fComputed.contains(start)) return;
  TComputed& range = std::prev(fComputed.upper_bound(start))->second;
  fComputed.emplace(start, range);
  range.End = address;
}

}  // namespace OrvixModBus
