// The subcommand read: letters of a form, once or again and again.

#include <algorithm>
#include <memory>

#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uLetterReader.h"
#include "tools/orvixmb/uOutput.h"

namespace OrvixModBus {
namespace {

struct TReadOptions {
  TSessionOptions Session;
  std::string Letter;
  TStringDynArray Names;
  TOutputOptions Output;
  TWatchOptions Watch;
};

// A letter, and which of its registers are read.
struct TPart {
  TMBLetter* Letter;
  TMBRegList Regs;
};

// The names of a letter's registers, or all when none are asked for. Names found leave missing.
TMBRegList Chosen(TMBLetter& letter, const TStringDynArray& names, TStringDynArray& missing) {
  if (names.empty()) return letter.Regs().RegList();
  TMBRegList chosen;
  for (const std::string& name : names) {
    TMBReg* const reg = letter.Regs().GetItemByName(name);
    if (reg == nullptr) continue;
    chosen.push_back(reg);
    std::erase(missing, name);
  }
  return chosen;
}

std::vector<TPart> PartsOf(TFormSession& session, const TReadOptions& options) {
  std::vector<TMBLetter*> letters = ComponentsOf<TMBLetter>(session.Root());
  if (!options.Letter.empty()) letters = {&session.Letter(options.Letter)};
  if (letters.empty()) throw EUsageError(session.FormPath() + " has no letter");
  TStringDynArray missing = options.Names;
  std::vector<TPart> parts;
  std::vector<TMBClient*> clients;
  for (TMBLetter* letter : letters) {
    TMBRegList regs = Chosen(*letter, options.Names, missing);
    if (regs.empty()) continue;
    clients.push_back(&session.ClientOf(*letter));
    parts.push_back({letter, std::move(regs)});
  }
  if (!missing.empty()) {
    throw EUsageError(session.FormPath() + " has no register '" + missing.front() + "'" +
                      (options.Letter.empty() ? "" : " in letter " + options.Letter));
  }
  session.Open(clients);
  return parts;
}

void RunRead(const TReadOptions& options, TToolIo& io) {
  TFormSession session(options.Session, io);
  const std::vector<TPart> parts = PartsOf(session, options);
  PrintRows(io, options.Output, options.Watch, [&] {
    std::vector<TRegisterRow> rows;
    for (const TPart& part : parts)
      std::ranges::move(ReadRegisters(*part.Letter, part.Regs), std::back_inserter(rows));
    return rows;
  });
}

}  // namespace

void AddReadCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TReadOptions>();
  CLI::App& command = AddSubcommand(
      app,
      {.Name = "read",
       .Summary = "Read the letters of a form and show their registers",
       .Example = "orvixmb read boiler.form --letter Boiler --names FeedTemp,Mode --watch 1"},
      [options, &io] { RunRead(*options, io); });
  AddSessionOptions(command, options->Session);
  command.add_option("--letter", options->Letter, "only this letter")->type_name("NAME");
  command.add_option("--names", options->Names, "only these registers, in this order")
      ->delimiter(',')
      ->type_name("A,B");
  AddOutputOptions(command, options->Output);
  AddWatchOptions(command, options->Watch);
}

}  // namespace OrvixModBus
