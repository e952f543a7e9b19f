// A letter built by name, read through the emulated device and decoded, at growing sizes. The
// cost per register must not grow with the letter.

#include <benchmark/benchmark.h>

#include "bench/Names.h"
#include "platform/loop/uLoop.h"
#include "uMBLetters.h"

namespace OrvixModBus {
namespace {

void DescribeType(TMBTypeInfo& types) {
  TMBRegTypeNumber& number = *types.TypeNumbers().Add();
  number.SetName("Tenths");
  number.SetMaxValue(65535);
  number.SetIntPart(2);
  number.SetMultiplier(0.1);
}

void Build(TMBRegs& regs, TMBTypeInfo& types, int count) {
  regs.SetMBTypeInfo(&types);
  for (int i = 0; i < count; ++i) {
    TMBReg& reg = *regs.Add();
    reg.SetDisplayName(NameOf(i));
    reg.SetRegAdress(static_cast<std::uint32_t>(i));
    reg.SetBytesInOneReg(2);
    reg.SetRegsCount(1);
    reg.SetRegType(TRegType::rtNum);
    reg.SetTypeName("Tenths");
  }
}

// A letter on an emulated device whose registers hold the low 16 bits of their address.
struct TEmulated {
  explicit TEmulated(int count) {
    DescribeType(Types);
    Connection.SetConnectionType(TConnectionType::mbEmul);
    Client.SetConnection(&Connection);
    Client.OnGetEmulData = [](TMBReg& reg, Bytes& data) {
      data = {static_cast<std::uint8_t>(reg.Adress() >> 8 & 0xFF),
              static_cast<std::uint8_t>(reg.Adress() & 0xFF)};
    };
    Letter.SetClient(&Client);
    Letter.OnReadAllRegs = [this](TMBLetter&) { Complete = true; };
    Build(Letter.Regs(), Types, count);
  }

  void Read() {
    Complete = false;
    Letter.ReadAllRegs();
    TLoop::Current().RunPending();
    if (!Complete) throw Exception("the letter is not complete");
  }

  TMBTypeInfo Types;
  TMBConnection Connection;
  TMBClient Client;
  TMBLetter Letter;
  bool Complete = false;
};

void CountRegisters(benchmark::State& state) {
  state.counters["per_register"] =
      benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BuildByName(benchmark::State& state) {
  for (auto _ : state) TEmulated(static_cast<int>(state.range(0)));
  CountRegisters(state);
}

void ReadAndDecode(benchmark::State& state) {
  TEmulated emulated(static_cast<int>(state.range(0)));
  emulated.Read();
  for (auto _ : state) emulated.Read();
  CountRegisters(state);
}

void BuildReadAndDecode(benchmark::State& state) {
  for (auto _ : state) TEmulated(static_cast<int>(state.range(0))).Read();
  CountRegisters(state);
}

void FindByName(benchmark::State& state) {
  TEmulated emulated(static_cast<int>(state.range(0)));
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    for (int i = 0; i < count; ++i) {
      benchmark::DoNotOptimize(emulated.Letter.Regs().GetItemByName(NameOf(i)));
    }
  }
  CountRegisters(state);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BuildByName)->Apply(Sizes);
BENCHMARK(ReadAndDecode)->Apply(Sizes);
BENCHMARK(BuildReadAndDecode)->Apply(Sizes);
BENCHMARK(FindByName)->Apply(Sizes);

}  // namespace
}  // namespace OrvixModBus

BENCHMARK_MAIN();
