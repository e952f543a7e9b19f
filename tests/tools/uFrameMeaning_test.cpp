#include "tools/orvixmb/uFrameMeaning.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/modbus/uRtuFrame.h"
#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

// The whole frame of these bytes; no check sum is added to fewer than a frame has.
Bytes Frame(std::string_view body) {
  Bytes frame;
  FormFrame(FromHex(body), frame);
  return frame;
}

struct TRequestCase {
  const char* Body;
  const char* Meaning;
};

constexpr TRequestCase kRequests[] = {
    {"01 01 00 00 00 0A", "read 10 coils from 0"},
    {"01 02 00 10 00 01", "read 1 discrete input from 16"},
    {"01 03 00 64 00 0A", "read 10 holding registers from 100"},
    {"01 04 FF FF 00 01", "read 1 input register from 65535"},
    {"01 05 00 03 FF 00", "switch coil 3 on"},
    {"01 05 00 03 00 00", "switch coil 3 off"},
    {"01 05 00 03 12 AB", "write $12AB to coil 3"},
    {"01 06 00 0C 00 05", "write 5 to register 12"},
    {"00 06 00 0C 00 05", "write 5 to register 12, to all servers"},
    {"01 0F 00 13 00 0A 02 CD 01", "write from coil 19 on, 10 coils: 1011001110"},
    {"01 10 00 64 00 02 04 00 01 00 02", "write 2 registers from 100: 0001 0002"},
    {"01 11", "server identity"},
    {"01 14 07 06 00 05 00 00 00 03", "file 5 record 0, 3 registers"},
    {"01 14 0E 06 00 05 00 00 00 01 06 00 05 00 01 00 01",
     "file 5 record 0, 1 register, and 1 more"},
    {"01 15 0B 06 00 04 00 07 00 02 06 AF 04 BE", "write file 4 record 7: 06AF 04BE"},
    {"01 18 04 DE", "queue 1246"},
    {"01 20 00 00 00 00", "log: count"},
    {"01 20 00 20 00 1F", "log: 31 records from 32"},
    {"01 24 00 FF 00 01", "log: 1 record from 255"},
    {"01 21 01 02 00 00", "read extended register 258"},
    {"01 41 00 00 00 00", "oscillograms: count"},
    {"01 41 00 07 00 00", "oscillogram 7: description"},
    {"01 41 0F 03 01 10", "oscillogram 3: 15 records from 272"},
    {"01 43 01 00 00 40", "read 64 bytes of paged memory from $010000"},
    {"01 44 FF FF F0 10", "read 16 bytes of paged memory from $FFFFF0"},
    {"01 65 01 FF 00 02 AB CD", "write to paged memory from $01FF00, 2 bytes: AB CD"},
    {"01 66 00 00 10 01 07", "write to paged memory from $000010, 1 byte: 07"},
    {"01 67 02 FD FF 00", "confirm"},
    {"01 6C 00 0C 01 00", "write 256 to register 12"},
    {"01 5A 01 02 03", "function $5A, 7 bytes"},
    {"01 83 02", "function $83, 5 bytes"},
    // What the function does not allow.
    {"01 03 00 64 00", "function $03, 7 bytes"},
    {"01 10 00 64 00 02 05 00 01 00 02", "function $10, 13 bytes"},
    {"01 14 06 06 00 05 00 00 00", "function $14, 11 bytes"},
    {"01 14 00", "function $14, 5 bytes"},
    {"01 15 07 06 00 04 00 07 00 02", "function $15, 12 bytes"},
    {"01 20 00 00 00", "function $20, 7 bytes"},
};

TEST(FrameMeaning, TellsWhatARequestAsksFor) {
  for (const auto& [body, meaning] : kRequests) EXPECT_EQ(RequestMeaning(Frame(body)), meaning);
}

struct TReplyCase {
  const char* Request;
  const char* Body;
  const char* Meaning;
};

constexpr TReplyCase kReplies[] = {
    {"01 01 00 00 00 0A", "01 01 02 CD 01", "10 bits: 1011001110"},
    {"", "01 01 01 05", "8 bits: 10100000"},
    {"01 01 00 00 00 FF", "01 01 01 05", "8 bits: 10100000"},
    {"01 03 00 64 00 02", "01 03 04 00 01 00 02", "4 bytes: 0001 0002"},
    {"01 04 00 64 00 0A", "01 04 14 0001 0002 0003 0004 0005 0006 0007 0008 0009 000A",
     "20 bytes: 0001 0002 0003 0004 0005 0006 0007 0008 ..."},
    {"01 03 00 64 00 00", "01 03 00", "0 bytes"},
    {"01 05 00 03 FF 00", "01 05 00 03 FF 00", "written"},
    {"01 10 00 64 00 01 02 00 01", "01 10 00 64 00 01", "written"},
    {"01 11", "01 11 06 2A FF 42 4B 2D 32", "identity, 6 bytes: \"*.BK-2\""},
    {"01 14 07 06 00 05 00 00 00 02", "01 14 06 05 06 12 34 56 78", "1 record: 1234 5678"},
    {"", "01 14 08 03 06 12 34 03 06 56 78", "2 records: 1234, ..."},
    {"01 18 04 DE", "01 18 00 06 00 02 01 B8 12 84", "queue of 2 registers: 01B8 1284"},
    {"01 20 00 00 00 00", "01 20 04 B0 00 F0", "1200 in all, 240 to read"},
    {"01 24 00 01 00 02", "01 24 01 02 03 04", "4 bytes of records"},
    {"01 20 00 00 00 00", "01 20 01", "1 byte of records"},
    {"01 21 00 01 00 00", "01 21 04 11 22 33 44", "4 bytes: 1122 3344"},
    {"01 21 00 03 00 00", "01 21 11 22 33 44", "4 bytes: 1122 3344"},
    {"01 41 00 00 00 00", "01 41 00 07 00 02", "7 in all, 2 to read"},
    {"01 41 00 02 00 00", "01 41 41 42 43", "3 bytes of description"},
    {"01 41 01 01 00 06", "01 41 00 01 00 06 0B B8", "oscillogram 1, records from 6: 2 bytes"},
    {"01 43 01 00 00 03", "01 43 01 00 00 03 AA BB CC", "3 bytes: AA BB CC"},
    {"01 66 00 00 10 01 07", "01 66 00 00 10 01", "written"},
    {"01 67 02 FD FF 00", "01 67 02 FD FF 00", "confirmed"},
    {"01 03 00 64 00 02", "01 83 02", "exception 2: illegal data address"},
    {"01 03 00 64 00 02", "01 83 0B", "exception 11: gateway target device failed to respond"},
    {"01 03 00 64 00 02", "01 83 0C", "exception 12"},
    {"01 5A 01", "01 5A 01 02 03", "function $5A, 7 bytes"},
    // Another server's request tells nothing.
    {"02 20 00 00 00 00", "01 20 04 B0 00 F0", "4 bytes of records"},
    {"01 03 00 64 00 02", "01 03 05 00 01 00 02", "function $03, 9 bytes"},
    {"", "01 14 05 05 06 12 34 56", "function $14, 10 bytes"},
    {"", "01 14 02 00 06", "function $14, 7 bytes"},
};

TEST(FrameMeaning, TellsWhatAReplyHoldsByItsRequest) {
  for (const auto& [request, body, meaning] : kReplies) {
    const Bytes asked = *request != '\0' ? Frame(request) : Bytes();
    EXPECT_EQ(ReplyMeaning(Frame(body), asked), meaning) << body;
  }
}

TEST(FrameMeaning, TellsWhatIsNoFrame) {
  Bytes broken = Frame("01 03 00 64 00 0A");
  broken.back() ^= 1;
  const std::pair<Bytes, const char*> cases[] = {
      {broken, "check sum wrong"},
      {{}, "0 bytes, too short for a frame"},
      {{1}, "1 byte, too short for a frame"},
      {{1, 3, 5}, "3 bytes, too short for a frame"},
  };
  for (const auto& [bytes, meaning] : cases) {
    EXPECT_EQ(RequestMeaning(bytes), meaning);
    EXPECT_EQ(ReplyMeaning(bytes), meaning);
  }
}

// Right check sums, so that all of it is looked into.
TEST(FrameMeaning, AnyBytesHaveSomeMeaning) {
  std::mt19937 random(5);
  const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  const auto frame = [&](std::uint8_t code) {
    Bytes body{1, code};
    const unsigned size = below(below(2) == 0 ? 12 : 260);
    for (unsigned i = 0; i < size; ++i) {
      body.push_back(static_cast<std::uint8_t>(below(below(2) == 0 ? 9 : 256)));
    }
    // Often a count that fits, so that the length is right.
    if (size > 0 && below(2) == 0) body[2] = static_cast<std::uint8_t>(size - 1);
    Bytes whole;
    FormFrame(body, whole);
    return whole;
  };
  for (int i = 0; i < 50'000; ++i) {
    const auto code = static_cast<std::uint8_t>(below(256));
    const Bytes request = frame(code), reply = frame(code);
    EXPECT_FALSE(RequestMeaning(request).empty());
    EXPECT_FALSE(ReplyMeaning(reply, request).empty());
  }
}

TEST(FrameTrace, LinesHaveTimeDirectionBytesAndMeaning) {
  const TFrameTrace::TTime start(std::chrono::seconds(1000));
  const auto after = [&](int milliseconds) {
    return start + std::chrono::milliseconds(milliseconds);
  };
  TFrameTrace trace(start);
  using enum TTraceDirection;
  EXPECT_EQ(trace.Line(tdSent, Frame("01 20 00 00 00 00"), after(12)),
            "    0.012 > 01 20 00 00 00 00 80 0D  log: count");
  EXPECT_EQ(trace.Line(tdIgnored, Bytes{0xFF}, after(13)),
            "    0.013 ? FF  ignored: 1 byte, too short for a frame");
  EXPECT_EQ(trace.Line(tdReceived, Frame("01 20 04 B0 00 F0"), after(61'500)),
            "   61.500 < 01 20 04 B0 00 F0 80 9E  1200 in all, 240 to read");
}

}  // namespace
}  // namespace OrvixModBus
