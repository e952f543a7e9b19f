#include "tools/display/uTerminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace OrvixModBus {

bool IsTerminal(std::FILE* out) {
  const int handle = fileno(out);
  return handle >= 0 && isatty(handle) != 0;
}

std::size_t TerminalHeight(std::FILE* out) {
  winsize size{};
  const int handle = fileno(out);
  return handle >= 0 && ioctl(handle, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

bool WantsColour() {
  const char* const refused = std::getenv("NO_COLOR");
  return refused == nullptr || *refused == '\0';
}

}  // namespace OrvixModBus
