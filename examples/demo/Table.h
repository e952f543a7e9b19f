#pragma once
// Table: shows registers to people.

#include <string>

#include "uMBLetters.h"

namespace OrvixModBus {

/// A register's value for people: of a bit field the texts that are not empty.
std::string ValueText(const TMBReg& reg);

/// One line per register: name, address, function, raw bytes, value, unit or caption.
void PrintTable(const TMBRegs& regs);

}  // namespace OrvixModBus
