#include "tools/simulator/uSimulatedFormula.h"

#include <gtest/gtest.h>

#include <limits>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

struct TCase {
  const char* Name;
  TFormula Formula;
  std::uint32_t Index;
  double Seconds;
  std::int64_t Value;
};

const double kInfinite = std::numeric_limits<double>::infinity();

TEST(SimulatedFormula, GivesItsValue) {
  const TCase cases[] = {
      {"constant", ConstantFormula(7), 9, 100, 7},
      {"constant is rounded", ConstantFormula(7.5), 0, 0, 8},
      {"ramp begins", RampFormula(10, 3), 0, 100, 10},
      {"ramp goes on along the addresses", RampFormula(10, 3), 4, 0, 22},
      {"ramp falls below zero", RampFormula(1, -2), 1, 0, -1},
      {"counter begins", CounterFormula(5, 2, 0.5), 3, 0.49, 5},
      {"counter after a period", CounterFormula(5, 2, 0.5), 3, 0.5, 7},
      {"counter after ten periods", CounterFormula(5, 2, 0.5), 0, 5.1, 25},
      {"sine begins in the middle", SineFormula(-100, 300, 8), 0, 0, 100},
      {"sine is highest after a quarter", SineFormula(-100, 300, 8), 0, 2, 300},
      {"sine is lowest after three quarters", SineFormula(-100, 300, 8), 0, 6, -100},
      {"sine comes again", SineFormula(0, 1000, 8), 0, 802, 1000},
      {"phase puts the sine ahead", SineFormula(-100, 300, 8, 2), 0, 0, 300},
      {"negative phase puts it back", SineFormula(-100, 300, 8, -2), 0, 0, -100},
      {"decay fades the swing", SineFormula(-900, 1100, 4, 1, 4), 0, 4, 468},
      {"decay leaves the first swing", SineFormula(-900, 1100, 4, 1, 4), 0, 0, 1100},
      {"long decay leaves the middle", SineFormula(-900, 1100, 4, 1, 4), 0, 400, 100},
      {"toggle begins with 0", ToggleFormula(2), 0, 1.9, 0},
      {"toggle goes to 1", ToggleFormula(2), 0, 2, 1},
      {"toggle goes back", ToggleFormula(2), 0, 4, 0},
      {"cycle begins with the first", CycleFormula({5, -6, 7}), 9, 0.9, 5},
      {"cycle goes on", CycleFormula({5, -6, 7}), 0, 1, -6},
      {"cycle begins again", CycleFormula({5, -6, 7}), 0, 302, 7},
      {"cycle by its period", CycleFormula({5, -6}, 10), 0, 19, -6},
      {"cycle of no time begins", CycleFormula({5, 6}), 0, kInfinite, 5},
      {"greatest exact whole", ConstantFormula(9007199254740992), 0, 0, 9007199254740992},
      {"what no cell can hold is 0", ConstantFormula(kInfinite), 0, 0, 0},
      {"what has no value is 0", SineFormula(0, 1, kInfinite), 0, kInfinite, 0},
  };
  for (const TCase& one : cases) {
    SCOPED_TRACE(one.Name);
    EXPECT_EQ(one.Formula(one.Index, one.Seconds), one.Value);
  }
}

TEST(SimulatedFormula, RefusesAPeriodOrDecayThatIsNotAboveZero) {
  for (const double period : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_THROW(CounterFormula(0, 1, period), EArgumentOutOfRangeException);
    EXPECT_THROW(SineFormula(0, 1, period), EArgumentOutOfRangeException);
    EXPECT_THROW(SineFormula(0, 1, 1, 0, period), EArgumentOutOfRangeException);
    EXPECT_THROW(ToggleFormula(period), EArgumentOutOfRangeException);
    EXPECT_THROW(CycleFormula({1}, period), EArgumentOutOfRangeException);
  }
}

TEST(SimulatedFormula, RefusesACycleOfNothing) {
  EXPECT_THROW(CycleFormula({}), EArgumentOutOfRangeException);
}

}  // namespace
}  // namespace OrvixModBus
