#include "tools/orvixmb/uReplay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/modbus/LineFixture.h"

namespace OrvixModBus {
namespace {

using testing::IsEmpty;
using testing::SizeIs;
using TKind = TReplayEvent::TKind;

// For the message of a comparison that fails.
std::string TextOf(const TReplayEvent& event) {
  return std::to_string(event.Time.count()) + " " + std::to_string(static_cast<int>(event.Kind)) +
         " " + testing::PrintToString(event.Request) + " > " +
         std::string(TEnumNames<TServerReply>::Values[static_cast<std::size_t>(event.Reply)]) +
         " exception " + std::to_string(event.ExceptionCode) + " retries " +
         std::to_string(event.Retries) + " " + testing::PrintToString(event.Data) + event.Text;
}

std::vector<std::string> TextsOf(const std::vector<TReplayEvent>& events) {
  std::vector<std::string> texts;
  texts.reserve(events.size());
  for (const TReplayEvent& event : events) texts.push_back(TextOf(event));
  return texts;
}

struct TReplayed {
  std::vector<TReplayEvent> Events;
  std::string Difference;
  std::size_t Unfinished = 0;
  TLineCounters Counters;
};

TReplayed Replayed(const TFlightRecording& recording) {
  TReplayed replayed;
  TReplay replay(recording);
  replay.OnEvent = [&](const TReplayEvent& event) { replayed.Events.push_back(event); };
  replay.Run();
  replayed.Difference = replay.Difference();
  replayed.Unfinished = replay.Unfinished();
  replayed.Counters = replay.Counters();
  return replayed;
}

// A line whose events are noted as a replay tells them.
class TRecorded : public TLineFixture {
 public:
  TRecorded() {
    RunFor(1s);
    Connection->SetMaxRetries(2);
    Connection->SetReceiveTimeout(300);
    Connection->SetRecorderSize(1 << 20);
    fStart = Loop.Now();
    Note(*Client);
    Connection->OnPortLost = [this](TModbusConnection&, const std::string& reason) {
      TReplayEvent event;
      event.Kind = TKind::PortLost;
      event.Text = reason;
      Add(event);
    };
    Connection->OnPortFound = [this](TModbusConnection&) {
      TReplayEvent event;
      event.Kind = TKind::PortFound;
      Add(event);
    };
  }

  void Note(TModbusClient& client) {
    client.OnCustomTransactionComplete = [this](TModbusClient&, TModbusTransaction& transaction,
                                                std::uint8_t) {
      TReplayEvent event;
      event.Request = ToBytes(transaction.Request().Data());
      event.Reply = transaction.ServerReply();
      event.ExceptionCode = transaction.ExceptionCode();
      event.Retries = transaction.Retries();
      event.Data = ToBytes(transaction.Reply().Data());
      Add(event);
      if (Next) Next();
    };
  }

  void Add(TReplayEvent event) {
    event.Time = Loop.Now() - fStart;
    Events.push_back(event);
  }

  // The recording, through its text and back. Its begin is that of the first entry.
  TFlightRecording Recording() {
    TFlightRecording recording = ParseRecording(RecordingText(Connection->Recording()));
    for (TReplayEvent& event : Events) event.Time -= fFirst - fStart;
    fStart = fFirst;
    return recording;
  }

  void ReplaysTheSame() {
    const TFlightRecording recording = Recording();
    const TReplayed replayed = Replayed(recording);
    const std::vector<std::string> texts = TextsOf(replayed.Events), wanted = TextsOf(Events);
    const auto [at, expected] = std::ranges::mismatch(texts, wanted);
    EXPECT_TRUE(at == texts.end() && expected == wanted.end())
        << "event " << at - texts.begin() << ": " << (at != texts.end() ? *at : "none")
        << "\n  expected: " << (expected != wanted.end() ? *expected : "none") << "\n"
        << RecordingText(recording);
    EXPECT_EQ(replayed.Difference, "") << RecordingText(recording);
    EXPECT_EQ(static_cast<int>(replayed.Unfinished), Connection->CountPendingTransactions(nullptr));
  }

  // The next request is the first entry.
  void Begin() { fFirst = Loop.Now(); }

  std::vector<TReplayEvent> Events;
  std::function<void()> Next;

 private:
  TVirtualLoop::TTime fStart{}, fFirst{};
};

TEST_F(TRecorded, AnsweredRequests) {
  Begin();
  Answer({Frame("01 03 02 00 05"), Frame("01 83 02")}, 20ms);
  Send("03 00 64 00 01");
  Send("03 00 65 00 01");
  RunFor(1s);
  EXPECT_THAT(Events, SizeIs(2));
  ReplaysTheSame();
}

TEST_F(TRecorded, ANoisyLine) {
  Begin();
  Wire.OnWrite = [this, i = 0](const Bytes&) mutable {
    const Bytes good = Frame("01 03 02 00 05");
    switch (i++) {
      case 0:
        return Wire.Arrive(20ms, Hex("00 FF 13") + good, 8ms);
      case 1:
        return Wire.Arrive(20ms, Bytes(good.begin(), good.begin() + 4));
      case 2:
        return Wire.Arrive(20ms, Hex("01 03 02 00 04 78 47"));
      case 3:
        return Wire.Arrive(350ms, good);  // too late, while the third attempt is under way
      case 4:
        return Wire.Arrive(20ms, good + good);
      case 5:
        return Wire.Arrive(20ms, Frame("02 03 02 00 07"));
      case 6:
        return Wire.Arrive(20ms, Frame("01 04 02 00 07"), 30ms);
      default:
        return Wire.Arrive(20ms, good);
    }
  };
  for (int i = 0; i < 6; ++i) Send("03 00 64 00 01");
  RunFor(20s);
  EXPECT_THAT(Events, SizeIs(6));
  ReplaysTheSame();
}

TEST_F(TRecorded, APortThatIsLostAndFound) {
  Connection->SetReconnectInterval(500);
  Connection->SetRecorderSize(1 << 19);
  Begin();
  for (int i = 0; i < 3; ++i) Send("03 00 64 00 01");
  RunFor(200ms);
  Wire.HungUp = true;
  Wire.Refusal = "no such port";
  RunFor(2s);
  Send("03 00 64 00 01");
  Wire.HungUp = false;
  Wire.Refusal = "";
  RunFor(1s);
  Answer({Frame("01 03 02 00 05")}, 20ms);
  Send("03 00 64 00 01");
  RunFor(1s);
  Connection->SetActive(false);
  Send("03 00 64 00 01");
  RunFor(1s);
  Connection->SetActive(true);
  Answer({Frame("01 03 02 00 06")}, 20ms);
  Send("03 00 64 00 01");
  RunFor(1s);
  EXPECT_THAT(Events, SizeIs(9));
  ReplaysTheSame();
}

TEST_F(TRecorded, AProgramThatActsInItsEvents) {
  NoCharacters();
  Connection->SetRecorderSize(1 << 19);
  Begin();
  Answer(std::vector<Bytes>(20, Frame("01 03 02 00 05")));
  Next = [this, i = 0]() mutable {
    if (++i % 3 == 1) Connection->DiscardPendingTransactions(nullptr);
    if (i == 4) Connection->SetReceiveTimeout(200);
    if (i == 5) Connection->SetBaudRate(2400);
    if (i < 10) Send("03 00 64 00 01");
    if (i < 6) Send("03 00 64 00 01");
  };
  for (int i = 0; i < 4; ++i) Send("03 00 64 00 01");
  RunFor(5s);
  EXPECT_GT(Events.size(), 9u);
  ReplaysTheSame();
}

TEST_F(TRecorded, EchoesWritesBroadcastsAndHalfWrittenFrames) {
  Begin();
  Wire.WriteLimit = 5;
  Wire.OnWrite = [this](const Bytes& bytes) { Wire.Arrive(10ms, bytes); };
  Send("03 00 64 00 01");
  Send("06 00 01 00 02");
  Client->SetServerAddress(0);
  Send("06 00 01 00 02");
  RunFor(10s);
  EXPECT_THAT(Events, SizeIs(3));
  ReplaysTheSame();
}

TEST_F(TRecorded, RtsHeldUntilThePortIsDrained) {
  Connection->SetRS485Mode(TRS485Mode::rmRTS);
  RunFor(1s);
  Connection->SetRecorderSize(1 << 19);
  Begin();
  Wire.DrainedAt = Loop.Now() + 150ms;
  Answer({Frame("01 03 02 00 05")}, 200ms);
  Send("03 00 64 00 01");
  RunFor(1s);
  EXPECT_THAT(Events, SizeIs(1));
  ReplaysTheSame();
}

TEST_F(TRecorded, ARequestUnderWayAtTheEnd) {
  Begin();
  Send("03 00 64 00 01");
  RunFor(100ms);
  EXPECT_THAT(Events, IsEmpty());
  ReplaysTheSame();
}

TEST_F(TRecorded, AnythingAtAll) {
  for (std::uint32_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto one = [&random](unsigned of) { return random() % of == 0; };
    Connection->SetActive(false);
    Connection->SetReconnectInterval(100);
    Connection->SetSilentInterval(one(2) ? 0 : -1);
    Connection->SetEchoSuppression(static_cast<TEchoSuppression>(random() % 3));
    Wire.Incoming.clear();
    Wire.HungUp = false;
    Connection->SetActive(true);
    RunFor(1s);
    Connection->SetRecorderSize(0);
    Connection->SetRecorderSize(1 << 20);
    Events.clear();
    Begin();
    Wire.OnWrite = [&](const Bytes& written) {
      Bytes reply = Frame(one(8) ? "01 83 02" : "01 03 02 00 05");
      if (one(3)) reply[random() % reply.size()] ^= static_cast<std::uint8_t>(random());
      if (one(4)) reply.resize(random() % reply.size() + 1);
      if (one(6)) reply = written + reply;
      if (one(6)) reply = Hex("FF 01 03") + reply;
      const auto apart = one(2) ? 0ms : std::chrono::milliseconds(random() % 60);
      if (!one(5)) Wire.Arrive(std::chrono::milliseconds(random() % 500), reply, apart);
    };
    Next = [&] {
      if (one(2)) Send("03 00 64 00 01");
      if (one(20)) Connection->DiscardPendingTransactions(nullptr);
      if (one(20)) Connection->SetReceiveTimeout(static_cast<std::uint32_t>(100 + random() % 300));
    };
    Send("03 00 64 00 01");
    for (int i = 0; i < 30; ++i) {
      if (one(2)) Send(one(2) ? "03 00 64 00 01" : "06 00 01 00 02");
      if (one(10)) Connection->DiscardPendingTransactions(nullptr);
      Wire.HungUp = one(15);
      RunFor(std::chrono::milliseconds(random() % 800));
    }
    Next = {};
    ReplaysTheSame();
    if (HasFailure()) break;
  }
}

// ---- recordings that are written by hand --------------------------------------------------------

constexpr char kHead[] =
    "orvixmodbus recording 1\n"
    "set ReceiveTimeout 300\n"
    "set MaxRetries 0\n"
    "set SilentInterval 0\n"
    "port open\n";

TEST(Replay, ADifferentFrameIsTold) {
  const TReplayed replayed = Replayed(
      ParseRecording(std::string(kHead) + "0.000000000 queue 1 custom 01 03 00 64 00 01\n"
                                          "0.010000000 sent 1 0 01 03 00 64 00 02 85 D4\n"));
  EXPECT_EQ(replayed.Difference,
            "01 03 00 64 00 01 C5 D5 was sent where the recording has 01 03 00 64 00 02 85 D4");
}

TEST(Replay, AFrameTooManyIsTold) {
  const TReplayed replayed = Replayed(ParseRecording(
      std::string(kHead) + "0.000000000 queue 1 custom 01 03 00 64 00 01\n1.000000000 look\n"));
  EXPECT_EQ(replayed.Difference,
            "01 03 00 64 00 01 C5 D5 was sent after all that the recording has");
}

TEST(Replay, AFrameTooFewIsTold) {
  const TReplayed replayed =
      Replayed(ParseRecording("orvixmodbus recording 1\n"
                              "0.000000000 queue 1 custom 01 03 00 64 00 01\n"
                              "0.010000000 sent 1 0 01 03 00 64 00 01 C5 D5\n"));
  EXPECT_EQ(replayed.Difference, "01 03 00 64 00 01 C5 D5 of the recording was not sent");
}

// The program was busy from 0.2 to 0.5 s, and found the reply there together with the time-out.
TEST(Replay, AProgramThatWasLateStaysLate) {
  const TReplayed replayed =
      Replayed(ParseRecording(std::string(kHead) + "0.000000000 queue 1 custom 01 03 00 64 00 01\n"
                                                   "0.000000000 sent 1 0 01 03 00 64 00 01 C5 D5\n"
                                                   "0.500000000 read 01 03 02 00 05 78 47\n"
                                                   "0.500000000 end srNormalReply\n"));
  ASSERT_THAT(replayed.Events, SizeIs(1));
  EXPECT_EQ(replayed.Events[0].Reply, TServerReply::srNormalReply);
  EXPECT_EQ(replayed.Events[0].Time, 500ms);
  EXPECT_EQ(replayed.Difference, "");
}

TEST(Replay, AnOverwrittenBeginIsLeftOut) {
  const TReplayed replayed =
      Replayed(ParseRecording(std::string(kHead) + "overwritten 7\n"
                                                   "0.000000000 read 00 05 78 47\n"
                                                   "0.000000000 end srNormalReply\n"
                                                   "0.010000000 set ReceiveTimeout 200\n"
                                                   "0.010000000 queue 9 custom 01 03 00 66 00 01\n"
                                                   "0.020000000 sent 8 1 01 03 00 64 00 01 C5 D5\n"
                                                   "0.030000000 read 01 03 02 00 05 78 47\n"
                                                   "0.030000000 end srNormalReply\n"
                                                   "0.050000000 sent 7 0 01 03 00 65 00 01 94 15\n"
                                                   "0.060000000 read 01 03 02 00 06 38 46\n"
                                                   "0.060000000 end srNormalReply\n"
                                                   "0.070000000 sent 9 0 01 03 00 66 00 01 64 15\n"
                                                   "0.270000000 end srNone\n"));
  ASSERT_THAT(replayed.Events, SizeIs(2));
  EXPECT_EQ(replayed.Events[0].Data, Hex("01 03 02 00 06"));
  EXPECT_EQ(replayed.Events[0].Time, 60ms);
  EXPECT_EQ(replayed.Events[1].Request, Hex("01 03 00 66 00 01"));
  EXPECT_EQ(replayed.Events[1].Reply, TServerReply::srNone);
  EXPECT_EQ(replayed.Difference, "");
}

TEST(Replay, FilesAndIdentitiesAreToldToo) {
  const TReplayed replayed =
      Replayed(ParseRecording(std::string(kHead) +
                              "0.000000000 queue 1 files 01 14 00 04 00 01 00 02\n"
                              "0.000000000 queue 2 identity 01 11\n"
                              "0.010000000 sent 1 0 01 14 07 06 00 04 00 01 00 02 D8 E5\n"
                              "0.050000000 read 01 14 06 05 06 0D FE 00 20 8B 4E\n"
                              "0.050000000 end srNormalReply\n"));
  ASSERT_THAT(replayed.Events, SizeIs(1));
  EXPECT_EQ(replayed.Events[0].Data, Hex("0D FE 00 20"));
  EXPECT_EQ(replayed.Unfinished, 1u);
}

// Nothing that a file says can do harm.
TEST(Replay, AnyLineMayBeMissingOrTwice) {
  const std::string lines[] = {"0.000000000 open\n",
                               "0.000000000 queue 1 custom 01 03 00 64 00 01\n",
                               "0.000000000 +queue 1 identity 01 11\n",
                               "0.010000000 sent 1 0 01 03 00 64 00 01 C5 D5\n",
                               "0.010000000 sent 1 0 01\n",
                               "0.010000000 wrote 3\n",
                               "0.011000000 wrote 4000000000\n",
                               "0.020000000 read 01 03 02 00 05\n",
                               "0.030000000 read 78 47\n",
                               "0.030000000 end srNormalReply\n",
                               "0.030000000 +discard 1\n",
                               "0.030000000 +close\n",
                               "0.040000000 set Port other\n",
                               "0.040000000 set RS485Mode rmRTS\n",
                               "0.050000000 released\n",
                               "0.050000000 lost hung up\n",
                               "0.050000000 skip 5\n",
                               "0.060000000 reopen\n",
                               "3999999999.000000000 look\n"};
  for (std::uint32_t seed = 0; seed < 2000; ++seed) {
    std::mt19937 random(seed);
    std::string text = "orvixmodbus recording 1\nset ReconnectInterval 5\n";
    text += random() % 2 == 0 ? "port open\n" : "overwritten 5\n";
    for (const std::string& line : lines) {
      for (unsigned i = random() % 4; i < 3; ++i) text += line;
    }
    SCOPED_TRACE(text);
    EXPECT_NO_THROW(Replayed(ParseRecording(text)));
  }
}

}  // namespace
}  // namespace OrvixModBus
