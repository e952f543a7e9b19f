#include "platform/modbus/uRecording.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "platform/loop/uLoop.h"
#include "platform/modbus/uFileRecordList.h"
#include "platform/modbus/uModbusClient.h"
#include "platform/modbus/uModbusConnection.h"
#include "platform/model/uProperty.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uTextFile.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using TNames = std::span<const std::string_view>;

constexpr std::string_view kFirstLine = "orvixmodbus recording 1";
constexpr std::string_view kTransactionKinds[] = {"custom", "identity", "files"};
constexpr std::string_view kRuleKinds[] = {"silence", "fixed", "counted", "request"};
constexpr std::size_t kNanoDigits = 9;
constexpr std::uint64_t kGreatestSeconds = 4'000'000'000;  // its nanoseconds fit 64 bits
constexpr std::size_t kFileRecordSize = 6;                 // file, record, length

enum class TRest { None, Bytes, Text };

// What stands behind the word of an entry: number, detail by name or as a number, the rest.
struct TShape {
  std::string_view Word;
  bool Number = false;
  TNames Details = {};
  bool Retries = false;
  TRest Rest = TRest::None;
};

// In the order of TFlightKind.
constexpr std::array kShapes = {
    TShape{.Word = "queue", .Number = true, .Details = kTransactionKinds, .Rest = TRest::Bytes},
    TShape{.Word = "discard", .Number = true},
    TShape{.Word = "open"},
    TShape{.Word = "close"},
    TShape{.Word = "set", .Rest = TRest::Text},
    TShape{.Word = "sent", .Number = true, .Retries = true, .Rest = TRest::Bytes},
    TShape{.Word = "wrote", .Number = true},
    TShape{.Word = "released"},
    TShape{.Word = "read", .Rest = TRest::Bytes},
    TShape{.Word = "end", .Details = TEnumNames<TServerReply>::Values},
    TShape{.Word = "skip", .Number = true},
    TShape{.Word = "look"},
    TShape{.Word = "lost", .Rest = TRest::Text},
    TShape{.Word = "reopen"},
    TShape{.Word = "away"},
};

// ---- the text of a recording --------------------------------------------------------------------

std::string Padded(std::uint64_t value, std::size_t digits) {
  std::string text = std::to_string(value);
  return std::string(digits - std::min(digits, text.size()), '0') + text;
}

std::string TimeText(nanoseconds time) {
  const auto count = static_cast<std::uint64_t>(time.count());
  return std::to_string(count / 1'000'000'000) + "." + Padded(count % 1'000'000'000, kNanoDigits);
}

std::string StartText(std::chrono::sys_time<nanoseconds> start) {
  const auto day = std::chrono::floor<std::chrono::days>(start);
  const std::chrono::year_month_day date(day);
  const auto seconds =
      static_cast<std::uint64_t>(std::chrono::floor<std::chrono::seconds>(start - day).count());
  const auto nanos = static_cast<std::uint64_t>((start - day).count()) % 1'000'000'000;
  std::string text = Padded(static_cast<std::uint64_t>(static_cast<int>(date.year())), 4);
  text += "-" + Padded(static_cast<unsigned>(date.month()), 2);
  text += "-" + Padded(static_cast<unsigned>(date.day()), 2);
  text += "T" + Padded(seconds / 3600, 2) + ":" + Padded(seconds / 60 % 60, 2);
  text += ":" + Padded(seconds % 60, 2) + "." + Padded(nanos, kNanoDigits) + "Z";
  return text;
}

std::string BytesText(TByteView bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += IntToHex(byte, 2);
  }
  return text;
}

// Text of one line.
std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    const auto byte = static_cast<std::uint8_t>(character);
    if (byte < ' ' || byte == 0x7F || character == '%') {
      escaped += "%" + IntToHex(byte, 2);
    } else {
      escaped += character;
    }
  }
  return escaped;
}

std::string RuleText(std::uint8_t code, const TReplyLengthRule& rule) {
  using TKind = TReplyLengthRule::TKind;
  std::string text = std::to_string(code) + " ";
  text += kRuleKinds[static_cast<std::size_t>(rule.Kind)];
  const auto add = [&text](unsigned number) { text += " " + std::to_string(number); };
  if (rule.Kind != TKind::Silence) add(rule.Length);
  if (rule.Kind == TKind::Counted || rule.Kind == TKind::Request) add(rule.Position);
  if (rule.Kind == TKind::Request) {
    add(rule.First);
    add(rule.Last);
  }
  return text;
}

std::string EntryText(const TRecordedEntry& entry) {
  const TShape& shape = kShapes[static_cast<std::size_t>(entry.Kind)];
  std::string text = TimeText(entry.Time) + (entry.Inside ? " +" : " ");
  text += shape.Word;
  if (shape.Number) text += " " + std::to_string(entry.Number);
  if (shape.Retries) text += " " + std::to_string(entry.Detail);
  if (!shape.Details.empty()) {
    text += " ";
    text += shape.Details[entry.Detail];
  }
  if (shape.Rest == TRest::Bytes) text += " " + BytesText(entry.Data);
  if (shape.Rest == TRest::Text) text += " " + Escaped(entry.Text);
  return text;
}

bool IsBuiltIn(std::uint8_t code, const TReplyLengthRule& rule) {
  static const TReplyLengths builtIn;
  return builtIn.Rule(code) == rule;
}

// ---- reading ------------------------------------------------------------------------------------

[[noreturn]] void RefuseText(std::string_view text, const std::string& what) {
  throw ERecordingError("'" + std::string(text) + "' is no " + what);
}

std::string_view TakeWord(std::string_view& rest) {
  const std::size_t end = std::min(rest.find(' '), rest.size());
  const std::string_view word = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return word;
}

std::uint64_t NumberOf(std::string_view word, std::uint64_t most, const std::string& what) {
  std::uint64_t value = 0;
  const char* const end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, value);
  if (word.empty() || error != std::errc() || stop != end || value > most) RefuseText(word, what);
  return value;
}

template <class T>
T TakeNumber(std::string_view& rest) {
  constexpr std::uint64_t kMost = std::numeric_limits<T>::max();
  return static_cast<T>(
      NumberOf(TakeWord(rest), kMost, "number from 0 to " + std::to_string(kMost)));
}

std::size_t IndexOf(TNames names, std::string_view word, const std::string& what) {
  const auto found = std::ranges::find(names, word);
  if (found == names.end()) RefuseText(word, what);
  return static_cast<std::size_t>(found - names.begin());
}

nanoseconds TimeOf(std::string_view word) {
  const std::size_t dot = std::min(word.find('.'), word.size());
  if (word.size() != dot + 1 + kNanoDigits) RefuseText(word, "time");
  const auto seconds = NumberOf(word.substr(0, dot), kGreatestSeconds, "time");
  const auto nanos = NumberOf(word.substr(dot + 1), 999'999'999, "time");
  return nanoseconds(static_cast<std::int64_t>(seconds * 1'000'000'000 + nanos));
}

// 2026-03-01T08:15:00.000000000Z
std::chrono::sys_time<nanoseconds> StartOf(std::string_view text) {
  constexpr std::string_view kPattern = "0000-00-00T00:00:00.000000000Z";
  const bool fits = std::ranges::equal(text, kPattern, [](char given, char wanted) {
    return wanted == '0' ? given >= '0' && given <= '9' : given == wanted;
  });
  if (!fits) RefuseText(text, "start time");
  const auto part = [text](std::size_t at, std::size_t size) {
    return static_cast<int>(NumberOf(text.substr(at, size), 999'999'999, "start time"));
  };
  const std::chrono::year_month_day date(std::chrono::year(part(0, 4)),
                                         std::chrono::month(static_cast<unsigned>(part(5, 2))),
                                         std::chrono::day(static_cast<unsigned>(part(8, 2))));
  const int hours = part(11, 2), minutes = part(14, 2), seconds = part(17, 2);
  const bool possible = date.ok() && hours < 24 && minutes < 60 && seconds < 60;
  const bool counts =
      date.year() >= std::chrono::year(1970) && date.year() < std::chrono::year(2200);
  if (!possible || !counts) RefuseText(text, "start time");
  return std::chrono::sys_days(date) + std::chrono::hours(hours) + std::chrono::minutes(minutes) +
         std::chrono::seconds(seconds) + nanoseconds(part(20, 9));
}

int HexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

std::uint8_t ByteOf(std::string_view word) {
  const int high = word.size() == 2 ? HexDigit(word[0]) : -1;
  const int low = word.size() == 2 ? HexDigit(word[1]) : -1;
  if (high < 0 || low < 0) RefuseText(word, "byte");
  return static_cast<std::uint8_t>(high * 16 + low);
}

Bytes BytesOf(std::string_view rest) {
  Bytes bytes;
  while (!rest.empty()) bytes.push_back(ByteOf(TakeWord(rest)));
  constexpr std::size_t kMost = std::numeric_limits<std::uint16_t>::max();
  if (bytes.empty() || bytes.size() > kMost)
    throw ERecordingError("an entry of 1 to 65535 bytes is wanted");
  return bytes;
}

std::string Unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      plain += text[i];
    } else {
      plain += static_cast<char>(ByteOf(text.substr(i + 1, 2)));
      i += 2;
    }
  }
  return plain;
}

// What can't have been queued.
void CheckQueued(const TRecordedEntry& entry) {
  const Bytes& data = entry.Data;
  bool good = data.size() >= 2;
  switch (static_cast<TTransactionKind>(entry.Detail)) {
    case TTransactionKind::tkCustom:
      good = good && data.size() <= 2 + TModbusClient::kMaxData;
      break;
    case TTransactionKind::tkServerID:
      good = data.size() == 2 && data[1] == 0x11;
      break;
    case TTransactionKind::tkFileRecord:
      good = good && data[1] == 0x14 && (data.size() - 2) % kFileRecordSize == 0;
      for (std::size_t i = 2; good && i < data.size(); i += kFileRecordSize) {
        const int length = data[i + 4] * 256 + data[i + 5];
        good = length <= TModbusFileRecordList::kMaxLength;
      }
      break;
  }
  if (!good) RefuseText(BytesText(data), "request of that kind");
}

TRecordedEntry EntryOf(nanoseconds time, std::string_view rest) {
  const bool inside = rest.starts_with('+');
  if (inside) rest.remove_prefix(1);
  const std::string_view word = TakeWord(rest);
  const auto shape = std::ranges::find(kShapes, word, &TShape::Word);
  if (shape == kShapes.end()) RefuseText(word, "kind of entry");
  TRecordedEntry entry;
  entry.Inside = inside;
  entry.Time = time;
  entry.Kind = static_cast<TFlightKind>(shape - kShapes.begin());
  if (inside && entry.Kind > TFlightKind::fkSet) RefuseText(word, "thing that a program does");
  if (shape->Number) entry.Number = TakeNumber<std::uint32_t>(rest);
  if (shape->Retries) entry.Detail = TakeNumber<std::uint8_t>(rest);
  if (!shape->Details.empty()) {
    entry.Detail = static_cast<std::uint8_t>(
        IndexOf(shape->Details, TakeWord(rest), "kind of it that there is"));
  }
  if (shape->Rest == TRest::None && !rest.empty()) RefuseText(rest, "part of such an entry");
  if (shape->Rest == TRest::Bytes) entry.Data = BytesOf(rest);
  if (shape->Rest == TRest::Text) entry.Text = Unescaped(rest);
  if (entry.Kind == TFlightKind::fkQueue) CheckQueued(entry);
  return entry;
}

void ReadRule(std::string_view rest, TReplyLengths& lengths) {
  using TKind = TReplyLengthRule::TKind;
  const auto code = TakeNumber<std::uint8_t>(rest);
  TReplyLengthRule rule;
  rule.Kind = static_cast<TKind>(IndexOf(kRuleKinds, TakeWord(rest), "kind of rule"));
  if (rule.Kind != TKind::Silence) rule.Length = TakeNumber<std::uint16_t>(rest);
  if (rule.Kind == TKind::Counted || rule.Kind == TKind::Request) {
    rule.Position = TakeNumber<std::uint8_t>(rest);
  }
  if (rule.Kind == TKind::Request) {
    rule.First = TakeNumber<std::uint8_t>(rest);
    rule.Last = TakeNumber<std::uint8_t>(rest);
  }
  if (!rest.empty()) RefuseText(rest, "part of a rule");
  lengths.Set(code, rule);
}

// Takes a recording line by line. Settings are tried on a line of its own.
class TReader {
 public:
  TFlightRecording Read(std::string_view text) {
    while (!text.empty()) {
      ++fLine;
      const std::size_t end = std::min(text.find('\n'), text.size());
      ReadNumbered(text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (fLine == 0) throw ERecordingError("line 1: it is empty");
    return std::move(fRecording);
  }

 private:
  void ReadNumbered(std::string_view line) {
    try {
      ReadLine(line);
    } catch (const Exception& error) {
      throw ERecordingError("line " + std::to_string(fLine) + ": " + error.what());
    }
  }

  void ReadLine(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (fLine == 1) {
      if (line != kFirstLine) throw ERecordingError("this is no recording of version 1");
    } else if (line.empty() || line.front() == '#') {
      return;
    } else if (line.front() >= '0' && line.front() <= '9') {
      AddEntry(line);
    } else if (fRecording.Entries.empty()) {
      ReadHeader(line);
    } else {
      RefuseText(line, "entry");
    }
  }

  void ReadHeader(std::string_view rest) {
    const std::string_view word = TakeWord(rest);
    if (word == "start") {
      fRecording.Start = StartOf(rest);
    } else if (word == "set") {
      fRecording.Settings.push_back(Tried(Unescaped(rest)));
    } else if (word == "rule") {
      ReadRule(rest, fRecording.Lengths);
    } else if (word == "port") {
      constexpr std::string_view kStates[] = {"closed", "open"};
      fRecording.BeginsOpen = IndexOf(kStates, rest, "state of a port") == 1;
    } else if (word == "overwritten") {
      fRecording.Overwritten = NumberOf(rest, std::numeric_limits<std::uint64_t>::max(), "number");
    } else {
      RefuseText(word, "part of a recording");
    }
  }

  void AddEntry(std::string_view rest) {
    const nanoseconds time = TimeOf(TakeWord(rest));
    if (time < fTime) throw ERecordingError("it is earlier than the line before");
    fTime = time;
    TRecordedEntry entry = EntryOf(time, rest);
    if (entry.Kind == TFlightKind::fkSet) Tried(entry.Text);
    fRecording.Entries.push_back(std::move(entry));
  }

  std::string Tried(std::string setting) {
    ApplyLineSetting(fScratch, setting);
    return setting;
  }

  TFlightRecording fRecording;
  TModbusConnection fScratch;
  nanoseconds fTime{};
  std::size_t fLine = 0;
};

// ---- settings -----------------------------------------------------------------------------------

// Neither an event, nor about the recorder itself or the state of the port.
bool IsLineSetting(const TPropertyInfo& property) {
  constexpr std::string_view kOthers[] = {"Active", "RecorderSize", "RecordingFile"};
  const bool plain =
      property.Kind == TPropertyKind::pkInteger || property.Kind == TPropertyKind::pkEnumeration ||
      property.Kind == TPropertyKind::pkBoolean || property.Kind == TPropertyKind::pkString;
  return plain && std::ranges::find(kOthers, property.Name) == std::end(kOthers);
}

std::string ValueText(const TPropertyInfo& property, const TPropertyValue& value) {
  if (property.Kind == TPropertyKind::pkString) return std::get<std::string>(value);
  const auto number = std::get<std::int64_t>(value);
  return property.Kind == TPropertyKind::pkEnumeration
             ? std::string(property.EnumNames[static_cast<std::size_t>(number)])
             : std::to_string(number);
}

TPropertyValue ValueOf(const TPropertyInfo& property, std::string_view text) {
  const std::string what = "value of " + std::string(property.Name);
  if (property.Kind == TPropertyKind::pkString) return std::string(text);
  if (property.Kind == TPropertyKind::pkEnumeration) {
    return static_cast<std::int64_t>(IndexOf(property.EnumNames, text, what));
  }
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) RefuseText(text, what);
  return number;
}

// Both are all settings in the same order; entry has the time of the change.
void AddChanges(const std::vector<std::string>& before, const std::vector<std::string>& after,
                TRecordedEntry entry, std::vector<TRecordedEntry>& entries) {
  for (std::size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
    if (before[i] == after[i]) continue;
    entry.Text = after[i];
    entries.push_back(entry);
  }
}

// Nothing is there, or a recording. Forms may name any file: nobody's letters are to be lost.
bool MayReplace(const std::string& fileName) {
  std::error_code failed;
  const auto status = std::filesystem::status(fileName, failed);
  if (!std::filesystem::exists(status)) return true;
  if (!std::filesystem::is_regular_file(status)) return false;
  std::ifstream file(fileName, std::ios::binary);
  std::string begin(kFirstLine.size(), '\0');
  file.read(begin.data(), static_cast<std::streamsize>(begin.size()));
  return file && begin == kFirstLine;
}

}  // namespace

std::string RecordingText(const TFlightRecording& recording) {
  std::string text(kFirstLine);
  const auto add = [&text](const std::string& line) { text.append("\n").append(line); };
  add("start " + StartText(recording.Start));
  for (const std::string& setting : recording.Settings) add("set " + Escaped(setting));
  for (int code = 0; code < 256; ++code) {
    const auto byte = static_cast<std::uint8_t>(code);
    const TReplyLengthRule& rule = recording.Lengths.Rule(byte);
    if (!IsBuiltIn(byte, rule)) add("rule " + RuleText(byte, rule));
  }
  add(recording.BeginsOpen ? "port open" : "port closed");
  if (recording.Overwritten > 0) add("overwritten " + std::to_string(recording.Overwritten));
  for (const TRecordedEntry& entry : recording.Entries) add(EntryText(entry));
  text += '\n';
  return text;
}

TFlightRecording ParseRecording(std::string_view text) { return TReader().Read(text); }

TFlightRecording ReadRecording(const std::string& fileName) {
  const std::string text = ReadWholeFile(fileName);
  try {
    return ParseRecording(text);
  } catch (const ERecordingError& error) {
    throw ERecordingError(fileName + ": " + error.what());
  }
}

void WriteRecording(const std::string& fileName, const TFlightRecording& recording) {
  if (!MayReplace(fileName)) {
    throw EStreamError("Can't write \"" + fileName + "\": what is there is no recording");
  }
  WriteWholeFile(fileName, RecordingText(recording));
}

TFlightRecording RecordingOf(
    const TFlightRecorder& recorder, const TLineSettings& settings,
    const std::function<std::vector<std::string>(const TLineSettings&)>& textOf) {
  const auto& former = recorder.FormerSettings();
  std::size_t changes = 0;
  const auto held = [&] { return textOf(changes < former.size() ? former[changes] : settings); };
  TFlightRecording recording;
  recording.Settings = held();
  recording.BeginsOpen = recorder.BeginsOpen();
  recording.Overwritten = recorder.Overwritten();
  const TFlightRecorder::TTime now = TLoop::Current().Now();
  std::optional<TFlightRecorder::TTime> first;
  std::vector<std::string> before = recording.Settings;
  recorder.ForEach([&](const TFlightEntry& entry) {
    if (!first) first = entry.Time;
    TRecordedEntry recorded{
        entry.Time - *first, entry.Kind, entry.Inside, entry.Detail, entry.Number, {}, {}};
    if (entry.Kind == TFlightKind::fkSet) {
      ++changes;
      std::vector<std::string> after = held();
      AddChanges(before, after, recorded, recording.Entries);
      before.swap(after);
      return;
    }
    const bool isText = entry.Kind == TFlightKind::fkLost;
    if (isText) recorded.Text.assign(entry.Data.begin(), entry.Data.end());
    if (!isText) recorded.Data = entry.Data;
    recording.Entries.push_back(std::move(recorded));
  });
  recording.Start = std::chrono::system_clock::now() - (now - first.value_or(now));
  return recording;
}

std::vector<std::string> LineSettings(const TModbusConnection& line) {
  std::vector<std::string> settings;
  for (const TPropertyInfo* property : TModbusConnection::StaticClass().Properties()) {
    if (!IsLineSetting(*property)) continue;
    std::string& setting = settings.emplace_back(property->Name);
    const std::string value = ValueText(*property, property->Get(line));
    if (!value.empty()) setting.append(" ").append(value);
  }
  return settings;
}

void ApplyLineSetting(TModbusConnection& line, std::string_view setting) {
  const std::string_view name = TakeWord(setting);
  const TPropertyInfo* const property = TModbusConnection::StaticClass().Property(name);
  if (property == nullptr || !IsLineSetting(*property)) RefuseText(name, "setting of a line");
  SetProperty(line, *property, ValueOf(*property, setting));
}

}  // namespace OrvixModBus
