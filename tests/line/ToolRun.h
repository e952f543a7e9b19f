#pragma once
// ToolRun: the command-line tool run inside the test, with streams in place of a terminal.

#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "tools/orvixmb/uTool.h"

namespace OrvixModBus {

/// How a command line ended, and what it printed.
struct TToolRun {
  int Code = 0;
  std::string Out, Err;

  bool operator==(const TToolRun&) const = default;
};

/// For the message of a comparison that fails.
inline void PrintTo(const TToolRun& run, std::ostream* stream) {
  *stream << "exit code " << run.Code << "\n--- out\n" << run.Out << "--- err\n" << run.Err;
}

/// Runs the tool as in a pipe; input is what the user types. A simulator answers meanwhile from a
/// thread of its own.
inline TToolRun RunOrvixmb(const std::vector<std::string>& arguments,
                           const std::string& input = {}) {
  std::istringstream in(input);
  std::ostringstream out, err;
  TToolIo io{.In = in, .Out = out, .Err = err};
  const int code = RunTool(arguments, io);
  return {code, out.str(), err.str()};
}

}  // namespace OrvixModBus
