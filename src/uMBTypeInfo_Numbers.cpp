#include "uMBTypeInfo_Numbers.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uRound.h"

namespace OrvixModBus {
namespace {

constexpr int kMaxPlaces = 6;
// What the rounding of a fraction to a double (2^-54 at most) has grown to after a product by ten:
// no more than this is no digit.
constexpr double kRoundingError = 10 * std::numeric_limits<double>::epsilon() / 4;

bool IsMissing(TByteView bytes) {
  return bytes.size() > 1 && std::ranges::all_of(bytes, [](std::uint8_t b) { return b == 255; });
}

bool IsInt32(double value) {
  return value >= std::numeric_limits<std::int32_t>::min() &&
         value <= std::numeric_limits<std::int32_t>::max() &&
         value == static_cast<std::int32_t>(value);
}

// The fractional part of the exact product, rounded once.
double FractionOfTenfold(double fraction) {
  const double product = fraction * 10;
  const double rest = std::fma(fraction, 10, -product);  // the exact product is product + rest
  double whole = std::floor(product);
  if (whole == product && rest < 0) whole -= 1;
  return product - whole + rest;
}

}  // namespace

TMBRegTypeNumber::TMBRegTypeNumber(TCollection* collection)
    : TMBRegTypeColItem(collection, "TypeNumber", TRegType::rtNum) {
  Introduce();
}

void TMBRegTypeNumber::SetStep(double value) {
  CheckThread();
  fStep = value;
  fPrecision = static_cast<std::int8_t>(-NumAfterPoint(value));
}

void TMBRegTypeNumber::Decode(TByteView data, TRegValue& value) const {
  const TByteView bytes = OwnBytes(data);
  if (IsMissing(bytes)) {
    value.Srt.assign(1, '-');
    return;
  }
  const double raw = fMinValue >= 0 ? TMBLib::ByteArToReal(bytes, fIntPart, fRealPart, 0)
                                    : TMBLib::ByteArToSignedReal(bytes, fIntPart, fRealPart, 0);
  double number = raw * fMultiplier;
  if (fMultiplier == 1) number = SimpleRoundTo(number, fPrecision);
  if (!TMBLib::InRange(number, fMinValue * fMultiplier, fMaxValue * fMultiplier)) return;
  value.R = number;
  if (IsInt32(number)) value.Int = static_cast<std::int32_t>(number);
  if (!fDisplayFormat.empty()) return AppendFormat(value.Srt, fDisplayFormat, {number});
  if (IsInt32(number)) return AppendInt(value.Srt, value.Int);
  AppendFloat(value.Srt, number);
}

Bytes TMBRegTypeNumber::ValueToData(const Variant& value, std::uint8_t /*byteCount*/) const {
  if (fMultiplier == 0) throw EZeroDivide();
  const double raw = value.ToDouble() / fMultiplier;
  return TMBLib::RealToByteAr(fRealPart == 0 ? std::trunc(raw) : raw, fIntPart, fRealPart);
}

Variant TMBRegTypeNumber::StrToVar(const std::string& str) const { return StrToFloat(str); }

std::string TMBRegTypeNumber::ConstraintStr() const {
  return Format("Min: %g; Max: %g", {fMinValue * fMultiplier, fMaxValue * fMultiplier});
}

std::uint8_t TMBRegTypeNumber::NumAfterPoint(double value) const {
  std::uint8_t places = 0;
  double fraction = std::abs(value) - std::floor(std::abs(value));
  while (fraction > kRoundingError && places < kMaxPlaces) {
    fraction = FractionOfTenfold(fraction);
    ++places;
  }
  return places;
}

void TMBRegTypeNumber::Assign(const TPersistent& source) {
  const auto* number = dynamic_cast<const TMBRegTypeNumber*>(&source);
  if (number == nullptr) return TMBRegTypeColItem::Assign(source);
  SetName(number->Name());
  fMinValue = number->fMinValue;
  fMaxValue = number->fMaxValue;
  fIntPart = number->fIntPart;
  fRealPart = number->fRealPart;
  SetStep(number->fStep);
  fMultiplier = number->fMultiplier;
  fDisplayFormat = number->fDisplayFormat;
  fFromIndex = number->fFromIndex;
}

TByteView TMBRegTypeNumber::OwnBytes(TByteView data) const {
  if (fFromIndex < 0 || static_cast<std::size_t>(fFromIndex) >= data.size()) return data;
  const TByteView rest = data.subspan(static_cast<std::size_t>(fFromIndex));
  return rest.first(std::min<std::size_t>(rest.size(), std::size_t{fIntPart} + fRealPart));
}

const TClassInfo& TMBRegTypeNumber::StaticClass() {
  static const TClassInfo info(
      "TMBRegTypeNumber", &TMBRegTypeColItem::StaticClass(),
      {Published("MinValue", &TMBRegTypeNumber::MinValue, &TMBRegTypeNumber::SetMinValue, 0),
       Published("MaxValue", &TMBRegTypeNumber::MaxValue, &TMBRegTypeNumber::SetMaxValue, 0),
       Published("IntPart", &TMBRegTypeNumber::IntPart, &TMBRegTypeNumber::SetIntPart, 0),
       Published("RealPart", &TMBRegTypeNumber::RealPart, &TMBRegTypeNumber::SetRealPart, 0),
       Published("Step", &TMBRegTypeNumber::Step, &TMBRegTypeNumber::SetStep, 0),
       Published("Multiplier", &TMBRegTypeNumber::Multiplier, &TMBRegTypeNumber::SetMultiplier, 0),
       Published("DisplayFormat", &TMBRegTypeNumber::DisplayFormat,
                 &TMBRegTypeNumber::SetDisplayFormat, ""),
       Published("FromIndex", &TMBRegTypeNumber::FromIndex, &TMBRegTypeNumber::SetFromIndex, -1)});
  return info;
}

const TClassInfo& TMBRegTypeNumbers::StaticClass() {
  static const TClassInfo info("TMBRegTypeNumbers", &TCollection::StaticClass(), {});
  return info;
}

}  // namespace OrvixModBus
