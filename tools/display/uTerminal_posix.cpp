#include "tools/display/uTerminal.h"

#include <unistd.h>

namespace OrvixModBus {

bool IsTerminal(std::FILE* out) {
  const int handle = fileno(out);
  return handle >= 0 && isatty(handle) != 0;
}

}  // namespace OrvixModBus
