#include "tests/storm/storm.h"

#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

void ExpectClean(const TStormReport& report) {
  EXPECT_EQ(report.Wrong, 0u) << report.Text();
  EXPECT_EQ(report.Lost, 0u) << report.Text();
  EXPECT_EQ(report.Stuck, 0u) << report.Text();
  EXPECT_GT(report.Compared, report.Transactions);
  EXPECT_LE(report.End.Handles, report.Warm.Handles);
  EXPECT_EQ(report.Hangups, report.Returns);
  for (const TFaultForm& form : FaultForms()) {
    EXPECT_GT(report.Faults[static_cast<std::size_t>(form.Fault)], 0u) << form.Name;
  }
}

TEST(TStorm, ReportsNoWrongValueAndLosesNothing) {
  TStormSettings settings;
  settings.Transactions = 20'000;
  const TStormReport report = RunStorm(settings);
  EXPECT_GE(report.Transactions, settings.Transactions);
  ExpectClean(report);
}

TEST(TStorm, IsTheSameAgainFromTheSameSeed) {
  TStormSettings settings;
  settings.Transactions = 1'000;
  settings.Seed = 7;
  const TStormReport one = RunStorm(settings), other = RunStorm(settings);
  EXPECT_EQ(one.Replies, other.Replies);
  EXPECT_EQ(one.Faults, other.Faults);
  EXPECT_EQ(one.LineSeconds, other.LineSeconds);
  settings.Seed = 8;
  EXPECT_NE(RunStorm(settings).Replies, one.Replies);
}

TEST(TStorm, PassesOverPseudoTerminals) {
  TStormSettings settings;
  settings.Transactions = 2'000;
  settings.Terminals = true;
  ExpectClean(RunStorm(settings));
}

TEST(TStorm, WithoutFaultsEverythingIsAnswered) {
  TStormSettings settings;
  settings.Transactions = 2'000;
  settings.Faults = 0;
  const TStormReport report = RunStorm(settings);
  EXPECT_TRUE(report.IsClean()) << report.Text();
  EXPECT_EQ(report.Replies[5], report.Transactions);
}

}  // namespace
}  // namespace OrvixModBus
