#pragma once
// uFormSession: a form that a subcommand works with - its components, its open lines.

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/model/uForm.h"
#include "tools/orvixmb/uTool.h"
#include "uMBLetters.h"
#include "uMBRTU.h"

namespace OrvixModBus {

/// What all subcommands that talk to a form's devices ask for.
struct TSessionOptions {
  std::string Form;  ///< path of the form file
  std::string Port;  ///< in place of the form's; empty = the form's
  bool Trace = false;
};

/// FORM, --port and --trace.
void AddSessionOptions(CLI::App& command, TSessionOptions& options);
void AddFormOption(CLI::App& command, std::string& form);
void AddTraceOption(CLI::App& command, bool& trace);

/// The components of a form file, still loading, so that no port is open; the names of its methods
/// are kept. EFormError; EUsageError where the file can't be read.
std::unique_ptr<TComponent> LoadForm(const std::string& path);

/// All mistakes of a form file, as TFormFile::Check; EUsageError where the file can't be read.
std::vector<EFormError> MistakesOf(const std::string& path);

/// The components of that class which root owns, in the order of the form.
template <class T>
std::vector<T*> ComponentsOf(const TComponent& root) {
  std::vector<T*> all;
  for (int i = 0; i < root.ComponentCount(); ++i) {
    if (auto* const each = dynamic_cast<T*>(root.Components(i))) all.push_back(each);
  }
  return all;
}

/// EUsageError "plant.form has no letter 'Pumps'; it has Boiler, Settings".
[[noreturn]] void RefuseName(const std::string& form, const std::string& kind,
                             const std::string& name, const TStringDynArray& all);

/// The component of that class and name which root, of that form, owns; EUsageError tells those
/// that there are. Kind is what the message calls it: "letter".
template <class T>
T& ComponentNamed(const TComponent& root, const std::string& form, const std::string& kind,
                  const std::string& name) {
  if (auto* const found = dynamic_cast<T*>(root.FindComponent(name))) return *found;
  TStringDynArray all;
  for (const T* each : ComponentsOf<T>(root)) all.push_back(each->Name());
  RefuseName(form, kind, name, all);
}

/// Runs the loop until done, for as long as client's requests keep being answered; Exception where
/// they are not, which a line's own time limits exclude.
void WaitUntil(const TMBClient& client, const std::function<bool()>& done);

/// Prints the frames of line on io.Err from now on.
void TraceLine(TModbusConnection& line, TToolIo& io);

/// A form whose components work. What it opens is closed at its end.
class TFormSession {
 public:
  TFormSession(const TSessionOptions& options, TToolIo& io);

  TComponent& Root() const { return *fRoot; }
  const std::string& FormPath() const { return fOptions.Form; }

  /// As ComponentNamed.
  template <class T>
  T& Named(const std::string& kind, const std::string& name) const {
    return ComponentNamed<T>(*fRoot, FormPath(), kind, name);
  }
  TMBLetter& Letter(const std::string& name) const { return Named<TMBLetter>("letter", name); }
  TMBClient& Client(const std::string& name) const { return Named<TMBClient>("client", name); }
  /// As Client; EUsageError for an emulated one, since no such client has what the message says:
  /// "files".
  TMBClient& DeviceClient(const std::string& name, const std::string& what) const;
  /// Its client; EUsageError when it has none.
  TMBClient& ClientOf(const TMBLetter& letter) const;

  /// Opens the lines of these clients, on the port that the user named if there is one. EUsageError
  /// for a client without a line, and where a named port would stand for several lines;
  /// EModLinkError as TModbusConnection. Emulated ones need none.
  void Open(std::span<TMBClient* const> clients);
  void Open(TMBClient& client);
  /// Where client's answers come from: the path of its port, or "emulated".
  static std::string SourceOf(const TMBClient& client);

 private:
  static TModbusConnection* LineOf(const TMBClient& client);

  const TSessionOptions fOptions;
  TToolIo& fIo;
  std::unique_ptr<TComponent> fRoot;
};

}  // namespace OrvixModBus
