// The subcommand save: what a device holds of a letter, into a file.

#include <algorithm>
#include <memory>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uTextFile.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uLetterSession.h"

namespace OrvixModBus {
namespace {

struct TSaveOptions {
  TLetterOptions Letter;
  std::string File;
  bool DataFile = false;
  std::string Header;
  bool Partial = false;
};

bool WasRead(const TRegisterRow& row) { return row.Error.empty(); }

// A register without data has no line in the file.
void WriteDataFile(TMBRegs& regs, const std::vector<TRegisterRow>& rows,
                   const TSaveOptions& options) {
  for (const TRegisterRow& row : rows) {
    if (!WasRead(row)) regs.GetItem(row.Index)->SetRegData({});
  }
  regs.SaveRegsDataToFile(options.File, options.Header);
}

void WriteFile(TLetterSession& session, const std::vector<TRegisterRow>& rows,
               const TSaveOptions& options) {
  try {
    if (options.DataFile) {
      WriteDataFile(session.Letter().Regs(), rows, options);
    } else {
      WriteSnapshotFile(options.File, session.SnapshotOf(rows));
    }
  } catch (const EStreamError& error) {
    throw EUsageError(error.what());
  }
}

void RunSave(const TSaveOptions& options, TToolIo& io) {
  TLetterSession session(options.Letter, io);
  session.Open();
  const std::vector<TRegisterRow> rows = session.Read();
  const auto read = std::ranges::count_if(rows, WasRead);
  const std::string count = Format("%d of %d registers", {read, rows.size()});
  if (std::cmp_less(read, rows.size()) && !options.Partial) {
    const auto bad = std::ranges::find_if_not(rows, WasRead);
    throw Exception(Format("Only %s could be read (%s: %s), so nothing was saved",
                           {count, bad->Name, bad->Error}));
  }
  WriteFile(session, rows, options);
  io.Out << count << " of letter " << session.Letter().Name() << " saved to " << options.File
         << std::endl;
}

}  // namespace

void AddSaveCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TSaveOptions>();
  CLI::App& command =
      AddSubcommand(app,
                    {.Name = "save",
                     .Summary = "Save what a device holds as a snapshot, for diff and restore",
                     .Details = "Nothing is saved when a register can't be read.",
                     .Example = "orvixmb save boiler.form --letter Settings before.json"},
                    [options, &io] { RunSave(*options, io); });
  AddLetterOptions(command, options->Letter);
  command.add_option("FILE", options->File, "the file, replaced if there is one")->required();
  command.add_flag("--partial", options->Partial, "save those registers that could be read");
  auto* const dataFile =
      command.add_flag("--data-file", options->DataFile,
                       "write a register data file, for programs that load one, in place of a "
                       "snapshot");
  command.add_option("--header", options->Header, "the first line of the register data file")
      ->needs(dataFile)
      ->type_name("TEXT");
}

}  // namespace OrvixModBus
