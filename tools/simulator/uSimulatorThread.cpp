#include "tools/simulator/uSimulatorThread.h"

#include <utility>

#include "platform/loop/uSystemLoop.h"

namespace OrvixModBus {

template <typename TRun>
std::thread TSimulatorThread::Start(TRun run) {
  return std::thread([this, run = std::move(run)] {
    try {
      run();
    } catch (...) {
      fFailure = std::current_exception();
    }
  });
}

TSimulatorThread::TSimulatorThread(TSimulator& simulator, THandle handle,
                                   const TSimulatorLineSettings& settings)
    : fThread(Start([this, &simulator, handle, settings] {
        THandlePort port(handle);
        Run(simulator, port, settings);
      })) {}

TSimulatorThread::TSimulatorThread(TSimulator& simulator, TSerialPort& port,
                                   const TSimulatorLineSettings& settings)
    : fThread(Start([this, &simulator, &port, settings] { Run(simulator, port, settings); })) {}

TSimulatorThread::~TSimulatorThread() { Join(); }

void TSimulatorThread::Stop() {
  Join();
  if (fFailure) std::rethrow_exception(std::exchange(fFailure, nullptr));
}

void TSimulatorThread::Run(TSimulator& simulator, TSerialPort& port,
                           const TSimulatorLineSettings& settings) {
  TSystemLoop loop;
  const auto answer = [&](std::span<const std::uint8_t> request) {
    const auto lock = Lock();
    return simulator.Answer(request);
  };
  const TSimulatorLine line(loop, port, answer, settings);
  const auto wake = loop.NewWatch(fWake.ReadEnd(), [&loop](TReadiness) { loop.Stop(); });
  wake->Want(TReadiness::rdRead);
  loop.Run();
}

void TSimulatorThread::Join() {
  fWake.Wake();
  if (fThread.joinable()) fThread.join();
}

}  // namespace OrvixModBus
