#include "tools/orvixmb/uSerialPortsText.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tools/orvixmb/uJsonText.h"

namespace OrvixModBus {
namespace {

const std::vector<TSerialPortInfo> kPorts = {
    {"/dev/ttyS0", {}, "serial8250", "", "", ""},
    {"/dev/ttyUSB0",
     {"/dev/serial/by-id/usb-FTDI-if00", "/dev/serial/by-path/pci-1"},
     "ftdi_sio",
     "FTDI",
     "FT232R USB UART",
     "A50285BI"},
    {"/dev/ttyUSB1", {}, "ch341-uart", "", "USB Serial", ""},
};

TEST(SerialPortsText, ATableTellsWhatIsKnown) {
  EXPECT_EQ(TableText(PortsTable(kPorts)),
            "port          description                                   stable name\n"
            "/dev/ttyS0    serial8250\n"
            "/dev/ttyUSB0  FTDI FT232R USB UART, serial number A50285BI  "
            "/dev/serial/by-id/usb-FTDI-if00\n"
            "/dev/ttyUSB1  USB Serial\n");
}

TEST(SerialPortsText, JsonTellsAll) {
  EXPECT_EQ(JsonText(PortsJson(std::span(kPorts).subspan(1))), R"([
  {
    "path": "/dev/ttyUSB0",
    "description": "FTDI FT232R USB UART, serial number A50285BI",
    "stable": [
      "/dev/serial/by-id/usb-FTDI-if00",
      "/dev/serial/by-path/pci-1"
    ],
    "driver": "ftdi_sio",
    "manufacturer": "FTDI",
    "product": "FT232R USB UART",
    "serial": "A50285BI"
  },
  {
    "path": "/dev/ttyUSB1",
    "description": "USB Serial",
    "stable": [],
    "driver": "ch341-uart",
    "manufacturer": null,
    "product": "USB Serial",
    "serial": null
  }
]
)");
  EXPECT_EQ(PortsJson({}).dump(), "[]");
}

}  // namespace
}  // namespace OrvixModBus
