#include "uMBReg_Names.h"

#include <algorithm>
#include <deque>
#include <new>
#include <utility>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFold.h"
#include "uMBReg.h"

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

TMBRegNames::TText TMBRegNames::TextFor(std::string_view name, const TMBReg& reg) {
  return name == reg.Name() ? nullptr : std::make_unique<const std::string>(name);
}

bool TMBRegNames::Add(TMBReg& reg, TText text) {
  Reserve();
  const std::string_view name = text ? *text : reg.Name();
  const std::uint32_t hash = HashOf(name);
  TSlot& slot = fSlots[SlotOf(name, hash)];
  if (slot.Line != kNoLine) return false;
  const std::uint32_t line = TakeLine();
  fLines[line] = {&reg, std::move(text)};
  slot = {hash, line};
  ++fCount;
  if (fIsOrdered) Order(line);
  return true;
}

void TMBRegNames::Reserve() {
  if (2 * static_cast<std::size_t>(fCount + 1) > fSlots.size()) Grow();
  if (fFreeLines.empty() && fLines.size() == fLines.capacity()) {
    fLines.reserve(std::max(kFirstSlots, 2 * fLines.size()));
  }
}

void TMBRegNames::Order(std::uint32_t line) {
  try {
    fOrdered.Insert(PlaceOf(NameOf(line)), line);
  } catch (const std::bad_alloc&) {
    fIsOrdered = false;  // the order is made when it is asked for
  }
}

bool TMBRegNames::RemoveOneOf(const TMBReg& reg) noexcept {
  const auto found = std::ranges::find(fLines, &reg, &TLine::Reg);
  return found != fLines.end() && Remove(NameOf(static_cast<std::size_t>(found - fLines.begin())));
}

bool TMBRegNames::Remove(std::string_view name) noexcept {
  if (fSlots.empty()) return false;
  const std::size_t slot = SlotOf(name, HashOf(name));
  const std::uint32_t line = fSlots[slot].Line;
  if (line == kNoLine) return false;
  if (fIsOrdered) fOrdered.Erase(PlaceOf(name));
  EmptySlot(slot);
  fLines[line] = {};
  --fCount;
  try {
    fFreeLines.push_back(line);
  } catch (const std::bad_alloc&) {  // then it stays unused
  }
  return true;
}

void TMBRegNames::Clear() { *this = TMBRegNames(); }

void TMBRegNames::SetRegAt(int position, TMBReg& reg) {
  const std::size_t line = LineAt(position);
  fLines[line] = {&reg, TextFor(NameOf(line), reg)};
}

const std::string& TMBRegNames::NameOf(std::size_t line) const {
  const TLine& named = fLines[line];
  return named.Text != nullptr ? *named.Text : named.Reg->Name();
}

int TMBRegNames::Position(std::string_view name) const {
  if (Find(name) == nullptr) return -1;
  PutInOrder();
  return static_cast<int>(PlaceOf(name));
}

// The slot of the name, or the free one where it would go.
std::size_t TMBRegNames::SlotOf(std::string_view name, std::uint32_t hash) const {
  std::size_t slot = hash & (fSlots.size() - 1);
  while (fSlots[slot].Line != kNoLine) {
    const bool same = fSlots[slot].Hash == hash && SameText(NameOf(fSlots[slot].Line), name);
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

// Reserve has made room.
std::uint32_t TMBRegNames::TakeLine() {
  if (fFreeLines.empty()) {
    fLines.emplace_back();
    return static_cast<std::uint32_t>(fLines.size() - 1);
  }
  const std::uint32_t line = fFreeLines.back();
  fFreeLines.pop_back();
  return line;
}

std::size_t TMBRegNames::PlaceOf(std::string_view name) const {
  return fOrdered.PartitionPoint(
      [&](std::uint32_t line) { return CompareText(NameOf(line), name) < 0; });
}

void TMBRegNames::PutInOrder() const {
  if (fIsOrdered) return;
  fOrdered.Clear();
  // Copies of the names, close together: those of the registers are a long way off in memory.
  std::deque<std::string> names;
  std::vector<std::pair<std::string_view, std::uint32_t>> lines;
  lines.reserve(static_cast<std::size_t>(fCount));
  for (std::uint32_t line = 0; line < fLines.size(); ++line) {
    if (fLines[line].Reg != nullptr) lines.emplace_back(names.emplace_back(NameOf(line)), line);
  }
  std::ranges::sort(lines,
                    [](const auto& a, const auto& b) { return CompareText(a.first, b.first) < 0; });
  for (const auto& [name, line] : lines) fOrdered.Insert(fOrdered.size(), line);
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
