#pragma once
// uMBLetters_Groups: lists of registers, and how they are packed into requests.

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "uMBReg.h"

namespace OrvixModBus {

class TMBRegs;

using TMBRegList = std::vector<TMBReg*>;
/// Temporary registers that stand for a run of registers each.
using TMBGroupList = std::vector<std::unique_ptr<TMBReg>>;

/// The function codes that a letter reads with, in the order in which it does.
inline constexpr std::uint8_t kMBReadFuncs[] = {0x01, 0x02, 0x03, 0x04, 0x21, 0x43, 0x44};

/// Why a run begins with its first register instead of going on with the run before.
enum class TRunBegin : std::uint8_t {
  rbFirst,         ///< it is the first of its function code
  rbGap,           ///< a gap in the addresses, however small
  rbTooLong,       ///< the run before would be longer than 128 registers, bits or bytes
  rbTooFar,        ///< the register ends more than 128 above the lowest one of the whole list
  rbNewBlock,      ///< the address is a multiple of 256
  rbTooManyBytes,  ///< the run before would have more bytes than a register may have
};

/// Neighbours that are read together, and the group register that stands for them.
struct TMBRegRun {
  TRunBegin Begin = TRunBegin::rbFirst;
  std::vector<const TMBReg*> Regs;  ///< in order of address
  std::unique_ptr<TMBReg> Group;
};

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
/// The same, and of each group which registers it stands for and why it begins where it does.
std::vector<TMBRegRun> MBRegRuns(const TMBRegList& list, std::uint8_t func);
/// What is asked of the client to read a group: bits for $01, $02, else bytes. Nothing for a
/// group without registers, unless its function is $21, which asks for no number.
std::optional<std::uint16_t> CountToRead(const TMBReg& group);
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
