#include "platform/modbus/uReplyMatch.h"

#include <gtest/gtest.h>

#include "ScriptedPort.h"

namespace OrvixModBus {
namespace {

struct TFit {
  const char* Request;
  const char* Reply;
  bool Fits;
};

const TFit kFits[] = {
    {"01 03 00 00 00 01", "01 03 02 00 05", true},
    {"01 03 00 00 00 01", "02 03 02 00 05", false},
    {"01 03 00 00 00 01", "01 04 02 00 05", false},
    {"01 03 00 00 00 01", "01 83 02", true},
    {"01 03 00 00 00 01", "01 84 02", false},
    {"01 03 00 00 00 01", "02 83 02", false},
    {"01 03 00 00 00 02", "01 03 02 00 05", false},
    {"01 03 00 00 00 80", "01 03 00", false},  // 256 bytes can't be told in one
    {"01 03 00 00 00 00", "01 03 00", true},
    {"01 03", "01 03 02 00 05", true},  // a request that tells no quantity
    {"01 01 00 00 00 08", "01 01 01 FF", true},
    {"01 01 00 00 00 09", "01 01 01 FF", false},
    {"01 02 00 00 00 09", "01 02 02 FF 01", true},
    {"01 02 00 00 07 D0", "01 02 FA", true},
    {"01 05 00 01 FF 00", "01 05 00 01 FF 00", true},
    {"01 05 00 01 FF 00", "01 05 00 01 00 00", false},
    {"01 06 00 01 00 02", "01 06 00 02 00 02", false},
    {"01 06 00 01 00 02", "01 06 00 01", false},
    {"01 06 00 01 00 02", "01 06", false},
    {"01 03 00 00 00 01", "01 03", false},  // the byte count is missing
    {"01 03 00 00 00 01", "01", false},
    {"01 03 00 00 00 01", "", false},
    {"01", "01 83 02", false},
    {"", "", false},
    {"01 6C 00 01 00 02", "01 6C 00 01 00 02", true},
    {"01 6C 00 01 00 02", "01 6C 00 01 00 03", false},
    {"01 0F 00 01 00 02 01 03", "01 0F 00 01 00 02", true},
    {"01 10 00 01 00 02 04 00 00 00 00", "01 10 00 01 00 03", false},
    {"01 16 00 04 00 F2 00 25", "01 16 00 04 00 F2 00 25", true},
    {"01 16 00 04 00 F2 00 25", "01 16 00 04 00 F2 00 24", false},
    {"01 17 00 00 00 02 00 00 00 01 02 00 00", "01 17 04 00 00 00 00", true},
    {"01 17 00 00 00 02 00 00 00 01 02 00 00", "01 17 02 00 00", false},
    {"01 43 01 02 03 02", "01 43 01 02 03 02 AA BB", true},
    {"01 43 01 02 03 02", "01 43 01 02 03 03 AA BB CC", false},
    {"01 44 01 02 03 02", "01 44 02 02 03 02 AA BB", false},
    {"01 65 01 02 03 02 AA BB", "01 65 01 02 03 02", true},
    {"01 66 01 02 03 02 AA BB", "01 66 01 02 03 04", false},
    {"01 21 00 00 00 00", "01 21 00 00 00 01", true},
    {"01 41 05", "01 41 99 98", true},
    {"01 41 05", "01 C1 04", true},
};

TEST(TReplyMatch, AReplyFitsByAllThatItRepeats) {
  for (const TFit& fit : kFits) {
    EXPECT_EQ(ReplyFits(Hex(fit.Request), Hex(fit.Reply)), fit.Fits)
        << fit.Request << " / " << fit.Reply;
  }
}

TEST(TReplyMatch, RepliesAlike) {
  const struct {
    const char* One;
    const char* Other;
    bool Alike;
  } cases[] = {
      {"01 03 00 00 00 01", "01 03 00 09 00 01", true},
      {"01 03 00 00 00 01", "01 03 00 00 00 02", false},
      {"01 03 00 00 00 01", "02 03 00 00 00 01", false},
      {"01 03 00 00 00 01", "01 04 00 00 00 01", false},
      {"01 01 00 00 00 01", "01 01 00 00 00 08", true},
      {"01 01 00 00 00 08", "01 01 00 00 00 09", false},
      {"01 06 00 01 00 02", "01 06 00 01 00 02", true},
      {"01 06 00 01 00 02", "01 06 00 01 00 03", false},
      {"01 10 00 01 00 01 02 00 01", "01 10 00 01 00 01 02 00 02", true},
      {"01 43 01 00 00 02", "01 43 01 00 00 02", true},
      {"01 43 01 00 00 02", "01 43 01 00 02 02", false},
      {"01 14 07 06 00 01", "01 14 07 06 00 02", true},
      {"01 21 00 01 00 00", "01 21 00 09 00 00", true},
      {"01 11", "01 11", true},
      {"01", "01", false},
      {"", "", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RepliesAlike(Hex(c.One), Hex(c.Other)), c.Alike) << c.One << " / " << c.Other;
  }
}

TEST(TReplyMatch, LeastReplyLength) {
  const TReplyLengths lengths;
  const struct {
    const char* Request;
    std::size_t Length;
  } cases[] = {
      {"01 03 00 00 00 0A", 25},
      {"01 01 00 00 00 09", 7},
      {"01 06 00 00 00 00", 8},
      {"01 17 00 00 00 02", 9},
      {"01 11", 5},
      {"01 14 07", 5},
      {"01 43 00 00 00 10", 24},
      {"01 43", 8},
      {"01 21 00 01 00 00", 9},
      {"01 21 00 05 00 00", 8},
      {"01 41 00", 4},
      {"01 03", 5},
      {"01", 4},
      {"", 4},
      {"01 03 00 00 00 80", 261},
      {"01 03 00 00 FF FF", 263},  // no reply holds as much
      {"01 02 00 00 FF FF", 263},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(LeastReplyLength(lengths, Hex(c.Request)), c.Length) << c.Request;
  }
}

TEST(TReplyMatch, RepliesThatMayEqualTheirRequest) {
  const TReplyLengths lengths;
  for (const char* request :
       {"01 05 00 00 FF 00", "01 06 00 00 00 00", "01 6C 00 00 00 00", "01 16 00 00 00 00 00 00",
        "01 41 00", "01 67 02 FD FF 00", "01", ""}) {
    EXPECT_TRUE(ReplyMayEqualRequest(lengths, Hex(request))) << request;
  }
  for (const char* request :
       {"01 03 00 00 00 01", "01 01 00 00 00 01", "01 04 03 00 00 01", "01 10 00 00 00 01 02 00 00",
        "01 43 00 00 00 10", "01 65 00 00 00 01 AA", "01 11", "01 21 00 01 00 00",
        "01 14 07 06 00 03 00 07 00 01"}) {
    EXPECT_FALSE(ReplyMayEqualRequest(lengths, Hex(request))) << request;
  }
  // A reply of four bytes to a request of $21 is as long as the request, and may be the same.
  EXPECT_TRUE(ReplyMayEqualRequest(lengths, Hex("01 21 00 05 00 00")));
}

TEST(ReplyMatch, AnEchoOfALogsOrALongReadWouldBeReadAsValues) {
  for (const char* request :
       {"01 20 00 00 00 00", "01 21 00 10 00 00", "01 24 00 00 00 00", "01 41 00 00 00 00"}) {
    EXPECT_TRUE(EchoReadsAsValues(Hex(request))) << request;
  }
  for (const char* request :
       {"01 05 00 00 FF 00", "01 06 00 01 00 02", "01 6C 00 01 00 02", "01"}) {
    EXPECT_FALSE(EchoReadsAsValues(Hex(request))) << request;
  }
}

}  // namespace
}  // namespace OrvixModBus
