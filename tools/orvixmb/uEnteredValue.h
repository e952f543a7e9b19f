#pragma once
// uEnteredValue: what a person enters for a register, as the bytes that it is to hold.

#include <string>

#include "tools/orvixmb/uTool.h"
#include "uMBReg.h"

namespace OrvixModBus {

/// The data of reg once it holds what text says. EUsageError with the reason and, as far as the
/// type tells it, what is allowed: "out of range (Min: -40; Max: 120)".
///
/// | type       | text                                                                       |
/// |------------|----------------------------------------------------------------------------|
/// | any        | "$0102": all its bytes in the order of the device                          |
/// | rtNum      | a number of its unit; one that the bytes can't tell exactly is refused     |
/// | rtList     | a name or a code of the list, names first                                  |
/// | rtBin      | texts or names of bits with commas between them, bits not told being 0; or |
/// |            | all bits as one number                                                     |
/// | rtStr      | a text of the ANSI code page, filled up with blanks                        |
/// | rtStructur | the code                                                                   |
/// | a coil     | 0 or 1, too                                                                |
Bytes EnteredBytes(const TMBReg& reg, const std::string& text);

}  // namespace OrvixModBus
