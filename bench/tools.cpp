// The tools over register sets and the auto-fill at growing sizes: nanoseconds per register, and
// how many times those of the smallest size. n log n allows about 1.7 times from 1,000 to 100,000
// registers. What goes beyond is the memory, which no longer fits the processor's caches; so each
// tool runs in turn with the least that does the same by the standard library's containers, and
// times_limit shows whether it grows faster than that.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/rtl/uNumText.h"
#include "uMBRegSort.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {
namespace {

constexpr int kSmallest = 1000;

using TClock = std::chrono::steady_clock;

template <class TRun>
double SecondsOf(TRun run) {
  const auto start = TClock::now();
  run();
  return std::chrono::duration<double>(TClock::now() - start).count();
}

// Reports the time per register of what was run.
void Report(benchmark::State& state, const std::string& what, double seconds) {
  static std::map<std::string, double> smallest;
  const auto registers =
      static_cast<double>(state.iterations()) * static_cast<double>(state.range(0));
  const double perRegister = 1e9 * seconds / registers;
  if (state.range(0) == kSmallest) smallest[what] = perRegister;
  state.counters["ns_per_register"] = perRegister;
  state.counters["times_smallest"] = perRegister / smallest[what];
}

// Measures run, prepare before each one left out.
template <class TPrepare, class TRun>
void MeasureAlone(benchmark::State& state, const std::string& what, TPrepare prepare, TRun run) {
  double seconds = 0;
  for (auto _ : state) {
    prepare();
    const double elapsed = SecondsOf(run);
    state.SetIterationTime(elapsed);
    seconds += elapsed;
  }
  Report(state, what, seconds);
}

// Measures run and limit by turns.
template <class TRun, class TLimit>
void Measure(benchmark::State& state, const std::string& what, TRun run, TLimit limit) {
  double seconds = 0, limitSeconds = 0;
  for (auto _ : state) {
    const double elapsed = SecondsOf(run);
    state.SetIterationTime(elapsed);
    seconds += elapsed;
    limitSeconds += SecondsOf(limit);
  }
  Report(state, what, seconds);
  state.counters["times_limit"] = seconds / limitSeconds;
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

// The least that does what the tools do.
struct TPlain {
  using TPlace = std::pair<std::uint32_t, TMBReg*>;

  void AddNames(const TMBRegs& regs) {
    Names.clear();
    for (TMBReg* reg : regs.RegList()) Names.try_emplace(reg->Name(), reg);
  }
  void AddAll(const TMBRegs& regs) {
    Adresses.clear();
    Images.clear();
    AddNames(regs);
    for (TMBReg* reg : regs.RegList()) {
      Adresses.try_emplace(reg->Adress(), reg);
      Images.try_emplace(reg, 0);
    }
  }
  TMBReg* Find(const std::string& name) const {
    const auto found = Names.find(name);
    return found != Names.end() ? found->second : nullptr;
  }
  std::vector<TPlace> Sorted(const TMBRegList& regs) const {
    std::vector<TPlace> places;
    for (TMBReg* reg : regs) places.emplace_back(reg->Adress(), reg);
    std::ranges::stable_sort(places, {}, &TPlace::first);
    return places;
  }

  std::unordered_map<std::string, TMBReg*> Names;
  std::unordered_map<std::uint32_t, TMBReg*> Adresses;
  std::unordered_map<TMBReg*, std::int64_t> Images;
};

void NamesAdded(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Ascending);
  TMBRegNameDic dic;
  TPlain plain;
  Measure(
      state, __func__, [&] { dic.AddList(set.Regs(), true, {}); },
      [&] { plain.AddNames(set.Regs()); });
}

void NamesFound(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Ascending);
  TMBRegNameDic dic;
  dic.AddList(set.Regs(), true, {});
  TPlain plain;
  plain.AddNames(set.Regs());
  TMBReg* reg = nullptr;
  Measure(
      state, __func__,
      [&] {
        for (const std::string& name : set.Names) benchmark::DoNotOptimize(dic.Find(name, reg));
      },
      [&] {
        for (const std::string& name : set.Names) benchmark::DoNotOptimize(plain.Find(name));
      });
}

void ContainerFilled(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TMBRegContainer container;
  TPlain plain;
  Measure(
      state, __func__, [&] { container.AddList(set.Regs(), true, {}); },
      [&] { plain.AddAll(set.Regs()); });
}

void ContainerValues(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TMBRegContainer container;
  container.AddList(set.Regs(), true, {});
  TPlain plain;
  plain.AddAll(set.Regs());
  Measure(
      state, __func__,
      [&] {
        for (const std::string& name : set.Names) container.AddValue(name, "1", 3);
      },
      [&] {
        for (const std::string& name : set.Names) plain.Images[plain.Find(name)] |= 8;
      });
}

void ContainerListed(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TMBRegContainer container;
  container.AddList(set.Regs(), true, {});
  TPlain plain;
  plain.AddAll(set.Regs());
  std::size_t length = 0;
  Measure(
      state, __func__,
      [&] {
        container.EnumRegNames(
            [&](const std::string&, const std::string& text) { length += text.size(); });
      },
      [&] {
        std::vector<TPlain::TPlace> places(plain.Adresses.begin(), plain.Adresses.end());
        std::ranges::sort(places, {}, &TPlain::TPlace::first);
        for (const auto& [adress, reg] : places) {
          const std::string name = reg->Name();
          length += IntToHex(static_cast<std::uint64_t>(plain.Images[reg]), 4).size();
        }
      });
  benchmark::DoNotOptimize(length);
}

void Sorted(benchmark::State& state, TOrder order) {
  const TRegSet set(state.range(0), order);
  TMBRegSorter sorter;
  const TPlain plain;
  Measure(
      state, "Sorted" + std::to_string(static_cast<int>(order)),
      [&] { sorter.AddList(set.Regs(), true); },
      [&] { benchmark::DoNotOptimize(plain.Sorted(set.Regs().RegList())); });
}

void SortedByNames(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TMBRegSorter sorter;
  TPlain plain;
  plain.AddNames(set.Regs());
  Measure(
      state, __func__, [&] { sorter.AddListByArray(set.Regs(), set.Names, true); },
      [&] {
        TMBRegList found;
        for (const std::string& name : set.Names) found.push_back(plain.Find(name));
        benchmark::DoNotOptimize(plain.Sorted(found));
      });
}

void BitsSorted(benchmark::State& state) {
  const TRegSet set(state.range(0), TOrder::Random);
  TStringDynArray entries;
  for (const std::string& name : set.Names) entries.push_back(name + ":5");
  TMBRegBitSorter sorter(U':');
  TPlain plain;
  plain.AddNames(set.Regs());
  Measure(
      state, __func__, [&] { sorter.AddListByArray(set.Regs(), entries, true); },
      [&] {
        TMBRegList found;
        std::unordered_map<TMBReg*, Bytes> bits;
        for (const std::string& entry : entries) {
          const std::size_t length = entry.find(':');
          found.push_back(plain.Find(entry.substr(0, length)));
          bits[found.back()].push_back(static_cast<std::uint8_t>(entry[length + 1] - '0'));
        }
        benchmark::DoNotOptimize(plain.Sorted(found));
      });
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
  MeasureAlone(
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
