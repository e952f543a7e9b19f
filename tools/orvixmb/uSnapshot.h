#pragma once
// uSnapshot: what a device held of a letter, kept as a file.

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/rtl/uBytes.h"
#include "tools/orvixmb/uRegisterRows.h"

namespace OrvixModBus {

struct TSnapshotRegister {
  std::string Name;
  std::uint32_t Adress = 0;
  std::uint8_t Function = 0;  ///< the read code
  Bytes Raw;
  std::string Text;  ///< the value, for people; Raw is what counts

  bool operator==(const TSnapshotRegister&) const = default;
};

struct TSnapshot {
  std::string Letter;
  std::string When;         ///< UTC by ISO 8601: "2026-07-03T12:34:56Z"
  std::string Port;         ///< the port's path, or "emulated"
  std::uint8_t Server = 0;  ///< the device's address
  std::vector<TSnapshotRegister> Registers;

  bool operator==(const TSnapshot&) const = default;
};

/// The register of a row.
TSnapshotRegister SnapshotRegister(const TRegisterRow& row);
/// Those of the rows without an error.
std::vector<TSnapshotRegister> SnapshotRegisters(std::span<const TRegisterRow> rows);

/// "2026-07-03T12:34:56Z".
std::string UtcText(std::chrono::sys_seconds time);

/// A JSON object: `kind`, `version`, `letter`, `when`, `port`, `server`, `registers`, each of them
/// with `name`, `adress`, `function`, `raw` (hexadecimal), `text`.
std::string SnapshotText(const TSnapshot& snapshot);
/// The inverse; name stands for the file in messages. Throws Exception with the file, the place in
/// it and what is wrong: "pumps.json:/registers/3/raw must be pairs of hexadecimal digits". What
/// is of another kind or version is refused.
TSnapshot ReadSnapshotText(std::string_view text, const std::string& name);

/// The file is there whole, or as it was before: EStreamError.
void WriteSnapshotFile(const std::string& path, const TSnapshot& snapshot);
TSnapshot ReadSnapshotFile(const std::string& path);

}  // namespace OrvixModBus
