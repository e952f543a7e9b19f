#include "tools/simulator/uSimulatorOutlet.h"

#include <atomic>
#include <csignal>
#include <ostream>
#include <system_error>

#include "platform/loop/uSystemLoop.h"
#include "tools/simulator/uOwnedHandle.h"

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

TSymbolicLink::TSymbolicLink(const std::string& target, const std::string& path)
    : fTarget(target), fPath(path) {
  if (std::filesystem::is_symlink(fPath)) std::filesystem::remove(fPath);
  std::filesystem::create_symlink(fTarget, fPath);
}

TSymbolicLink::~TSymbolicLink() {
  std::error_code error;
  if (std::filesystem::read_symlink(fPath, error) != fTarget) return;
  std::filesystem::remove(fPath, error);
}

TSimulatorOutlet::TSimulatorOutlet(const TSimulatorOutletSettings& settings)
    : fPortName(settings.Port.Name) {
  if (fPortName.empty()) {
    fTerminal.emplace();
    if (!settings.Link.empty()) fLink.emplace(fTerminal->Path(), settings.Link);
  } else {
    fPort = TSerialPort::New();
    fPort->Open(settings.Port);
  }
}

void ServeUntilSignal(
    TSimulator& simulator, const TSimulatorOutlet& outlet, const TSimulatorLineSettings& settings,
    std::ostream& ready,
    const std::function<void(ELineFrame, std::span<const std::uint8_t>)>& onFrame) {
  TSystemLoop loop;
  const auto answer = [&](auto request) { return simulator.Answer(request); };
  TSimulatorLine line(loop, outlet.Handle(), answer, settings);
  line.OnFrame = onFrame;

  const TSignalPipe signals;
  const auto watch = loop.NewWatch(signals.ReadEnd(), [&loop](TReadiness) { loop.Stop(); });
  watch->Want(TReadiness::rdRead);
  ready << outlet.Path() << std::endl;
  loop.Run();
}

}  // namespace OrvixModBus
