#pragma once
// uSerialPorts: the serial ports of this machine, and what is known of each.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace OrvixModBus {

/// What is not known is empty.
struct TSerialPortInfo {
  std::string Path;                      ///< "/dev/ttyUSB0"
  std::vector<std::string> StableNames;  ///< the same port wherever it is plugged in, then by place
  std::string Driver;                    ///< "ftdi_sio"
  std::string Manufacturer, Product, SerialNumber;  ///< of a USB adapter
};

/// Where the system tells of its devices; tests have trees of their own.
struct TSerialPortRoots {
  std::filesystem::path Sys = "/sys";
  std::filesystem::path Dev = "/dev";
};

/// In the order of their paths. Names of ports that have no hardware behind them, as systems keep
/// them ready for boards that are not there, are left out.
std::vector<TSerialPortInfo> ListSerialPorts(const TSerialPortRoots& roots = {});

/// Whether a comes before b when numbers count by their value: ttyUSB2 before ttyUSB10.
bool NaturalLess(std::string_view a, std::string_view b);

}  // namespace OrvixModBus
