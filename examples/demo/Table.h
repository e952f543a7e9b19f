#pragma once
// Table: shows registers and frames to people.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "uMBLetters.h"

namespace OrvixModBus {

/// Bytes as upper-case hexadecimal pairs with blanks between them.
std::string HexText(std::span<const std::uint8_t> bytes);

/// A register's value for people: of a bit field the texts that are not empty.
std::string ValueText(const TMBReg& reg);

/// One line per register: name, address, function, raw bytes, value, unit or caption.
void PrintTable(const TMBRegs& regs);

/// Rows of cells, the columns as wide as their widest cell.
void PrintColumns(const std::vector<TStringDynArray>& rows);

}  // namespace OrvixModBus
