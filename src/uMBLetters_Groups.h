#pragma once
// uMBLetters_Groups: lists of registers, and how they are packed into requests.

#include <cstdint>
#include <memory>
#include <vector>

#include "uMBReg.h"

namespace OrvixModBus {

class TMBRegs;

using TMBRegList = std::vector<TMBReg*>;
/// Temporary registers that stand for a run of registers each.
using TMBGroupList = std::vector<std::unique_ptr<TMBReg>>;

/// What a register's function code is compared with.
enum class TFuncKind { fkRead = 0, fkWrite = 1 };

/// Frees the registers, the last first.
void ClearMBRegList(TMBGroupList& list);

/// Orders registers by address.
class TMBRegAdressComparer {
 public:
  /// The least 32-bit integer, 0 or the greatest one.
  std::int32_t Compare(const TMBReg& left, const TMBReg& right) const;
};

/// Sorts by address; registers of one address keep their order.
void SortMBRegs(TMBRegList& list);
/// The registers with that function code, in list order.
TMBRegList ListByFunc(const TMBRegList& list, std::uint8_t func, TFuncKind kind);
/// The grouping step: one register per request that reads the registers of function code func.
/// list must be sorted by address. Throws Exception "More then 250 bytes in reg" for a single
/// register longer than that.
TMBGroupList MBRegsOptimize(const TMBRegList& list, std::uint8_t maxHole, std::uint8_t func);
/// The grouping step of block writes: one register per request, in order of address, that writes
/// the registers of function code func, with their data. A register that begins where the one
/// before it ends joins it while both have less than 128 bytes together.
TMBGroupList RegsToWriteF66F65Optimize(const TMBRegList& list, std::uint8_t func);

/// True when all registers agree. Throws Exception "Empty array" when there are none.
bool ChekSameMBFuncRead(const TMBRegList& list);
bool ChekSameMBFuncRead(const TMBRegs& regs);
bool ChekSameMBFuncWrite(const TMBRegList& list);
bool ChekSameRegType(const TMBRegList& list);
bool ChekSameSize(const TMBRegList& list);

}  // namespace OrvixModBus
