#pragma once
// uLetterSession: one letter of a form, for the subcommands that work with one.

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uRegisterRows.h"
#include "tools/orvixmb/uSnapshot.h"

namespace OrvixModBus {

struct TLetterOptions {
  TSessionOptions Session;
  std::string Letter;
};

/// FORM, --letter, --port and --trace.
void AddLetterOptions(CLI::App& command, TLetterOptions& options);

class TLetterSession {
 public:
  /// The line stays closed.
  TLetterSession(const TLetterOptions& options, TToolIo& io);

  TMBLetter& Letter() { return fLetter; }
  void Open() { fSession.Open(fClient); }
  /// As TFormSession::SourceOf, once the line is open.
  std::string Source() const { return TFormSession::SourceOf(fClient); }
  /// All registers, which the device holds now.
  std::vector<TRegisterRow> Read();
  /// The rows without an error, read just now.
  TSnapshot SnapshotOf(const std::vector<TRegisterRow>& rows) const;

 private:
  TFormSession fSession;
  TMBLetter& fLetter;
  TMBClient& fClient;
};

/// The snapshot in that file; EUsageError when there is none.
TSnapshot SnapshotNamed(const std::string& path);

}  // namespace OrvixModBus
