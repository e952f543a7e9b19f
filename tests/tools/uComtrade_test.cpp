#include "tools/orvixmb/uComtrade.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

#include "platform/rtl/uException.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"
#include "platform/rtl/uTextFile.h"
#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();

std::chrono::sys_time<std::chrono::microseconds> Time(std::int64_t microseconds) {
  return std::chrono::sys_time<std::chrono::microseconds>(std::chrono::microseconds(microseconds));
}

TComtradeRecord Feeder() {
  TComtradeRecord record;
  record.Station = "Boiler house";
  record.Device = "Relay 17";
  record.Analogs = {{"Ia", "A", {0, -900, 899}}, {"Ua", "kV", {6.3, kNone, -6.25}}};
  record.Digitals = {{"Trip", {false, true, true}}};
  record.SamplePeriod = 0.00025;
  record.Start = Time(1'783'082'096'000'250);
  return record;
}

TComtradeRecord OneChannel(std::vector<double> values) {
  TComtradeRecord record;
  record.Analogs = {{"X", "", std::move(values)}};
  return record;
}

TEST(Comtrade, IsWrittenByteForByte) {
  const TComtradeFiles files = ComtradeOf(Feeder());
  EXPECT_EQ(files.Cfg,
            "Boiler house,Relay 17,1999\r\n"
            "3,2A,1D\r\n"
            "1,Ia,,,A,1,0,0,-900,899,1,1,P\r\n"
            "2,Ua,,,kV,0.01,0,0,-625,630,1,1,P\r\n"
            "1,Trip,,,0\r\n"
            "50\r\n"
            "1\r\n"
            "4000,3\r\n"
            "03/07/2026,12:34:56.000250\r\n"
            "03/07/2026,12:34:56.000250\r\n"
            "ASCII\r\n"
            "1\r\n");
  EXPECT_EQ(files.Dat,
            "1,0,0,630,0\r\n"
            "2,250,-900,99999,1\r\n"
            "3,500,899,-625,1\r\n");
}

TEST(Comtrade, DigitalChannelsMayStandAlone) {
  TComtradeRecord record;
  record.Digitals = {{"A", {true}}, {"B", {false}}};
  const TComtradeFiles files = ComtradeOf(record);
  EXPECT_THAT(files.Cfg, testing::StartsWith(",,1999\r\n2,0A,2D\r\n1,A,,,0\r\n2,B,,,0\r\n50\r\n"));
  EXPECT_EQ(files.Dat, "1,0,1,0\r\n");
}

TEST(Comtrade, ChoosesTheStepThatKeepsTheValues) {
  const struct {
    const char* Case;
    std::vector<double> Values;
    const char *A, *B, *X;
  } cases[] = {
      {"whole numbers", {1, -2, 65535}, "1", "0", "1 -2 65535"},
      {"the greatest and the least", {-99999, 99998}, "1", "0", "-99999 99998"},
      {"the mark of a missing value", {0, 99999}, "1", "50000", "-50000 49999"},
      {"far from 0", {1e8 + 1, 1e8 + 3}, "1", "100000002", "-1 1"},
      {"as far apart as can be", {100000, 299997}, "1", "199999", "-99999 99998"},
      {"decimals", {66.6, -0.5, 20}, "0.1", "0", "666 -5 200"},
      {"a sum of decimals", {0.1 + 0.2, 0.7}, "0.1", "0", "3 7"},
      {"small decimals", {0.000002, 0.000001}, "1e-06", "0", "2 1"},
      {"decimals far from 0", {5000.25, 5000.75}, "0.01", "5000.5", "-25 25"},
      {"a fraction without end", {1.0 / 3}, "1", "0.3333333333333333", "0"},
      {"missing", {kNone, kInfinite, -kInfinite}, "1", "0", "99999 99999 99999"},
      {"missing among others", {kNone, 5}, "1", "0", "99999 5"},
      {"zero", {0, -0.0}, "1", "0", "0 0"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.Case);
    const TComtradeFiles files = ComtradeOf(OneChannel(test.Values));
    const TStringDynArray fields = Split(Split(files.Cfg, '\n').at(2), ',');
    EXPECT_EQ(fields.at(5), test.A);
    EXPECT_EQ(fields.at(6), test.B);
    std::string steps;
    for (const std::string& line : Split(Trim(files.Dat), '\n')) {
      steps += (steps.empty() ? "" : " ") + Trim(Split(line, ',').at(2));
    }
    EXPECT_EQ(steps, test.X);
  }
}

/// What a reader of the files finds.
struct TFound {
  TStringDynArray Cfg, Names;
  std::vector<TStringDynArray> Data;
  std::vector<std::vector<double>> Values;  // of each analogue channel; missing is NaN
};

double Real(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  EXPECT_EQ(*end, '\0') << text;
  return value;
}

TStringDynArray LinesOf(const std::string& text) {
  TStringDynArray lines = Split(text, '\n');
  EXPECT_EQ(lines.back(), "");
  lines.pop_back();
  for (std::string& line : lines) {
    EXPECT_EQ(line.back(), '\r');
    line.pop_back();
  }
  return lines;
}

TFound Read(const TComtradeFiles& files) {
  TFound found;
  found.Cfg = LinesOf(files.Cfg);
  for (const std::string& line : LinesOf(files.Dat)) found.Data.push_back(Split(line, ','));
  const TStringDynArray counts = Split(found.Cfg.at(1), ',');
  const int analogs = std::stoi(counts.at(1)), digitals = std::stoi(counts.at(2));
  EXPECT_EQ(std::stoi(counts.at(0)), analogs + digitals);
  EXPECT_EQ(std::ssize(found.Cfg), 9 + analogs + digitals);
  for (int channel = 0; channel < analogs; ++channel) {
    const auto at = static_cast<std::size_t>(channel) + 2;
    const TStringDynArray fields = Split(found.Cfg.at(at), ',');
    EXPECT_EQ(fields.size(), 13U);
    EXPECT_EQ(std::stoi(fields.at(0)), channel + 1);
    found.Names.push_back(fields.at(1));
    found.Values.emplace_back();
    for (const TStringDynArray& record : found.Data) {
      const int x = std::stoi(record.at(at));
      EXPECT_TRUE(-99999 <= x && x <= 99999) << x;
      if (x != 99999) {
        EXPECT_LE(std::stoi(fields.at(8)), x);
        EXPECT_GE(std::stoi(fields.at(9)), x);
      }
      const double value = Real(fields.at(5)) * x + Real(fields.at(6));
      found.Values.back().push_back(x == 99999 ? kNone : value);
    }
  }
  for (const TStringDynArray& record : found.Data) {
    EXPECT_EQ(std::ssize(record), 2 + analogs + digitals);
  }
  return found;
}

// Any curve is read back to a 200,000th of its range.
TEST(Comtrade, RandomCurvesAreReadBack) {
  std::mt19937 random(4711);
  std::uniform_real_distribution<double> share(-1, 1);
  std::uniform_int_distribution<int> exponent(-30, 30);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    const double size = std::pow(10, exponent(random)), offset = std::pow(10, exponent(random));
    std::vector<double> values;
    for (int i = 0; i < 20; ++i) values.push_back(i == 7 ? kNone : size * share(random) + offset);
    const TFound found = Read(ComtradeOf(OneChannel(values)));
    ASSERT_EQ(found.Values.at(0).size(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (std::isnan(values[i])) {
        EXPECT_TRUE(std::isnan(found.Values[0][i]));
      } else {
        EXPECT_NEAR(found.Values[0][i], values[i],
                    size / 199996 * 1.001 + 4e-15 * std::abs(values[i]));
      }
    }
  }
}

TEST(Comtrade, ValuesAtTheEndsOfADoubleStayInRange) {
  constexpr double kMost = std::numeric_limits<double>::max();
  constexpr double kTiny = std::numeric_limits<double>::denorm_min();
  for (const std::vector<double>& values : {std::vector{-kMost, kMost, 0.0},
                                            {kMost, kMost},
                                            {kTiny, 0.0, -kTiny},
                                            {0.0, 280000 * kTiny, 140000 * kTiny},
                                            {1e15, 1e15 + 0.125}}) {
    const TFound found = Read(ComtradeOf(OneChannel(values)));
    const auto [low, high] = std::ranges::minmax(values);
    const double tolerance = (high / 2 - low / 2) / 99998 * 2 + 1e-300;
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_NEAR(found.Values[0][i], values[i], tolerance);
    }
  }
}

TEST(Comtrade, NamesEndNeitherTheirFieldNorTheirLine) {
  TComtradeRecord record = Feeder();
  record.Station = "Hall 1, left\r\nside";
  record.Device = std::string(70, 'd');
  record.Analogs[0].Name = "Ток,\tфаза A" + std::string(80, 'x');
  record.Analogs[0].Unit = "м/с,";
  record.Digitals[0].Name = "On\nOff";
  const TFound found = Read(ComtradeOf(record));
  EXPECT_EQ(found.Cfg.at(0), "Hall 1; left  side," + std::string(64, 'd') + ",1999");
  EXPECT_EQ(found.Names.at(0), "Ток; фаза A" + std::string(53, 'x'));
  EXPECT_THAT(found.Cfg.at(2), HasSubstr(",,,м/с;,1,0,"));
  EXPECT_EQ(found.Cfg.at(4), "1,On Off,,,0");
}

TEST(Comtrade, TimesFitTheirFields) {
  const struct {
    double Period;
    std::size_t Count;
    const char *Rate, *Unit, *Last;
  } cases[] = {
      {0.001, 3, "1000,3", "1", "2000"},
      {0.003, 2, "333.3333333333333,2", "1", "3000"},
      {60, 3, "0.016666666666666666,3", "1", "120000000"},
      {5000, 2, "2e-04,2", "1", "5000000000"},
      {5000, 3, "2e-04,3", "10", "1000000000"},
      {1e9, 2, "1e-09,2", "1000000", "1000000000"},
      {1e-9, 1500, "999999999.9999999,1500", "1", "1"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.Period);
    TComtradeRecord record = OneChannel(std::vector<double>(test.Count, 1));
    record.SamplePeriod = test.Period;
    record.LineFrequency = 16.7;
    const TFound found = Read(ComtradeOf(record));
    EXPECT_THAT(found.Cfg, ElementsAre(",,1999", "1,1A,0D", "1,X,,,,1,0,0,1,1,1,1,P", "16.7", "1",
                                       test.Rate, "01/01/1970,00:00:00.000000",
                                       "01/01/1970,00:00:00.000000", "ASCII", test.Unit));
    EXPECT_EQ(found.Data.back().at(0), std::to_string(test.Count));
    EXPECT_EQ(found.Data.back().at(1), test.Last);
  }
}

TEST(Comtrade, RefusesWhatIsNoRecord) {
  using TChange = void (*)(TComtradeRecord&);
  const struct {
    TChange Change;
    const char* Message;
  } cases[] = {
      {[](TComtradeRecord& r) { r.Analogs.clear(), r.Digitals.clear(); },
       "There is no channel to write"},
      {[](TComtradeRecord& r) { r = OneChannel({}); }, "There is no sample to write"},
      {[](TComtradeRecord& r) { r.Analogs[1].Values.pop_back(); },
       "The channel \"Ua\" has 2 samples, and the first channel 3"},
      {[](TComtradeRecord& r) { r.Digitals[0].Values.push_back(true); },
       "The channel \"Trip\" has 4 samples, and the first channel 3"},
      {[](TComtradeRecord& r) { r.SamplePeriod = 0; },
       "The sample period must be 1E-9 to 1E9 seconds, and is 0"},
      {[](TComtradeRecord& r) { r.SamplePeriod = kNone; },
       "The sample period must be 1E-9 to 1E9 seconds, and is nan"},
      {[](TComtradeRecord& r) { r.SamplePeriod = 2e9; },
       "The sample period must be 1E-9 to 1E9 seconds, and is 2e+09"},
  };
  for (const auto& test : cases) {
    TComtradeRecord record = Feeder();
    test.Change(record);
    EXPECT_THAT([&] { ComtradeOf(record); }, ThrowsMessage<Exception>(test.Message));
  }
}

TEST(Comtrade, NumbersDoNotFollowTheSeparatorOfTheProgram) {
  SetDecimalSeparator(',');
  const TComtradeFiles files = ComtradeOf(OneChannel({0.5, 1}));
  SetDecimalSeparator('.');
  EXPECT_THAT(files.Cfg, HasSubstr("1,X,,,,0.1,0,0,5,10,1,1,P\r\n"));
}

TEST(Comtrade, FilesAreAPair) {
  const TComtradeFiles files = ComtradeOf(Feeder());
  for (const char* name : {"fault", "fault.cfg", "fault.DAT"}) {
    SCOPED_TRACE(name);
    const TTempFolder folder;
    WriteComtrade(folder.File(name), Feeder());
    EXPECT_EQ(folder.Read("fault.cfg"), files.Cfg);
    EXPECT_EQ(folder.Read("fault.dat"), files.Dat);
  }
  const TTempFolder folder;
  WriteComtrade(folder.File("no 1.5"), Feeder());  // no extension of a pair
  EXPECT_EQ(folder.Read("no 1.5.cfg"), files.Cfg);
  EXPECT_THAT([] { WriteComtrade("/nowhere/fault", Feeder()); },
              ThrowsMessage<EStreamError>(HasSubstr("/nowhere/fault.dat")));
}

}  // namespace
}  // namespace OrvixModBus
