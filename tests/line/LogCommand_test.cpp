// `orvixmb log`: the records of a simulated device's log, whole, interrupted, and as files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "RecordsForm.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uTextFile.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using TWords = std::vector<std::string>;

class LogCommand : public testing::Test {
 protected:
  LogCommand() : fLine(kRecordsForm) {}

  void Keep(int records) {
    fLine.Change([=](TSimulator& simulator) {
      simulator.Device(kRecordsAdres).Logs[0x20].Records = RecordsTo(records, EventRecord);
    });
  }

  void SetFaults(const std::vector<TFaultRule>& faults) {
    fLine.Change([&](TSimulator& simulator) { simulator.Faults = faults; });
  }

  TToolRun Log(const std::string& component, const TWords& words) {
    TWords all = {"log", "FORM", component, "--port", "PORT"};
    all.insert(all.end(), words.begin(), words.end());
    return fLine.Run(all);
  }

  TToolLine fLine;
};

TEST_F(LogCommand, ShowsTheFieldsOfTheStructure) {
  Keep(3);
  EXPECT_EQ(Log("Events", {"--structure", "Event"}),
            (TToolRun{0,
                      "record  Time  Mode  Alarms       Feed\n"
                      "           s                       °C\n"
                      "     1   257  on    fire, flood   0.1\n"
                      "     2   258  off                 0.2\n"
                      "     3   259  on    fire, flood   0.3\n",
                      ""}));
  EXPECT_THAT(fLine.TakeRequests(), ElementsAre(Bytes{0x20, 0, 0, 0, 0}, Bytes{0x20, 0, 1, 0, 3}));
}

TEST_F(LogCommand, ShowsBytesWithoutAStructure) {
  Keep(2);
  EXPECT_EQ(Log("Events", {}), (TToolRun{0,
                                         "record  raw\n"
                                         "     1  00 00 01 01 01 81 00 01\n"
                                         "     2  00 00 01 02 00 00 00 02\n",
                                         ""}));
}

TEST_F(LogCommand, PrintsCommaSeparatedValues) {
  Keep(2);
  EXPECT_EQ(Log("Events", {"--structure", "Event", "--csv"}),
            (TToolRun{0,
                      "record,Time,Mode,Alarms,Feed\n"
                      "1,257,on,\"fire, flood\",0.1\n"
                      "2,258,off,,0.2\n",
                      ""}));
  EXPECT_EQ(Log("Events", {"--csv"}), (TToolRun{0,
                                                "record,raw\n"
                                                "1,0000010101810001\n"
                                                "2,0000010200000002\n",
                                                ""}));
}

TEST_F(LogCommand, PrintsJson) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Device(kRecordsAdres).Logs[0x20].Records = {{0, 0, 1, 1, 1, 0x81, 0, 5},
                                                          {0, 0, 1, 2, 9, 0, 0xFF, 0xFF}};
  });
  EXPECT_EQ(Log("Events", {"--structure", "Event", "--json"}), (TToolRun{0, R"([
  {
    "record": 1,
    "raw": "0000010101810005",
    "values": {
      "Time": 257.0,
      "Mode": "on",
      "Alarms": "fire, flood",
      "Feed": 0.5
    }
  },
  {
    "record": 2,
    "raw": "000001020900FFFF",
    "values": {
      "Time": 258.0,
      "Mode": "9",
      "Alarms": "",
      "Feed": null
    }
  }
]
)",
                                                                         ""}));
  EXPECT_EQ(Log("Events", {"--from", "2", "--json"}), (TToolRun{0, R"([
  {
    "record": 2,
    "raw": "000001020900FFFF"
  }
]
)",
                                                                ""}));
}

TEST_F(LogCommand, AsksForAsManyAsAReplyHolds) {
  Keep(70);
  EXPECT_EQ(Log("Events", {}).Code, 0);
  EXPECT_THAT(fLine.TakeRequests(),
              ElementsAre(Bytes{0x20, 0, 0, 0, 0}, Bytes{0x20, 0, 1, 0, 31},
                          Bytes{0x20, 0, 32, 0, 31}, Bytes{0x20, 0, 63, 0, 8}));
}

TEST_F(LogCommand, ReadsTheOtherFunctionToTheLastByte) {
  fLine.Change([](TSimulator& simulator) {
    simulator.Device(kRecordsAdres).Logs[0x24].Records =
        RecordsTo(250, [](int n) { return Bytes{static_cast<std::uint8_t>(n)}; });
  });
  const TToolRun run = Log("Bytes", {"--csv"});
  EXPECT_THAT(run.Out, HasSubstr("\n248,F8\n249,F9\n250,FA\n"));
  EXPECT_EQ(std::ranges::count(run.Out, '\n'), 251);
  EXPECT_EQ(fLine.TakeRequests().front(), (Bytes{0x24, 0, 0, 0, 0}));
}

TEST_F(LogCommand, AnInterruptedOneGoesOnWhereItStopped) {
  Keep(70);
  const TToolRun whole = Log("Events", {"--csv"});
  fLine.TakeRequests();
  std::uint64_t asked = 0;
  fLine.Change([&](const TSimulator& simulator) { asked = simulator.RequestCount(); });
  SetFaults({{.First = asked + 3}});
  const TToolRun first = Log("Events", {"--csv"});
  EXPECT_EQ(first.Code, 1);
  EXPECT_EQ(first.Err, "orvixmb: Events: no answer; go on with --from 32\n");
  EXPECT_EQ(std::ranges::count(first.Out, '\n'), 32);
  // A dead line is noticed at the first request that fails.
  EXPECT_EQ(fLine.TakeRequests().size(), 3U);
  SetFaults({});
  const TToolRun rest = Log("Events", {"--csv", "--from", "32"});
  EXPECT_EQ(rest.Code, 0);
  EXPECT_EQ(rest.Err, "");
  EXPECT_EQ(fLine.TakeRequests()[1], (Bytes{0x20, 0, 32, 0, 31}));
  EXPECT_EQ(first.Out + rest.Out.substr(rest.Out.find('\n') + 1), whole.Out);
}

TEST_F(LogCommand, TheFilesOfAnInterruptedOneHoldWhatHasCome) {
  Keep(70);
  SetFaults({{.First = 4, .Fault = EFault::Exception}});
  EXPECT_EQ(Log("Events", {"--structure", "Event", "--comtrade", "DIR/log"}).Err,
            "orvixmb: Events: exception 4: server device failure; go on with --from 63\n");
  EXPECT_THAT(fLine.Folder().Read("log.cfg"), HasSubstr("\r\n1,62\r\n"));
}

TEST_F(LogCommand, ALineThatIsDeadFromTheStartShowsNothing) {
  Keep(3);
  SetFaults({{}});
  EXPECT_EQ(Log("Events", {}), (TToolRun{1, "", "orvixmb: Events: no answer\n"}));
}

TEST_F(LogCommand, ADeviceWithoutTheFunctionSaysSo) {
  Keep(3);
  EXPECT_EQ(Log("Bytes", {}), (TToolRun{1, "", "orvixmb: Bytes: exception 1: illegal function\n"}));
}

TEST_F(LogCommand, NumbersOfOneByteEndAt255) {
  Keep(300);
  const TToolRun run = Log("Events", {"--from", "254", "--csv"});
  EXPECT_EQ(run, (TToolRun{0,
                           "record,raw\n"
                           "254,000001FE000000FE\n"
                           "255,000001FF018100FF\n",
                           "orvixmb: Events has 300 records; those after 255 can't be asked for, "
                           "since their numbers have one byte\n"}));
}

TEST_F(LogCommand, ThereMayBeNothingToRead) {
  Keep(3);
  EXPECT_EQ(Log("Events", {"--from", "4", "--structure", "Event", "--svg", "DIR/no.svg"}),
            (TToolRun{0, "record  Time  Mode  Alarms  Feed\n           s                  °C\n",
                      "orvixmb: Events has 3 records, none from 4 on\n"}));
  EXPECT_THAT(fLine.Folder().Read("no.svg"), IsEmpty());
  Keep(0);
  EXPECT_EQ(Log("Events", {"--json"}), (TToolRun{0, "[]\n", "orvixmb: Events has no record\n"}));
}

TEST_F(LogCommand, ComtradeFilesHoldTheNumbers) {
  Keep(3);
  const TToolRun run =
      Log("Events", {"--structure", "Event", "--comtrade", "DIR/log", "--interval", "500"});
  EXPECT_EQ(run.Code, 0) << run.Err;
  EXPECT_THAT(run.Out, StartsWith("record  Time")) << "shown as well";
  const std::string cfg = fLine.Folder().Read("log.cfg");
  EXPECT_THAT(cfg, StartsWith("Controller,Events,1999\r\n2,2A,0D\r\n1,Time,,,s,"));
  EXPECT_THAT(cfg, HasSubstr("\r\n2,Feed,,,°C,"));
  EXPECT_THAT(cfg, HasSubstr("\r\n1\r\n2,3\r\n")) << "2 Hz, 3 samples";
  // Back by the factor and the offset of each channel.
  const TStringDynArray lines = SplitAtAny(cfg, "\n");
  const TStringDynArray time = Split(lines.at(2), ','), feed = Split(lines.at(3), ',');
  const TStringDynArray samples = SplitAtAny(fLine.Folder().Read("log.dat"), "\n");
  for (int n = 1; n <= 3; ++n) {
    const TStringDynArray sample = Split(Trim(samples.at(static_cast<std::size_t>(n - 1))), ',');
    ASSERT_EQ(sample.size(), 4U);
    EXPECT_EQ(sample[0], IntToStr(n));
    EXPECT_EQ(sample[1], IntToStr((n - 1) * 500'000)) << "microseconds";
    const auto value = [&](const TStringDynArray& channel, const std::string& x) {
      return StrToFloat(x) * StrToFloat(channel.at(5)) + StrToFloat(channel.at(6));
    };
    EXPECT_NEAR(value(time, sample[2]), 256 + n, 1e-9);
    EXPECT_NEAR(value(feed, sample[3]), n * 0.1, 1e-9);
  }
}

TEST_F(LogCommand, APictureHasAPanelForEachUnit) {
  Keep(30);
  EXPECT_EQ(Log("Events", {"--structure", "Event", "--svg", "DIR/log.svg"}).Code, 0);
  const std::string svg = fLine.Folder().Read("log.svg");
  for (const char* text : {">Events<", ">Time<", ">Feed<", ">s<", ">°C<", ">Record<"}) {
    EXPECT_THAT(svg, HasSubstr(text));
  }
  EXPECT_THAT(svg, Not(HasSubstr(">Mode<")));
  EXPECT_EQ(Log("Events", {"--structure", "Event", "--svg", "DIR/log.svg", "--interval", "1"}).Code,
            0);
  EXPECT_THAT(fLine.Folder().Read("log.svg"), HasSubstr(">Time, ms<"));
}

TEST_F(LogCommand, AFileThatCantBeWrittenLeavesTheRecordsShown) {
  Keep(1);
  const TToolRun run = Log("Events", {"--structure", "Event", "--svg", "DIR/no/log.svg"});
  EXPECT_EQ(run.Code, 1);
  EXPECT_THAT(run.Out, HasSubstr("\n     1   257  on    fire, flood   0.1\n"));
  EXPECT_EQ(run.Err, "orvixmb: Can't write \"DIR/no/log.svg\": No such file or directory\n");
}

TEST_F(LogCommand, TracesItsFrames) {
  Keep(1);
  const TToolRun run = Log("Events", {"--trace"});
  EXPECT_THAT(run.Err, HasSubstr(" > 11 20 00 00 00 00 "));
  EXPECT_THAT(run.Err, HasSubstr("  log: 1 record from 1\n"));
}

struct TMistake {
  TWords Words;
  const char* Message;
};

TEST_F(LogCommand, MistakesAreToldBeforeThePortIsOpened) {
  const TMistake mistakes[] = {
      {{"FORM", "Captures"},
       "FORM has no log 'Captures'; it has Events, Bytes, Short, NoLength, NoClient, NoDevice"},
      {{"FORM", "NoLength"},
       "FORM: NoLength.OneRecordLength is -1, but a reply holds records of 1 to 248 bytes"},
      {{"FORM", "NoClient"}, "FORM: NoClient has no client"},
      {{"FORM", "NoDevice"}, "FORM: NoDevice has a client without a device: it is emulated"},
      {{"FORM", "Events", "--structure", "Nothing"},
       "FORM has no structure 'Nothing'; it has Event, Info, Wave, Wide, Askew"},
      {{"FORM", "Events", "--structure", "Wave"},
       "FORM: structure Wave has 4 bytes, but Events.OneRecordLength is 8"},
      {{"FORM", "Short", "--structure", "Askew"},
       "FORM: structure Askew: field Outside does not lie within 4 bytes"},
      {{"FORM", "Events", "--svg", "DIR/a.svg"}, "--svg and --comtrade need --structure"},
      {{"FORM", "Events", "--comtrade", "DIR/a"}, "--svg and --comtrade need --structure"},
      {{"FORM", "Short", "--structure", "Wide", "--svg", "DIR/a.svg"},
       "FORM: structure Wide has no number to draw"},
      {{"FORM", "Events", "--from", "0"}, "--from: Value 0 not in range 1 to 255"},
      {{"FORM", "Events", "--from", "256"}, "--from: Value 256 not in range 1 to 255"},
      {{"FORM", "Events", "--csv", "--json"}, "--json excludes --csv"},
      {{"FORM"}, "COMPONENT is required"},
      {{"DIR/none.form", "Events"}, "Can't read \"DIR/none.form\": No such file or directory"},
  };
  for (const TMistake& mistake : mistakes) {
    SCOPED_TRACE(mistake.Message);
    TWords all = {"log"};
    all.insert(all.end(), mistake.Words.begin(), mistake.Words.end());
    EXPECT_EQ(fLine.Run(all), (TToolRun{2, "", std::string("orvixmb: ") + mistake.Message + "\n"}));
  }
}

TEST_F(LogCommand, HelpEndsWithAnExample) {
  EXPECT_THAT(fLine.Run({"log", "--help"}).Out,
              EndsWith("Example:\n  orvixmb log boiler.form Events --structure Event --csv\n"));
}

}  // namespace
}  // namespace OrvixModBus
