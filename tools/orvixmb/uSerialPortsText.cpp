#include "tools/orvixmb/uSerialPortsText.h"

#include <nlohmann/json.hpp>
#include <string>

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;

TJson OrNull(const std::string& text) { return text.empty() ? TJson() : TJson(text); }

// "FTDI FT232R USB UART, serial number A50285BI"; of a port that is no adapter, its driver.
std::string DescriptionOf(const TSerialPortInfo& port) {
  const bool both = !port.Manufacturer.empty() && !port.Product.empty();
  const std::string made = port.Manufacturer + (both ? " " : "") + port.Product;
  if (made.empty()) return port.Driver;
  return made + (port.SerialNumber.empty() ? "" : ", serial number " + port.SerialNumber);
}

}  // namespace

TTextTable PortsTable(std::span<const TSerialPortInfo> ports) {
  TTextTable table{{{"port"}, {"description"}, {"stable name"}}, {}};
  for (const TSerialPortInfo& port : ports) {
    table.Rows.push_back({port.Path, DescriptionOf(port),
                          port.StableNames.empty() ? std::string() : port.StableNames.front()});
  }
  return table;
}

TJson PortsJson(std::span<const TSerialPortInfo> ports) {
  TJson json = TJson::array();
  for (const TSerialPortInfo& port : ports) {
    json.push_back({{"path", port.Path},
                    {"description", OrNull(DescriptionOf(port))},
                    {"stable", port.StableNames},
                    {"driver", OrNull(port.Driver)},
                    {"manufacturer", OrNull(port.Manufacturer)},
                    {"product", OrNull(port.Product)},
                    {"serial", OrNull(port.SerialNumber)}});
  }
  return json;
}

}  // namespace OrvixModBus
