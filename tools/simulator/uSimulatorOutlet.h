#pragma once
// uSimulatorOutlet: where a simulator is served - a pseudo-terminal or a port - and for how long.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/modbus/uSerialPort.h"
#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uSimulator.h"
#include "tools/simulator/uSimulatorLine.h"

namespace OrvixModBus {

/// A symbolic link that is there as long as this is.
class TSymbolicLink {
 public:
  /// Takes the place of a link that was left over; throws std::filesystem::filesystem_error where
  /// anything else has that name.
  TSymbolicLink(const std::string& target, const std::string& path);
  TSymbolicLink(const TSymbolicLink&) = delete;
  TSymbolicLink& operator=(const TSymbolicLink&) = delete;
  /// Leaves a link alone that leads elsewhere by now: it is another program's.
  ~TSymbolicLink();

 private:
  const std::filesystem::path fTarget, fPath;
};

struct TSimulatorOutletSettings {
  TPortSettings Port;  ///< the port to serve; without a name, a new pseudo-terminal
  std::string Link;    ///< the pseudo-terminal's second name; empty for none
};

/// What is served: a port when one is named, else a pseudo-terminal.
class TSimulatorOutlet {
 public:
  /// Throws what opening the port or making terminal and link throw.
  explicit TSimulatorOutlet(const TSimulatorOutletSettings& settings);

  THandle Handle() const { return fPort ? fPort->Handle() : fTerminal->Handle(); }
  /// What a program opens to talk to the simulator, or the port's name.
  const std::string& Path() const { return fPort ? fPortName : fTerminal->Path(); }

 private:
  std::string fPortName;
  std::unique_ptr<TSerialPort> fPort;
  std::optional<TPseudoTerminal> fTerminal;
  std::optional<TSymbolicLink> fLink;
};

/// Serves the simulator until SIGINT or SIGTERM. Prints one line to ready, the outlet's path, when
/// requests are answered and signals are heeded; onFrame, if there is one, sees all frames. What
/// the signals did before they do again afterwards. One call at a time.
void ServeUntilSignal(
    TSimulator& simulator, const TSimulatorOutlet& outlet, const TSimulatorLineSettings& settings,
    std::ostream& ready,
    const std::function<void(ELineFrame, std::span<const std::uint8_t>)>& onFrame = {});

}  // namespace OrvixModBus
