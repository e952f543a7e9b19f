#pragma once
// uParityOption: the parity of a serial port on the command line.

#include <CLI/CLI.hpp>
#include <string>

#include "platform/modbus/uModbusTypes.h"

namespace OrvixModBus {

/// --parity even|odd|none.
CLI::Option* AddParityOption(CLI::App& command, std::string& parity,
                             const std::string& description);
/// What the option says.
TParityScheme ParityNamed(const std::string& name);

}  // namespace OrvixModBus
