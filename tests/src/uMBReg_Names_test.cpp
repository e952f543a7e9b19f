#include "uMBReg_Names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFold.h"
#include "uMBReg.h"

namespace OrvixModBus {
namespace {

TEST(TMBRegNames, AnEmptyIndexFindsAndRemovesNothing) {
  TMBRegNames names;
  EXPECT_EQ(names.Find("Pump"), nullptr);
  EXPECT_EQ(names.Position("Pump"), -1);
  EXPECT_FALSE(names.Remove("Pump"));
  EXPECT_THROW(names.RegAt(0), EListError);
  EXPECT_THROW(names.RegAt(-1), EListError);
}

TEST(TMBRegNames, TheFirstOfTwoEqualNamesStays) {
  TMBReg first(nullptr), second(nullptr);
  TMBRegNames names;
  EXPECT_TRUE(names.Add("Насос", first));
  EXPECT_FALSE(names.Add("НАСОС", second));
  EXPECT_EQ(names.Find("насос"), &first);
  EXPECT_EQ(names.NameAt(0), "Насос");
}

TEST(TMBRegNames, ALineKeepsItsNameWhenItsRegisterIsAnother) {
  TMBReg pump(nullptr), fan(nullptr);
  pump.SetDisplayName("Pump");
  fan.SetDisplayName("Fan");
  TMBRegNames names;
  ASSERT_TRUE(names.Add("Pump", pump));
  names.SetRegAt(0, fan);
  EXPECT_EQ(names.NameAt(0), "Pump");
  EXPECT_EQ(names.Find("pump"), &fan);
  names.SetRegAt(0, pump);
  EXPECT_EQ(names.NameAt(0), "Pump");
}

TEST(TMBRegNames, PositionsAreThoseOfTheFoldedOrderAndFollowChanges) {
  TMBReg reg(nullptr);
  TMBRegNames names;
  for (const char* name : {"pump", "Fan", "valve", "Ahu"}) names.Add(name, reg);
  EXPECT_EQ(names.Position("PUMP"), 2);
  names.Add("Boiler", reg);
  EXPECT_EQ(names.Position("pump"), 3);
  names.Remove("ahu");
  EXPECT_EQ(names.Position("pump"), 2);
  EXPECT_EQ(names.NameAt(0), "Boiler");
  EXPECT_EQ(names.Count(), 4);
}

struct TFoldedLess {
  bool operator()(const std::string& a, const std::string& b) const {
    return CompareText(a, b) < 0;
  }
};

// A thousand names, many of them equal but for case, come and go; an ordered map says what to
// expect. Names collide in the table's slots all the time at this size.
TEST(TMBRegNames, KeepsInStepWithAnOrderedMap) {
  std::mt19937 random(7);
  std::vector<std::unique_ptr<TMBReg>> regs;
  for (int i = 0; i < 50; ++i) regs.push_back(std::make_unique<TMBReg>(nullptr));
  TMBRegNames names;
  std::map<std::string, TMBReg*, TFoldedLess> expected;
  for (int step = 0; step < 20000; ++step) {
    const std::string name = (random() % 2 ? "Reg" : "rEG") + std::to_string(random() % 1000);
    if (random() % 2) {
      TMBReg& reg = *regs[random() % regs.size()];
      EXPECT_EQ(names.Add(name, reg), expected.emplace(name, &reg).second);
    } else {
      EXPECT_EQ(names.Remove(name), expected.erase(name) == 1);
    }
    const auto found = expected.find(name);
    ASSERT_EQ(names.Find(name), found != expected.end() ? found->second : nullptr);
    if (step % 500 != 0) continue;
    ASSERT_EQ(static_cast<std::size_t>(names.Count()), expected.size());
    int position = 0;
    for (const auto& [key, reg] : expected) {
      ASSERT_EQ(names.NameAt(position), key);
      ASSERT_EQ(names.RegAt(position), reg);
      ASSERT_EQ(names.Position(key), position++);
    }
  }
}

}  // namespace
}  // namespace OrvixModBus
