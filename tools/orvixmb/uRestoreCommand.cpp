// The subcommand restore: a snapshot, back into the device.

#include <memory>

#include "platform/rtl/uFold.h"
#include "platform/rtl/uFormat.h"
#include "platform/rtl/uText.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uComparison.h"
#include "tools/orvixmb/uLetterSession.h"
#include "tools/orvixmb/uLetterWriter.h"
#include "tools/orvixmb/uOutput.h"

namespace OrvixModBus {
namespace {

struct TRestoreOptions {
  TLetterOptions Letter;
  std::string File;
  bool Yes = false;
};

std::string Registers(std::size_t count) {
  return Format(count == 1 ? "%d register" : "%d registers", {count});
}

TRestorePlan PlanOf(const std::vector<TDifference>& differences, const TMBRegs& regs) {
  try {
    return PlanRestore(differences, regs);
  } catch (const Exception& error) {
    throw EUsageError(error.what());
  }
}

// What the snapshot has becomes the new value.
void PrintPlan(const TRestorePlan& plan, TToolIo& io) {
  if (!plan.NotRestorable.empty()) {
    TTextTable table{{{"name"}, {"is not restored because"}}, {}};
    for (const TNotRestorable& each : plan.NotRestorable) {
      table.Rows.push_back({each.Difference.Register().Name, each.Reason});
    }
    io.Out << TableText(table);
  }
  if (!plan.Writes.empty()) io.Out << TableText(ComparisonTable(plan.Writes));
}

bool Confirmed(const std::string& question, TToolIo& io) {
  io.Out << question << " [y/N] " << std::flush;
  std::string answer;
  std::getline(io.In, answer);
  if (!io.In || !io.OutIsTerminal) io.Out << std::endl;  // there is no echo
  answer = Trim(answer);
  return SameText(answer, "y") || SameText(answer, "yes");
}

std::vector<TRegWrite> WritesOf(const TRestorePlan& plan, const TMBRegs& regs) {
  std::vector<TRegWrite> writes;
  for (const TDifference& difference : plan.Writes) {
    writes.push_back({regs.GetItem(difference.Index), difference.Was->Raw});
  }
  return writes;
}

void RunRestore(const TRestoreOptions& options, TToolIo& io) {
  TLetterSession session(options.Letter, io);
  const TSnapshot snapshot = SnapshotNamed(options.File);
  session.Open();
  const TMBRegs& regs = session.Letter().Regs();
  const std::vector<TRegisterRow> rows = session.Read();
  const TRestorePlan plan = PlanOf(Compare(snapshot, rows), regs);
  io.Out << Format("%s: letter %s of server %d at %s, %s\n",
                   {options.File, snapshot.Letter, snapshot.Server, snapshot.Port, snapshot.When});
  PrintPlan(plan, io);
  if (plan.Writes.empty()) {
    io.Out << "There is nothing to write" << std::endl;
    return RefuseErrors(rows);
  }
  const std::string what = Registers(plan.Writes.size());
  const std::string question = "Write " + what + " to " + session.Source() + "?";
  if (!options.Yes && !Confirmed(question, io)) throw Exception("Nothing was written");
  const TWritten written = WriteRegisters(session.Letter(), WritesOf(plan, regs));
  if (!written.Problem.empty()) throw Exception(written.Problem);
  io.Out << what << " written, read back and found the same" << std::endl;
  RefuseErrors(rows);
}

}  // namespace

void AddRestoreCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TRestoreOptions>();
  CLI::App& command =
      AddSubcommand(app,
                    {.Name = "restore",
                     .Summary = "Write a snapshot back into the device",
                     .Details = "Shows what differs, asks, writes only that, and reads it back.",
                     .Example = "orvixmb restore boiler.form --letter Settings before.json"},
                    [options, &io] { RunRestore(*options, io); });
  AddLetterOptions(command, options->Letter);
  command.add_option("FILE", options->File, "a snapshot made by save")->required();
  command.add_flag("--yes", options->Yes, "write without asking");
}

}  // namespace OrvixModBus
