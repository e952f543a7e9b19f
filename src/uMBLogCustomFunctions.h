#pragma once
// uMBLogCustomFunctions: reads a device's log, records of one length, by $20 or $24.

#include <cstdint>

#include "uMBCustomFunctions.h"

namespace OrvixModBus {

/// Reads a log:
///
///   TMBFunction20 log;
///   log.SetMBClient(&client);
///   log.SetOneRecordLength(16);
///   log.OnGetCountInfo = [&](TObject&) { log.ReadAllItems(); };
///   log.OnGetRecord = [](TObject&, const Bytes& record) { ... };
///   log.ReadCountItem();
///
/// | asked | start | request, 4 bytes         | reply, after the function code |
/// | count | 0     | 0, 0, 0, 0               | TotalItem, ItemCount: words    |
/// | items | 1     | 0, first item, 0, number | records, one after another     |
///
/// The first item of a log is 1.
class TMBLogFunction : public TMBItemFunction {
 public:
  /// An item number is one byte on the wire. On purpose the numbers of a longer log begin again at
  /// 0 after 255, so its records above 255 can't be read: what comes for them are others.
  static constexpr int kMaxItemNumber = 255;

  using TMBItemFunction::TMBItemFunction;
  ~TMBLogFunction() override;

  std::int32_t OneRecordLength() const { return fOneRecordLength; }  ///< bytes; -1 = not set
  void SetOneRecordLength(std::int32_t value) { Store(fOneRecordLength, value); }
  /// Asks for items 1 to ItemCount, as many with each request as a reply of 248 bytes holds; the
  /// last may ask for more than there are. Nothing while ItemCount is not above 0. Before anything
  /// is sent, EDivByZero for a OneRecordLength of 0, Exception for one below 1 or above 248.
  void ReadAllItems();

  TGetData OnGetRecord;  ///< one record's bytes, in the order of the log

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  void TakeItems(std::uint32_t startReg, const Bytes& values) override;

 private:
  std::int32_t fOneRecordLength = -1;
};

class TMBFunction20 : public TMBLogFunction {
 public:
  using TMBLogFunction::TMBLogFunction;
  std::uint8_t GetMBFunc() const override { return 0x20; }
  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

class TMBFunction24 : public TMBLogFunction {
 public:
  using TMBLogFunction::TMBLogFunction;
  std::uint8_t GetMBFunc() const override { return 0x24; }
  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

}  // namespace OrvixModBus
