#include "tools/orvixmb/uSerialPorts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "platform/rtl/uTextFile.h"

namespace OrvixModBus {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

// Trees as the kernel and the device manager make them, in a directory of their own.
class SerialPorts : public testing::Test {
 protected:
  SerialPorts() {
    fs::create_directories(fRoots.Sys / "class/tty");
    fs::create_directories(fRoots.Dev / "serial/by-id");
    fs::create_directories(fRoots.Dev / "serial/by-path");
  }
  ~SerialPorts() override { fs::remove_all(fPlace); }

  void Write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    WriteWholeFile(path.string(), text);
  }

  // The terminal's entry, its device at that place below devices, and its file.
  void AddPort(const std::string& name, const fs::path& device, const std::string& driver) {
    const fs::path place = fRoots.Sys / "devices" / device;
    fs::create_directories(place / "tty" / name);
    fs::create_directories(fRoots.Sys / "bus/drivers" / driver);
    fs::create_symlink(fRoots.Sys / "bus/drivers" / driver, place / "driver");
    fs::create_symlink(place, place / "tty" / name / "device");
    fs::create_symlink(place / "tty" / name, fRoots.Sys / "class/tty" / name);
    Write(fRoots.Dev / name, "");
  }

  void AddAdapter(const fs::path& device, const std::string& product) {
    const fs::path place = fRoots.Sys / "devices" / device;
    Write(place / "idVendor", "0403\n");
    Write(place / "manufacturer", "FTDI\n");
    Write(place / "product", product + "\n");
  }

  void AddStableName(const std::string& name, const std::string& port) {
    fs::create_symlink(fs::path("../..") / port, fRoots.Dev / "serial" / name);
  }

  std::vector<std::string> Paths() const {
    std::vector<std::string> paths;
    for (const TSerialPortInfo& info : ListSerialPorts(fRoots)) {
      paths.push_back(fs::path(info.Path).filename().string());
    }
    return paths;
  }

  const fs::path fPlace =
      fs::path(testing::TempDir()) / ("serial_ports_" + std::to_string(getpid()));
  const TSerialPortRoots fRoots{fPlace / "sys", fPlace / "dev"};
};

TEST_F(SerialPorts, AnAdapterIsDescribedByItsUsbDevice) {
  AddAdapter("pci0/usb1", "Hub");
  AddAdapter("pci0/usb1/1-2", "FT232R USB UART");
  Write(fRoots.Sys / "devices/pci0/usb1/1-2/serial", "A50285BI\n");
  AddPort("ttyUSB0", "pci0/usb1/1-2/1-2:1.0/ttyUSB0", "ftdi_sio");
  AddStableName("by-id/usb-FTDI_FT232R_A50285BI-if00-port0", "ttyUSB0");
  AddStableName("by-path/pci-0:2:1.0-port0", "ttyUSB0");
  AddStableName("by-path/pci-0:9:1.0-port0", "ttyUSB7");  // its port has just gone
  const auto ports = ListSerialPorts(fRoots);
  ASSERT_EQ(ports.size(), 1U);
  EXPECT_EQ(ports[0].Path, fRoots.Dev / "ttyUSB0");
  EXPECT_THAT(ports[0].StableNames,
              ElementsAre(fRoots.Dev / "serial/by-id/usb-FTDI_FT232R_A50285BI-if00-port0",
                          fRoots.Dev / "serial/by-path/pci-0:2:1.0-port0"));
  EXPECT_EQ(ports[0].Driver, "ftdi_sio");
  EXPECT_EQ(ports[0].Manufacturer, "FTDI");
  EXPECT_EQ(ports[0].Product, "FT232R USB UART");
  EXPECT_EQ(ports[0].SerialNumber, "A50285BI");
}

TEST_F(SerialPorts, AStableNameBelongsToItsPortOnly) {
  AddPort("ttyUSB0", "a", "ch341");
  AddPort("ttyUSB1", "b", "ch341");
  AddStableName("by-id/usb-1a86", "ttyUSB1");
  const auto ports = ListSerialPorts(fRoots);
  ASSERT_EQ(ports.size(), 2U);
  EXPECT_THAT(ports[0].StableNames, IsEmpty());
  EXPECT_THAT(ports[1].StableNames, ElementsAre(fRoots.Dev / "serial/by-id/usb-1a86"));
}

TEST_F(SerialPorts, NumbersCountByTheirValue) {
  for (const char* name : {"ttyUSB10", "ttyUSB2", "ttyS0", "ttyACM1"}) AddPort(name, name, "x");
  EXPECT_THAT(Paths(), ElementsAre("ttyACM1", "ttyS0", "ttyUSB2", "ttyUSB10"));
}

TEST_F(SerialPorts, NamesWithoutAPortAreLeftOut) {
  AddPort("ttyS0", "pnp0/0:0", "serial");
  Write(fRoots.Sys / "class/tty/ttyS0/type", "4\n");
  AddPort("ttyS1", "platform/serial8250", "serial8250");
  Write(fRoots.Sys / "class/tty/ttyS1/type", "0\n");
  fs::create_directories(fRoots.Sys / "class/tty/tty1");  // a screen
  Write(fRoots.Dev / "tty1", "");
  AddPort("ttyUSB0", "gone", "x");
  fs::remove(fRoots.Dev / "ttyUSB0");
  EXPECT_THAT(Paths(), ElementsAre("ttyS0"));
}

TEST_F(SerialPorts, TheDriverIsTheHardwaresNotThatOfTheSerialCore) {
  AddPort("ttyS0", "pnp0/0:0/0:0:0/0:0:0.0", "port");
  fs::create_directories(fRoots.Sys / "bus/drivers/serial");
  fs::create_symlink(fRoots.Sys / "bus/drivers/serial", fRoots.Sys / "devices/pnp0/0:0/driver");
  const auto ports = ListSerialPorts(fRoots);
  ASSERT_EQ(ports.size(), 1U);
  EXPECT_EQ(ports[0].Driver, "serial");
  EXPECT_EQ(ports[0].Product, "");
}

TEST_F(SerialPorts, WithoutTheSystemsTreeThereAreNone) {
  EXPECT_THAT(ListSerialPorts({fPlace / "nowhere", fPlace / "nowhere"}), IsEmpty());
}

TEST(NaturalOrder, ComparesNumbersByValueAndTheRestByCharacter) {
  const std::vector<std::string> ordered = {"",
                                            "1",
                                            "2",
                                            "10",
                                            "COM01",
                                            "COM1",
                                            "COM1a",
                                            "COM1b",
                                            "COM1b2",
                                            "COM11",
                                            "a",
                                            "a99999999999999999999999",
                                            "a100000000000000000000000"};
  std::vector<std::string> sorted(ordered.rbegin(), ordered.rend());
  std::ranges::sort(sorted, NaturalLess);
  EXPECT_EQ(sorted, ordered);
}

}  // namespace
}  // namespace OrvixModBus
