// `orvixmb check`: what it says of forms, whole.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ToolRun.h"
#include "platform/rtl/uText.h"
#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {
namespace {

using testing::HasSubstr;

// The tool on a form of this text, which it calls FORM.
TToolRun Check(const std::string& form, std::vector<std::string> options = {}) {
  const TTempFolder folder;
  const std::string path = folder.Write("test.form", form);
  options.insert(options.begin(), {"check", path});
  TToolRun run = RunOrvixmb(options);
  run.Out = ReplaceAll(run.Out, path, "FORM");
  run.Err = ReplaceAll(run.Err, path, "FORM");
  return run;
}

constexpr char kMistakes[] = R"(object Plant: TDataModule
  object Line: TMBRTUConnection
    BaudRate = fast
    MaxRetries = 256
    Parity = psEvn
    Colour = 7
  end
  object Line: TMBConnection
    RTU = Lime
  end
  object Pump: TMBPump
    Speed = 5
  end
  object Controller: TMBClient
    Connection = Types
    Adres = '17'
  end
  object Types: TMBTypeInfo
    TypeLists = <
      item
        Name = 5
      end>
  end
end
)";

TEST(CheckCommand, EveryKindOfMistakeHasItsLine) {
  const std::string out =
      "FORM:3:16: TMBRTUConnection.BaudRate: expected an integer between 0 and 4294967295, found "
      "'fast'\n"
      "FORM:4:18: TMBRTUConnection.MaxRetries: expected an integer between 0 and 255, found 256\n"
      "FORM:5:14: TMBRTUConnection.Parity: expected one of psNone, psOdd, psEven, psMark, psSpace, "
      "found 'psEvn'\n"
      "FORM:6:5: TMBRTUConnection has no property 'Colour'\n"
      "FORM:8:10: A component named Line already exists\n"
      "FORM:9:11: TMBConnection.RTU: there is no component 'Lime'\n"
      "FORM:11:16: no class 'TMBPump' is registered\n"
      "FORM:15:18: TMBClient.Connection: 'Types' is a TMBTypeInfo, which does not fit\n"
      "FORM:16:13: TMBClient.Adres: expected an integer between 0 and 255, found the text '17'\n"
      "FORM:21:16: TMBRegTypeList.Name: expected a text in quotes, found 5\n";
  EXPECT_EQ(Check(kMistakes), (TToolRun{2, out, "orvixmb: FORM has 10 mistakes\n"}));
}

TEST(CheckCommand, ATextThatEndsTooEarlyIsTheLastMistake) {
  EXPECT_EQ(Check("object Plant: TDataModule\n  object Letter: TMBLetter\n    Color = 1\n"),
            (TToolRun{2,
                      "FORM:3:5: TMBLetter has no property 'Color'\n"
                      "FORM:4:1: expected a property's name or 'end', found the end of the text\n",
                      "orvixmb: FORM has 2 mistakes\n"}));
}

TEST(CheckCommand, MistakesAsJson) {
  EXPECT_EQ(Check("object Plant: TPlant\nend\n", {"--json"}),
            (TToolRun{2,
                      R"({
  "mistakes": [
    {
      "file": "FORM",
      "line": 1,
      "column": 15,
      "text": "no class 'TPlant' is registered"
    }
  ],
  "warnings": [],
  "letters": []
}
)",
                      "orvixmb: FORM has 1 mistake\n"}));
}

TEST(CheckCommand, AByteThatIsNoUtf8IsShownInJsonAllTheSame) {
  const TToolRun run = Check("object Plant: \xFF\nend\n", {"--json"});
  EXPECT_EQ(run.Err, "orvixmb: FORM has 1 mistake\n");
  EXPECT_EQ(nlohmann::json::parse(run.Out)["mistakes"][0]["text"],
            "no class '\uFFFD' is registered");
}

TEST(CheckCommand, AFileThatIsNotThere) {
  EXPECT_EQ(RunOrvixmb({"check", "/nowhere/plant.form"}),
            (TToolRun{2, "",
                      "orvixmb: Can't read \"/nowhere/plant.form\": No such file or directory\n"}));
}

constexpr char kSurprises[] = R"(object Plant: TDataModule
  object Line: TMBRTUConnection
    Port = '/dev/nowhere'
    Active = True
    BaudRate = 19200
  end
  object Connection: TMBConnection
    RTU = Line
  end
  object Loose: TMBConnection
  end
  object Device: TMBClient
    Connection = Connection
    Adres = 1
  end
  object Types: TMBTypeInfo
    TypeNumbers = <
      item
        Name = 'Zero'
        IntPart = 2
      end
      item
        Name = 'Long'
        IntPart = 4
        Multiplier = 1
      end>
  end
  object Pumps: TMBLetter
    Client = Device
    OnReadAllRegs = PumpsRead
    Regs = <
      item
        Name = 'Unknown'
        Adress = 10
        BytesInOneReg = 2
        Count = 1
        RegType = rtNum
        RegTypeName = 'Nothing'
        TypeInfo = Types
      end
      item
        Name = 'Overlap'
        Adress = 9
        BytesInOneReg = 2
        Count = 2
      end
      item
        Name = 'Never'
        MBFuncRead = 7
        BytesInOneReg = 2
        Count = 1
      end
      item
        Name = 'Misfit'
        Adress = 20
        BytesInOneReg = 2
        Count = 1
        RegType = rtNum
        RegTypeName = 'Long'
        TypeInfo = Types
      end
      item
        Name = 'Block'
        Adress = 256
        BytesInOneReg = 2
        Count = 1
      end
      item
        Name = 'Before'
        Adress = 255
        BytesInOneReg = 2
        Count = 1
      end
      item
        Name = 'PageEnd'
        Adress = 65530
        MBFuncRead = 67
        Count = 10
      end>
  end
  object Idle: TMBLetter
  end
end
)";

constexpr char kPumpsPlan[] =
    R"(Pumps: 6 requests, 71.6 ms at 19200 baud
#  Function  Address  Count        Registers              Out  In    ms  Split
1  $03             9  2 registers  2: Overlap to Unknown    8   9  11.7
2  $03            20  1 register   1: Misfit                8   7  10.6  Misfit: gap before it
3  $03           255  1 register   1: Before                8   7  10.6  Before: gap before it
4  $03           256  1 register   1: Block                 8   7  10.6  Block: multiple of 256
5  $43         65530  6 bytes      1: PageEnd               8  14  14.6
6  $43         65530  4 bytes      1: PageEnd               8  12  13.5  PageEnd: end of a page
   Sum                                                     48  56  71.6
)";

constexpr char kWarnings[] =
    "warning: Loose.RTU: there is no serial line, so nothing is sent\n"
    "warning: Types.Zero.Multiplier: it is 0, so every value reads as 0 and writing raises "
    "EZeroDivide\n"
    "warning: Pumps.Unknown.RegTypeName: there is no number type Nothing in Types, so its value "
    "stays empty\n"
    "warning: Pumps.Never.MBFuncRead: no letter reads with $07, so it is never read\n"
    "warning: Pumps.Misfit.RegTypeName: decoding its 2 bytes raises an exception: Length of data "
    "byte array error\n"
    "warning: Pumps.Unknown.Adress: it has addresses of Overlap, but another range or width, so "
    "each holds part of the other's data\n"
    "warning: Pumps.Block.Adress: it begins another request, because its address is a multiple of "
    "256\n"
    "warning: Pumps.PageEnd.Adress: its request passes the end of a page of 64 KiB and is asked "
    "for in two that begin at the same address, so what lies behind is not read and OnReadAllRegs "
    "comes twice\n"
    "warning: Idle.Client: there is no client, so reading and writing raise an exception\n"
    "\n";

TEST(CheckCommand, WarningsThenTheWayThatEachLetterIsRead) {
  const std::string idle = "\nIdle: 0 requests, 0.0 ms at 9600 baud\n";
  EXPECT_EQ(Check(kSurprises), (TToolRun{0, std::string(kWarnings) + kPumpsPlan + idle, ""}));
}

TEST(CheckCommand, ThePlanOfOneLetter) {
  EXPECT_EQ(Check(kSurprises, {"--letter", "pumps"}),
            (TToolRun{0, std::string(kWarnings) + kPumpsPlan, ""}));
}

TEST(CheckCommand, ALetterThatTheFormHasNot) {
  EXPECT_EQ(Check(kSurprises, {"--letter", "Pump"}),
            (TToolRun{2, "", "orvixmb: FORM has no letter 'Pump'; it has Pumps, Idle\n"}));
}

TEST(CheckCommand, WarningsAndPlansAsJson) {
  const TToolRun run = Check(R"(object Plant: TDataModule
  object Pumps: TMBLetter
    Regs = <
      item
        Name = 'Flow'
        BytesInOneReg = 2
        Count = 1
      end>
  end
end
)",
                             {"--json"});
  EXPECT_EQ(run, (TToolRun{0,
                           R"({
  "mistakes": [],
  "warnings": [
    {
      "component": "Pumps",
      "item": "",
      "property": "Client",
      "text": "there is no client, so reading and writing raise an exception"
    }
  ],
  "letters": [
    {
      "letter": "Pumps",
      "requests": [
        {
          "function": 3,
          "adress": 1,
          "count": 1,
          "unit": "registers",
          "registers": 1,
          "first": "Flow",
          "last": "Flow",
          "bytesOut": 8,
          "bytesIn": 7,
          "milliseconds": 21.198,
          "split": null
        }
      ],
      "bytesOut": 8,
      "bytesIn": 7,
      "milliseconds": 21.198
    }
  ]
}
)",
                           ""}));
}

TEST(CheckCommand, AnEmulatedLetterIsPlannedAsIfItWereNot) {
  const TToolRun run = Check(R"(object Plant: TDataModule
  object Connection: TMBConnection
    ConnectionType = mbEmul
  end
  object Device: TMBClient
    Connection = Connection
  end
  object Pumps: TMBLetter
    Client = Device
    Regs = <
      item
        Name = 'Flow'
        BytesInOneReg = 2
        Count = 1
      end>
  end
end
)");
  EXPECT_THAT(run.Out, HasSubstr("Pumps: 1 request, 21.2 ms at 9600 baud, were it not emulated\n"));
  EXPECT_EQ(run.Code, 0);
}

constexpr char kBoiler[] =
    R"(warning: Settings.RecipeRamp.Adress: it begins another request, because it ends more than 128 above the lowest address of the letter
warning: Events.OneRecordLength: each request asks for 20 records, so the last one may ask past the end
warning: Captures.OscilDataLength: each request asks for 31 records, so the last one may ask past the end

Boiler: 12 requests, 162.7 ms at 19200 baud
 #  Function  Address  Count        Registers                       Out   In     ms  Split
 1  $01             0  4 bits       4: Pump1 to GasValve              8    6   10.0
 2  $02            16  3 bits       3: Flame to LowWater              8    6   10.0
 3  $03           100  6 registers  6: FeedTemp to RoomTemp           8   17   16.3
 4  $03           110  2 registers  2: FeedPressure to GasPressure    8    9   11.7  FeedPressure: gap before it
 5  $03           130  2 registers  2: Mode to Alarms                 8    9   11.7  Mode: gap before it
 6  $03           140  8 registers  1: SerialNumber                   8   21   18.6  SerialNumber: gap before it
 7  $03           152  3 registers  3: Pump1Speed to FanSpeed         8   11   12.9  Pump1Speed: gap before it
 8  $03           160  6 registers  3: BurnerHours to BurnerStarts    8   17   16.3  BurnerHours: gap before it
 9  $04             0  3 registers  3: Modulation to Oxygen           8   11   12.9
10  $04            10  4 registers  3: GasFlow to GasMeter            8   13   14.0  GasFlow: gap before it
11  $21            16  0 registers  1: HeatMeter                      8    8   11.2
12  $43        131088  10 bytes     1: LastService                    8   18   16.9
    Sum                                                              96  146  162.7

Settings: 3 requests, 44.4 ms at 19200 baud
#  Function  Address  Count        Registers                     Out  In    ms  Split
1  $03           120  4 registers  4: SetPoint to NightSetPoint    8  13  14.0
2  $43        130816  8 bytes      1: Recipe                       8  16  15.8
3  $43        130824  6 bytes      3: RecipeRamp to RecipeSteps    8  14  14.6  RecipeRamp: ends 128 above the lowest
   Sum                                                            24  43  44.4
)";

TEST(CheckCommand, TheBoilerOfTheExamples) {
  const TToolRun run = RunOrvixmb({"check", ORVIX_SOURCE_DIR "/examples/boiler/boiler.form"});
  EXPECT_EQ(run, (TToolRun{0, kBoiler, ""}));
}

}  // namespace
}  // namespace OrvixModBus
