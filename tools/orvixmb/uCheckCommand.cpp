// The subcommand check: the mistakes of a form, what would surprise, how its letters are read.

#include <algorithm>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform/rtl/uFormat.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uFormCheck.h"
#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uOutput.h"
#include "tools/orvixmb/uPlanText.h"

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;

struct TCheckOptions {
  std::string Form;
  std::string Letter;
  TOutputOptions Output;
};

// A letter, and how it is read over the line.
struct TPlannedLetter {
  const TMBLetter* Letter;
  TBaudRate BaudRate;
  TLetterPlan Plan;
};

// Of a form with mistakes, nothing.
struct TFormState {
  std::unique_ptr<TComponent> Root;
  std::vector<TFormWarning> Warnings;
  std::vector<TPlannedLetter> Letters;
};

std::vector<TPlannedLetter> PlansOf(const TComponent& root, const TCheckOptions& options) {
  std::vector<TMBLetter*> letters = ComponentsOf<TMBLetter>(root);
  if (!options.Letter.empty()) {
    letters = {&ComponentNamed<TMBLetter>(root, options.Form, "letter", options.Letter)};
  }
  std::vector<TPlannedLetter> planned;
  for (const TMBLetter* letter : letters) {
    const TPlanSettings settings = PlanSettingsOf(*letter);
    planned.push_back({letter, settings.Line.Port.BaudRate, PlanLetter(*letter, settings)});
  }
  return planned;
}

TFormState StateOf(const TCheckOptions& options) {
  TFormState state;
  state.Root = LoadForm(options.Form);
  state.Warnings = CheckForm(*state.Root);
  state.Letters = PlansOf(*state.Root, options);
  return state;
}

// "Boiler: 3 requests, 86.2 ms at 19200 baud", and what the plan supposes.
std::string Heading(const TPlannedLetter& planned) {
  const TMBClient* const client = planned.Letter->Client();
  const bool emulated = client != nullptr && client->IsEmul();
  const std::size_t requests = planned.Plan.Requests.size();
  return Format("%s: %u request%s, %.1f ms at %u baud%s\n",
                {planned.Plan.Letter, requests, requests == 1 ? "" : "s",
                 std::chrono::duration<double, std::milli>(planned.Plan.Time()).count(),
                 planned.BaudRate, emulated ? ", were it not emulated" : ""});
}

void PrintState(const TFormState& state, TToolIo& io) {
  for (const TFormWarning& warning : state.Warnings) {
    io.Out << "warning: " << WarningText(warning) << '\n';
  }
  bool first = state.Warnings.empty();
  for (const TPlannedLetter& planned : state.Letters) {
    if (!std::exchange(first, false)) io.Out << '\n';
    io.Out << Heading(planned);
    if (!planned.Plan.Requests.empty()) io.Out << PlanText(planned.Plan);
  }
}

TJson ResultJson(const std::vector<EFormError>& mistakes, const TFormState& state) {
  TJson json = {
      {"mistakes", TJson::array()}, {"warnings", TJson::array()}, {"letters", TJson::array()}};
  for (const EFormError& mistake : mistakes) {
    json["mistakes"].push_back({{"file", mistake.File()},
                                {"line", mistake.Line()},
                                {"column", mistake.Column()},
                                {"text", mistake.Problem()}});
  }
  for (const TFormWarning& warning : state.Warnings) {
    json["warnings"].push_back({{"component", warning.Component},
                                {"item", warning.Item},
                                {"property", warning.Property},
                                {"text", warning.Text}});
  }
  for (const TPlannedLetter& planned : state.Letters) {
    json["letters"].push_back(PlanJson(planned.Plan));
  }
  return json;
}

void PrintMistakes(const std::vector<EFormError>& mistakes, TToolIo& io) {
  for (const EFormError& mistake : mistakes) {
    std::string line = mistake.what();
    std::ranges::replace(line, '\n', ' ');
    io.Out << line << '\n';
  }
}

[[noreturn]] void RefuseMistakes(const std::string& form, std::size_t count) {
  throw EUsageError(Format("%s has %u mistake%s", {form, count, count == 1 ? "" : "s"}));
}

void RunCheck(const TCheckOptions& options, TToolIo& io) {
  const std::vector<EFormError> mistakes = MistakesOf(options.Form);
  const TFormState state = mistakes.empty() ? StateOf(options) : TFormState();
  if (options.Output.Json) {
    PrintJson(io, ResultJson(mistakes, state));
  } else {
    PrintMistakes(mistakes, io);
    PrintState(state, io);
  }
  if (!mistakes.empty()) RefuseMistakes(options.Form, mistakes.size());
}

}  // namespace

void AddCheckCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TCheckOptions>();
  CLI::App& command = AddSubcommand(
      app,
      {.Name = "check",
       .Summary =
           "Tell the mistakes of a form, what would surprise, and the requests of its letters",
       .Details = "Surprises and requests are told of a form without mistakes. Opens no port.",
       .Example = "orvixmb check boiler.form --letter Boiler"},
      [options, &io] { RunCheck(*options, io); });
  AddFormOption(command, options->Form);
  command.add_option("--letter", options->Letter, "only the plan of this letter")
      ->type_name("NAME");
  AddJsonOption(command, options->Output);
}

}  // namespace OrvixModBus
