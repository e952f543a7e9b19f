#include "tools/simulator/uReplyFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "platform/modbus/uRtuFrame.h"
#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

constexpr char kRequest[] = "11 03 00 6B 00 01 F7 46";
constexpr char kReply[] = "11 03 02 02 2B 38 F8";

// "3ms 11 03" and the like for each piece, and a hang-up behind them.
std::string TextOf(const TSimulatedReply& reply) {
  const auto ms = [](std::chrono::nanoseconds time) {
    return FloatToStr(std::chrono::duration<double, std::milli>(time).count());
  };
  std::string text;
  for (const TReplyPiece& piece : reply.Pieces) {
    text += (text.empty() ? "" : ", ") + ms(piece.Delay) + ": " + ToHex(piece.Data);
  }
  if (reply.HangUp) text += "gone for " + ms(*reply.HangUp);
  return text;
}

TSimulatedReply Spoil(const TFaultRule& rule, std::string_view reply = kReply,
                      std::uint64_t seed = 1) {
  TFaultRandom random(seed);
  return SpoilReply(rule, FromHex(kRequest), FromHex(reply), random);
}

struct TCase {
  TFaultRule Rule;
  const char* Pieces;
};

TEST(ReplyFaults, MakeOfAReplyWhatTheirParametersTell) {
  const TCase cases[] = {
      {{.Fault = EFault::None}, "0: 11 03 02 02 2B 38 F8"},
      {{.Fault = EFault::Exception}, "0: 11 03 02 02 2B 38 F8"},  // the device's own frame
      {{.Fault = EFault::Silence}, ""},
      {{.Fault = EFault::Late}, "1500: 11 03 02 02 2B 38 F8"},
      {{.Fault = EFault::Late, .Delay = 250ms}, "250: 11 03 02 02 2B 38 F8"},
      {{.Fault = EFault::WrongCheckSum}, "0: 11 03 02 02 2B 38 07"},
      {{.Fault = EFault::FlippedBit, .Position = 0}, "0: 10 03 02 02 2B 38 F8"},
      {{.Fault = EFault::FlippedBit, .Position = 33}, "0: 11 03 02 02 29 38 F8"},
      {{.Fault = EFault::FlippedBit, .Position = 9999}, "0: 11 03 02 02 2B 38 78"},
      {{.Fault = EFault::Cut, .Position = 1}, "0: 11"},
      {{.Fault = EFault::Cut, .Position = 5}, "0: 11 03 02 02 2B"},
      {{.Fault = EFault::Cut, .Position = 7}, "0: 11 03 02 02 2B 38"},
      {{.Fault = EFault::LeadingZeros, .Count = 2}, "0: 00 00 11 03 02 02 2B 38 F8"},
      {{.Fault = EFault::LeadingZeros, .Count = 2, .Reply = false}, "0: 00 00"},
      {{.Fault = EFault::Pause, .Delay = 100ms, .Position = 3}, "0: 11 03 02, 100: 02 2B 38 F8"},
      {{.Fault = EFault::AnotherServer}, "0: 12 03 02 02 71 FC C3 11 03 02 02 2B 38 F8"},
      {{.Fault = EFault::AnotherServer, .Reply = false}, "0: 12 03 02 02 71 FC C3"},
      {{.Fault = EFault::AnotherFunction}, "0: 11 04 02 02 71 B9 B7 11 03 02 02 2B 38 F8"},
      {{.Fault = EFault::AnotherFunction, .Reply = false}, "0: 11 04 02 02 71 B9 B7"},
      {{.Fault = EFault::WrongByteCount}, "0: 11 03 03 02 2B 69 38"},
      {{.Fault = EFault::WrongSize}, "0: 11 03 04 02 2B 5A A5 60 99"},
      {{.Fault = EFault::Twice}, "0: 11 03 02 02 2B 38 F8, 0: 11 03 02 02 2B 38 F8"},
      {{.Fault = EFault::Twice, .Delay = 4ms}, "0: 11 03 02 02 2B 38 F8, 4: 11 03 02 02 2B 38 F8"},
      {{.Fault = EFault::Echo}, "0: 11 03 00 6B 00 01 F7 46 11 03 02 02 2B 38 F8"},
      {{.Fault = EFault::Echo, .Reply = false}, "0: 11 03 00 6B 00 01 F7 46"},
      {{.Fault = EFault::ByteByByte}, "1: 11, 1: 03, 1: 02, 1: 02, 1: 2B, 1: 38, 1: F8"},
      {{.Fault = EFault::ByteByByte, .Delay = 0ms},
       "0: 11, 0: 03, 0: 02, 0: 02, 0: 2B, 0: 38, 0: F8"},
      {{.Fault = EFault::HangUp}, "gone for 1000"},
      {{.Fault = EFault::HangUp, .Duration = 5ms}, "gone for 5"},
  };
  for (const TCase& one : cases) {
    SCOPED_TRACE(std::string(FaultName(one.Rule.Fault)) + " " + one.Pieces);
    EXPECT_EQ(TextOf(Spoil(one.Rule)), one.Pieces);
  }
}

struct TFunctionCase {
  const char* Reply;  // body
  const char* Spoilt;
};

TEST(ReplyFaults, ForeignFramesAreWhole) {
  const TFunctionCase functions[] = {{"11 01 01 CD", "11 02 01 97"},
                                     {"11 02 01 CD", "11 01 01 97"},
                                     {"11 04 02 00 0A", "11 03 02 00 50"},
                                     {"11 10 00 6B 00 03", "11 0F 00 6B 00 59"},
                                     {"11 43 01 00 00 01 07", "11 44 01 00 00 01 5D"},
                                     {"11 83 02", "11 84 58"}};
  for (const TFunctionCase& one : functions) {
    SCOPED_TRACE(one.Reply);
    Bytes reply;
    FormFrame(FromHex(one.Reply), reply);
    const Bytes frame =
        Spoil({.Fault = EFault::AnotherFunction, .Reply = false}, ToHex(reply)).AllBytes();
    EXPECT_TRUE(CheckSumFits(frame));
    EXPECT_EQ(ToHex(Body(frame)), one.Spoilt);
  }
  EXPECT_EQ(Spoil({.Fault = EFault::AnotherServer, .Reply = false}, "F7 03 02 02 2B 00 00")
                .AllBytes()
                .at(0),
            1U);
}

TEST(ReplyFaults, ByteCountsAreWrongWhereTheyAre) {
  const struct {
    const char* Reply;
    const char* WrongCount;
    const char* WrongSize;
  } functions[] = {
      {"11 01 01 CD", "11 01 02 CD", "11 01 03 CD 5A A5"},
      {"11 11 02 0A FF", "11 11 03 0A FF", "11 11 04 0A FF 5A A5"},
      {"11 14 04 03 06 00 01", "11 14 05 03 06 00 01", "11 14 06 03 06 00 01 5A A5"},
      {"11 43 01 00 00 01 07", "11 43 01 00 00 02 07", "11 43 01 00 00 03 07 5A A5"},
      // Without a byte count a byte is missing.
      {"11 06 00 6B 12 34", "11 06 00 6B 12", "11 06 00 6B 12 34 5A A5"},
      {"11 20 01 02 03", "11 20 01 02", "11 20 01 02 03 5A A5"},
      {"11 83 02", "11 83", "11 83 02 5A A5"},
  };
  for (const auto& one : functions) {
    SCOPED_TRACE(one.Reply);
    Bytes reply;
    FormFrame(FromHex(one.Reply), reply);
    const Bytes count = Spoil({.Fault = EFault::WrongByteCount}, ToHex(reply)).AllBytes();
    const Bytes size = Spoil({.Fault = EFault::WrongSize}, ToHex(reply)).AllBytes();
    EXPECT_TRUE(CheckSumFits(size));
    EXPECT_EQ(ToHex(Body(count)), one.WrongCount);
    EXPECT_EQ(ToHex(Body(size)), one.WrongSize);
  }
}

TEST(ReplyFaults, RandomOnesStayInTheirBounds) {
  std::set<std::size_t> cuts, counts;
  std::set<std::chrono::nanoseconds> pauses;
  std::set<Bytes> flipped;
  for (std::uint64_t seed = 0; seed < 2000; ++seed) {
    cuts.insert(Spoil({.Fault = EFault::Cut}, kReply, seed).AllBytes().size());
    counts.insert(Spoil({.Fault = EFault::ExtraBytes}, kReply, seed).AllBytes().size() - 7);
    flipped.insert(Spoil({.Fault = EFault::FlippedBit}, kReply, seed).AllBytes());
    const TSimulatedReply paused = Spoil({.Fault = EFault::Pause}, kReply, seed);
    EXPECT_EQ(ToHex(paused.AllBytes()), kReply);
    ASSERT_EQ(paused.Pieces.size(), 2U);
    EXPECT_FALSE(paused.Pieces[0].Data.empty() || paused.Pieces[1].Data.empty());
    pauses.insert(paused.Pieces[1].Delay);
  }
  EXPECT_EQ(cuts, (std::set<std::size_t>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(counts, (std::set<std::size_t>{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(flipped.size(), 56U) << "every bit, and one alone";
  EXPECT_EQ(pauses.size(), 100U);
  EXPECT_EQ(*pauses.begin(), 1ms);
  EXPECT_EQ(*pauses.rbegin(), 100ms);
}

TEST(ReplyFaults, NoiseAndExtraBytesLeaveTheReplyWhole) {
  for (const EFault fault : {EFault::Noise, EFault::ExtraBytes}) {
    const Bytes bytes = Spoil({.Fault = fault, .Count = 5}).AllBytes();
    ASSERT_EQ(bytes.size(), 12U);
    const auto reply = std::span(bytes).subspan(fault == EFault::Noise ? 5 : 0, 7);
    EXPECT_EQ(ToHex(reply), kReply);
  }
  EXPECT_EQ(Spoil({.Fault = EFault::Noise, .Count = 5, .Reply = false}).AllBytes().size(), 5U);
}

TEST(ReplyFaults, BabbleFillsItsTime) {
  const TSimulatedReply babble = Spoil({.Fault = EFault::Babble, .Delay = 3ms, .Duration = 10ms});
  ASSERT_EQ(babble.Pieces.size(), 3U);
  for (const TReplyPiece& piece : babble.Pieces) {
    EXPECT_EQ(piece.Delay, 3ms);
    EXPECT_EQ(piece.Data.size(), 1U);
  }
  EXPECT_EQ(Spoil({.Fault = EFault::Babble}).Pieces.size(), 400U);
  EXPECT_EQ(Spoil({.Fault = EFault::Babble, .Delay = 0ms, .Duration = 10ms}).Pieces.size(), 10U);
}

TEST(ReplyFaults, ABroadcastIsNotAnsweredWhateverBefallsIt) {
  for (const TFaultForm& form : FaultForms()) {
    SCOPED_TRACE(form.Name);
    const TSimulatedReply reply = Spoil({.Fault = form.Fault}, "");
    EXPECT_EQ(reply.Pieces.empty(), form.Fault != EFault::Babble);
    EXPECT_EQ(reply.HangUp.has_value(), form.Fault == EFault::HangUp);
  }
}

TEST(ReplyFaults, EveryFaultHasItsPlaceInTheTable) {
  std::set<std::string_view> names;
  for (std::size_t i = 0; i < kFaultCount; ++i) {
    EXPECT_EQ(static_cast<std::size_t>(FaultForms()[i].Fault), i);
    names.insert(FaultName(FaultForms()[i].Fault));
  }
  EXPECT_EQ(names.size(), kFaultCount);
}

TEST(FaultRandom, GivesTheSameNumbersEverywhere) {
  TFaultRandom random(1);
  EXPECT_EQ(random.Between(0, 999), 528U);
  EXPECT_EQ(ToHex(random.SomeBytes(4)), "22 73 05 59");
  EXPECT_FALSE(random.Happens(0));
  EXPECT_TRUE(random.Happens(1));
}

}  // namespace
}  // namespace OrvixModBus
