// `orvixmb read`: letters of a form from simulated devices, in all forms of output, and what
// becomes of registers that can't be read.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ToolLine.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kPlant[] = R"(object Plant: TDataModule
  object Line: TMBRTUConnection
    Port = '/nowhere/line'
    BaudRate = 115200
    MaxRetries = 0
    ReceiveTimeout = 200
  end
  object Connection: TMBConnection
    RTU = Line
  end
  object PumpDevice: TMBClient
    Connection = Connection
    Adres = 1
  end
  object TankDevice: TMBClient
    Connection = Connection
    Adres = 2
  end
  object Types: TMBTypeInfo
    TypeLists = <
      item
        Name = 'Mode'
        RegType = rtList
        Dictionary.Strings = (
          '0=off'
          '1=on, slow')
      end>
    TypeBins = <
      item
        Name = 'Alarms'
        RegType = rtBin
        Dictionary.Strings = (
          '0=|dry'
          '9=|hot')
      end>
    TypeNumbers = <
      item
        Name = 'Tenths'
        RegType = rtNum
        MaxValue = 1000
        IntPart = 2
        Multiplier = 0.1
      end
      item
        Name = 'Long'
        RegType = rtNum
        IntPart = 4
        Multiplier = 1
      end>
  end
  object Pumps: TMBLetter
    Client = PumpDevice
    OnReadAllRegs = PumpsRead
    Regs = <
      item
        Name = 'Flow'
        Adress = 100
        BytesInOneReg = 2
        Count = 1
        Caption = 'l/s'
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end
      item
        Name = 'Mode'
        Adress = 101
        BytesInOneReg = 2
        Count = 1
        RegType = rtList
        RegTypeName = 'Mode'
        TypeInfo = Types
      end
      item
        Name = 'Alarms'
        Adress = 110
        BytesInOneReg = 2
        Count = 1
        RegType = rtBin
        RegTypeName = 'Alarms'
        TypeInfo = Types
      end>
  end
  object Tanks: TMBLetter
    Client = TankDevice
    Regs = <
      item
        Name = 'Level'
        Adress = 7
        MBFuncRead = 4
        BytesInOneReg = 2
        Count = 1
        Caption = 'cm'
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end>
  end
end
)";

constexpr char kPumpsTable[] =
    "name    address  value     raw bytes  caption\n"
    "Flow        100  12.3      00 7B      l/s\n"
    "Mode        101  on, slow  00 01\n"
    "Alarms      110  dry, hot  02 01\n";

class ReadCommand : public testing::Test {
 protected:
  explicit ReadCommand(const std::string& form = kPlant) : fLine(form) {
    fLine.Change([](TSimulator& simulator) {
      simulator.Device(1).Holding.Set(100, {123, 1});
      simulator.Device(1).Holding.Set(110, {0x0201});
      simulator.Device(2).Input.Set(7, {250});
    });
  }

  TToolRun Read(std::vector<std::string> options) {
    options.insert(options.begin(), {"read", "FORM", "--port", "PORT"});
    return fLine.Run(options);
  }

  TToolLine fLine;
};

TEST_F(ReadCommand, ALetterAsATable) {
  EXPECT_EQ(Read({"--letter", "Pumps"}), (TToolRun{0, kPumpsTable, ""}));
  EXPECT_THAT(fLine.TakeRequests(), ElementsAre(Bytes{3, 0, 100, 0, 2}, Bytes{3, 0, 110, 0, 1}));
}

TEST_F(ReadCommand, AllLettersOfTheForm) {
  EXPECT_EQ(Read({}), (TToolRun{0,
                                "letter  name    address  value     raw bytes  caption\n"
                                "Pumps   Flow        100  12.3      00 7B      l/s\n"
                                "Pumps   Mode        101  on, slow  00 01\n"
                                "Pumps   Alarms      110  dry, hot  02 01\n"
                                "Tanks   Level         7  25        00 FA      cm\n",
                                ""}));
}

TEST_F(ReadCommand, RegistersByNameInTheOrderAskedFor) {
  EXPECT_EQ(Read({"--letter", "Pumps", "--names", "Mode,flow"}),
            (TToolRun{0,
                      "name  address  value     raw bytes  caption\n"
                      "Mode      101  on, slow  00 01\n"
                      "Flow      100  12.3      00 7B      l/s\n",
                      ""}));
  EXPECT_THAT(fLine.TakeRequests(), ElementsAre(Bytes{3, 0, 100, 0, 2}));
}

TEST_F(ReadCommand, NamesOfSeveralLetters) {
  EXPECT_EQ(Read({"--names", "Level,Alarms"}),
            (TToolRun{0,
                      "letter  name    address  value     raw bytes  caption\n"
                      "Pumps   Alarms      110  dry, hot  02 01\n"
                      "Tanks   Level         7  25        00 FA      cm\n",
                      ""}));
}

TEST_F(ReadCommand, Json) {
  EXPECT_EQ(Read({"--names", "Flow,Mode", "--json"}), (TToolRun{0,
                                                                R"([
  {
    "letter": "Pumps",
    "name": "Flow",
    "adress": 100,
    "function": 3,
    "raw": "007B",
    "text": "12.3",
    "int": null,
    "real": 12.3,
    "error": null
  },
  {
    "letter": "Pumps",
    "name": "Mode",
    "adress": 101,
    "function": 3,
    "raw": "0001",
    "text": "on, slow",
    "int": 1,
    "real": null,
    "error": null
  }
]
)",
                                                                ""}));
}

TEST_F(ReadCommand, Csv) {
  EXPECT_EQ(Read({"--csv"}), (TToolRun{0,
                                       "letter,name,adress,function,raw,text,int,real,error,"
                                       "caption\n"
                                       "Pumps,Flow,100,3,007B,12.3,,12.3,,l/s\n"
                                       "Pumps,Mode,101,3,0001,\"on, slow\",1,,,\n"
                                       "Pumps,Alarms,110,3,0201,dry|||||||||hot||||||,513,,,\n"
                                       "Tanks,Level,7,4,00FA,25,25,25.0,,cm\n",
                                       ""}));
}

TEST_F(ReadCommand, WatchedRoundsStandBelowEachOtherAndTellWhatChanged) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Clock = [&simulator] { return static_cast<double>(simulator.RequestCount()); };
    simulator.Device(1).Holding.SetFormula(
        100, 1, [](std::uint32_t, double requests) { return static_cast<std::int64_t>(requests); });
  });
  EXPECT_EQ(Read({"--letter", "Pumps", "--names", "Flow,Mode", "--watch", "0.01", "--count", "2"}),
            (TToolRun{0,
                      "  name  address  value     raw bytes  caption\n"
                      "  Flow      100  0.1       00 01      l/s\n"
                      "  Mode      101  on, slow  00 01\n"
                      "\n"
                      "  name  address  value     raw bytes  caption\n"
                      "* Flow      100  0.2       00 02      l/s\n"
                      "  Mode      101  on, slow  00 01\n",
                      ""}));
}

TEST_F(ReadCommand, EachWatchedRoundOfJsonIsALine) {
  const TToolRun run = Read({"--names", "Level", "--json", "--watch", "0.01", "--count", "3"});
  const std::string round =
      R"([{"letter":"Tanks","name":"Level","adress":7,"function":4,"raw":"00FA","text":"25",)"
      R"("int":25,"real":25.0,"error":null}])"
      "\n";
  EXPECT_EQ(run, (TToolRun{0, round + round + round, ""}));
}

TEST_F(ReadCommand, ADeviceThatDoesNotAnswer) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Faults = {{.Address = std::uint8_t{1}, .Fault = EFault::Silence}};
  });
  EXPECT_EQ(Read({}), (TToolRun{1,
                                "letter  name    address  value      raw bytes  caption\n"
                                "Pumps   Flow        100  no answer             l/s\n"
                                "Pumps   Mode        101  no answer\n"
                                "Pumps   Alarms      110  no answer\n"
                                "Tanks   Level         7  25         00 FA      cm\n",
                                "orvixmb: 3 of 4 registers could not be read\n"}));
}

TEST_F(ReadCommand, ARefusedRegisterAmongOthers) {
  fLine.Change([](TSimulator& simulator) { simulator.Device(1) = {}; });
  fLine.Change([](TSimulator& simulator) { simulator.Device(1).Holding.Set(100, {123, 1}); });
  EXPECT_EQ(Read({"--letter", "Pumps", "--json", "--names", "Alarms"}),
            (TToolRun{1,
                      R"([
  {
    "letter": "Pumps",
    "name": "Alarms",
    "adress": 110,
    "function": 3,
    "raw": null,
    "text": null,
    "int": null,
    "real": null,
    "error": "exception 2: illegal data address"
  }
]
)",
                      "orvixmb: 1 of 1 registers could not be read\n"}));
  EXPECT_EQ(Read({"--letter", "Pumps"}),
            (TToolRun{1,
                      "name    address  value                              raw bytes  caption\n"
                      "Flow        100  12.3                               00 7B      l/s\n"
                      "Mode        101  on, slow                           00 01\n"
                      "Alarms      110  exception 2: illegal data address\n",
                      "orvixmb: 1 of 3 registers could not be read\n"}));
}

TEST_F(ReadCommand, OnlyTheLastRoundOfAWatchDecides) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Faults = {{.First = 1, .Last = 1, .Fault = EFault::Exception}};
  });
  EXPECT_EQ(Read({"--names", "Level", "--watch", "0.01", "--count", "2"}),
            (TToolRun{0,
                      "  name   address  value                               raw bytes  caption\n"
                      "  Level        7  exception 4: server device failure             cm\n"
                      "\n"
                      "  name   address  value  raw bytes  caption\n"
                      "* Level        7  25     00 FA      cm\n",
                      ""}));
}

TEST_F(ReadCommand, WrongCheckSumsAreNoAnswer) {
  fLine.Change(
      [](TSimulator& simulator) { simulator.Faults = {{.Fault = EFault::WrongCheckSum}}; });
  EXPECT_EQ(Read({"--names", "Level"}),
            (TToolRun{1,
                      "name   address  value            raw bytes  caption\n"
                      "Level        7  a broken answer             cm\n",
                      "orvixmb: 1 of 1 registers could not be read\n"}));
}

TEST_F(ReadCommand, TraceShowsBothDirections) {
  const TToolRun run = Read({"--names", "Level", "--trace"});
  EXPECT_EQ(run.Code, 0);
  EXPECT_THAT(run.Err, HasSubstr(" > 02 04 00 07 00 01 "));
  EXPECT_THAT(run.Err, HasSubstr("  read 1 input register from 7\n"));
  EXPECT_THAT(run.Err, HasSubstr(" < 02 04 02 00 FA "));
}

TEST_F(ReadCommand, WhatTheFormOrTheCommandLineHasNot) {
  struct TMistake {
    std::vector<std::string> Options;
    const char* Err;
  };
  const TMistake mistakes[] = {
      {{"--letter", "Pump"}, "FORM has no letter 'Pump'; it has Pumps, Tanks"},
      {{"--names", "Flow,Speed"}, "FORM has no register 'Speed'"},
      {{"--letter", "Tanks", "--names", "Flow"}, "FORM has no register 'Flow' in letter Tanks"},
      {{"--count", "2"}, "--count requires --watch"},
      {{"--watch", "0"}, "--watch: '0' is no number of seconds from 0.01 to 86400"},
      {{"--watch", "nan"}, "--watch: 'nan' is no number of seconds from 0.01 to 86400"},
      {{"--watch", "86401"}, "--watch: '86401' is no number of seconds from 0.01 to 86400"},
      {{"--json", "--csv"}, "--json excludes --csv"},
      {{"--colour"}, "The following argument was not expected: --colour"},
  };
  for (const TMistake& mistake : mistakes) {
    EXPECT_EQ(Read(mistake.Options),
              (TToolRun{2, "", std::string("orvixmb: ") + mistake.Err + "\n"}));
  }
}

TEST_F(ReadCommand, ThePortOfTheFormThatIsNotThere) {
  EXPECT_EQ(fLine.Run({"read", "FORM"}),
            (TToolRun{1, "", "orvixmb: Port /nowhere/line: No such file or directory\n"}));
}

TEST(ReadCommandWithoutAForm, IsAMistake) {
  EXPECT_EQ(RunOrvixmb({"read"}), (TToolRun{2, "", "orvixmb: FORM is required\n"}));
  EXPECT_EQ(
      RunOrvixmb({"read", "/nowhere/a.form"}),
      (TToolRun{2, "", "orvixmb: Can't read \"/nowhere/a.form\": No such file or directory\n"}));
}

// Forms of which something can't be read, by the text that they differ in.
struct TOddForm {
  const char* From;
  const char* To;
  TToolRun Run;
};

TEST(ReadCommandOfOddForms, SaysWhatIsOdd) {
  const TOddForm forms[] = {
      {"object Plant: TDataModule",
       "object Plant: TPlant",
       {2, "", "orvixmb: FORM:1:15: no class 'TPlant' is registered\n"}},
      {"    Client = TankDevice\n", "", {2, "", "orvixmb: FORM: letter Tanks has no client\n"}},
      {"    RTU = Line\n", "", {2, "", "orvixmb: FORM: client TankDevice has no serial line\n"}},
      {"        MBFuncRead = 4\n",
       "        MBFuncRead = 7\n",
       {1,
        "name   address  value                            raw bytes  caption\n"
        "Level        7  its function code 7 is not read             cm\n",
        "orvixmb: 1 of 1 registers could not be read\n"}},
      {"        RegTypeName = 'Tenths'\n        TypeInfo = Types\n      end>\n",
       "        RegTypeName = 'Long'\n        TypeInfo = Types\n      end>\n",
       {1,
        "name   address  value                            raw bytes  caption\n"
        "Level        7  Length of data byte array error             cm\n",
        "orvixmb: 1 of 1 registers could not be read\n"}},
      {"        MBFuncRead = 4\n        BytesInOneReg = 2\n        Count = 1\n",
       "        MBFuncRead = 33\n        BytesInOneReg = 2\n        Count = 3\n",
       {1,
        "name   address  value              raw bytes  caption\n"
        "Level        7  not in the answer             cm\n",
        "orvixmb: 1 of 1 registers could not be read\n"}},
  };
  for (const TOddForm& odd : forms) {
    SCOPED_TRACE(odd.To);
    const std::string form = ReplaceAll(kPlant, odd.From, odd.To);
    ASSERT_NE(form, kPlant);
    TToolLine line(form);
    line.Change([](TSimulator& simulator) {
      simulator.Device(2).Input.Set(7, {250});
      simulator.Device(2).Extended.Set(7, {1});
    });
    EXPECT_EQ(line.Run({"read", "FORM", "--port", "PORT", "--letter", "Tanks"}), odd.Run);
  }
}

// The other registers of the letter are read all the same.
TEST(ReadCommandOfOddForms, ATypeThatDoesNotFitSpoilsOneRegister) {
  const std::string form = ReplaceAll(
      kPlant, "        Caption = 'l/s'\n        RegType = rtNum\n        RegTypeName = 'Tenths'",
      "        Caption = 'l/s'\n        RegType = rtNum\n        RegTypeName = 'Long'");
  ASSERT_NE(form, kPlant);
  TToolLine line(form);
  line.Change([](TSimulator& simulator) {
    simulator.Device(1).Holding.Set(100, {123, 1});
    simulator.Device(1).Holding.Set(110, {0x0201});
  });
  EXPECT_EQ(line.Run({"read", "FORM", "--port", "PORT", "--letter", "Pumps"}),
            (TToolRun{1,
                      "name    address  value                            raw bytes  caption\n"
                      "Flow        100  Length of data byte array error             l/s\n"
                      "Mode        101  on, slow                         00 01\n"
                      "Alarms      110  dry, hot                         02 01\n",
                      "orvixmb: 1 of 3 registers could not be read\n"}));
}

}  // namespace
}  // namespace OrvixModBus
