#pragma once
// uSerialPortsText: the serial ports of a machine as a table and as JSON.

#include <nlohmann/json_fwd.hpp>
#include <span>

#include "tools/display/uTextTable.h"
#include "tools/orvixmb/uSerialPorts.h"

namespace OrvixModBus {

/// Port, description, stable name: the first, which stays wherever the port is plugged in.
TTextTable PortsTable(std::span<const TSerialPortInfo> ports);

/// An array with an object of `path`, `description`, `stable` (an array of all stable names),
/// `driver`, `manufacturer`, `product`, `serial` for each port; null for a text that is not known.
nlohmann::ordered_json PortsJson(std::span<const TSerialPortInfo> ports);

}  // namespace OrvixModBus
