#pragma once
// uLineStatistics: what a line has done so far - counters and round-trip times.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>

#include "platform/modbus/uModbusTypes.h"

namespace OrvixModBus {

/// Counted since the connection was made.
struct TLineCounters {
  std::uint64_t Requests = 0;  ///< frames sent, retries included
  std::uint64_t Retries = 0;
  /// Ended transactions by TServerReply, discarded ones not among them.
  std::array<std::uint64_t, 6> Replies{};
  std::uint64_t BytesSent = 0;
  std::uint64_t BytesReceived = 0;
  /// Bytes received that were neither a part of an accepted reply nor the echo of a request.
  std::uint64_t NoiseBytes = 0;
  /// Whole replies that came too late for their own request and were thrown away.
  std::uint64_t LateReplies = 0;
};

/// From the begin of sending a request to its whole reply, in microseconds. Median and 95th
/// percentile are exact to 3 %.
struct TRoundTrip {
  std::uint64_t Count = 0;
  std::uint32_t Least = 0;
  std::uint32_t Median = 0;
  std::uint32_t Percentile95 = 0;
  std::uint32_t Greatest = 0;
};

/// Round-trip times in classes of 3 %: bounded memory however many there are.
class TRoundTripTimes {
 public:
  void Add(std::chrono::steady_clock::duration time);
  TRoundTrip Summary() const;

 private:
  static constexpr std::size_t kClassesPerOctave = 16;
  static constexpr std::size_t kClasses = 29 * kClassesPerOctave;  // up to 2^32 microseconds

  std::uint32_t Percentile(std::uint64_t percent) const;

  std::array<std::uint64_t, kClasses> fCounts{};
  std::uint64_t fCount = 0;
  std::uint32_t fLeast = 0, fGreatest = 0;
};

/// All that a line counts.
struct TLineStatistics {
  TLineCounters Counters;
  std::map<std::uint8_t, TRoundTripTimes> RoundTrips;  ///< by server address
};

}  // namespace OrvixModBus
