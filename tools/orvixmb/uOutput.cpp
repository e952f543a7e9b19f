#include "tools/orvixmb/uOutput.h"

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/loop/uLoop.h"
#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "tools/display/uWatchedTable.h"
#include "tools/orvixmb/uJsonText.h"

namespace OrvixModBus {
namespace {

using TTime = std::chrono::steady_clock::time_point;

// Empty when the text is a time between rounds.
std::string SecondsError(const std::string& text) {
  constexpr double kLeast = 0.01, kDay = 86400;
  double seconds = 0;
  if (TryStrToFloat(text, seconds) && seconds >= kLeast && seconds <= kDay) return {};
  return Format("'%s' is no number of seconds from 0.01 to 86400", {text});
}

void WaitTill(TTime time) {
  bool due = false;
  const auto timer = TLoop::Current().NewTimer([&due] { due = true; });
  timer->Start(time);
  while (!due) TLoop::Current().RunUntil([&due] { return due; }, std::chrono::hours(1));
}

// Prints each round of a watch, or the only one.
class TRounds {
 public:
  TRounds(TToolIo& io, const TOutputOptions& output, bool watched) : fIo(io), fOutput(output) {
    if (watched) fTable.emplace(io.OutIsTerminal, io.Colour);
  }

  void Print(std::span<const TRegisterRow> rows) {
    if (fOutput.Json) {
      fIo.Out << JsonText(RowsJson(rows), fTable.has_value());
    } else if (fOutput.Csv) {
      fIo.Out << CsvText(RowsCsv(rows));
    } else if (fTable) {
      fIo.Out << fTable->Next(RowsTable(rows), fIo.Height ? fIo.Height() : 0);
    } else {
      fIo.Out << TableText(RowsTable(rows));
    }
    fIo.Out.flush();
  }

 private:
  TToolIo& fIo;
  const TOutputOptions& fOutput;
  std::optional<TWatchedTable> fTable;
};

}  // namespace

void AddJsonOption(CLI::App& command, TOutputOptions& output) {
  command.add_flag("--json", output.Json, "print JSON");
}

void AddOutputOptions(CLI::App& command, TOutputOptions& output) {
  AddJsonOption(command, output);
  command.add_flag("--csv", output.Csv, "print comma-separated values")->excludes("--json");
}

void AddWatchOptions(CLI::App& command, TWatchOptions& watch, const std::string& count) {
  auto* const seconds =
      command.add_option("--watch", watch.Seconds, "go on reading, so many seconds apart")
          ->check(CLI::Validator(SecondsError, ""))
          ->type_name("SECONDS");
  command.add_option(count, watch.Count, "end after so many rounds")
      ->check(CLI::PositiveNumber)
      ->needs(seconds)
      ->type_name("N");
}

void PrintJson(TToolIo& io, const nlohmann::ordered_json& json) {
  io.Out << JsonText(json) << std::flush;
}

void PrintRows(TToolIo& io, const TOutputOptions& output, const TWatchOptions& watch,
               const std::function<std::vector<TRegisterRow>()>& read) {
  const bool watched = watch.Seconds > 0;
  const auto period = std::chrono::duration_cast<std::chrono::nanoseconds>(
      std::chrono::duration<double>(watch.Seconds));
  TRounds rounds(io, output, watched);
  for (std::uint32_t round = 1;; ++round) {
    const TTime begin = std::chrono::steady_clock::now();
    const std::vector<TRegisterRow> rows = read();
    rounds.Print(rows);
    if (!watched || round == watch.Count) return RefuseErrors(rows);
    WaitTill(begin + period);
  }
}

void RefuseErrors(std::span<const TRegisterRow> rows) {
  const auto bad = std::ranges::count_if(rows, [](const auto& row) { return !row.Error.empty(); });
  if (bad == 0) return;
  throw Exception(Format("%d of %d registers could not be read",
                         {static_cast<int>(bad), static_cast<int>(rows.size())}));
}

}  // namespace OrvixModBus
