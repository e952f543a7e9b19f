// orvixmb write over a pseudo-terminal: what is sent, what is shown, what is refused.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PlantForm.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WriteCommand : public testing::Test {
 protected:
  WriteCommand() : fLine(kPlantForm) { fLine.Change(SetPlant); }

  TToolRun Write(const std::vector<std::string>& arguments) {
    std::vector<std::string> all{"write", "FORM", "--port", "PORT", "--letter", "Settings"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return fLine.Run(all);
  }

  TToolLine fLine;
};

TEST_F(WriteCommand, ValuesOfEveryTypeArriveInOrderAndAreReadBack) {
  EXPECT_EQ(Write({"SetPoint=20.3", "Mode=Heating", "Alarms=fire,flood", "Title=New", "Pumps=on",
                   "Recipe=Stew", "Ramp=-3", "Again=$00CB"}),
            (TToolRun{0,
                      "name      address  value        raw bytes    caption\n"
                      "SetPoint      120  20.3         00 CB        C\n"
                      "Mode          122  Heating      00 01\n"
                      "Alarms        123  fire, flood  02 01\n"
                      "Title         130  New          4E 65 77 20\n"
                      "Pumps           5  on           01 01\n"
                      "Recipe     131072  Stew         53 74 65 77\n"
                      "Ramp       131076  -3.0         FF E2\n"
                      "Again         120  20.3         00 CB        the same cell\n",
                      ""}));
  EXPECT_THAT(
      fLine.TakeRequests(),
      ElementsAre(Bytes{0x06, 0, 120, 0, 0xCB}, Bytes{0x6C, 0, 122, 0, 1},
                  Bytes{0x10, 0, 123, 0, 1, 2, 2, 1}, Bytes{0x06, 0, 130, 'N', 'e'},
                  Bytes{0x06, 0, 131, 'w', ' '}, Bytes{0x05, 0, 5, 0xFF, 0},
                  Bytes{0x05, 0, 6, 0xFF, 0},
                  Bytes{0x66, 2, 0, 0, 6, 'S', 't', 'e', 'w', 0xFF, 0xE2},
                  Bytes{0x10, 0, 120, 0, 1, 2, 0, 0xCB}, Bytes{0x01, 0, 5, 0, 2},
                  Bytes{0x03, 0, 120, 0, 1}, Bytes{0x03, 0, 122, 0, 2}, Bytes{0x03, 0, 130, 0, 2},
                  Bytes{0x43, 2, 0, 0, 4}, Bytes{0x43, 2, 0, 4, 2}));
}

TEST_F(WriteCommand, JsonIsWhatReadPrints) {
  EXPECT_EQ(Write({"SetPoint=-40", "--json"}), (TToolRun{0, R"([
  {
    "letter": "Settings",
    "name": "SetPoint",
    "adress": 120,
    "function": 3,
    "raw": "FE70",
    "text": "-40.0",
    "int": -40,
    "real": -40.0,
    "error": null
  }
]
)",
                                                         ""}));
}

TEST_F(WriteCommand, ARefusedWriteIsToldAndDoesNotStopTheOthers) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Faults.push_back({.Function = 0x10, .Fault = EFault::Exception, .ExceptionCode = 3});
  });
  EXPECT_EQ(Write({"Again=5", "Mode=1", "Alarms=0"}),
            (TToolRun{1,
                      "name    address  value    raw bytes  caption\n"
                      "Again       120  20.0     00 C8      the same cell\n"
                      "Mode        122  Heating  00 01\n"
                      "Alarms      123  flood    02 00\n",
                      "orvixmb: Again was not written: exception 3: illegal data value (and 1 "
                      "more)\n"}));
}

TEST_F(WriteCommand, ARefusalInTheMiddleOfARegisterCounts) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Faults.push_back({.First = 2, .Last = 2, .Fault = EFault::Exception});
  });
  EXPECT_EQ(Write({"Title=New"}).Err,
            "orvixmb: Title was not written: exception 4: server device failure\n");
}

TEST_F(WriteCommand, ARefusedBlockOfPagedMemoryIsToldOfItsRegisters) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Faults.push_back({.Function = 0x66, .Fault = EFault::Exception, .ExceptionCode = 2});
  });
  EXPECT_EQ(Write({"Recipe=Stew", "Ramp=2"}).Err,
            "orvixmb: Recipe was not written: exception 2: illegal data address (and 1 more)\n");
  EXPECT_EQ(Write({"Ramp=2"}).Err,
            "orvixmb: Ramp was not written: exception 2: illegal data address\n");
}

TEST_F(WriteCommand, ADeviceThatKeepsAnotherValueIsAFailure) {
  EXPECT_EQ(Write({"SetPoint=20.3", "Again=30"}),
            (TToolRun{1,
                      "name      address  value  raw bytes  caption\n"
                      "SetPoint      120  30.0   01 2C      C\n"
                      "Again         120  30.0   01 2C      the same cell\n",
                      "orvixmb: SetPoint holds 01 2C, not the 00 CB that was written\n"}));
}

TEST_F(WriteCommand, ARegisterThatIsNotReadBackIsAFailure) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Faults.push_back({.Function = 0x03, .Fault = EFault::Silence});
  });
  EXPECT_EQ(Write({"SetPoint=1"}), (TToolRun{1,
                                             "name      address  value      raw bytes  caption\n"
                                             "SetPoint      120  no answer             C\n",
                                             "orvixmb: SetPoint could not be read back: no "
                                             "answer\n"}));
}

TEST_F(WriteCommand, TheTraceTellsTheFrames) {
  const TToolRun run = Write({"SetPoint=1", "--trace"});
  EXPECT_EQ(run.Code, 0);
  EXPECT_THAT(run.Err, testing::HasSubstr("> 11 06 00 78 00 0A"));
  EXPECT_THAT(run.Err, testing::HasSubstr("write 10 to register 120"));
}

TEST_F(WriteCommand, WhatCannotBeWrittenIsRefusedBeforeAnythingIsSent) {
  const struct {
    std::vector<std::string> Arguments;
    const char* Error;
  } kRows[] = {
      {{"SetPoint=20", "Again=200"}, "Again=200: out of range (Min: -40; Max: 120)"},
      {{"SetPoint=20", "Mode=Cool"}, "Mode=Cool: not in its list (0: Off; 1: Heating)"},
      {{"SetPoint=20", "Measured=1"}, "Measured=1: Measured has no write function"},
      {{"SetPoint=20", "Missing=1"}, "Letter Settings has no register 'Missing'"},
      {{"SetPoint=20", "setpoint=30"}, "setpoint=30: SetPoint has a value already"},
      {{"SetPoint=20", "Mode"}, "'Mode' is not REG=VALUE"},
      {{"SetPoint=20", "Alarms[0]=1"}, "Letter Settings has no register 'Alarms[0]'"},
      {{}, "VALUES is required"},
      {{"SetPoint=20", "--letter", "Plant"}, "--letter: At Most 1 required but received 2"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Write(row.Arguments), (TToolRun{2, "", "orvixmb: " + std::string(row.Error) + "\n"}));
  }
  EXPECT_THAT(fLine.TakeRequests(), IsEmpty());
}

TEST_F(WriteCommand, RegistersThatNoWriteFitsAreRefused) {
  const struct {
    const char *Letter, *Value, *Error;
  } kRows[] = {
      {"Odd", "Long=$00000001",
       "Long=$00000001: Long has registers of 4 bytes; function 6 writes 2"},
      {"Odd", "Half=$000001", "Half=$000001: Half has 3 bytes; function 16 writes pairs"},
      {"Odd", "Block=$00", "Block=$00: Block has 129 bytes; function 101 writes at most 128"},
      {"Odd", "Strange=$0001", "Strange=$0001: Strange has write function 7, which writes nothing"},
      {"Odd", "Empty=$", "Empty=$: Empty has no bytes"},
      {"Lost", "X=1", "FORM: letter Lost has no client"},
      {"None", "X=1", "FORM has no letter 'None'; it has Settings, Odd, Far, Shadow, Lost"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(fLine.Run({"write", "FORM", "--port", "PORT", "--letter", row.Letter, row.Value}),
              (TToolRun{2, "", "orvixmb: " + std::string(row.Error) + "\n"}));
  }
  EXPECT_THAT(fLine.TakeRequests(), IsEmpty());
}

TEST_F(WriteCommand, ARegisterOfABitNameIsFoundByItsWholeName) {
  fLine.Change([](TSimulator& simulator) { simulator.Device(kPlantAdres).Holding.Set(1, {0}); });
  EXPECT_EQ(fLine.Run({"write", "FORM", "--port", "PORT", "--letter", "Odd", "status[3]=$0102"}),
            (TToolRun{0,
                      "name       address  value       raw bytes  caption\n"
                      "Status[3]        1  (no value)  01 02\n",
                      ""}));
  EXPECT_EQ(fLine.Run({"write", "FORM", "--port", "PORT", "--letter", "Odd", "Status=$0102"}).Err,
            "orvixmb: Letter Odd has no register 'Status'\n");
}

TEST_F(WriteCommand, BytesThatTheTypeCannotDecodeAreWrittenAndTold) {
  fLine.Change([](TSimulator& simulator) { simulator.Device(kPlantAdres).Holding.Set(2, {0}); });
  EXPECT_EQ(fLine.Run({"write", "FORM", "--port", "PORT", "--letter", "Odd", "Short=$0102"}),
            (TToolRun{1,
                      "name   address  value                            raw bytes  caption\n"
                      "Short        2  Length of data byte array error\n",
                      "orvixmb: Short could not be read back: Length of data byte array error\n"}));
  EXPECT_EQ(fLine.TakeRequests().front(), (Bytes{0x06, 0, 2, 1, 2}));
}

TEST_F(WriteCommand, AnEmulatedDeviceKeepsNothing) {
  EXPECT_EQ(fLine.Run({"write", "FORM", "--letter", "Shadow", "X=$0102", "Y=$03"}),
            (TToolRun{1,
                      "name  address  value       raw bytes  caption\n"
                      "X           1  (no value)  00 00\n"
                      "Y           1  (no value)  00\n",
                      "orvixmb: X holds 00 00, not the 01 02 that was written (and 1 more)\n"}));
}

TEST_F(WriteCommand, ADeviceThatIsNotThereIsAFailureOfTheLine) {
  EXPECT_EQ(fLine.Run({"write", "FORM", "--port", "PORT", "--letter", "Far", "X=$0001"}),
            (TToolRun{1,
                      "name  address  value      raw bytes  caption\n"
                      "X           1  no answer\n",
                      "orvixmb: X was not written: no answer\n"}));
}

TEST_F(WriteCommand, APortThatIsNotThereIsAFailureOfTheLine) {
  const TToolRun run = fLine.Run({"write", "FORM", "--letter", "Settings", "SetPoint=1"});
  EXPECT_EQ(run.Code, 1);
  EXPECT_THAT(run.Err, testing::StartsWith("orvixmb: "));
  EXPECT_THAT(run.Err, testing::HasSubstr("/dev/absent"));
}

TEST_F(WriteCommand, HelpEndsWithAnExample) {
  const TToolRun run = fLine.Run({"write", "--help"});
  EXPECT_EQ(run.Code, 0);
  EXPECT_THAT(run.Out, testing::EndsWith("Example:\n  orvixmb write boiler.form --letter Settings "
                                         "SetPoint=62.5 TankSetPoint=55\n"));
}

}  // namespace
}  // namespace OrvixModBus
