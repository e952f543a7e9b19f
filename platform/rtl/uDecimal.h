#pragma once
// uDecimal: the decimal digits of a double, exact, and their rounding.

#include <cstddef>
#include <string_view>

namespace OrvixModBus {

/// A finite number without its sign: 0.d1d2d3... times 10 to the power of the exponent. The first
/// and the last digit kept are never 0; zero has no digits.
struct TDecimal {
  char digits[768] = {};  ///< as characters; 767 is the most that a double has
  int count = 0;
  int exponent = 0;

  std::string_view Digits() const { return {digits, static_cast<std::size_t>(count)}; }

  /// Keeps the first `keep` digits, rounding the rest half away from zero.
  void Round(int keep);
};

/// 10 to the power of exponent (0 or more); exact up to 22.
double PowerOfTen(int exponent);

/// Every digit of a finite number's exact value.
TDecimal ExactDecimal(double value);

/// The value rounded to so many significant digits, half away from zero on the exact value.
TDecimal RoundedDecimal(double value, int digits);

}  // namespace OrvixModBus
