#include "tools/orvixmb/uLetterSession.h"

#include <chrono>

#include "tools/orvixmb/uLetterReader.h"

namespace OrvixModBus {

void AddLetterOptions(CLI::App& command, TLetterOptions& options) {
  AddSessionOptions(command, options.Session);
  command.add_option("--letter", options.Letter, "the letter")->type_name("NAME")->required();
}

TLetterSession::TLetterSession(const TLetterOptions& options, TToolIo& io)
    : fSession(options.Session, io),
      fLetter(fSession.Letter(options.Letter)),
      fClient(fSession.ClientOf(fLetter)) {}

std::vector<TRegisterRow> TLetterSession::Read() {
  return ReadRegisters(fLetter, fLetter.Regs().RegList());
}

TSnapshot TLetterSession::SnapshotOf(const std::vector<TRegisterRow>& rows) const {
  using namespace std::chrono;
  return {fLetter.Name(), UtcText(floor<seconds>(system_clock::now())), Source(),
          fClient.GetAdres(), SnapshotRegisters(rows)};
}

TSnapshot SnapshotNamed(const std::string& path) {
  try {
    return ReadSnapshotFile(path);
  } catch (const Exception& error) {
    throw EUsageError(error.what());
  }
}

}  // namespace OrvixModBus
