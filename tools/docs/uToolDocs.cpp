#include "tools/docs/uToolDocs.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

// Text as troff takes it: no escapes, no line that begins as a request does.
std::string Troff(std::string_view text) {
  std::string escaped;
  bool lineBegin = true;
  for (const char c : text) {
    if (lineBegin && (c == '.' || c == '\'')) escaped += "\\&";
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
    lineBegin = c == '\n';
  }
  return escaped;
}

// Lines that keep their breaks and blanks.
std::string Verbatim(std::string_view text) { return ".nf\n" + Troff(text) + "\n.fi\n"; }

std::vector<const CLI::App*> SubcommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app, bool positional) {
  return app.get_options(
      [positional](const CLI::Option* option) { return option->nonpositional() != positional; });
}

// NAME, without what CLI11 adds of the values that are allowed: NAME:POSITIVE.
std::string TypeOf(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  return type.substr(0, type.find(':'));
}

// "--letter NAME", "FORM", "REG=VALUE ..."
std::string Usage(const CLI::Option& option) {
  std::string usage = option.get_name(!option.nonpositional(), true);
  const bool hasValue = option.get_items_expected_max() > 0;
  if (option.nonpositional() && hasValue) usage += " " + TypeOf(option);
  if (!option.nonpositional() && option.get_items_expected_max() > 1) usage += " ...";
  return usage;
}

std::string Synopsis(const CLI::App& command) {
  std::string synopsis = command.get_name();
  for (const CLI::Option* option : OptionsOf(command, true)) synopsis += " " + Usage(*option);
  return synopsis + " [OPTIONS]";
}

std::string OptionText(const CLI::Option& option) {
  std::string text = ".TP\n.B " + Troff(Usage(option)) + "\n" + Troff(option.get_description());
  if (!option.get_default_str().empty()) {
    text += " (default: " + Troff(option.get_default_str()) + ")";
  }
  return text + "\n";
}

std::string OptionTexts(const CLI::App& app) {
  std::string text;
  for (const bool positional : {true, false}) {
    for (const CLI::Option* option : OptionsOf(app, positional)) text += OptionText(*option);
  }
  return text;
}

// Does the option's value name a file?
bool NamesFile(const CLI::Option& option) {
  constexpr std::string_view kFiles[] = {"FORM", "FILE", "PATH"};
  const std::string name = option.nonpositional() ? TypeOf(option) : option.get_name(true);
  return std::ranges::find(kFiles, name) != std::end(kFiles);
}

// Words, a blank between them.
template <class TList, class TWord>
std::string Joined(const TList& list, TWord word) {
  std::string joined;
  for (const auto* each : list) {
    const std::string added = word(*each);
    if (!added.empty()) joined += (joined.empty() ? "" : " ") + added;
  }
  return joined;
}

std::string LongName(const CLI::Option& option) {
  return option.get_lnames().empty() ? "" : "--" + option.get_lnames().front();
}

// The options of app after which a file is completed, or whatever else has a value.
std::string ValueOptions(const CLI::App& app, bool files) {
  return Joined(OptionsOf(app, false), [&](const CLI::Option& option) {
    const bool hasValue = option.get_items_expected_max() > 0;
    return hasValue && NamesFile(option) == files ? LongName(option) : std::string();
  });
}

std::string CompletionCase(const CLI::App& command) {
  const std::string options = Joined(OptionsOf(command, false), LongName);
  return "    " + command.get_name() + ")\n      options=\"" + options + "\"\n      files=\"" +
         ValueOptions(command, true) + "\"\n      values=\"" + ValueOptions(command, false) +
         "\" ;;\n";
}

}  // namespace

std::string ManPage(const CLI::App& app) {
  const std::string& name = app.get_name();
  std::string title = name;
  std::ranges::transform(title, title.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  std::string page = ".TH " + title + " 1\n.SH NAME\n" +
                     Troff(name + " - " + app.get_description()) + "\n.SH SYNOPSIS\n.B " + name +
                     "\nSUBCOMMAND [OPTIONS]\n.SH OPTIONS\n" + OptionTexts(app) +
                     ".SH SUBCOMMANDS\n";
  for (const CLI::App* command : SubcommandsOf(app)) {
    page += ".SS " + Troff(Synopsis(*command)) + "\n" + Troff(command->get_description()) + "\n" +
            OptionTexts(*command);
    // One without a footer has the program's.
    if (command->get_footer() != app.get_footer())
      page += ".PP\n" + Verbatim(command->get_footer());
  }
  return page + ".SH NOTES\n" + Verbatim(app.get_footer());
}

std::string BashCompletion(const CLI::App& app) {
  const std::string& name = app.get_name();
  std::string script =
      "# bash completion of " + name + ", made from its help texts\n_" + name +
      "() {\n"
      "  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
      "  local options files values\n"
      "  COMPREPLY=()\n"
      "  if [[ $COMP_CWORD -eq 1 ]]; then\n"
      "    mapfile -t COMPREPLY < <(compgen -W \"" +
      Joined(SubcommandsOf(app), [](const CLI::App& each) { return each.get_name(); }) +
      "\" -- \"$current\")\n"
      "    return\n"
      "  fi\n"
      "  case ${COMP_WORDS[1]} in\n";
  for (const CLI::App* command : SubcommandsOf(app)) script += CompletionCase(*command);
  script +=
      "  esac\n"
      "  if [[ \" $values \" == *\" $before \"* ]]; then return; fi\n"
      "  if [[ $current == -* && \" $files \" != *\" $before \"* ]]; then\n"
      "    mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$current\")\n"
      "  else\n"
      "    compopt -o filenames\n"
      "    mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
      "  fi\n"
      "}\n"
      "complete -F _" +
      name + " " + name + "\n";
  return script;
}

}  // namespace OrvixModBus
