#pragma once
// uRecordings: what the subcommands log and oscillogram have in common - their options, their
// checks before anything is sent, and where the records go that have been read.

#include <CLI/CLI.hpp>
#include <string>

#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uItemReader.h"
#include "tools/orvixmb/uOutput.h"
#include "tools/orvixmb/uRecordText.h"

namespace OrvixModBus {

struct TRecordingOptions {
  TSessionOptions Session;
  std::string Component;
  std::string Structure;  ///< empty = records are shown as they are
  double Interval = 0;    ///< ms from one record to the next; 0 = not known
  TOutputOptions Output;
  std::string Svg, Comtrade;  ///< names of files; empty = none
};

/// FORM, COMPONENT and all options of the above. kind tells what component is: "log".
void AddRecordingOptions(CLI::App& command, TRecordingOptions& options, const std::string& kind);

/// How a component's records look.
struct TRecordLayout {
  std::size_t Length = 0;  ///< bytes of one
  TMaybeStructure Structure;
};

/// Of component, whose property tells length. EUsageError for a length that no reply holds, as
/// StructureNamed, and for curves without a structure that has numbers.
TRecordLayout LayoutOf(const TFormSession& session, const TRecordingOptions& options,
                       const TMBItemFunction& component, const std::string& property,
                       std::int32_t length);

/// The client that component asks; EUsageError for none, and for an emulated one.
TMBClient& ClientOf(const TFormSession& session, const TMBItemFunction& component);

/// As ReadRecords, with a progress bar where somebody watches.
TRecording ReadShown(const TRecordRange& range, const TRecordingOptions& options, TToolIo& io);

/// The records as a table or as CSV.
std::string RecordsText(const TRecording& recording, const TRecordLayout& layout,
                        const TOutputOptions& output);

/// What the curves of a picture and of COMTRADE files are of.
struct TCurveNames {
  std::string Title, Station, Device;
};
/// Writes the files of curves that the user wants, of no records none, and text on io.Out. The
/// files come first, since a reader that has seen enough ends the program.
void Deliver(const TRecording& recording, const TRecordLayout& layout,
             const TRecordingOptions& options, const TCurveNames& names, const std::string& text,
             TToolIo& io);

}  // namespace OrvixModBus
