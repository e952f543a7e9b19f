// Letters and register sets at growing sizes: nanoseconds and bytes per register. What our doing
// costs must not grow with the letter. n log n allows about 2 times from 1,000 to 1,000,000
// registers, and what no longer fits the processor's caches costs more: so each operation runs by
// turns with the least that does the same by the standard library's containers, and times_limit
// shows whether it grows faster than that. --memory prints the pieces of a register instead,
// --alone leaves the standard library out, for a profile.

#include <benchmark/benchmark.h>

#include <string_view>
#include <vector>

#include "bench/scale/Measure.h"
#include "bench/scale/Memory.h"

using namespace OrvixModBus;

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]) == "--memory") {
    PrintMemory();
    return 0;
  }
  const bool alone = argc > 1 && std::string_view(argv[1]) == "--alone";
  if (alone) MeasureAlone();
  RegisterLetterOperations();
  RegisterFormOperations();
  RegisterToolOperations();
  // One run of each: it has as many rounds as it takes.
  char once[] = "--benchmark_min_time=0";
  std::vector<char*> arguments(argv, argv + argc);
  if (alone) arguments.erase(arguments.begin() + 1);
  arguments.insert(arguments.begin() + 1, once);
  auto count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  benchmark::RunSpecifiedBenchmarks();
}
