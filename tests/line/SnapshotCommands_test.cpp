// orvixmb save, diff and restore over a pseudo-terminal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PlantForm.h"
#include "tools/orvixmb/uSnapshot.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// A snapshot of what SetPlant makes.
constexpr char kSnapshot[] = R"({
  "kind": "orvixmb snapshot",
  "version": 1,
  "letter": "Settings",
  "when": "2026-07-03T12:34:56Z",
  "port": "PORT",
  "server": 17,
  "registers": [
    {
      "name": "SetPoint",
      "adress": 120,
      "function": 3,
      "raw": "00C8",
      "text": "20.0"
    },
    {
      "name": "Again",
      "adress": 120,
      "function": 3,
      "raw": "00C8",
      "text": "20.0"
    },
    {
      "name": "Mode",
      "adress": 122,
      "function": 3,
      "raw": "0000",
      "text": "Off"
    },
    {
      "name": "Alarms",
      "adress": 123,
      "function": 3,
      "raw": "0200",
      "text": "|||||||||flood||||||"
    },
    {
      "name": "Title",
      "adress": 130,
      "function": 3,
      "raw": "4F6C6420",
      "text": "Old"
    },
    {
      "name": "Pumps",
      "adress": 5,
      "function": 1,
      "raw": "0000",
      "text": "off|||||||||||||||"
    },
    {
      "name": "Recipe",
      "adress": 131072,
      "function": 67,
      "raw": "536F7570",
      "text": "Soup"
    },
    {
      "name": "Ramp",
      "adress": 131076,
      "function": 67,
      "raw": "000F",
      "text": "1.5"
    },
    {
      "name": "Measured",
      "adress": 140,
      "function": 3,
      "raw": "022B",
      "text": "55.5"
    }
  ]
}
)";

class SnapshotCommands : public testing::Test {
 protected:
  SnapshotCommands() : fLine(kPlantForm) {
    fLine.Change(SetPlant);
    fLine.Folder().Write("before.json", kSnapshot);
  }

  TToolRun Run(const std::string& command, const std::vector<std::string>& arguments,
               const std::string& input = {}) {
    std::vector<std::string> all{command, "FORM", "--port", "PORT", "--letter", "Settings"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return fLine.Run(all, input);
  }

  /// Some settings have changed since the snapshot, and so has what is measured.
  void ChangeSettings() {
    fLine.Change([](TSimulator& simulator) {
      TSimulatedDevice& device = simulator.Device(kPlantAdres);
      device.Holding.Set(122, {1, 0x0001});
      device.Holding.Set(140, {556});
      device.Coils.Set(5, {1, 1});
      device.Paged.Set(131076, {0xFF, 0xE2});
    });
  }
  void Fail(const TFaultRule& rule) {
    fLine.Change([&](TSimulator& simulator) { simulator.Faults.push_back(rule); });
  }

  static bool Writes(const Bytes& request) {
    return request[0] == 0x05 || request[0] == 0x06 || request[0] == 0x10 || request[0] == 0x66 ||
           request[0] == 0x6C;
  }
  std::vector<Bytes> TakeWrites() {
    std::vector<Bytes> requests = fLine.TakeRequests();
    std::erase_if(requests, [](const Bytes& request) { return !Writes(request); });
    return requests;
  }

  TToolLine fLine;
};

TEST_F(SnapshotCommands, SaveWritesWhatTheDeviceHolds) {
  EXPECT_EQ(Run("save", {"DIR/now.json"}),
            (TToolRun{0, "9 of 9 registers of letter Settings saved to DIR/now.json\n", ""}));
  std::string text = fLine.Folder().Read("now.json");
  const TSnapshot saved = ReadSnapshotText(text, "now.json");
  text = ReplaceAll(text, saved.When, "2026-07-03T12:34:56Z");
  EXPECT_EQ(ReplaceAll(text, saved.Port, "PORT"), kSnapshot);
}

TEST_F(SnapshotCommands, SaveWritesNothingWhenARegisterCannotBeRead) {
  Fail({.Function = 0x43, .Fault = EFault::Exception, .ExceptionCode = 2});
  const std::string error =
      "orvixmb: Only 7 of 9 registers could be read (Recipe: exception 2: illegal data address), "
      "so nothing was saved\n";
  EXPECT_EQ(Run("save", {"DIR/now.json"}), (TToolRun{1, "", error}));
  EXPECT_EQ(Run("save", {"DIR/now.txt", "--data-file"}), (TToolRun{1, "", error}));
  EXPECT_EQ(fLine.Folder().Read("now.json"), "");
  EXPECT_EQ(fLine.Folder().Read("now.txt"), "");
}

TEST_F(SnapshotCommands, SavePartialWritesWhatCouldBeRead) {
  Fail({.Function = 0x03, .Fault = EFault::Exception, .ExceptionCode = 2});
  EXPECT_EQ(Run("save", {"DIR/now.json", "--partial"}),
            (TToolRun{0, "3 of 9 registers of letter Settings saved to DIR/now.json\n", ""}));
  EXPECT_THAT(ReadSnapshotFile(fLine.Folder().File("now.json")).Registers, SizeIs(3));
  EXPECT_EQ(Run("save", {"DIR/now.txt", "--partial", "--data-file"}),
            (TToolRun{0, "3 of 9 registers of letter Settings saved to DIR/now.txt\n", ""}));
  EXPECT_EQ(fLine.Folder().Read("now.txt"),
            "\xEF\xBB\xBFPumps=0000\r\nRecipe=536F7570\r\nRamp=000F\r\n");
}

TEST_F(SnapshotCommands, SaveWritesARegisterDataFile) {
  EXPECT_EQ(Run("save", {"DIR/now.txt", "--data-file", "--header", "Plant 7"}),
            (TToolRun{0, "9 of 9 registers of letter Settings saved to DIR/now.txt\n", ""}));
  EXPECT_EQ(fLine.Folder().Read("now.txt"),
            "\xEF\xBB\xBFPlant 7\r\nSetPoint=00C8\r\nAgain=00C8\r\nMode=0000\r\nAlarms=0200\r\n"
            "Title=4F6C6420\r\nPumps=0000\r\nRecipe=536F7570\r\nRamp=000F\r\nMeasured=022B\r\n");
}

TEST_F(SnapshotCommands, DiffTellsThatNothingDiffers) {
  EXPECT_EQ(Run("diff", {"DIR/before.json", "--exit-code"}),
            (TToolRun{0, "0 differences in the 9 registers of Settings\n", ""}));
  EXPECT_EQ(Run("diff", {"DIR/before.json", "--json"}), (TToolRun{0, "[]\n", ""}));
}

TEST_F(SnapshotCommands, DiffShowsWhatDiffers) {
  ChangeSettings();
  const std::string out =
      "name      address  difference  snapshot  now      snapshot bytes  now bytes\n"
      "Mode          122  changed     Off       Heating  00 00           00 01\n"
      "Alarms        123  changed     flood     fire     02 00           00 01\n"
      "Pumps           5  changed     off       on       00 00           01 01\n"
      "Ramp       131076  changed     1.5       -3.0     00 0F           FF E2\n"
      "Measured      140  changed     55.5      55.6     02 2B           02 2C\n"
      "5 differences in the 9 registers of Settings\n";
  EXPECT_EQ(Run("diff", {"DIR/before.json"}), (TToolRun{0, out, ""}));
  EXPECT_EQ(Run("diff", {"DIR/before.json", "--exit-code"}),
            (TToolRun{1, out, "orvixmb: 5 differences in the 9 registers of Settings\n"}));
}

TEST_F(SnapshotCommands, DiffAsJson) {
  fLine.Change(
      [](TSimulator& simulator) { simulator.Device(kPlantAdres).Holding.Set(140, {556}); });
  EXPECT_EQ(Run("diff", {"DIR/before.json", "--json"}), (TToolRun{0, R"([
  {
    "name": "Measured",
    "difference": "changed",
    "was": {
      "adress": 140,
      "function": 3,
      "raw": "022B",
      "text": "55.5"
    },
    "now": {
      "adress": 140,
      "function": 3,
      "raw": "022C",
      "text": "55.6"
    },
    "error": null
  }
]
)",
                                                                  ""}));
}

TEST_F(SnapshotCommands, DiffFailsWhenARegisterCannotBeRead) {
  Fail({.Function = 0x01, .Fault = EFault::Exception, .ExceptionCode = 2});
  const TToolRun run = Run("diff", {"DIR/before.json"});
  EXPECT_EQ(run.Code, 1);
  EXPECT_THAT(run.Out, HasSubstr("not read    off       exception 2: illegal data address"));
  EXPECT_EQ(run.Err, "orvixmb: 1 of 9 registers could not be read\n");
}

TEST_F(SnapshotCommands, DiffWithASecondDevice) {
  TToolLine other(kPlantForm);
  other.Change(SetPlant);
  EXPECT_EQ(Run("diff", {"--with-port", other.Port()}),
            (TToolRun{0, "0 differences in the 9 registers of Settings\n", ""}));
  ChangeSettings();
  const TToolRun run = Run("diff", {"--with-port", other.Port()});
  EXPECT_EQ(run.Code, 0);
  EXPECT_THAT(run.Out, HasSubstr("PORT bytes"));
  EXPECT_THAT(run.Out, HasSubstr(other.Port() + " bytes\nMode"));
  EXPECT_THAT(run.Out, HasSubstr("\n5 differences in the 9 registers of Settings\n"));
  Fail({.Fault = EFault::Exception});
  EXPECT_EQ(Run("diff", {"--with-port", other.Port()}),
            (TToolRun{1, "", "orvixmb: 9 of 9 registers could not be read\n"}));
}

TEST_F(SnapshotCommands, RestoreAsksThenWritesWhatDiffersAndReadsItBack) {
  ChangeSettings();
  EXPECT_EQ(
      Run("restore", {"DIR/before.json"}, "y\n"),
      (TToolRun{0,
                "DIR/before.json: letter Settings of server 17 at PORT, 2026-07-03T12:34:56Z\n"
                "name      is not restored because\n"
                "Measured  it has no write function\n"
                "name    address  difference  snapshot  now      snapshot bytes  now bytes\n"
                "Mode        122  changed     Off       Heating  00 00           00 01\n"
                "Alarms      123  changed     flood     fire     02 00           00 01\n"
                "Pumps         5  changed     off       on       00 00           01 01\n"
                "Ramp     131076  changed     1.5       -3.0     00 0F           FF E2\n"
                "Write 4 registers to PORT? [y/N] \n"
                "4 registers written, read back and found the same\n",
                ""}));
  EXPECT_THAT(TakeWrites(), ElementsAre(Bytes{0x6C, 0, 122, 0, 0},
                                        Bytes{0x10, 0, 123, 0, 1, 2, 2, 0}, Bytes{0x05, 0, 5, 0, 0},
                                        Bytes{0x05, 0, 6, 0, 0}, Bytes{0x66, 2, 0, 4, 2, 0, 15}));
  EXPECT_THAT(Run("diff", {"DIR/before.json"}).Out, HasSubstr("1 difference in the 9 registers"));
}

TEST_F(SnapshotCommands, RestoreWritesNothingWithoutAYes) {
  ChangeSettings();
  for (const std::string input : {"n\n", "\n", "", "yesterday\n"}) {
    const TToolRun run = Run("restore", {"DIR/before.json"}, input);
    EXPECT_EQ(run.Code, 1);
    EXPECT_THAT(run.Out, testing::EndsWith("Write 4 registers to PORT? [y/N] \n"));
    EXPECT_EQ(run.Err, "orvixmb: Nothing was written\n");
  }
  EXPECT_THAT(TakeWrites(), IsEmpty());
}

TEST_F(SnapshotCommands, RestoreTakesAnyKindOfYes) {
  for (const std::string input : {"Y\n", " yes ", "YES\r\n"}) {
    ChangeSettings();
    EXPECT_EQ(Run("restore", {"DIR/before.json"}, input).Code, 0) << input;
    EXPECT_THAT(TakeWrites(), SizeIs(5));
  }
}

TEST_F(SnapshotCommands, RestoreDoesNotAskWhenToldYes) {
  ChangeSettings();
  const TToolRun run = Run("restore", {"DIR/before.json", "--yes"});
  EXPECT_EQ(run.Code, 0);
  EXPECT_THAT(run.Out, testing::Not(HasSubstr("[y/N]")));
  EXPECT_THAT(TakeWrites(), SizeIs(5));
}

TEST_F(SnapshotCommands, RestoreOfWhatIsThereWritesNothing) {
  EXPECT_EQ(Run("restore", {"DIR/before.json"}),
            (TToolRun{0,
                      "DIR/before.json: letter Settings of server 17 at PORT, "
                      "2026-07-03T12:34:56Z\n"
                      "There is nothing to write\n",
                      ""}));
  EXPECT_THAT(TakeWrites(), IsEmpty());
}

TEST_F(SnapshotCommands, RestoreFailsWhenNothingCanBeRead) {
  Fail({.Fault = EFault::Exception});
  const TToolRun run = Run("restore", {"DIR/before.json"});
  EXPECT_EQ(run.Code, 1);
  EXPECT_THAT(run.Out, testing::EndsWith("There is nothing to write\n"));
  EXPECT_EQ(run.Err, "orvixmb: 9 of 9 registers could not be read\n");
}

TEST_F(SnapshotCommands, RestoreFailsWhenTheDeviceRefuses) {
  ChangeSettings();
  Fail({.Function = 0x10, .Fault = EFault::Exception});
  EXPECT_EQ(Run("restore", {"DIR/before.json", "--yes"}).Err,
            "orvixmb: Alarms was not written: exception 4: server device failure\n");
}

TEST_F(SnapshotCommands, RestoreFailsWhenTheDeviceKeepsAnotherValue) {
  // Two registers of one cell, with two values in the snapshot: the second one stays.
  std::string snapshot = kSnapshot;
  snapshot.replace(snapshot.find("00C8"), 4, "00C9");
  fLine.Folder().Write("before.json", snapshot);
  fLine.Change(
      [](TSimulator& simulator) { simulator.Device(kPlantAdres).Holding.Set(120, {300}); });
  EXPECT_EQ(Run("restore", {"DIR/before.json", "--yes"}).Err,
            "orvixmb: SetPoint holds 00 C8, not the 00 C9 that was written\n");
}

TEST_F(SnapshotCommands, RestoreLeavesOutWhatCouldNotBeReadAndFails) {
  ChangeSettings();
  Fail({.Function = 0x43, .Last = 8, .Fault = EFault::Exception, .ExceptionCode = 2});
  const TToolRun run = Run("restore", {"DIR/before.json", "--yes"});
  EXPECT_EQ(run.Code, 1);
  EXPECT_THAT(run.Out, HasSubstr("Ramp      it was not read: exception 2: illegal data address\n"));
  EXPECT_THAT(run.Out, HasSubstr("3 registers written"));
  EXPECT_EQ(run.Err, "orvixmb: 2 of 9 registers could not be read\n");
}

TEST_F(SnapshotCommands, MistakesAreToldBeforeAnythingIsSent) {
  fLine.Folder().Write("broken.json", R"({"kind": "orvixmb snapshot", "version": 2})");
  const struct {
    const char* Command;
    std::vector<std::string> Arguments;
    const char* Error;
  } kRows[] = {
      {"save", {}, "FILE is required"},
      {"save", {"DIR/x", "--header", "H"}, "--header requires --data-file"},
      {"diff", {}, "diff compares with FILE or --with-port: one of them is required"},
      {"diff",
       {"DIR/before.json", "--with-port", "PORT"},
       "diff compares with FILE or --with-port: one of them is required"},
      {"diff",
       {"DIR/broken.json"},
       "DIR/broken.json:/version is 2, and only version 1 can be read"},
      {"diff", {"DIR/none.json"}, "Can't read \"DIR/none.json\": No such file or directory"},
      {"restore", {}, "FILE is required"},
      {"restore",
       {"DIR/broken.json"},
       "DIR/broken.json:/version is 2, and only version 1 can be read"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Run(row.Command, row.Arguments),
              (TToolRun{2, "", "orvixmb: " + std::string(row.Error) + "\n"}));
  }
  EXPECT_THAT(fLine.TakeRequests(), IsEmpty());
}

TEST_F(SnapshotCommands, FilesThatDoNotFitAreTheUsersMistake) {
  std::string snapshot = kSnapshot;
  snapshot.replace(snapshot.find("00C8"), 4, "00C9C9");
  fLine.Folder().Write("long.json", snapshot);
  EXPECT_EQ(Run("restore", {"DIR/long.json", "--yes"}),
            (TToolRun{2, "",
                      "orvixmb: SetPoint has 3 bytes in the snapshot and 2 in the form; nothing is "
                      "restored\n"}));
  EXPECT_THAT(TakeWrites(), IsEmpty());
  EXPECT_EQ(
      Run("save", {"DIR/none/x.json"}),
      (TToolRun{2, "", "orvixmb: Can't write \"DIR/none/x.json\": No such file or directory\n"}));
}

TEST_F(SnapshotCommands, HelpEndsWithAnExample) {
  const std::pair<const char*, const char*> kExamples[] = {
      {"save", "orvixmb save boiler.form --letter Settings before.json\n"},
      {"diff", "orvixmb diff boiler.form --letter Settings before.json\n"},
      {"restore", "orvixmb restore boiler.form --letter Settings before.json\n"}};
  for (const auto& [command, example] : kExamples) {
    const TToolRun run = fLine.Run({command, "--help"});
    EXPECT_EQ(run.Code, 0);
    EXPECT_THAT(run.Out, testing::EndsWith(std::string("Example:\n  ") + example));
  }
}

}  // namespace
}  // namespace OrvixModBus
