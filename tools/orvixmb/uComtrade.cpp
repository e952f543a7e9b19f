#include "tools/orvixmb/uComtrade.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFold.h"
#include "platform/rtl/uFormat.h"
#include "platform/rtl/uText.h"
#include "platform/rtl/uTextFile.h"

namespace OrvixModBus {
namespace {

// Limits of the standard's ASCII data file.
constexpr double kLeast = -99999, kGreatest = 99998;
constexpr int kMissing = 99999;
constexpr double kGreatestTimestamp = 9'999'999'999;
constexpr std::size_t kNameLength = 64, kUnitLength = 32;

constexpr int kMostDecimals = 9;
constexpr double kMostSteps = 1e9;
constexpr double kDecimalError = 1e-15;  // relative: decimals are not exact as doubles

constexpr double kLeastPeriod = 1e-9, kGreatestPeriod = 1e9;  // seconds

constexpr const char* kLineEnd = "\r\n";

/// value = A * x + B.
struct TScale {
  double A = 1, B = 0;

  int Steps(double value) const { return static_cast<int>(std::lround((value - B) / A)); }
};

// The shortest text that is read back as the same double; no locale, no setting of this program.
std::string RealText(double value) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  return {text.data(), end};
}

// A name that does not end its field or its line.
std::string NameText(std::string_view text, std::size_t longest) {
  std::string name(Utf8Left(text, longest));
  for (char& c : name) {
    if (c == ',') c = ';';
    if (('\0' <= c && c < ' ') || c == '\x7f') c = ' ';
  }
  return name;
}

std::vector<double> Present(const std::vector<double>& values) {
  std::vector<double> present;
  std::ranges::copy_if(values, std::back_inserter(present),
                       [](double value) { return std::isfinite(value); });
  return present;
}

// The scale that keeps every value exactly as so many steps to the unit, if there is one.
std::optional<TScale> ExactScale(const std::vector<double>& values, double stepsToUnit) {
  const auto exact = [stepsToUnit](double value) {
    const double steps = value * stepsToUnit;
    return std::abs(steps) < kMostSteps &&
           std::abs(steps - std::round(steps)) <= kDecimalError * std::abs(steps);
  };
  if (!std::ranges::all_of(values, exact)) return std::nullopt;
  const auto [low, high] = std::ranges::minmax(values);
  const double least = std::round(low * stepsToUnit), greatest = std::round(high * stepsToUnit);
  if (kLeast <= least && greatest <= kGreatest) return TScale{1 / stepsToUnit, 0};
  if (greatest - least > kGreatest - kLeast) return std::nullopt;
  return TScale{1 / stepsToUnit, std::ceil((least + greatest) / 2) / stepsToUnit};
}

// Spreads the values over all steps. Halves first: the sum of two doubles may be infinite. A step
// too small for a double of full precision would not hold them; their middle does then.
TScale RangeScale(const std::vector<double>& values) {
  const auto [low, high] = std::ranges::minmax(values);
  const double middle = low / 2 + high / 2;
  const double step = std::max(high - middle, middle - low) / kGreatest;
  return {std::isnormal(step) ? step : 1, middle};
}

TScale ScaleOf(const std::vector<double>& present) {
  if (present.empty()) return {};
  double stepsToUnit = 1;
  for (int decimals = 0; decimals <= kMostDecimals; ++decimals) {
    if (const auto scale = ExactScale(present, stepsToUnit)) return *scale;
    stepsToUnit *= 10;
  }
  return RangeScale(present);
}

struct TScaledChannel {
  TScale Scale;
  int Least = 0, Greatest = 0;
  std::vector<int> Steps;
};

TScaledChannel Scaled(const TComtradeAnalog& channel) {
  const std::vector<double> present = Present(channel.Values);
  TScaledChannel scaled;
  scaled.Scale = ScaleOf(present);
  if (!present.empty()) {
    const auto [low, high] = std::ranges::minmax(present);
    scaled.Least = scaled.Scale.Steps(low);
    scaled.Greatest = scaled.Scale.Steps(high);
  }
  for (const double value : channel.Values) {
    scaled.Steps.push_back(std::isfinite(value) ? scaled.Scale.Steps(value) : kMissing);
  }
  return scaled;
}

template <typename TChannel>
void CheckLength(const std::vector<TChannel>& channels, std::size_t count) {
  for (const TChannel& channel : channels) {
    if (channel.Values.size() == count) continue;
    throw Exception(Format("The channel \"%s\" has %u samples, and the first channel %u",
                           {channel.Name, channel.Values.size(), count}));
  }
}

std::size_t SampleCount(const TComtradeRecord& record) {
  if (record.Analogs.empty() && record.Digitals.empty()) {
    throw Exception("There is no channel to write");
  }
  const std::size_t count = record.Analogs.empty() ? record.Digitals.front().Values.size()
                                                   : record.Analogs.front().Values.size();
  CheckLength(record.Analogs, count);
  CheckLength(record.Digitals, count);
  if (count == 0) throw Exception("There is no sample to write");
  return count;
}

void CheckPeriod(double seconds) {
  if (kLeastPeriod <= seconds && seconds <= kGreatestPeriod) return;
  throw Exception("The sample period must be 1E-9 to 1E9 seconds, and is " + RealText(seconds));
}

// Microseconds of a unit of the time stamps: 1, or where they would be too long, 10, 100, ...
double TimeUnit(const TComtradeRecord& record, std::size_t count) {
  double unit = 1;
  const double last = static_cast<double>(count - 1) * record.SamplePeriod * 1e6;
  while (last / unit >= kGreatestTimestamp) unit *= 10;
  return unit;
}

// "03/07/2026,12:34:56.000250".
std::string TimeText(std::chrono::sys_time<std::chrono::microseconds> time) {
  using namespace std::chrono;
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  return Format("%.2d/%.2d/%.4d,%.2d:%.2d:%.2d.%.6d",
                {static_cast<unsigned>(date.day()), static_cast<unsigned>(date.month()),
                 static_cast<int>(date.year()), clock.hours().count(), clock.minutes().count(),
                 clock.seconds().count(), clock.subseconds().count()});
}

// An,ch_id,ph,ccbm,uu,a,b,skew,min,max,primary,secondary,PS
std::string AnalogLine(std::size_t number, const TComtradeAnalog& channel,
                       const TScaledChannel& scaled) {
  return Format(
             "%u,%s,,,%s,%s,%s,0,%d,%d,1,1,P",
             {number, NameText(channel.Name, kNameLength), NameText(channel.Unit, kUnitLength),
              RealText(scaled.Scale.A), RealText(scaled.Scale.B), scaled.Least, scaled.Greatest}) +
         kLineEnd;
}

std::string CfgText(const TComtradeRecord& record, const std::vector<TScaledChannel>& scaled,
                    std::size_t count, double timeUnit) {
  const std::size_t analogs = record.Analogs.size(), digitals = record.Digitals.size();
  std::string text = NameText(record.Station, kNameLength) + "," +
                     NameText(record.Device, kNameLength) + ",1999" + kLineEnd;
  text += Format("%u,%uA,%uD", {analogs + digitals, analogs, digitals}) + kLineEnd;
  for (std::size_t i = 0; i < analogs; ++i) {
    text += AnalogLine(i + 1, record.Analogs[i], scaled[i]);
  }
  for (std::size_t i = 0; i < digitals; ++i) {  // Dn,ch_id,ph,ccbm,y
    text += Format("%u,%s,,,0", {i + 1, NameText(record.Digitals[i].Name, kNameLength)}) + kLineEnd;
  }
  const std::string time = TimeText(record.Start);
  for (const std::string& line :
       {RealText(record.LineFrequency), std::string("1"),
        RealText(1 / record.SamplePeriod) + "," + std::to_string(count), time, time,
        std::string("ASCII"), std::to_string(std::llround(timeUnit))}) {
    text += line + kLineEnd;
  }
  return text;
}

// n,timestamp,A1,...,Ak,D1,...,Dm
std::string DatText(const TComtradeRecord& record, const std::vector<TScaledChannel>& scaled,
                    std::size_t count, double timeUnit) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    const double time = static_cast<double>(i) * record.SamplePeriod * 1e6 / timeUnit;
    text += std::to_string(i + 1) + "," + std::to_string(std::llround(time));
    for (const TScaledChannel& channel : scaled) text += "," + std::to_string(channel.Steps[i]);
    for (const TComtradeDigital& channel : record.Digitals) text += channel.Values[i] ? ",1" : ",0";
    text += kLineEnd;
  }
  return text;
}

}  // namespace

TComtradeFiles ComtradeOf(const TComtradeRecord& record) {
  const std::size_t count = SampleCount(record);
  CheckPeriod(record.SamplePeriod);
  std::vector<TScaledChannel> scaled;
  for (const TComtradeAnalog& channel : record.Analogs) scaled.push_back(Scaled(channel));
  const double timeUnit = TimeUnit(record, count);
  return {CfgText(record, scaled, count, timeUnit), DatText(record, scaled, count, timeUnit)};
}

void WriteComtrade(const std::string& name, const TComtradeRecord& record) {
  const TComtradeFiles files = ComtradeOf(record);
  std::filesystem::path path(name);
  const std::string extension = path.extension();
  if (SameText(extension, ".cfg") || SameText(extension, ".dat")) path.replace_extension();
  WriteWholeFile(path.string() + ".dat", files.Dat);
  WriteWholeFile(path.string() + ".cfg", files.Cfg);  // whoever sees it finds the data, too
}

}  // namespace OrvixModBus
