#include "platform/modbus/uLineStatistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

TEST(TRoundTripTimes, AreAllZeroAtFirst) {
  const TRoundTrip trip = TRoundTripTimes().Summary();
  EXPECT_EQ(trip.Count, 0u);
  EXPECT_EQ(trip.Median, 0u);
  EXPECT_EQ(trip.Greatest, 0u);
}

TEST(TRoundTripTimes, OneTimeIsAllOfThem) {
  for (const std::uint32_t value : {0U, 1U, 15U, 16U, 17U, 1000U, 999'999U, 0xFFFFFFFFU}) {
    TRoundTripTimes times;
    times.Add(std::chrono::microseconds(value));
    const TRoundTrip trip = times.Summary();
    EXPECT_EQ(trip.Least, value);
    EXPECT_EQ(trip.Median, value);
    EXPECT_EQ(trip.Percentile95, value);
    EXPECT_EQ(trip.Greatest, value);
  }
}

TEST(TRoundTripTimes, TimesBeyondTheScaleAreItsEnds) {
  TRoundTripTimes times;
  times.Add(-1s);
  times.Add(100h);
  EXPECT_EQ(times.Summary().Least, 0u);
  EXPECT_EQ(times.Summary().Greatest, 0xFFFFFFFFu);
}

TEST(TRoundTripTimes, PercentilesAreExactToThreePercent) {
  std::mt19937 random(7);
  std::lognormal_distribution<double> spread(9, 1.5);
  TRoundTripTimes times;
  std::vector<double> all;
  for (int i = 0; i < 20'000; ++i) {
    const auto value = static_cast<std::int64_t>(std::min(spread(random), 4e9));
    times.Add(std::chrono::microseconds(value));
    all.push_back(static_cast<double>(value));
  }
  std::ranges::sort(all);
  const TRoundTrip trip = times.Summary();
  EXPECT_EQ(trip.Count, all.size());
  EXPECT_EQ(trip.Least, all.front());
  EXPECT_EQ(trip.Greatest, all.back());
  EXPECT_NEAR(trip.Median / all[9'999], 1, 0.032);
  EXPECT_NEAR(trip.Percentile95 / all[18'999], 1, 0.032);
}

}  // namespace
}  // namespace OrvixModBus
