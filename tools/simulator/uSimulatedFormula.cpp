#include "tools/simulator/uSimulatedFormula.h"

#include <cmath>
#include <numbers>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

std::uint32_t ToCell(double value) {
  constexpr double kGreatestExact = 9007199254740992.0;  // 2^53: above it a count stands still
  if (!(std::abs(value) <= kGreatestExact)) return 0;
  return static_cast<std::uint32_t>(std::llround(value));
}

double CheckPeriod(double period) {
  if (!(period > 0)) throw EArgumentOutOfRangeException("A period must be above 0 seconds");
  return period;
}

}  // namespace

TFormula ConstantFormula(double value) { return RampFormula(value, 0); }

TFormula RampFormula(double from, double step) {
  return [=](std::uint32_t index, double) { return ToCell(from + step * index); };
}

TFormula CounterFormula(double from, double step, double period) {
  return [=, period = CheckPeriod(period)](std::uint32_t, double seconds) {
    return ToCell(from + step * std::floor(seconds / period));
  };
}

TFormula SineFormula(double low, double high, double period) {
  return [=, period = CheckPeriod(period)](std::uint32_t, double seconds) {
    const double turn = 2 * std::numbers::pi * seconds / period;
    return ToCell((low + high) / 2 + (high - low) / 2 * std::sin(turn));
  };
}

TFormula ToggleFormula(double period) {
  return [=, period = CheckPeriod(period)](std::uint32_t, double seconds) {
    return ToCell(std::fmod(std::floor(seconds / period), 2));
  };
}

}  // namespace OrvixModBus
