#pragma once
// uLetterWriter: writes registers of a letter, reads them back, and knows what went wrong.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/orvixmb/uRegisterRows.h"
#include "uMBLetters.h"

namespace OrvixModBus {

inline constexpr std::uint8_t kWriteCoil = 0x05;

/// What a register of a letter is to hold. Of a coil every byte has its state, as it is read.
struct TRegWrite {
  TMBReg* Reg = nullptr;
  Bytes Data;
};

/// Why a letter can't write reg, in words that follow its name: "has no write function". Empty when
/// it can.
std::string WriteObstacle(const TMBReg& reg);

struct TWritten {
  std::vector<TRegisterRow> Rows;  ///< as read back, in the order written
  /// What went wrong, in one line: "SetPoint was not written: no answer (and 2 more)". Empty when
  /// every register holds what was written.
  std::string Problem;
};

/// Writes registers without an obstacle, in this order; those of paged memory that stand side by
/// side in writes go out in merged blocks. One that fails does not stop the others. The client must
/// be open.
TWritten WriteRegisters(TMBLetter& letter, std::span<const TRegWrite> writes);

}  // namespace OrvixModBus
