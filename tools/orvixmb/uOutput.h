#pragma once
// uOutput: how subcommands print what they have read, once or again and again.

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>

#include "tools/display/uTextTable.h"
#include "tools/orvixmb/uRegisterRows.h"
#include "tools/orvixmb/uTool.h"

namespace OrvixModBus {

/// --json and --csv; without them a table for people.
struct TOutputOptions {
  bool Json = false;
  bool Csv = false;
};
void AddJsonOption(CLI::App& command, TOutputOptions& output);
void AddOutputOptions(CLI::App& command, TOutputOptions& output);

/// --watch, and how often.
struct TWatchOptions {
  double Seconds = 0;       ///< from the begin of a round to that of the next; 0 = one round
  std::uint32_t Count = 0;  ///< of rounds; 0 = no end
};
/// count is the option's name.
void AddWatchOptions(CLI::App& command, TWatchOptions& watch, const std::string& count = "--count");

/// The whole document, and a line end.
void PrintJson(TToolIo& io, const nlohmann::ordered_json& json);

/// Reads rows by read and prints them, as often as watch says, each round at its time. While
/// watching, a table stays in place on a terminal, and each round of JSON is one line. Throws
/// Exception at the end when registers of the last round could not be read.
void PrintRows(TToolIo& io, const TOutputOptions& output, const TWatchOptions& watch,
               const std::function<std::vector<TRegisterRow>()>& read);

/// Throws Exception "3 of 40 registers could not be read" if any has an error.
void RefuseErrors(std::span<const TRegisterRow> rows);

}  // namespace OrvixModBus
