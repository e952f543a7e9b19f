#pragma once
// uTool: the command-line tool - its subcommands, what they share, and how they end.

#include <CLI/CLI.hpp>
#include <cstddef>
#include <functional>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "platform/rtl/uException.h"

namespace OrvixModBus {

/// Where the tool reads and writes. Tests have streams of their own.
struct TToolIo {
  std::istream& In;
  std::ostream& Out;  ///< results
  std::ostream& Err;  ///< errors, traces, progress
  bool OutIsTerminal = false;
  bool ErrIsTerminal = false;
  bool Colour = false;
  std::function<std::size_t()> Height = {};  ///< lines of Out's terminal now; empty = no limit
};

inline constexpr int kExitDone = 0;
inline constexpr int kExitLine = 1;   ///< the device or the line failed
inline constexpr int kExitUsage = 2;  ///< the command line or the form is wrong

/// What the user has written on the command line can't be done: ends with kExitUsage, as EFormError
/// does. All other exceptions end with kExitLine.
class EUsageError : public Exception {
 public:
  using Exception::Exception;
};

/// Runs one command line, without the program's name, and returns its exit code. Errors are one
/// line on io.Err that begins with "orvixmb: ".
int RunTool(const std::vector<std::string>& arguments, TToolIo& io);

/// The program's options and subcommands, for whoever documents or completes them.
void DescribeTool(CLI::App& app, TToolIo& io);

/// What help says of a subcommand.
struct TSubcommand {
  std::string Name;
  std::string Summary;       ///< one line for the list of subcommands, without a full stop
  std::string Details = {};  ///< sentences below the options
  std::string Example;       ///< a command line
};

/// Adds it to app; run is called once all is parsed.
CLI::App& AddSubcommand(CLI::App& app, const TSubcommand& subcommand, std::function<void()> run);

}  // namespace OrvixModBus
