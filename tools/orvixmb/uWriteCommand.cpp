// The subcommand write: values that a person enters, into the registers of a letter.

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "platform/rtl/uFold.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uEnteredValue.h"
#include "tools/orvixmb/uLetterSession.h"
#include "tools/orvixmb/uLetterWriter.h"
#include "tools/orvixmb/uOutput.h"

namespace OrvixModBus {
namespace {

struct TWriteOptions {
  TLetterOptions Letter;
  TStringDynArray Values;
  TOutputOptions Output;
};

// By its whole name: the letter itself finds Status for Status[3], too.
TMBReg& RegNamed(const TMBLetter& letter, const std::string& name) {
  TMBReg* const indexed = letter.Regs().GetItemByName(name);
  if (indexed != nullptr && SameText(indexed->Name(), name)) return *indexed;
  for (TMBReg* reg : letter.Regs().RegList()) {
    if (SameText(reg->Name(), name)) return *reg;
  }
  throw EUsageError("Letter " + letter.Name() + " has no register '" + name + "'");
}

TRegWrite WriteOf(const TMBLetter& letter, const std::string& entered) {
  const auto sign = entered.find('=');
  if (sign == std::string::npos) throw EUsageError("'" + entered + "' is not REG=VALUE");
  TMBReg& reg = RegNamed(letter, entered.substr(0, sign));
  const std::string obstacle = WriteObstacle(reg);
  if (!obstacle.empty()) throw EUsageError(entered + ": " + reg.Name() + " " + obstacle);
  return {&reg, EnteredBytes(reg, entered.substr(sign + 1))};
}

std::vector<TRegWrite> WritesOf(const TMBLetter& letter, const TStringDynArray& values) {
  std::vector<TRegWrite> writes;
  for (const std::string& entered : values) {
    const TRegWrite write = WriteOf(letter, entered);
    if (std::ranges::find(writes, write.Reg, &TRegWrite::Reg) != writes.end()) {
      throw EUsageError(entered + ": " + write.Reg->Name() + " has a value already");
    }
    writes.push_back(write);
  }
  return writes;
}

void RunWrite(const TWriteOptions& options, TToolIo& io) {
  TLetterSession session(options.Letter, io);
  const std::vector<TRegWrite> writes = WritesOf(session.Letter(), options.Values);
  session.Open();
  const TWritten written = WriteRegisters(session.Letter(), writes);
  if (options.Output.Json) {
    PrintJson(io, RowsJson(written.Rows));
  } else {
    io.Out << TableText(RowsTable(written.Rows));
  }
  if (!written.Problem.empty()) throw Exception(written.Problem);
}

}  // namespace

void AddWriteCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TWriteOptions>();
  CLI::App& command = AddSubcommand(
      app,
      {.Name = "write",
       .Summary = "Write registers of a letter, then read them back and show them",
       .Details = "All values are checked before anything is sent. A value is a number of the "
                  "register's unit, a name or a code of its list, texts of bits with commas "
                  "between them, or a text; $0102 (in quotes, for the shell) stands for bytes.",
       .Example = "orvixmb write boiler.form --letter Settings SetPoint=62.5 TankSetPoint=55"},
      [options, &io] { RunWrite(*options, io); });
  AddLetterOptions(command, options->Letter);
  command.add_option("VALUES", options->Values, "REG=VALUE for each register, in this order")
      ->required();
  AddJsonOption(command, options->Output);
}

}  // namespace OrvixModBus
