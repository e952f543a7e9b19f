#pragma once
// uRawNumber: how the number of a type description lies in the bytes of a register.

#include <cstddef>
#include <cstdint>

#include "platform/rtl/uBytes.h"
#include "uMBTypeInfo_Numbers.h"

namespace OrvixModBus {

struct TRange {
  double Low = 0, High = 0;

  /// Low for what is no number.
  double Clamp(double value) const;
  bool Holds(double value) const { return Low <= value && value <= High; }
};

/// A raw number, before Multiplier, as bytes: the inverse of TMBRegTypeNumber::DataToValue.
struct TRawNumber {
  std::size_t Begin = 0, Size = 0;  ///< its own bytes of the register's
  std::uint8_t IntPart = 0, RealPart = 0;
  bool TwosComplement = false;  ///< of all own bytes; else a magnitude with the sign on top
  TRange Bounds;                ///< what the own bytes can hold

  bool IsWhole() const { return RealPart == 0; }
  /// Of a number within Bounds, without a fraction when IsWhole.
  Bytes OwnBytes(double raw) const;
};

/// As the description cuts its bytes out of size bytes and tells their sign. There are too few of
/// them when Size is less than IntPart and RealPart.
TRawNumber RawNumberOf(const TMBRegTypeNumber& number, std::size_t size);

/// The low bytes of value, the high ones first; more than 8 begin with zeros.
Bytes BigEndian(std::int64_t value, std::size_t size);

/// True for two and more bytes of 255, by which a device says that it has no value.
bool IsMissingValue(TByteView bytes);

}  // namespace OrvixModBus
