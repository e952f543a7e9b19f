#pragma once
// uLetterReader: reads registers of a letter to the end, and knows why one could not be read.

#include <vector>

#include "tools/orvixmb/uRegisterRows.h"
#include "uMBLetters.h"

namespace OrvixModBus {

/// Reads these registers of letter, whose client must be open, and waits for the end. A row for
/// each, in the order given; one that did not answer has the reason as its error.
std::vector<TRegisterRow> ReadRegisters(TMBLetter& letter, const TMBRegList& regs);

}  // namespace OrvixModBus
