#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <set>

#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"
#include "tests/src/uTestRegs.h"
#include "uMBReg.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

TMBReg& Named(TRegNameCollection& regs, const std::string& name) {
  auto& reg = static_cast<TMBReg&>(*regs.Add());
  reg.SetDisplayName(name);
  return reg;
}

// The names in order of the index, each with the name of the register that it stands for.
std::vector<std::string> IndexOf(const TRegNameCollection& regs, int lines) {
  std::vector<std::string> names;
  for (int i = 0; i < lines; ++i) names.push_back(regs.RegByIndex(i)->Name());
  EXPECT_THROW(regs.RegByIndex(lines), EListError);
  return names;
}

TEST(TRegNameCollection, FindsANameWithoutRegardToCaseAndBit) {
  TRegNameCollection regs;
  TMBReg& pump = Named(regs, "Pump");
  Named(regs, "Valve");
  for (const char* name : {"Pump", "pump", "PUMP", "Pump[3]", "pump[0]", "PUMP[31]"}) {
    SCOPED_TRACE(name);
    const int index = regs.NameIndex(name);
    ASSERT_GE(index, 0);
    EXPECT_EQ(index, regs.NameIndex("Pump"));
    EXPECT_EQ(regs.RegByIndex(index), &pump);
    EXPECT_EQ(regs.RegByName(name), &pump);
  }
  for (const char* name : {"", "Pum", "Pump ", " Pump", "Pumpe", "[3]"}) {
    EXPECT_EQ(regs.NameIndex(name), -1) << name;
    EXPECT_EQ(regs.RegByName(name), nullptr) << name;
  }
}

TEST(TRegNameCollection, TheNameOfConstructionDoesNotCount) {
  TRegNameCollection regs;
  auto& reg = static_cast<TMBReg&>(*regs.Add());
  EXPECT_EQ(reg.Name(), "Reg0");
  EXPECT_EQ(regs.NameIndex("Reg0"), -1);
  reg.SetDisplayName("Reg0");
  EXPECT_EQ(regs.NameIndex("Reg0"), -1) << "the same name is no new name";
  reg.SetDisplayName("reg0");
  EXPECT_EQ(regs.RegByName("Reg0"), &reg);
}

TEST(TRegNameCollection, OfTwoWithOneNameTheFirstStays) {
  TRegNameCollection regs;
  TMBReg& first = Named(regs, "Pump");
  TMBReg& second = Named(regs, "pump");
  TMBReg& third = Named(regs, "Pump[1]");
  EXPECT_EQ(regs.Count(), 3);
  EXPECT_EQ(regs.RegByName("Pump"), &first);
  second.SetDisplayName("Fan");
  EXPECT_EQ(regs.RegByName("Fan"), &second);
  EXPECT_EQ(regs.RegByName("Pump"), nullptr)
      << "a line of the old name is taken over whoever it stood for";
  third.SetDisplayName("Pump[2]");
  EXPECT_EQ(regs.RegByName("Pump"), &third);
}

TEST(TRegNameCollection, StatusWithAnyBitIsOneEntryOfWhoCameFirst) {
  TRegNameCollection regs;
  TMBReg& bit = Named(regs, "Status[7]");
  Named(regs, "Status");
  Named(regs, "Status[0]");
  for (const char* name : {"Status", "Status[0]", "Status[7]"}) {
    EXPECT_EQ(regs.RegByName(name), &bit) << name;
  }
  EXPECT_THAT(IndexOf(regs, 1), ElementsAre("Status[7]"));
}

TEST(TRegNameCollection, PositionsFollowTheOrderOfTheNames) {
  TRegNameCollection regs;
  for (const char* name : {"pump", "Fan", "VALVE", "ahu"}) Named(regs, name);
  EXPECT_THAT(IndexOf(regs, 4), ElementsAre("ahu", "Fan", "pump", "VALVE"));
  static_cast<TMBReg*>(regs.Items(0))->SetDisplayName("Boiler");
  EXPECT_THAT(IndexOf(regs, 4), ElementsAre("ahu", "Boiler", "Fan", "VALVE"))
      << "a renamed one goes to its new place";
  EXPECT_EQ(regs.NameIndex("fan"), 2);
}

TEST(TRegNameCollection, ARenamedOneIsFoundByTheNewNameAlone) {
  TRegNameCollection regs;
  TMBReg& reg = Named(regs, "A");
  for (const char* name : {"Z", "M[3]", "Насос", "a", "А"}) {
    const std::string former = reg.Name();
    reg.SetDisplayName(name);
    EXPECT_EQ(regs.RegByName(former), nullptr) << former;
    EXPECT_EQ(regs.RegByName(name), &reg) << name;
  }
}

TEST(TRegNameCollection, WhoTakesATakenNameIsNotFound) {
  TRegNameCollection regs;
  TMBReg& pump = Named(regs, "Pump");
  TMBReg& fan = Named(regs, "Fan");
  fan.SetDisplayName("PUMP");
  EXPECT_EQ(regs.RegByName("Pump"), &pump);
  EXPECT_EQ(regs.RegByName("Fan"), nullptr);
  EXPECT_THAT(IndexOf(regs, 1), ElementsAre("Pump"));
}

TEST(TRegNameCollection, ChangeNameTakesOverTheLineOfTheOldName) {
  TRegNameCollection regs;
  TMBReg& first = Named(regs, "First");
  TMBReg& second = Named(regs, "Second");
  regs.ChangeName("First", "Third", second);
  EXPECT_EQ(regs.RegByName("First"), nullptr);
  EXPECT_EQ(regs.RegByName("Third"), &second);
  EXPECT_EQ(regs.RegByName("Second"), &second) << "its own line stands, too";
  regs.ChangeName("Nobody", "First", first);
  EXPECT_EQ(regs.RegByName("First"), &first) << "without a line of the old name one is added";
  EXPECT_EQ(second.Name(), "Second") << "the index alone has changed";
}

TEST(TRegNameCollection, ALineIsGivenToAnotherRegisterOrAnotherName) {
  TRegNameCollection regs;
  TMBReg& first = Named(regs, "First");
  TMBReg& second = Named(regs, "Second");
  regs.SetRegValue(regs.NameIndex("First"), second);
  EXPECT_EQ(regs.RegByName("First"), &second);
  regs.SetNameByIndex(regs.NameIndex("First"), "Alpha[4]");
  EXPECT_EQ(regs.RegByName("First"), nullptr);
  EXPECT_EQ(regs.RegByName("Alpha"), &second);
  regs.SetNameByIndex(regs.NameIndex("Alpha"), "Second");
  EXPECT_EQ(regs.RegByName("Alpha"), nullptr);
  EXPECT_EQ(regs.RegByName("Second"), &second);
  EXPECT_EQ(first.Name(), "First");
}

TEST(TRegNameCollection, AddsANameOnce) {
  TRegNameCollection regs;
  TMBReg& first = Named(regs, "First");
  TMBReg& second = Named(regs, "Second");
  regs.AddRegItem("Other[2]", first);
  regs.AddRegItem("other", second);
  EXPECT_EQ(regs.RegByName("Other"), &first);
  EXPECT_THAT(IndexOf(regs, 3), ElementsAre("First", "First", "Second"));
}

TEST(TRegNameCollection, DeletingALineLeavesTheRegister) {
  TRegNameCollection regs;
  TMBReg& pump = Named(regs, "Pump");
  regs.DelByIndex(regs.NameIndex("Pump"));
  EXPECT_EQ(regs.NameIndex("Pump"), -1);
  EXPECT_EQ(regs.Count(), 1);
  EXPECT_EQ(pump.Name(), "Pump");
  pump.SetDisplayName("Fan");
  EXPECT_EQ(regs.RegByName("Fan"), &pump) << "a new name enters again";
  regs.DelByName("fan[1]");
  EXPECT_EQ(regs.NameIndex("Fan"), -1);
  regs.DelByName("Nobody");
}

TEST(TRegNameCollection, PositionsPastTheEndAreRefused) {
  TRegNameCollection regs;
  TMBReg& pump = Named(regs, "Pump");
  for (const int index : {-1, 1, 2147483647, std::numeric_limits<int>::min()}) {
    SCOPED_TRACE(index);
    EXPECT_THROW(regs.RegByIndex(index), EListError);
    EXPECT_THROW(regs.SetRegValue(index, pump), EListError);
    EXPECT_THROW(regs.SetNameByIndex(index, "X"), EListError);
    EXPECT_THROW(regs.DelByIndex(index), EListError);
  }
  EXPECT_THAT(IndexOf(regs, 1), ElementsAre("Pump"));
}

// A line of a foreign register could outlive it.
TEST(TRegNameCollection, RefusesRegistersOfOthers) {
  TRegNameCollection regs, others;
  Named(regs, "Pump");
  TMBReg loose(nullptr);
  TMBReg& foreign = Named(others, "Fan");
  for (TMBReg* reg : {&loose, &foreign}) {
    EXPECT_THAT([&] { regs.AddRegItem("X", *reg); },
                ThrowsMessage<Exception>(HasSubstr("is not in this collection")));
    EXPECT_THROW(regs.SetRegValue(0, *reg), Exception);
    EXPECT_THROW(regs.ChangeName("Pump", "X", *reg), Exception);
  }
  EXPECT_THAT(IndexOf(regs, 1), ElementsAre("Pump"));
}

TEST(TRegNameCollection, ClearEmptiesCollectionAndIndex) {
  TRegNameCollection regs;
  Named(regs, "Pump");
  Named(regs, "Fan");
  regs.Clear();
  EXPECT_EQ(regs.Count(), 0);
  EXPECT_EQ(regs.NameIndex("Pump"), -1);
  IndexOf(regs, 0);
  EXPECT_EQ(Named(regs, "Pump").ID(), 2) << "numbers are never used again";
  EXPECT_NE(regs.RegByName("Pump"), nullptr);
}

TEST(TRegNameCollection, ARegisterThatGoesLeavesAllItsLines) {
  TRegNameCollection regs;
  Named(regs, "Keep");
  TMBReg& gone = Named(regs, "Gone");
  regs.AddRegItem("Alias", gone);
  regs.AddRegItem("Second alias", gone);
  regs.SetRegValue(regs.NameIndex("Keep"), gone);
  delete &gone;
  IndexOf(regs, 0);
  EXPECT_EQ(regs.Count(), 1);
}

TEST(TRegNameCollection, ANameIsFreeAgainOnceItsRegisterIsGone) {
  TRegNameCollection regs;
  TMBReg& first = Named(regs, "Pump");
  TMBReg& twin = Named(regs, "Pump");
  delete &first;
  EXPECT_EQ(regs.RegByName("Pump"), nullptr) << "the twin has no line";
  TMBReg& next = Named(regs, "PUMP");
  EXPECT_EQ(regs.RegByName("Pump"), &next);
  delete &twin;
  EXPECT_EQ(regs.RegByName("Pump"), &next) << "a twin that goes takes nobody's line";
}

TEST(TRegNameCollection, TakesOverTheRegistersOfAnother) {
  TRegNameCollection source, target;
  Named(source, "Pump").SetRegAdress(5);
  Named(source, "Fan");
  Named(target, "Old");
  target.Assign(source);
  EXPECT_EQ(target.Count(), 2);
  EXPECT_EQ(target.RegByName("Old"), nullptr);
  ASSERT_NE(target.RegByName("Pump"), nullptr);
  EXPECT_EQ(target.RegByName("Pump")->Adress(), 5u);
  EXPECT_NE(target.RegByName("Pump"), source.RegByName("Pump"));
}

TEST(TRegNameCollection, ItsLayoutHasARevisionThatGrowsWithEveryMove) {
  TRegNameCollection regs;
  TMBReg& reg = Named(regs, "Pump");
  Named(regs, "Fan");
  const struct {
    const char* name;
    std::function<void()> change;
    bool moves;
  } cases[] = {
      {"address", [&] { reg.SetRegAdress(9); }, true},
      {"the same address", [&] { reg.SetRegAdress(9); }, false},
      {"read code", [&] { reg.SetMBFuncRead(4); }, true},
      {"write code", [&] { reg.SetMBFuncWrite(6); }, true},
      {"place", [&] { reg.SetIndex(1); }, true},
      {"arrival", [&] { regs.Add(); }, true},
      {"departure", [&] { regs.Delete(0); }, true},
      {"name", [&] { reg.SetDisplayName("X"); }, false},
      {"count", [&] { reg.SetRegsCount(9); }, true},
      {"the same count", [&] { reg.SetRegsCount(9); }, false},
      {"width", [&] { reg.SetBytesInOneReg(2); }, true},
      {"longer data", [&] { reg.SetRegData(Bytes(20)); }, true},
      {"data as long", [&] { reg.SetRegData(Bytes(20, 1)); }, false},
      {"another byte", [&] { reg.SetData(20, 1); }, true},
      {"a changed byte", [&] { reg.SetData(20, 2); }, false},
  };
  for (const auto& c : cases) {
    const std::uint64_t former = regs.LayoutRevision();
    c.change();
    EXPECT_EQ(regs.LayoutRevision() > former, c.moves) << c.name;
  }
}

TEST(TRegNameCollection, IsRefusedOnAnotherThreadAndStaysAsItWas) {
  TRegNameCollection regs;
  Named(regs, "Pump");
  EXPECT_THROW(OnAnotherThread([&] { regs.Add(); }), EThreadError);
  EXPECT_THROW(OnAnotherThread([&] { regs.Clear(); }), EThreadError);
  EXPECT_THROW(OnAnotherThread([&] { regs.Delete(0); }), EThreadError);
  EXPECT_EQ(regs.Count(), 1);
  EXPECT_NE(regs.RegByName("Pump"), nullptr);
}

TEST(TRegNameCollection, IsItsOwnClass) {
  const TRegNameCollection regs;
  EXPECT_EQ(regs.ClassName(), "TRegNameCollection");
  EXPECT_TRUE(regs.ClassInfo().InheritsFrom(TCollection::StaticClass()));
}

// The index said once more: a list of (name, register) that is searched from its begin.
class TSlowIndex {
 public:
  struct TLine {
    std::string Name;
    const TMBReg* Reg;
  };
  void Rename(const TMBReg& reg, const std::string& from, const std::string& to) {
    std::erase_if(fLines, [&](const TLine& line) { return line.Name == from; });
    if (Find(to) == nullptr) fLines.push_back({to, &reg});
  }
  void Forget(const TMBReg& reg) {
    std::erase_if(fLines, [&](const TLine& line) { return line.Reg == &reg; });
  }
  const TMBReg* Find(const std::string& name) const {
    const auto found = std::ranges::find(fLines, name, &TLine::Name);
    return found != fLines.end() ? found->Reg : nullptr;
  }

 private:
  std::vector<TLine> fLines;
};

TEST(TRegNameCollection, KeepsInStepWithASlowIndex) {
  std::mt19937 random(20);
  TRegNameCollection regs;
  TSlowIndex slow;
  std::vector<TMBReg*> alive;
  for (int step = 0; step < 5000; ++step) {
    const bool add = alive.empty() || random() % 4 == 0;
    if (add && alive.size() < 60) alive.push_back(static_cast<TMBReg*>(regs.Add()));
    const std::size_t at = random() % alive.size();
    TMBReg& reg = *alive[at];
    if (random() % 6 == 0) {
      slow.Forget(reg);
      delete &reg;
      alive.erase(alive.begin() + static_cast<std::ptrdiff_t>(at));
    } else {
      const std::string name = "N" + std::to_string(random() % 80);
      if (name != reg.Name()) slow.Rename(reg, reg.Name(), name);
      reg.SetDisplayName(name);
    }
    for (int i = 0; i < 80; i += 1 + static_cast<int>(random() % 9)) {
      const std::string name = "N" + std::to_string(i);
      ASSERT_EQ(regs.RegByName(name), slow.Find(name)) << name << " at step " << step;
    }
  }
}

}  // namespace
}  // namespace OrvixModBus
