#pragma once
// uComtrade: waveforms as a pair of files that waveform viewers open, IEEE C37.111-1999
// (COMTRADE) with ASCII data.

#include <chrono>
#include <string>
#include <vector>

namespace OrvixModBus {

/// A curve in its real unit. A value that is no finite number is missing.
struct TComtradeAnalog {
  std::string Name, Unit;
  std::vector<double> Values;
};

struct TComtradeDigital {
  std::string Name;
  std::vector<bool> Values;
};

/// Channels of as many values each, sampled together.
struct TComtradeRecord {
  std::string Station, Device;
  std::vector<TComtradeAnalog> Analogs;
  std::vector<TComtradeDigital> Digitals;
  double SamplePeriod = 0.001;  ///< seconds, 1E-9 to 1E9
  double LineFrequency = 50;    ///< Hz, of the network that is measured
  /// Of the first sample, and of the trigger, since no other is known.
  std::chrono::sys_time<std::chrono::microseconds> Start;
};

struct TComtradeFiles {
  std::string Cfg, Dat;
};

/// The texts of both files, in UTF-8 with line ends of CR LF. The values of a channel become whole
/// numbers x of -99999 to 99998 with value = a * x + b: whole numbers that fit stay as they are (a
/// = 1, b = 0), decimals stay exact where a step of 1, 0.1, 0.01, ... allows, all others are
/// rounded to a 200,000th of their range. A missing value is 99999. Commas in names become
/// semicolons, control characters blanks, and what the standard finds too long is cut. Throws
/// Exception for no channel, no sample, channels of different length, a period out of range.
TComtradeFiles ComtradeOf(const TComtradeRecord& record);

/// Writes name.cfg and name.dat; name may have either extension already. EStreamError names the
/// file that can't be written.
void WriteComtrade(const std::string& name, const TComtradeRecord& record);

}  // namespace OrvixModBus
