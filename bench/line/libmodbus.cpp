// The peer libmodbus: a thread for each line, as its calls wait for their replies.

#include <modbus.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "bench/line/uMaster.h"

namespace OrvixModBus {
namespace {

constexpr int kServer = 1;

class TPeer {
 public:
  TPeer(const TMasterOptions& options, std::size_t line)
      : fOptions(options),
        fLine(modbus_new_rtu(options.Ports[line].c_str(), options.BaudRate, 'N', 8, 2)) {
    Require(fLine != nullptr && modbus_set_slave(fLine, kServer) == 0 &&
            modbus_connect(fLine) == 0);
  }
  TPeer(const TPeer&) = delete;
  TPeer& operator=(const TPeer&) = delete;
  ~TPeer() {
    modbus_close(fLine);
    modbus_free(fLine);
  }

  void Transact() {
    const int count = fOptions.Count;
    if (fOptions.Map) return ReadMap();
    switch (fOptions.Function) {
      case 1:
        return Require(modbus_read_bits(fLine, 0, count, fBits.data()) == count);
      case 3:
        return Require(modbus_read_registers(fLine, 0, count, fValues.data()) == count);
      case 6:
        return Require(modbus_write_register(fLine, 0, 0x1234) == 1);
      default:
        return Require(modbus_write_registers(fLine, 0, count, fValues.data()) == count);
    }
  }

 private:
  void ReadMap() {
    for (const TTag& tag : fMap) {
      Require(modbus_read_registers(fLine, tag.Address, tag.Words, fValues.data()) == tag.Words);
    }
  }

  void Require(bool good) const {
    if (good) return;
    std::fprintf(stderr, "libmodbus: %s\n", modbus_strerror(errno));
    std::exit(1);
  }

  const TMasterOptions& fOptions;
  modbus_t* const fLine;
  const std::vector<TTag> fMap = TagMap();
  std::array<std::uint16_t, 125> fValues{};
  std::array<std::uint8_t, 2000> fBits{};
};

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) {
  using namespace OrvixModBus;
  const TMasterOptions options = ReadOptions(argc, argv);
  TMeasure measure(options);
  std::vector<std::jthread> threads;
  for (std::size_t line = 0; line < options.Ports.size(); ++line) {
    threads.emplace_back([&options, &measure, line] {
      TPeer peer(options, line);
      do {
        peer.Transact();
      } while (measure.Completed(line));
    });
  }
}
