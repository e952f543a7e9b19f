#pragma once
// uRecording: what a line's flight recorder held, as a text that people and programs read.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/modbus/uFlightRecorder.h"
#include "platform/modbus/uReplyLength.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {

class TModbusConnection;

/// A text that is no recording: "line 7: '12.5' is no time".
class ERecordingError : public Exception {
 public:
  using Exception::Exception;
};

/// One entry, its time counted from the recording's start; all but Text as in TFlightEntry.
struct TRecordedEntry {
  std::chrono::nanoseconds Time{};
  TFlightKind Kind = TFlightKind::fkLook;
  bool Inside = false;
  std::uint8_t Detail = 0;
  std::uint32_t Number = 0;
  Bytes Data;
  std::string Text;  ///< of fkLost the reason, of fkSet the setting: "BaudRate 19200"

  bool operator==(const TRecordedEntry&) const = default;
};

/// All that a line saw from Start on. As text, line by line:
///
///     orvixmodbus recording 1
///     start 2026-03-01T08:15:00.000000000Z
///     set BaudRate 9600
///     rule 66 counted 5 2
///     port open
///     overwritten 120
///     0.000000000 queue 1 custom 01 03 00 64 00 01
///     0.004010417 sent 1 0 01 03 00 64 00 01 C5 D5
///     0.031250000 read 01 03 02 00 05 78 47
///     0.031250000 end srNormalReply
///
/// set: every line setting before the first entry, as forms name it. rule: how long the replies
/// of a function code are, where it differs from the library's own. port open: it was, before the
/// first entry. overwritten: so many entries were lost before the first one. Then the entries:
///
///     queue NUMBER custom|identity BYTES      server address, function code, data
///     queue NUMBER files BYTES                the same, and file, record, length of each record
///     discard NUMBER, skip NUMBER, wrote COUNT, open, close, released, look, reopen, away
///     sent NUMBER RETRIES BYTES, read BYTES, end REPLYKIND, set NAME VALUE, lost REASON
///
/// A + before the word of what the program does (queue, discard, open, close, set) says that it
/// did so inside an event of the line. Empty lines and lines that begin with # say nothing. In
/// NAME, VALUE and REASON %0A stands for a line end, %25 for %, and so on.
struct TFlightRecording {
  std::chrono::sys_time<std::chrono::nanoseconds> Start{};
  std::vector<std::string> Settings;  ///< "BaudRate 9600"
  TReplyLengths Lengths;
  bool BeginsOpen = false;
  std::uint64_t Overwritten = 0;
  std::vector<TRecordedEntry> Entries;  ///< in order of time
};

std::string RecordingText(const TFlightRecording& recording);
/// ERecordingError for any text that RecordingText could not have made.
TFlightRecording ParseRecording(std::string_view text);
/// EStreamError; ERecordingError that begins with the file's name.
TFlightRecording ReadRecording(const std::string& fileName);

/// Writes a file, or replaces one that is a recording. EStreamError, and it is as it was.
void WriteRecording(const std::string& fileName, const TFlightRecording& recording);

/// What recorder holds now, without the rules. settings: those of its line; textOf tells them, or
/// others, as LineSettings does.
TFlightRecording RecordingOf(
    const TFlightRecorder& recorder, const TLineSettings& settings,
    const std::function<std::vector<std::string>(const TLineSettings&)>& textOf);

/// All settings of a line by which it runs: "BaudRate 9600".
std::vector<std::string> LineSettings(const TModbusConnection& line);
/// Exception for a setting that there is not, or a value that won't do, and nothing has changed.
void ApplyLineSetting(TModbusConnection& line, std::string_view setting);

}  // namespace OrvixModBus
