#pragma once
// uRound: the two ways in which reals are rounded.

namespace OrvixModBus {

/// Rounds at the decimal place `digit`, halves away from zero: -2 keeps two decimals, 0 none, 3
/// whole thousands. A value too large to have that place, an infinity and a NaN come back as they
/// are.
double SimpleRoundTo(double value, int digit);

/// Rounds to a whole number, halves to the even neighbour, whatever the processor's rounding mode.
double RoundHalfEven(double value);

}  // namespace OrvixModBus
