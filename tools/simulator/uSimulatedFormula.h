#pragma once
// uSimulatedFormula: ready formulas for values that nobody has to set.

#include "tools/simulator/uSimulatedTable.h"

namespace OrvixModBus {

// Results are rounded to whole numbers; a negative one is its two's complement.

/// The same in every cell.
TFormula ConstantFormula(double value);
/// from, from + step, from + 2 * step... along the addresses; a misplaced value shows at once.
TFormula RampFormula(double from, double step);
/// Begins with from, step more after every period of so many seconds.
TFormula CounterFormula(double from, double step, double period);
/// Swings between low and high, beginning in the middle, once in a period of so many seconds.
TFormula SineFormula(double low, double high, double period);
/// 0 and 1 by turns, a period of so many seconds each.
TFormula ToggleFormula(double period);

// Those with a period throw EArgumentOutOfRangeException when it is not above 0.

}  // namespace OrvixModBus
