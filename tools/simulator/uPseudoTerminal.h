#pragma once
// uPseudoTerminal: a pair of connected terminals in place of a serial cable.

#include <string>

#include "tools/simulator/uOwnedHandle.h"

namespace OrvixModBus {

/// Handle is the simulator's end; a program opens the other one by Path, as it opens a port. Both
/// are raw. Bytes pass at once, whatever the baud rate.
///
/// The other end is also held open here, so that this end does not hang up when a program closes
/// it. Therefore what a program sets on its terminal, exclusive use (TIOCEXCL) too, stays until
/// the program takes it back or this object is gone.
class TPseudoTerminal {
 public:
  /// Throws Exception with the system's reason.
  TPseudoTerminal();

  THandle Handle() const { return fOwnEnd.Get(); }
  const std::string& Path() const { return fPath; }

 private:
  TOwnedHandle fOwnEnd;
  std::string fPath;
  TOwnedHandle fOtherEnd;
};

}  // namespace OrvixModBus
