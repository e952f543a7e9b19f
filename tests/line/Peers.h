#pragma once
// Peers: servers of other Modbus stacks, each a program of its own on a pseudo-terminal.

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tools/simulator/uOwnedHandle.h"
#include "tools/simulator/uPseudoTerminal.h"
#include "uMBClient.h"

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

/// A running program that is talked to by lines; killed with its owner.
class TPeerProgram {
 public:
  /// Starts the program and waits until it says "ready"; throws Exception when it does not within
  /// 30 seconds.
  explicit TPeerProgram(const std::vector<std::string>& command);

  /// Hands the program a line and returns the line that it answers, both without their ends.
  /// Throws Exception when none comes within 30 seconds.
  std::string Ask(const std::string& question);

 private:
  class TProcess {
   public:
    explicit TProcess(pid_t id) : fId(id) {}
    TProcess(const TProcess&) = delete;
    TProcess& operator=(const TProcess&) = delete;
    ~TProcess();

   private:
    pid_t fId;
  };

  TPeerProgram(const std::vector<std::string>& command, std::array<int, 2> talk);
  std::string ReadLine();

  std::string fName;
  TOwnedHandle fTalk;
  TProcess fProcess;
  std::string fSaid;  // and not yet returned
};

/// A stack to talk to.
struct TPeerKind {
  const char* Name;
  std::vector<std::string> Command;  // port and server address are appended

  friend void PrintTo(const TPeerKind& kind, std::ostream* out) { *out << kind.Name; }
};

std::vector<TPeerKind> PeerKinds();

/// A client on one end of a cable, another stack's server on the other.
class TPeerLine {
 public:
  static constexpr std::uint8_t kServer = 17;

  explicit TPeerLine(const TPeerKind& kind);

  /// What the peer holds, as its own tables tell: Ask("registers", ...) or Ask("coils", ...).
  std::vector<int> Ask(const std::string& table, std::uint32_t first, std::uint32_t count);
  /// Runs the loop until nothing of the client's is pending any more; false after 30 seconds.
  bool RunDry();

  TCable Cable;
  TPeerProgram Peer;
  TMBRTUConnection Line;
  TMBConnection Connection;
  TMBClient Client;
};

/// What every peer's tables hold at an address.
inline std::uint16_t PeerHolding(std::uint32_t a) { return static_cast<std::uint16_t>(a * 7 + 3); }
inline std::uint16_t PeerInput(std::uint32_t a) { return static_cast<std::uint16_t>(a * 13 + 5); }
inline bool PeerCoil(std::uint32_t a) { return a % 3 == 0; }
inline bool PeerDiscrete(std::uint32_t a) { return a % 5 == 0; }

}  // namespace OrvixModBus
