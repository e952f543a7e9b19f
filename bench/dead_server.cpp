// What a dead server costs the others on its line: ten of them are polled round and round at 9600
// baud, for ten minutes of the line's time (virtual, so the figures are the same everywhere).

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "platform/loop/uVirtualLoop.h"
#include "tools/simulator/uMemoryCable.h"
#include "tools/simulator/uSimulator.h"
#include "tools/simulator/uSimulatorLine.h"
#include "uMBRTU.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

constexpr std::uint8_t kServers = 10;
constexpr std::uint8_t kDead = 5;
constexpr TBaudRate kBaudRate = 9600;

class TTenServers {
 public:
  explicit TTenServers(bool oneIsDead)
      : fFar(fLoop, fCable.FarEnd(), [this](auto request) { return fSimulator.Answer(request); },
             {.BaudRate = kBaudRate, .Turnaround = 5ms, .Burst = 1}) {
    Line.SetPortProperty("cable");
    Line.SetSerialPort(fCable.NewPort());
    Line.SetActive(true);
    for (std::uint8_t server = 1; server <= kServers; ++server) {
      if (!oneIsDead || server != kDead) Furnish(server);
      Poll(server);
    }
  }

  /// Answered requests per second.
  double Rate(std::chrono::seconds time) {
    fAnswers = 0;
    fLoop.RunUntil([] { return false; }, time);
    return static_cast<double>(fAnswers) / static_cast<double>(time.count());
  }

 private:
  void Furnish(std::uint8_t server) {
    fSimulator.Device(server).Holding.Set(0, std::vector<std::uint32_t>(10, server));
  }

  void Poll(std::uint8_t server) {
    fClients.push_back(std::make_unique<TModbusClient>());
    TModbusClient& client = *fClients.back();
    client.SetConnection(&Line);
    client.SetServerAddress(server);
    client.OnCustomTransactionComplete = [this](TModbusClient& sender, TModbusTransaction& done,
                                                std::uint8_t) {
      if (done.ServerReply() == TServerReply::srNormalReply) ++fAnswers;
      fLoop.Post([&sender] { Ask(sender); });
    };
    Ask(client);
  }

  static void Ask(TModbusClient& client) {
    constexpr std::uint8_t kTenRegisters[] = {0, 0, 0, 10};
    client.InitCustomTransaction(0x03, kTenRegisters, false, nullptr);
  }

  TVirtualLoop fLoop;
  TMemoryCable fCable{fLoop};
  TSimulator fSimulator;
  TSimulatorLine fFar;

 public:
  TMBRTUConnection Line;

 private:
  std::vector<std::unique_ptr<TModbusClient>> fClients;
  std::uint64_t fAnswers = 0;
};

// Arguments: a server is dead; time-outs after which it is set aside.
void DeadServer(benchmark::State& state) {
  double rate = 0;
  for (auto _ : state) {
    TTenServers servers(state.range(0) != 0);
    servers.Line.SetSetAsideAfter(static_cast<std::uint8_t>(state.range(1)));
    rate = servers.Rate(600s);
  }
  TTenServers alive(false);
  const double others =
      alive.Rate(600s) * (state.range(0) != 0 ? kServers - 1 : kServers) / kServers;
  state.counters["answers_per_s"] = rate;
  state.counters["of_full_rate"] = rate / others;
}

BENCHMARK(DeadServer)
    ->ArgNames({"dead", "set_aside_after"})
    ->Args({0, 0})
    ->Args({1, 0})
    ->Args({1, 3})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

}  // namespace
}  // namespace OrvixModBus

BENCHMARK_MAIN();
