#include "bench/line/uMaster.h"

#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <random>

namespace OrvixModBus {
namespace {

using TClock = std::chrono::steady_clock;

constexpr double kWarmUp = 0.15;  // seconds

TClock::time_point After(TClock::time_point time, double seconds) {
  return time +
         std::chrono::duration_cast<TClock::duration>(std::chrono::duration<double>(seconds));
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

void Append(std::vector<std::uint8_t>& bytes, int word) {
  bytes.push_back(static_cast<std::uint8_t>(word >> 8 & 0xFF));
  bytes.push_back(static_cast<std::uint8_t>(word & 0xFF));
}

}  // namespace

std::atomic<std::uint64_t> Allocations = 0;

TMasterOptions ReadOptions(int argc, char** argv) {
  TMasterOptions options;
  CLI::App app("Polls a server as fast as the line lets it, and prints what it measured as JSON.");
  app.add_option("--port", options.Ports, "Terminals, a line each")->required();
  app.add_option("--function", options.Function)->check(CLI::IsMember({1, 3, 6, 16}));
  app.add_option("--count", options.Count, "Registers or coils")->check(CLI::Range(1, 2000));
  app.add_option("--seconds", options.Seconds)->check(CLI::PositiveNumber);
  app.add_option("--silence", options.Silence, "Microseconds, -1 = standard, 0 = no characters");
  app.add_option("--baud", options.BaudRate)->check(CLI::PositiveNumber);
  app.add_flag("--letter", options.Letter, "By a letter, registers decoded");
  app.add_flag("--map", options.Map, "A map of 500 tags");
  app.add_flag("--paced", options.Paced, "Characters take their time on this line");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error));
  }
  return options;
}

std::vector<std::uint8_t> RequestPdu(const TMasterOptions& options) {
  std::vector<std::uint8_t> pdu{static_cast<std::uint8_t>(options.Function), 0, 0};
  if (options.Function == 6) {
    Append(pdu, 0x1234);
    return pdu;
  }
  Append(pdu, options.Count);
  if (options.Function != 16) return pdu;
  pdu.push_back(static_cast<std::uint8_t>(2 * options.Count));
  for (int i = 0; i < options.Count; ++i) Append(pdu, 0x1234);
  return pdu;
}

std::size_t ReplySize(const TMasterOptions& options) {
  const auto count = static_cast<std::size_t>(options.Count);
  if (options.Function == 1) return 5 + (count + 7) / 8;
  return options.Function == 3 ? 5 + 2 * count : 8;
}

std::chrono::nanoseconds CharacterTime(int baudRate) {
  return std::chrono::nanoseconds(11'000'000'000 / baudRate);
}

std::chrono::nanoseconds SilentInterval(const TMasterOptions& options) {
  if (options.Silence >= 0) return std::chrono::microseconds(options.Silence);
  if (options.BaudRate > 19200) return std::chrono::microseconds(1750);
  return CharacterTime(options.BaudRate) * 7 / 2;
}

std::vector<TTag> TagMap() {
  constexpr std::uint8_t kWords[] = {1, 2, 4};
  std::mt19937 random(1);  // its numbers are the same everywhere, those of distributions are not
  std::vector<TTag> map;
  std::size_t address = 0;
  while (map.size() < 500) {
    const auto cluster = 1 + random() % 25;
    const std::uint8_t words = kWords[random() % 3];
    for (std::size_t i = 0; i < cluster && map.size() < 500; ++i) {
      map.push_back({static_cast<std::uint16_t>(address), words});
      address += words;
    }
    address += 1 + random() % 40;
  }
  return map;
}

TMeasure::TMeasure(const TMasterOptions& options)
    : fStart(After(TClock::now(), kWarmUp)),
      fEnd(After(fStart, options.Seconds)),
      fLines(options.Ports.size()) {}

bool TMeasure::Completed(std::size_t line) {
  const TTime now = TClock::now();
  TLine& own = fLines[line];
  ++own.All;
  if (now < fStart) return true;
  if (own.First == TTime{}) {
    own.First = now;
    if (!fBegan.exchange(true)) fCostBefore = CostNow();
    return true;
  }
  own.Last = now;
  ++own.Count;
  if (now < fEnd) return true;
  if (!fEnded.exchange(true)) fCostAfter = CostNow();
  return false;
}

TMeasure::TCost TMeasure::CostNow() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return {TClock::now(), Seconds(usage.ru_utime) + Seconds(usage.ru_stime), Allocations.load(),
          static_cast<std::uint64_t>(usage.ru_nvcsw)};
}

TMeasure::~TMeasure() {
  double all = 0;
  std::uint64_t completed = 0;
  std::printf("{\"rates\": [");
  for (const TLine& line : fLines) {
    const std::chrono::duration<double> time = line.Last - line.First;
    const double rate = line.Count == 0 ? 0 : static_cast<double>(line.Count) / time.count();
    all += rate;
    completed += line.All;
    std::printf("%s%.6g", &line == fLines.data() ? "" : ", ", rate);
  }
  const std::chrono::duration<double> time = fCostAfter.Time - fCostBefore.Time;
  const double transactions = all * time.count();
  std::printf(
      "], \"completed\": %llu, \"processor\": %.6g, \"allocations\": %.6g, \"sleeps\": %.6g}\n",
      static_cast<unsigned long long>(completed),
      (fCostAfter.Processor - fCostBefore.Processor) / time.count(),
      static_cast<double>(fCostAfter.Allocations - fCostBefore.Allocations) / transactions,
      static_cast<double>(fCostAfter.Sleeps - fCostBefore.Sleeps) / transactions);
}

}  // namespace OrvixModBus
