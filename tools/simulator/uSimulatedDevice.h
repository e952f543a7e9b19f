#pragma once
// uSimulatedDevice: one simulated server - its tables, and its answer to a request.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/rtl/uBytes.h"
#include "tools/simulator/uSimulatedTable.h"

namespace OrvixModBus {

/// Exception codes of the Modbus Application Protocol V1.1b3, section 7.
inline constexpr std::uint8_t kIllegalFunction = 1;
inline constexpr std::uint8_t kIllegalAddress = 2;
inline constexpr std::uint8_t kIllegalValue = 3;

/// What function $11 reports.
struct TSimulatedIdentity {
  Bytes ServerId = {};
  std::string Text = {};
  bool Running = true;
};

/// What function $14 reads. On purpose, a record's number counts records, not registers: each
/// record has bytes of its own, and no read runs from one into the next.
struct TSimulatedFile {
  std::map<std::uint16_t, Bytes> Records;  ///< by record number; registers, so an even size
};

/// What functions $20 and $24 read: records, numbered from 1; see uSimulatedRecord.h for ready
/// ones. Those that a request can name or a reply can hold end at number 255 and at 252 bytes.
struct TSimulatedLog {
  std::vector<Bytes> Records = {};
  /// How many were ever written; without it, as many as there are.
  std::optional<std::uint16_t> Total = {};
};

/// What function $41 reads of one oscillogram: its description and records, numbered from 1. The
/// reply has room for 252 bytes of a description and 248 of records.
struct TSimulatedOscillogram {
  Bytes Info = {};
  std::vector<Bytes> Records = {};
};

/// A device that knows functions $01 to $06, $0F, $10, $11, $14, and a device family's own $20,
/// $21, $24, $41, $43, $44, $65, $66, $67, $6C. A function's cells and records that do not exist
/// are answered by exception 2, and so is a write to computed ones; a count or a value that the
/// function does not take by 3, and so is what no reply can hold. A read of records past the last
/// one gives those that are there.
class TSimulatedDevice {
 public:
  TSimulatedTable Coils;     ///< bits, $01 $05 $0F
  TSimulatedTable Discrete;  ///< bits, $02
  TSimulatedTable Holding;   ///< 16 bits, $03 $06 $10 $6C
  TSimulatedTable Input;     ///< 16 bits, $04
  TSimulatedTable Extended;  ///< 32 bits, $21
  TSimulatedTable Paged;     ///< bytes by 24-bit address, $43 $44 $65 $66; a run ends in its page,
  bool PagesGoOn = false;    ///< or goes on in the next one, as some devices have it
  std::map<std::uint16_t, TSimulatedFile> Files;  ///< by file number, $14
  std::optional<TSimulatedIdentity> Identity;     ///< without one, $11 is an illegal function
  std::map<std::uint8_t, TSimulatedLog> Logs;  ///< by function, $20 $24; without one it is illegal
  std::map<std::uint8_t, TSimulatedOscillogram> Oscillograms;  ///< by number, $41
  /// How many were ever recorded; without it, as many as there are. Without both, $41 is illegal.
  std::optional<std::uint16_t> OscillogramTotal;

  /// The whole size of a request, from its function code to the last data byte. While request is
  /// too short to tell, more than it has; 0 when the function is not known. Not for an empty one.
  static std::size_t RequestSize(std::span<const std::uint8_t> request);

  /// Executes a request (function code and data) at a time in seconds since the start, and
  /// returns the reply or exception reply in the same form. Not for an empty request.
  Bytes Answer(std::span<const std::uint8_t> request, double seconds);
};

}  // namespace OrvixModBus
