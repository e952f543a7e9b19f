#pragma once
// uCommands: the subcommands of the tool, each in a source of its own.

#include <CLI/CLI.hpp>

#include "tools/orvixmb/uTool.h"

namespace OrvixModBus {

/// All of them, in the order of the tool's help.
void AddCommands(CLI::App& app, TToolIo& io);

void AddCheckCommand(CLI::App& app, TToolIo& io);
void AddReadCommand(CLI::App& app, TToolIo& io);
void AddPollCommand(CLI::App& app, TToolIo& io);
void AddWriteCommand(CLI::App& app, TToolIo& io);
void AddSaveCommand(CLI::App& app, TToolIo& io);
void AddDiffCommand(CLI::App& app, TToolIo& io);
void AddRestoreCommand(CLI::App& app, TToolIo& io);
void AddFileCommand(CLI::App& app, TToolIo& io);
void AddIdentityCommand(CLI::App& app, TToolIo& io);
void AddLogCommand(CLI::App& app, TToolIo& io);
void AddOscillogramCommand(CLI::App& app, TToolIo& io);
void AddReplayCommand(CLI::App& app, TToolIo& io);
void AddSimulateCommand(CLI::App& app, TToolIo& io);
void AddPortsCommand(CLI::App& app, TToolIo& io);

}  // namespace OrvixModBus
