#pragma once
// ToolLine: the command-line tool with a form and a simulated line, for whole outputs.

#include <string>
#include <vector>

#include "SimulatedLine.h"
#include "ToolRun.h"
#include "platform/rtl/uText.h"
#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {

/// Command lines and outputs name the form's path FORM, the folder for files DIR and the port PORT,
/// so that tests can tell them whole.
class TToolLine {
 public:
  explicit TToolLine(const std::string& form) : fThread(Prepared(fSimulator), fTerminal.Handle()) {
    fFolder.Write("test.form", form);
  }

  TToolRun Run(std::vector<std::string> arguments, const std::string& input = {}) {
    for (std::string& each : arguments) {
      for (const auto& [name, path] : Names()) each = ReplaceAll(each, name, path);
    }
    TToolRun run = RunOrvixmb(arguments, input);
    for (const auto& [name, path] : Names()) {
      run.Out = ReplaceAll(run.Out, path, name);
      run.Err = ReplaceAll(run.Err, path, name);
    }
    return run;
  }

  const std::string& Port() const { return fTerminal.Path(); }
  TTempFolder& Folder() { return fFolder; }

  /// Changes the devices while no request is served.
  template <class TAction>
  void Change(TAction action) {
    const auto lock = fThread.Lock();
    action(fSimulator);
  }
  /// The requests since the last call, function code and data.
  std::vector<Bytes> TakeRequests() {
    std::vector<Bytes> requests;
    Change([&](TSimulator& simulator) {
      for (const TJournalEntry& entry : simulator.Journal) requests.push_back(entry.Request);
      simulator.Journal.clear();
    });
    return requests;
  }

 private:
  std::vector<std::pair<std::string, std::string>> Names() const {
    return {
        {"FORM", fFolder.File("test.form")}, {"DIR", fFolder.Path()}, {"PORT", fTerminal.Path()}};
  }
  static TSimulator& Prepared(TSimulator& simulator) {
    simulator.KeepsJournal = true;
    return simulator;
  }

  TTempFolder fFolder;
  TSimulator fSimulator;
  TPseudoTerminal fTerminal;
  TSimulatorThread fThread;
};

}  // namespace OrvixModBus
