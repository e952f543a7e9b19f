#include "platform/rtl/uVariant.h"

#include <limits>

#include "platform/rtl/uException.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uRound.h"

namespace OrvixModBus {
namespace {

[[noreturn]] void ThrowMisfit(const Variant& value, const char* wanted) {
  const std::string held = value.IsEmpty() ? "An empty value" : "Value '" + value.ToText() + "'";
  throw EVariantError(held + " can't be converted to " + wanted);
}

}  // namespace

std::int32_t Variant::ToInteger() const {
  using TLimits = std::numeric_limits<std::int32_t>;
  if (const auto* integer = std::get_if<std::int32_t>(&fValue)) return *integer;
  const auto* text = std::get_if<std::string>(&fValue);
  if (std::int32_t parsed = 0; text != nullptr && TryStrToInt(*text, parsed)) return parsed;
  const double rounded = RoundHalfEven(ToDouble());
  if (!(rounded >= TLimits::min() && rounded <= TLimits::max())) ThrowMisfit(*this, "an integer");
  return static_cast<std::int32_t>(rounded);
}

double Variant::ToDouble() const {
  if (const auto* integer = std::get_if<std::int32_t>(&fValue)) return *integer;
  if (const auto* real = std::get_if<double>(&fValue)) return *real;
  const auto* text = std::get_if<std::string>(&fValue);
  double parsed = 0;
  if (text == nullptr || !TryStrToFloat(*text, parsed)) ThrowMisfit(*this, "a number");
  return parsed;
}

std::string Variant::ToText() const {
  if (const auto* integer = std::get_if<std::int32_t>(&fValue)) return IntToStr(*integer);
  if (const auto* real = std::get_if<double>(&fValue)) return FloatToStr(*real);
  const auto* text = std::get_if<std::string>(&fValue);
  return text == nullptr ? std::string() : *text;
}

}  // namespace OrvixModBus
