#pragma once
// uTerminal: whether somebody is watching, and what the screen is like.

#include <cstddef>
#include <cstdio>

namespace OrvixModBus {

/// True when what is written to out is shown on a terminal as it comes.
bool IsTerminal(std::FILE* out);

/// Lines that out's terminal shows at a time; 0 when it does not tell, or is none.
std::size_t TerminalHeight(std::FILE* out);

/// False when the user asks for none by the environment variable NO_COLOR.
bool WantsColour();

}  // namespace OrvixModBus
