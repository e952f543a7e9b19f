#include "platform/rtl/uBeep.h"

#include <unistd.h>

namespace OrvixModBus {

void SystemBeep() {
  if (isatty(STDERR_FILENO) == 0) return;
  // A bell that the terminal does not take is not worth another try.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, "\a", 1);
}

}  // namespace OrvixModBus
