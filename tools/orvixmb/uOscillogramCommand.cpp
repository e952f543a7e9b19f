// The subcommand oscillogram: one of those that a device has captured.

#include <algorithm>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "tools/display/uShownText.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uJsonText.h"
#include "tools/orvixmb/uRecordings.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {
namespace {

constexpr int kMostNumber = 0xFF;     // one byte
constexpr int kMostRecords = 0xFFFF;  // a word
constexpr char kRecordsField[] = "Records";

struct TOscillogramOptions {
  TRecordingOptions Recording;
  int Number = 0;   // 0 = the newest
  int Records = 0;  // 0 = as many as the description tells
  std::string InfoStructure;
};

// What is known of an oscillogram before its records are read.
struct TOscillogram {
  int Number;
  Bytes Info;
  int Records;
};

// The one that the user names, or else the only one that is as long as a description.
TMaybeStructure InfoStructureOf(const TFormSession& session, const TOscillogramOptions& options,
                                const TMBFunction41& function) {
  const std::int32_t length = function.OscilInfoLength();
  const auto named = [&](const std::string& name) {
    return StructureNamed(session.Root(), session.FormPath(), name,
                          function.Name() + ".OscilInfoLength", length);
  };
  if (!options.InfoStructure.empty()) return named(options.InfoStructure);
  TStringDynArray names;
  for (const TRecordStructure& each : StructuresOf(session.Root())) {
    if (std::cmp_equal(each.Length(), length)) names.push_back(each.Name());
  }
  return names.size() == 1 ? TMaybeStructure(named(names.front())) : std::nullopt;
}

bool TellsRecords(const TRecordStructure& structure) {
  return std::ranges::any_of(structure.Fields(), [](const TMBRegTypeStructure* field) {
    return field->Name() == kRecordsField && field->RegType() == TRegType::rtNum;
  });
}

int RecordsToldBy(const Bytes& info, const TRecordStructure& structure) {
  const std::vector<TFieldValue> values = structure.ValuesOf(info);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (structure.Fields()[i]->Name() != kRecordsField || !values[i].Number) continue;
    const double number = *values[i].Number;
    if (number >= 0 && number <= kMostRecords) return static_cast<int>(number);
  }
  throw Exception("its description does not tell how many records it has; give --records");
}

// The description and the records of one oscillogram.
class TOscillogramReader {
 public:
  TOscillogramReader(const TMBFunction41& function, const TOscillogramOptions& options,
                     const TMaybeStructure& infoStructure)
      : fFunction(function), fOptions(options), fInfoStructure(infoStructure), fReader(function) {}

  TOscillogram Find() {
    TOscillogram found{.Number = fOptions.Number, .Info = {}, .Records = fOptions.Records};
    if (found.Number == 0) found.Number = Newest();
    found.Info = InfoOf(found.Number);
    if (found.Records == 0) found.Records = RecordsToldBy(found.Info, *fInfoStructure);
    return found;
  }

  TRecordRange RangeOf(const TOscillogram& oscillogram) {
    const auto number = static_cast<std::uint8_t>(oscillogram.Number);
    return {1, oscillogram.Records, static_cast<std::size_t>(fFunction.OscilDataLength()),
            [this, number](int first, int count) { return RecordsOf(number, first, count); }};
  }

 private:
  int Newest() {
    const int count = fReader.Count();
    if (count == 0) throw Exception("there is no oscillogram");
    if (count <= kMostNumber) return count;
    throw Exception(Format("there are %d; say which one by --number", {count}));
  }

  // The first block of what the device tells.
  Bytes InfoOf(int number) {
    Bytes info = fReader.Ask({0, static_cast<std::uint8_t>(number), 0, 0});
    const std::int32_t length = fFunction.OscilInfoLength();
    if (length < 1) return info;
    if (std::cmp_less(info.size(), length)) {
      throw Exception(Format("a description of %u bytes, not of %d", {info.size(), length}));
    }
    info.resize(static_cast<std::size_t>(length));
    return info;
  }

  Bytes RecordsOf(std::uint8_t number, int first, int count) {
    const auto item = static_cast<std::uint16_t>(first);
    return OscillogramRecords(
        fReader.Ask({static_cast<std::uint8_t>(count), number, TMBLib::ByteFromCardinal(item, 1),
                     TMBLib::ByteFromCardinal(item, 0)}),
        number, item);
  }

  const TMBFunction41& fFunction;
  const TOscillogramOptions& fOptions;
  const TMaybeStructure& fInfoStructure;
  TItemReader fReader;
};

// "Title Start, Interval 250 us"
std::string InfoText(const Bytes& info, const TMaybeStructure& structure) {
  if (!structure) return HexText(info);
  std::string text;
  const std::vector<TFieldValue> values = structure->ValuesOf(info);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const TMBRegTypeStructure& field = *structure->Fields()[i];
    text += (i > 0 ? ", " : "") + field.Name() + " " + values[i].Text;
    if (!field.Caption().empty()) text += " " + field.Caption();
  }
  return text;
}

// "Captures 3: Start, overcurrent"
std::string TitleOf(const std::string& name, const TOscillogram& oscillogram,
                    const TMaybeStructure& structure) {
  std::string title = name + " " + IntToStr(oscillogram.Number);
  if (!structure) return title;
  std::string separator = ": ";
  const std::vector<TFieldValue> values = structure->ValuesOf(oscillogram.Info);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (structure->Fields()[i]->RegType() != TRegType::rtStr || values[i].Text.empty()) continue;
    title += separator + values[i].Text;
    separator = ", ";
  }
  return title;
}

// What is said of it before its records; beside them where these are for a program.
void ShowInfo(const TOscillogram& oscillogram, const TMaybeStructure& structure,
              const TOutputOptions& output, TToolIo& io) {
  if (output.Json) return;
  (output.Csv ? io.Err : io.Out) << "Oscillogram " << oscillogram.Number << ": "
                                 << InfoText(oscillogram.Info, structure) << std::endl;
}

std::string TextOf(const TOscillogram& oscillogram, const TMaybeStructure& infoStructure,
                   const TRecording& recording, const TRecordLayout& layout,
                   const TOutputOptions& output) {
  if (!output.Json) return RecordsText(recording, layout, output);
  return JsonText({{"number", oscillogram.Number},
                   {"info", BlockJson(oscillogram.Info, infoStructure)},
                   {"records", RecordsJson(recording, layout.Structure)}});
}

TOscillogram Found(TOscillogramReader& reader, const std::string& name, int number) {
  try {
    return reader.Find();
  } catch (const Exception& error) {
    throw Exception(name + (number == 0 ? "" : " " + IntToStr(number)) + ": " + error.what());
  }
}

void RunOscillogram(const TOscillogramOptions& options, TToolIo& io) {
  const TRecordingOptions& wanted = options.Recording;
  TFormSession session(wanted.Session, io);
  const auto& function = session.Named<TMBFunction41>("oscillogram", wanted.Component);
  TMBClient& client = ClientOf(session, function);
  const TRecordLayout layout =
      LayoutOf(session, wanted, function, "OscilDataLength", function.OscilDataLength());
  const TMaybeStructure infoStructure = InfoStructureOf(session, options, function);
  if (options.Records == 0 && !(infoStructure && TellsRecords(*infoStructure))) {
    throw EUsageError(
        "How many records an oscillogram has is not known: give --records, or an "
        "--info-structure that has a number Records");
  }
  session.Open(client);
  TOscillogramReader reader(function, options, infoStructure);
  const TOscillogram found = Found(reader, function.Name(), options.Number);
  ShowInfo(found, infoStructure, wanted.Output, io);
  const TRecording recording = ReadShown(reader.RangeOf(found), wanted, io);
  Deliver(recording, layout, wanted,
          {TitleOf(function.Name(), found, infoStructure), client.Name(), function.Name()},
          TextOf(found, infoStructure, recording, layout, wanted.Output), io);
  if (recording.Problem.empty()) return;
  throw Exception(Format(
      "%s %d: %s; %u of %d records have come",
      {function.Name(), found.Number, recording.Problem, recording.Records.size(), found.Records}));
}

}  // namespace

void AddOscillogramCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TOscillogramOptions>();
  CLI::App& command = AddSubcommand(
      app,
      {.Name = "oscillogram",
       .Summary = "Read an oscillogram ($41) and show its records",
       .Details = "Its description is read first. A number Records in the structure of the "
                  "description tells how many records there are, unless --records does.",
       .Example = "orvixmb oscillogram boiler.form Captures --structure Sample --interval 0.25 "
                  "--svg captures.svg"},
      [options, &io] { RunOscillogram(*options, io); });
  AddRecordingOptions(command, options->Recording, "oscillogram");
  command.add_option("--number", options->Number, "which one; the newest without this option")
      ->check(CLI::Range(1, kMostNumber))
      ->type_name("N");
  command.add_option("--records", options->Records, "how many records to read")
      ->check(CLI::Range(1, kMostRecords))
      ->type_name("K");
  command
      .add_option("--info-structure", options->InfoStructure,
                  "the structure of the description; without it, the only one of its length")
      ->type_name("NAME");
}

}  // namespace OrvixModBus
