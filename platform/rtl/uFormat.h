#pragma once
// uFormat: format strings filled with arguments whose types are known.

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace OrvixModBus {

/// An integer as a format string sees it: its value for %d, its own bits for %u and %x.
struct TFormatInteger {
  bool negative;
  std::uint64_t magnitude;
  std::uint64_t bits;
};

template <typename T>
concept CFormatInteger = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char>;

/// One argument of Format. Texts are not copied: they must live until Format returns.
class TFormatArg {
 public:
  template <CFormatInteger T>
  TFormatArg(T value) : fValue(FromInteger(value)) {}
  TFormatArg(double value) : fValue(value) {}
  TFormatArg(std::string_view value) : fValue(value) {}
  TFormatArg(const std::string& value) : fValue(std::string_view(value)) {}
  TFormatArg(const char* value) : fValue(std::string_view(value)) {}

  /// The argument when it is of that kind, else nil.
  const TFormatInteger* Integer() const { return std::get_if<TFormatInteger>(&fValue); }
  const double* Real() const { return std::get_if<double>(&fValue); }
  const std::string_view* Text() const { return std::get_if<std::string_view>(&fValue); }

 private:
  template <typename T>
  static TFormatInteger FromInteger(T value) {
    using TBits = std::make_unsigned_t<decltype(+value)>;  // at least 32 bits, as %x shows them
    const bool negative = std::cmp_less(+value, 0);
    const auto whole = static_cast<std::uint64_t>(value);
    return {negative, negative ? 0 - whole : whole, static_cast<TBits>(whole)};
  }

  std::variant<TFormatInteger, double, std::string_view> fValue;
};

/// Replaces every placeholder of `format` by its argument. A placeholder is "%", an argument index
/// and ":" if wanted, "-" for left alignment, a width, "." and a precision, and a letter of either
/// case; "%%" is a per cent sign. Widths and text precisions count characters, not bytes.
///   d u x    integers: decimal, unsigned, hexadecimal; the precision fills up with zeros
///   s        text, cut to the precision
///   f n      fixed decimals (2), n with groups of thousands
///   e g      scientific and general form with so many significant digits (15)
/// Throws EConvertError for a placeholder that is broken, has no argument, or does not fit it.
/// Never reaches the C library's formatter, whatever an application's form holds.
std::string Format(std::string_view format, std::initializer_list<TFormatArg> args);
/// The same text, appended: one that is used again keeps its room. After a throw a part of it may
/// stand in text.
void AppendFormat(std::string& text, std::string_view format,
                  std::initializer_list<TFormatArg> args);

}  // namespace OrvixModBus
