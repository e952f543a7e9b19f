#include "platform/rtl/uNumText.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <system_error>

#include "platform/rtl/uDecimal.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

constexpr int kFloatDigits = 15;
constexpr double kFirstScientific = 1e15;
constexpr double kFirstPlain = 1e-4;
// A text of 15 digits is half a unit of the 15th place from its number at most, that is 5e-16 of
// it; the error of one product, 1.2e-16, is taken off.
constexpr double kSameText = 3.8e-16;
constexpr int kSmallestPlainExponent = -3;  // 0.0001 is 0.1 times 10 to the power of -3

std::atomic<char> decimalSeparator{'.'};

[[noreturn]] void ThrowConvertError(std::string_view text, std::string_view problem) {
  throw EConvertError("'" + std::string(text) + "' " + std::string(problem));
}

bool TakePrefix(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

bool TakeHexPrefix(std::string_view& text) {
  return TakePrefix(text, "$") || TakePrefix(text, "0x") || TakePrefix(text, "0X") ||
         TakePrefix(text, "x") || TakePrefix(text, "X");
}

std::optional<std::int32_t> ParseInteger(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const bool negative = TakePrefix(text, "-");
  if (!negative) TakePrefix(text, "+");
  const bool hexadecimal = TakeHexPrefix(text);

  std::uint32_t magnitude = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, magnitude, hexadecimal ? 16 : 10);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;

  constexpr std::uint32_t kLargest = std::numeric_limits<std::int32_t>::max();
  if (!hexadecimal && magnitude > kLargest + (negative ? 1U : 0U)) return std::nullopt;
  return static_cast<std::int32_t>(negative ? 0U - magnitude : magnitude);
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::size_t TakeDigits(std::string_view& text) {
  const auto digits = std::find_if_not(text.begin(), text.end(), IsDigit);
  const auto count = static_cast<std::size_t>(digits - text.begin());
  text.remove_prefix(count);
  return count;
}

bool TakeExponent(std::string_view& text) {
  if (!TakePrefix(text, "E") && !TakePrefix(text, "e")) return true;
  if (!TakePrefix(text, "-")) TakePrefix(text, "+");
  return TakeDigits(text) > 0;
}

// An unsigned real, with `separator` between its digits.
bool IsReal(std::string_view text, char separator) {
  std::size_t digits = TakeDigits(text);
  if (TakePrefix(text, {&separator, 1})) digits += TakeDigits(text);
  return digits > 0 && TakeExponent(text) && text.empty();
}

std::string_view TrimBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::optional<double> ParseReal(std::string_view text) {
  text = TrimBlanks(text);
  const bool negative = TakePrefix(text, "-");
  if (!negative) TakePrefix(text, "+");
  const char separator = DecimalSeparator();
  if (!IsReal(text, separator)) return std::nullopt;

  std::string plain(text);
  std::replace(plain.begin(), plain.end(), separator, '.');
  double value = 0;
  const auto read = std::from_chars(plain.data(), plain.data() + plain.size(), value);
  if (read.ec != std::errc()) return std::nullopt;
  return negative ? -value : value;
}

void AppendNotFinite(std::string& text, double value) {
  text += std::isnan(value) ? "NAN" : value < 0 ? "-INF" : "INF";
}

void AppendSign(std::string& text, double value, const TDecimal& decimal) {
  if (value < 0 && decimal.count > 0) text += '-';
}

std::size_t ToSize(int count) { return static_cast<std::size_t>(std::max(0, count)); }

// The digits from `from` on, `length` of them, zeros where the decimal has none.
void AppendDigits(std::string& text, const TDecimal& decimal, int from, int length) {
  const int zerosBefore = std::min(std::max(0, -from), length);
  const std::string_view kept = decimal.Digits().substr(
      std::min(ToSize(from), decimal.Digits().size()), ToSize(length - zerosBefore));
  text.append(ToSize(zerosBefore), '0').append(kept);
  text.append(ToSize(length - zerosBefore) - kept.size(), '0');
}

void AppendInteger(std::string& text, const TDecimal& decimal, char group) {
  if (decimal.exponent <= 0) {
    text += '0';
    return;
  }
  const int head = group == '\0' ? decimal.exponent : (decimal.exponent - 1) % 3 + 1;
  AppendDigits(text, decimal, 0, head);
  for (int at = head; at < decimal.exponent; at += 3) {
    text += group;
    AppendDigits(text, decimal, at, 3);
  }
}

void AppendFraction(std::string& text, const TDecimal& decimal, int decimals) {
  if (decimals <= 0) return;
  text += DecimalSeparator();
  AppendDigits(text, decimal, decimal.exponent, decimals);
}

// d.dddE, `digits` digits in all.
void AppendMantissa(std::string& text, const TDecimal& decimal, int digits) {
  AppendDigits(text, decimal, 0, 1);
  if (digits > 1) {
    text += DecimalSeparator();
    AppendDigits(text, decimal, 1, digits - 1);
  }
  text += 'E';
}

// number / 10^decimals, for numbers and powers of up to 10^15.
void AppendPlain(std::string& text, bool negative, std::uint64_t number, int decimals) {
  std::array<char, 40> plain{};
  char* end = plain.begin();
  if (negative && number > 0) *end++ = '-';
  const auto append = [&](std::uint64_t whole) {
    end = std::to_chars(end, plain.end(), whole).ptr;
  };
  if (decimals == 0) {
    append(number);
  } else {
    const auto power = static_cast<std::uint64_t>(PowerOfTen(decimals));
    append(number / power);
    char* const separator = end;
    append(number % power + power);  // the digit too many keeps the zeros behind it
    *separator = DecimalSeparator();
  }
  text.append(plain.begin(), end);
}

// To the nearest whole number, for 0 to 10^15.
std::uint64_t Rounded(double value) {
  const auto whole = static_cast<std::uint64_t>(value);
  return value - static_cast<double>(whole) < 0.5 ? whole : whole + 1;
}

// The text of FloatToStr for what most registers hold: numbers that are, to 15 digits, whole or of
// up to 3 or 9 decimals. False, and nothing appended, for all others, which need the digits of a
// double and take three times as long.
bool AppendFewDecimals(std::string& text, double value) {
  const double magnitude = std::fabs(value);
  if (magnitude > 0 && magnitude < kFirstPlain) return false;
  for (int decimals : {0, 3, 9}) {
    const double scaled = magnitude * PowerOfTen(decimals);
    if (!(scaled < kFirstScientific)) return false;
    std::uint64_t number = Rounded(scaled);
    const auto rounded = static_cast<double>(number);
    if (std::fabs(scaled - rounded) > kSameText * rounded || rounded == kFirstScientific) continue;
    for (; decimals > 0 && number % 10 == 0; --decimals) number /= 10;
    AppendPlain(text, value < 0, number, decimals);
    return true;
  }
  return false;
}

// The text of FloatToFixed where the error of one product can't turn the rounding. False, and
// nothing appended, for all others.
bool AppendSurelyRounded(std::string& text, double value, int decimals) {
  if (decimals < 0 || decimals > kFloatDigits) return false;
  const double scaled = std::fabs(value) * PowerOfTen(decimals);
  if (!(scaled < kFirstScientific)) return false;
  const std::uint64_t number = Rounded(scaled);
  const double toTie = 0.5 - std::fabs(scaled - static_cast<double>(number));
  if (toTie <= scaled * std::numeric_limits<double>::epsilon()) return false;
  AppendPlain(text, value < 0, number, decimals);
  return true;
}

template <auto kAppend, class... TArgs>
std::string Appended(TArgs... args) {
  std::string text;
  kAppend(text, args...);
  return text;
}

}  // namespace

std::string IntToStr(std::int64_t value) { return std::to_string(value); }

std::string IntToHex(std::uint64_t value, int digits) {
  std::array<char, 16> text{};
  const auto end = std::to_chars(text.begin(), text.end(), value, 16).ptr;
  const int missing = digits - static_cast<int>(end - text.begin());
  std::string result(ToSize(missing), '0');
  for (const char* c = text.begin(); c != end; ++c) {
    result += IsDigit(*c) ? *c : static_cast<char>(*c - 'a' + 'A');
  }
  return result;
}

std::int32_t StrToInt(std::string_view text) {
  const auto value = ParseInteger(text);
  if (!value) ThrowConvertError(text, "is not a valid integer value");
  return *value;
}

std::int32_t StrToIntDef(std::string_view text, std::int32_t fallback) {
  return ParseInteger(text).value_or(fallback);
}

bool TryStrToInt(std::string_view text, std::int32_t& value) {
  const auto parsed = ParseInteger(text);
  value = parsed.value_or(value);
  return parsed.has_value();
}

double StrToFloat(std::string_view text) {
  const auto value = ParseReal(text);
  if (!value) ThrowConvertError(text, "is not a valid floating point value");
  return *value;
}

bool TryStrToFloat(std::string_view text, double& value) {
  const auto parsed = ParseReal(text);
  value = parsed.value_or(value);
  return parsed.has_value();
}

std::string FloatToStr(double value) { return Appended<AppendFloat>(value); }

std::string FloatToGeneral(double value, int digits) {
  return Appended<AppendGeneral>(value, digits);
}

std::string FloatToFixed(double value, int decimals, char group) {
  return Appended<AppendFixed>(value, decimals, group);
}

std::string FloatToExponent(double value, int digits) {
  return Appended<AppendExponent>(value, digits);
}

void AppendInt(std::string& text, std::int64_t value) {
  std::array<char, 20> digits{};
  text.append(digits.begin(), std::to_chars(digits.begin(), digits.end(), value).ptr);
}

void AppendFloat(std::string& text, double value) { AppendGeneral(text, value, kFloatDigits); }

void AppendGeneral(std::string& text, double value, int digits) {
  if (digits == kFloatDigits && AppendFewDecimals(text, value)) return;
  if (!std::isfinite(value)) return AppendNotFinite(text, value);
  digits = std::max(1, digits);
  const TDecimal decimal = RoundedDecimal(value, digits);
  AppendSign(text, value, decimal);
  if (decimal.exponent > digits || decimal.exponent < kSmallestPlainExponent) {
    AppendMantissa(text, decimal, decimal.count);
    return AppendInt(text, decimal.exponent - 1);
  }
  AppendInteger(text, decimal, '\0');
  AppendFraction(text, decimal, decimal.count - decimal.exponent);
}

void AppendFixed(std::string& text, double value, int decimals, char group) {
  if (group == '\0' && AppendSurelyRounded(text, value, decimals)) return;
  if (!std::isfinite(value)) return AppendNotFinite(text, value);
  TDecimal decimal = ExactDecimal(value);
  decimal.Round(decimal.exponent + std::max(0, decimals));
  AppendSign(text, value, decimal);
  AppendInteger(text, decimal, group);
  AppendFraction(text, decimal, decimals);
}

void AppendExponent(std::string& text, double value, int digits) {
  if (!std::isfinite(value)) return AppendNotFinite(text, value);
  digits = std::max(1, digits);
  const TDecimal decimal = RoundedDecimal(value, digits);
  const int exponent = decimal.count == 0 ? 0 : decimal.exponent - 1;
  AppendSign(text, value, decimal);
  AppendMantissa(text, decimal, digits);
  const std::string power = IntToStr(std::abs(exponent));
  text.append(exponent < 0 ? "-" : "+")
      .append(ToSize(3 - static_cast<int>(power.size())), '0')
      .append(power);
}

char DecimalSeparator() { return decimalSeparator; }

void SetDecimalSeparator(char separator) { decimalSeparator = separator; }

}  // namespace OrvixModBus
