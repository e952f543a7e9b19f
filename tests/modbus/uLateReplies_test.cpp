#include "platform/modbus/uLateReplies.h"

#include <gtest/gtest.h>

#include "ScriptedPort.h"

namespace OrvixModBus {
namespace {

using TTime = TLateReplies::TTime;
using namespace std::chrono_literals;

constexpr TTime kNow{1000s};
const Bytes kRead = Hex("01 03 00 00 00 01");
const Bytes kReply = Hex("01 03 02 11 11");

TEST(TLateReplies, NothingIsOwedAtFirst) {
  TLateReplies late;
  EXPECT_FALSE(late.Any());
  EXPECT_FALSE(late.Take(kReply, 1, false));
  EXPECT_EQ(late.FreeAt(kRead, 1), TTime::min());
}

TEST(TLateReplies, ARequestThatCouldTakeTheOwedReplyIsFreeAfterItsWindow) {
  TLateReplies late;
  late.Owe(1, kRead, kNow);
  EXPECT_EQ(late.FreeAt(kRead, 2), kNow);
  EXPECT_EQ(late.FreeAt(kRead, 1), TTime::min());  // the same question
  EXPECT_EQ(late.FreeAt(Hex("02 03 00 00 00 01"), 2), TTime::min());
  EXPECT_EQ(late.FreeAt(Hex("01 03 00 00 00 02"), 2), TTime::min());
}

TEST(TLateReplies, TheLatestWindowCounts) {
  TLateReplies late;
  late.Owe(1, kRead, kNow + 2s);
  late.Owe(2, kRead, kNow + 1s);
  EXPECT_EQ(late.FreeAt(kRead, 3), kNow + 2s);
  EXPECT_EQ(late.FreeAt(kRead, 1), kNow + 1s);
}

TEST(TLateReplies, ATakenReplyIsOwedNoMore) {
  TLateReplies late;
  late.Owe(1, kRead, kNow);
  EXPECT_FALSE(late.Take(Hex("01 04 02 11 11"), 2, false));
  EXPECT_FALSE(late.Take(kReply, 1, false));  // it is this transaction's own
  EXPECT_TRUE(late.Take(kReply, 2, false));
  EXPECT_FALSE(late.Any());
}

TEST(TLateReplies, AnExceptionIsTakenAsWell) {
  TLateReplies late;
  late.Owe(1, kRead, kNow);
  EXPECT_TRUE(late.Take(Hex("01 83 02"), 2, false));
}

TEST(TLateReplies, AReplySettlesTheOldestAttemptOfItsTransaction) {
  TLateReplies late;
  late.Owe(1, kRead, kNow);
  late.Owe(1, kRead, kNow + 1s);
  EXPECT_FALSE(late.Settle(2));
  EXPECT_TRUE(late.Settle(1));
  EXPECT_EQ(late.FreeAt(kRead, 2), kNow + 1s);
  EXPECT_TRUE(late.Settle(1));
  EXPECT_FALSE(late.Settle(1));
}

TEST(TLateReplies, WindowsEnd) {
  TLateReplies late;
  late.Owe(1, kRead, kNow);
  late.Expire(kNow - 1ns);
  EXPECT_TRUE(late.Any());
  late.Expire(kNow);
  EXPECT_FALSE(late.Any());
}

TEST(TLateReplies, LongAndShortRequestsAreKeptAsFarAsTheyTell) {
  TLateReplies late;
  late.Owe(1, Hex("01 10 00 01 00 02 04 00 00 00 00"), kNow);
  late.Owe(2, Hex("01 11"), kNow);
  EXPECT_FALSE(late.Take(Hex("01 10 00 01 00 03"), 3, false));
  EXPECT_TRUE(late.Take(Hex("01 10 00 01 00 02"), 3, false));
  EXPECT_TRUE(late.Take(Hex("01 11 01 FF"), 3, false));
}

}  // namespace
}  // namespace OrvixModBus
