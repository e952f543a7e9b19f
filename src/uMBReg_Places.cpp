#include "uMBReg_Places.h"

#include <algorithm>
#include <utility>

namespace OrvixModBus {
namespace {

std::uint64_t KeyOf(std::uint8_t func, std::uint64_t adress) {
  return (static_cast<std::uint64_t>(func) << 32) | adress;
}

std::uint64_t FuncOf(std::uint64_t key) { return key >> 32; }

}  // namespace

void TMBRegPlaces::Find(std::uint8_t func, std::uint64_t first, std::uint64_t last,
                        std::vector<TRef<TMBReg>>& found) {
  Refresh();
  found.clear();
  constexpr std::uint64_t kLastAdress = 0xFFFFFFFF;
  const std::uint64_t end = KeyOf(func, std::min(last, kLastAdress));
  auto place = std::ranges::lower_bound(fPlaces, KeyOf(func, first), {}, &TPlace::Key);
  for (; place != fPlaces.end() && place->Key <= end; ++place) found.emplace_back(place->Reg);
  if (!fInOrder) std::ranges::sort(found, {}, [](const TRef<TMBReg>& reg) { return reg->Index(); });
}

void TMBRegPlaces::Refresh() {
  if (fKnown && fRevision == fRegs.LayoutRevision()) return;
  fPlaces.clear();
  fPlaces.reserve(static_cast<std::size_t>(fRegs.Count()));
  for (int i = 0; i < fRegs.Count(); ++i) {
    auto* reg = static_cast<TMBReg*>(fRegs.Items(i));
    fPlaces.push_back({KeyOf((reg->*fFuncOf)(), reg->Adress()), reg});
  }
  std::ranges::stable_sort(fPlaces, {}, &TPlace::Key);
  fInOrder = std::ranges::is_sorted(fPlaces, {}, [](const TPlace& place) {
    return std::pair(FuncOf(place.Key), place.Reg->Index());
  });
  fRevision = fRegs.LayoutRevision();
  fKnown = true;
}

}  // namespace OrvixModBus
