#include "platform/modbus/uLineTiming.h"

#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

TLineSettings Settings(TBaudRate baud, TParityScheme parity, TDataBits data, TStopBits stop,
                       std::int32_t silence = -1) {
  TLineSettings settings;
  settings.Port.BaudRate = baud;
  settings.Port.Parity = parity;
  settings.Port.DataBits = data;
  settings.Port.StopBits = stop;
  settings.SilentInterval = silence;
  return settings;
}

TEST(TLineTiming, CharactersHaveAllTheirBits) {
  using enum TParityScheme;
  using enum TDataBits;
  using enum TStopBits;
  const struct {
    TBaudRate Baud;
    TParityScheme Parity;
    TDataBits Data;
    TStopBits Stop;
    std::chrono::nanoseconds Character;
  } cases[] = {
      {1000, psNone, db8, sb1, 10ms},        {1000, psEven, db8, sb1, 11ms},
      {1000, psOdd, db8, sb2, 12ms},         {1000, psMark, db7, sb1, 10ms},
      {1000, psNone, db5, sb1_5, 7500us},    {1000, psSpace, db6, sb1, 9ms},
      {9600, psEven, db8, sb1, 1'145'833ns}, {115200, psNone, db8, sb1, 86'805ns},
  };
  for (const auto& c : cases) {
    const TLineTiming timing(Settings(c.Baud, c.Parity, c.Data, c.Stop));
    EXPECT_EQ(timing.Characters(1), c.Character);
    EXPECT_EQ(timing.Characters(100), 100 * c.Character);
    EXPECT_TRUE(timing.HasCharacters());
  }
}

TLineTiming At(TBaudRate baud, std::int32_t silence = -1) {
  return TLineTiming(
      Settings(baud, TParityScheme::psEven, TDataBits::db8, TStopBits::sb1, silence));
}

TEST(TLineTiming, TheStandardsSilenceIsFixedAbove19200) {
  EXPECT_EQ(At(19200).Silence(), 2'005'206ns);
  EXPECT_EQ(At(19201).Silence(), 1750us);
  EXPECT_EQ(At(115200).Silence(), 1750us);
  EXPECT_NEAR(static_cast<double>(At(9600).Silence().count()), 4'010'416, 1);
}

TEST(TLineTiming, AGivenSilenceIsTaken) {
  EXPECT_EQ(At(9600, 1234).Silence(), 1234us);
  EXPECT_EQ(At(9600, 1234).Characters(1), 1'145'833ns);
}

TEST(TLineTiming, WithoutASilenceNothingTakesTime) {
  const TLineTiming timing = At(9600, 0);
  EXPECT_FALSE(timing.HasCharacters());
  EXPECT_EQ(timing.Silence(), 0ns);
  EXPECT_EQ(timing.Characters(1000), 0ns);
  EXPECT_EQ(timing.Quiet(), 20ms);
  EXPECT_EQ(timing.Pause(), 200ms);
}

TEST(TLineTiming, QuietAndPauseGrowWithSlowCharacters) {
  EXPECT_EQ(At(115200).Quiet(), 20ms);
  EXPECT_EQ(At(9600).Pause(), 200ms);
  EXPECT_EQ(At(1100).Quiet(), 35ms);
  EXPECT_EQ(At(110).Pause(), 700ms);
}

TEST(TLineTiming, TheFastestAndTheSlowestLineOverflowNothing) {
  EXPECT_GE(At(0xFFFFFFFF).Characters(300).count(), 0);
  EXPECT_EQ(At(1).Characters(300), 3300s);
}

}  // namespace
}  // namespace OrvixModBus
