// The subcommand file: records of a device's file, cut by a structure.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>

#include "platform/rtl/uFormat.h"
#include "tools/orvixmb/uAskedRequests.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uJsonText.h"
#include "tools/orvixmb/uOutput.h"
#include "tools/orvixmb/uRecordText.h"

namespace OrvixModBus {
namespace {

// A longer record does not fit a reply together with its head.
constexpr std::size_t kLongestRecord = 249;
constexpr std::size_t kGroup = 251, kRecordHead = 2;

struct TFileOptions {
  TSessionOptions Session;
  std::string Client;
  std::uint16_t File = 0;
  std::string Structure;
  std::uint16_t Records = 1;
  std::uint16_t First = 0;  // group
  TOutputOptions Output;
};

// Takes the records of the groups that it has asked for, up to the first that is missing: those
// behind it are discarded by the client.
class TFileReader : public TObject {
 public:
  TFileReader(TMBClient& client, const TRecordStructure& structure)
      : fClient(client), fStructure(structure) {
    fClient.OnReadFile.Add(this, &TFileReader::Take);
  }
  TFileReader(const TFileReader&) = delete;
  TFileReader& operator=(const TFileReader&) = delete;
  ~TFileReader() override { fClient.OnReadFile.Remove(this, &TFileReader::Take); }

  TRecording Read(const TFileOptions& options, std::size_t firstRecord) {
    fRecording = {.First = static_cast<int>(firstRecord)};
    const TAskedRequests asked(fClient);
    fClient.ReadFileByStructur(options.File, options.First, options.Records, fStructure.Fields(),
                               this);
    WaitUntil(fClient, [this] { return fClient.CountPendingTransactions() == 0; });
    if (fRecording.Next() < options.Records) {
      fRecording.Problem = Format("record %d: %s", {fRecording.Next(), asked.LastFailure()});
    }
    return fRecording;
  }

 private:
  void Take(TMBClient& /*sender*/, TServerReply /*reply*/, TModbusFileRecordList& records,
            TObject* owner) {
    if (owner != this) return;
    for (int i = 0; i < records.Count(); ++i) {
      const TModbusFileRecord& record = records.Records(i);
      if (record.Data.size() < fStructure.Length()) return;
      const auto end = record.Data.begin() + static_cast<std::ptrdiff_t>(fStructure.Length());
      fRecording.Records.emplace_back(record.Data.begin(), end);
    }
  }

  TMBClient& fClient;
  const TRecordStructure& fStructure;
  TRecording fRecording;
};

// The first record of the group that the user asks for.
std::size_t FirstRecord(const TFileOptions& options, const TRecordStructure& structure) {
  if (structure.Length() == 0 || structure.Length() > kLongestRecord) {
    throw EUsageError(Format("Structure %s has %u bytes; a record of a file has 1 to %u",
                             {structure.Name(), structure.Length(), kLongestRecord}));
  }
  const std::size_t perGroup = kGroup / (structure.Length() + kRecordHead);
  const std::size_t first = options.First * perGroup;
  if (first < options.Records) return first;
  throw EUsageError(Format("--first %u begins with record %u, behind the %u that are asked for",
                           {options.First, first, options.Records}));
}

void Print(const TRecording& recording, const TRecordStructure& structure,
           const TOutputOptions& output, TToolIo& io) {
  if (output.Json) {
    PrintJson(io, RecordsJson(recording, structure));
  } else if (output.Csv) {
    io.Out << CsvText(RecordsCsv(recording, structure));
  } else {
    io.Out << TableText(RecordsTable(recording, structure));
  }
}

void RunFile(const TFileOptions& options, TToolIo& io) {
  TFormSession session(options.Session, io);
  TMBClient& client = session.DeviceClient(options.Client, "files");
  const TRecordStructure structure =
      StructureNamed(session.Root(), session.FormPath(), options.Structure);
  const std::size_t firstRecord = FirstRecord(options, structure);
  session.Open(client);
  const TRecording recording = TFileReader(client, structure).Read(options, firstRecord);
  Print(recording, structure, options.Output, io);
  if (recording.Problem.empty()) return;
  throw Exception(Format("File %u, %s", {options.File, recording.Problem}));
}

}  // namespace

void AddFileCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TFileOptions>();
  CLI::App& command = AddSubcommand(
      app,
      {.Name = "file",
       .Summary = "Read records of a file ($14) that are structures of the form's types",
       .Details = "When the line fails midway, those that have come are shown.",
       .Example = "orvixmb file boiler.form --client Controller --file 1 --structure Service "
                  "--records 20"},
      [options, &io] { RunFile(*options, io); });
  AddSessionOptions(command, options->Session);
  command.add_option("--client", options->Client, "the client of the device")
      ->type_name("NAME")
      ->required();
  command.add_option("--file", options->File, "the number of the file")
      ->check(CLI::Range(0, 65535))
      ->type_name("N")
      ->required();
  command.add_option("--structure", options->Structure, "what a record is")
      ->type_name("NAME")
      ->required();
  command.add_option("--records", options->Records, "how many, with those before --first")
      ->check(CLI::Range(1, 65535))
      ->type_name("K")
      ->required();
  command
      .add_option("--first", options->First,
                  "begin with this group of records, of 251 / (length + 2) each; the first is 0")
      ->check(CLI::Range(0, 65535))
      ->type_name("GROUP");
  AddOutputOptions(command, options->Output);
}

}  // namespace OrvixModBus
