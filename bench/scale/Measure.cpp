#include "bench/scale/Measure.h"

#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <map>
#include <vector>

#include "bench/scale/Memory.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

constexpr int kSmallest = 1000;
constexpr int kSizes[] = {kSmallest, 10'000, 100'000, 1'000'000};

bool measuresAlone = false;

struct TResult {
  double PerRegister;
  double TimesLimit;
  double BytesPerRegister;
};

class TTimes {
 public:
  void Add(const std::function<void()>& run) {
    const auto start = TClock::now();
    run();
    fSeconds.push_back(std::chrono::duration<double>(TClock::now() - start).count());
  }
  double Median() {
    const auto middle = fSeconds.begin() + static_cast<std::ptrdiff_t>((fSeconds.size() - 1) / 2);
    std::nth_element(fSeconds.begin(), middle, fSeconds.end());
    return *middle;
  }

 private:
  using TClock = std::chrono::steady_clock;
  std::vector<double> fSeconds;
};

TResult Measure(const TMakeWork& make, int count) {
  // Never freed, for that takes long: the process ends with it.
  const TWork& work = *new TWork(make(count));
  const int rounds = std::clamp(300'000 / count, work.Prepare ? 1 : 2, 25);
  TTimes times, limits;
  double bytes = 0;
  for (int i = 0; i < rounds; ++i) {
    if (work.Prepare) work.Prepare();
    const bool tellsMemory = i == 0 && work.TellsMemory;
    const std::size_t before = tellsMemory ? AllocatedBytes() : 0;
    times.Add(work.Run);
    if (tellsMemory) bytes = BytesPerRegister(before, count);
    if (measuresAlone) continue;
    if (work.PrepareLimit) work.PrepareLimit();
    limits.Add(work.Limit);
  }
  const double seconds = times.Median();
  return {1e9 * seconds / count, measuresAlone ? 0 : seconds / limits.Median(), bytes};
}

// In a process of its own: a heap that has held other letters is slower than a new one, and they
// take long to be freed.
TResult MeasureApart(const TMakeWork& make, int count) {
  int ends[2];
  if (pipe(ends) != 0) throw Exception("no pipe");
  const pid_t child = fork();
  if (child == 0) {
    const TResult result = Measure(make, count);
    _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
  }
  close(ends[1]);
  TResult result{};
  const bool whole = read(ends[0], &result, sizeof result) == sizeof result;
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!whole || status != 0) throw Exception("the operation has failed");
  return result;
}

void Report(benchmark::State& state, const std::string& operation, int count,
            const TResult& result) {
  static std::map<std::string, double> smallest;
  state.counters["per_register"] = result.PerRegister;
  if (!measuresAlone) state.counters["times_limit"] = result.TimesLimit;
  if (result.BytesPerRegister > 0) state.counters["bytes_per_register"] = result.BytesPerRegister;
  if (count == kSmallest) smallest[operation] = result.PerRegister;
  if (const auto first = smallest.find(operation); first != smallest.end()) {
    state.counters["times_smallest"] = result.PerRegister / first->second;
  }
}

}  // namespace

void MeasureAlone() { measuresAlone = true; }

void Register(const std::string& operation, const TMakeWork& make) {
  for (const int count : kSizes) {
    const std::string name = "Scale/" + operation + "/" + std::to_string(count);
    const auto run = [=](benchmark::State& state) {
      TResult result{};
      for (auto _ : state) result = MeasureApart(make, count);
      Report(state, operation, count, result);
    };
    benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond);
  }
}

}  // namespace OrvixModBus
