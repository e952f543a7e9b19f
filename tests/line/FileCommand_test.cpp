// orvixmb file and identity over a pseudo-terminal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PlantForm.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class FileCommand : public testing::Test {
 protected:
  FileCommand() : fLine(kPlantForm) {
    fLine.Change([](TSimulator& simulator) {
      auto& records = simulator.Device(kPlantAdres).Files[3].Records;
      for (std::uint16_t i = 0; i < 80; ++i) {
        const auto tens = static_cast<std::uint8_t>('0' + i / 10);
        const auto ones = static_cast<std::uint8_t>('0' + i % 10);
        const auto odd = static_cast<std::uint8_t>(i % 2);
        records[i] = {tens, ones, 0, static_cast<std::uint8_t>(i), odd, 0};
      }
    });
  }

  TToolRun File(const std::vector<std::string>& arguments) {
    std::vector<std::string> all{"file",     "FORM",       "--port",      "PORT",
                                 "--client", "Controller", "--structure", "Service"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return fLine.Run(all);
  }
  TToolRun Identity(const std::vector<std::string>& arguments) {
    std::vector<std::string> all{"identity", "FORM", "--port", "PORT"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return fLine.Run(all);
  }
  void Fail(const TFaultRule& rule) {
    fLine.Change([&](TSimulator& simulator) { simulator.Faults.push_back(rule); });
  }

  TToolLine fLine;
};

TEST_F(FileCommand, RecordsAreCutIntoFields) {
  EXPECT_EQ(File({"--file", "3", "--records", "3"}), (TToolRun{0,
                                                               "record  Who  Hours  Alarms\n"
                                                               "                 h\n"
                                                               "     0  00     0.0\n"
                                                               "     1  01     0.1  fire\n"
                                                               "     2  02     0.2\n",
                                                               ""}));
  EXPECT_THAT(fLine.TakeRequests(), ElementsAre(Bytes{0x14, 21, 6, 0, 3, 0, 0, 0, 3, 6, 0, 3,
                                                      0,    1,  0, 3, 6, 0, 3, 0, 2, 0, 3}));
}

TEST_F(FileCommand, RecordsAsCsvAndJson) {
  EXPECT_EQ(File({"--file", "3", "--records", "2", "--csv"}),
            (TToolRun{0, "record,Who,Hours,Alarms\n0,00,0.0,\n1,01,0.1,fire\n", ""}));
  EXPECT_EQ(File({"--file", "3", "--records", "1", "--json"}), (TToolRun{0, R"([
  {
    "record": 0,
    "raw": "3030000000",
    "values": {
      "Who": "00",
      "Hours": 0.0,
      "Alarms": ""
    }
  }
]
)",
                                                                         ""}));
}

TEST_F(FileCommand, ManyRecordsAndLaterGroups) {
  const TToolRun all = File({"--file", "3", "--records", "80", "--csv"});
  EXPECT_EQ(all.Code, 0);
  EXPECT_THAT(Split(all.Out, '\n'), SizeIs(82));
  EXPECT_THAT(all.Out, EndsWith("\n78,78,7.8,\n79,79,7.9,fire\n"));
  // 35 records of 5 bytes are a group.
  const TToolRun later = File({"--file", "3", "--records", "72", "--first", "2", "--csv"});
  EXPECT_EQ(later, (TToolRun{0, "record,Who,Hours,Alarms\n70,70,7.0,\n71,71,7.1,fire\n", ""}));
}

TEST_F(FileCommand, WhatHasComeBeforeAFailureIsShown) {
  const TToolRun run = File({"--file", "3", "--records", "100", "--csv"});
  EXPECT_EQ(run.Code, 1);
  EXPECT_THAT(run.Out, HasSubstr("\n69,69,6.9,fire\n"));
  EXPECT_EQ(run.Err, "orvixmb: File 3, record 70: exception 2: illegal data address\n");
}

TEST_F(FileCommand, AFailureInTheFirstGroupEndsTheRead) {
  Fail({.First = 1, .Last = 1, .Fault = EFault::Exception});
  EXPECT_EQ(File({"--file", "3", "--records", "80"}),
            (TToolRun{1,
                      "record  Who  Hours  Alarms\n"
                      "                 h\n",
                      "orvixmb: File 3, record 0: exception 4: server device failure\n"}));
}

TEST_F(FileCommand, NoFileAndNoDevice) {
  EXPECT_EQ(
      File({"--file", "4", "--records", "1", "--json"}),
      (TToolRun{1, "[]\n", "orvixmb: File 4, record 0: exception 2: illegal data address\n"}));
  EXPECT_EQ(fLine.Run({"file", "FORM", "--port", "PORT", "--client", "Elsewhere", "--structure",
                       "Service", "--file", "1", "--records", "1", "--csv"}),
            (TToolRun{1, "record,Who,Hours,Alarms\n", "orvixmb: File 1, record 0: no answer\n"}));
}

TEST_F(FileCommand, MistakesAreToldBeforeAnythingIsSent) {
  const struct {
    std::vector<std::string> Arguments;
    const char* Error;
  } kRows[] = {
      {{}, "--file is required"},
      {{"--file", "1"}, "--records is required"},
      {{"--file", "70000", "--records", "1"}, "--file: Value 70000 not in range 0 to 65535"},
      {{"--file", "1", "--records", "0"}, "--records: Value 0 not in range 1 to 65535"},
      {{"--file", "1", "--records", "70", "--first", "2"},
       "--first 2 begins with record 70, behind the 70 that are asked for"},
      {{"--file", "1", "--records", "1", "--json", "--csv"}, "--json excludes --csv"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(File(row.Arguments), (TToolRun{2, "", "orvixmb: " + std::string(row.Error) + "\n"}));
  }
  EXPECT_THAT(fLine.TakeRequests(), IsEmpty());
}

TEST_F(FileCommand, StructuresAndClientsThatDoNotFitAreRefused) {
  const struct {
    const char *Client, *Structure, *Error;
  } kRows[] = {
      {"Controller", "Servic", "FORM has no structure 'Servic'; it has Service, Huge, Empty, Bad"},
      {"Controller", "Huge", "Structure Huge has 250 bytes; a record of a file has 1 to 249"},
      {"Controller", "Empty", "Structure Empty has 0 bytes; a record of a file has 1 to 249"},
      {"Controller", "Bad", "FORM: structure Bad: Length of data byte array error"},
      {"Emulated", "Service", "FORM: client Emulated is emulated, and has no files"},
      {"Types", "Service", "FORM has no client 'Types'; it has Controller, Elsewhere, Emulated"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(fLine.Run({"file", "FORM", "--port", "PORT", "--client", row.Client, "--structure",
                         row.Structure, "--file", "1", "--records", "1"}),
              (TToolRun{2, "", "orvixmb: " + std::string(row.Error) + "\n"}));
  }
  EXPECT_THAT(fLine.TakeRequests(), IsEmpty());
}

TEST_F(FileCommand, IdentityIsTakenApart) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Device(kPlantAdres).Identity =
        TSimulatedIdentity{.ServerId = {0x12, 0x34}, .Text = "Pump 7 ", .Running = false};
  });
  EXPECT_EQ(Identity({"--client", "Controller"}),
            (TToolRun{0,
                      "client      address  id     runs  text    raw bytes\n"
                      "Controller       17  12 34  no    Pump 7  12 34 00 50 75 6D 70 20 37 20\n",
                      ""}));
  EXPECT_EQ(Identity({"--client", "Controller", "--json"}), (TToolRun{0, R"({
  "client": "Controller",
  "adress": 17,
  "id": "1234",
  "running": false,
  "text": "Pump 7",
  "raw": "12340050756D70203720"
}
)",
                                                                      ""}));
  EXPECT_EQ(fLine.TakeRequests().back(), Bytes{0x11});
}

TEST_F(FileCommand, AnIdentityThatCannotBeHad) {
  EXPECT_EQ(Identity({"--client", "Controller"}),
            (TToolRun{1, "", "orvixmb: Controller: exception 1: illegal function\n"}));
  EXPECT_EQ(Identity({"--client", "Elsewhere"}),
            (TToolRun{1, "", "orvixmb: Elsewhere: no answer\n"}));
  EXPECT_EQ(Identity({"--client", "Emulated"}),
            (TToolRun{2, "", "orvixmb: FORM: client Emulated is emulated, and has no identity\n"}));
  EXPECT_EQ(Identity({}), (TToolRun{2, "", "orvixmb: --client is required\n"}));
}

TEST_F(FileCommand, HelpEndsWithAnExample) {
  EXPECT_THAT(fLine.Run({"file", "--help"}).Out,
              EndsWith("Example:\n  orvixmb file boiler.form --client Controller --file 1 "
                       "--structure Service --records 20\n"));
  EXPECT_THAT(fLine.Run({"identity", "--help"}).Out,
              EndsWith("Example:\n  orvixmb identity boiler.form --client Controller\n"));
}

}  // namespace
}  // namespace OrvixModBus
