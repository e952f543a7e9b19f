// The subcommand replay: a recording of a line, done again by the library itself.

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/rtl/uTextFile.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uOutput.h"
#include "tools/orvixmb/uPcap.h"
#include "tools/orvixmb/uReplay.h"
#include "tools/orvixmb/uReplayForm.h"
#include "tools/orvixmb/uReplayText.h"

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;

struct TReplayOptions {
  std::string File, Form, Pcap;
  TOutputOptions Output;
};

TFlightRecording RecordingNamed(const std::string& path) {
  try {
    return ReadRecording(path);
  } catch (const Exception& error) {
    throw EUsageError(error.what());
  }
}

void PrintEnd(const TReplay& replay, TToolIo& io) {
  io.Out << CountersText(replay.Counters());
  if (replay.Unfinished() > 0) io.Out << replay.Unfinished() << " requests not finished\n";
  io.Out << std::flush;
}

void RunReplay(const TReplayOptions& options, TToolIo& io) {
  const TFlightRecording recording = RecordingNamed(options.File);
  std::optional<TReplayForm> form;
  if (!options.Form.empty()) form.emplace(options.Form, io);
  TPcapFile pcap;
  TJson events = TJson::array();
  TReplay replay(recording);
  replay.OnFrame = [&](TTraceDirection direction, TByteView frame, std::chrono::nanoseconds time) {
    if (!options.Pcap.empty()) pcap.Add(direction, frame, recording.Start + time);
  };
  replay.OnEvent = [&](const TReplayEvent& event) {
    const std::vector<TRegisterRow> rows = form ? form->Take(event) : std::vector<TRegisterRow>();
    if (options.Output.Json) {
      events.push_back(ReplayJson(event, rows));
    } else {
      io.Out << ReplayText(event, rows);
    }
  };
  replay.Run();
  const std::string& difference = replay.Difference();
  if (options.Output.Json) {
    PrintJson(io, {{"events", events},
                   {"counters", CountersJson(replay.Counters())},
                   {"unfinished", replay.Unfinished()},
                   {"difference", difference.empty() ? TJson() : TJson(difference)}});
  } else {
    PrintEnd(replay, io);
  }
  if (!options.Pcap.empty()) WriteWholeFile(options.Pcap, pcap.Text());
  if (!difference.empty()) throw Exception("not as recorded: " + difference);
}

}  // namespace

void AddReplayCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TReplayOptions>();
  CLI::App& command = AddSubcommand(
      app,
      {.Name = "replay",
       .Summary = "Replay what a line's flight recorder has saved",
       .Details =
           "The library itself is given the requests and the bytes of the recording at their "
           "times, and its events are printed: so a failure in the field is looked at, or becomes "
           "a test. What it would send now and did not send then is an error. A capture file has "
           "a UDP packet for each frame, with the server of address 17 as 127.0.1.17; it is "
           "decoded by: tshark -o mbrtu.udp.port:5020 -V -r FILE; or in the analyser's window by "
           "Decode As, UDP port 5020, Modbus RTU. What was thrown away goes to port 9.",
       .Example = "orvixmb replay failure.orvixrec --form plant.form --pcap failure.pcap"},
      [options, &io] { RunReplay(*options, io); });
  command.add_option("FILE", options->File, "the recording")->required();
  command.add_option("--form", options->Form, "show the values of this form's registers, too")
      ->type_name("FORM");
  command.add_option("--pcap", options->Pcap, "write the frames to this file for an analyser")
      ->type_name("PATH");
  AddJsonOption(command, options->Output);
}

}  // namespace OrvixModBus
