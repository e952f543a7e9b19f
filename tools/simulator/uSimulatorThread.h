#pragma once
// uSimulatorThread: runs a simulator beside the program that talks to it.

#include <exception>
#include <mutex>
#include <thread>

#include "tools/simulator/uHandlePort.h"
#include "tools/simulator/uOwnedHandle.h"
#include "tools/simulator/uSimulator.h"
#include "tools/simulator/uSimulatorLine.h"

namespace OrvixModBus {

/// Serves a handle, or a port, in a thread of its own from construction to Stop or destruction.
/// Simulator and handle stay the caller's and outlive this:
///
///   TSimulator simulator;
///   simulator.Device(1).Holding.Set(100, {1, 2, 3});
///   TPseudoTerminal terminal;
///   TSimulatorThread thread(simulator, terminal.Handle());
///
/// While the thread runs, the simulator and its devices may only be touched under Lock:
///
///   { const auto lock = thread.Lock(); simulator.Device(1).Holding.Set(100, {4}); }
class TSimulatorThread {
 public:
  TSimulatorThread(TSimulator& simulator, THandle handle,
                   const TSimulatorLineSettings& settings = {});
  /// An open port, such as TTerminalPort: it can hang up and return.
  TSimulatorThread(TSimulator& simulator, TSerialPort& port,
                   const TSimulatorLineSettings& settings = {});
  TSimulatorThread(const TSimulatorThread&) = delete;
  TSimulatorThread& operator=(const TSimulatorThread&) = delete;
  ~TSimulatorThread();

  /// Requests wait as long as the lock is held.
  [[nodiscard]] std::unique_lock<std::mutex> Lock() { return std::unique_lock(fMutex); }

  /// Ends the thread. Throws what had ended it before, such as the line's hang-up.
  void Stop();

 private:
  void Run(TSimulator& simulator, TSerialPort& port, const TSimulatorLineSettings& settings);
  template <typename TRun>
  std::thread Start(TRun run);
  void Join();

  std::mutex fMutex;
  TWakePipe fWake;
  std::exception_ptr fFailure;
  std::thread fThread;
};

}  // namespace OrvixModBus
