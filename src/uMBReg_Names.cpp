#include "uMBReg_Names.h"

#include <algorithm>
#include <utility>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFold.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kFirstSlots = 16;

std::uint32_t HashOf(std::string_view name) {
  return static_cast<std::uint32_t>(HashText(name) & 0xFFFFFFFF);
}

}  // namespace

TMBReg* TMBRegNames::Find(std::string_view name) const {
  if (fSlots.empty()) return nullptr;
  const TSlot& slot = fSlots[SlotOf(name, HashOf(name))];
  return slot.Line != kNoLine ? fLines[slot.Line].Reg : nullptr;
}

bool TMBRegNames::Add(std::string_view name, TMBReg& reg) {
  if (2 * static_cast<std::size_t>(Count() + 1) > fSlots.size()) Grow();
  const std::uint32_t hash = HashOf(name);
  TSlot& slot = fSlots[SlotOf(name, hash)];
  if (slot.Line != kNoLine) return false;
  const std::uint32_t line = TakeLine(name, reg);
  slot = {hash, line};
  if (fIsOrdered) fOrdered.Insert(PlaceOf(name), line);
  return true;
}

bool TMBRegNames::Remove(std::string_view name) {
  if (fSlots.empty()) return false;
  const std::size_t slot = SlotOf(name, HashOf(name));
  const std::uint32_t line = fSlots[slot].Line;
  if (line == kNoLine) return false;
  if (fIsOrdered) fOrdered.Erase(PlaceOf(name));
  fFreeLines.push_back(line);
  fLines[line] = {};
  EmptySlot(slot);
  return true;
}

void TMBRegNames::Clear() { *this = TMBRegNames(); }

int TMBRegNames::Position(std::string_view name) const {
  if (Find(name) == nullptr) return -1;
  PutInOrder();
  return static_cast<int>(PlaceOf(name));
}

// The slot of the name, or the free one where it would go.
std::size_t TMBRegNames::SlotOf(std::string_view name, std::uint32_t hash) const {
  std::size_t slot = hash & (fSlots.size() - 1);
  while (fSlots[slot].Line != kNoLine) {
    const bool same = fSlots[slot].Hash == hash && SameText(fLines[fSlots[slot].Line].Name, name);
    if (same) break;
    slot = NextSlot(slot);
  }
  return slot;
}

void TMBRegNames::Grow() {
  const auto former =
      std::exchange(fSlots, std::vector<TSlot>(std::max(kFirstSlots, 2 * fSlots.size())));
  for (const TSlot& taken : former) {
    if (taken.Line == kNoLine) continue;
    std::size_t slot = taken.Hash & (fSlots.size() - 1);
    while (fSlots[slot].Line != kNoLine) slot = NextSlot(slot);
    fSlots[slot] = taken;
  }
}

// Moves up the slots behind a freed one that were pushed past it, so that a search never stops
// short of them.
void TMBRegNames::EmptySlot(std::size_t slot) {
  const std::size_t mask = fSlots.size() - 1;
  for (std::size_t next = NextSlot(slot); fSlots[next].Line != kNoLine; next = NextSlot(next)) {
    const std::size_t home = fSlots[next].Hash & mask;
    if (((next - home) & mask) < ((next - slot) & mask)) continue;
    fSlots[slot] = fSlots[next];
    slot = next;
  }
  fSlots[slot] = {};
}

std::uint32_t TMBRegNames::TakeLine(std::string_view name, TMBReg& reg) {
  if (fFreeLines.empty()) {
    fLines.push_back({std::string(name), &reg});
    return static_cast<std::uint32_t>(fLines.size() - 1);
  }
  const std::uint32_t line = fFreeLines.back();
  fLines[line] = {std::string(name), &reg};
  fFreeLines.pop_back();
  return line;
}

std::size_t TMBRegNames::PlaceOf(std::string_view name) const {
  return fOrdered.PartitionPoint(
      [&](std::uint32_t line) { return CompareText(fLines[line].Name, name) < 0; });
}

void TMBRegNames::PutInOrder() const {
  if (fIsOrdered) return;
  std::vector<std::uint32_t> lines;
  for (std::uint32_t line = 0; line < fLines.size(); ++line) {
    if (fLines[line].Reg != nullptr) lines.push_back(line);
  }
  std::ranges::sort(lines, [this](std::uint32_t a, std::uint32_t b) {
    return CompareText(fLines[a].Name, fLines[b].Name) < 0;
  });
  for (const std::uint32_t line : lines) fOrdered.Insert(fOrdered.size(), line);
  fIsOrdered = true;
}

std::size_t TMBRegNames::LineAt(int position) const {
  if (position < 0 || position >= Count()) {
    throw EListError(position);
  }
  PutInOrder();
  return fOrdered[static_cast<std::size_t>(position)];
}

}  // namespace OrvixModBus
