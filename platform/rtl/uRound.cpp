#include "platform/rtl/uRound.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "platform/rtl/uDecimal.h"

namespace OrvixModBus {

double SimpleRoundTo(double value, int digit) {
  if (digit > std::numeric_limits<double>::max_exponent10) return std::isfinite(value) ? 0 : value;
  if (digit == 0) return std::round(value);
  const double power = PowerOfTen(std::abs(digit));
  // Dividing by 100 gives the double nearest to the decimal number; multiplying by 0.01 does not.
  const double scaled = digit < 0 ? value * power : value / power;
  if (!std::isfinite(scaled)) return value;
  return digit < 0 ? std::round(scaled) / power : std::round(scaled) * power;
}

double RoundHalfEven(double value) {
  const double whole = std::trunc(value);
  const double rest = std::fabs(value - whole);
  const bool away = rest > 0.5 || (rest == 0.5 && std::fmod(whole, 2) != 0);
  return away ? whole + std::copysign(1.0, value) : whole;
}

}  // namespace OrvixModBus
