// storm: runs a storm and prints what came of it; ends with 1 when anything was wrong.

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "tests/storm/storm.h"

namespace OrvixModBus {
namespace {

// A leak of a byte per transaction shows in a long storm; in a short one buffers still grow to
// their sizes.
constexpr std::uint64_t kFlat = 512;  // KiB
constexpr std::uint64_t kLong = 500'000;

bool IsFlat(const TStormReport& report) {
  const bool grew = report.End.Kilobytes > report.Warm.Kilobytes + kFlat;
  return (!grew || report.Transactions < kLong) && report.End.Handles <= report.Warm.Handles;
}

int Main(int argc, char** argv) {
  CLI::App app("Polls simulated devices while everything goes wrong, and checks every value.");
  TStormSettings settings;
  app.add_option("--transactions", settings.Transactions)->capture_default_str();
  app.add_option("--lines", settings.Lines)->check(CLI::Range(1, 64))->capture_default_str();
  app.add_option("--seed", settings.Seed, "the same seed gives the same storm")
      ->capture_default_str();
  app.add_option("--faults", settings.Faults, "share of the requests that a fault befalls")
      ->check(CLI::Range(0.0, 1.0))
      ->capture_default_str();
  app.add_flag(
      "--terminals", settings.Terminals,
      "over pseudo-terminals in real time, about a hundred transactions a second and line");
  CLI11_PARSE(app, argc, argv);
  const TStormReport report = RunStorm(settings);
  std::cout << "seed " << settings.Seed << ", " << settings.Lines << " lines in one thread\n"
            << report.Text();
  if (!IsFlat(report)) std::cout << "memory or handles grew\n";
  return report.IsClean() && IsFlat(report) ? 0 : 1;
}

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) {
  try {
    return OrvixModBus::Main(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "storm: " << error.what() << std::endl;
    return 1;
  }
}
