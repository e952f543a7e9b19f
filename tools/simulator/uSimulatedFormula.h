#pragma once
// uSimulatedFormula: ready formulas for values that nobody has to set.

#include <limits>
#include <vector>

#include "tools/simulator/uSimulatedTable.h"

namespace OrvixModBus {

// Results are rounded to whole numbers.

inline constexpr double kNoDecay = std::numeric_limits<double>::infinity();

/// The same in every cell.
TFormula ConstantFormula(double value);
/// from, from + step, from + 2 * step... along the addresses; a misplaced value shows at once.
TFormula RampFormula(double from, double step);
/// Begins with from, step more after every period of so many seconds.
TFormula CounterFormula(double from, double step, double period);
/// Swings between low and high, once in a period of so many seconds; begins in the middle, or as
/// after a phase of so many seconds. The swing fades, to 37 % (1/e) in a decay of so many seconds.
TFormula SineFormula(double low, double high, double period, double phase = 0,
                     double decay = kNoDecay);
/// 0 and 1 by turns, a period of so many seconds each.
TFormula ToggleFormula(double period);
/// One value after the other, a period of so many seconds each, and again. There must be some.
TFormula CycleFormula(std::vector<double> values, double period = 1);

// They throw EArgumentOutOfRangeException for a period or decay that is not above 0, and no values.

}  // namespace OrvixModBus
