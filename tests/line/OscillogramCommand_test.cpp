// `orvixmb oscillogram`: those of a simulated device, their descriptions, and as files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "RecordsForm.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

using TWords = std::vector<std::string>;

class OscillogramCommand : public testing::Test {
 protected:
  OscillogramCommand() : fLine(kRecordsForm) {
    Keep(1, {'C', 'a', 'l', 'm', 0, 2}, 2);
    Keep(2, {'T', 'r', 'i', 'p', 0, 3}, 3);
  }

  void Keep(std::uint8_t number, const Bytes& info, int records) {
    fLine.Change([&](TSimulator& simulator) {
      simulator.Device(kRecordsAdres).Oscillograms[number] = {
          .Info = info, .Records = RecordsTo(records, WaveRecord)};
    });
  }

  TToolRun Oscillogram(const std::string& component, const TWords& words) {
    TWords all = {"oscillogram", "FORM", component, "--port", "PORT"};
    all.insert(all.end(), words.begin(), words.end());
    return fLine.Run(all);
  }

  TToolLine fLine;
};

TEST_F(OscillogramCommand, ShowsTheNewest) {
  EXPECT_EQ(Oscillogram("Captures", {"--structure", "Wave"}),
            (TToolRun{0,
                      "Oscillogram 2: Title Trip, Records 3\n"
                      "record    U     I\n"
                      "          V     A\n"
                      "     1  0.1  -0.2\n"
                      "     2  0.2  -0.4\n"
                      "     3  0.3  -0.6\n",
                      ""}));
  EXPECT_THAT(fLine.TakeRequests(), ElementsAre(Bytes{0x41, 0, 0, 0, 0}, Bytes{0x41, 0, 2, 0, 0},
                                                Bytes{0x41, 3, 2, 0, 1}));
}

TEST_F(OscillogramCommand, ShowsTheOneOfThatNumber) {
  EXPECT_EQ(Oscillogram("Captures", {"--number", "1"}),
            (TToolRun{0,
                      "Oscillogram 1: Title Calm, Records 2\n"
                      "record  raw\n"
                      "     1  00 01 FF FE\n"
                      "     2  00 02 FF FC\n",
                      ""}));
  EXPECT_EQ(fLine.TakeRequests().front(), (Bytes{0x41, 0, 1, 0, 0})) << "nothing is counted";
}

TEST_F(OscillogramCommand, CsvHasTheDescriptionBesideIt) {
  EXPECT_EQ(Oscillogram("Captures", {"--structure", "Wave", "--csv"}),
            (TToolRun{0,
                      "record,U,I\n"
                      "1,0.1,-0.2\n"
                      "2,0.2,-0.4\n"
                      "3,0.3,-0.6\n",
                      "Oscillogram 2: Title Trip, Records 3\n"}));
}

TEST_F(OscillogramCommand, JsonHoldsTheDescription) {
  EXPECT_EQ(Oscillogram("Captures", {"--structure", "Wave", "--records", "1", "--json"}),
            (TToolRun{0, R"({
  "number": 2,
  "info": {
    "raw": "547269700003",
    "values": {
      "Title": "Trip",
      "Records": 3.0
    }
  },
  "records": [
    {
      "record": 1,
      "raw": "0001FFFE",
      "values": {
        "U": 0.1,
        "I": -0.2
      }
    }
  ]
}
)",
                      ""}));
}

TEST_F(OscillogramCommand, RecordNumbersAreWords) {
  Keep(2, {'L', 'o', 'n', 'g', 1, 0x90}, 400);
  const TToolRun run = Oscillogram("Captures", {"--csv"});
  EXPECT_EQ(run.Code, 0) << run.Err;
  EXPECT_THAT(run.Out, EndsWith("\n399,00C7FE72\n400,00000000\n"));
  EXPECT_EQ(std::ranges::count(run.Out, '\n'), 401);
  const std::vector<Bytes> requests = fLine.TakeRequests();
  EXPECT_EQ(requests.at(2), (Bytes{0x41, 62, 2, 0, 1}));
  EXPECT_EQ(requests.back(), (Bytes{0x41, 28, 2, 1, 0x75})) << "373 to 400";
}

TEST_F(OscillogramCommand, OneRecordIsReadToo) {
  Keep(2, {'O', 'n', 'e', ' ', 0, 1}, 1);
  EXPECT_EQ(Oscillogram("Captures", {"--csv"}).Out, "record,raw\n1,0001FFFE\n");
}

TEST_F(OscillogramCommand, WithoutAStructureTheDescriptionIsBytes) {
  EXPECT_EQ(Oscillogram("Plain", {"--records", "1"}).Out,
            "Oscillogram 2: 54 72 69 70 00 03\nrecord  raw\n     1  00 01 FF FE\n");
  // Three structures have the length of its descriptions.
  EXPECT_EQ(Oscillogram("Unsure", {"--records", "1"}).Out,
            "Oscillogram 2: 54 72 69 70\nrecord  raw\n     1  00 01 FF FE\n");
  EXPECT_EQ(Oscillogram("Unsure", {"--records", "1", "--info-structure", "Wide"}).Out,
            "Oscillogram 2: Text Trip\nrecord  raw\n     1  00 01 FF FE\n");
}

TEST_F(OscillogramCommand, WhatHasComeIsShownWhenTheDeviceFails) {
  const TToolRun run = Oscillogram("Captures", {"--number", "1", "--records", "100", "--csv"});
  EXPECT_EQ(run,
            (TToolRun{1, "record,raw\n1,0001FFFE\n2,0002FFFC\n",
                      "Oscillogram 1: Title Calm, Records 2\norvixmb: Captures 1: exception 2: "
                      "illegal data address; 2 of 100 records have come\n"}));
}

TEST_F(OscillogramCommand, WhatTheDeviceDoesNotHave) {
  EXPECT_EQ(Oscillogram("Captures", {"--number", "9"}),
            (TToolRun{1, "", "orvixmb: Captures 9: exception 2: illegal data address\n"}));
  Keep(2, {'B', 'a', 'd'}, 3);
  EXPECT_EQ(Oscillogram("Captures", {}),
            (TToolRun{1, "", "orvixmb: Captures: a description of 3 bytes, not of 6\n"}));
  fLine.Change([](TSimulator& simulator) {
    simulator.Device(kRecordsAdres).Oscillograms.clear();
    simulator.Device(kRecordsAdres).OscillogramTotal = 7;
  });
  EXPECT_EQ(Oscillogram("Captures", {}),
            (TToolRun{1, "", "orvixmb: Captures: there is no oscillogram\n"}));
}

TEST_F(OscillogramCommand, APictureAndComtradeFiles) {
  const TToolRun run = Oscillogram("Captures", {"--structure", "Wave", "--interval", "0.25",
                                                "--svg", "DIR/a.svg", "--comtrade", "DIR/a"});
  EXPECT_EQ(run.Code, 0) << run.Err;
  const std::string svg = fLine.Folder().Read("a.svg");
  for (const char* text : {">Captures 2: Trip<", ">U<", ">I<", ">V<", ">A<", ">Time, ms<"}) {
    EXPECT_THAT(svg, HasSubstr(text));
  }
  EXPECT_THAT(fLine.Folder().Read("a.cfg"),
              StartsWith("Controller,Captures,1999\r\n2,2A,0D\r\n"
                         "1,U,,,V,0.1,0,0,1,3,1,1,P\r\n2,I,,,A,0.1,0,0,-6,-2,1,1,P\r\n"
                         "50\r\n1\r\n4000,3\r\n"));
  EXPECT_EQ(fLine.Folder().Read("a.dat"), "1,0,1,-2\r\n2,250,2,-4\r\n3,500,3,-6\r\n");
}

TEST_F(OscillogramCommand, MistakesAreToldBeforeThePortIsOpened) {
  constexpr char kNoCount[] =
      "How many records an oscillogram has is not known: give --records, or an --info-structure "
      "that has a number Records";
  const struct {
    TWords Words;
    const char* Message;
  } mistakes[] = {
      {{"Events"}, "FORM has no oscillogram 'Events'; it has Captures, Unsure, Plain"},
      {{"Plain"}, kNoCount},
      {{"Plain", "--info-structure", "Info", "--records", "2"},
       "FORM: structure Info has 6 bytes, but Plain.OscilInfoLength is -1"},
      {{"Captures", "--info-structure", "None"},
       "FORM has no structure 'None'; it has Event, Info, Wave, Wide, Askew"},
      {{"Captures", "--structure", "Event"},
       "FORM: structure Event has 8 bytes, but Captures.OscilDataLength is 4"},
      {{"Captures", "--svg", "DIR/a.svg"}, "--svg and --comtrade need --structure"},
      {{"Captures", "--number", "256"}, "--number: Value 256 not in range 1 to 255"},
      {{"Captures", "--records", "0"}, "--records: Value 0 not in range 1 to 65535"},
  };
  for (const auto& mistake : mistakes) {
    SCOPED_TRACE(mistake.Message);
    TWords all = {"oscillogram", "FORM"};
    all.insert(all.end(), mistake.Words.begin(), mistake.Words.end());
    EXPECT_EQ(fLine.Run(all), (TToolRun{2, "", std::string("orvixmb: ") + mistake.Message + "\n"}));
  }
}

TEST_F(OscillogramCommand, HelpEndsWithAnExample) {
  EXPECT_THAT(fLine.Run({"oscillogram", "--help"}).Out,
              EndsWith("Example:\n  orvixmb oscillogram boiler.form Captures --structure Sample "
                       "--interval 0.25 --svg captures.svg\n"));
}

}  // namespace
}  // namespace OrvixModBus
