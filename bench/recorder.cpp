// What the flight recorder costs: a transaction with and without it over a cable in memory, in
// virtual time, where nothing but the library's own work is measured.

#include <benchmark/benchmark.h>

#include "platform/modbus/uModbusClient.h"
#include "platform/modbus/uModbusConnection.h"
#include "platform/modbus/uRtuFrame.h"
#include "tools/simulator/uMemoryCable.h"

namespace OrvixModBus {
namespace {

// A line whose device answers a read of ten registers at once.
class TAnsweredLine {
 public:
  explicit TAnsweredLine(std::uint32_t recorderSize) {
    Bytes body = {1, 3, 20};
    body.resize(23);
    FormFrame(body, fReply);
    fLine.SetSerialPort(fCable.NewPort());
    fLine.SetSilentInterval(0);
    fLine.SetRecorderSize(recorderSize);
    fLine.SetActive(true);
    fClient.SetConnection(&fLine);
    fClient.OnCustomTransactionComplete = [this](TModbusClient&, TModbusTransaction&,
                                                 std::uint8_t) { fDone = true; };
  }

  void Exchange() {
    constexpr std::uint8_t kRequest[] = {0, 100, 0, 10};
    fDone = false;
    fClient.InitCustomTransaction(3, kRequest, false, nullptr);
    while (!fDone) {
      fLoop.RunPending();
      if (fCable.FarEnd().Read(fRequest).Count > 0) fCable.FarEnd().Write(fReply);
    }
  }

 private:
  TVirtualLoop fLoop;
  TMemoryCable fCable{fLoop};
  TModbusConnection fLine;
  TModbusClient fClient;
  Bytes fReply, fRequest = Bytes(300);
  bool fDone = false;
};

void Transaction(benchmark::State& state) {
  TAnsweredLine line(static_cast<std::uint32_t>(state.range(0)));
  for (auto _ : state) line.Exchange();
  state.SetLabel(state.range(0) == 0 ? "without recorder" : "with recorder");
}
BENCHMARK(Transaction)->Arg(0)->Arg(TFlightRecorder::kDefaultSize);

void Entry(benchmark::State& state) {
  TFlightRecorder recorder;
  recorder.Begin();
  const Bytes data(static_cast<std::size_t>(state.range(0)));
  const auto time = std::chrono::steady_clock::now();
  for (auto _ : state) recorder.Record(TFlightKind::fkRead, time, 0, 0, data);
}
BENCHMARK(Entry)->Arg(0)->Arg(25);

}  // namespace
}  // namespace OrvixModBus

BENCHMARK_MAIN();
