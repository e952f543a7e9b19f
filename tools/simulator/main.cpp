// orvixsim: simulated Modbus RTU devices on a pseudo-terminal or a serial port.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <span>
#include <string>

#include "platform/rtl/uNumText.h"
#include "tools/simulator/uSimulatorFile.h"
#include "tools/simulator/uSimulatorOutlet.h"

namespace OrvixModBus {
namespace {

// What is simulated without a file.
constexpr char kExample[] = R"({"servers": [{
  "address": 1,
  "coils": {"0": [1, 0, 1, 0, 1, 0, 1, 0]},
  "discrete": {"0": {"count": 8, "formula": "toggle", "period": 1}},
  "holding": {"0": {"count": 1, "formula": "counter", "from": 0, "step": 1, "period": 1},
              "1": {"count": 1, "formula": "sine", "low": -1000, "high": 1000, "period": 10},
              "100": [1, 2, 3, 4, 5, 6, 7, 8, 9, 10]},
  "input": {"0": {"count": 1000, "formula": "ramp", "from": 0, "step": 1}},
  "extended": {"1": [1, 2, 3]},
  "paged": {"0x10000": "00 11 22 33 44 55 66 77"},
  "identity": {"id": "01", "text": "Simulated device"},
  "logs": {
    "0x20": {"total": 1200, "records": 240, "format": [
      {"size": 4, "formula": "ramp", "from": 1700000000, "step": 60},
      {"size": 2, "formula": "sine", "low": -1000, "high": 1000, "period": 60},
      {"size": 2, "formula": "cycle", "values": [1, 2, 5, 2]}]},
    "0x24": {"records": 100, "format": [
      {"size": 4, "formula": "ramp", "from": 1700000000, "step": 3600},
      {"size": 1, "formula": "cycle", "values": [1, 0]},
      {"size": 11, "text": "Operator"}]}},
  "oscillograms": {
    "total": 7,
    "1": {"info": [{"size": 4, "formula": "constant", "value": 1700000000},
                   {"size": 2, "formula": "constant", "value": 400},
                   {"size": 10, "text": "Start"}],
          "records": 400, "format": [
      {"size": 2, "formula": "sine", "low": -3000, "high": 3000, "period": 20},
      {"size": 2, "formula": "sine", "low": -500, "high": 500, "period": 20, "phase": -5}]},
    "2": {"info": [{"size": 4, "formula": "constant", "value": 1700086400},
                   {"size": 2, "formula": "constant", "value": 300},
                   {"size": 10, "text": "Fault"}],
          "records": 300, "format": [
      {"size": 2, "formula": "sine", "low": -3000, "high": 3000, "period": 20, "decay": 90},
      {"size": 2, "formula": "sine", "low": -9000, "high": 9000, "period": 20, "decay": 40}]}}
}]})";

struct TOptions {
  std::string File, Link, Port;
  std::uint32_t BaudRate = 19200;
  std::string Parity = "even";
  double Turnaround = 0;  // ms
  std::optional<std::uint64_t> Seed;
  std::size_t Burst = TSimulatorLineSettings().Burst;
  bool Pace = false;
  bool Trace = false;
};

void Describe(CLI::App& app, TOptions& options) {
  app.add_option("FILE", options.File,
                 "the devices, see below; without it server 1 has a few values of each kind");
  auto* link =
      app.add_option("--link", options.Link,
                     "make this a symbolic link to the pseudo-terminal while that is there")
          ->type_name("PATH");
  auto* port = app.add_option("--port", options.Port, "serve this serial port")->type_name("PATH");
  auto* pace = app.add_flag("--pace", options.Pace,
                            "keep a pseudo-terminal to the baud rate, at 11 bits a character");
  app.add_option("--baud", options.BaudRate, "bits per second, of the port or for --pace")
      ->check(CLI::Range(50, 10'000'000))
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--parity", options.Parity, "of the port: even, odd, or none and two stop bits")
      ->check(CLI::IsMember({"even", "odd", "none"}))
      ->needs(port)
      ->capture_default_str();
  app.add_option("--burst", options.Burst, "characters that come at once with --pace")
      ->check(CLI::Range(1, 256))
      ->needs(pace)
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--turnaround", options.Turnaround, "from the end of a request to its reply")
      ->check(CLI::Range(0.0, 60'000.0))
      ->type_name("MS")
      ->capture_default_str();
  app.add_option("--seed", options.Seed, "of the file's faults, in place of its own")
      ->type_name("N");
  app.add_flag("--trace", options.Trace, "print all frames: > requests, < replies");
  port->excludes(link)->excludes(pace);
  app.footer(
      "Prints one line, the path to open, when it is ready; serves until SIGINT or SIGTERM.\n\n" +
      std::string(kSimulatorFileForm));
}

TSimulatorOutletSettings OutletOf(const TOptions& options) {
  TSimulatorOutletSettings settings{.Port = {.Name = options.Port, .BaudRate = options.BaudRate},
                                    .Link = options.Link};
  if (options.Parity == "odd") settings.Port.Parity = TParityScheme::psOdd;
  if (options.Parity == "none") {
    settings.Port.Parity = TParityScheme::psNone;
    settings.Port.StopBits = TStopBits::sb2;  // a character has 11 bits anyway
  }
  return settings;
}

void Print(ELineFrame kind, std::span<const std::uint8_t> frame) {
  std::string text = kind == ELineFrame::Request ? ">" : "<";
  for (const std::uint8_t byte : frame) text += " " + IntToHex(byte, 2);
  std::cout << text << std::endl;
}

void Serve(const TOptions& options) {
  TSimulator simulator = options.File.empty() ? ReadSimulatorText(kExample, "example")
                                              : ReadSimulatorFile(options.File);
  if (options.Seed) simulator.SetSeed(*options.Seed);
  TSimulatorLineSettings settings;
  if (options.Pace) settings.BaudRate = options.BaudRate;
  settings.Burst = options.Burst;
  settings.Turnaround = std::chrono::nanoseconds(std::llround(options.Turnaround * 1e6));

  const TSimulatorOutlet outlet(OutletOf(options));
  std::function<void(ELineFrame, std::span<const std::uint8_t>)> onFrame;
  if (options.Trace) onFrame = Print;
  ServeUntilSignal(simulator, outlet, settings, std::cout, onFrame);
}

int Main(int argc, char** argv) {
  CLI::App app("Simulated Modbus RTU devices on a pseudo-terminal or a serial port.", "orvixsim");
  TOptions options;
  Describe(app, options);
  CLI11_PARSE(app, argc, argv);
  try {
    Serve(options);
  } catch (const std::exception& error) {
    std::cerr << "orvixsim: " << error.what() << std::endl;
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) { return OrvixModBus::Main(argc, argv); }
