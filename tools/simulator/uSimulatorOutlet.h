#pragma once
// uSimulatorOutlet: where a simulator is served - a pseudo-terminal or a port - and for how long.

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>

#include "platform/modbus/uSerialPort.h"
#include "tools/simulator/uSimulator.h"
#include "tools/simulator/uSimulatorLine.h"

namespace OrvixModBus {

struct TSimulatorOutletSettings {
  TPortSettings Port;  ///< the port to serve; without a name, a new pseudo-terminal
  std::string Link;    ///< the pseudo-terminal's second name; empty for none
};

/// What is served: a port when one is named, else a pseudo-terminal.
class TSimulatorOutlet {
 public:
  /// Throws what opening the port or making terminal and link throw.
  explicit TSimulatorOutlet(const TSimulatorOutletSettings& settings);

  TSerialPort& Port() const { return *fPort; }
  /// What a program opens to talk to the simulator, or the port's name. A pseudo-terminal that has
  /// hung up has another path when it is back, but the same link.
  const std::string& Path() const { return fPath; }
  /// What the port is opened with, also after it has hung up.
  const TPortSettings& Settings() const { return fSettings; }

 private:
  TPortSettings fSettings;
  std::string fPath;
  std::unique_ptr<TSerialPort> fPort;
};

/// Serves the simulator until SIGINT or SIGTERM. Prints one line to ready, the outlet's path, when
/// requests are answered and signals are heeded; onFrame, if there is one, sees all frames. What
/// the signals did before they do again afterwards. One call at a time.
void ServeUntilSignal(
    TSimulator& simulator, const TSimulatorOutlet& outlet, const TSimulatorLineSettings& settings,
    std::ostream& ready,
    const std::function<void(ELineFrame, std::span<const std::uint8_t>)>& onFrame = {});

}  // namespace OrvixModBus
