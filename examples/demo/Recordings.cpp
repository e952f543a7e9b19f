#include "Recordings.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <limits>

#include "Plant.h"
#include "Waiting.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uTextFile.h"
#include "tools/display/uProgressBar.h"
#include "tools/display/uTextTable.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kShownRecords = 5;  // of the first, and of the last

// "2026-09-14 06:41" from seconds since 1970, big-endian.
std::string TimeText(const Bytes& data) {
  using namespace std::chrono;
  const auto time = sys_seconds(seconds(TMBLib::ByteArToCardinal(data)));
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()));
  return text;
}

TRegValue DecodeTime(TObject& /*sender*/, TMBRegTypeStructure& field, const Bytes& data,
                     const Bytes& /*line*/, bool& done) {
  TRegValue value;
  done = field.Name() == "Time" && data.size() == 4;
  if (done) value.Srt = TimeText(data);
  return value;
}

// Bytes of a block of the structure: up to the end of its last field.
std::int32_t LengthOf(const TMBTypeInfo& types, const char* structur) {
  const auto fields = types.TypeStructurs().ItemsByStructurName(structur);
  return fields.back()->Offset() + fields.back()->Size();
}

TCapture CaptureOf(const TStringDynArray& values) {
  return {values.at(0), values.at(1), StrToFloat(values.at(2)) / 1000, StrToInt(values.at(3)),
          static_cast<std::uint16_t>(StrToInt(values.at(4)))};
}

// Curves of the same unit share a panel.
std::vector<TPlotPanel> PanelsFor(const TMBRegTypeStructurs::TItems& fields) {
  std::vector<TPlotPanel> panels;
  for (const TMBRegTypeStructure* field : fields) {
    if (panels.empty() || panels.back().Unit != field->Caption()) {
      panels.push_back({field->Caption(), {}});
    }
    panels.back().Curves.push_back({field->Name(), {}});
  }
  return panels;
}

void AddPoint(std::vector<TPlotPanel>& panels, const TStringDynArray& values) {
  std::size_t at = 0;
  for (TPlotPanel& panel : panels) {
    for (TPlotCurve& curve : panel.Curves) {
      double value = std::numeric_limits<double>::quiet_NaN();
      if (at < values.size()) TryStrToFloat(values[at], value);
      curve.Values.push_back(value);
      ++at;
    }
  }
}

}  // namespace

TPlantRecorder::TPlantRecorder(TMBClient& client, TMBTypeInfo& types)
    : fClient(client), fTypes(types) {
  fLog.SetOneRecordLength(LengthOf(types, kEventStructur));
  fLog.SetMBClient(&client);
  fOscillograms.SetOscilInfoLength(LengthOf(types, kCaptureStructur));
  fOscillograms.SetOscilDataLength(LengthOf(types, kSampleStructur));
  fOscillograms.SetMBClient(&client);
}

TStringDynArray TPlantRecorder::ValuesOf(const char* structur, const Bytes& record) {
  return fTypes.TypeStructurs().ValuesByStructurName(structur, record, fTypes, DecodeTime);
}

bool TPlantRecorder::ReadLog(bool all) {
  fLog.ReadCountItem();
  if (!AllAnswered(fClient, "Counting the log's records")) return false;
  const std::int32_t count = fLog.ItemCount();
  if (count < 1) return true;
  std::printf("\nLog: %d records of the %d that were ever written.\n", count, fLog.TotalItem());
  if (count > TMBLogFunction::kMaxItemNumber) {
    std::printf("It can't be read whole: item numbers are one byte and end at %d.\n",
                TMBLogFunction::kMaxItemNumber);
    return true;
  }
  if (!ReadRecords(static_cast<std::size_t>(count))) return false;
  PrintLog(all);
  return true;
}

bool TPlantRecorder::ReadRecords(std::size_t count) {
  TProgressBar bar("Reading the log");
  fRecords.clear();
  fLog.OnGetRecord = [&](TObject&, const Bytes& record) {
    fRecords.push_back(record);
    bar.Show(fRecords.size(), count);
  };
  fLog.ReadAllItems();
  const bool complete = AllAnswered(fClient, "Reading the log");
  fLog.OnGetRecord = {};
  return complete;
}

void TPlantRecorder::PrintLog(bool all) {
  TTextTable table{{{"record"}}, {}};
  TStringDynArray units = {""};
  for (const TMBRegTypeStructure* field :
       fTypes.TypeStructurs().ItemsByStructurName(kEventStructur)) {
    table.Columns.push_back({field->Name()});
    units.push_back(field->Caption());
  }
  table.Rows = {units};
  const std::size_t count = fRecords.size();
  for (std::size_t i = 0; i < count; ++i) {
    const bool shown = all || i < kShownRecords || i + kShownRecords >= count;
    if (!shown && i == kShownRecords) table.Rows.push_back({"..."});
    if (!shown) continue;
    table.Rows.push_back({std::to_string(i + 1)});
    std::ranges::copy(ValuesOf(kEventStructur, fRecords[i]), std::back_inserter(table.Rows.back()));
  }
  std::printf("%s", TableText(table).c_str());
}

bool TPlantRecorder::DrawOscillogram(const std::string& picture) {
  fOscillograms.ReadCountItem();
  if (!AllAnswered(fClient, "Counting the oscillograms")) return false;
  const std::int32_t newest = fOscillograms.ItemCount();
  if (newest < 1 || newest > 0xFF) return true;
  TStringDynArray description;
  fOscillograms.OnGetOscilInfo = [&](TObject&, const Bytes& info) {
    description = ValuesOf(kCaptureStructur, info);
  };
  fOscillograms.RaedOscilInfo(static_cast<std::uint8_t>(newest));
  const bool described = AllAnswered(fClient, "Reading the oscillogram's description");
  fOscillograms.OnGetOscilInfo = {};
  if (!described || description.empty()) return described;
  const TCapture capture = CaptureOf(description);
  std::printf("\nOscillogram %d of %d: \"%s\", %s, %d records, one in %g ms.\n", newest,
              fOscillograms.TotalItem(), capture.Title.c_str(), capture.Trigger.c_str(),
              capture.Records, capture.IntervalMs);
  if (!ReadSamples(static_cast<std::uint8_t>(newest), capture.Records)) return false;
  WriteWholeFile(picture, SvgOf(PlotOf(capture)));
  std::printf("Picture: %s\n", std::filesystem::absolute(picture).c_str());
  return true;
}

bool TPlantRecorder::ReadSamples(std::uint8_t oscillogram, std::uint16_t count) {
  TProgressBar bar("Reading the oscillogram");
  fRecords.assign(count, {});
  std::size_t read = 0;
  fOscillograms.OnGetOscilData = [&](TObject&, std::uint16_t, std::uint16_t record,
                                     const Bytes& data) {
    if (record < 1 || record > count) return;  // the last batch may hold more
    fRecords[record - 1U] = data;
    bar.Show(++read, count);
  };
  fOscillograms.ReadOscilData(oscillogram, count);
  const bool complete = AllAnswered(fClient, "Reading the oscillogram");
  fOscillograms.OnGetOscilData = {};
  return complete;
}

TPlot TPlantRecorder::PlotOf(const TCapture& capture) {
  TPlot plot;
  plot.Title = capture.Title + ", " + capture.Trigger;
  plot.Axis = "Time after the trigger, ms";
  plot.First = -capture.Before * capture.IntervalMs;
  plot.Step = capture.IntervalMs;
  plot.Panels = PanelsFor(fTypes.TypeStructurs().ItemsByStructurName(kSampleStructur));
  for (const Bytes& record : fRecords) AddPoint(plot.Panels, ValuesOf(kSampleStructur, record));
  return plot;
}

}  // namespace OrvixModBus
