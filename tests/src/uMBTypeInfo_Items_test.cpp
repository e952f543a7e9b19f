#include "uMBTypeInfo_Items.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "uMBTypeInfo.h"

namespace OrvixModBus {
namespace {

using testing::Throws;
using testing::ThrowsMessage;

/// A description with nothing of its own.
class TPlainType : public TMBRegTypeColItem {
 public:
  explicit TPlainType(TCollection* collection)
      : TMBRegTypeColItem(collection, "Plain", TRegType::rtStr) {
    Introduce();
  }
};

/// Lists that count the notifications of their items.
class TCountingLists : public TMBRegTypeLists {
 public:
  TCountingLists() : TMBRegTypeLists(nullptr) {}
  int ItemChanges = 0;

 protected:
  void Update(TCollectionItem* item) noexcept override { ItemChanges += item != nullptr ? 1 : 0; }
};

TMBRegTypeList* AddNamed(TMBRegTypeLists& lists, const std::string& name) {
  TMBRegTypeList* const list = lists.Add();
  list->SetName(name);
  return list;
}

TEST(TRegType, KindsHaveTheirOrdinalsAndNames) {
  using enum TRegType;
  const TRegType inOrder[] = {rtNone, rtList, rtBin, rtNum, rtStr, rtStructur, rtCollection};
  const std::string_view names[] = {"rtNone", "rtList",     "rtBin",       "rtNum",
                                    "rtStr",  "rtStructur", "rtCollection"};
  for (std::size_t i = 0; i < 7; ++i) {
    EXPECT_EQ(static_cast<std::size_t>(inOrder[i]), i);
    EXPECT_EQ(TEnumNames<TRegType>::Values[i], names[i]);
  }
  EXPECT_EQ(std::size(TEnumNames<TRegType>::Values), 7U);
}

TEST(TRegTypeSet, HoldsTheGivenKindsOnly) {
  constexpr TRegTypeSet set{TRegType::rtNone, TRegType::rtNum, TRegType::rtCollection};
  static_assert(set.Contains(TRegType::rtNum));
  EXPECT_TRUE(set.Contains(TRegType::rtNone));
  EXPECT_TRUE(set.Contains(TRegType::rtCollection));
  EXPECT_FALSE(set.Contains(TRegType::rtList));
  EXPECT_FALSE(set.Contains(TRegType::rtStructur));
  EXPECT_FALSE(TRegTypeSet({}).Contains(TRegType::rtNone));
}

TEST(TRegTypeSet, HoldsNoKindThatDoesNotExist) {
  const auto unknown = static_cast<TRegType>(200);
  EXPECT_FALSE(TRegTypeSet{unknown}.Contains(unknown));
  EXPECT_EQ(TRegTypeSet{unknown}, TRegTypeSet({}));
}

TEST(TRegTypeSet, ComparesByContent) {
  EXPECT_EQ((TRegTypeSet{TRegType::rtNum, TRegType::rtBin}),
            (TRegTypeSet{TRegType::rtBin, TRegType::rtNum, TRegType::rtBin}));
  EXPECT_NE(TRegTypeSet{TRegType::rtNum}, TRegTypeSet{TRegType::rtBin});
}

TEST(TypeExceptions, StandInTheirFamilies) {
  static_assert(std::is_base_of_v<Exception, TOutBoundException>);
  static_assert(std::is_base_of_v<TOutBoundException, TListIndexException>);
  static_assert(std::is_base_of_v<TOutBoundException, TListBoundException>);
  static_assert(std::is_base_of_v<TOutBoundException, TBitBoundException>);
  static_assert(std::is_base_of_v<Exception, TEmptyArgException>);
  static_assert(!std::is_base_of_v<TOutBoundException, TEmptyArgException>);
  EXPECT_STREQ(TEmptyArgException("no argument").what(), "no argument");
}

TEST(TMBRegTypeColItem, EachClassNamesItsItemsByIDPlusOneAndHasItsKind) {
  TMBTypeInfo info;
  const struct {
    TMBRegTypeColItem* item;
    const char* name;
    TRegType kind;
  } cases[] = {
      {info.TypeLists().Add(), "TypeList1", TRegType::rtList},
      {info.TypeLists().Add(), "TypeList2", TRegType::rtList},
      {info.TypeBins().Add(), "TypeBin1", TRegType::rtBin},
      {info.TypeNumbers().Add(), "TypeNumber1", TRegType::rtNum},
      {info.TypeStructurs().Add(), "TypeStructur1", TRegType::rtNone},
  };
  for (const auto& [item, name, kind] : cases) {
    SCOPED_TRACE(name);
    EXPECT_EQ(item->Name(), name);
    EXPECT_EQ(item->GetDisplayName(), name);
    EXPECT_EQ(item->RegType(), kind);
  }
}

TEST(TMBRegTypeColItem, AnItemAddedAfterDeletionsIsNamedByItsIDNotItsIndex) {
  TMBRegTypeLists lists(nullptr);
  lists.Add();
  lists.Add();
  lists.Delete(1);
  lists.Delete(0);
  EXPECT_EQ(lists.Add()->Name(), "TypeList3");
  EXPECT_EQ(lists.Items(0)->Index(), 0);
}

TEST(TMBRegTypeColItem, AnItemWithoutCollectionCanBeMadeAndRenamed) {
  TMBRegTypeNumber number(nullptr);
  EXPECT_EQ(number.Name(), "TypeNumber1");
  number.SetName("Loose");
  EXPECT_EQ(number.Name(), "Loose");
}

TEST(TMBRegTypeColItem, OnlyAnotherNameNotifiesTheCollection) {
  TCountingLists lists;
  TMBRegTypeList* const list = lists.Add();
  lists.ItemChanges = 0;
  list->SetName("Mode");
  EXPECT_EQ(lists.ItemChanges, 1);
  list->SetName("Mode");
  EXPECT_EQ(lists.ItemChanges, 1);
  list->SetDisplayName("mode");
  EXPECT_EQ(lists.ItemChanges, 2);
  EXPECT_EQ(list->Name(), "mode");
  list->SetRegType(TRegType::rtStr);
  EXPECT_EQ(lists.ItemChanges, 2);
  EXPECT_EQ(list->RegType(), TRegType::rtStr);
}

TEST(TMBRegTypeColItem, TheBaseDecodesToTheClearedValue) {
  EXPECT_EQ(TPlainType(nullptr).DataToValue({1, 2}), TRegValue());
}

TEST(TMBRegTypeColItem, TheBaseHasNoTextOperations) {
  const TPlainType plain(nullptr);
  EXPECT_THAT([&] { plain.StrToVar("1"); },
              ThrowsMessage<Exception>("TMBRegTypeColItem has no StrToVar"));
  EXPECT_THAT([&] { plain.StrToData("1", 1); },
              ThrowsMessage<Exception>("TMBRegTypeColItem has no StrToVar"));
  EXPECT_THAT([&] { plain.ConstraintStr(); },
              ThrowsMessage<Exception>("TMBRegTypeColItem has no ConstraintStr"));
}

TEST(TMBRegTypeColItem, ValuesBecomeTheirFirstBytesInLittleEndianOrder) {
  const TPlainType plain(nullptr);
  const struct {
    Variant value;
    std::uint8_t byteCount;
    Bytes bytes;
  } cases[] = {
      {0x01020304, 4, {4, 3, 2, 1}},
      {0x01020304, 3, {4, 3, 2}},
      {0x01020304, 2, {4, 3}},
      {0x01020304, 1, {4}},
      {0x01020304, 0, {}},
      {-2, 4, {0xFE, 0xFF, 0xFF, 0xFF}},
      {-2147483647 - 1, 4, {0, 0, 0, 0x80}},
      {300, 1, {44}},
      {2.5, 2, {2, 0}},  // to the even neighbour
      {3.5, 2, {4, 0}},
      {-1.5, 2, {0xFE, 0xFF}},
      {"12", 2, {12, 0}},
  };
  for (const auto& [value, byteCount, bytes] : cases) {
    SCOPED_TRACE(value.ToText());
    EXPECT_EQ(plain.ValueToData(value, byteCount), bytes);
  }
}

TEST(TMBRegTypeColItem, AValueWithMoreThanFourBytesIsRefused) {
  EXPECT_THAT(
      [] { TPlainType(nullptr).ValueToData(1, 5); },
      ThrowsMessage<EArgumentOutOfRangeException>("An integer has 4 bytes, and 5 are wanted"));
}

TEST(TMBRegTypeColItem, AValueThatIsNoIntegerIsRefused) {
  const TPlainType plain(nullptr);
  EXPECT_THAT([&] { plain.ValueToData("Run", 2); }, Throws<Exception>());
  EXPECT_THAT([&] { plain.ValueToData(4294967296.0, 4); }, Throws<Exception>());
  EXPECT_THAT([&] { plain.ValueToData({}, 4); }, Throws<Exception>());
}

TEST(TMBRegTypeColItem, RefusesToBeAssignedFromAnythingElse) {
  TMBTypeInfo info;
  TMBRegTypeColItem* const items[] = {info.TypeLists().Add(), info.TypeBins().Add(),
                                      info.TypeNumbers().Add(), info.TypeStructurs().Add()};
  for (TMBRegTypeColItem* target : items) {
    for (TMBRegTypeColItem* source : items) {
      if (target == source) continue;
      const std::string before = target->Name();
      EXPECT_THAT(
          [&] { target->Assign(*source); },
          ThrowsMessage<EConvertError>("Cannot assign a " + std::string(source->ClassName()) +
                                       " to a " + std::string(target->ClassName())));
      EXPECT_EQ(target->Name(), before);
    }
  }
}

TEST(TMBRegTypeColItem, AssignedToItselfNothingChanges) {
  TMBRegTypeList list(nullptr);
  list.Dictionary().Add("1=Run");
  list.Assign(list);
  EXPECT_EQ(list.Name(), "TypeList1");
  EXPECT_EQ(list.GetValue(1), "Run");
}

TEST(TMBRegTypeItems, AreTypedAndOwnedByTheCatalogue) {
  TMBTypeInfo info;
  TMBRegTypeBin* const bin = info.TypeBins().Add();
  EXPECT_EQ(info.TypeBins().Items(0), bin);
  EXPECT_EQ(bin->GetOwner(), &info.TypeBins());
  EXPECT_EQ(info.TypeLists().GetOwner(), &info);
  EXPECT_EQ(info.TypeBins().GetOwner(), &info);
  EXPECT_EQ(info.TypeNumbers().GetOwner(), &info);
  EXPECT_EQ(info.TypeStructurs().GetOwner(), &info);
}

TEST(TMBRegTypeItems, AnIndexPastTheEndIsRefused) {
  TMBRegTypeNumbers numbers(nullptr);
  numbers.Add();
  EXPECT_THAT([&] { numbers.Items(1); }, Throws<EListError>());
  EXPECT_THAT([&] { numbers.Items(-1); }, Throws<EListError>());
}

TEST(TMBRegTypeItems, WritingAnItemAssignsIt) {
  TMBRegTypeLists lists(nullptr);
  TMBRegTypeList* const first = lists.Add();
  TMBRegTypeList source(nullptr);
  source.SetName("Mode");
  lists.SetItem(0, source);
  EXPECT_EQ(lists.Items(0), first);
  EXPECT_EQ(first->Name(), "Mode");
}

TEST(TMBRegTypeNamed, ANameIsFoundExactlyOrNotAtAll) {
  TMBRegTypeLists lists(nullptr);
  EXPECT_EQ(lists.GetItemByName("Mode"), nullptr);
  TMBRegTypeList* const mode = AddNamed(lists, "Mode");
  EXPECT_EQ(lists.GetItemByName("Mode"), mode);
  EXPECT_EQ(lists.ItemByName("Mode"), mode);
  for (const char* name : {"mode", "MODE", "Mode ", " Mode", "Mod", "", "TypeList1"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(lists.GetItemByName(name), nullptr);
  }
}

TEST(TMBRegTypeNamed, AnEmptyNameIsANameLikeOthers) {
  TMBRegTypeLists lists(nullptr);
  TMBRegTypeList* const nameless = AddNamed(lists, "");
  EXPECT_EQ(lists.GetItemByName(""), nameless);
}

TEST(TMBRegTypeNamed, OfEqualNamesTheFirstInOrderIsFound) {
  TMBRegTypeLists lists(nullptr);
  TMBRegTypeList* const first = AddNamed(lists, "Mode");
  TMBRegTypeList* const second = AddNamed(lists, "Mode");
  EXPECT_EQ(lists.GetItemByName("Mode"), first);
  second->SetIndex(0);
  EXPECT_EQ(lists.GetItemByName("Mode"), second);
  second->SetName("Other");
  EXPECT_EQ(lists.GetItemByName("Mode"), first);
}

TEST(TMBRegTypeNamed, ARenamedItemIsFoundByItsNewNameAtOnce) {
  TMBRegTypeLists lists(nullptr);
  TMBRegTypeList* const list = AddNamed(lists, "Old");
  EXPECT_EQ(lists.GetItemByName("Old"), list);
  list->SetName("A new name that is longer than the old one");
  EXPECT_EQ(lists.GetItemByName("Old"), nullptr);
  EXPECT_EQ(lists.GetItemByName("A new name that is longer than the old one"), list);
}

TEST(TMBRegTypeNamed, ADeletedItemIsNotFoundAnyMore) {
  TMBRegTypeLists lists(nullptr);
  AddNamed(lists, "Mode");
  TMBRegTypeList* const second = AddNamed(lists, "Mode");
  lists.GetItemByName("Mode");
  lists.Delete(0);
  EXPECT_EQ(lists.GetItemByName("Mode"), second);
  delete second;
  EXPECT_EQ(lists.GetItemByName("Mode"), nullptr);
  AddNamed(lists, "Mode");
  EXPECT_NE(lists.GetItemByName("Mode"), nullptr);
  lists.Clear();
  EXPECT_EQ(lists.GetItemByName("Mode"), nullptr);
}

TEST(TMBRegTypeNamed, AnInsertedItemAndOneFromAnotherCollectionAreFound) {
  TMBRegTypeLists lists(nullptr);
  AddNamed(lists, "Mode");
  lists.GetItemByName("Mode");
  auto* const inserted = static_cast<TMBRegTypeList*>(lists.Insert(0));
  inserted->SetName("Mode");
  EXPECT_EQ(lists.GetItemByName("Mode"), inserted);

  TMBRegTypeLists copy(nullptr);
  copy.GetItemByName("Mode");
  copy.Assign(lists);
  EXPECT_EQ(copy.GetItemByName("Mode"), copy.Items(0));
}

TEST(TMBRegTypeNamed, TheTextThatIsAskedForCountsWhereverItStands) {
  TMBRegTypeLists lists(nullptr);
  for (int i = 0; i < 100; ++i) AddNamed(lists, "Mode " + std::to_string(i));
  std::string name;
  for (int i = 0; i < 101; ++i) {
    name = "Mode " + std::to_string(i);
    EXPECT_EQ(lists.GetItemByName(name), i < 100 ? lists.Items(i) : nullptr) << name;
    EXPECT_EQ(lists.GetItemByName(name), i < 100 ? lists.Items(i) : nullptr) << name;
  }
}

TEST(TMBRegTypeNamed, AFirstItemOfTheNameFoundLastTakesItsPlace) {
  TMBRegTypeLists lists(nullptr);
  const std::string name = "Mode";
  TMBRegTypeList* const second = AddNamed(lists, name);
  EXPECT_EQ(lists.GetItemByName(name), second);
  auto* const first = static_cast<TMBRegTypeList*>(lists.Insert(0));
  EXPECT_EQ(lists.GetItemByName(name), second);
  first->SetName(name);
  EXPECT_EQ(lists.GetItemByName(name), first);
  lists.Delete(0);
  EXPECT_EQ(lists.GetItemByName(name), second);
  second->SetName("mode");
  EXPECT_EQ(lists.GetItemByName(name), nullptr);
}

TEST(TMBRegTypeNamed, ChangesAreSeenWhileTheyAreGathered) {
  TMBRegTypeLists lists(nullptr);
  TMBRegTypeList* const list = AddNamed(lists, "Old");
  const TUpdate update(lists);
  EXPECT_EQ(lists.GetItemByName("Old"), list);
  list->SetName("New");
  EXPECT_EQ(lists.GetItemByName("Old"), nullptr);
  EXPECT_EQ(lists.GetItemByName("New"), list);
}

TEST(TMBRegTypeNamed, SettingByNameAssignsToTheFirstOfThatName) {
  TMBRegTypeLists lists(nullptr);
  TMBRegTypeList* const first = AddNamed(lists, "Mode");
  TMBRegTypeList* const second = AddNamed(lists, "Mode");
  TMBRegTypeList source(nullptr);
  source.SetName("Mode");
  source.SetValue(1, "Run");
  lists.SetItemByName("Mode", source);
  EXPECT_EQ(first->GetValue(1), "Run");
  EXPECT_EQ(second->GetValue(1), "");
}

TEST(TMBRegTypeNamed, SettingByANameThatNobodyBearsDoesNothing) {
  TMBRegTypeLists lists(nullptr);
  TMBRegTypeList* const list = AddNamed(lists, "Mode");
  const auto revision = lists.Revision();
  TMBRegTypeList source(nullptr);
  source.SetName("Other");
  lists.SetItemByName("mode", source);
  EXPECT_EQ(list->Name(), "Mode");
  EXPECT_EQ(lists.Count(), 1);
  EXPECT_EQ(lists.Revision(), revision);
}

}  // namespace
}  // namespace OrvixModBus
