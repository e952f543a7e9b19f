#include "platform/rtl/uDateTime.h"

#include <array>
#include <cstddef>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

constexpr int kDaysBeforeDayZero = 693594;  // from 0000-12-31 to 1899-12-30
constexpr double kMillisecondsPerDay = 24 * 60 * 60 * 1000.0;

bool IsLeapYear(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int DaysInMonth(int year, int month) {
  constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

bool InRange(int value, int low, int high) { return low <= value && value <= high; }

int EncodeDate(int year, int month, int day) {
  if (!InRange(year, 1, 9999) || !InRange(month, 1, 12) ||
      !InRange(day, 1, DaysInMonth(year, month))) {
    throw EConvertError("Invalid argument to date encode");
  }
  const int before = year - 1;
  int days = before * 365 + before / 4 - before / 100 + before / 400 + day;
  for (int m = 1; m < month; ++m) days += DaysInMonth(year, m);
  return days - kDaysBeforeDayZero;
}

double EncodeTime(int hour, int minute, int second, int millisecond) {
  if (!InRange(hour, 0, 23) || !InRange(minute, 0, 59) || !InRange(second, 0, 59) ||
      !InRange(millisecond, 0, 999)) {
    throw EConvertError("Invalid argument to time encode");
  }
  return (((hour * 60 + minute) * 60 + second) * 1000 + millisecond) / kMillisecondsPerDay;
}

}  // namespace

TDateTime EncodeDateTime(int year, int month, int day, int hour, int minute, int second,
                         int millisecond) {
  const double date = EncodeDate(year, month, day);
  const double time = EncodeTime(hour, minute, second, millisecond);
  return date < 0 ? date - time : date + time;
}

}  // namespace OrvixModBus
