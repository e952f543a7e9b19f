#include "platform/modbus/uReplyScanner.h"

#include <gtest/gtest.h>

#include "ScriptedPort.h"

namespace OrvixModBus {
namespace {

using TKind = TScannedFrame::TKind;

class TScanner : public testing::Test {
 public:
  TScanner() {
    Scanner.OnThrown = [this](std::span<const std::uint8_t> bytes) {
      Thrown.insert(Thrown.end(), bytes.begin(), bytes.end());
    };
    Scanner.Expect(Frame("01 03 00 00 00 01"), false);
  }
  void Feed(const Bytes& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
      const auto room = Scanner.Room();
      ASSERT_FALSE(room.empty());
      const std::size_t size = std::min(room.size(), bytes.size() - at);
      std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), size, room.begin());
      Scanner.Received(size);
      at += size;
    }
  }
  TKind Next(TLineRest rest = TLineRest::Flowing) { return Scanner.Next(rest).Kind; }

  TReplyLengths Lengths;
  TReplyScanner Scanner{Lengths};
  Bytes Thrown;
};

TEST_F(TScanner, FindsFramesOneAfterTheOther) {
  Feed(Hex("FF") + Frame("02 03 02 00 05") + Frame("01 03 02 00 07") + Frame("01 83 02"));
  EXPECT_EQ(Next(), TKind::Other);
  EXPECT_EQ(Next(), TKind::Reply);
  EXPECT_EQ(Next(), TKind::Reply);
  EXPECT_EQ(Next(), TKind::None);
  EXPECT_EQ(Thrown, Hex("FF"));
}

TEST_F(TScanner, WaitsForAnIncompleteReply) {
  Feed(Hex("01 03 02 00"));
  EXPECT_EQ(Next(), TKind::None);
  EXPECT_TRUE(Scanner.IsWaiting());
  EXPECT_FALSE(Scanner.EndsWithSilence());
  EXPECT_EQ(Scanner.Missing(), 3u);
  EXPECT_FALSE(Scanner.IsBroken());
  Feed(Hex("07"));
  EXPECT_EQ(Next(TLineRest::Quiet), TKind::None);
  EXPECT_EQ(Scanner.Missing(), 2u);
  EXPECT_EQ(Next(TLineRest::Cut), TKind::None);
  EXPECT_FALSE(Scanner.IsWaiting());
  EXPECT_TRUE(Scanner.IsBroken());
  EXPECT_EQ(Thrown.size(), 5u);
}

TEST_F(TScanner, TheMissingBytesAreThoseThatTheRequestAsksForUntilTheReplyTells) {
  Scanner.Expect(Frame("01 03 00 00 00 0A"), false);
  Feed(Hex("01"));
  Next();
  EXPECT_EQ(Scanner.Missing(), 24u);
  Feed(Hex("03"));
  Next();
  EXPECT_EQ(Scanner.Missing(), 23u);
  Scanner.Expect(Frame("01 03 00 00 00 0A"), false);
  Feed(Hex("01 83"));
  Next();
  EXPECT_EQ(Scanner.Missing(), 3u);
}

TEST_F(TScanner, MoreThanAReplyHoldsIsNeverMissing) {
  Scanner.Expect(Frame("01 03 00 00 FF FF"), false);
  Feed(Hex("01"));
  Next();
  EXPECT_EQ(Scanner.Missing(), kMaxReplyLength - 1);
}

TEST_F(TScanner, ACountFarBehindIsMissingUntilItIsThere) {
  Lengths.Set(0x42, TReplyLengthRule::Counted(0, 6));
  Scanner.Expect(Frame("01 42"), false);
  Feed(Hex("01 42 00 00"));
  Next();
  EXPECT_EQ(Scanner.Missing(), 3u);
}

TEST_F(TScanner, AByteLikeTheServersAddressAloneIsNoBrokenReply) {
  Feed(Hex("01"));
  EXPECT_EQ(Next(), TKind::None);
  EXPECT_TRUE(Scanner.IsWaiting());
  EXPECT_EQ(Next(TLineRest::Cut), TKind::None);
  EXPECT_FALSE(Scanner.IsBroken());
}

TEST_F(TScanner, WaitingForAnotherPlaceIsAnotherWait) {
  Feed(Hex("01 03 02"));
  Next();
  const auto first = Scanner.WaitingPlace();
  Feed(Hex("01 03 02 00"));  // the first one turns out wrong
  Next();
  EXPECT_TRUE(Scanner.IsWaiting());
  EXPECT_EQ(Scanner.WaitingPlace(), first + 3);
}

TEST_F(TScanner, AnIncompleteForeignFrameIsKeptButDoesNotHoldUpTheReply) {
  Feed(Hex("02 03 04 11"));
  EXPECT_EQ(Next(), TKind::None);
  EXPECT_FALSE(Scanner.IsWaiting());
  EXPECT_TRUE(Scanner.HasBytes());
  Feed(Frame("01 03 02 00 07"));
  EXPECT_EQ(Next(), TKind::Reply);
  EXPECT_EQ(Thrown, Hex("02 03 04 11"));
}

TEST_F(TScanner, AHeaderInsideAForeignFrameIsForgottenWithIt) {
  const Bytes foreign = Frame("02 03 08 01 03 02 00 07 00 00 00");
  Feed(Bytes(foreign.begin(), foreign.end() - 1));
  EXPECT_EQ(Next(), TKind::None);
  EXPECT_TRUE(Scanner.IsBroken());  // as it looks so far
  Feed(Bytes(foreign.end() - 1, foreign.end()));
  EXPECT_EQ(Next(), TKind::Other);
  EXPECT_EQ(Next(), TKind::None);
  EXPECT_FALSE(Scanner.IsBroken());
}

TEST_F(TScanner, TheEchoIsFoundOnce) {
  Scanner.Expect(Frame("01 06 00 01 00 02"), true);
  Feed(Frame("01 06 00 01 00 02") + Frame("01 06 00 01 00 02"));
  EXPECT_EQ(Next(), TKind::Echo);
  EXPECT_EQ(Next(), TKind::Reply);
}

TEST_F(TScanner, NeedsNobodyWhoTakesWhatIsThrownAway) {
  Scanner.OnThrown = nullptr;
  Feed(Hex("FF FF") + Frame("01 03 02 00 07"));
  EXPECT_EQ(Next(), TKind::Reply);
  EXPECT_TRUE(Thrown.empty());
}

TEST_F(TScanner, ARuleThatNoReplyCanFulfilMakesNoneOfAFrame) {
  Lengths.Set(0x42, TReplyLengthRule::Request(kMaxReplyLength + 1, 2, 0, 9));
  Scanner.Expect(Frame("01 42 00 00"), false);
  for (const char* frame : {"01 42 00 05", "02 42 00 05"}) {
    Feed(Frame(frame));
    EXPECT_EQ(Next(TLineRest::Cut), TKind::Other) << frame;
  }
}

TEST_F(TScanner, ExpectingAnewThrowsAwayWhatIsHeld) {
  Feed(Hex("01 03 02"));
  Next();
  Scanner.ExpectNothing();
  EXPECT_FALSE(Scanner.HasBytes());
  EXPECT_EQ(Thrown, Hex("01 03 02"));
  Feed(Frame("01 03 02 00 07"));
  EXPECT_EQ(Next(), TKind::Other);
}

TEST_F(TScanner, IsBoundedAndLosesNoReplyByIt) {
  Scanner.Expect(Frame("01 43 00 00 00 FF"), false);
  // Unknown function codes end with silence only, so all of this is kept as long as possible.
  Bytes body = Hex("01 43 00 00 00 FF");
  body.resize(261, 0x42);
  Feed(Bytes(10'000, 0x42));
  EXPECT_EQ(Next(), TKind::None);
  const Bytes frame = Frame(body);
  Feed(Bytes(400, 0x42) + Bytes(frame.begin(), frame.begin() + 200));
  EXPECT_EQ(Next(), TKind::None);
  EXPECT_TRUE(Scanner.IsWaiting());
  Feed(Bytes(frame.begin() + 200, frame.end()));
  EXPECT_EQ(Next(), TKind::Reply);
  EXPECT_EQ(Thrown, Bytes(10'400, 0x42));
}

TEST_F(TScanner, EveryByteEndsInAFrameOrIsThrownAway) {
  std::uint32_t state = 5;
  std::size_t fed = 0, framed = 0;
  for (int round = 0; round < 300; ++round) {
    Bytes bytes;
    for (std::uint32_t i = 0; i <= state % 97; ++i) {
      state = state * 1664525 + 1013904223;
      bytes.push_back(static_cast<std::uint8_t>(state >> 30));  // 0 to 3: many headers
    }
    if (round % 7 == 0) bytes = bytes + Frame("01 03 02 00 07");
    Feed(bytes);
    fed += bytes.size();
    const auto rest = static_cast<TLineRest>(round % 3);
    for (auto frame = Scanner.Next(rest); frame.Kind != TKind::None; frame = Scanner.Next(rest)) {
      EXPECT_TRUE(CheckSumFits(frame.Frame));
      framed += frame.Frame.size();
    }
  }
  Scanner.Next(TLineRest::Cut);
  EXPECT_FALSE(Scanner.HasBytes());
  EXPECT_EQ(framed + Thrown.size(), fed);
  EXPECT_GE(framed, 7u * 20);
}

}  // namespace
}  // namespace OrvixModBus
