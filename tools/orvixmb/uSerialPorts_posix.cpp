#include "tools/orvixmb/uSerialPorts.h"

#include <algorithm>
#include <fstream>
#include <system_error>

#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

namespace fs = std::filesystem;

// Nothing of this throws: a port may vanish while it is looked at, and then it is not listed.

std::string ReadAttribute(const fs::path& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return Trim(line);
}

fs::path Canonical(const fs::path& path) {
  std::error_code error;
  return fs::canonical(path, error);
}

bool Exists(const fs::path& path) {
  std::error_code error;
  return fs::exists(path, error);
}

// The full paths in a directory, in order; none when it is not there.
std::vector<fs::path> EntriesOf(const fs::path& directory) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    entries.push_back(entry->path());
  }
  std::ranges::sort(entries, NaturalLess, &fs::path::native);
  return entries;
}

// A terminal without a device is none of a serial port; type 0 means that nothing answered where
// the port should be.
bool IsPort(const fs::path& terminal) {
  return Exists(terminal / "device") && ReadAttribute(terminal / "type") != "0";
}

// From the device up to the root of the tree.
std::vector<fs::path> Ancestry(fs::path device, const fs::path& root) {
  std::vector<fs::path> places;
  for (; device.has_relative_path() && device != root; device = device.parent_path()) {
    places.push_back(device);
  }
  return places;
}

// The kernel's serial core puts devices of its own between the port and the hardware.
bool IsOfTheCore(const std::string& driver) { return driver == "port" || driver == "ctrl"; }

void Describe(TSerialPortInfo& info, const std::vector<fs::path>& places) {
  for (const fs::path& place : places) {
    const std::string driver = Canonical(place / "driver").filename().string();
    if (info.Driver.empty() && !IsOfTheCore(driver)) info.Driver = driver;
    if (!Exists(place / "idVendor")) continue;
    info.Manufacturer = ReadAttribute(place / "manufacturer");
    info.Product = ReadAttribute(place / "product");
    info.SerialNumber = ReadAttribute(place / "serial");
    return;  // further up are the hubs
  }
}

std::vector<std::string> StableNames(const fs::path& port, const fs::path& dev) {
  std::vector<std::string> names;
  for (const char* kind : {"by-id", "by-path"}) {
    for (const fs::path& link : EntriesOf(dev / "serial" / kind)) {
      if (Canonical(link) == port) names.push_back(link.string());
    }
  }
  return names;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Takes the number that text begins with off it, without leading zeros.
std::string_view TakeNumber(std::string_view& text) {
  const auto end = std::min(text.find_first_not_of("0123456789"), text.size());
  std::string_view number = text.substr(0, end);
  text.remove_prefix(end);
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
  return number;
}

}  // namespace

bool NaturalLess(std::string_view a, std::string_view b) {
  const std::string_view wholeA = a, wholeB = b;
  while (!a.empty() && !b.empty()) {
    if (IsDigit(a.front()) && IsDigit(b.front())) {
      const std::string_view one = TakeNumber(a), other = TakeNumber(b);
      if (one.size() != other.size()) return one.size() < other.size();
      if (one != other) return one < other;
    } else {
      if (a.front() != b.front()) return a.front() < b.front();
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  if (a.empty() != b.empty()) return a.empty();
  return wholeA < wholeB;  // "COM1" and "COM01" differ all the same
}

std::vector<TSerialPortInfo> ListSerialPorts(const TSerialPortRoots& roots) {
  std::vector<TSerialPortInfo> ports;
  const fs::path sysRoot = Canonical(roots.Sys);
  for (const fs::path& terminal : EntriesOf(roots.Sys / "class" / "tty")) {
    const fs::path path = roots.Dev / terminal.filename();
    if (!IsPort(terminal) || !Exists(path)) continue;
    TSerialPortInfo& info = ports.emplace_back();
    info.Path = path.string();
    info.StableNames = StableNames(Canonical(path), roots.Dev);
    Describe(info, Ancestry(Canonical(terminal / "device"), sysRoot));
  }
  return ports;
}

}  // namespace OrvixModBus
