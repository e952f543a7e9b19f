#include "platform/rtl/uDecimal.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <string>

#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

TEST(ExactDecimal, HasNoDigitsForZero) {
  EXPECT_EQ(ExactDecimal(0).count, 0);
  EXPECT_EQ(ExactDecimal(-0.0).exponent, 0);
}

TEST(ExactDecimal, WritesABinaryFractionOut) {
  const TDecimal tenth = ExactDecimal(0.1);
  EXPECT_EQ(tenth.Digits(), "1000000000000000055511151231257827021181583404541015625");
  EXPECT_EQ(tenth.exponent, 0);
}

TEST(ExactDecimal, ReachesTheLastBitOfTheMantissa) {
  EXPECT_EQ(ExactDecimal(1 + DBL_EPSILON).Digits(),
            "10000000000000002220446049250313080847263336181640625");
  EXPECT_EQ(ExactDecimal(9007199254740991).Digits(), "9007199254740991");
  EXPECT_EQ(ExactDecimal(4503599627370495.5).Digits(), "45035996273704955");
}

TEST(ExactDecimal, DropsTheZerosAtBothEnds) {
  const TDecimal large = ExactDecimal(-1200);
  EXPECT_EQ(large.Digits(), "12");
  EXPECT_EQ(large.exponent, 4);
  const TDecimal small = ExactDecimal(0.001953125);
  EXPECT_EQ(small.Digits(), "1953125");
  EXPECT_EQ(small.exponent, -2);
}

TEST(ExactDecimal, HoldsTheLongestNumbers) {
  EXPECT_EQ(ExactDecimal(DBL_MIN - 4.9406564584124654e-324).count, 767);
  EXPECT_EQ(ExactDecimal(DBL_MAX).exponent, 309);
  EXPECT_EQ(ExactDecimal(5e-324).count, 751);
}

struct TRoundRow {
  const char* name;
  double value;
  int keep;
  const char* digits;
  int exponent;
};

class DecimalRound : public testing::TestWithParam<TRoundRow> {};

TEST_P(DecimalRound, GoesHalfAwayFromZero) {
  TDecimal decimal = ExactDecimal(GetParam().value);
  decimal.Round(GetParam().keep);
  EXPECT_EQ(decimal.Digits(), GetParam().digits);
  EXPECT_EQ(decimal.exponent, GetParam().exponent);
}

INSTANTIATE_TEST_SUITE_P(Rows, DecimalRound,
                         testing::Values(TRoundRow{"NothingToDrop", 12.5, 5, "125", 2},
                                         TRoundRow{"Down", 12.4375, 3, "124", 2},
                                         TRoundRow{"Up", 12.4375, 4, "1244", 2},
                                         TRoundRow{"Tie", 12.5, 2, "13", 2},
                                         TRoundRow{"CarryOverNines", 1999.5, 4, "2", 4},
                                         TRoundRow{"CarryIntoANewDigit", 99.5, 2, "1", 3},
                                         TRoundRow{"CutLeavesNoZeros", 1000.25, 4, "1", 4},
                                         TRoundRow{"KeepNoneUp", 0.5, 0, "1", 1},
                                         TRoundRow{"KeepNoneDown", 0.25, 0, "", 0},
                                         TRoundRow{"BelowEverything", 0.75, -1, "", 0},
                                         TRoundRow{"Zero", 0, -1, "", 0}),
                         TRowName());

TEST(RoundedDecimal, IsTheSameByTheShortAndTheExactWay) {
  for (const double value : {0.1, 0.3, 2.5, 1e-4, 123456.789, 1e300, 4503599627370497.5}) {
    for (int digits = 1; digits <= 15; ++digits) {
      SCOPED_TRACE(std::to_string(value) + " to " + std::to_string(digits));
      TDecimal exact = ExactDecimal(value);
      exact.Round(digits);
      const TDecimal rounded = RoundedDecimal(value, digits);
      EXPECT_EQ(rounded.Digits(), exact.Digits());
      EXPECT_EQ(rounded.exponent, exact.exponent);
    }
  }
}

}  // namespace
}  // namespace OrvixModBus
