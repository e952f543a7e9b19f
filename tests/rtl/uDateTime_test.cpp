#include "platform/rtl/uDateTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/rtl/uException.h"
#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

struct TFields {
  int year, month, day, hour, minute, second, millisecond;
};

TDateTime Encode(const TFields& f) {
  return EncodeDateTime(f.year, f.month, f.day, f.hour, f.minute, f.second, f.millisecond);
}

struct TDateRow {
  const char* name;
  TFields fields;
  double value;
};

class DateTimeValue : public testing::TestWithParam<TDateRow> {};

TEST_P(DateTimeValue, CountsDays) { EXPECT_EQ(Encode(GetParam().fields), GetParam().value); }

INSTANTIATE_TEST_SUITE_P(
    Rows, DateTimeValue,
    testing::Values(
        TDateRow{"DayZero", {1899, 12, 30, 0, 0, 0, 0}, 0},
        TDateRow{"DayOne", {1899, 12, 31, 0, 0, 0, 0}, 1},
        TDateRow{"Noon", {1899, 12, 30, 12, 0, 0, 0}, 0.5},
        TDateRow{"Year2000", {2000, 1, 1, 0, 0, 0, 0}, 36526},
        TDateRow{"LeapDay", {2000, 2, 29, 0, 0, 0, 0}, 36585},
        TDateRow{"DayAfterLeapDay", {2000, 3, 1, 0, 0, 0, 0}, 36586},
        TDateRow{"LastMillisecond", {2024, 12, 31, 23, 59, 59, 999}, 45657.999999988424},
        TDateRow{"First", {1, 1, 1, 0, 0, 0, 0}, -693593},
        TDateRow{"Last", {9999, 12, 31, 0, 0, 0, 0}, 2958465},
        TDateRow{"TimeCountsAwayFromZeroBeforeDayZero", {1899, 12, 29, 18, 0, 0, 0}, -1.75}),
    TRowName());

struct TBadDateRow {
  const char* name;
  TFields fields;
  const char* text;
};

class ImpossibleDateTime : public testing::TestWithParam<TBadDateRow> {};

TEST_P(ImpossibleDateTime, IsRefused) {
  EXPECT_THAT([] { Encode(GetParam().fields); },
              testing::ThrowsMessage<EConvertError>(GetParam().text));
}

constexpr const char* kBadDate = "Invalid argument to date encode";
constexpr const char* kBadTime = "Invalid argument to time encode";

INSTANTIATE_TEST_SUITE_P(
    Rows, ImpossibleDateTime,
    testing::Values(TBadDateRow{"YearZero", {0, 1, 1, 0, 0, 0, 0}, kBadDate},
                    TBadDateRow{"Year10000", {10000, 1, 1, 0, 0, 0, 0}, kBadDate},
                    TBadDateRow{"MonthZero", {2024, 0, 1, 0, 0, 0, 0}, kBadDate},
                    TBadDateRow{"Month13", {2024, 13, 1, 0, 0, 0, 0}, kBadDate},
                    TBadDateRow{"DayZero", {2024, 1, 0, 0, 0, 0, 0}, kBadDate},
                    TBadDateRow{"Day32", {2024, 1, 32, 0, 0, 0, 0}, kBadDate},
                    TBadDateRow{"ThirtyFirstOfApril", {2024, 4, 31, 0, 0, 0, 0}, kBadDate},
                    TBadDateRow{"NoLeapDay", {2023, 2, 29, 0, 0, 0, 0}, kBadDate},
                    TBadDateRow{"NoLeapDayIn2100", {2100, 2, 29, 0, 0, 0, 0}, kBadDate},
                    TBadDateRow{"Hour24", {2024, 1, 1, 24, 0, 0, 0}, kBadTime},
                    TBadDateRow{"Minute60", {2024, 1, 1, 0, 60, 0, 0}, kBadTime},
                    TBadDateRow{"Second60", {2024, 1, 1, 0, 0, 60, 0}, kBadTime},
                    TBadDateRow{"Millisecond1000", {2024, 1, 1, 0, 0, 0, 1000}, kBadTime},
                    TBadDateRow{"NegativeHour", {2024, 1, 1, -1, 0, 0, 0}, kBadTime}),
    TRowName());

TEST(EncodeDateTime, CountsEveryDayOfFourCenturies) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  double expected = Encode({1800, 1, 1, 0, 0, 0, 0});
  for (int year = 1800; year < 2200; ++year) {
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    for (int month = 1; month <= 12; ++month) {
      const int days = kDays[month - 1] + (month == 2 && leap ? 1 : 0);
      for (int day = 1; day <= days; ++day, ++expected) {
        ASSERT_EQ(Encode({year, month, day, 0, 0, 0, 0}), expected)
            << year << '-' << month << '-' << day;
      }
    }
  }
}

}  // namespace
}  // namespace OrvixModBus
