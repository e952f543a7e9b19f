#include "tools/orvixmb/uPlanText.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/src/uTestRegs.h"

namespace OrvixModBus {
namespace {

// A bit, two neighbours, and one behind a gap: at 9600 baud and 11 bits a character.
TLetterPlan PlanOfPumps(TMBLetter& letter) {
  letter.SetName("Pumps");
  AddReg(letter.Regs(), {.Name = "Run", .Adress = 3, .Read = 1, .Width = 1});
  AddReg(letter.Regs(), {.Name = "Flow", .Adress = 10});
  AddReg(letter.Regs(), {.Name = "Level", .Adress = 11, .Count = 2});
  AddReg(letter.Regs(), {.Name = "Speed", .Adress = 20});
  return PlanLetter(letter, {});
}

TEST(PlanText, ALineForEachRequestAndOneForTheSum) {
  TMBLetter letter;
  EXPECT_EQ(PlanText(PlanOfPumps(letter)),
            R"(#  Function  Address  Count        Registers         Out  In    ms  Split
1  $01             3  1 bit        1: Run              8   6  20.1
2  $03            10  3 registers  2: Flow to Level    8  11  25.8
3  $03            20  1 register   1: Speed            8   7  21.2  Speed: gap before it
   Sum                                                24  24  67.0
)");
}

TEST(PlanText, OfALetterThatAsksForNothing) {
  const TMBLetter letter;
  EXPECT_EQ(PlanText(PlanLetter(letter, {})),
            "#  Function  Address  Count  Registers  Out  In   ms  Split\n"
            "   Sum                                    0   0  0.0\n");
}

TEST(PlanJson, HasTheSameForPrograms) {
  TMBLetter letter;
  const auto expected = nlohmann::ordered_json::parse(R"({
    "letter": "Pumps",
    "requests": [
      {"function": 1, "adress": 3, "count": 1, "unit": "bits", "registers": 1, "first": "Run",
       "last": "Run", "bytesOut": 8, "bytesIn": 6, "milliseconds": 20.052, "split": null},
      {"function": 3, "adress": 10, "count": 3, "unit": "registers", "registers": 2,
       "first": "Flow", "last": "Level", "bytesOut": 8, "bytesIn": 11, "milliseconds": 25.781,
       "split": null},
      {"function": 3, "adress": 20, "count": 1, "unit": "registers", "registers": 1,
       "first": "Speed", "last": "Speed", "bytesOut": 8, "bytesIn": 7, "milliseconds": 21.198,
       "split": {"register": "Speed", "reason": "gap before it"}}],
    "bytesOut": 24, "bytesIn": 24, "milliseconds": 67.031})");
  EXPECT_EQ(PlanJson(PlanOfPumps(letter)).dump(2), expected.dump(2));
}

TEST(PlanText, EverySplitHasItsReason) {
  TMBLetter letter;
  AddReg(letter.Regs(), {.Name = "A", .Adress = 0, .Count = 100});
  AddReg(letter.Regs(), {.Name = "B", .Adress = 100, .Count = 26});
  AddReg(letter.Regs(), {.Name = "C", .Adress = 126, .Count = 120});
  AddReg(letter.Regs(), {.Name = "D", .Adress = 246, .Count = 10});
  AddReg(letter.Regs(), {.Name = "E", .Adress = 256, .Read = 3});
  AddReg(letter.Regs(), {.Name = "F", .Adress = 300, .Read = 4});
  AddReg(letter.Regs(), {.Name = "G", .Adress = 301, .Read = 4});
  AddReg(letter.Regs(), {.Name = "H", .Adress = 0xFFF8, .Count = 8, .Read = 0x43, .Width = 1});
  TStringDynArray reasons;
  const auto json = PlanJson(PlanLetter(letter, {}));
  for (const auto& request : json["requests"]) {
    const auto& split = request["split"];
    if (split.is_null()) continue;
    reasons.push_back(split["register"].get<std::string>() + ": " +
                      split["reason"].get<std::string>());
  }
  EXPECT_EQ(reasons, (TStringDynArray{"B: 250 bytes at most", "C: 128 at most", "D: 128 at most",
                                      "E: multiple of 256", "G: ends 128 above the lowest",
                                      "H: end of a page"}));
}

}  // namespace
}  // namespace OrvixModBus
