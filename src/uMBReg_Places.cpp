#include "uMBReg_Places.h"

#include <algorithm>

namespace OrvixModBus {
namespace {

std::uint64_t KeyOf(std::uint8_t func, std::uint64_t adress) {
  return (static_cast<std::uint64_t>(func) << 32) | adress;
}

}  // namespace

void TMBRegPlaces::Find(std::uint8_t func, std::uint64_t first, std::uint64_t last,
                        std::vector<TRef<TMBReg>>& found) {
  Refresh();
  found.clear();
  fFound.clear();
  constexpr std::uint64_t kLastAdress = 0xFFFFFFFF;
  const std::uint64_t end = KeyOf(func, std::min(last, kLastAdress));
  auto place = std::ranges::lower_bound(fPlaces, KeyOf(func, first), {}, &TPlace::Key);
  for (; place != fPlaces.end() && place->Key <= end; ++place) fFound.push_back(place->Reg);
  // Registers are described in order of address as a rule.
  if (!std::ranges::is_sorted(fFound, {}, &TMBReg::Index)) {
    std::ranges::sort(fFound, {}, &TMBReg::Index);
  }
  for (TMBReg* reg : fFound) found.emplace_back(reg);
}

void TMBRegPlaces::Refresh() {
  if (fKnown && fRevision == fRegs.LayoutRevision()) return;
  fPlaces.clear();
  fPlaces.reserve(static_cast<std::size_t>(fRegs.Count()));
  for (int i = 0; i < fRegs.Count(); ++i) {
    auto* reg = static_cast<TMBReg*>(fRegs.Items(i));
    fPlaces.push_back({KeyOf((reg->*fFuncOf)(), reg->Adress()), reg});
  }
  std::ranges::sort(fPlaces, {}, &TPlace::Key);
  fRevision = fRegs.LayoutRevision();
  fKnown = true;
}

}  // namespace OrvixModBus
