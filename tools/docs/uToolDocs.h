#pragma once
// uToolDocs: the manual page and the shell completion of a program, from its own help texts.

#include <CLI/CLI.hpp>
#include <string>

namespace OrvixModBus {

/// The page of section 1 (man-pages(7)): the program, then each subcommand with its options.
std::string ManPage(const CLI::App& app);

/// A script for bash: completes subcommands, their options, and files where an option or an
/// argument names one.
std::string BashCompletion(const CLI::App& app);

}  // namespace OrvixModBus
