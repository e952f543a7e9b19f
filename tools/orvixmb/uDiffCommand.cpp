// The subcommand diff: what a device holds of a letter, compared with a snapshot or another device.

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "platform/rtl/uFormat.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uComparison.h"
#include "tools/orvixmb/uLetterSession.h"
#include "tools/orvixmb/uOutput.h"

namespace OrvixModBus {
namespace {

struct TDiffOptions {
  TLetterOptions Letter;
  std::string File;
  std::string WithPort;
  bool ExitCode = false;
  TOutputOptions Output;
};

// What differs, and what both sides are called.
struct TResult {
  std::vector<TDifference> Differences;
  std::vector<TRegisterRow> Rows;
  std::string Was, Now;
};

std::vector<TRegisterRow> RowsOf(TLetterSession& session) {
  session.Open();
  return session.Read();
}

TResult WithSnapshot(const TDiffOptions& options, TToolIo& io) {
  TLetterSession session(options.Letter, io);
  const TSnapshot snapshot = SnapshotNamed(options.File);
  std::vector<TRegisterRow> rows = RowsOf(session);
  return {Compare(snapshot, rows), std::move(rows), "snapshot", "now"};
}

// The second device is read once the first one's line is closed.
TResult WithDevice(const TDiffOptions& options, TToolIo& io) {
  TSnapshot first;
  {
    TLetterSession session(options.Letter, io);
    const std::vector<TRegisterRow> rows = RowsOf(session);
    RefuseErrors(rows);
    first = session.SnapshotOf(rows);
  }
  TLetterOptions other = options.Letter;
  other.Session.Port = options.WithPort;
  TLetterSession session(other, io);
  std::vector<TRegisterRow> rows = RowsOf(session);
  return {Compare(first, rows), std::move(rows), first.Port, options.WithPort};
}

void RunDiff(const TDiffOptions& options, TToolIo& io) {
  if (options.File.empty() == options.WithPort.empty()) {
    throw EUsageError("diff compares with FILE or --with-port: one of them is required");
  }
  const TResult result = options.File.empty() ? WithDevice(options, io) : WithSnapshot(options, io);
  const std::size_t differences = result.Differences.size();
  const std::string count = Format(differences == 1 ? "%d difference in the %d registers of %s"
                                                    : "%d differences in the %d registers of %s",
                                   {differences, result.Rows.size(), options.Letter.Letter});
  if (options.Output.Json) {
    PrintJson(io, ComparisonJson(result.Differences));
  } else {
    if (!result.Differences.empty()) {
      io.Out << TableText(ComparisonTable(result.Differences, result.Was, result.Now));
    }
    io.Out << count << std::endl;
  }
  RefuseErrors(result.Rows);
  if (options.ExitCode && !result.Differences.empty()) throw Exception(count);
}

}  // namespace

void AddDiffCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TDiffOptions>();
  CLI::App& command = AddSubcommand(
      app,
      {.Name = "diff",
       .Summary = "Compare a device with a snapshot, or with a second device",
       .Details = "Differences are no failure: the exit code is 0 unless --exit-code is given.",
       .Example = "orvixmb diff boiler.form --letter Settings before.json"},
      [options, &io] { RunDiff(*options, io); });
  AddLetterOptions(command, options->Letter);
  command.add_option("FILE", options->File, "a snapshot made by save");
  command.add_option("--with-port", options->WithPort, "the port of a second device, not FILE")
      ->type_name("PATH");
  command.add_flag("--exit-code", options->ExitCode, "end with exit code 1 when registers differ");
  AddJsonOption(command, options->Output);
}

}  // namespace OrvixModBus
