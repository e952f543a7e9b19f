// `orvixmb poll`: registers of a simulated device without a form, and what is refused before the
// port is opened.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ToolLine.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using TWords = std::vector<std::string>;

// A device with the server address 17.
class PollCommand : public testing::Test {
 protected:
  PollCommand() : fLine("") {
    fLine.Change([](TSimulator& simulator) {
      TSimulatedDevice& device = simulator.Device(17);
      device.Coils.Set(0, {1, 0, 1});
      device.Discrete.Set(5, {0, 1});
      device.Holding.Set(100, {5, 0xFFFF, 0x4048, 0xF5C3, 0x4F4B, 0x2000});
      device.Input.Set(0x10, {0x8000, 0x0001});
      device.Extended.Set(16, {0x00012345});
      device.Paged.Set(0x1FFFE, {0xAB, 0x0C});
    });
  }

  TToolRun Poll(const TWords& words) {
    TWords all = {"poll", "--port", "PORT", "--baud", "115200", "--address", "17"};
    all.insert(all.end(), words.begin(), words.end());
    return fLine.Run(all);
  }

  TToolLine fLine;
};

struct TPollCase {
  const char* Situation;
  TWords Words;
  const char* Out;
};

TEST_F(PollCommand, EveryFunctionAndType) {
  const TPollCase cases[] = {
      {"coils",
       {"--function", "1", "--start", "0", "--count", "3"},
       "name   address  value  raw bytes  caption\n"
       "Coil0        0  1      01\n"
       "Coil1        1  0      00\n"
       "Coil2        2  1      01\n"},
      {"discrete inputs",
       {"--function", "2", "--start", "5", "--count", "2", "--type", "bits"},
       "name       address  value  raw bytes  caption\n"
       "Discrete5        5  0      00\n"
       "Discrete6        6  1      01\n"},
      {"holding registers",
       {"--function", "3", "--start", "100", "--count", "2"},
       "name        address  value  raw bytes  caption\n"
       "Holding100      100  5      00 05\n"
       "Holding101      101  65535  FF FF\n"},
      {"with a sign",
       {"--function", "3", "--start", "100", "--count", "2", "--type", "int16"},
       "name        address  value  raw bytes  caption\n"
       "Holding100      100  5      00 05\n"
       "Holding101      101  -1     FF FF\n"},
      {"two registers to a value",
       {"--function", "4", "--start", "0x10", "--count", "2", "--type", "uint32"},
       "name     address  value       raw bytes    caption\n"
       "Input16       16  2147483649  80 00 00 01\n"},
      {"two registers with a sign",
       {"--function", "4", "--start", "$10", "--count", "2", "--type", "int32"},
       "name     address  value        raw bytes    caption\n"
       "Input16       16  -2147483647  80 00 00 01\n"},
      {"floating point",
       {"--function", "3", "--start", "102", "--count", "2", "--type", "float"},
       "name        address  value  raw bytes    caption\n"
       "Holding102      102  3.14   40 48 F5 C3\n"},
      {"hexadecimal",
       {"--function", "3", "--start", "102", "--count", "1", "--type", "hex"},
       "name        address  value  raw bytes  caption\n"
       "Holding102      102  $4048  40 48\n"},
      {"bits of a register, the highest first",
       {"--function", "3", "--start", "102", "--count", "1", "--type", "bits"},
       "name        address  value             raw bytes  caption\n"
       "Holding102      102  0100000001001000  40 48\n"},
      {"a text of all registers",
       {"--function", "3", "--start", "104", "--count", "2", "--type", "text"},
       "name        address  value  raw bytes    caption\n"
       "Holding104      104  OK     4F 4B 20 00\n"},
      {"registers of $21",
       {"--function", "0x21", "--start", "16", "--count", "2", "--type", "uint32"},
       "name   address  value  raw bytes    caption\n"
       "Reg16       16  74565  00 01 23 45\n"},
      {"paged memory",
       {"--function", "0x43", "--start", "0x1FFFE", "--count", "1"},
       "name          address  value  raw bytes  caption\n"
       "Memory131070   131070  $AB    AB\n"},
  };
  for (const TPollCase& each : cases) {
    SCOPED_TRACE(each.Situation);
    EXPECT_EQ(Poll(each.Words), (TToolRun{0, each.Out, ""}));
  }
}

TEST_F(PollCommand, AsksOnceForNeighbours) {
  Poll({"--function", "3", "--start", "100", "--count", "6"});
  EXPECT_THAT(fLine.TakeRequests(), ElementsAre(Bytes{3, 0, 100, 0, 6}));
}

// The request goes out as two, of which the device refuses the second one, for no bytes.
TEST_F(PollCommand, TheLastByteOfAPageIsRead) {
  EXPECT_EQ(Poll({"--function", "0x43", "--start", "0x1FFFF", "--count", "1"}),
            (TToolRun{0,
                      "name          address  value  raw bytes  caption\n"
                      "Memory131071   131071  $0C    0C\n",
                      ""}));
  EXPECT_THAT(fLine.TakeRequests(),
              ElementsAre(Bytes{0x43, 0x01, 0xFF, 0xFF, 1}, Bytes{0x43, 0x01, 0xFF, 0xFF, 0}));
}

TEST_F(PollCommand, Json) {
  EXPECT_EQ(
      Poll({"--function", "4", "--start", "16", "--count", "2", "--type", "uint32", "--json"}),
      (TToolRun{0,
                R"([
  {
    "letter": "Poll",
    "name": "Input16",
    "adress": 16,
    "function": 4,
    "raw": "80000001",
    "text": "2147483649",
    "int": null,
    "real": 2147483649.0,
    "error": null
  }
]
)",
                ""}));
}

TEST_F(PollCommand, WatchedCsvHasARoundAfterTheOther) {
  const std::string round =
      "letter,name,adress,function,raw,text,int,real,error,caption\n"
      "Poll,Holding100,100,3,0005,5,5,5.0,,\n";
  EXPECT_EQ(Poll({"--function", "3", "--start", "100", "--count", "1", "--csv", "--watch", "0.01",
                  "--rounds", "2"}),
            (TToolRun{0, round + round, ""}));
}

TEST_F(PollCommand, TraceTellsTheFramesOnStandardError) {
  const TToolRun run = Poll({"--function", "3", "--start", "100", "--count", "1", "--trace"});
  EXPECT_EQ(run.Code, 0);
  EXPECT_THAT(run.Err, HasSubstr(" > 11 03 00 64 00 01 "));
  EXPECT_THAT(run.Err, HasSubstr("  read 1 holding register from 100\n"));
  EXPECT_THAT(run.Err, HasSubstr("  2 bytes: 0005\n"));
}

TEST_F(PollCommand, ADeviceThatDoesNotAnswerIsAskedAsOftenAsTold) {
  fLine.Change([](TSimulator& simulator) { simulator.Faults = {{.Fault = EFault::Silence}}; });
  EXPECT_EQ(Poll({"--function", "3", "--start", "100", "--count", "1", "--timeout", "20",
                  "--retries", "1"}),
            (TToolRun{1,
                      "name        address  value      raw bytes  caption\n"
                      "Holding100      100  no answer\n",
                      "orvixmb: 1 of 1 registers could not be read\n"}));
  EXPECT_EQ(fLine.TakeRequests().size(), 2u);
}

TEST_F(PollCommand, ARefusedRegister) {
  EXPECT_EQ(Poll({"--function", "3", "--start", "7", "--count", "1"}),
            (TToolRun{1,
                      "name      address  value                              raw bytes  caption\n"
                      "Holding7        7  exception 2: illegal data address\n",
                      "orvixmb: 1 of 1 registers could not be read\n"}));
}

TEST_F(PollCommand, APortThatIsNotThere) {
  EXPECT_EQ(RunOrvixmb({"poll", "--port", "/nowhere/port", "--baud", "9600", "--address", "1",
                        "--function", "3", "--start", "0", "--count", "1"}),
            (TToolRun{1, "", "orvixmb: Port /nowhere/port: No such file or directory\n"}));
}

// The port is not there, so a mistake that is found first was found before it is opened.
TEST(PollMistakes, AreToldBeforeThePortIsOpened) {
  struct TMistake {
    TWords Words;  // in place of those before or behind them
    const char* Err;
  };
  const TMistake mistakes[] = {
      {{"--baud", "0"}, "--baud: '0' is no number from 1 to 10000000"},
      {{"--address", "0"}, "--address: '0' is no number from 1 to 255"},
      {{"--address", "256"}, "--address: '256' is no number from 1 to 255"},
      {{"--start", "-1"}, "--start: '-1' is no number from 0 to 16777215"},
      {{"--start", "ten"}, "--start: 'ten' is no number from 0 to 16777215"},
      {{"--start", "0x1000000"}, "--start: '0x1000000' is no number from 0 to 16777215"},
      {{"--start", "65536"}, "--start is above 65535, which only 0x43 and 0x44 can read"},
      {{"--start", "65535"}, "--start and --count go past address 65535"},
      {{"--count", "0"}, "--count: '0' is no number from 1 to 65536"},
      {{"--function", "0x43", "--start", "0x2FFFF"}, "--start and --count go past address 196607"},
      {{"--function", "0"}, "--function: '0' is no number from 1 to 255"},
      {{"--function", "6"},
       "--function 6 reads no registers; those that do are 1, 2, 3, 4, 0x21, 0x43 and 0x44"},
      {{"--function", "0x21", "--count", "3"}, "--function 0x21 reads at most 2 registers"},
      {{"--function", "2", "--type", "uint16"},
       "--function reads single bits, so --type has to be bits"},
      {{"--type", "int32", "--count", "3"},
       "--count has to be a multiple of 2, which one int32 takes"},
      {{"--function", "0x44", "--type", "uint16", "--count", "3"},
       "--count has to be a multiple of 2, which one uint16 takes"},
      {{"--type", "text", "--count", "126"}, "--count is too large: a text has at most 250 bytes"},
      {{"--type", "real"}, "--type: real not in {uint16,int16,uint32,int32,float,hex,bits,text}"},
      {{"--parity", "mark"}, "--parity: mark not in {even,odd,none}"},
      {{"--timeout", "0"}, "--timeout: '0' is no number from 1 to 600000"},
      {{"--retries", "256"}, "--retries: '256' is no number from 0 to 255"},
      {{"--rounds", "2"}, "--rounds requires --watch"},
      {{"--json", "--csv"}, "--json excludes --csv"},
      {{"FORM"}, "The following argument was not expected: FORM"},
  };
  for (const TMistake& mistake : mistakes) {
    SCOPED_TRACE(testing::PrintToString(mistake.Words));
    TWords words = {"--port",     "/nowhere", "--baud",  "9600", "--address", "1",
                    "--function", "3",        "--start", "0",    "--count",   "2"};
    for (std::size_t i = 0; i < mistake.Words.size(); i += 2) {
      const auto same = std::ranges::find(words, mistake.Words[i]);
      if (same != words.end()) words.erase(same, same + 2);
    }
    words.insert(words.begin(), "poll");
    words.insert(words.end(), mistake.Words.begin(), mistake.Words.end());
    EXPECT_EQ(RunOrvixmb(words), (TToolRun{2, "", std::string("orvixmb: ") + mistake.Err + "\n"}));
  }
}

TEST(PollMistakes, WhatIsNeededIsAskedFor) {
  EXPECT_EQ(RunOrvixmb({"poll"}), (TToolRun{2, "", "orvixmb: --port is required\n"}));
}

}  // namespace
}  // namespace OrvixModBus
