// The subcommand ports: the serial ports of this machine.

#include <memory>
#include <nlohmann/json.hpp>

#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uOutput.h"
#include "tools/orvixmb/uSerialPortsText.h"

namespace OrvixModBus {
namespace {

void RunPorts(const TOutputOptions& output, TToolIo& io) {
  const std::vector<TSerialPortInfo> ports = ListSerialPorts();
  if (output.Json) return PrintJson(io, PortsJson(ports));
  io.Out << (ports.empty() ? "no serial ports\n" : TableText(PortsTable(ports))) << std::flush;
}

}  // namespace

void AddPortsCommand(CLI::App& app, TToolIo& io) {
  const auto output = std::make_shared<TOutputOptions>();
  CLI::App& command = AddSubcommand(app,
                                    {.Name = "ports",
                                     .Summary = "List the serial ports with what is known of them",
                                     .Details = "A stable name serves best as the port of a form: "
                                                "it stays when ports are plugged in another order.",
                                     .Example = "orvixmb ports --json"},
                                    [output, &io] { RunPorts(*output, io); });
  AddJsonOption(command, *output);
}

}  // namespace OrvixModBus
