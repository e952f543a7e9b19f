// When requests leave, and how often the program wakes for a reply.
#include "LineFixture.h"
#include "platform/modbus/uRtuQueue.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;
using testing::ElementsAre;
using testing::Pair;

constexpr double kCharacter = 10'000.0 / 1200;  // ms
constexpr double kSilence = 3.5 * kCharacter;

class TTiming : public TLineFixture {
 public:
  double SentAt(std::size_t request) const {
    return Milliseconds(Wire.WriteTimes.at(request) - Wire.WriteTimes.at(0));
  }

  /// The first reply after opening tells whether characters take their time on this line. Of it
  /// nothing is counted.
  void LearnPace(TLoop::TClock::duration delay) {
    RealLine(delay, Frame("01 03 02 00 07"));
    Exchange("03 00 00 00 01");
    RunFor(1s);
    Wire.Reads = Wire.Writes = 0;
    Wire.WriteTimes.clear();
  }

  /// 19200 8E1: a character takes 0.573 ms. The server answers after a delay, character by
  /// character as the line does it.
  void RealLine(TLoop::TClock::duration delay, const Bytes& reply) {
    Connection->SetBaudRate(19200);
    Connection->SetParity(TParityScheme::psEven);
    Wire.OnWrite = [this, delay, reply](const Bytes& request) {
      const auto character = std::chrono::nanoseconds(572'916);
      const auto requestTime = character * static_cast<int>(request.size());
      Wire.Arrive(requestTime + delay + character, reply, character);
    };
  }
};

TEST_F(TTiming, TheFirstRequestAfterOpeningKeepsTheSilence) {
  const auto opened = Loop.Now();
  Send("03 00 00 00 01");
  RunFor(1s);
  EXPECT_NEAR(Milliseconds(Wire.WriteTimes.at(0) - opened), kSilence, 0.001);
}

TEST_F(TTiming, AnIdleLineIsUsedAtOnce) {
  RunFor(1s);
  const auto queued = Loop.Now();
  Send("03 00 00 00 01");
  Loop.RunPending();
  EXPECT_EQ(Wire.WriteTimes.at(0), queued);
}

TEST_F(TTiming, NothingIsSentInsideTheCallThatQueues) {
  RunFor(1s);
  Send("03 00 00 00 01");
  EXPECT_TRUE(Wire.WriteTimes.empty());
}

TEST_F(TTiming, TheNextRequestLeavesWhenTheSilenceAfterTheReplyIsOver) {
  Answer({Frame("01 03 02 00 07"), Frame("01 03 02 00 08")}, 400ms);
  Send("03 00 00 00 01");
  Send("03 00 00 00 01");
  Await(2);
  EXPECT_NEAR(SentAt(1), 400 + kSilence, 0.001);
}

TEST_F(TTiming, TheTimeoutBeginsAtTheEndOfTransmission) {
  const TOutcome outcome = Exchange("03 00 00 00 01");
  EXPECT_NEAR(Elapsed(outcome), 8 * kCharacter + 1000, 0.001);
}

TEST_F(TTiming, ARetryLeavesAtTheTimeoutBecauseTheSilenceIsOverLongAgo) {
  Connection->SetMaxRetries(1);
  Exchange("03 00 00 00 01");
  EXPECT_NEAR(SentAt(1), 8 * kCharacter + 1000, 0.001);
}

TEST_F(TTiming, AGivenSilentIntervalIsKept) {
  Connection->SetSilentInterval(77000);
  Answer({Frame("01 03 02 00 07"), Frame("01 03 02 00 08")}, 400ms);
  Send("03 00 00 00 01");
  Send("03 00 00 00 01");
  Await(2);
  EXPECT_NEAR(SentAt(1), 477, 0.001);
}

TEST_F(TTiming, StrayBytesBeginTheSilenceAnew) {
  RunFor(1s);
  Wire.Arrive(100ms, Hex("FF"));
  RunFor(110ms);
  const auto queued = Loop.Now();
  Send("03 00 00 00 01");
  RunFor(1s);
  EXPECT_NEAR(Milliseconds(Wire.WriteTimes.at(0) - queued), kSilence - 10, 0.001);
  EXPECT_EQ(Connection->Counters().NoiseBytes, 1u);
}

TEST_F(TTiming, ALineThatChattersIsNotWaitedForForEver) {
  Bytes chatter(500, 0x55);
  Wire.Arrive(0ms, chatter, 10ms);
  RunFor(100ms);
  const auto queued = Loop.Now();
  Send("03 00 00 00 01");
  Await(1);
  EXPECT_LE(Wire.WriteTimes.at(0) - queued, 1100ms);
  EXPECT_EQ(Outcomes[0].Kind, srInvalidFrame);
}

// Besides the reply, what has come unseen is read before a request leaves after a silence.
TEST_F(TTiming, AReplyAtLineSpeedCostsOneWriteOneWaitAndTwoReads) {
  LearnPace(0us);
  const int wakes = Loop.Wakes();
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
  EXPECT_EQ(Wire.Writes, 1);
  EXPECT_EQ(Wire.Reads, 2);
  EXPECT_EQ(Loop.Wakes() - wakes, 1);
}

TEST_F(TTiming, ALongReplyAtLineSpeedCostsAWakeAndAReadEvery50Milliseconds) {
  Bytes body = Hex("01 03 FA");
  body.resize(3 + 250);
  LearnPace(0us);
  RealLine(0us, Frame(body));
  EXPECT_EQ(Exchange("03 00 00 00 7D").Kind, srNormalReply);
  EXPECT_LE(Wire.Reads, 5);  // 146 ms
}

// One when the reply could be whole, one when it begins, one when most of it is there: what came at
// once may come at once again.
TEST_F(TTiming, ASlowServerCostsAFewWakesHoweverLongItsReply) {
  Bytes body = Hex("01 03 3C");
  body.resize(3 + 60);
  LearnPace(5ms);
  RealLine(5ms, Frame(body));
  const int wakes = Loop.Wakes();
  EXPECT_EQ(Exchange("03 00 00 00 1E").Kind, srNormalReply);
  EXPECT_LE(Wire.Reads, 5);
  EXPECT_LE(Loop.Wakes() - wakes, 4);
}

// USB devices and pseudo-terminals have a baud rate, and deliver when they like.
TEST_F(TTiming, APortFasterThanItsRateIsNotSleptThrough) {
  Answer({Frame("01 03 02 00 07"), Frame("01 03 02 00 08")}, 1ms);
  Exchange("03 00 00 00 01");
  RunFor(1s);
  Wire.WriteTimes.clear();
  EXPECT_DOUBLE_EQ(Elapsed(Exchange("03 00 00 00 01")), 1);
}

TEST_F(TTiming, AReopenedPortMayHaveAnotherPace) {
  Answer({Frame("01 03 02 00 07"), Frame("01 03 02 00 08")}, 1ms);
  Exchange("03 00 00 00 01");
  Connection->SetActive(false);
  Connection->SetActive(true);
  LearnPace(0us);
  const int wakes = Loop.Wakes();
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
  EXPECT_EQ(Loop.Wakes() - wakes, 1);
}

TEST_F(TTiming, AReplyIsTakenTheMomentItIsWhole) {
  for (const auto delay : {0us, 100us, 3000us, 20000us, 200000us}) {
    SCOPED_TRACE(delay.count());
    RealLine(delay, Frame("01 03 02 00 07"));
    RunFor(1s);
    Wire.WriteTimes.clear();
    const double whole = 15 * 0.572916 + Milliseconds(delay);
    EXPECT_NEAR(Elapsed(Exchange("03 00 00 00 01")), whole, 0.6);
  }
}

TEST_F(TTiming, AnExceptionInPlaceOfALongReplyIsTakenWithin50Milliseconds) {
  RealLine(0us, Frame("01 83 02"));
  RunFor(1s);
  const TOutcome outcome = Exchange("03 00 00 00 7D");
  EXPECT_EQ(outcome.Kind, srExceptionReply);
  EXPECT_LE(Elapsed(outcome), 13 * 0.573 + 50);
}

TEST_F(TTiming, ALinkWithoutCharactersReadsWhatComesAtOnce) {
  NoCharacters();
  RunFor(1s);
  Answer({Frame("01 03 02 00 07"), Frame("01 03 02 00 08")}, 250us);
  const int wakes = Loop.Wakes();
  Send("03 00 00 00 01");
  Send("03 00 00 00 01");
  Await(2);
  EXPECT_DOUBLE_EQ(SentAt(1), 0.25);
  EXPECT_DOUBLE_EQ(Elapsed(Outcomes[1]), 0.5);
  EXPECT_EQ(Wire.Writes, 2);
  EXPECT_EQ(Wire.Reads, 3);
  EXPECT_EQ(Loop.Wakes() - wakes, 2);
}

TEST_F(TTiming, AnIdleOpenPortDoesNothing) {
  RunFor(1s);
  const int wakes = Loop.Wakes();
  RunFor(24h);
  EXPECT_EQ(Loop.Wakes(), wakes);
  EXPECT_EQ(Wire.Reads, 0);
}

TEST_F(TTiming, ARequestThatThePortTakesInPiecesIsWhole) {
  Wire.WriteLimit = 3;
  Answer({{}, {}, Frame("01 03 02 00 07")}, 100ms);
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
  EXPECT_EQ(Wire.Written, Frame("01 03 00 00 00 01"));
  EXPECT_EQ(Connection->Counters().Requests, 1u);
  EXPECT_EQ(Connection->Counters().BytesSent, 8u);
}

TEST_F(TTiming, APortThatTakesNothingEndsAsNoAnswer) {
  Wire.WriteLimit = 0;
  Send("03 00 00 00 01");
  Await(1);
  EXPECT_EQ(Outcomes[0].Kind, srNone);
  Wire.WriteLimit = 4096;
  Answer({Frame("01 03 02 00 07")});
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
}

TEST_F(TTiming, RtsIsHeldFromTheFirstCharacterToTheLast) {
  Connection->SetRS485Mode(TRS485Mode::rmRTS);
  Answer({Frame("01 03 02 00 07")}, 100ms);
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
  const auto sent = Wire.WriteTimes.at(0);
  ASSERT_THAT(Wire.Direction, ElementsAre(Pair(sent, true), Pair(testing::_, false)));
  EXPECT_NEAR(Milliseconds(Wire.Direction[1].first - sent), 8 * kCharacter, 0.001);
}

TEST_F(TTiming, RtsIsHeldAsLongAsThePortSaysThatItSends) {
  Connection->SetRS485Mode(TRS485Mode::rmRTS);
  Wire.OnWrite = [this](const Bytes&) {
    Wire.DrainedAt = Loop.Now() + 90ms;
    Wire.Arrive(200ms, Frame("01 03 02 00 07"));
  };
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
  const double held = Milliseconds(Wire.Direction.at(1).first - Wire.WriteTimes.at(0));
  EXPECT_GE(held, 90);
  EXPECT_LE(held, 90 + kCharacter);
}

TEST_F(TTiming, RtsIsReleasedAfterABroadcastToo) {
  Connection->SetRS485Mode(TRS485Mode::rmRTS);
  Client->SetServerAddress(0);
  EXPECT_EQ(Exchange("06 00 01 00 02").Kind, srNone);
  EXPECT_THAT(Wire.Direction, ElementsAre(Pair(testing::_, true), Pair(testing::_, false)));
}

TEST_F(TTiming, RoundTripsAreKeptByServer) {
  NoCharacters();
  for (const int delay : {10, 20, 30, 40, 50}) {
    Answer({Frame("01 03 02 00 07")}, std::chrono::milliseconds(delay));
    Exchange("03 00 00 00 01");
  }
  const TRoundTrip trip = Connection->RoundTrip(1);
  EXPECT_EQ(trip.Count, 5u);
  EXPECT_EQ(trip.Least, 10000u);
  EXPECT_NEAR(trip.Median, 30000, 900);
  EXPECT_NEAR(trip.Percentile95, 50000, 1500);
  EXPECT_EQ(trip.Greatest, 50000u);
  EXPECT_EQ(Connection->RoundTrip(2).Count, 0u);
}

TEST_F(TTiming, TheTraceTellsEveryFrameWithItsDirectionAndTime) {
  NoCharacters();
  std::vector<std::tuple<TTraceDirection, Bytes, double>> traces;
  Connection->OnTrace = [&](TModbusConnection& sender, TTraceDirection direction,
                            std::span<const std::uint8_t> frame, TVirtualLoop::TTime time) {
    EXPECT_EQ(&sender, Connection.get());
    traces.emplace_back(direction, Bytes(frame.begin(), frame.end()),
                        Milliseconds(time - Wire.WriteTimes.at(0)));
  };
  Answer({Hex("FF") + Frame("02 03 02 00 05") + Frame("01 03 02 00 07")}, 10ms);
  Exchange("03 00 00 00 01");
  EXPECT_THAT(traces,
              ElementsAre(std::tuple(TTraceDirection::tdSent, Frame("01 03 00 00 00 01"), 0),
                          std::tuple(TTraceDirection::tdIgnored, Hex("FF"), 10),
                          std::tuple(TTraceDirection::tdIgnored, Frame("02 03 02 00 05"), 10),
                          std::tuple(TTraceDirection::tdReceived, Frame("01 03 02 00 07"), 10)));
}

TEST_F(TTiming, CountersTellWhatHappened) {
  NoCharacters();
  Connection->SetMaxRetries(1);
  Wire.OnWrite = [this, count = 0](const Bytes&) mutable {
    ++count;
    if (count == 2) Wire.Arrive(10ms, Frame("01 83 02"));
    if (count == 3) Wire.Arrive(10ms, Frame("01 04 02 00 07"));
  };
  Exchange("03 00 00 00 01");
  Exchange("04 00 00 00 01");
  Exchange("05 00 00 FF 00");
  const TLineCounters& counters = Connection->Counters();
  EXPECT_EQ(counters.Requests, 5u);
  EXPECT_EQ(counters.Retries, 2u);
  EXPECT_THAT(counters.Replies, ElementsAre(1u, 0u, 0u, 0u, 1u, 1u));
}

}  // namespace
}  // namespace OrvixModBus
