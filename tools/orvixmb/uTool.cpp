#include "tools/orvixmb/uTool.h"

#include <algorithm>
#include <utility>

#include "platform/model/uFormScanner.h"
#include "platform/rtl/uText.h"
#include "tools/orvixmb/uCommands.h"

namespace OrvixModBus {
namespace {

constexpr char kDescription[] =
    "Reads, writes, checks and simulates Modbus devices that a form file describes.";
constexpr char kFooter[] =
    "Exit codes: 0 done, 1 the device or the line failed, 2 the command line or the form is "
    "wrong.\nOne subcommand's help and example: orvixmb SUBCOMMAND --help";

void PrintError(TToolIo& io, std::string message) {
  std::ranges::replace(message, '\n', ' ');
  io.Err << "orvixmb: " << message << std::endl;
}

// Lines of at most 80 characters; ASCII.
std::string Wrapped(const std::string& text) {
  constexpr std::size_t kWidth = 80;
  std::string wrapped;
  std::size_t width = 0;
  for (const std::string& word : Split(text, ' ')) {
    const bool fits = width + 1 + word.size() <= kWidth;
    if (width > 0) wrapped += fits ? ' ' : '\n';
    width = width > 0 && fits ? width + 1 + word.size() : word.size();
    wrapped += word;
  }
  return wrapped;
}

int EndWith(TToolIo& io, const std::exception& error, int code) {
  io.Out.flush();
  PrintError(io, error.what());
  return code;
}

}  // namespace

CLI::App& AddSubcommand(CLI::App& app, const TSubcommand& subcommand, std::function<void()> run) {
  CLI::App& added = *app.add_subcommand(subcommand.Name, subcommand.Summary);
  const std::string details =
      subcommand.Details.empty() ? "" : Wrapped(subcommand.Details) + "\n\n";
  added.footer(details + "Example:\n  " + subcommand.Example);
  added.callback(std::move(run));
  return added;
}

void DescribeTool(CLI::App& app, TToolIo& io) {
  app.name("orvixmb");
  app.description(kDescription);
  app.footer(kFooter);
  app.require_subcommand(1);
  AddCommands(app, io);
}

int RunTool(const std::vector<std::string>& arguments, TToolIo& io) {
  CLI::App app;
  DescribeTool(app, io);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    return kExitDone;
  } catch (const CLI::Success& help) {
    return app.exit(help, io.Out, io.Err);
  } catch (const CLI::Error& error) {
    return EndWith(io, error, kExitUsage);
  } catch (const EUsageError& error) {
    return EndWith(io, error, kExitUsage);
  } catch (const EFormError& error) {
    return EndWith(io, error, kExitUsage);
  } catch (const std::exception& error) {
    return EndWith(io, error, kExitLine);
  }
}

}  // namespace OrvixModBus
