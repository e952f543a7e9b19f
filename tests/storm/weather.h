#pragma once
// weather: which faults a storm has, and the devices that it falls upon.

#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/simulator/uSimulator.h"

namespace OrvixModBus {

/// Rules that together befall about that share of the requests, all kinds alike. Left out is what
/// no master can notice, because nothing in the frames tells it: the echo of a request whose reply
/// is the same, and another length with a right check sum where nothing tells the length.
std::vector<TFaultRule> StormFaults(double share, std::chrono::milliseconds receiveTimeout);

/// The devices of one line. What they hold changes with every request, so that a value tells for
/// which request it was given.
class TStormDevices {
 public:
  static constexpr std::uint8_t kServers = 3;  ///< server addresses 1 to 3
  static constexpr int kLogRecords = 30, kLogRecordSize = 16;
  static constexpr int kSamples = 90, kSampleSize = 8, kInfoSize = 20;
  static constexpr int kFileRecords = 20, kFileRecordLength = 8;  ///< registers

  TStormDevices(std::uint64_t seed, const std::vector<TFaultRule>& faults);

  /// request: a whole frame.
  TSimulatedReply Answer(std::span<const std::uint8_t> request);
  TSimulator& Simulator() { return fSimulator; }

 private:
  void Furnish(TSimulatedDevice& device, std::uint8_t server);
  void Change(TSimulatedDevice& device, std::uint8_t function);
  Bytes SomeBytes(std::size_t count);

  TSimulator fSimulator;
  TFaultRandom fRandom;
  std::uint64_t fRequests = 0;
};

}  // namespace OrvixModBus
