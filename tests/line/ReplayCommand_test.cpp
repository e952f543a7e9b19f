// `orvixmb replay`: recordings become tests, values by a form, captures for a packet analyser, and
// what was recorded on a real port comes again.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "SimulatedLine.h"
#include "ToolRun.h"
#include "platform/modbus/uRecording.h"
#include "platform/rtl/uText.h"
#include "platform/rtl/uTextFile.h"
#include "tests/rtl/uTempFolder.h"
#include "tests/support/Program.h"
#include "tools/orvixmb/uReplay.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr char kRecordings[] = ORVIX_SOURCE_DIR "/tests/data/recordings/";

std::string RecordingNamed(const std::string& name) { return kRecordings + name + ".orvixrec"; }

// ---- recordings as tests ------------------------------------------------------------------------

TEST(Recordings, GiveTheEventsThatStandBesideThem) {
  int count = 0;
  for (const auto& file : std::filesystem::directory_iterator(kRecordings)) {
    if (file.path().extension() != ".orvixrec") continue;
    SCOPED_TRACE(file.path());
    std::filesystem::path events = file.path();
    EXPECT_EQ(RunOrvixmb({"replay", file.path()}),
              (TToolRun{0, ReadWholeFile(events.replace_extension(".events")), ""}));
    ++count;
  }
  EXPECT_GE(count, 4);
}

// ---- the command --------------------------------------------------------------------------------

constexpr char kShort[] = R"(orvixmodbus recording 1
start 2026-03-01T08:15:00.000000000Z
set SilentInterval 0
set MaxRetries 1
port open
0.000000000 queue 1 custom 01 03 00 64 00 02
0.000000000 sent 1 0 01 03 00 64 00 02 85 D4
0.020000000 read 01 03 04 00 05 FF FE 2A 42
0.020000000 end srNormalReply
0.100000000 queue 2 custom 02 06 00 0C 00 05
0.100000000 sent 2 0 02 06 00 0C 00 05 89 F9
1.100000000 end srNone
1.100000000 sent 2 1 02 06 00 0C 00 05 89 F9
1.150000000 read FF 02 86 02 33 A1
1.150000000 end srExceptionReply
1.300000000 lost Input/output error
1.400000000 queue 3 identity 01 11
1.400000000 skip 3
)";

constexpr char kForm[] = R"(object Plant: TDataModule
  object Client: TMBClient
    Adres = 1
  end
  object Other: TMBClient
    Adres = 2
  end
  object Types: TMBTypeInfo
    TypeNumbers = <
      item
        Name = 'Signed'
        RegType = rtNum
        MinValue = -1000
        MaxValue = 1000
        IntPart = 2
        Multiplier = 1
      end>
  end
  object Boiler: TMBLetter
    Client = Client
    Regs = <
      item
        Name = 'Level'
        Adress = 100
        BytesInOneReg = 2
        Count = 1
        Caption = '%'
        RegType = rtNum
        RegTypeName = 'Signed'
        TypeInfo = Types
      end
      item
        Name = 'Offset'
        Adress = 101
        BytesInOneReg = 2
        Count = 1
        RegType = rtNum
        RegTypeName = 'Signed'
        TypeInfo = Types
      end
      item
        Name = 'Elsewhere'
        Adress = 102
        BytesInOneReg = 2
        Count = 1
      end>
  end
  object Stranger: TMBLetter
    Client = Other
    Regs = <
      item
        Name = 'Level'
        Adress = 100
        BytesInOneReg = 2
        Count = 1
      end>
  end
end
)";

class ReplayCommand : public testing::Test {
 protected:
  ReplayCommand() {
    fFolder.Write("short.orvixrec", kShort);
    fFolder.Write("plant.form", kForm);
  }

  TToolRun Replay(std::vector<std::string> options = {}) {
    std::vector<std::string> words = {"replay", fFolder.File("short.orvixrec")};
    words.insert(words.end(), options.begin(), options.end());
    return RunOrvixmb(words);
  }

  TTempFolder fFolder;
};

TEST_F(ReplayCommand, PrintsEventsAndCounters) {
  EXPECT_EQ(Replay(),
            (TToolRun{0,
                      "0.020000 server 1: read 2 holding registers from 100 - 4 bytes: 0005 FFFE\n"
                      "1.150000 server 2: write 5 to register 12 - exception 2: illegal data "
                      "address, 1 retry\n"
                      "1.300000 port lost: Input/output error\n"
                      "1.400000 server 1: server identity - no answer\n"
                      "3 frames sent, 1 of them retries, 24 bytes; 15 bytes received, 1 thrown "
                      "away, 0 late replies\n"
                      "srNone 1, srInvalidFrame 0, srUnexpectedReply 0, srUnmatchedReply 0, "
                      "srExceptionReply 1, srNormalReply 1\n",
                      ""}));
}

TEST_F(ReplayCommand, PrintsJson) {
  const TToolRun run = Replay({"--json"});
  const auto json = nlohmann::json::parse(run.Out);
  EXPECT_EQ(run.Code, 0);
  ASSERT_THAT(json["events"], SizeIs(4));
  EXPECT_EQ(json["events"][0], nlohmann::json::parse(R"({
    "time": 0.02, "event": "reply", "server": 1, "function": 3, "request": "010300640002",
    "meaning": "read 2 holding registers from 100", "reply": "srNormalReply", "exception": null,
    "retries": 0, "data": "0103040005FFFE"})"));
  EXPECT_EQ(json["events"][1]["exception"], 2);
  EXPECT_EQ(json["events"][2],
            nlohmann::json::parse(
                R"({"time": 1.3, "event": "port lost", "reason": "Input/output error"})"));
  EXPECT_EQ(json["counters"]["replies"]["srExceptionReply"], 1);
  EXPECT_EQ(json["counters"]["noiseBytes"], 1);
  EXPECT_EQ(json["unfinished"], 0);
  EXPECT_EQ(json["difference"], nullptr);
}

TEST_F(ReplayCommand, ShowsTheRegistersOfAForm) {
  const TToolRun run = Replay({"--form", fFolder.File("plant.form")});
  EXPECT_EQ(run.Err, "");
  EXPECT_THAT(run.Out, HasSubstr("0005 FFFE\n"
                                 "    Boiler.Level = 5 %\n"
                                 "    Boiler.Offset = -2\n"
                                 "1.150000"));
  EXPECT_THAT(run.Out, testing::Not(HasSubstr("Elsewhere")));
  EXPECT_THAT(run.Out, testing::Not(HasSubstr("Stranger")));
  const auto json =
      nlohmann::json::parse(Replay({"--json", "--form", fFolder.File("plant.form")}).Out);
  ASSERT_THAT(json["events"][0]["registers"], SizeIs(2));
  EXPECT_EQ(json["events"][0]["registers"][1]["int"], -2);
}

TEST_F(ReplayCommand, TellsWhatWouldBeSentOtherwise) {
  fFolder.Write("short.orvixrec", ReplaceAll(kShort, "02 06 00 0C 00 05 89 F9\n1.1", "02 05\n1.1"));
  const TToolRun run = Replay();
  EXPECT_EQ(run.Code, 1);
  EXPECT_EQ(run.Err,
            "orvixmb: not as recorded: 02 06 00 0C 00 05 89 F9 was sent where the recording has "
            "02 05\n");
  EXPECT_THAT(run.Out, HasSubstr("srNormalReply 1\n"));
}

TEST_F(ReplayCommand, RefusesWhatIsNoRecording) {
  const std::string file = fFolder.File("short.orvixrec");
  fFolder.Write("short.orvixrec", ReplaceAll(kShort, "1.400000000 skip", "1.4 skip"));
  EXPECT_EQ(Replay(), (TToolRun{2, "", "orvixmb: " + file + ": line 18: '1.4' is no time\n"}));
  EXPECT_EQ(
      RunOrvixmb({"replay", "/nowhere/file"}),
      (TToolRun{2, "", "orvixmb: Can't read \"/nowhere/file\": No such file or directory\n"}));
  fFolder.Write("short.orvixrec", kShort);
  EXPECT_EQ(Replay({"--form", "/nowhere/form"}).Code, 2);
  EXPECT_EQ(Replay({"--pcap", "/nowhere/file"}).Code, 1);
}

// ---- captures -----------------------------------------------------------------------------------

// What the analyser makes of a capture: the fields of each packet, as the help says to ask.
std::vector<std::string> Decoded(const std::string& file) {
  std::vector<std::string> arguments = {"-n", "-r", file, "-T", "fields", "-E", "separator=;"};
  for (const char* option :
       {"mbrtu.udp.port:5020", "mbrtu.crc_verification:TRUE", "ip.check_checksum:TRUE"}) {
    arguments.insert(arguments.end(), {"-o", option});
  }
  for (const char* field :
       {"frame.time_epoch", "ip.src", "ip.checksum.status", "mbrtu.crc16.status", "mbrtu.unit_id",
        "modbus.func_code", "modbus.reference_num", "modbus.word_cnt", "modbus.regnum16",
        "modbus.regval_uint16", "modbus.exception_code"}) {
    arguments.insert(arguments.end(), {"-e", field});
  }
  TProgram analyser("/usr/bin/tshark", arguments);
  std::vector<std::string> lines;
  for (const std::string& line : Split(analyser.Rest(), '\n')) {
    if (line.find(';') != std::string::npos) lines.push_back(line);
  }
  EXPECT_EQ(analyser.End(0), 0);
  return lines;
}

TEST_F(ReplayCommand, AnAnalyserDecodesTheCapture) {
  const std::string file = fFolder.File("short.pcap");
  ASSERT_EQ(Replay({"--pcap", file}).Code, 0);
  EXPECT_THAT(Decoded(file),
              ElementsAre("1772352900.000000000;127.0.0.1;1;1;1;3;100;2;;;",
                          "1772352900.020000000;127.0.1.1;1;1;1;3;;;100,101;5,65534;",
                          "1772352900.100000000;127.0.0.1;1;1;2;6;12;;;;",
                          "1772352901.100000000;127.0.0.1;1;1;2;6;12;;;;",
                          "1772352901.150000000;127.0.1.0;1;;;;;;;;",
                          "1772352901.150000000;127.0.1.2;1;1;2;6;;;;;2"));
}

TEST(Recordings, AnAnalyserDecodesEveryFrame) {
  const TTempFolder folder;
  for (const char* name : {"noisy_rs485_9600", "answers_late", "half_duplex_echo"}) {
    SCOPED_TRACE(name);
    const TFlightRecording recording = ReadRecording(RecordingNamed(name));
    TReplay replay(recording);
    std::vector<std::string> frames;
    replay.OnFrame = [&](TTraceDirection direction, TByteView frame, std::chrono::nanoseconds) {
      const bool isFrame = direction != TTraceDirection::tdIgnored;
      frames.push_back(isFrame ? ";1;" + std::to_string(frame[0]) + ";" + std::to_string(frame[1])
                               : ";1;;;");
    };
    replay.Run();
    const std::string file = folder.File("all.pcap");
    ASSERT_EQ(RunOrvixmb({"replay", RecordingNamed(name), "--pcap", file}).Code, 0);
    const std::vector<std::string> decoded = Decoded(file);
    ASSERT_EQ(decoded.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
      EXPECT_THAT(decoded[i], HasSubstr(frames[i] + ";")) << i;
    }
  }
}

// ---- a real port --------------------------------------------------------------------------------

struct TPortEvents {
  std::vector<std::string> Texts;

  void Add(TServerReply reply, TByteView request, TByteView data, int retries) {
    Texts.push_back(std::string(TEnumNames<TServerReply>::Values[static_cast<std::size_t>(reply)]) +
                    " " + std::to_string(retries) + " " + testing::PrintToString(ToBytes(request)) +
                    testing::PrintToString(ToBytes(data)));
  }
};

TEST(Recording, OfARealPortGivesTheSameEvents) {
  TSimulatedLine line;
  {
    const auto lock = line.Thread.Lock();
    for (std::size_t i = 1; i < kFaultCount - 2; ++i) {
      TFaultRule rule;
      rule.Fault = static_cast<EFault>(i);
      rule.Probability = 0.03;
      if (rule.Fault == EFault::Late) rule.Delay = std::chrono::milliseconds(80);
      line.Simulator.Faults.push_back(rule);
    }
  }
  line.Line.SetReceiveTimeout(60);
  line.Line.SetMaxRetries(2);
  line.Line.SetRecorderSize(1U << 22U);
  TModbusClient client;
  client.SetConnection(&line.Line);
  TPortEvents recorded, replayed;
  int queued = 0;
  const auto ask = [&] {
    const Bytes read = {0, static_cast<std::uint8_t>(queued), 0, 4};
    const Bytes write = {0, 1, 0, static_cast<std::uint8_t>(queued)};
    if (++queued % 5 == 0) return client.InitCustomTransaction(6, write, false, nullptr);
    client.InitCustomTransaction(3, read, false, nullptr);
  };
  client.OnCustomTransactionComplete = [&](TModbusClient&, TModbusTransaction& transaction,
                                           std::uint8_t) {
    recorded.Add(transaction.ServerReply(), transaction.Request().Data(),
                 transaction.Reply().Data(), transaction.Retries());
    if (queued < 150) ask();
  };
  for (int i = 0; i < 3; ++i) ask();
  ASSERT_TRUE(TLoop::Current().RunUntil(
      [&] { return line.Line.CountPendingTransactions(nullptr) == 0; }, kLineLimit));

  const TFlightRecording recording = ParseRecording(RecordingText(line.Line.Recording()));
  TReplay replay(recording);
  replay.OnEvent = [&](const TReplayEvent& event) {
    replayed.Add(event.Reply, event.Request, event.Data, event.Retries);
  };
  replay.Run();
  EXPECT_EQ(replay.Difference(), "");
  EXPECT_THAT(recorded.Texts, SizeIs(150));
  const auto [ours, theirs] = std::ranges::mismatch(replayed.Texts, recorded.Texts);
  EXPECT_TRUE(ours == replayed.Texts.end() && theirs == recorded.Texts.end())
      << "event " << theirs - recorded.Texts.begin() << "\n"
      << RecordingText(recording);
  EXPECT_EQ(replay.Counters().LateReplies, line.Line.Counters().LateReplies);
  EXPECT_EQ(replay.Counters().NoiseBytes, line.Line.Counters().NoiseBytes);
  EXPECT_EQ(replay.Counters().Retries, line.Line.Counters().Retries);
}

}  // namespace
}  // namespace OrvixModBus
