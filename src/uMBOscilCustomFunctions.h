#pragma once
// uMBOscilCustomFunctions: reads the oscillograms that a device has captured, by $41.

#include <cstdint>

#include "uMBCustomFunctions.h"

namespace OrvixModBus {

/// Sender, OscilNumber, RecordItem (1 is the first), and the record's bytes.
using TOscilData = TEvent<void(TObject&, std::uint16_t, std::uint16_t, const Bytes&)>;

/// Reads oscillograms in three steps: how many there are, the description of one, its records.
///
/// | asked       | start | request, 4 bytes   | reply, after the function code |
/// | count       | 0     | 0, 0, 0, 0         | TotalItem, ItemCount: words    |
/// | description | 2     | 0, n, 0, 0         | description blocks             |
/// | records     | 3     | number, n, first   | 0, n, first, then records      |
///
/// n is the oscillogram, first the number of the first record: a word, big-endian, from 1.
class TMBFunction41 : public TMBItemFunction {
 public:
  using TMBItemFunction::TMBItemFunction;
  ~TMBFunction41() override;

  std::uint8_t GetMBFunc() const override { return 0x41; }
  std::int32_t OscilInfoLength() const { return fOscilInfoLength; }  ///< bytes of a description
  void SetOscilInfoLength(std::int32_t value) { Store(fOscilInfoLength, value); }
  /// Bytes of a record. On purpose 0 at first, though -1 is the default that forms leave out.
  std::int32_t OscilDataLength() const { return fOscilDataLength; }
  void SetOscilDataLength(std::int32_t value) { Store(fOscilDataLength, value); }

  /// Asks for the description of one oscillogram.
  void RaedOscilInfo(std::uint8_t oscilNumber);
  /// Asks for its records, as many with each request as a reply of 248 bytes holds; the last may
  /// ask for more than there are. On purpose a batch is asked for while its first record is below
  /// recordsInOscil: of one record nothing is read, and where the last batch would hold just one,
  /// it is not. Before anything is sent, EDivByZero for an OscilDataLength of 0, Exception for one
  /// below 1 or above 248.
  void ReadOscilData(std::uint8_t oscilNumber, std::uint16_t recordsInOscil);

  TGetData OnGetOscilInfo;  ///< one description block
  TOscilData OnGetOscilData;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  void TakeItems(std::uint32_t startReg, const Bytes& values) override;

 private:
  void TakeRecords(const Bytes& values);

  std::int32_t fOscilInfoLength = -1;
  std::int32_t fOscilDataLength = 0;
};

}  // namespace OrvixModBus
