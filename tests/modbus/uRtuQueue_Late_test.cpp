// Replies that come after their request was given up: none is taken for another answer.
#include <random>

#include "LineFixture.h"
#include "platform/modbus/uRtuQueue.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;

// The receive time-out is 1000 ms, so the reply to a request is owed for 2000 ms after it.
class TLate : public TLineFixture {
 public:
  TLate() {
    NoCharacters();
    Other.SetConnection(Connection.get());
    Other.SetServerAddress(2);
    Listen(Other);
  }

  /// The first request goes unanswered; a late reply comes so many ms after it (0: never).
  /// Every later request is answered after 10 ms.
  void Script(int lateAfter, const char* late, const char* reply) {
    Wire.OnWrite = [this, lateAfter, late, reply, first = true](const Bytes&) mutable {
      if (!std::exchange(first, false)) return Wire.Arrive(10ms, Frame(reply));
      if (lateAfter != 0) Wire.Arrive(std::chrono::milliseconds(lateAfter), Frame(late));
    };
  }

  double SentAt(std::size_t request) const {
    return Milliseconds(Wire.WriteTimes.at(request) - Wire.WriteTimes.at(0));
  }

  TModbusClient Other;
};

TEST_F(TLate, ARequestThatCouldTakeTheLateReplyWaitsForItsWindow) {
  Script(0, "", "01 03 02 22 22");
  Send("03 00 00 00 01");
  Send("03 00 05 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[0].Kind, srNone);
  EXPECT_EQ(Outcomes[1].Reply, Hex("01 03 02 22 22"));
  EXPECT_DOUBLE_EQ(SentAt(1), 2000);
}

TEST_F(TLate, TheLateReplyItselfEndsTheWindow) {
  Script(1500, "01 03 02 11 11", "01 03 02 22 22");
  Send("03 00 00 00 01");
  Send("03 00 05 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
  EXPECT_EQ(Outcomes[1].Reply, Hex("01 03 02 22 22"));
  EXPECT_DOUBLE_EQ(SentAt(1), 1500);
  EXPECT_EQ(Connection->Counters().LateReplies, 1u);
  EXPECT_EQ(Connection->Counters().NoiseBytes, 7u);
}

TEST_F(TLate, TheSameQuestionAskedAgainIsAnotherOne) {
  Script(1500, "01 03 02 11 11", "01 03 02 22 22");
  Send("03 00 00 00 01");
  Send("03 00 00 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[1].Reply, Hex("01 03 02 22 22"));
  EXPECT_DOUBLE_EQ(SentAt(1), 1500);
}

TEST_F(TLate, ALateReplyInTwoBurstsIsOne) {
  const Bytes late = Frame("01 03 02 11 11");
  Wire.OnWrite = [&, first = true](const Bytes&) mutable {
    if (!std::exchange(first, false)) return Wire.Arrive(10ms, Frame("01 03 02 22 22"));
    Wire.Arrive(1500ms, Bytes(late.begin(), late.begin() + 3));
    Wire.Arrive(1600ms, Bytes(late.begin() + 3, late.end()));
  };
  Send("03 00 00 00 01");
  Send("03 00 05 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[1].Reply, Hex("01 03 02 22 22"));
  EXPECT_DOUBLE_EQ(SentAt(1), 1600);
}

// Requests whose reply tells itself apart from a late one to the first request go out at once.
struct TPair {
  const char* Name;
  const char* First;   // the request that is given up
  const char* Late;    // its reply
  const char* Second;  // the next request
  const char* Reply;
};

const TPair kApart[] = {
    {"another code", "03 00 00 00 01", "01 03 02 11 11", "04 00 00 00 01", "01 04 02 22 22"},
    {"another quantity", "03 00 00 00 01", "01 03 02 11 11", "03 00 00 00 02",
     "01 03 04 22 22 33 33"},
    {"another count of coils", "01 00 00 00 08", "01 01 01 11", "01 00 00 00 09", "01 01 02 22 00"},
    {"another address", "06 00 01 12 34", "01 06 00 01 12 34", "06 00 02 12 34",
     "01 06 00 02 12 34"},
    {"another value", "06 00 01 12 34", "01 06 00 01 12 34", "06 00 01 12 35", "01 06 00 01 12 35"},
    {"another page", "43 01 00 00 02", "01 43 01 00 00 02 11 11", "43 02 00 00 02",
     "01 43 02 00 00 02 22 22"},
    {"another quantity written", "10 00 01 00 01 02 00 0A", "01 10 00 01 00 01",
     "10 00 01 00 02 04 00 0A 00 0B", "01 10 00 01 00 02"},
};

TEST_F(TLate, RepliesThatTellThemselvesApartAreNotWaitedFor) {
  for (const TPair& pair : kApart) {
    SCOPED_TRACE(pair.Name);
    Outcomes.clear();
    Wire.WriteTimes.clear();
    const auto before = Connection->Counters().LateReplies;
    Wire.OnWrite = [&, first = true](const Bytes&) mutable {
      if (std::exchange(first, false)) return Wire.Arrive(1100ms, Frame(pair.Late));
      Wire.Arrive(500ms, Frame(pair.Reply));
    };
    Send(pair.First);
    Send(pair.Second);
    Await(2);
    EXPECT_EQ(Outcomes[0].Kind, srNone);
    EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
    EXPECT_EQ(Outcomes[1].Reply, Hex(pair.Reply));
    EXPECT_DOUBLE_EQ(SentAt(1), 1000);
    EXPECT_EQ(Connection->Counters().LateReplies, before + 1);
    RunFor(5s);
  }
}

const TPair kAlike[] = {
    {"registers elsewhere", "03 00 00 00 01", "01 03 02 11 11", "03 00 01 00 01", "01 03 02 22 22"},
    {"coils of the same byte count", "01 00 00 00 07", "01 01 01 11", "01 00 00 00 08",
     "01 01 01 22"},
    {"identity", "11", "01 11 01 11", "11", "01 11 01 22"},
    {"file records", "14 07 06 00 01 00 01 00 01", "01 14 04 03 06 11 11",
     "14 07 06 00 01 00 02 00 01", "01 14 04 03 06 22 22"},
    {"four bytes", "21 00 05 00 00", "01 21 11 11 11 11", "21 00 09 00 00", "01 21 22 22 22 22"},
    {"four bytes of two lengths", "21 00 01 00 00", "01 21 04 11 11 11 11", "21 00 09 00 00",
     "01 21 22 22 22 22"},
    {"a log", "20 00 00", "01 20 11 11 11", "20 00 01", "01 20 22 22"},
    {"an unknown code", "42 00", "01 42 11 11 11", "42 01", "01 42 22 22"},
    {"same write again", "06 00 01 12 34", "01 06 00 01 12 34", "06 00 01 12 34",
     "01 06 00 01 12 34"},
};

TEST_F(TLate, RepliesThatDoNotAreWaitedFor) {
  for (const TPair& pair : kAlike) {
    SCOPED_TRACE(pair.Name);
    Outcomes.clear();
    Wire.WriteTimes.clear();
    Wire.OnWrite = [&, first = true](const Bytes&) mutable {
      if (std::exchange(first, false)) return Wire.Arrive(1100ms, Frame(pair.Late));
      Wire.Arrive(500ms, Frame(pair.Reply));
    };
    Send(pair.First);
    Send(pair.Second);
    Await(2);
    EXPECT_EQ(Outcomes[0].Kind, srNone);
    EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
    EXPECT_EQ(Outcomes[1].Reply, Hex(pair.Reply));
    EXPECT_GE(SentAt(1), 1100);
    EXPECT_LE(SentAt(1), 1300);
    RunFor(5s);
  }
}

TEST_F(TLate, AnotherServerIsAskedAtOnceAndTheLateReplyIsNotIts) {
  Script(1005, "01 03 02 11 11", "02 03 02 22 22");
  Send("03 00 00 00 01");
  Send("03 00 00 00 01", &Other);
  Await(2);
  EXPECT_DOUBLE_EQ(SentAt(1), 1000);
  EXPECT_EQ(Outcomes[1].Reply, Hex("02 03 02 22 22"));
  EXPECT_EQ(Connection->Counters().LateReplies, 1u);
}

TEST_F(TLate, NothingOvertakesARequestThatWaits) {
  Script(0, "", "01 03 02 22 22");
  Send("03 00 00 00 01");
  Send("03 00 05 00 01");
  Send("04 00 05 00 01", &Other);
  Await(3);
  EXPECT_EQ(Outcomes[1].Command, 3);
  EXPECT_EQ(Outcomes[2].Command, 4);
  EXPECT_DOUBLE_EQ(SentAt(1), 2000);
}

TEST_F(TLate, ARequestBehindADiscardedOneThatWaitsGoesAtOnce) {
  Script(0, "", "02 04 02 22 22");
  TModbusClient waiting;
  waiting.SetConnection(Connection.get());
  Send("03 00 00 00 01");
  Send("03 00 05 00 01", &waiting);
  Send("04 00 05 00 01", &Other);
  Await(1);
  RunFor(100ms);
  Connection->DiscardPendingTransactions(&waiting);
  Await(2);
  EXPECT_DOUBLE_EQ(SentAt(1), 1100);
}

TEST_F(TLate, ABroadcastIsNotHeldBack) {
  Script(0, "", "");
  Send("03 00 00 00 01");
  Client->SetServerAddress(0);
  Send("03 00 00 00 01");
  Await(2);
  EXPECT_DOUBLE_EQ(SentAt(1), 1000);
}

TEST_F(TLate, ARetryGoesAtOnceAndTheLateReplyAnswersIt) {
  Connection->SetMaxRetries(2);
  Wire.OnWrite = [this](const Bytes&) { Wire.Arrive(1200ms, Frame("01 03 02 11 11")); };
  Send("03 00 00 00 01");
  Await(1);
  EXPECT_DOUBLE_EQ(SentAt(1), 1000);
  EXPECT_EQ(Outcomes[0].Kind, srNormalReply);
  EXPECT_EQ(Outcomes[0].Retries, 1);
  EXPECT_DOUBLE_EQ(Elapsed(Outcomes[0]), 1200);
  EXPECT_EQ(Connection->Counters().LateReplies, 0u);
}

TEST_F(TLate, AfterAnAnsweredRetryOneReplyIsStillOwed) {
  Connection->SetMaxRetries(2);
  // The first two requests are answered after 1200 ms each: at 1200 and at 2200.
  Wire.OnWrite = [this, count = 0](const Bytes&) mutable {
    if (++count <= 2) return Wire.Arrive(1200ms, Frame("01 03 02 11 11"));
    Wire.Arrive(10ms, Frame("01 03 02 22 22"));
  };
  Send("03 00 00 00 01");
  Send("03 00 05 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[0].Reply, Hex("01 03 02 11 11"));
  EXPECT_EQ(Outcomes[1].Reply, Hex("01 03 02 22 22"));
  EXPECT_DOUBLE_EQ(SentAt(2), 2200);
  EXPECT_EQ(Connection->Counters().LateReplies, 1u);
}

// The second copy comes right behind the first one, and pays for nothing.
TEST_F(TLate, ADoubledReplyIsNotTheOneThatIsStillOwed) {
  Connection->SetMaxRetries(2);
  Wire.OnWrite = [this, count = 0](const Bytes&) mutable {
    const Bytes first = Frame("01 03 02 11 11");
    switch (++count) {
      case 1:
        return Wire.Arrive(1400ms, Frame("01 03 02 33 33"));
      case 2:
        return Wire.Arrive(10ms, first + first);
      default:
        Wire.Arrive(10ms, Frame("01 03 02 22 22"));
    }
  };
  Send("03 00 00 00 01");
  Send("03 00 05 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[0].Reply, Hex("01 03 02 11 11"));
  EXPECT_EQ(Outcomes[1].Reply, Hex("01 03 02 22 22"));
  EXPECT_DOUBLE_EQ(SentAt(2), 1400);
}

// 9600 baud: a reply of 255 bytes takes 266 ms. The server answers one request after the other.
TEST_F(TLate, ALateReplyThatHasBegunInItsWindowIsOneWhenItIsWhole) {
  Connection->SetBaudRate(9600);
  Connection->SetSilentInterval(-1);
  Connection->SetMaxRetries(1);
  Bytes late = Hex("01 03 FA"), reply = late;
  late.resize(253, 0x11);
  reply.resize(253, 0x22);
  Wire.OnWrite = [&, count = 0](const Bytes&) mutable {
    constexpr auto kCharacter = 1042us;
    // The first attempt is answered in the second one's time, and the second one after that.
    if (++count == 1) Wire.Arrive(1900ms, Frame(late), kCharacter);
    if (count == 2) Wire.Arrive(1500ms, Frame(late), kCharacter);
    if (count == 3) Wire.Arrive(100ms, Frame(reply), kCharacter);
  };
  Send("03 00 00 00 7D");
  Send("03 01 00 00 7D");
  Await(2);
  EXPECT_EQ(Outcomes[0].Kind, srNormalReply);
  EXPECT_EQ(Outcomes[0].Retries, 1);
  EXPECT_EQ(Outcomes[1].Reply, reply);
}

TEST_F(TLate, TheWindowIsThatOfTheLastAttempt) {
  Connection->SetMaxRetries(2);
  // Sent at 0, 1000 and 2000, given up at 3000.
  Wire.OnWrite = [this, count = 0](const Bytes&) mutable {
    if (++count > 3) Wire.Arrive(10ms, Frame("01 03 02 22 22"));
  };
  Send("03 00 00 00 01");
  Send("03 00 05 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[0].Kind, srNone);
  EXPECT_EQ(Outcomes[0].Retries, 2);
  EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
  EXPECT_DOUBLE_EQ(SentAt(3), 4000);
}

TEST_F(TLate, ALateExceptionIsNotTheNextWritesAnswer) {
  // Exceptions repeat nothing of their request: the second write is sent at once, but an
  // exception while the first one may still be refused is taken for that refusal.
  Script(1005, "01 86 02", "01 06 00 02 12 34");
  Send("06 00 01 12 34");
  Send("06 00 02 12 34");
  Await(2);
  EXPECT_DOUBLE_EQ(SentAt(1), 1000);
  EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
  EXPECT_EQ(Connection->Counters().LateReplies, 1u);
}

TEST_F(TLate, AfterTheWindowALateReplyIsNoise) {
  Script(2500, "01 03 02 11 11", "01 03 02 22 22");
  Send("03 00 00 00 01");
  Await(1);
  RunFor(2s);
  EXPECT_EQ(Connection->Counters().LateReplies, 0u);
  EXPECT_EQ(Connection->Counters().NoiseBytes, 7u);
}

TEST_F(TLate, TheReplyToADiscardedRequestIsNobodysAnswer) {
  Wire.OnWrite = [this, first = true](const Bytes&) mutable {
    Wire.Arrive(100ms, Frame(std::exchange(first, false) ? "01 03 02 11 11" : "01 03 02 22 22"));
  };
  Send("03 00 00 00 01");
  RunFor(50ms);
  Connection->DiscardPendingTransactions(nullptr);
  EXPECT_EQ(Connection->CountPendingTransactions(nullptr), 0);
  Send("03 00 05 00 01");
  Await(1);
  RunFor(3s);
  ASSERT_EQ(Outcomes.size(), 1u);
  EXPECT_EQ(Outcomes[0].Reply, Hex("01 03 02 22 22"));
  EXPECT_DOUBLE_EQ(SentAt(1), 100);
}

TEST_F(TLate, ADiscardedRequestIsNotSentAgain) {
  Connection->SetMaxRetries(5);
  Send("03 00 00 00 01");
  RunFor(50ms);
  Connection->DiscardPendingTransactions(nullptr);
  RunFor(20s);
  EXPECT_EQ(Wire.WriteTimes.size(), 1u);
  EXPECT_TRUE(Outcomes.empty());
}

TEST_F(TLate, ClosingAndOpeningThePortForgetsNoReplyThatIsOwed) {
  Script(300, "01 03 02 11 11", "01 03 02 22 22");
  Send("03 00 00 00 01");
  RunFor(50ms);
  Connection->SetActive(false);
  Connection->SetActive(true);
  Send("03 00 05 00 01");
  Await(2);
  EXPECT_EQ(Outcomes[0].Kind, srNone);
  EXPECT_EQ(Outcomes[1].Reply, Hex("01 03 02 22 22"));
  EXPECT_DOUBLE_EQ(SentAt(1), 300);
}

TEST_F(TLate, ACutLateReplyIsNoiseAfterTheLongestPauseAndCostsNoTime) {
  Wire.OnWrite = [this](const Bytes&) { Wire.Arrive(1500ms, Hex("01 03 02 11")); };
  Send("03 00 00 00 01");
  Await(1);
  RunFor(600ms);
  EXPECT_EQ(Connection->Counters().NoiseBytes, 0u);
  const int wakes = Loop.Wakes();
  RunFor(200ms);
  EXPECT_EQ(Connection->Counters().NoiseBytes, 4u);
  RunFor(1h);
  EXPECT_EQ(Loop.Wakes() - wakes, 1);
}

TEST_F(TLate, ACutOrBrokenReplyIsNotOwedAnyMore) {
  for (const char* broken : {"01 03 02 11 11 00 00", "01 03 02 11"}) {
    SCOPED_TRACE(broken);
    Outcomes.clear();
    Wire.WriteTimes.clear();
    Wire.OnWrite = [&, first = true](const Bytes&) mutable {
      Wire.Arrive(10ms, std::exchange(first, false) ? Hex(broken) : Frame("01 03 02 22 22"));
    };
    Send("03 00 00 00 01");
    Send("03 00 05 00 01");
    Await(2);
    EXPECT_EQ(Outcomes[0].Kind, srInvalidFrame);
    EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
    EXPECT_LT(SentAt(1), 300);
  }
}

TEST_F(TLate, ADoubledReplyIsNotTheNextAnswer) {
  Connection->SetSilentInterval(30000);
  for (const auto gap : {0ms, 10ms, 20ms}) {
    SCOPED_TRACE(gap.count());
    Outcomes.clear();
    Wire.OnWrite = [&, first = true](const Bytes&) mutable {
      const Bytes reply = Frame(std::exchange(first, false) ? "01 03 02 11 11" : "01 03 02 22 22");
      Wire.Arrive(200ms, reply);
      Wire.Arrive(200ms + gap, reply);
    };
    Send("03 00 00 00 01");
    Send("03 00 05 00 01");
    Await(2);
    EXPECT_EQ(Outcomes[0].Reply, Hex("01 03 02 11 11"));
    EXPECT_EQ(Outcomes[1].Reply, Hex("01 03 02 22 22"));
    RunFor(1s);
  }
}

TEST_F(TLate, ThousandsOfLateAndLostRepliesNeverAnswerAnotherQuestion) {
  for (const unsigned retries : {0U, 1U, 2U}) {
    SCOPED_TRACE(retries);
    Connection->SetMaxRetries(static_cast<std::uint8_t>(retries));
    std::mt19937 random(retries + 1);
    Wire.OnWrite = [&](const Bytes& request) {
      constexpr int kDelays[] = {0, 1, 20, 500, 990, 999, 1001, 1010, 1500, 1900, 1999, -1};
      const int delay = kDelays[random() % std::size(kDelays)];
      if (delay < 0) return;
      Wire.Arrive(std::chrono::milliseconds(delay),
                  Frame(Bytes{request[0], 3, 2, request[2], request[3]}));
    };
    int normal = 0;
    for (unsigned i = 0; i < 2000; ++i) {
      const Bytes data{static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i & 0xFF), 0,
                       1};
      const bool other = random() % 4 == 0;
      Outcomes.clear();
      (other ? Other : *Client).InitCustomTransaction(3, data, false, nullptr);
      Await(1);
      if (Outcomes[0].Kind != srNormalReply) continue;
      ++normal;
      const Bytes expected{static_cast<std::uint8_t>(other ? 2 : 1), 3, 2, data[0], data[1]};
      ASSERT_EQ(Outcomes[0].Reply, expected) << i;
    }
    EXPECT_GT(normal, 500);
  }
}

// The program is busy in a handler, or suspended, while something comes behind the reply.
TEST_F(TLate, WhatWaitsInThePortWhenARequestLeavesIsNoReplyToIt) {
  const struct {
    const char* Name;
    Bytes Meanwhile;
  } kCases[] = {
      {"the reply again", Frame("01 03 02 11 11")},
      {"its begin", Hex("01 03")},
      {"noise that fills the port", Bytes(4000, 0x01)},
  };
  for (const auto& one : kCases) {
    SCOPED_TRACE(one.Name);
    Outcomes.clear();
    Wire.OnWrite = [&, first = true](const Bytes&) mutable {
      Wire.Arrive(10ms, Frame(std::exchange(first, false) ? "01 03 02 11 11" : "01 03 02 22 22"));
    };
    Connection->OnTrace = [&](TModbusConnection&, TTraceDirection direction, auto, auto) {
      if (direction != TTraceDirection::tdReceived || !Outcomes.empty()) return;
      Wire.Arrive(0ms, one.Meanwhile);
      Loop.Skip(5s);
    };
    Send("03 00 00 00 01");
    Send("03 00 05 00 01");
    Await(2);
    EXPECT_EQ(Outcomes[0].Reply, Hex("01 03 02 11 11"));
    EXPECT_EQ(Outcomes[1].Reply, Hex("01 03 02 22 22"));
  }
}

}  // namespace
}  // namespace OrvixModBus
