#include "platform/modbus/uRecording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "platform/modbus/uModbusConnection.h"
#include "platform/rtl/uTextFile.h"
#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::ThrowsMessage;

// Every kind of line that there is.
constexpr char kAll[] = R"(orvixmodbus recording 1
start 2026-03-01T08:15:59.000000417Z
set Port /dev/tty%25usb%0A0
set BaudRate 19200
set Parity psNone
set SilentInterval -1
rule 66 counted 5 2
rule 71 request 8 3 1 2
rule 3 silence
rule 100 fixed 8
port open
overwritten 120
0.000000000 open
0.000000001 queue 1 custom 01 03 00 64 00 01
0.000000001 queue 2 identity 11 11
0.000000001 queue 4294967295 files 01 14 00 04 00 01 00 7E
0.004010417 sent 1 0 01 03 00 64 00 01 C5 D5
0.004010417 wrote 3
0.005000000 released
0.031250000 read 01 03 02 00 05 78 47
0.031250000 end srNormalReply
0.031250000 look
0.031250000 set ReceiveTimeout 250
1.000000000 discard 2
1.500000000 lost hung%0Aup
1.500000000 skip 4294967295
1.900000000 away
2.000000000 reopen
3999999999.999999999 close
)";

// What is written comes in the order of the codes.
std::string InOrder(std::string text) {
  const std::string rule = "rule 3 silence\n";
  text.erase(text.find(rule), rule.size());
  return text.insert(text.find("rule 66"), rule);
}

TEST(Recording, TextIsReadAndWrittenAgainTheSame) {
  const TFlightRecording recording = ParseRecording(kAll);
  EXPECT_EQ(RecordingText(recording), InOrder(kAll));
  EXPECT_EQ(recording.Entries.size(), 17u);
  EXPECT_EQ(recording.Entries.at(0).Kind, TFlightKind::fkOpen);
  EXPECT_EQ(recording.Entries.at(16).Time, std::chrono::nanoseconds(3'999'999'999'999'999'999));
  EXPECT_EQ(recording.Settings.at(0), "Port /dev/tty%usb\n0");
  EXPECT_EQ(recording.Overwritten, 120u);
  EXPECT_TRUE(recording.BeginsOpen);
  EXPECT_EQ(recording.Lengths.Rule(66), TReplyLengthRule::Counted(5, 2));
}

TEST(Recording, StandsInLinesOfTwoCharactersToo) {
  std::string text = kAll;
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
    text.insert(at, "\r");
  }
  EXPECT_EQ(RecordingText(ParseRecording(text)), InOrder(kAll));
}

TEST(Recording, RemarksAndEmptyLinesSayNothing) {
  const TFlightRecording recording =
      ParseRecording("orvixmodbus recording 1\n# by hand\n\n0.000000001 open\n# the end");
  ASSERT_EQ(recording.Entries.size(), 1u);
  EXPECT_EQ(recording.Entries[0].Kind, TFlightKind::fkOpen);
}

TEST(Recording, MistakesAreToldWithTheirLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"start 2026-03-01", "'2026-03-01' is no start time"},
      {"start 2026-02-30T08:15:59.000000417Z", "'2026-02-30T08:15:59.000000417Z' is no start time"},
      {"start 2026-03-01T24:15:59.000000417Z", "'2026-03-01T24:15:59.000000417Z' is no start time"},
      {"start 1969-12-31T23:59:59.000000417Z", "'1969-12-31T23:59:59.000000417Z' is no start time"},
      {"start 9999-12-31T23:59:59.000000417Z", "'9999-12-31T23:59:59.000000417Z' is no start time"},
      {"set Colour 5", "'Colour' is no setting of a line"},
      {"set Active 1", "'Active' is no setting of a line"},
      {"set OnTrace 1", "'OnTrace' is no setting of a line"},
      {"set", "'' is no setting of a line"},
      {"set BaudRate fast", "'fast' is no value of BaudRate"},
      {"set BaudRate 0", "A baud rate of 0 is no line"},
      {"set BaudRate 99999999999999999999", "'99999999999999999999' is no value of BaudRate"},
      {"set Parity psAny", "'psAny' is no value of Parity"},
      {"set Port 5%4", "'4' is no byte"},
      {"set Port 5%", "'' is no byte"},
      {"rule 256 fixed 8", "'256' is no number from 0 to 255"},
      {"rule 5 often 8", "'often' is no kind of rule"},
      {"rule 5 fixed", "'' is no number from 0 to 65535"},
      {"rule 5 fixed 8 8", "'8' is no part of a rule"},
      {"port ajar", "'ajar' is no state of a port"},
      {"overwritten -1", "'-1' is no number"},
      {"colour red", "'colour' is no part of a recording"},
      {"1 open", "'1' is no time"},
      {"1.5 open", "'1.5' is no time"},
      {"1.00000000x open", "'00000000x' is no time"},
      {"4000000001.000000000 open", "'4000000001' is no time"},
      {"1.000000000", "'' is no kind of entry"},
      {"1.000000000 close 5", "'5' is no part of such an entry"},
      {"1.000000000 jump", "'jump' is no kind of entry"},
      {"1.000000000 read", "an entry of 1 to 65535 bytes is wanted"},
      {"1.000000000 read 1", "'1' is no byte"},
      {"1.000000000 read 0a", "'0a' is no byte"},
      {"1.000000000 read 01  02", "'' is no byte"},
      {"1.000000000 end srGood", "'srGood' is no kind of it that there is"},
      {"1.000000000 sent 1 256 01", "'256' is no number from 0 to 255"},
      {"1.000000000 sent 4294967296 0 01", "'4294967296' is no number from 0 to 4294967295"},
      {"1.000000000 queue 1 custom 01", "'01' is no request of that kind"},
      {"1.000000000 queue 1 identity 01 12", "'01 12' is no request of that kind"},
      {"1.000000000 queue 1 files 01 14 00 00", "'01 14 00 00' is no request of that kind"},
      {"1.000000000 queue 1 files 01 14 00 04 00 01 00 7F",
       "'01 14 00 04 00 01 00 7F' is no request of that kind"},
      {"1.000000000 set BaudRate 0", "A baud rate of 0 is no line"},
  };
  for (const auto& [line, message] : cases) {
    SCOPED_TRACE(line);
    const std::string text = std::string("orvixmodbus recording 1\n\n") + line + "\n";
    EXPECT_THAT([&] { ParseRecording(text); },
                ThrowsMessage<ERecordingError>(std::string("line 3: ") + message));
  }
}

TEST(Recording, ItsBeginAndOrderAreChecked) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "line 1: it is empty"},
      {"\n", "line 1: this is no recording of version 1"},
      {"orvixmodbus recording 2\n", "line 1: this is no recording of version 1"},
      {"orvixmodbus recording 1\n2.000000000 open\n1.999999999 close\n",
       "line 3: it is earlier than the line before"},
      {"orvixmodbus recording 1\n2.000000000 open\nport open\n", "line 3: 'port open' is no entry"},
  };
  for (const auto& [text, message] : cases) {
    SCOPED_TRACE(text);
    EXPECT_THAT([&text = text] { ParseRecording(text); }, ThrowsMessage<ERecordingError>(message));
  }
}

// Whatever the text is, it is refused or read; what is read can be written.
TEST(Recording, AnyByteOfItMayBeAnyOther) {
  const std::string good = kAll;
  int read = 0;
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (const char other : {'\0', ' ', '\n', '9', 'F', '%', '\xFF'}) {
      std::string text = good;
      text[at] = other;
      try {
        RecordingText(ParseRecording(text));
        ++read;
      } catch (const ERecordingError& error) {
        EXPECT_THAT(error.what(), HasSubstr("line "));
      }
    }
  }
  EXPECT_GT(read, 100);
}

TEST(Recording, FileIsNamedInItsErrors) {
  const TTempFolder folder;
  const std::string file = folder.Write("line.orvixrec", "orvixmodbus recording 1\nnonsense\n");
  EXPECT_THAT(
      [&] { ReadRecording(file); },
      ThrowsMessage<ERecordingError>(file + ": line 2: 'nonsense' is no part of a recording"));
  const std::string none = folder.File("none.orvixrec");
  EXPECT_THAT([&] { ReadRecording(none); }, ThrowsMessage<EStreamError>(HasSubstr(none)));
}

TEST(Recording, SettingsAreThoseByWhichALineRuns) {
  TModbusConnection line, other;
  line.SetPortProperty("COM1");
  line.SetStopBits(TStopBits::sb1_5);
  line.SetSilentInterval(0);
  const std::vector<std::string> settings = LineSettings(line);
  EXPECT_THAT(settings, Contains("Port COM1"));
  EXPECT_THAT(settings, Contains("StopBits sb1_5"));
  EXPECT_THAT(settings, Contains("SilentInterval 0"));
  EXPECT_THAT(settings, Contains("ReceiveTimeout 1000"));
  EXPECT_THAT(settings, Not(Contains(HasSubstr("Active"))));
  EXPECT_THAT(settings, Not(Contains(HasSubstr("Record"))));
  for (const std::string& setting : settings) ApplyLineSetting(other, setting);
  EXPECT_EQ(LineSettings(other), settings);
}

}  // namespace
}  // namespace OrvixModBus
