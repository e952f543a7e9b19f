#include "tools/orvixmb/uLetterPlan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/rtl/uFormat.h"
#include "tests/src/uTestRegs.h"
#include "tests/support/GroupingRules.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

// 1 ms a character.
TPlanSettings Line(std::chrono::nanoseconds turnaround = 0ns) {
  TPlanSettings settings;
  settings.Line.Port.BaudRate = 11000;
  settings.Line.SilentInterval = 4000;
  settings.Turnaround = turnaround;
  return settings;
}

// "function @address count: first-last out/in ms", and the split.
std::string Shown(const TPlannedRequest& request) {
  std::string text = Format(
      "%x @%x %u: %s-%s %d/%d %d",
      {request.Func, request.FirstAdress, request.Count, request.Regs.front()->Name(),
       request.Regs.back()->Name(), request.RequestBytes, request.ReplyBytes, request.Time / 1ms});
  if (request.SplitReg != nullptr) {
    constexpr const char* kNames[] = {"none", "gap", "long", "far", "block", "bytes", "page"};
    text += Format(" %s %s",
                   {kNames[static_cast<std::size_t>(request.Split)], request.SplitReg->Name()});
  }
  return text;
}

struct TPlanRow {
  const char* Situation;
  std::vector<TRegTraits> Regs;
  TStringDynArray Requests;
};

TEST(LetterPlan, RequestsAsTheyGoOverTheLine) {
  const TPlanRow rows[] = {
      {"nothing to read", {}, {}},
      {"bits",
       {{.Name = "A", .Adress = 5, .Count = 9, .Read = 1, .Width = 1}},
       {"1 @5 9: A-A 8/7 19"}},
      {"neighbours and a gap",
       {{.Name = "C", .Adress = 14},
        {.Name = "A", .Adress = 10},
        {.Name = "B", .Adress = 11, .Count = 2}},
       {"3 @A 3: A-B 8/11 23", "3 @E 1: C-C 8/7 19 gap C"}},
      {"functions in the order of reading",
       {{.Name = "A", .Adress = 1, .Read = 4}, {.Name = "B", .Adress = 1, .Read = 2, .Width = 1}},
       {"2 @1 1: B-B 8/6 18", "4 @1 1: A-A 8/7 19"}},
      {"a reply of $21 is as long as its address says",
       {{.Name = "A", .Adress = 2, .Count = 2, .Read = 0x21},
        {.Name = "B", .Adress = 9, .Count = 2, .Read = 0x21}},
       {"21 @2 0: A-A 8/9 21", "21 @9 0: B-B 8/8 20 gap B"}},
      {"one-byte holding registers",
       {{.Name = "A", .Adress = 1, .Count = 4, .Width = 1}},
       {"3 @1 2: A-A 8/9 21"}},
      {"only 16 bits of an address go out",
       {{.Name = "A", .Adress = 0x10005}},
       {"3 @5 1: A-A 8/7 19"}},
      {"a page that ends inside of a register",
       {{.Name = "A", .Adress = 0x1FFF0, .Count = 8, .Read = 0x43, .Width = 1},
        {.Name = "B", .Adress = 0x1FFF8, .Count = 24, .Read = 0x43, .Width = 1}},
       {"43 @1FFF0 16: A-B 8/24 36", "43 @1FFF0 16: A-B 8/24 36 page B"}},
      {"a page that ends with a register",
       {{.Name = "A", .Adress = 0x1FFF0, .Count = 16, .Read = 0x44, .Width = 1}},
       {"44 @1FFF0 16: A-A 8/24 36", "44 @1FFF0 0: A-A 8/8 20 page A"}},
      {"126 registers are more than 250 bytes",
       {{.Name = "A", .Adress = 0, .Count = 100}, {.Name = "B", .Adress = 100, .Count = 26}},
       {"3 @0 100: A-A 8/205 217", "3 @64 26: B-B 8/57 69 bytes B"}},
      {"129 bits",
       {{.Name = "A", .Adress = 0, .Count = 128, .Read = 1, .Width = 1},
        {.Name = "B", .Adress = 128, .Read = 1, .Width = 1}},
       {"1 @0 128: A-A 8/21 33", "1 @80 1: B-B 8/6 18 long B"}},
      {"another function far below",
       {{.Name = "A", .Adress = 0},
        {.Name = "B", .Adress = 200, .Read = 4},
        {.Name = "C", .Adress = 201, .Read = 4}},
       {"3 @0 1: A-A 8/7 19", "4 @C8 1: B-B 8/7 19", "4 @C9 1: C-C 8/7 19 far C"}},
      {"a multiple of 256",
       {{.Name = "A", .Adress = 255}, {.Name = "B", .Adress = 256}},
       {"3 @FF 1: A-A 8/7 19", "3 @100 1: B-B 8/7 19 block B"}},
      {"registers without data are not asked for", {{.Name = "A", .Adress = 1, .Count = 0}}, {}},
      {"registers of other functions are not read", {{.Name = "A", .Adress = 1, .Read = 0x14}}, {}},
  };
  for (const TPlanRow& row : rows) {
    SCOPED_TRACE(row.Situation);
    TMBLetter letter;
    for (const TRegTraits& traits : row.Regs) AddReg(letter.Regs(), traits);
    TStringDynArray shown;
    for (const auto& request : PlanLetter(letter, Line()).Requests) shown.push_back(Shown(request));
    EXPECT_EQ(shown, row.Requests);
  }
}

TEST(LetterPlan, SumsAreThoseOfItsRequests) {
  TMBLetter letter;
  letter.SetName("Pumps");
  AddReg(letter.Regs(), {.Name = "A", .Adress = 1});
  AddReg(letter.Regs(), {.Name = "B", .Adress = 5, .Count = 3});
  const TLetterPlan plan = PlanLetter(letter, Line());
  EXPECT_EQ(plan.Letter, "Pumps");
  EXPECT_EQ(plan.RequestBytes(), 16u);
  EXPECT_EQ(plan.ReplyBytes(), 7u + 11u);
  EXPECT_EQ(plan.Time(), 16ms + 18ms + 2 * 4ms);
}

struct TTimeRow {
  const char* Situation;
  TPlanSettings Settings;
  std::chrono::nanoseconds Time;
};

TEST(LetterPlan, TimesByTheLine) {
  TPlanSettings sevenBits = Line(), silent = Line(), broadcast = Line(), noCharacters = Line(),
                standard = Line();
  sevenBits.Line.Port.DataBits = TDataBits::db7;
  sevenBits.Line.Port.Parity = TParityScheme::psNone;
  sevenBits.Line.Port.BaudRate = 9000;
  silent.ReplyLengths.Set(0x03, TReplyLengthRule::UntilSilence());
  broadcast.Server = 0;
  noCharacters.Line.SilentInterval = 0;
  standard.Line.SilentInterval = -1;
  const TTimeRow rows[] = {
      {"8E1", Line(), 8ms + 7ms + 4ms},
      {"the server's own time", Line(30ms), 8ms + 7ms + 4ms + 30ms},
      {"7N1 has nine bits", sevenBits, 8ms + 7ms + 4ms},
      {"the standard's silence of 3.5 characters", standard, 8ms + 7ms + 3500us},
      {"a reply that ends by silence is as short as a frame can be", silent, 8ms + 4ms + 20ms},
      {"a broadcast is not answered", broadcast, 8ms + 100ms},
      {"no characters", noCharacters, 0ms},
  };
  for (const TTimeRow& row : rows) {
    SCOPED_TRACE(row.Situation);
    TMBLetter letter;
    AddReg(letter.Regs(), {.Name = "A", .Adress = 1});
    EXPECT_EQ(PlanLetter(letter, row.Settings).Time(), row.Time);
  }
}

TEST(LetterPlan, SettingsAreThoseOfTheLettersLine) {
  TMBRTUConnection line;
  line.SetBaudRate(19200);
  line.SetParity(TParityScheme::psNone);
  line.SetDataBits(TDataBits::db7);
  line.SetStopBits(TStopBits::sb2);
  line.SetSilentInterval(77);
  line.SetTurnaroundDelay(88);
  line.ReplyLengths().Set(0x42, TReplyLengthRule::Fixed(9));
  TMBConnection connection;
  connection.SetRTU(&line);
  TMBClient client;
  client.SetConnection(&connection);
  client.SetAdres(17);
  TMBLetter letter;
  letter.SetClient(&client);
  const TPlanSettings settings = PlanSettingsOf(letter);
  EXPECT_EQ(settings.Server, 17);
  EXPECT_EQ(settings.Line.Port.BaudRate, 19200u);
  EXPECT_EQ(settings.Line.Port.Parity, TParityScheme::psNone);
  EXPECT_EQ(settings.Line.Port.DataBits, TDataBits::db7);
  EXPECT_EQ(settings.Line.Port.StopBits, TStopBits::sb2);
  EXPECT_EQ(settings.Line.SilentInterval, 77);
  EXPECT_EQ(settings.Line.TurnaroundDelay, 88u);
  EXPECT_EQ(settings.ReplyLengths.Rule(0x42).Length, 9);
}

TEST(LetterPlan, OfALetterWithoutAClientIsThatOfTheDefaults) {
  const TPlanSettings settings = PlanSettingsOf(TMBLetter());
  EXPECT_EQ(settings.Server, 1);
  EXPECT_EQ(settings.Line.Port, TPortSettings());
}

TEST(LetterPlan, LeavesTheLetterAndItsClientAlone) {
  TMBClient client;
  TMBLetter letter;
  letter.SetClient(&client);
  AddReg(letter.Regs(), {.Name = "A", .Adress = 1});
  bool worked = false;
  client.OnWorkStart = [&](TObject&) { worked = true; };
  EXPECT_EQ(PlanLetter(letter, PlanSettingsOf(letter)).Requests.size(), 1u);
  EXPECT_FALSE(worked);
  EXPECT_EQ(letter.WaitQueue(0x03), 0u);
}

TEST(LetterPlan, HasTheRequestsThatTheRulesGive) {
  TMBLetter letter;
  std::uint32_t adress = 0;
  for (std::uint32_t i = 0; i < 3000; ++i) {
    const auto func = static_cast<std::uint8_t>(1 + i % 4);
    AddReg(letter.Regs(), {.Name = "R" + std::to_string(i),
                           .Adress = adress,
                           .Count = static_cast<int>(1 + i * 7 % 5),
                           .Read = func,
                           .Width = func < 3 ? 1 : 2});
    adress += i % 11 == 0 ? 3U : 1U;
  }
  const TLetterPlan plan = PlanLetter(letter, Line());
  const std::vector<Bytes> expected = RequestsByTheRules(letter.Regs());
  ASSERT_EQ(plan.Requests.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const TPlannedRequest& request = plan.Requests[i];
    EXPECT_EQ((Bytes{request.Func, static_cast<std::uint8_t>(request.FirstAdress >> 8),
                     static_cast<std::uint8_t>(request.FirstAdress & 0xFF),
                     static_cast<std::uint8_t>(request.Count >> 8),
                     static_cast<std::uint8_t>(request.Count & 0xFF)}),
              expected[i]);
  }
}

}  // namespace
}  // namespace OrvixModBus
