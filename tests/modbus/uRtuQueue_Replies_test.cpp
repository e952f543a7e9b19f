// What arrives after a request, and how the transaction ends: kind by kind.
#include "LineFixture.h"
#include "platform/modbus/uRtuQueue.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;
using testing::ElementsAre;

class TReplies : public TLineFixture {};

// Every known reply, so that what holds for one is tried with all.
struct TDialogue {
  const char* Name;
  const char* Request;  // from the function code on
  const char* Reply;    // from the server address on, without check sum
};

const TDialogue kDialogues[] = {
    {"coils", "01 00 13 00 25", "01 01 05 CD 6B B2 0E 1B"},
    {"inputs", "02 00 C4 00 16", "01 02 03 AC DB 35"},
    {"holding registers", "03 00 6B 00 03", "01 03 06 02 2B 00 00 00 64"},
    {"input register", "04 00 08 00 01", "01 04 02 00 0A"},
    {"write coil", "05 00 AC FF 00", "01 05 00 AC FF 00"},
    {"write register", "06 00 01 00 03", "01 06 00 01 00 03"},
    {"write coils", "0F 00 13 00 0A 02 CD 01", "01 0F 00 13 00 0A"},
    {"write registers", "10 00 01 00 02 04 00 0A 01 02", "01 10 00 01 00 02"},
    {"identity", "11", "01 11 03 05 FF 42"},
    {"file records", "14 07 06 00 04 00 01 00 02", "01 14 06 05 06 0D FE 00 20"},
    {"mask", "16 00 04 00 F2 00 25", "01 16 00 04 00 F2 00 25"},
    {"read and write", "17 00 03 00 02 00 0E 00 01 02 00 FF", "01 17 04 00 FE 0A CD"},
    {"queue", "18 04 DE", "01 18 00 06 00 02 01 B8 12 84"},
    {"log", "20 00 00 00 08", "01 20 11 22 33 44"},
    {"four bytes", "21 00 05 00 00", "01 21 00 00 00 07"},
    {"four bytes after one more", "21 00 01 00 00", "01 21 04 00 00 00 07"},
    {"second log", "24 00 00", "01 24 01"},
    {"oscillogram", "41 01 00 00", "01 41 01 02 03 04 05 06 07 08 09 0A"},
    {"page", "43 01 20 00 04", "01 43 01 20 00 04 DE AD BE EF"},
    {"other page", "44 00 00 10 02", "01 44 00 00 10 02 12 34"},
    {"page write", "65 01 20 00 02 AA BB", "01 65 01 20 00 02"},
    {"other page write", "66 01 20 00 02 AA BB", "01 66 01 20 00 02"},
    {"confirmation", "67 02 FD FF 00", "01 67 02 FD FF 00"},
    {"single write", "6C 00 07 12 34", "01 6C 00 07 12 34"},
    {"unknown code", "42 01", "01 42 01 02 03"},
};

TEST_F(TReplies, EveryKnownReplyIsTakenAtOnceOrAfterTheSilence) {
  for (const TDialogue& dialogue : kDialogues) {
    SCOPED_TRACE(dialogue.Name);
    Answer({Frame(dialogue.Reply)}, 500ms);
    const TOutcome outcome = Exchange(dialogue.Request);
    EXPECT_EQ(outcome.Kind, srNormalReply);
    EXPECT_EQ(outcome.Reply, Hex(dialogue.Reply));
    EXPECT_EQ(outcome.Command, Hex(dialogue.Request)[0]);
    EXPECT_EQ(outcome.Exception, 0);
  }
  EXPECT_EQ(Connection->Counters().NoiseBytes, 0u);
}

TEST_F(TReplies, PagedReadsAreHandedOverAtTheirFirstDataByteOthersAtTwo) {
  for (const TDialogue& dialogue : kDialogues) {
    SCOPED_TRACE(dialogue.Name);
    Answer({Frame(dialogue.Reply)});
    const TOutcome outcome = Exchange(dialogue.Request);
    const bool paged = outcome.Command == 0x43 || outcome.Command == 0x44;
    EXPECT_EQ(outcome.Position, paged ? 6 : 2);
  }
}

TEST_F(TReplies, EveryReplySplitAtEveryByteWithAPauseIsWhole) {
  for (const bool characters : {true, false}) {
    if (!characters) NoCharacters();
    for (const TDialogue& dialogue : kDialogues) {
      const Bytes frame = Frame(dialogue.Reply);
      for (std::size_t cut = 1; cut < frame.size(); ++cut) {
        SCOPED_TRACE(std::string(dialogue.Name) + " cut at " + std::to_string(cut));
        const auto at = frame.begin() + static_cast<std::ptrdiff_t>(cut);
        Wire.OnWrite = [&](const Bytes&) {
          Wire.Arrive(300ms, Bytes(frame.begin(), at));
          Wire.Arrive(400ms, Bytes(at, frame.end()));
        };
        const TOutcome outcome = Exchange(dialogue.Request);
        EXPECT_EQ(outcome.Kind, srNormalReply);
        EXPECT_EQ(outcome.Reply, Hex(dialogue.Reply));
      }
    }
  }
}

TEST_F(TReplies, EveryOneRegisterReplyIsWholeWithItsLastByteLate) {
  NoCharacters();
  for (unsigned value = 0; value < 0x10000; ++value) {
    const Bytes body{1, 4, 2, static_cast<std::uint8_t>(value >> 8),
                     static_cast<std::uint8_t>(value & 0xFF)};
    const Bytes frame = Frame(body);
    Wire.OnWrite = [&](const Bytes&) {
      Wire.Arrive(10ms, Bytes(frame.begin(), frame.end() - 1));
      Wire.Arrive(110ms, Bytes(frame.end() - 1, frame.end()));
    };
    const TOutcome outcome = Exchange("04 00 05 00 01");
    ASSERT_EQ(outcome.Kind, srNormalReply) << value;
    ASSERT_EQ(outcome.Reply, body) << value;
  }
  EXPECT_EQ(Connection->Counters().NoiseBytes, 0u);
  EXPECT_EQ(Connection->Counters().Replies[5], 65536u);
}

TEST_F(TReplies, EveryByteAloneIsWhole) {
  Connection->SetReceiveTimeout(5000);
  for (const TDialogue& dialogue : kDialogues) {
    SCOPED_TRACE(dialogue.Name);
    Wire.OnWrite = [&](const Bytes&) { Wire.Arrive(300ms, Frame(dialogue.Reply), 150ms); };
    EXPECT_EQ(Exchange(dialogue.Request).Kind, srNormalReply);
  }
}

TEST_F(TReplies, EveryReplyIsFoundBehindNoise) {
  for (const char* noise : {"00", "FF", "FF FF FF", "01", "55 AA 55", "00 01 00 01", "02 03",
                            "C1 7F 20 13 42 99 01", "80 80 80 80 80 80 80 80 80 80"}) {
    for (const TDialogue& dialogue : kDialogues) {
      SCOPED_TRACE(std::string(noise) + " before " + dialogue.Name);
      Answer({Hex(noise) + Frame(dialogue.Reply)}, 300ms);
      const TOutcome outcome = Exchange(dialogue.Request);
      EXPECT_EQ(outcome.Kind, srNormalReply);
      EXPECT_EQ(outcome.Reply, Hex(dialogue.Reply));
    }
  }
}

TEST_F(TReplies, EveryReplyWithOneWrongBitIsAnInvalidFrameOrNotTheServers) {
  for (const TDialogue& dialogue : kDialogues) {
    const Bytes frame = Frame(dialogue.Reply);
    for (std::size_t byte = 0; byte < frame.size(); ++byte) {
      SCOPED_TRACE(std::string(dialogue.Name) + " byte " + std::to_string(byte));
      Bytes wrong = frame;
      wrong[byte] ^= 0x04;
      Answer({wrong}, 100ms);
      EXPECT_EQ(Exchange(dialogue.Request).Kind, srInvalidFrame);
      RunFor(3s);
    }
  }
}

TEST_F(TReplies, EveryCutReplyIsAnInvalidFrame) {
  for (const TDialogue& dialogue : kDialogues) {
    const Bytes frame = Frame(dialogue.Reply);
    for (std::size_t size = 1; size < frame.size(); ++size) {
      SCOPED_TRACE(std::string(dialogue.Name) + " of " + std::to_string(size) + " bytes");
      Answer({Bytes(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(size))}, 100ms);
      EXPECT_EQ(Exchange(dialogue.Request).Kind, srInvalidFrame);
      RunFor(3s);
    }
  }
}

TEST_F(TReplies, ExceptionsKeepTheirCodes) {
  for (const TDialogue& dialogue : kDialogues) {
    for (std::uint8_t code = 1; code <= 11; ++code) {
      SCOPED_TRACE(std::string(dialogue.Name) + " exception " + std::to_string(code));
      const auto flagged = static_cast<std::uint8_t>(Hex(dialogue.Request)[0] | 0x80);
      Answer({Frame(Bytes{1, flagged, code})});
      const TOutcome outcome = Exchange(dialogue.Request);
      EXPECT_EQ(outcome.Kind, srExceptionReply);
      EXPECT_EQ(outcome.Exception, code);
      EXPECT_EQ(outcome.Reply, (Bytes{1, flagged, code}));
    }
  }
}

// A request, what arrives so many ms after it, and the end: kind and time. The links has no
// characters, so the request takes no time; the receive time-out is 1000 ms.
struct TArrivals {
  int Milliseconds;
  const char* Body;  // a check sum is added
};
struct TCase {
  const char* Name;
  const char* Request;
  std::vector<TArrivals> Arrivals;
  TServerReply Kind;
  int End;
};

const TCase kCases[] = {
    {"nothing", "03 00 00 00 01", {}, srNone, 1000},
    {"another server", "03 00 00 00 01", {{10, "02 03 02 00 05"}}, srUnexpectedReply, 1000},
    {"another code", "03 00 00 00 01", {{10, "01 04 02 00 05"}}, srUnmatchedReply, 1000},
    {"both, the better one first",
     "03 00 00 00 01",
     {{10, "01 04 02 00 05"}, {50, "02 03 02 00 05"}},
     srUnmatchedReply,
     1000},
    {"both, the better one last",
     "03 00 00 00 01",
     {{10, "02 03 02 00 05"}, {50, "01 04 02 00 05"}},
     srUnmatchedReply,
     1000},
    {"another server, then the right one",
     "03 00 00 00 01",
     {{10, "02 03 02 00 05"}, {500, "01 03 02 00 07"}},
     srNormalReply,
     500},
    {"another code, then the right one",
     "03 00 00 00 01",
     {{10, "01 04 02 00 05"}, {500, "01 03 02 00 07"}},
     srNormalReply,
     500},
    {"another server's exception", "03 00 00 00 01", {{10, "02 83 02"}}, srUnexpectedReply, 1000},
    {"another code's exception", "03 00 00 00 01", {{10, "01 84 02"}}, srUnmatchedReply, 1000},
    {"another master's request",
     "03 00 00 00 01",
     {{10, "05 03 00 00 00 01"}},
     srUnexpectedReply,
     1000},
    {"another master's write",
     "03 00 00 00 01",
     {{10, "05 10 00 00 00 01 02 00 09"}},
     srUnexpectedReply,
     1000},
    {"a frame that only silence ends",
     "03 00 00 00 01",
     {{10, "05 42 00 01 02"}},
     srUnexpectedReply,
     1000},
    {"another server's four bytes",
     "03 00 00 00 01",
     {{10, "05 21 04 00 00 00 07"}},
     srUnexpectedReply,
     1000},
    {"wrong byte count of registers",
     "03 00 00 00 02",
     {{10, "01 03 02 00 05"}},
     srUnmatchedReply,
     30},
    {"wrong byte count of inputs",
     "04 00 00 00 01",
     {{10, "01 04 04 00 05 00 06"}},
     srUnmatchedReply,
     30},
    {"wrong byte count of coils", "01 00 00 00 09", {{10, "01 01 01 FF"}}, srUnmatchedReply, 30},
    {"wrong byte count of discrete inputs",
     "02 00 00 00 08",
     {{10, "01 02 02 FF 00"}},
     srUnmatchedReply,
     30},
    {"coil at another address",
     "05 00 07 FF 00",
     {{10, "01 05 00 08 FF 00"}},
     srUnmatchedReply,
     30},
    {"coil with another value",
     "05 00 07 FF 00",
     {{10, "01 05 00 07 00 00"}},
     srUnmatchedReply,
     30},
    {"register at another address",
     "06 00 07 12 34",
     {{10, "01 06 01 07 12 34"}},
     srUnmatchedReply,
     30},
    {"register with another value",
     "06 00 07 12 34",
     {{10, "01 06 00 07 12 35"}},
     srUnmatchedReply,
     30},
    {"single write with another value",
     "6C 00 07 12 34",
     {{10, "01 6C 00 07 13 34"}},
     srUnmatchedReply,
     30},
    {"coils of another quantity",
     "0F 00 13 00 0A 02 CD 01",
     {{10, "01 0F 00 13 00 0B"}},
     srUnmatchedReply,
     30},
    {"registers of another quantity",
     "10 00 01 00 01 02 00 0A",
     {{10, "01 10 00 01 00 02"}},
     srUnmatchedReply,
     30},
    {"another mask",
     "16 00 04 00 F2 00 25",
     {{10, "01 16 00 04 00 F2 00 26"}},
     srUnmatchedReply,
     30},
    {"read and write of another count",
     "17 00 03 00 02 00 0E 00 01 02 00 FF",
     {{10, "01 17 02 00 FE"}},
     srUnmatchedReply,
     30},
    {"another page", "43 01 20 00 02", {{10, "01 43 02 20 00 02 DE AD"}}, srUnmatchedReply, 30},
    {"page at another address",
     "43 01 20 00 02",
     {{10, "01 43 01 20 01 02 DE AD"}},
     srUnmatchedReply,
     30},
    {"page of another count",
     "44 01 20 00 02",
     {{10, "01 44 01 20 00 03 DE AD BE"}},
     srUnmatchedReply,
     30},
    {"page write of another count",
     "65 01 20 00 02 AA BB",
     {{10, "01 65 01 20 00 08"}},
     srUnmatchedReply,
     30},
    {"page write to another page",
     "66 01 20 00 02 AA BB",
     {{10, "01 66 03 20 00 02"}},
     srUnmatchedReply,
     30},
    {"wrong echo, then the right reply before the line is quiet",
     "06 00 07 12 34",
     {{10, "01 06 00 08 12 34"}, {20, "01 06 00 07 12 34"}},
     srNormalReply,
     20},
    {"reply just in time", "03 00 00 00 01", {{999, "01 03 02 00 07"}}, srNormalReply, 999},
    {"reply too late", "03 00 00 00 01", {{1001, "01 03 02 00 07"}}, srNone, 1000},
    {"until silence", "42 00", {{10, "01 42 01 02 03"}}, srNormalReply, 30},
    {"until silence, in two bursts", "42 00", {{10, "01 42 01 02 03"}}, srNormalReply, 30},
};

TEST_F(TReplies, KindsAndTimes) {
  NoCharacters();
  Connection->SetEchoSuppression(TEchoSuppression::esOff);
  for (const TCase& c : kCases) {
    SCOPED_TRACE(c.Name);
    Wire.OnWrite = [&](const Bytes&) {
      for (const TArrivals& a : c.Arrivals) {
        Wire.Arrive(std::chrono::milliseconds(a.Milliseconds), Frame(a.Body));
      }
    };
    Wire.WriteTimes.clear();
    const TOutcome outcome = Exchange(c.Request);
    EXPECT_EQ(outcome.Kind, c.Kind);
    EXPECT_DOUBLE_EQ(Elapsed(outcome), c.End);
    RunFor(10s);
  }
}

TEST_F(TReplies, AnUnmatchedReplyIsHandedOver) {
  Answer({Frame("01 03 02 00 05")});
  EXPECT_EQ(Exchange("03 00 00 00 02").Reply, Hex("01 03 02 00 05"));
}

TEST_F(TReplies, OtherFailuresHandOverNothing) {
  for (const char* arrival : {"", "01 03 02 00", "02 03 02 00 05 85 87"}) {
    SCOPED_TRACE(arrival);
    Answer({Hex(arrival)});
    const TOutcome outcome = Exchange("03 00 00 00 01");
    EXPECT_NE(outcome.Kind, srNormalReply);
    EXPECT_THAT(outcome.Reply, ElementsAre());
    EXPECT_EQ(outcome.Position, 0);
    RunFor(3s);
  }
}

TEST_F(TReplies, AWrongCheckSumEndsTheWaitWhenTheLineIsQuiet) {
  NoCharacters();
  Wire.OnWrite = [this](const Bytes&) { Wire.Arrive(100ms, Hex("01 03 02 00 05 00 00")); };
  const TOutcome outcome = Exchange("03 00 00 00 01");
  EXPECT_EQ(outcome.Kind, srInvalidFrame);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 120);
}

TEST_F(TReplies, AFalseHeaderInNoiseDoesNotHideTheReplyBehindIt) {
  NoCharacters();
  // Noise that looks like a reply of five bytes; the real one begins inside what that takes.
  Wire.OnWrite = [this](const Bytes&) {
    Wire.Arrive(100ms, Hex("01 03 05") + Frame("01 03 02 00 07"));
  };
  const TOutcome outcome = Exchange("03 00 00 00 01");
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_EQ(outcome.Reply, Hex("01 03 02 00 07"));
}

TEST_F(TReplies, AFalseHeaderOfALongReplyIsGivenUpAfterTheLongestPause) {
  NoCharacters();
  Wire.OnWrite = [this](const Bytes&) {
    Wire.Arrive(100ms, Hex("01 03 FA") + Frame("01 03 02 00 07"));
  };
  const TOutcome outcome = Exchange("03 00 00 00 01");
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 300);
  EXPECT_EQ(Connection->Counters().NoiseBytes, 3u);
}

TEST_F(TReplies, ACutReplyIsReportedAfterTheLongestPause) {
  NoCharacters();
  Wire.OnWrite = [this](const Bytes&) { Wire.Arrive(100ms, Hex("01 03 02 00")); };
  const TOutcome outcome = Exchange("03 00 00 00 01");
  EXPECT_EQ(outcome.Kind, srInvalidFrame);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 300);
}

TEST_F(TReplies, AReplyUnderWayAtTheTimeoutMayFinish) {
  NoCharacters();
  const Bytes frame = Frame("01 03 02 00 07");
  Wire.OnWrite = [&](const Bytes&) {
    Wire.Arrive(990ms, Bytes(frame.begin(), frame.begin() + 3));
    Wire.Arrive(1090ms, Bytes(frame.begin() + 3, frame.end()));
  };
  const TOutcome outcome = Exchange("03 00 00 00 01");
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 1090);
}

TEST_F(TReplies, AReplyThatBeginsInTimeAndDawdlesIsGivenUp) {
  NoCharacters();
  Wire.OnWrite = [&](const Bytes&) {
    Wire.Arrive(990ms,
                Frame("01 03 14 00 01 00 02 00 03 00 04 00 05 00 06 00 07 00 08 00 09 00 0A"),
                100ms);
  };
  const TOutcome outcome = Exchange("03 00 00 00 0A");
  EXPECT_EQ(outcome.Kind, srInvalidFrame);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 1190);
}

TEST_F(TReplies, ALineThatIsNeverSilentEndsAtTheTimeout) {
  NoCharacters();
  for (const char* byte : {"55", "00", "FF", "01", "03"}) {
    SCOPED_TRACE(byte);
    Bytes chatter;
    for (int i = 0; i < 3000; ++i) chatter.push_back(Hex(byte)[0]);
    Wire.OnWrite = [&](const Bytes&) { Wire.Arrive(0ms, chatter, 1ms); };
    Wire.WriteTimes.clear();
    const TOutcome outcome = Exchange("03 00 00 00 01");
    EXPECT_EQ(outcome.Kind, srInvalidFrame);
    EXPECT_GE(Elapsed(outcome), 1000);
    EXPECT_LE(Elapsed(outcome), 1200);
    RunFor(20s);
  }
}

TEST_F(TReplies, APseudoRandomLineThatIsNeverSilentEnds) {
  NoCharacters();
  std::uint32_t state = 1;
  for (int round = 0; round < 12; ++round) {
    SCOPED_TRACE(round);
    Bytes chatter;
    for (int i = 0; i < 4000; ++i) {
      state = state * 1664525 + 1013904223;
      chatter.push_back(static_cast<std::uint8_t>(state >> 24));
    }
    Wire.OnWrite = [&](const Bytes&) { Wire.Arrive(0ms, chatter, 500us); };
    Wire.WriteTimes.clear();
    const TOutcome outcome = Exchange("03 00 00 00 01");
    EXPECT_THAT(outcome.Kind, testing::AnyOf(srInvalidFrame, srUnexpectedReply, srUnmatchedReply));
    EXPECT_LE(Elapsed(outcome), 1500);
    RunFor(20s);
  }
}

TEST_F(TReplies, EveryByteIsCountedOnce) {
  NoCharacters();
  Answer({Hex("FF FF") + Frame("02 03 02 00 05") + Hex("00 13") + Frame("01 03 02 00 07") +
          Hex("99")});
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
  const TLineCounters& counters = Connection->Counters();
  EXPECT_EQ(counters.BytesSent, 8u);
  EXPECT_EQ(counters.BytesReceived, 2u + 7 + 2 + 7 + 1);
  EXPECT_EQ(counters.NoiseBytes, 2u + 7 + 2 + 1);
}

TEST_F(TReplies, AForeignFrameThatHoldsTheExpectedHeaderIsAUnit) {
  NoCharacters();
  const Bytes foreign = Frame("02 03 08 01 03 02 00 05 00 00 00");
  for (std::size_t cut = 0; cut < foreign.size(); ++cut) {
    SCOPED_TRACE(cut);
    const auto at = foreign.begin() + static_cast<std::ptrdiff_t>(cut);
    Wire.OnWrite = [&](const Bytes&) {
      Wire.Arrive(10ms, Bytes(foreign.begin(), at));
      Wire.Arrive(15ms, Bytes(at, foreign.end()));
      Wire.Arrive(100ms, Frame("01 03 02 00 07"));
    };
    const TOutcome outcome = Exchange("03 00 00 00 01");
    EXPECT_EQ(outcome.Kind, srNormalReply);
    EXPECT_EQ(outcome.Reply, Hex("01 03 02 00 07"));
  }
}

TEST_F(TReplies, AReplyWhoseBeginIsAWholeForeignFrameIsNotCut) {
  NoCharacters();
  // Bytes 6 and 7 are the check sum of bytes 0 to 5: the begin passes for a request.
  Bytes body = Frame("01 03 0A 11 22 33");
  body = body + Hex("00 01 02 03 04");
  ASSERT_EQ(body.size(), 13u);
  const Bytes frame = Frame(body);
  Wire.OnWrite = [&](const Bytes&) {
    Wire.Arrive(10ms, Bytes(frame.begin(), frame.begin() + 8));
    Wire.Arrive(12ms, Bytes(frame.begin() + 8, frame.end()));
  };
  const TOutcome outcome = Exchange("03 00 00 00 05");
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_EQ(outcome.Reply, body);
}

TEST_F(TReplies, UntilSilenceACheckSumThatFitsEarlyEndsNothing) {
  NoCharacters();
  const Bytes early = Frame("01 42 07");  // whole in itself
  const Bytes body = early + Hex("01 02");
  const Bytes frame = Frame(body);
  for (const auto pause : {1ms, 10ms, 19ms}) {
    SCOPED_TRACE(pause.count());
    Wire.OnWrite = [&](const Bytes&) {
      Wire.Arrive(10ms, early);
      Wire.Arrive(10ms + pause, Bytes(frame.begin() + 5, frame.end()));
    };
    EXPECT_EQ(Exchange("42 00").Reply, body);
  }
}

TEST_F(TReplies, AnApplicationAddsTheLengthOfACodeOfItsOwn) {
  NoCharacters();
  Connection->ReplyLengths().Set(0x42, TReplyLengthRule::Counted(5, 2));
  Wire.OnWrite = [this](const Bytes&) { Wire.Arrive(10ms, Frame("01 42 02 00 05")); };
  const TOutcome outcome = Exchange("42 00");
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 10);  // no silence is awaited any more
}

TEST_F(TReplies, ThePagedReplyOf255BytesIsWhole) {
  Bytes body = Hex("01 43 01 20 00 FF");
  for (int i = 0; i < 255; ++i) body.push_back(static_cast<std::uint8_t>(i));
  Answer({Frame(body)}, 3s);
  Connection->SetReceiveTimeout(5000);
  const TOutcome outcome = Exchange("43 01 20 00 FF");
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_EQ(outcome.Reply, body);
}

TEST_F(TReplies, ABroadcastIsSentOnceAndNotAnswered) {
  Client->SetServerAddress(0);
  Connection->SetMaxRetries(5);
  Answer({Frame("00 06 00 01 00 02")}, 80ms);
  const TOutcome outcome = Exchange("06 00 01 00 02");
  EXPECT_EQ(outcome.Kind, srNone);
  EXPECT_THAT(outcome.Reply, ElementsAre());
  EXPECT_EQ(Wire.Written, Frame("00 06 00 01 00 02"));
  EXPECT_NEAR(Elapsed(outcome), 8 * 8.3333 + 100, 0.01);
}

TEST_F(TReplies, TheBroadcastFlagOverridesTheServerAddress) {
  Client->InitCustomTransaction(0x06, Hex("00 01 00 02"), true, nullptr);
  Await(1);
  EXPECT_EQ(Wire.Written, Frame("00 06 00 01 00 02"));
  EXPECT_EQ(Outcomes[0].Kind, srNone);
}

}  // namespace
}  // namespace OrvixModBus
