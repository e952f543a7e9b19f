#pragma once
// Peers: servers of other Modbus stacks, each a program of its own on a pseudo-terminal.

#include <sys/types.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tools/simulator/uOwnedHandle.h"
#include "tools/simulator/uPseudoTerminal.h"

namespace OrvixModBus {

/// A cable between two programs that open terminals: what one end sends the other receives.
class TCable {
 public:
  TCable();
  ~TCable();

  const std::string& PathA() const { return fA.Path(); }
  const std::string& PathB() const { return fB.Path(); }

 private:
  void Carry();

  TPseudoTerminal fA, fB;
  TWakePipe fEnd;
  std::thread fCarrier;
};

/// A running program; killed with its owner.
class TPeerProgram {
 public:
  /// Starts the program and waits until it says "ready"; throws Exception when it does not within
  /// 30 seconds.
  explicit TPeerProgram(const std::vector<std::string>& command);
  TPeerProgram(const TPeerProgram&) = delete;
  TPeerProgram& operator=(const TPeerProgram&) = delete;
  ~TPeerProgram();

 private:
  pid_t fProcess = -1;
};

/// A stack to read from.
struct TPeerKind {
  const char* Name;
  std::vector<std::string> Command;  // port and server address are appended

  friend void PrintTo(const TPeerKind& kind, std::ostream* out) { *out << kind.Name; }
};

std::vector<TPeerKind> PeerKinds();

/// What every peer's tables hold at an address.
inline std::uint16_t PeerHolding(std::uint32_t a) { return static_cast<std::uint16_t>(a * 7 + 3); }
inline std::uint16_t PeerInput(std::uint32_t a) { return static_cast<std::uint16_t>(a * 13 + 5); }
inline bool PeerCoil(std::uint32_t a) { return a % 3 == 0; }
inline bool PeerDiscrete(std::uint32_t a) { return a % 5 == 0; }

}  // namespace OrvixModBus
