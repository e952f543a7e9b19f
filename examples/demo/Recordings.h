#pragma once
// Recordings: reads the plant's log and its oscillogram, and shows them.

#include <string>
#include <vector>

#include "tools/display/uSvgPlot.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {

/// What the description of an oscillogram says.
struct TCapture {
  std::string Title, Trigger;
  double IntervalMs;
  std::int32_t Before;  ///< records before the trigger
  std::uint16_t Records;
};

/// Every operation runs the loop until the device has answered; false as AllAnswered.
class TPlantRecorder : public TObject {
 public:
  TPlantRecorder(TMBClient& client, TMBTypeInfo& types);

  /// The log ($20): its records, cut by their structure, as a table; only the first and the last
  /// of a long one, unless all are wanted.
  bool ReadLog(bool all);
  /// The newest oscillogram ($41), drawn into a picture of that name.
  bool DrawOscillogram(const std::string& picture);

 private:
  TStringDynArray ValuesOf(const char* structur, const Bytes& record);
  bool ReadRecords(std::size_t count);
  void PrintLog(bool all);
  bool ReadSamples(std::uint8_t oscillogram, std::uint16_t count);
  TPlot PlotOf(const TCapture& capture);

  TMBClient& fClient;
  TMBTypeInfo& fTypes;
  TMBFunction20 fLog;
  TMBFunction41 fOscillograms;
  std::vector<Bytes> fRecords;  // of what was read last
};

}  // namespace OrvixModBus
