#include "tools/simulator/uPseudoTerminal.h"

#include <fcntl.h>
#include <termios.h>

#include <array>
#include <cstdlib>

namespace OrvixModBus {
namespace {

constexpr char kNoTerminal[] = "No pseudo-terminal";

std::string UnlockOtherEnd(THandle ownEnd) {
  std::array<char, 128> path{};
  if (grantpt(ownEnd) != 0 || unlockpt(ownEnd) != 0 ||
      ptsname_r(ownEnd, path.data(), path.size()) != 0) {
    ThrowSystemError(kNoTerminal);
  }
  return path.data();
}

void MakeRaw(THandle terminal) {
  termios mode{};
  if (tcgetattr(terminal, &mode) != 0) ThrowSystemError(kNoTerminal);
  cfmakeraw(&mode);
  if (tcsetattr(terminal, TCSANOW, &mode) != 0) ThrowSystemError(kNoTerminal);
}

}  // namespace

TPseudoTerminal::TPseudoTerminal()
    : fOwnEnd(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), kNoTerminal),
      fPath(UnlockOtherEnd(fOwnEnd.Get())),
      fOtherEnd(open(fPath.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), kNoTerminal) {
  MakeRaw(fOtherEnd.Get());
}

}  // namespace OrvixModBus
