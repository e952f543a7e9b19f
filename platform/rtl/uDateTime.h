#pragma once
// uDateTime: date and time as one number.

namespace OrvixModBus {

/// Days since 1899-12-30 00:00; the fraction is the time of day, and counts away from zero on days
/// before that date.
using TDateTime = double;

/// Composes a date-time of the Gregorian calendar, years 1 to 9999. Throws EConvertError on a date
/// or a time of day that does not exist.
TDateTime EncodeDateTime(int year, int month, int day, int hour, int minute, int second,
                         int millisecond);

}  // namespace OrvixModBus
