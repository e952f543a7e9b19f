#include "uMBReg_Names.h"

#include <algorithm>
#include <vector>

#include "platform/rtl/uException.h"

namespace OrvixModBus {

TMBReg* TMBRegNames::Find(std::string_view name) const {
  const auto found = fEntries.find(name);
  return found != fEntries.end() ? found->second : nullptr;
}

bool TMBRegNames::Add(std::string_view name, TMBReg& reg) {
  const auto [entry, added] = fEntries.try_emplace(std::string(name), &reg);
  if (added && fIsOrdered) fOrdered.Insert(PlaceOf(name), &*entry);
  return added;
}

bool TMBRegNames::Remove(std::string_view name) {
  const auto found = fEntries.find(name);
  if (found == fEntries.end()) return false;
  if (fIsOrdered) fOrdered.Erase(PlaceOf(name));
  fEntries.erase(found);
  return true;
}

void TMBRegNames::Clear() {
  fOrdered.Clear();
  fIsOrdered = false;
  fEntries.clear();
}

int TMBRegNames::Position(std::string_view name) const {
  if (!fEntries.contains(name)) return -1;
  PutInOrder();
  return static_cast<int>(PlaceOf(name));
}

std::string_view TMBRegNames::NameAt(int position) const { return EntryAt(position).first; }

TMBReg* TMBRegNames::RegAt(int position) const { return EntryAt(position).second; }

void TMBRegNames::SetRegAt(int position, TMBReg& reg) {
  fEntries.find(EntryAt(position).first)->second = &reg;
}

std::size_t TMBRegNames::PlaceOf(std::string_view name) const {
  return fOrdered.PartitionPoint(
      [&](const TEntry* entry) { return CompareText(entry->first, name) < 0; });
}

void TMBRegNames::PutInOrder() const {
  if (fIsOrdered) return;
  std::vector<const TEntry*> entries;
  entries.reserve(fEntries.size());
  for (const TEntry& entry : fEntries) entries.push_back(&entry);
  std::ranges::sort(entries, [](const TEntry* a, const TEntry* b) {
    return CompareText(a->first, b->first) < 0;
  });
  for (const TEntry* entry : entries) fOrdered.Insert(fOrdered.size(), entry);
  fIsOrdered = true;
}

const TMBRegNames::TEntry& TMBRegNames::EntryAt(int position) const {
  if (position < 0 || position >= Count()) {
    throw EListError("List index out of bounds (" + std::to_string(position) + ")");
  }
  PutInOrder();
  return *fOrdered[static_cast<std::size_t>(position)];
}

}  // namespace OrvixModBus
