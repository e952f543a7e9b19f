#pragma once
// uVariant: a value whose kind is known only at run time: nothing, an integer, a real or a text.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace OrvixModBus {

/// What the types of registers take and give when text becomes data. Converts on demand; a value
/// that does not fit raises, it is never cut.
class Variant {
 public:
  Variant() = default;
  Variant(std::int32_t value) : fValue(value) {}
  Variant(double value) : fValue(value) {}
  Variant(std::string value) : fValue(std::move(value)) {}
  Variant(std::string_view value) : fValue(std::string(value)) {}
  Variant(const char* value) : fValue(std::string(value)) {}

  bool IsEmpty() const { return std::holds_alternative<std::monostate>(fValue); }

  /// The value as an integer; a real is rounded, halves to the even neighbour. A text is read as
  /// an integer, else as a real. Throws EVariantError when it is empty, no number, or past 32 bits.
  std::int32_t ToInteger() const;

  /// The value as a real. Throws EVariantError when it is empty or a text that is no number.
  double ToDouble() const;

  /// The value as text (see IntToStr, FloatToStr); nothing gives the empty text.
  std::string ToText() const;

  bool operator==(const Variant&) const = default;

 private:
  std::variant<std::monostate, std::int32_t, double, std::string> fValue;
};

}  // namespace OrvixModBus
