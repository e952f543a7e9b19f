#pragma once
// uSimulator: simulated servers on one line - a whole request frame in, a reply frame out.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "platform/rtl/uBytes.h"
#include "tools/simulator/uSimulatedDevice.h"

namespace OrvixModBus {

/// What goes wrong with a reply.
enum class EFault {
  None,
  Silence,        ///< executed, but not answered
  Exception,      ///< not executed, answered by an exception code
  WrongCheckSum,  ///< executed, and the reply's check sum is wrong
};

/// Which requests a fault befalls. What is absent fits every request.
struct TFaultRule {
  std::optional<std::uint8_t> Address = std::nullopt;   ///< 0 fits broadcasts
  std::optional<std::uint8_t> Function = std::nullopt;  ///< function code
  std::uint64_t First = 1;                              ///< by TSimulator::RequestCount, from 1
  std::uint64_t Last = std::numeric_limits<std::uint64_t>::max();  ///< this one included
  EFault Fault = EFault::Silence;
  std::uint8_t ExceptionCode = 4;  ///< of EFault::Exception; 4 = server device failure
};

/// A request and what became of it, without address and check sum of the frames.
struct TJournalEntry {
  std::uint8_t Address;  ///< 0 for a broadcast
  Bytes Request;         ///< function code and data
  Bytes Reply;           ///< function code and data; empty when nothing is answered
};

/// A line full of devices. Frames: | server address | function code | data | CRC lo | CRC hi |.
/// Does no input or output of its own. Single thread; see uSimulatorThread.h.
class TSimulator {
 public:
  TSimulator();

  /// The device of a server address 1 to 247, made when it is first asked for. Stays where it is.
  /// Throws EArgumentOutOfRangeException for other addresses.
  TSimulatedDevice& Device(std::uint8_t address);

  /// Looked at in order for each request; the first rule that fits counts.
  std::vector<TFaultRule> Faults;
  /// Seconds since the start, for computed values. Tests may have their own.
  std::function<double()> Clock;

  /// The reply to a request; empty when there is none: for a wrong check sum, another server's
  /// address, a broadcast (address 0, which every device executes) and a fault's silence.
  Bytes Answer(std::span<const std::uint8_t> frame);
  /// Requests so far that were for these devices and came whole, broadcasts included.
  std::uint64_t RequestCount() const { return fRequestCount; }

  /// While KeepsJournal is set, every request that RequestCount counts is added here, in order. Off
  /// at first, for the journal only grows: a simulator that runs for days would eat the memory.
  bool KeepsJournal = false;
  std::vector<TJournalEntry> Journal;

  /// Whether a frame has the size of one, 4 bytes or more, and its check sum.
  static bool IsWhole(std::span<const std::uint8_t> frame);
  /// The whole size of a request frame as its beginning tells it. While that is too short to tell,
  /// more than it has; 0 when only silence ends it, for its function is not known.
  static std::size_t RequestSize(std::span<const std::uint8_t> frame);

 private:
  const TFaultRule* FindFault(std::uint8_t address, std::uint8_t function) const;
  Bytes Execute(std::uint8_t address, std::span<const std::uint8_t> request);

  std::map<std::uint8_t, TSimulatedDevice> fDevices;
  std::uint64_t fRequestCount = 0;
};

}  // namespace OrvixModBus
