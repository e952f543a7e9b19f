#pragma once
// uTerminal: whether somebody is watching.

#include <cstdio>

namespace OrvixModBus {

/// True when what is written to out is shown on a terminal as it comes.
bool IsTerminal(std::FILE* out);

}  // namespace OrvixModBus
