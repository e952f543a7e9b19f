#pragma once
// uSimulator: simulated servers on one line - a whole request frame in, its reply out.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <vector>

#include "platform/rtl/uBytes.h"
#include "tools/simulator/uReplyFaults.h"
#include "tools/simulator/uSimulatedDevice.h"

namespace OrvixModBus {

/// A request and what became of it, without address and check sum of the frames.
struct TJournalEntry {
  std::uint8_t Address;  ///< 0 for a broadcast
  Bytes Request;         ///< function code and data
  /// Function code and data before the fault spoilt it; empty for a broadcast and for silence.
  Bytes Reply;
  EFault Fault = EFault::None;  ///< what befell it
};

/// A line full of devices. Frames: | server address | function code | data | CRC lo | CRC hi |.
/// Does no input or output of its own. Single thread; see uSimulatorThread.h.
class TSimulator {
 public:
  TSimulator();

  /// The device of a server address 1 to 247, made when it is first asked for. Stays where it is.
  /// Throws EArgumentOutOfRangeException for other addresses.
  TSimulatedDevice& Device(std::uint8_t address);

  /// Looked at in order for each request; the first rule that fits counts, and one that fits with
  /// a probability only when it happens.
  std::vector<TFaultRule> Faults;
  /// The source of all that is random about faults begins anew: after the same requests the same
  /// faults will have befallen them. A new simulator has seed 1.
  void SetSeed(std::uint64_t value) { fRandom = TFaultRandom(value); }
  /// How many requests a fault has befallen; those of None were spared.
  std::uint64_t FaultCount(EFault fault) const {
    return fFaultCounts.at(static_cast<std::size_t>(fault));
  }
  /// Seconds since the start, for computed values. Tests may have their own.
  std::function<double()> Clock;

  /// The reply to a request, with what faults make of it. Nothing for a wrong check sum, another
  /// server's address, a broadcast (address 0, which every device executes) and a fault's silence.
  TSimulatedReply Answer(std::span<const std::uint8_t> frame);
  /// Requests so far that were for these devices and came whole, broadcasts included.
  std::uint64_t RequestCount() const { return fRequestCount; }

  /// While KeepsJournal is set, every request that RequestCount counts is added here, in order. Off
  /// at first, for the journal only grows: a simulator that runs for days would eat the memory.
  bool KeepsJournal = false;
  std::vector<TJournalEntry> Journal;
  /// Sees the same entries, when there is a function.
  std::function<void(const TJournalEntry&)> OnRequest;

  /// Whether a frame has the size of one, 4 bytes or more, and its check sum.
  static bool IsWhole(std::span<const std::uint8_t> frame);
  /// The whole size of a request frame as its beginning tells it. While that is too short to tell,
  /// more than it has; 0 when only silence ends it, for its function is not known.
  static std::size_t RequestSize(std::span<const std::uint8_t> frame);

 private:
  TFaultRule FindFault(std::uint8_t address, std::uint8_t function);
  Bytes Execute(std::uint8_t address, std::span<const std::uint8_t> request);
  void Record(const TJournalEntry& entry);

  std::map<std::uint8_t, TSimulatedDevice> fDevices;
  std::uint64_t fRequestCount = 0;
  std::array<std::uint64_t, kFaultCount> fFaultCounts{};
  TFaultRandom fRandom;
};

}  // namespace OrvixModBus
