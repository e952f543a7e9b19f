#include "tools/simulator/uSimulatorOutlet.h"

#include <atomic>
#include <csignal>
#include <ostream>
#include <utility>

#include "platform/loop/uSystemLoop.h"
#include "tools/simulator/uOwnedHandle.h"
#include "tools/simulator/uTerminalPort.h"

namespace OrvixModBus {
namespace {

// A pipe that SIGINT and SIGTERM make readable.
class TSignalPipe {
 public:
  TSignalPipe() {
    gServing = &fPipe;
    fFormerInterrupt = std::signal(SIGINT, WakeBySignal);
    fFormerTermination = std::signal(SIGTERM, WakeBySignal);
  }
  TSignalPipe(const TSignalPipe&) = delete;
  TSignalPipe& operator=(const TSignalPipe&) = delete;
  ~TSignalPipe() {
    std::signal(SIGINT, fFormerInterrupt);
    std::signal(SIGTERM, fFormerTermination);
    gServing = nullptr;
  }

  THandle ReadEnd() const { return fPipe.ReadEnd(); }

 private:
  using THandler = void (*)(int);

  static void WakeBySignal(int) {
    if (const TWakePipe* pipe = gServing) pipe->Wake();
  }

  static inline std::atomic<const TWakePipe*> gServing = nullptr;

  TWakePipe fPipe;
  THandler fFormerInterrupt = nullptr;
  THandler fFormerTermination = nullptr;
};

}  // namespace

TSimulatorOutlet::TSimulatorOutlet(const TSimulatorOutletSettings& settings)
    : fSettings(settings.Port), fPath(settings.Port.Name) {
  if (fPath.empty()) {
    auto terminal = std::make_unique<TTerminalPort>(settings.Link);
    fPath = terminal->Path();
    fPort = std::move(terminal);
  } else {
    fPort = TSerialPort::New();
    fPort->Open(fSettings);
  }
}

void ServeUntilSignal(
    TSimulator& simulator, const TSimulatorOutlet& outlet, const TSimulatorLineSettings& settings,
    std::ostream& ready,
    const std::function<void(ELineFrame, std::span<const std::uint8_t>)>& onFrame) {
  TSystemLoop loop;
  const auto answer = [&](auto request) { return simulator.Answer(request); };
  TSimulatorLineSettings lineSettings = settings;
  lineSettings.Port = outlet.Settings();
  TSimulatorLine line(loop, outlet.Port(), answer, lineSettings);
  line.OnFrame = onFrame;

  const TSignalPipe signals;
  const auto watch = loop.NewWatch(signals.ReadEnd(), [&loop](TReadiness) { loop.Stop(); });
  watch->Want(TReadiness::rdRead);
  ready << outlet.Path() << std::endl;
  loop.Run();
}

}  // namespace OrvixModBus
