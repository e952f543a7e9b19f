#include "uMBReg_Names.h"

#include <algorithm>
#include <new>
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
  if (fIsOrdered) Order(line);
  return true;
}

void TMBRegNames::Order(std::uint32_t line) {
  try {
    fOrdered.Insert(PlaceOf(fLines[line].Name), line);
  } catch (const std::bad_alloc&) {
    fIsOrdered = false;  // the order is made when it is asked for
  }
}

void TMBRegNames::Replace(std::string_view name, TMBReg& reg) {
  std::string spelling(name);
  TLine& line = fLines[fSlots[SlotOf(name, HashOf(name))].Line];
  line.Name = std::move(spelling);
  line.Reg = &reg;
}

bool TMBRegNames::RemoveOneOf(const TMBReg& reg) noexcept {
  const auto found = std::ranges::find(fLines, &reg, &TLine::Reg);
  return found != fLines.end() && Remove(found->Name);
}

bool TMBRegNames::Remove(std::string_view name) noexcept {
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
    // Room for every line that may get free, so that a removal needs no memory.
    if (fFreeLines.capacity() <= fLines.size()) {
      fFreeLines.reserve(std::max(kFirstSlots, 2 * fLines.size()));
    }
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
  fOrdered.Clear();
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
