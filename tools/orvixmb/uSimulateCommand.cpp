// The subcommand simulate: the other end of a form's lines.

#include <chrono>
#include <memory>

#include "platform/rtl/uNumText.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uFormDevice.h"
#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uFrameMeaning.h"
#include "tools/orvixmb/uParityOption.h"
#include "tools/simulator/uSimulatorOutlet.h"

namespace OrvixModBus {
namespace {

struct TSimulateOptions {
  std::string Form, Link, Port;
  std::uint32_t BaudRate = 0;    // 0 = not given
  std::string Parity;            // empty = not given
  std::uint32_t Turnaround = 0;  // ms
  bool Journal = false, Trace = false;
};

// The port as the form's first line has it, unless the user says otherwise.
TPortSettings PortOf(const TSimulateOptions& options, const TComponent& root) {
  TPortSettings port;
  const auto lines = ComponentsOf<TMBRTUConnection>(root);
  if (!lines.empty()) {
    const TMBRTUConnection& line = *lines.front();
    port.BaudRate = line.BaudRate();
    port.Parity = line.Parity();
    port.DataBits = line.DataBits();
    port.StopBits = line.StopBits();
  }
  port.Name = options.Port;
  if (options.BaudRate != 0) port.BaudRate = options.BaudRate;
  if (!options.Parity.empty()) port.Parity = ParityNamed(options.Parity);
  return port;
}

// A pseudo-terminal has no rate of its own, so it is slow only when asked to.
TSimulatorLineSettings LineOf(const TSimulateOptions& options) {
  TSimulatorLineSettings line;
  if (options.Port.empty()) line.BaudRate = options.BaudRate;
  line.Turnaround = std::chrono::milliseconds(options.Turnaround);
  return line;
}

// What is asked and answered, in words, and all frames on io.Err.
class TFrameReport {
 public:
  TFrameReport(const TSimulateOptions& options, TToolIo& io) : fOptions(options), fIo(io) {}

  void Show(ELineFrame kind, TByteView frame) {
    const bool asked = kind == ELineFrame::Request;
    if (asked) fRequest = ToBytes(frame);
    if (fOptions.Trace) {
      const auto direction = asked ? TTraceDirection::tdSent : TTraceDirection::tdReceived;
      fIo.Err << fTrace.Line(direction, frame, std::chrono::steady_clock::now()) << std::endl;
    }
    if (!fOptions.Journal || frame.empty()) return;
    fIo.Out << (asked ? "> " : "< ") << IntToStr(frame.front()) << ": "
            << (asked ? RequestMeaning(frame) : ReplyMeaning(frame, fRequest)) << std::endl;
  }

 private:
  const TSimulateOptions& fOptions;
  TToolIo& fIo;
  TFrameTrace fTrace{std::chrono::steady_clock::now()};
  Bytes fRequest;  // the last one
};

void RunSimulate(const TSimulateOptions& options, TToolIo& io) {
  const std::unique_ptr<TComponent> root = LoadForm(options.Form);
  TSimulator simulator;
  for (const std::string& leftOut : FormDevices(*root, simulator)) {
    io.Err << "left out: " << leftOut << std::endl;
  }
  const TSimulatorOutlet outlet({.Port = PortOf(options, *root), .Link = options.Link});
  TFrameReport report(options, io);
  ServeUntilSignal(simulator, outlet, LineOf(options), io.Out,
                   [&report](ELineFrame kind, TByteView frame) { report.Show(kind, frame); });
}

void AddOutletOptions(CLI::App& command, TSimulateOptions& options) {
  auto* const link =
      command
          .add_option("--link", options.Link,
                      "make this a symbolic link to the pseudo-terminal while that is there")
          ->type_name("PATH");
  auto* const port =
      command.add_option("--port", options.Port, "serve this serial port, set up as the form's")
          ->excludes(link)
          ->type_name("PATH");
  command
      .add_option("--baud", options.BaudRate,
                  "bits per second of the port, in place of the form's; a pseudo-terminal is as "
                  "slow as that, and as fast as it can be without this option")
      ->check(CLI::Range(50, 10'000'000))
      ->type_name("N");
  AddParityOption(command, options.Parity, "of the port, in place of the form's")->needs(port);
}

}  // namespace

void AddSimulateCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TSimulateOptions>();
  CLI::App& command = AddSubcommand(
      app,
      {.Name = "simulate",
       .Summary = "Serve the other end of a form: its devices, simulated",
       .Details =
           "The devices have all registers, logs, oscillograms and files for which the form asks. "
           "Prints one line, the path to open, when it is ready; ends by Ctrl+C or SIGTERM.",
       .Example = "orvixmb simulate boiler.form --link /tmp/boiler --journal"},
      [options, &io] { RunSimulate(*options, io); });
  AddFormOption(command, options->Form);
  AddOutletOptions(command, *options);
  command
      .add_option("--turnaround", options->Turnaround,
                  "milliseconds from the end of a request to its reply")
      ->check(CLI::Range(0, 60'000))
      ->type_name("MS");
  command.add_flag("--journal", options->Journal, "print in words what is asked and answered");
  AddTraceOption(command, options->Trace);
}

}  // namespace OrvixModBus
