#pragma once
// storm: letters, writes, logs and files on several lines at once while everything goes wrong.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tools/simulator/uReplyFaults.h"

namespace OrvixModBus {

struct TStormSettings {
  std::uint64_t Transactions = 1'000'000;
  int Lines = 8;
  std::uint64_t Seed = 1;
  double Faults = 0.2;  ///< share of the requests that a fault befalls
  /// Over pseudo-terminals in real time; else in memory and virtual time, the same for each seed.
  bool Terminals = false;
};

/// What the process holds.
struct TFootprint {
  std::uint64_t Kilobytes = 0;  ///< resident memory
  int Handles = 0;              ///< open ones
};

struct TStormReport {
  std::uint64_t Transactions = 0;
  std::uint64_t Requests = 0;  ///< frames sent, retries included
  std::array<std::uint64_t, 6> Replies{};
  std::array<std::uint64_t, kFaultCount> Faults{};
  std::uint64_t Late = 0;  ///< replies that were thrown away because they came too late
  std::uint64_t Hangups = 0, Returns = 0;
  std::uint64_t Compared = 0, Wrong = 0;
  std::uint64_t Undecidable = 0;  ///< a zero behind a reply that only silence ends
  std::uint64_t Lost = 0;         ///< transactions that never ended, or more than once
  std::uint64_t Stuck = 0;        ///< wait counters
  TFootprint Warm, End;           ///< after a tenth of the transactions, and at the end
  double LineSeconds = 0;         ///< that passed on the lines
  double Seconds = 0;             ///< of the machine
  std::vector<std::string> Complaints;

  bool IsClean() const { return Wrong == 0 && Lost == 0 && Stuck == 0; }
  std::string Text() const;
};

TStormReport RunStorm(const TStormSettings& settings);

}  // namespace OrvixModBus
