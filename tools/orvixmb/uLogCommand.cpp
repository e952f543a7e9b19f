// The subcommand log: the records of a device's log.

#include <memory>
#include <nlohmann/json.hpp>

#include "platform/rtl/uFormat.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uJsonText.h"
#include "tools/orvixmb/uRecordings.h"
#include "uMBLogCustomFunctions.h"

namespace OrvixModBus {
namespace {

constexpr int kMostRecords = TMBLogFunction::kMaxItemNumber;

struct TLogOptions {
  TRecordingOptions Recording;
  int From = 1;
};

// What is not as the user may think.
void NoteCount(const std::string& log, int count, int from, TToolIo& io) {
  if (count == 0) {
    io.Err << "orvixmb: " << log << " has no record" << std::endl;
  } else if (from > count) {
    io.Err << Format("orvixmb: %s has %d records, none from %d on", {log, count, from})
           << std::endl;
  } else if (count > kMostRecords) {
    io.Err << Format(
                  "orvixmb: %s has %d records; those after %d can't be asked for, since their "
                  "numbers have one byte",
                  {log, count, kMostRecords})
           << std::endl;
  }
}

TRecordRange RangeOf(TItemReader& reader, int first, int count, std::size_t length) {
  const auto ask = [&reader](int item, int number) {
    return reader.Ask({0, static_cast<std::uint8_t>(item), 0, static_cast<std::uint8_t>(number)});
  };
  return {first, std::min(count, kMostRecords), length, ask};
}

int CountOf(TItemReader& reader, const std::string& log) {
  try {
    return reader.Count();
  } catch (const Exception& error) {
    throw Exception(log + ": " + error.what());
  }
}

void RunLog(const TLogOptions& options, TToolIo& io) {
  const TRecordingOptions& wanted = options.Recording;
  TFormSession session(wanted.Session, io);
  const auto& log = session.Named<TMBLogFunction>("log", wanted.Component);
  TMBClient& client = ClientOf(session, log);
  const TRecordLayout layout =
      LayoutOf(session, wanted, log, "OneRecordLength", log.OneRecordLength());
  session.Open(client);
  TItemReader reader(log);
  const int count = CountOf(reader, log.Name());
  NoteCount(log.Name(), count, options.From, io);
  const TRecording recording =
      ReadShown(RangeOf(reader, options.From, count, layout.Length), wanted, io);
  const std::string text = wanted.Output.Json ? JsonText(RecordsJson(recording, layout.Structure))
                                              : RecordsText(recording, layout, wanted.Output);
  Deliver(recording, layout, wanted, {log.Name(), client.Name(), log.Name()}, text, io);
  if (recording.Problem.empty()) return;
  throw Exception(
      Format("%s: %s; go on with --from %d", {log.Name(), recording.Problem, recording.Next()}));
}

}  // namespace

void AddLogCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TLogOptions>();
  CLI::App& command =
      AddSubcommand(app,
                    {.Name = "log",
                     .Summary = "Read a log ($20, $24) and show its records",
                     .Details = "When the line fails midway, those that have come are shown, and "
                                "--from goes on behind them.",
                     .Example = "orvixmb log boiler.form Events --structure Event --csv"},
                    [options, &io] { RunLog(*options, io); });
  AddRecordingOptions(command, options->Recording, "log");
  command.add_option("--from", options->From, "begin with this record; the first is 1")
      ->check(CLI::Range(1, kMostRecords))
      ->type_name("N");
}

}  // namespace OrvixModBus
