#pragma once
// uMBTypeInfo_Numbers: fixed-point numbers, scaled, checked and formatted.

#include <cstdint>
#include <string>

#include "uMBTypeInfo_Items.h"

namespace OrvixModBus {

/// A fixed-point number, scaled, checked against its range and formatted.
class TMBRegTypeNumber : public TMBRegTypeColItem {
 public:
  explicit TMBRegTypeNumber(TCollection* collection);

  double MinValue() const { return fMinValue; }        ///< raw, before Multiplier; below 0: signed
  double MaxValue() const { return fMaxValue; }        ///< raw, before Multiplier
  std::uint8_t IntPart() const { return fIntPart; }    ///< bytes before the point
  std::uint8_t RealPart() const { return fRealPart; }  ///< bytes behind the point
  double Step() const { return fStep; }                ///< of a display
  double Multiplier() const { return fMultiplier; }    ///< On purpose 0 until set.
  /// With one floating-point placeholder; empty for the shortest text.
  const std::string& DisplayFormat() const { return fDisplayFormat; }
  std::int32_t FromIndex() const { return fFromIndex; }  ///< first byte; -1 = all the data
  /// Decimal places of Step, negative; 0 while Step is not set. Rounds values of Multiplier 1.
  std::int8_t Precision() const { return fPrecision; }

  void SetMinValue(double value) { Store(fMinValue, value); }
  void SetMaxValue(double value) { Store(fMaxValue, value); }
  void SetIntPart(std::uint8_t value) { Store(fIntPart, value); }
  void SetRealPart(std::uint8_t value) { Store(fRealPart, value); }
  void SetStep(double value);  ///< and Precision
  void SetMultiplier(double value) { Store(fMultiplier, value); }
  void SetDisplayFormat(const std::string& value) { Store(fDisplayFormat, value); }
  void SetFromIndex(std::int32_t value) { Store(fFromIndex, value); }

  /// DataToValue: "-" for two and more bytes of 255, the cleared value out of range; Int stays
  /// cleared when the value is no 32-bit integer. Exception when the data is too short,
  /// EConvertError when DisplayFormat takes no real.
  void Decode(TByteView data, TRegValue& value) const override;
  /// IntPart + RealPart bytes, whatever byteCount; neither range nor FromIndex count. EZeroDivide
  /// when Multiplier is 0, Exception for a negative number.
  Bytes ValueToData(const Variant& value, std::uint8_t byteCount) const override;
  /// EConvertError for what is no real.
  Variant StrToVar(const std::string& str) const override;
  /// "Min: 0; Max: 100", scaled.
  std::string ConstraintStr() const override;
  /// Decimal places of value, at most 6. On purpose 6 for those that a double can't hold, as 0.3.
  std::uint8_t NumAfterPoint(double value) const;
  void Assign(const TPersistent& source) override;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  TByteView OwnBytes(TByteView data) const;

  double fMinValue = 0, fMaxValue = 0, fStep = 0, fMultiplier = 0;
  std::string fDisplayFormat;
  std::int32_t fFromIndex = -1;
  std::uint8_t fIntPart = 0, fRealPart = 0;
  std::int8_t fPrecision = 0;
};

class TMBRegTypeNumbers : public TMBRegTypeNamed<TMBRegTypeNumber> {
 public:
  using TMBRegTypeNamed::TMBRegTypeNamed;
  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

}  // namespace OrvixModBus
