#include "tools/orvixmb/uRecordings.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "platform/rtl/uFirstError.h"
#include "platform/rtl/uFormat.h"
#include "platform/rtl/uTextFile.h"
#include "tools/display/uProgressBar.h"
#include "tools/orvixmb/uRecordCurves.h"

namespace OrvixModBus {
namespace {

bool WantsCurves(const TRecordingOptions& options) {
  return !options.Svg.empty() || !options.Comtrade.empty();
}

void CheckCurves(const std::string& form, const TMaybeStructure& structure) {
  if (!structure) throw EUsageError("--svg and --comtrade need --structure");
  const auto isNumber = [](const auto* field) { return field->RegType() == TRegType::rtNum; };
  if (std::ranges::any_of(structure->Fields(), isNumber)) return;
  throw EUsageError(form + ": structure " + structure->Name() + " has no number to draw");
}

void WriteCurves(const TRecording& recording, const TRecordLayout& layout,
                 const TRecordingOptions& options, const TCurveNames& names) {
  if (!WantsCurves(options) || recording.Records.empty()) return;
  const std::vector<TComtradeAnalog> curves = CurvesOf(recording, *layout.Structure);
  if (!options.Svg.empty()) {
    TPlot plot = PlotOf(curves, options.Interval, recording.First);
    plot.Title = names.Title;
    WriteWholeFile(options.Svg, SvgOf(plot));
  }
  if (options.Comtrade.empty()) return;
  using namespace std::chrono;
  TComtradeRecord record;
  record.Station = names.Station;
  record.Device = names.Device;
  record.Analogs = curves;
  record.SamplePeriod = options.Interval > 0 ? options.Interval / 1000 : 1;
  record.Start = floor<microseconds>(system_clock::now());
  WriteComtrade(options.Comtrade, record);
}

}  // namespace

void AddRecordingOptions(CLI::App& command, TRecordingOptions& options, const std::string& kind) {
  AddSessionOptions(command, options.Session);
  command.add_option("COMPONENT", options.Component, "the name of the " + kind + " in the form")
      ->required();
  command
      .add_option("--structure", options.Structure,
                  "the structure of the form that tells the fields of a record; bytes are shown "
                  "without it")
      ->type_name("NAME");
  AddOutputOptions(command, options.Output);
  command.add_option("--svg", options.Svg, "draw the numbers of the structure into this file")
      ->type_name("FILE");
  command
      .add_option("--comtrade", options.Comtrade,
                  "write them as NAME.cfg and NAME.dat (COMTRADE, IEEE C37.111-1999), dated by the "
                  "time of reading")
      ->type_name("NAME");
  command
      .add_option("--interval", options.Interval,
                  "milliseconds from one record to the next, for --svg and --comtrade; without it "
                  "the axis counts records, and COMTRADE files have one in a second")
      ->check(CLI::Range(1e-6, 1e12))
      ->type_name("MS");
}

TRecordLayout LayoutOf(const TFormSession& session, const TRecordingOptions& options,
                       const TMBItemFunction& component, const std::string& property,
                       std::int32_t length) {
  const std::string what = component.Name() + "." + property;
  if (length < 1 || length > TMBItemFunction::kMaxItemBytes) {
    throw EUsageError(
        Format("%s: %s is %d, but a reply holds records of 1 to %d bytes",
               {session.FormPath(), what, length, int{TMBItemFunction::kMaxItemBytes}}));
  }
  TRecordLayout layout{.Length = static_cast<std::size_t>(length), .Structure = {}};
  if (!options.Structure.empty()) {
    layout.Structure =
        StructureNamed(session.Root(), session.FormPath(), options.Structure, what, length);
  }
  if (WantsCurves(options)) CheckCurves(session.FormPath(), layout.Structure);
  return layout;
}

TMBClient& ClientOf(const TFormSession& session, const TMBItemFunction& component) {
  TMBClient* const client = component.MBClient();
  const std::string place = session.FormPath() + ": " + component.Name();
  if (client == nullptr) throw EUsageError(place + " has no client");
  if (client->IsEmul()) throw EUsageError(place + " has a client without a device: it is emulated");
  return *client;
}

TRecording ReadShown(const TRecordRange& range, const TRecordingOptions& options, TToolIo& io) {
  std::optional<TProgressBar> bar;
  if (io.ErrIsTerminal && !options.Session.Trace) bar.emplace(options.Component, stderr);
  const auto total = static_cast<std::uint64_t>(std::max(0, range.Last - range.First + 1));
  return ReadRecords(range, [&](std::size_t count) {
    if (bar) bar->Show(count, total);
  });
}

std::string RecordsText(const TRecording& recording, const TRecordLayout& layout,
                        const TOutputOptions& output) {
  return output.Csv ? CsvText(RecordsCsv(recording, layout.Structure))
                    : TableText(RecordsTable(recording, layout.Structure));
}

void Deliver(const TRecording& recording, const TRecordLayout& layout,
             const TRecordingOptions& options, const TCurveNames& names, const std::string& text,
             TToolIo& io) {
  TFirstError error;
  error.Run([&] { WriteCurves(recording, layout, options, names); });
  error.Run([&] { io.Out << text << std::flush; });
  error.Raise();
}

}  // namespace OrvixModBus
