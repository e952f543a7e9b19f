#include "uMBRegSort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "platform/rtl/uException.h"
#include "tests/src/uTestRegs.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

using TNames = std::vector<std::string>;
using TTexts = std::vector<std::string>;

/// A set with a catalogue: whole numbers "Word", bit fields "Flags", list "Mode".
class RegTools : public testing::Test {
 protected:
  RegTools() {
    TMBRegTypeNumber& word = *types.TypeNumbers().Add();
    word.SetName("Word");
    word.SetMaxValue(65535);
    word.SetIntPart(2);
    word.SetMultiplier(1);
    types.TypeBins().Add()->SetName("Flags");
    TMBRegTypeList& mode = *types.TypeLists().Add();
    mode.SetName("Mode");
    mode.Dictionary().Add("1=Run");
    mode.Dictionary().Add("4660=Stop");
    letter->Regs().SetMBTypeInfo(&types);
  }

  TMBRegs& Regs() { return letter->Regs(); }
  TMBReg& Add(const std::string& name, std::uint32_t adress, int count = 1) {
    return AddReg(Regs(), {.Name = name, .Adress = adress, .Count = count});
  }
  TMBReg& Add(const std::string& name, std::uint32_t adress, TRegType type, const char* typeName,
              int count = 1) {
    TMBReg& reg = Add(name, adress, count);
    reg.SetRegType(type);
    reg.SetTypeName(typeName);
    return reg;
  }
  TMBReg& AddFlags(const std::string& name, std::uint32_t adress, int count = 1) {
    return Add(name, adress, TRegType::rtBin, "Flags", count);
  }
  TMBReg& AddMode(const std::string& name, std::uint32_t adress, int count = 1) {
    return Add(name, adress, TRegType::rtList, "Mode", count);
  }

  TMBTypeInfo types;
  std::unique_ptr<TMBLetter> letter = std::make_unique<TMBLetter>();
};

TTexts ImagesOf(const TMBRegContainer& container) {
  TTexts texts;
  container.EnumRegNames([&](const std::string& name, const std::string& text) {
    texts.push_back(name + " " + text);
  });
  return texts;
}

TNames NamesOf(const TMBRegContainer& container) {
  TNames names;
  container.EnumRegObjects([&](TMBReg& reg) { names.push_back(reg.Name()); }, {});
  return names;
}

TNames NamesOf(const TMBRegSorter& sorter) {
  TNames names;
  for (int i = 0; i < sorter.Count(); ++i) {
    const TMBReg* reg = sorter.GetItemReg(i);
    names.push_back(reg != nullptr ? reg->Name() : "nil");
  }
  return names;
}

std::string NameOf(int index) {
  std::string name("Value");
  return name += std::to_string(index);
}

// --- the name dictionary -----------------------------------------------------------------------

using RegNameDic = RegTools;

TEST_F(RegNameDic, KeepsTheFirstOfAName) {
  TMBReg& first = Add("A", 1);
  Add("A", 2);
  TMBReg& small = Add("a", 3);
  TMBRegNameDic dic;
  dic.AddList(Regs(), false, {});
  TMBReg* reg = nullptr;
  EXPECT_TRUE(dic.Find("A", reg));
  EXPECT_EQ(reg, &first);
  EXPECT_TRUE(dic.Find("a", reg)) << "case matters";
  EXPECT_EQ(reg, &small);
  EXPECT_FALSE(dic.Find("A[1]", reg));
  EXPECT_EQ(reg, nullptr);
  EXPECT_EQ(dic.Count(), 2);
}

TEST_F(RegNameDic, TakesOnlyConfirmedNamesAndAsksForEach) {
  Add("A", 1);
  Add("B", 2);
  TMBRegNameDic dic;
  TNames asked;
  dic.AddList(Regs(), false, [&](const std::string& name) {
    asked.push_back(name);
    return name == "B";
  });
  TMBReg* reg = nullptr;
  EXPECT_FALSE(dic.Find("A", reg));
  EXPECT_TRUE(dic.Find("B", reg));
  EXPECT_THAT(asked, ElementsAre("A", "B"));
}

TEST_F(RegNameDic, KeepsWhatItHasUnlessItIsToBeCleared) {
  TMBLetter other;
  AddReg(other.Regs(), {.Name = "B"});
  Add("A", 1);
  TMBRegNameDic dic;
  TMBReg* reg = nullptr;
  dic.AddList(Regs(), false, {});
  dic.AddList(other.Regs(), false, {});
  EXPECT_TRUE(dic.Find("A", reg) && dic.Find("B", reg));
  dic.AddList(other.Regs(), true, {});
  EXPECT_FALSE(dic.Find("A", reg));
  EXPECT_TRUE(dic.Find("B", reg));
}

TEST_F(RegNameDic, ForgetsARegisterThatIsDestroyed) {
  TMBReg& first = Add("A", 1);
  TMBReg& second = Add("A", 2);
  TMBRegNameDic dic;
  dic.AddList(Regs(), false, {});
  delete &first;
  TMBReg* reg = nullptr;
  EXPECT_FALSE(dic.Find("A", reg));
  dic.AddList(Regs(), false, {});
  EXPECT_TRUE(dic.Find("A", reg)) << "the name is free again";
  EXPECT_EQ(reg, &second);
}

TEST_F(RegNameDic, MayLoseRegistersSetAndItselfWhileItAsks) {
  Add("A", 1);
  Add("B", 2);
  TMBRegNameDic dic;
  int asked = 0;
  dic.AddList(Regs(), false, [&](const std::string&) {
    ++asked;
    letter.reset();
    return true;
  });
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(dic.Count(), 0);

  letter = std::make_unique<TMBLetter>();
  Add("A", 1);
  Add("B", 2);
  auto owned = std::make_unique<TMBRegNameDic>();
  owned->AddList(Regs(), false, [&](const std::string&) {
    ++asked;
    owned.reset();
    return true;
  });
  EXPECT_EQ(asked, 2);
}

// --- the container -----------------------------------------------------------------------------

using RegContainer = RegTools;

TEST_F(RegContainer, ListsFreshImagesInAddressOrder) {
  Add("Word", 30);
  Add("Long", 5, 2);
  Add("Odd", 7, 0);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  EXPECT_EQ(container.GetCount(), 3);
  EXPECT_THAT(ImagesOf(container), ElementsAre("Long $00000000", "Odd $", "Word $0000"));
}

TEST_F(RegContainer, KeepsTheFirstOfAnAddressAndTheNamesOfBoth) {
  Add("A", 5);
  AddFlags("Twin", 5);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  EXPECT_EQ(container.GetCount(), 2);
  EXPECT_TRUE(container.AddValue("Twin", "1", 0)) << "it has a name and an image";
  EXPECT_THAT(ImagesOf(container), ElementsAre("A $0000"));
}

TEST_F(RegContainer, ShowsTheHighestByteFirst) {
  AddMode("Mode", 1);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  EXPECT_TRUE(container.AddValue("Mode", "4660", -1));  // the bytes 34 12
  EXPECT_THAT(ImagesOf(container), ElementsAre("Mode $1234"));
}

TEST_F(RegContainer, TakesNumbersAsTheyAreSent) {
  Add("Word", 1, TRegType::rtNum, "Word");
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  EXPECT_TRUE(container.AddValue("Word", "4660", -1));  // the bytes 12 34
  EXPECT_THAT(ImagesOf(container), ElementsAre("Word $3412"));
}

TEST_F(RegContainer, OnlySetsBits) {
  AddFlags("Flags", 1);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  for (const auto& [bit, value] : {std::pair{0, "1"},
                                   {9, "$1"},  // a number, however written
                                   {0, "0"},
                                   {3, "2"},
                                   {4, "x"},
                                   {5, ""},
                                   {6, "-1"}}) {
    EXPECT_TRUE(container.AddValue("Flags", value, bit)) << bit;
  }
  EXPECT_THAT(ImagesOf(container), ElementsAre("Flags $0201"));
}

TEST_F(RegContainer, HoldsSixtyFourBits) {
  AddFlags("Flags", 1, 4);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  for (const int bit : {31, 32, 63}) EXPECT_TRUE(container.AddValue("Flags", "1", bit));
  for (const int bit : {64, 95, 0x7FFFFFFF}) {
    EXPECT_FALSE(container.AddValue("Flags", "1", bit)) << bit;
  }
  EXPECT_THAT(ImagesOf(container), ElementsAre("Flags $8000000180000000"));
}

TEST_F(RegContainer, RefusesWhatItHasNoPlaceFor) {
  Add("Word", 1, TRegType::rtNum, "Word");
  Add("Untyped", 2);
  Add("Lost", 3, TRegType::rtNum, "Nowhere");
  Regs().GetItemByName("Lost")->SetTypeInfo(nullptr);
  TMBReg& imageless = AddFlags("Imageless", 4);
  TMBRegContainer container;
  container.AddList(Regs(), true, [](const std::string& name) { return name != "Imageless"; });
  container.AddReg(imageless, {}, TMBRegContainer::kNames + TMBRegContainer::kAdresses);
  struct TCase {
    const char* Name;
    const char* Value;
    int Bit;
  };
  for (const TCase& c : {TCase{"Nix", "1", -1}, TCase{"word", "1", -1}, TCase{"Word", "1", 0},
                         TCase{"Untyped", "1", -1}, TCase{"Lost", "1", -1},
                         TCase{"Imageless", "1", 0}, TCase{"Imageless", "1", -1}}) {
    EXPECT_FALSE(container.AddValue(c.Name, c.Value, c.Bit)) << c.Name << " " << c.Bit;
  }
  EXPECT_THAT(ImagesOf(container), ElementsAre("Word $0000", "Untyped $0000", "Lost $0000"));
}

TEST_F(RegContainer, KeepsTheImageWhenTheTypeRefusesTheValue) {
  AddMode("Mode", 1);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  container.AddValue("Mode", "4660", -1);
  EXPECT_THAT([&] { container.AddValue("Mode", "7", -1); },
              ThrowsMessage<TListBoundException>(
                  "Error in TMBRegTypeList.StrToVar: Int Value 7 is not found"));
  EXPECT_THAT(ImagesOf(container), ElementsAre("Mode $1234"));
}

TEST_F(RegContainer, LeavesBytesBehindAShorterValue) {
  TMBReg& reg = AddMode("Mode", 1, 2);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  reg.SetRegType(TRegType::rtBin);
  reg.SetTypeName("Flags");
  container.AddValue("Mode", "1", 24);
  reg.SetRegType(TRegType::rtList);
  reg.SetTypeName("Mode");
  reg.SetRegsCount(1);
  container.AddValue("Mode", "4660", -1);
  reg.SetRegsCount(2);
  EXPECT_THAT(ImagesOf(container), ElementsAre("Mode $01001234"));
}

TEST_F(RegContainer, ReadsZerosBehindTheEightBytesOfAnImage) {
  TMBRegTypeNumber& wide = *types.TypeNumbers().Add();
  wide.SetName("Wide");
  wide.SetMaxValue(4000000000.0);
  wide.SetIntPart(4);
  wide.SetRealPart(6);
  wide.SetMultiplier(1);
  Add("Ten", 1, TRegType::rtNum, "Wide", 5);
  AddFlags("Longest", 2, 125);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  EXPECT_TRUE(container.AddValue("Ten", "16909060.5", -1));  // 01 02 03 04 80 00 00 00 00 00
  container.AddValue("Longest", "1", 63);
  EXPECT_THAT(ImagesOf(container),
              ElementsAre("Ten $00000000008004030201",
                          "Longest $" + std::string(484, '0') + "8000000000000000"));
}

TEST_F(RegContainer, FillsTheDictionariesThatTheFlagsName) {
  using enum TRegType;
  TMBReg& reg = AddFlags("A", 1);
  struct TCase {
    int Flags;
    int Count;       // names
    bool Valued;     // AddValue finds name and image
    bool Adress;     // listed by address
    bool WithImage;  // listed with its image
  };
  for (const TCase& c : {TCase{0, 0, false, false, false}, TCase{1, 1, false, false, false},
                         TCase{2, 0, false, false, false}, TCase{3, 1, true, false, false},
                         TCase{4, 0, false, true, false}, TCase{5, 1, false, true, false},
                         TCase{6, 0, false, true, true}, TCase{7, 1, true, true, true},
                         TCase{8, 0, false, false, false}}) {
    SCOPED_TRACE(c.Flags);
    TMBRegContainer container;
    container.AddReg(reg, {}, c.Flags);
    EXPECT_EQ(container.GetCount(), c.Count);
    EXPECT_EQ(container.AddValue("A", "1", 0), c.Valued);
    EXPECT_EQ(NamesOf(container).size(), c.Adress ? 1u : 0u);
    EXPECT_EQ(ImagesOf(container).size(), c.WithImage ? 1u : 0u);
  }
}

TEST_F(RegContainer, ClearsTheDictionariesThatTheFlagsName) {
  AddFlags("A", 1);
  TMBRegContainer container;
  const auto fill = [&] { container.AddList(Regs(), true, {}); };
  fill();
  container.Clear(TMBRegContainer::kNames);
  EXPECT_EQ(container.GetCount(), 0);
  EXPECT_THAT(ImagesOf(container), ElementsAre("A $0000"));
  fill();
  container.Clear(TMBRegContainer::kValues);
  EXPECT_THAT(ImagesOf(container), IsEmpty());
  EXPECT_THAT(NamesOf(container), ElementsAre("A"));
  fill();
  container.Clear(TMBRegContainer::kAdresses);
  EXPECT_THAT(NamesOf(container), IsEmpty());
  EXPECT_TRUE(container.AddValue("A", "1", 0));
  EXPECT_EQ(container.GetCount(), 1);
}

TEST_F(RegContainer, KeepsImagesWhenRegistersAreAddedAgain) {
  AddFlags("A", 1);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  container.AddValue("A", "1", 4);
  container.AddList(Regs(), false, {});
  EXPECT_THAT(ImagesOf(container), ElementsAre("A $0010"));
  container.AddList(Regs(), true, {});
  EXPECT_THAT(ImagesOf(container), ElementsAre("A $0000"));
}

TEST_F(RegContainer, ResetsToOneZeroImagePerAddress) {
  AddFlags("A", 5);
  AddFlags("Twin", 5);
  AddFlags("B", 2);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  container.AddValue("A", "1", 0);
  container.AddValue("B", "1", 1);
  container.ResetObjects();
  EXPECT_THAT(ImagesOf(container), ElementsAre("B $0000", "A $0000"));
  EXPECT_EQ(container.GetCount(), 2);
  EXPECT_FALSE(container.AddValue("Twin", "1", 0));
  EXPECT_TRUE(container.AddValue("B", "1", 0));
}

TEST_F(RegContainer, TellsProgressFromMinusTheNumberOn) {
  Add("A", 9);
  Add("B", 3);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  TTexts log;
  container.EnumRegObjects([&](TMBReg& reg) { log.push_back(reg.Name()); },
                           [&](std::int32_t done) { log.push_back(std::to_string(done)); });
  EXPECT_THAT(log, ElementsAre("-2", "B", "1", "A", "2"));
}

TEST_F(RegContainer, TellsProgressZeroWhenItIsEmpty) {
  TTexts log;
  TMBRegContainer().EnumRegObjects([&](TMBReg& reg) { log.push_back(reg.Name()); },
                                   [&](std::int32_t done) { log.push_back(std::to_string(done)); });
  EXPECT_THAT(log, ElementsAre("0"));
}

TEST_F(RegContainer, WalksWithoutCallbacks) {
  Add("A", 9);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  EXPECT_NO_THROW(container.EnumRegObjects({}, {}));
  EXPECT_NO_THROW(container.EnumRegNames({}));
}

TEST_F(RegContainer, ListsTheHighestAddressLast) {
  Add("High", 0xFFFFFFFF);
  Add("Middle", 0x80000000);
  Add("Low", 0);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  EXPECT_THAT(NamesOf(container), ElementsAre("Low", "Middle", "High"));
}

TEST_F(RegContainer, DoesNotSeeRegistersThatAreDestroyed) {
  TMBReg& gone = AddFlags("A", 1);
  AddFlags("B", 2);
  TMBRegContainer container;
  container.AddList(Regs(), true, {});
  delete &gone;
  EXPECT_THAT(NamesOf(container), ElementsAre("B"));
  EXPECT_FALSE(container.AddValue("A", "1", 0));
  TMBReg& fresh = AddFlags("A", 1);
  container.AddReg(fresh, {}, TMBRegContainer::kAll);
  EXPECT_THAT(ImagesOf(container), ElementsAre("A $0000", "B $0000"));
}

TEST_F(RegContainer, GivesNoNewRegisterTheImageOfOneThatStoodAtItsPlace) {
  alignas(TMBReg) std::byte place[sizeof(TMBReg)];
  const auto make = [&] {
    auto* const reg = new (place) TMBReg(nullptr);
    Describe(*reg, {.Name = "A"});
    reg->SetRegType(TRegType::rtBin);
    return reg;
  };
  TMBRegContainer container;
  TMBReg* reg = make();
  container.AddReg(*reg, {}, TMBRegContainer::kAll);
  container.AddValue("A", "1", 0);
  EXPECT_THAT(ImagesOf(container), ElementsAre("A $0001"));
  reg->~TMBReg();
  reg = make();
  container.AddReg(*reg, {}, TMBRegContainer::kNames + TMBRegContainer::kAdresses);
  EXPECT_THAT(ImagesOf(container), IsEmpty());
  container.AddReg(*reg, {}, TMBRegContainer::kValues);
  EXPECT_THAT(ImagesOf(container), ElementsAre("A $0000"));
  reg->~TMBReg();
}

TEST_F(RegContainer, MayLoseAllWhileItIsWalked) {
  Add("A", 1);
  Add("B", 2);
  auto container = std::make_unique<TMBRegContainer>();
  container->AddList(Regs(), true, {});
  TTexts log;
  container->EnumRegObjects(
      [&](TMBReg& reg) {
        log.push_back(reg.Name());
        container.reset();
        letter.reset();
      },
      [&](std::int32_t done) { log.push_back(std::to_string(done)); });
  EXPECT_THAT(log, ElementsAre("-2", "A", "1", "2"));

  letter = std::make_unique<TMBLetter>();
  Add("A", 1);
  Add("B", 2);
  container = std::make_unique<TMBRegContainer>();
  container->AddList(Regs(), true, {});
  log.clear();
  container->EnumRegNames([&](const std::string& name, const std::string& text) {
    container.reset();
    letter.reset();
    log.push_back(name + text);
  });
  EXPECT_THAT(log, ElementsAre("A$0000", "B$0000"));
}

TEST_F(RegContainer, MayLoseAllWhileItAsks) {
  Add("A", 1);
  Add("B", 2);
  auto container = std::make_unique<TMBRegContainer>();
  int asked = 0;
  container->AddList(Regs(), true, [&](const std::string&) {
    ++asked;
    container.reset();
    return true;
  });
  EXPECT_EQ(asked, 1);
  container = std::make_unique<TMBRegContainer>();
  container->AddList(Regs(), true, [&](const std::string&) {
    ++asked;
    letter.reset();
    return true;
  });
  EXPECT_EQ(asked, 2);
  EXPECT_EQ(container->GetCount(), 0);
}

// --- the sorters -------------------------------------------------------------------------------

using RegSorter = RegTools;

TEST_F(RegSorter, ComparesByTheWrappingDifference) {
  TMBReg left(nullptr);
  TMBReg right(nullptr);
  struct TCase {
    std::uint32_t Left, Right;
    std::int32_t Difference;
  };
  for (const TCase& c : {TCase{7, 7, 0}, TCase{5, 7, -2}, TCase{7, 5, 2}, TCase{0xFFFFFFFF, 0, -1},
                         TCase{0, 0xFFFFFFFF, 1}, TCase{0x7FFFFFFF, 0, 0x7FFFFFFF},
                         TCase{0x80000000, 0, std::numeric_limits<std::int32_t>::min()}}) {
    left.SetRegAdress(c.Left);
    right.SetRegAdress(c.Right);
    EXPECT_EQ(TMBRegComparer().Compare(left, right), c.Difference) << c.Left << " " << c.Right;
  }
}

TEST_F(RegSorter, KeepsTheFirstOfAnAddressInAddressOrder) {
  for (const auto& [name, adress] :
       {std::pair{"A", 5u}, {"B", 5u}, {"C", 2u}, {"E", 65535u}, {"F", 3u}}) {
    Add(name, adress);
  }
  TMBRegSorter sorter;
  sorter.AddList(Regs(), false);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("C", "F", "A", "E"));
  sorter.AddList(Regs(), false);
  EXPECT_EQ(sorter.Count(), 4) << "nothing twice";
  sorter.Clear();
  EXPECT_EQ(sorter.Count(), 0);
  sorter.AddListByArray(Regs(), TNames{"B", "Nix", "A", "c", "F[2]"}, false);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("C", "F", "B"));
  sorter.AddListByArray(Regs(), TNames{"E", "A"}, false);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("C", "F", "B", "E")) << "the first at 5 stays";
  sorter.AddListByArray(Regs(), TNames{"A"}, true);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("A"));
}

TEST_F(RegSorter, OrdersAddressesWithoutASign) {
  Add("High", 0xFFFFFFFF);
  Add("Low", 0);
  Add("Middle", 0x80000000);
  TMBRegSorter sorter;
  sorter.AddList(Regs(), true);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("Low", "Middle", "High"));
}

TEST_F(RegSorter, RefusesAPositionPastTheEnd) {
  Add("A", 1);
  TMBRegSorter sorter;
  sorter.AddList(Regs(), true);
  for (const int index : {-1, 1}) {
    EXPECT_THAT(
        [&] { (void)sorter.GetItemReg(index); },
        ThrowsMessage<EListError>("List index out of bounds (" + std::to_string(index) + ")"));
  }
}

// One register at a time, as a reference: found by its address, else put where it belongs.
void InsertOne(TMBRegList& regs, TMBReg* reg) {
  const auto place = std::ranges::lower_bound(regs, reg->Adress(), {}, &TMBReg::Adress);
  if (place == regs.end() || (*place)->Adress() != reg->Adress()) regs.insert(place, reg);
}

TEST_F(RegSorter, AddsManyAtOnceAsIfOneByOne) {
  std::uint32_t random = 1;
  for (int i = 0; i < 400; ++i) {
    random = random * 1664525 + 1013904223;
    Add(NameOf(i), (random >> 16) % 300);  // many twins
  }
  TMBRegSorter sorter;
  TMBRegList expected;
  for (const auto& [from, to] : {std::pair{100, 250}, {0, 200}, {0, 400}, {399, 400}}) {
    TNames names;
    for (int i = from; i < to; ++i) {
      names.push_back(NameOf(i));
      InsertOne(expected, Regs().GetItem(i));
    }
    sorter.AddListByArray(Regs(), names, false);
    ASSERT_EQ(static_cast<std::size_t>(sorter.Count()), expected.size());
    for (int i = 0; i < sorter.Count(); ++i) {
      ASSERT_EQ(sorter.GetItemReg(i), expected[static_cast<std::size_t>(i)]) << i;
    }
  }
}

TEST_F(RegSorter, SortsWhenAddressesHaveChanged) {
  TMBReg& a = Add("A", 1);
  TMBReg& b = Add("B", 2);
  Add("C", 3);
  Add("D", 4);
  Add("E", 5);
  TMBRegSorter sorter;
  sorter.AddList(Regs(), true);
  a.SetRegAdress(9);
  b.SetRegAdress(3);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("A", "B", "C", "D", "E")) << "not by itself";
  sorter.Sort();
  EXPECT_THAT(NamesOf(sorter), ElementsAre("B", "C", "D", "E", "A")) << "equal ones as they stood";
}

TEST_F(RegSorter, PutsItselfInOrderBeforeItTakesMore) {
  TMBReg& a = Add("A", 1);
  Add("B", 2);
  TMBRegSorter sorter;
  sorter.AddList(Regs(), true);
  a.SetRegAdress(9);
  Add("C", 5);
  Add("D", 9);
  sorter.AddList(Regs(), false);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("B", "C", "A"));
}

TEST_F(RegSorter, SortsByTheComparerAlsoWhereItWraps) {
  Add("Low", 0);
  Add("High", 0x90000000);
  TMBRegSorter sorter;
  sorter.AddList(Regs(), true);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("Low", "High"));
  sorter.Sort();
  EXPECT_THAT(NamesOf(sorter), ElementsAre("High", "Low"));
}

// Addresses all round the circle of 2^32, for which the comparer knows no order.
TEST_F(RegSorter, LosesNoRegisterWhereTheComparerIsNoOrder) {
  for (std::uint32_t i = 0; i < 257; ++i) Add(NameOf(static_cast<int>(i)), i * 0x6789ABCDu);
  TMBRegSorter sorter;
  sorter.AddList(Regs(), true);
  TNames before = NamesOf(sorter);
  sorter.Sort();
  TNames after = NamesOf(sorter);
  std::ranges::sort(before);
  std::ranges::sort(after);
  EXPECT_EQ(before, after);
  sorter.AddList(Regs(), false);
  EXPECT_EQ(sorter.Count(), 257);
}

TEST_F(RegSorter, DropsDestroyedRegistersWhenItSortsOrTakesMore) {
  TMBReg& a = Add("A", 1);
  TMBReg& b = Add("B", 2);
  Add("C", 3);
  TMBRegSorter sorter;
  sorter.AddList(Regs(), true);
  delete &a;
  EXPECT_THAT(NamesOf(sorter), ElementsAre("nil", "B", "C"));
  sorter.Sort();
  EXPECT_THAT(NamesOf(sorter), ElementsAre("B", "C"));
  delete &b;
  Add("D", 2);
  sorter.AddList(Regs(), false);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("D", "C"));
}

TEST_F(RegSorter, TakesAHundredThousandInTheWorstOrder) {
  constexpr int kCount = 100000;
  for (int i = 0; i < kCount; ++i) {
    Regs().Add()->SetRegAdress(static_cast<std::uint32_t>(kCount - i));
  }
  TMBRegSorter sorter;
  sorter.AddList(Regs(), true);
  EXPECT_EQ(sorter.Count(), kCount);
  EXPECT_EQ(sorter.GetItemReg(0), Regs().GetItem(kCount - 1));
  EXPECT_EQ(sorter.GetItemReg(kCount - 1), Regs().GetItem(0));
}

using RegBitSorter = RegTools;

TEST_F(RegBitSorter, NotesTheBitsThatEntriesName) {
  TMBReg& a = Add("A", 5);
  TMBReg& b = Add("B", 5);
  TMBReg& c = Add("C", 2);
  TMBReg& d = Add("D", 9);
  TMBRegBitSorter sorter(U'.');
  sorter.AddListByArray(
      Regs(), TNames{"A.3", "A.3", "C", "A.5", "a.1", "B.7", "Nix.1", "D.x", "D.", "D.-1", ".4"},
      false);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("C", "A", "D"));
  EXPECT_THAT(sorter.GetBitNums(a), ElementsAre(1, 3, 5));
  EXPECT_THAT(sorter.GetBitNums(b), ElementsAre(7)) << "not listed, but noted";
  EXPECT_THAT(sorter.GetBitNums(c), IsEmpty());
  EXPECT_THAT(sorter.GetBitNums(d), IsEmpty());
  sorter.AddListByArray(Regs(), TNames{"A.0"}, false);
  EXPECT_THAT(sorter.GetBitNums(a), ElementsAre(0, 1, 3, 5));
  sorter.AddListByArray(Regs(), TNames{"C.4"}, true);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("C"));
  EXPECT_THAT(sorter.GetBitNums(a), IsEmpty());
}

TEST_F(RegBitSorter, NotesTheLowByteOfABitNumber) {
  TMBReg& a = Add("A", 5);
  TMBRegBitSorter sorter(U'.');
  sorter.AddListByArray(Regs(), TNames{"A.255", "A.256", "A.300", "A.2147483647", "A.2147483648"},
                        false);
  EXPECT_THAT(sorter.GetBitNums(a), ElementsAre(0, 44, 255));
}

TEST_F(RegBitSorter, SplitsAtTheFirstSeparator) {
  TMBReg& a = Add("A", 5);
  Add("A.B", 6);
  TMBRegBitSorter sorter(U'.');
  sorter.AddListByArray(Regs(), TNames{"A.B.3", "A.2.9"}, false);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("A"));
  EXPECT_THAT(sorter.GetBitNums(a), IsEmpty());
}

TEST_F(RegBitSorter, SplitsAtASeparatorOfSeveralBytes) {
  TMBReg& a = Add("Ток", 5);
  TMBRegBitSorter sorter(U'→');
  sorter.AddListByArray(Regs(), TNames{"Ток→3"}, false);
  EXPECT_THAT(sorter.GetBitNums(a), ElementsAre(3));
}

TEST_F(RegBitSorter, WithoutASeparatorTakesEntriesAsNames) {
  TMBReg& a = Add("A", 5);
  Add("B.1", 6);
  TMBRegBitSorter sorter(U'\0');
  sorter.AddListByArray(Regs(), TNames{"A", "B.1", "A.2", std::string("A\0003", 3)}, false);
  EXPECT_THAT(NamesOf(sorter), ElementsAre("A", "B.1"));
  EXPECT_THAT(sorter.GetBitNums(a), IsEmpty());
}

TEST_F(RegBitSorter, ClearsTheBitsWithTheList) {
  TMBReg& a = Add("A", 5);
  TMBRegBitSorter sorter(U'.');
  TMBRegSorter& plain = sorter;
  plain.AddListByArray(Regs(), TNames{"A.1"}, false);
  plain.AddList(Regs(), false);
  EXPECT_THAT(sorter.GetBitNums(a), ElementsAre(1));
  plain.AddList(Regs(), true);
  EXPECT_THAT(sorter.GetBitNums(a), IsEmpty());
  EXPECT_THAT(NamesOf(sorter), ElementsAre("A"));
}

TEST_F(RegBitSorter, ExtractsEachNameOnce) {
  struct TCase {
    char32_t Separator;
    TNames Names;
    TNames Lines;
  };
  for (const TCase& c :
       {TCase{U':', {"A:1", "a:2", "B:3", "Nix:4", "C", "C:9", ""}, {"B", "A", "Nix", "C", ""}},
        TCase{U'\0', {"A", "A", "C:3"}, {"B", "A", "C:3"}}, TCase{U':', {"b:1"}, {"B"}}}) {
    TStringList list;
    list.Add("B");
    TMBRegBitSorter(c.Separator).ExtractNames(list, c.Names);
    TNames lines;
    for (int i = 0; i < list.Count(); ++i) lines.push_back(list.Strings(i));
    EXPECT_EQ(lines, c.Lines);
  }
}

}  // namespace
}  // namespace OrvixModBus
