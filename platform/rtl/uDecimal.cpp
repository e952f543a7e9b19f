#include "platform/rtl/uDecimal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

namespace OrvixModBus {
namespace {

constexpr int kMantissaBits = std::numeric_limits<double>::digits;
constexpr int kSafeDigits = std::numeric_limits<double>::digits10;

// Room for the longest plain text of a double: 309 digits before the point and, when all bits of
// the smallest mantissa are asked for, 1126 behind it.
using TPlainText = std::array<char, 1500>;

void Append(TDecimal& decimal, char digit) {
  decimal.digits[static_cast<std::size_t>(decimal.count++)] = digit;
}

// Reads "123.4500" into 12345 and 3, "0.0012" into 12 and -2.
TDecimal FromPlainText(std::span<const char> text) {
  TDecimal decimal;
  int zeros = 0;  // behind the last digit other than 0
  bool fraction = false;
  for (const char c : text) {
    if (c == '.') {
      fraction = true;
      continue;
    }
    const bool leading = c == '0' && decimal.count == 0;
    if (fraction ? leading : !leading) decimal.exponent += fraction ? -1 : 1;
    if (leading) continue;
    if (c == '0') {
      ++zeros;
      continue;
    }
    for (; zeros > 0; --zeros) Append(decimal, '0');
    Append(decimal, c);
  }
  return decimal;
}

// The shortest text that reads back as the same number.
TDecimal ShortestDecimal(double value) {
  TPlainText text;
  const auto end = std::to_chars(text.begin(), text.end(), value, std::chars_format::fixed).ptr;
  return FromPlainText({text.begin(), end});
}

// Those that a double holds exactly.
constexpr std::array kPowersOfTen{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                  1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

}  // namespace

double PowerOfTen(int exponent) {
  const auto place = static_cast<std::size_t>(exponent);
  return place < kPowersOfTen.size() ? kPowersOfTen[place] : std::pow(10.0, exponent);
}

TDecimal ExactDecimal(double value) {
  if (value == 0) return {};
  // A decimal for every binary place behind the point writes the value out to its end.
  const int decimals = std::max(0, kMantissaBits - 1 - std::ilogb(value));
  TPlainText text;
  const auto end =
      std::to_chars(text.begin(), text.end(), std::fabs(value), std::chars_format::fixed, decimals)
          .ptr;
  return FromPlainText({text.begin(), end});
}

void TDecimal::Round(int keep) {
  if (keep >= count) return;
  const bool up = keep >= 0 && digits[static_cast<std::size_t>(keep)] >= '5';
  const char dropped = up ? '9' : '0';  // digits that the carry, or the cut, turns into zeros
  count = std::max(0, keep);
  while (count > 0 && Digits().back() == dropped) --count;
  if (count > 0) {
    if (up) ++digits[static_cast<std::size_t>(count) - 1];
    return;
  }
  exponent = up ? exponent + 1 : 0;
  if (up) Append(*this, '1');
}

TDecimal RoundedDecimal(double value, int digits) {
  // A normal double tells all texts of up to 15 digits apart: a shortest text of that length is
  // the rounded one, and comes three times as fast as the exact one.
  const bool distinct = digits <= kSafeDigits && std::isnormal(value);
  TDecimal decimal = distinct ? ShortestDecimal(std::fabs(value)) : ExactDecimal(value);
  if (distinct && decimal.count > digits) decimal = ExactDecimal(value);
  decimal.Round(digits);
  return decimal;
}

}  // namespace OrvixModBus
