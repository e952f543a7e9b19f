#pragma once
// uLetterReader: reads registers of a letter to the end, and knows why one could not be read.

#include <vector>

#include "tools/orvixmb/uRegisterRows.h"
#include "uMBLetters.h"

namespace OrvixModBus {

/// Reads these registers of letter, whose client must be open, and waits for the end. A row for
/// each, in the order given; one that did not answer has the reason as its error.
std::vector<TRegisterRow> ReadRegisters(TMBLetter& letter, const TMBRegList& regs);

/// Waits for the end of all that letter has asked. A register whose type does not fit its bytes has
/// the loop throw: all others are answered, too, and reading tells of it.
void WaitForLetter(const TMBLetter& letter);

}  // namespace OrvixModBus
