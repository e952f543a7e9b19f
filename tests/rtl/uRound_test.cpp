#include "platform/rtl/uRound.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <limits>

#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

struct TRoundRow {
  const char* name;
  double value;
  int digit;
  double rounded;
};

class SimpleRound : public testing::TestWithParam<TRoundRow> {};

TEST_P(SimpleRound, GoesHalfAwayFromZero) {
  EXPECT_EQ(SimpleRoundTo(GetParam().value, GetParam().digit), GetParam().rounded);
  EXPECT_EQ(SimpleRoundTo(-GetParam().value, GetParam().digit), -GetParam().rounded);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SimpleRound,
    testing::Values(TRoundRow{"TwoDecimals", 12.346, -2, 12.35},
                    TRoundRow{"Down", 12.344, -2, 12.34}, TRoundRow{"Tie", 0.125, -2, 0.13},
                    TRoundRow{"TieOfWholes", 2.5, 0, 3}, TRoundRow{"TieAfterOdd", 3.5, 0, 4},
                    TRoundRow{"OneDecimal", 54.44921875, -1, 54.4},
                    TRoundRow{"Whole", 65328.2, 0, 65328}, TRoundRow{"Tens", 25, 1, 30},
                    TRoundRow{"Thousands", 1499, 3, 1000}, TRoundRow{"PastTheNumber", 49, 2, 0},
                    TRoundRow{"TooLargeForDecimals", 1e300, -20, 1e300},
                    TRoundRow{"MoreDecimalsThanANumberHas", 0.1, -400, 0.1},
                    TRoundRow{"DigitPastEveryNumber", 1e300, 400, 0},
                    TRoundRow{"Infinity", std::numeric_limits<double>::infinity(), 400,
                              std::numeric_limits<double>::infinity()},
                    TRoundRow{"Zero", 0, -2, 0}),
    TRowName());

TEST(SimpleRoundTo, KeepsNotANumber) {
  EXPECT_TRUE(std::isnan(SimpleRoundTo(std::nan(""), -2)));
  EXPECT_TRUE(std::isnan(SimpleRoundTo(std::nan(""), 400)));
}

TEST(RoundHalfEven, GoesToTheEvenNeighbour) {
  for (const auto& [value, rounded] : {std::pair{0.5, 0.0},
                                       {1.5, 2.0},
                                       {2.5, 2.0},
                                       {0.6, 1.0},
                                       {0.4, 0.0},
                                       {3.0, 3.0},
                                       {0.49999999999999994, 0.0},
                                       {4503599627370495.5, 4503599627370496.0},
                                       {1e300, 1e300}}) {
    EXPECT_EQ(RoundHalfEven(value), rounded) << value;
    EXPECT_EQ(RoundHalfEven(-value), -rounded) << -value;
  }
}

TEST(RoundHalfEven, DoesNotFollowTheProcessorsMode) {
  std::fesetround(FE_UPWARD);
  const double rounded = RoundHalfEven(2.25);
  std::fesetround(FE_TONEAREST);
  EXPECT_EQ(rounded, 2);
}

TEST(RoundHalfEven, KeepsWhatIsNotFinite) {
  EXPECT_TRUE(std::isnan(RoundHalfEven(std::nan(""))));
  EXPECT_TRUE(std::isinf(RoundHalfEven(std::numeric_limits<double>::infinity())));
}

}  // namespace
}  // namespace OrvixModBus
