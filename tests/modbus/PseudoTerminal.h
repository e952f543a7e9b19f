#pragma once
// PseudoTerminal: a pair of handles that the system takes for a serial line.

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// The far end of a line; PortName is its near end.
class TPseudoTerminal {
 public:
  TPseudoTerminal() : fHandle(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    char name[64];
    if (fHandle < 0 || grantpt(fHandle) != 0 || unlockpt(fHandle) != 0 ||
        ptsname_r(fHandle, name, sizeof name) != 0) {
      throw std::runtime_error("no pseudo-terminal to be had");
    }
    fName = name;
  }
  TPseudoTerminal(const TPseudoTerminal&) = delete;
  TPseudoTerminal& operator=(const TPseudoTerminal&) = delete;
  ~TPseudoTerminal() { HangUp(); }

  const std::string& PortName() const { return fName; }
  int Handle() const { return fHandle; }
  void HangUp() {
    if (fHandle >= 0) close(std::exchange(fHandle, -1));
  }

  bool Send(std::span<const std::uint8_t> bytes) {
    return write(fHandle, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  }
  /// Takes what has arrived, waiting at most five seconds for the first of it.
  std::size_t Take(std::span<std::uint8_t> bytes) {
    pollfd waited{fHandle, POLLIN, 0};
    if (poll(&waited, 1, 5000) != 1) return 0;
    const ssize_t count = read(fHandle, bytes.data(), bytes.size());
    return count > 0 ? static_cast<std::size_t>(count) : 0;
  }

 private:
  int fHandle;
  std::string fName;
};

}  // namespace OrvixModBus
