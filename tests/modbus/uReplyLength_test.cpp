#include "platform/modbus/uReplyLength.h"

#include <gtest/gtest.h>

#include "ScriptedPort.h"

namespace OrvixModBus {
namespace {

using TKind = TReplyLength::TKind;

struct TCase {
  const char* Request;
  const char* Reply;  // so far
  TKind Kind;
  std::size_t Length;
};

const TCase kCases[] = {
    {"01 01", "01 01", TKind::More, 5},
    {"01 01", "01 01 05", TKind::More, 10},
    {"01 02", "01 02 05 00 00 00 00 00 00", TKind::More, 10},
    {"01 02", "01 02 05 00 00 00 00 00 00 00", TKind::Whole, 10},
    {"01 03", "01 03 02 00 00 00 00 99 99", TKind::Whole, 7},  // more than the reply is there
    {"01 03", "01 03 00", TKind::More, 5},
    {"01 03", "01 03 FF", TKind::More, 260},
    {"01 04", "01 04 FA", TKind::More, 255},
    {"01 05", "01 05", TKind::More, 8},
    {"01 06", "01 06 00 00 00 00 00", TKind::More, 8},
    {"01 06", "01 06 00 00 00 00 00 00", TKind::Whole, 8},
    {"01 0F", "01 0F", TKind::More, 8},
    {"01 10", "01 10", TKind::More, 8},
    {"01 11", "01 11 07", TKind::More, 12},
    {"01 14", "01 14 0C", TKind::More, 17},
    {"01 15", "01 15 0C", TKind::More, 17},
    {"01 16", "01 16", TKind::More, 10},
    {"01 17", "01 17 04", TKind::More, 9},
    {"01 18", "01 18 00 06", TKind::Silence, 0},
    {"01 20", "01 20", TKind::Silence, 0},
    {"01 24", "01 24", TKind::Silence, 0},
    {"01 41", "01 41", TKind::Silence, 0},
    {"01 67", "01 67", TKind::Silence, 0},
    {"01 42", "01 42", TKind::Silence, 0},
    {"01 00", "01 00", TKind::Silence, 0},
    {"01 7F", "01 7F", TKind::Silence, 0},
    {"01 21 00 00 00 00", "01 21", TKind::More, 8},
    {"01 21 00 01 00 00", "01 21", TKind::More, 9},
    {"01 21 00 02 00 00", "01 21", TKind::More, 9},
    {"01 21 00 03 00 00", "01 21", TKind::More, 8},
    {"01 21 01 00 00 00", "01 21", TKind::More, 8},
    {"01 21", "01 21", TKind::More, 8},  // a request too short to tell
    {"01 43", "01 43 00 00 00", TKind::More, 8},
    {"01 43", "01 43 00 00 00 10", TKind::More, 24},
    {"01 44", "01 44 00 00 00 FF", TKind::More, 263},
    {"01 65", "01 65", TKind::More, 8},
    {"01 66", "01 66", TKind::More, 8},
    {"01 6C", "01 6C", TKind::More, 8},
    {"01 03", "01 83", TKind::More, 5},
    {"01 03", "01 83 02 00 00", TKind::Whole, 5},
    {"01 67", "01 E7 01", TKind::More, 5},
    {"01 42", "01 C2 01 00 00", TKind::Whole, 5},
    {"", "01", TKind::Silence, 0},  // no function code yet
};

TEST(TReplyLengths, BytesSoFarTellTheLength) {
  const TReplyLengths lengths;
  for (const TCase& c : kCases) {
    SCOPED_TRACE(std::string(c.Request) + " / " + c.Reply);
    const TReplyLength length = lengths.Judge(Hex(c.Request), Hex(c.Reply));
    EXPECT_EQ(length.Kind, c.Kind);
    EXPECT_EQ(length.Length, c.Length);
  }
}

TEST(TReplyLengths, NoReplyIsLongerThanTheLongestPagedOne) {
  TReplyLengths lengths;
  lengths.Set(0x42, TReplyLengthRule::Counted(9, 2));
  EXPECT_EQ(lengths.Judge({}, Hex("01 42 FE")).Kind, TKind::More);
  EXPECT_EQ(lengths.Judge({}, Hex("01 42 FF")).Kind, TKind::Junk);
  EXPECT_EQ(lengths.Judge({}, Bytes(263, 0x41)).Kind, TKind::Silence);
  EXPECT_EQ(lengths.Judge({}, Bytes(264, 0x41)).Kind, TKind::Junk);
}

TEST(TReplyLengths, ACountFarBehindIsWaitedForAndAReplyThatEndsBeforeItIsNone) {
  TReplyLengths lengths;
  lengths.Set(0x42, TReplyLengthRule::Counted(0, 6));  // the count is the whole length
  const TReplyLength length = lengths.Judge({}, Hex("01 42 00 00"));
  EXPECT_EQ(length.Kind, TKind::More);
  EXPECT_EQ(length.Length, 7u);
  EXPECT_EQ(lengths.Judge({}, Hex("01 42 00 00 00 00 09")).Length, 9u);
  EXPECT_EQ(lengths.Judge({}, Hex("01 42 00 00 00 00 06")).Kind, TKind::Junk);
}

TEST(TReplyLengths, AnUnknownKindOfRuleMeansUntilSilence) {
  TReplyLengths lengths;
  lengths.Set(0x42, {static_cast<TReplyLengthRule::TKind>(99), 8});
  EXPECT_EQ(lengths.Judge(Hex("01 42"), Hex("01 42 05")).Kind, TKind::Silence);
}

TEST(TReplyLengths, RulesDifferInEachOfTheirParts) {
  using TRule = TReplyLengthRule;
  const TRule rule = TRule::Request(8, 3, 1, 2);
  EXPECT_EQ(rule, TRule::Request(8, 3, 1, 2));
  for (const TRule& other :
       {TRule{TRule::TKind::Counted, 8, 3, 1, 2}, TRule::Request(9, 3, 1, 2),
        TRule::Request(8, 2, 1, 2), TRule::Request(8, 3, 0, 2), TRule::Request(8, 3, 1, 3)}) {
    EXPECT_FALSE(rule == other);
  }
}

TEST(TReplyLengths, AnApplicationSetsARuleOfEveryKind) {
  TReplyLengths lengths;
  lengths.Set(0x42, TReplyLengthRule::Fixed(6));
  EXPECT_EQ(lengths.Judge({}, Hex("01 42")).Length, 6u);
  lengths.Set(0x42, TReplyLengthRule::Counted(7, 3));
  EXPECT_EQ(lengths.Judge({}, Hex("01 42 00 02")).Length, 9u);
  lengths.Set(0x42, TReplyLengthRule::Request(6, 2, 5, 9));
  EXPECT_EQ(lengths.Judge(Hex("01 42 04"), Hex("01 42")).Length, 6u);
  EXPECT_EQ(lengths.Judge(Hex("01 42 05"), Hex("01 42")).Length, 7u);
  EXPECT_EQ(lengths.Judge(Hex("01 42 09"), Hex("01 42")).Length, 7u);
  EXPECT_EQ(lengths.Judge(Hex("01 42 0A"), Hex("01 42")).Length, 6u);
  lengths.Set(0x42, TReplyLengthRule::UntilSilence());
  EXPECT_EQ(lengths.Judge({}, Hex("01 42")).Kind, TKind::Silence);
}

TEST(TReplyLengths, Requests) {
  const struct {
    const char* Request;
    std::size_t Length;
  } cases[] = {
      {"01 03 00 00 00 01", 8},
      {"01 06 00 00 00 01", 8},
      {"01 10 00 00 00 02 04", 13},
      {"01 0F 00 00 00 0A 02", 11},
      {"01 11", 4},
      {"01 14 07", 12},
      {"01 16", 10},
      {"01 21", 8},
      {"01 43", 8},
      {"01 65 00 00 00 02", 10},
      {"01 6C", 8},
      {"01 17 00 00 00 00 00 00 00 01 02", 15},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RequestLengths().Judge({}, Hex(c.Request)).Length, c.Length) << c.Request;
  }
}

}  // namespace
}  // namespace OrvixModBus
