#pragma once
// uMaster: what the masters that are compared have in common - command line, map, report.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace OrvixModBus {

struct TMasterOptions {
  std::vector<std::string> Ports;
  int Function = 3;
  int Count = 10;  // registers or coils
  double Seconds = 1;
  int Silence = 0;  // microseconds between frames, -1 = as the standard says, 0 = no characters
  int BaudRate = 115200;
  bool Letter = false;  // for those that have one
  bool Map = false;     // a map of registers in place of one request
  bool Paced = false;   // for those that can't learn whether characters take their time
};

/// Exits with a message when the command line is wrong.
TMasterOptions ReadOptions(int argc, char** argv);

/// The PDU of the request that the options name, address 0.
std::vector<std::uint8_t> RequestPdu(const TMasterOptions& options);
/// The size of its reply frame in bytes.
std::size_t ReplySize(const TMasterOptions& options);
/// A character takes 11 bits: start, 8, parity, stop.
std::chrono::nanoseconds CharacterTime(int baudRate);
std::chrono::nanoseconds SilentInterval(const TMasterOptions& options);

struct TTag {
  std::uint16_t Address;
  std::uint8_t Words;  // 1, 2 or 4
};
/// 500 tags as devices have them: clusters of neighbours, gaps in between. Always the same.
std::vector<TTag> TagMap();

/// The heap allocations of this process so far, where the program counts them.
extern std::atomic<std::uint64_t> Allocations;

/// Counts what completes, after a warm-up, and prints it as JSON: transactions per second of each
/// line, from its first completion to its last, and what they cost.
class TMeasure {
 public:
  explicit TMeasure(const TMasterOptions& options);
  TMeasure(const TMeasure&) = delete;
  TMeasure& operator=(const TMeasure&) = delete;
  ~TMeasure();

  /// A transaction of that line is complete; false when there have been enough. Lines may have a
  /// thread each.
  bool Completed(std::size_t line);
  /// One line has had enough: the others end as they like.
  bool Ended() const { return fEnded; }

 private:
  using TTime = std::chrono::steady_clock::time_point;
  struct TLine {
    TTime First{}, Last{};
    std::uint64_t Count = 0;  // behind the first
    std::uint64_t All = 0;    // warm-up included
  };
  struct TCost {
    TTime Time{};
    double Processor = 0;  // seconds
    std::uint64_t Allocations = 0;
    std::uint64_t Sleeps = 0;  // how often the process gave up the processor
  };
  static TCost CostNow();

  const TTime fStart, fEnd;
  std::vector<TLine> fLines;
  std::atomic<bool> fBegan = false, fEnded = false;
  TCost fCostBefore, fCostAfter;
};

}  // namespace OrvixModBus
