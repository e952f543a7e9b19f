#include "uMBLetters_Groups.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "uMBLetters.h"

namespace OrvixModBus {
namespace {

struct TPlace {
  std::uint8_t Func;
  std::uint32_t Adress;
  std::uint8_t Count;
};

// One register per place, named by its address.
void Fill(TMBRegs& regs, const std::vector<TPlace>& places, std::uint8_t width) {
  for (const TPlace& place : places) {
    TMBReg& reg = *regs.Add();
    reg.SetDisplayName("R" + std::to_string(place.Adress));
    reg.SetMBFuncRead(place.Func);
    reg.SetRegAdress(place.Adress);
    reg.SetBytesInOneReg(width);
    reg.SetRegsCount(place.Count);
  }
}

struct TRunRow {
  const char* Situation;
  std::uint8_t Func;
  std::uint8_t Width;
  std::vector<TPlace> Places;
  TRunBegin SecondBegin;
  std::string SecondFirstReg;
};

TEST(MBRegRuns, EachSplitHasItsReasonAndItsRegister) {
  using enum TRunBegin;
  const TRunRow rows[] = {
      {"a gap of one", 3, 2, {{3, 10, 2}, {3, 13, 1}}, rbGap, "R13"},
      {"129 bits", 1, 1, {{1, 10, 100}, {1, 110, 29}}, rbTooLong, "R110"},
      {"129 bytes", 0x43, 1, {{0x43, 10, 100}, {0x43, 110, 29}}, rbTooLong, "R110"},
      {"far above another function", 4, 2, {{3, 0, 1}, {4, 120, 8}, {4, 128, 1}}, rbTooFar, "R128"},
      {"a new block", 3, 2, {{3, 254, 2}, {3, 256, 1}}, rbNewBlock, "R256"},
      {"126 words", 3, 2, {{3, 10, 100}, {3, 110, 26}}, rbTooManyBytes, "R110"},
  };
  for (const TRunRow& row : rows) {
    SCOPED_TRACE(row.Situation);
    TMBLetter letter;
    Fill(letter.Regs(), row.Places, row.Width);
    const auto runs = MBRegRuns(letter.Regs().RegList(), row.Func);
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[0].Begin, rbFirst);
    EXPECT_EQ(runs[1].Begin, row.SecondBegin);
    EXPECT_EQ(runs[1].Regs.front()->Name(), row.SecondFirstReg);
    EXPECT_EQ(runs[1].Group->Adress(), runs[1].Regs.front()->Adress());
  }
}

TEST(MBRegRuns, HoldsEveryRegisterOnceAndTheGroupsOfTheGroupingStep) {
  TMBLetter letter;
  std::vector<TPlace> places;
  for (std::uint32_t adress = 0; adress < 600; adress += adress % 7 == 3 ? 5U : 2U) {
    places.push_back({3, adress, 2});
  }
  Fill(letter.Regs(), places, 2);
  const TMBRegList list = letter.Regs().RegList();
  const auto groups = MBRegsOptimize(list, 0, 3);
  const auto runs = MBRegRuns(list, 3);
  ASSERT_EQ(runs.size(), groups.size());
  std::vector<const TMBReg*> seen;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    EXPECT_TRUE(TMBLetter::SameReg(*runs[i].Group, *groups[i]));
    seen.insert(seen.end(), runs[i].Regs.begin(), runs[i].Regs.end());
  }
  EXPECT_TRUE(std::ranges::equal(seen, list));
}

TEST(CountToRead, BytesOfTheGroupButNothingWithoutRegisters) {
  TMBReg group(nullptr);
  group.SetBytesInOneReg(2);
  group.SetRegsCount(5);
  EXPECT_EQ(CountToRead(group), 10);
  group.SetRegsCount(0);
  EXPECT_EQ(CountToRead(group), std::nullopt);
  group.SetMBFuncRead(0x21);  // asks for no number
  EXPECT_EQ(CountToRead(group), 0);
}

}  // namespace
}  // namespace OrvixModBus
