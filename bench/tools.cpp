// The tools over register sets and the auto-fill at growing sizes: nanoseconds per register, and
// how many times those of the smallest size. n log n allows about 1.7 times from 1,000 to 100,000
// registers; what goes beyond is the memory, which no longer fits the processor's caches.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "uMBRegSort.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {
namespace {

constexpr int kSmallest = 1000;

// Measures run, prepare before each one left out.
template <class TPrepare, class TRun>
void Measure(benchmark::State& state, const std::string& what, TPrepare prepare, TRun run) {
  using TClock = std::chrono::steady_clock;
  static std::map<std::string, double> smallest;
  double seconds = 0;
  for (auto _ : state) {
    prepare();
    const auto start = TClock::now();
    run();
    const double elapsed = std::chrono::duration<double>(TClock::now() - start).count();
    state.SetIterationTime(elapsed);
    seconds += elapsed;
  }
  const double perRegister =
      1e9 * seconds /
      (static_cast<double>(state.iterations()) * static_cast<double>(state.range(0)));
  if (state.range(0) == kSmallest) smallest[what] = perRegister;
  state.counters["ns_per_register"] = perRegister;
  state.counters["times_smallest"] = perRegister / smallest[what];
}

template <class TRun>
void Measure(benchmark::State& state, const std::string& what, TRun run) {
  Measure(
      state, what, [] {}, run);
}

enum class TOrder { Ascending, Descending, Random };

// A set of flag registers, their names in random order beside it.
struct TRegSet {
  TRegSet(std::int64_t count, TOrder order) {
    std::vector<std::uint32_t> adresses(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < adresses.size(); ++i) adresses[i] = static_cast<std::uint32_t>(i);
    if (order == TOrder::Descending) std::reverse(adresses.begin(), adresses.end());
    if (order == TOrder::Random) std::shuffle(adresses.begin(), adresses.end(), Chance);
    for (const std::uint32_t adress : adresses) {
      TMBReg& reg = *Letter.Regs().Add();
      reg.SetDisplayName("Station" + std::to_string(adress % 17) + ".Value" +
                         std::to_string(adress));
      reg.SetRegAdress(adress);
      reg.SetBytesInOneReg(2);
      reg.SetRegsCount(1);
      reg.SetRegType(TRegType::rtBin);
      Names.push_back(reg.Name());
    }
    std::shuffle(Names.begin(), Names.end(), Chance);
    Names = TStringDynArray(Names);  // in memory, too, as an application would have made them
  }

  const TMBRegs& Regs() const { return Letter.Regs(); }

  TMBLetter Letter;
  TStringDynArray Names;
  std::mt19937 Chance{1};
};

void NamesAdded(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Ascending);
  TMBRegNameDic dic;
  Measure(state, __func__, [&] { dic.AddList(set.Regs(), true, {}); });
}

void NamesFound(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Ascending);
  TMBRegNameDic dic;
  dic.AddList(set.Regs(), true, {});
  TMBReg* reg = nullptr;
  Measure(state, __func__, [&] {
    for (const std::string& name : set.Names) benchmark::DoNotOptimize(dic.Find(name, reg));
  });
}

void ContainerFilled(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TMBRegContainer container;
  Measure(state, __func__, [&] { container.AddList(set.Regs(), true, {}); });
}

void ContainerValues(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TMBRegContainer container;
  container.AddList(set.Regs(), true, {});
  Measure(state, __func__, [&] {
    for (const std::string& name : set.Names) container.AddValue(name, "1", 3);
  });
}

void ContainerListed(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TMBRegContainer container;
  container.AddList(set.Regs(), true, {});
  std::size_t length = 0;
  Measure(state, __func__, [&] {
    container.EnumRegNames(
        [&](const std::string&, const std::string& text) { length += text.size(); });
  });
  benchmark::DoNotOptimize(length);
}

void Sorted(benchmark::State& state, TOrder order) {
  const TRegSet set(state.range(0), order);
  TMBRegSorter sorter;
  Measure(state, "Sorted" + std::to_string(static_cast<int>(order)),
          [&] { sorter.AddList(set.Regs(), true); });
}

void SortedByNames(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TMBRegSorter sorter;
  Measure(state, __func__, [&] { sorter.AddListByArray(set.Regs(), set.Names, true); });
}

void BitsSorted(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TStringDynArray entries;
  for (const std::string& name : set.Names) entries.push_back(name + ":5");
  TMBRegBitSorter sorter(U':');
  Measure(state, __func__, [&] { sorter.AddListByArray(set.Regs(), entries, true); });
}

class TDeviceFill : public TMBRegsAutoFill {
 protected:
  void GetRegInfo(TMBReg& reg, bool& done) override {
    reg.SetBytesInOneReg(2);
    reg.SetRegsCount(1);
    done = true;
  }
};

void Fill(benchmark::State& state, bool fast) {
  TRegSet source(state.range(0), TOrder::Ascending);
  TMBTypeInfo types;
  TMBLetter letter;
  letter.Regs().SetMBTypeInfo(&types);
  TDeviceFill fill;
  fill.SetMBLetter(&letter);
  for (const std::string& name : source.Names) fill.RegNameList().Add(name);
  std::int64_t told = 0;
  fill.ProgressProc = [&](std::int32_t done) { told += done; };
  const auto proc = [&](TMBReg&) { ++told; };
  Measure(
      state, fast ? "FillFast" : "Fill", [&] { letter.Regs().Clear(); },
      [&] {
        if (fast) {
          fill.FillRegsFast(proc, true);
        } else {
          fill.FillRegs(proc);
        }
      });
  benchmark::DoNotOptimize(told);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(kSmallest)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
  benchmark->UseManualTime();
}

BENCHMARK(NamesAdded)->Apply(Sizes);
BENCHMARK(NamesFound)->Apply(Sizes);
BENCHMARK(ContainerFilled)->Apply(Sizes);
BENCHMARK(ContainerValues)->Apply(Sizes);
BENCHMARK(ContainerListed)->Apply(Sizes);
BENCHMARK_CAPTURE(Sorted, descending, TOrder::Descending)->Apply(Sizes);
BENCHMARK_CAPTURE(Sorted, random, TOrder::Random)->Apply(Sizes);
BENCHMARK(SortedByNames)->Apply(Sizes);
BENCHMARK(BitsSorted)->Apply(Sizes);
BENCHMARK_CAPTURE(Fill, full, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Fill, fast_with_progress, true)->Apply(Sizes);

}  // namespace
}  // namespace OrvixModBus

BENCHMARK_MAIN();
