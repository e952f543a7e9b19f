// What a letter's plan says is what reading it takes on a paced line.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "tests/line/SimulatedLine.h"
#include "tools/orvixmb/uLetterPlan.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

void AddSixtyRegs(TMBLetter& letter, TSimulatedLine& line) {
  {
    const auto lock = line.Thread.Lock();
    TSimulatedDevice& device = line.Simulator.Device(kDevice);
    device.Coils.Set(0, std::vector<std::uint32_t>(64, 1));
    device.Extended.Set(1, {0x01020304});
    device.Paged.Set(0x01FFD0, std::vector<std::uint32_t>(64, 0x5A));
  }
  for (std::uint32_t i = 0; i < 8; ++i) AddReg(letter, 0x01, i, 1);
  for (std::uint32_t i = 0; i < 30; ++i) AddReg(letter, 0x03, 100 + 2 * i + (i < 15 ? 0 : 40), 2);
  for (std::uint32_t i = 0; i < 15; ++i) AddReg(letter, 0x04, 10 + 2 * i, 2);
  AddReg(letter, 0x21, 1, 2);
  for (std::uint32_t i = 0; i < 8; ++i) AddReg(letter, 0x43, 0x01FFD0 + 8 * i, 8);
}

// How long a letter's requests take, each from its begin to the begin of the next one, as the line
// tells it. Of every request the shortest time of all rounds counts: what disturbs one only makes
// it longer, so on a busy machine it takes more rounds, not another result.
class TMeasurement {
 public:
  TMeasurement(TMBLetter& letter, TSimulatedLine& line, std::size_t requests)
      : fLetter(letter), fLine(line), fShortest(requests, std::chrono::nanoseconds::max()) {
    line.Line.OnTrace = [this](TModbusConnection&, TTraceDirection direction, const auto&,
                               TTime time) {
      if (direction == TTraceDirection::tdSent) Begin(time);
    };
  }

  void ReadOnce() {
    fLetter.ReadAllRegs();
    EXPECT_TRUE(fLine.RunDry());
  }

  double Seconds() const {
    std::chrono::duration<double> sum(0);
    for (const auto shortest : fShortest) sum += shortest;
    return sum.count();
  }

 private:
  using TTime = std::chrono::steady_clock::time_point;

  void Begin(TTime time) {
    if (fBegun > 0) {
      auto& shortest = fShortest[(fBegun - 1) % fShortest.size()];
      shortest = std::min<std::chrono::nanoseconds>(shortest, time - fLast);
    }
    ++fBegun;
    fLast = time;
  }

  TMBLetter& fLetter;
  TSimulatedLine& fLine;
  std::vector<std::chrono::nanoseconds> fShortest;
  std::size_t fBegun = 0;
  TTime fLast;
};

class PlannedLetter : public testing::TestWithParam<std::uint32_t> {};

// Every character is handed over when it comes: what an adapter holds back is not in the plan.
TEST_P(PlannedLetter, TakesAsLongAsItsPlanSays) {
  constexpr double kTolerance = 0.05;
  constexpr int kLeastRounds = 8;
  TSimulatedLine line({.BaudRate = GetParam(), .Burst = 1});
  TMBLetter letter;
  letter.SetClient(&line.Client);
  AddSixtyRegs(letter, line);
  const TLetterPlan plan = PlanLetter(letter, PlanSettingsOf(letter));
  const double planned = std::chrono::duration<double>(plan.Time()).count();
  TMeasurement measured(letter, line, plan.Requests.size());
  const auto limit = TLoop::TClock::now() + std::chrono::seconds(60);
  for (int round = 0; round <= kLeastRounds || (measured.Seconds() > planned * (1 + kTolerance) &&
                                                TLoop::TClock::now() < limit);
       ++round) {
    measured.ReadOnce();
  }
  RecordProperty("planned_us", static_cast<int>(planned * 1e6));
  RecordProperty("measured_us", static_cast<int>(measured.Seconds() * 1e6));
  EXPECT_NEAR(measured.Seconds(), planned, planned * kTolerance);
  EXPECT_EQ(line.Line.Counters().Retries, 0u);
}

INSTANTIATE_TEST_SUITE_P(Rates, PlannedLetter, testing::Values(9600, 19200, 115200),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace OrvixModBus
