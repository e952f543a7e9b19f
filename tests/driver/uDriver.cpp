#include "uDriver.h"

#include <sys/ioctl.h>

#include <cerrno>
#include <cstdarg>

namespace OrvixModBus {
namespace {

thread_local TDriver* present = nullptr;

int Refused() {
  errno = EPERM;
  return -1;
}

}  // namespace

TDriver::TDriver() { present = this; }
TDriver::~TDriver() { present = nullptr; }

bool TDriver::Answer(unsigned long request, void* argument, int& result) {
  result = 0;
  switch (request) {
    case TIOCGSERIAL:
      static_cast<serial_struct*>(argument)->flags = SerialFlags;
      return true;
    case TIOCSSERIAL:
      if (RefusesLowLatency) {
        result = Refused();
      } else {
        SerialFlags = static_cast<const serial_struct*>(argument)->flags;
      }
      return true;
    case TIOCMBIS:
    case TIOCMBIC:
      if ((*static_cast<const int*>(argument) & TIOCM_RTS) != 0) Rts.push_back(request == TIOCMBIS);
      return true;
    case TIOCGRS485:
      *static_cast<serial_rs485*>(argument) = RS485;
      return true;
    case TIOCSRS485:
      RS485 = *static_cast<const serial_rs485*>(argument);
      return true;
    case TIOCSERGETLSR:
      *static_cast<int*>(argument) = IsEmpty ? TIOCSER_TEMT : 0;
      return true;
    default:
      return false;
  }
}

}  // namespace OrvixModBus

// The linker hands the calls of the program to this one.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {
int __real_ioctl(int handle, unsigned long request, ...);

int __wrap_ioctl(int handle, unsigned long request, ...) {
  va_list more;
  va_start(more, request);
  void* const argument = va_arg(more, void*);
  va_end(more);
  auto* const driver = OrvixModBus::present;
  int result = 0;
  if (driver != nullptr && driver->Answer(request, argument, result)) return result;
  result = __real_ioctl(handle, request, argument);
  if (driver == nullptr || result < 0) return result;
  auto* const mode = static_cast<termios2*>(argument);
  if (request == TCSETS2) driver->AskedFlags = mode->c_cflag;
  if (request == TCGETS2 && driver->BaudRate != 0) mode->c_ospeed = driver->BaudRate;
  return result;
}
}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
