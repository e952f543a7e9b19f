#include "tools/simulator/uSimulatedFormula.h"

#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFormat.h"

namespace OrvixModBus {
namespace {

std::int64_t ToWhole(double value) {
  constexpr double kGreatestExact = 9007199254740992.0;  // 2^53: above it a count stands still
  if (!(std::abs(value) <= kGreatestExact)) return 0;
  return std::llround(value);
}

double CheckAboveZero(double value, const char* name) {
  if (!(value > 0)) throw EArgumentOutOfRangeException(Format("A %s must be above 0", {name}));
  return value;
}

double CheckPeriod(double period) { return CheckAboveZero(period, "period"); }

}  // namespace

TFormula ConstantFormula(double value) { return RampFormula(value, 0); }

TFormula RampFormula(double from, double step) {
  return [=](std::uint32_t index, double) { return ToWhole(from + step * index); };
}

TFormula CounterFormula(double from, double step, double period) {
  return [=, period = CheckPeriod(period)](std::uint32_t, double seconds) {
    return ToWhole(from + step * std::floor(seconds / period));
  };
}

TFormula SineFormula(double low, double high, double period, double phase, double decay) {
  return [=, period = CheckPeriod(period), decay = CheckAboveZero(decay, "decay")](std::uint32_t,
                                                                                   double seconds) {
    const double turn = 2 * std::numbers::pi * (seconds + phase) / period;
    const double swing = (high - low) / 2 * std::exp(-seconds / decay);
    return ToWhole((low + high) / 2 + swing * std::sin(turn));
  };
}

TFormula ToggleFormula(double period) { return CycleFormula({0, 1}, period); }

TFormula CycleFormula(std::vector<double> values, double period) {
  if (values.empty()) throw EArgumentOutOfRangeException("A cycle must have values");
  return [values = std::move(values), period = CheckPeriod(period)](std::uint32_t, double seconds) {
    const double turn = std::fmod(std::floor(seconds / period), static_cast<double>(values.size()));
    return ToWhole(turn >= 0 ? values[static_cast<std::size_t>(turn)] : values.front());
  };
}

}  // namespace OrvixModBus
