#pragma once
// uMBReg_Places: where the registers of a set lie on the device - found by function code and
// address without a walk over the whole set.

#include <cstdint>
#include <vector>

#include "uMBReg.h"

namespace OrvixModBus {

/// The registers of a collection in order of one of their function codes and their address.
/// Follows the collection by its LayoutRevision: sorted again when first asked after a change.
class TMBRegPlaces {
 public:
  using TFuncOf = std::uint8_t (TMBReg::*)() const;

  /// funcOf: &TMBReg::MBFuncRead or &TMBReg::MBFuncWrite.
  TMBRegPlaces(const TRegNameCollection& regs, TFuncOf funcOf) : fRegs(regs), fFuncOf(funcOf) {}

  /// Puts the registers of function code func whose address is within first..last (both
  /// included) into found, in collection order. What was in found is lost.
  void Find(std::uint8_t func, std::uint64_t first, std::uint64_t last,
            std::vector<TRef<TMBReg>>& found);

 private:
  struct TPlace {
    std::uint64_t Key;  // function code, then address
    TMBReg* Reg;
  };

  void Refresh();

  const TRegNameCollection& fRegs;
  TFuncOf fFuncOf;
  std::vector<TPlace> fPlaces;
  std::uint64_t fRevision = 0;
  bool fKnown = false;
  bool fInOrder = false;  // those of one function code come in order of address, as a rule
};

}  // namespace OrvixModBus
