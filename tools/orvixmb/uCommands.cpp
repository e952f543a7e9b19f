#include "tools/orvixmb/uCommands.h"

namespace OrvixModBus {

void AddCommands(CLI::App& app, TToolIo& io) {
  AddCheckCommand(app, io);
  AddReadCommand(app, io);
  AddPollCommand(app, io);
  AddWriteCommand(app, io);
  AddSaveCommand(app, io);
  AddDiffCommand(app, io);
  AddRestoreCommand(app, io);
  AddFileCommand(app, io);
  AddIdentityCommand(app, io);
  AddLogCommand(app, io);
  AddOscillogramCommand(app, io);
  AddReplayCommand(app, io);
  AddSimulateCommand(app, io);
  AddPortsCommand(app, io);
}

}  // namespace OrvixModBus
