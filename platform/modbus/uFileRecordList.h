#pragma once
// uFileRecordList: the records of one file-record read, first as a wish, then with their data.

#include <cstdint>
#include <vector>

#include "platform/modbus/uModbusTypes.h"
#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// One record of a file: what is asked for, and what came.
struct TModbusFileRecord {
  std::uint16_t File = 0;
  std::uint16_t Record = 0;
  int Length = 0;  ///< in registers of two bytes
  Bytes Data;      ///< empty until the record has been read
};

/// The records of one file-record read (function $14), as many as wanted: a list that does not
/// fit one frame is read in as many as it takes. A plain value that can be copied.
class TModbusFileRecordList {
 public:
  /// A reply's data fits one byte of length, so a record holds at most this many registers.
  static constexpr int kMaxLength = 126;

  void Clear() { fRecords.clear(); }
  /// length: registers, 0 to kMaxLength; EModLinkError otherwise, and nothing was added.
  void Add(std::uint16_t file, std::uint16_t record, int length);
  int Count() const { return static_cast<int>(fRecords.size()); }
  /// EModLinkError past the end.
  const TModbusFileRecord& Records(int index) const;
  TModbusFileRecord& Records(int index);

 private:
  std::vector<TModbusFileRecord> fRecords;
};

}  // namespace OrvixModBus
