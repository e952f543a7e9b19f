#include "tools/simulator/uSimulatorThread.h"

#include <utility>

#include "platform/loop/uSystemLoop.h"

namespace OrvixModBus {

TSimulatorThread::TSimulatorThread(TSimulator& simulator, THandle handle,
                                   const TSimulatorLineSettings& settings)
    : fThread([this, &simulator, handle, settings] {
        try {
          Run(simulator, handle, settings);
        } catch (...) {
          fFailure = std::current_exception();
        }
      }) {}

TSimulatorThread::~TSimulatorThread() { Join(); }

void TSimulatorThread::Stop() {
  Join();
  if (fFailure) std::rethrow_exception(std::exchange(fFailure, nullptr));
}

void TSimulatorThread::Run(TSimulator& simulator, THandle handle,
                           const TSimulatorLineSettings& settings) {
  TSystemLoop loop;
  const auto answer = [&](std::span<const std::uint8_t> request) {
    const auto lock = Lock();
    return simulator.Answer(request);
  };
  const TSimulatorLine line(loop, handle, answer, settings);
  const auto wake = loop.NewWatch(fWake.ReadEnd(), [&loop](TReadiness) { loop.Stop(); });
  wake->Want(TReadiness::rdRead);
  loop.Run();
}

void TSimulatorThread::Join() {
  fWake.Wake();
  if (fThread.joinable()) fThread.join();
}

}  // namespace OrvixModBus
