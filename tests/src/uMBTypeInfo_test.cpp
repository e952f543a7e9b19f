#include "uMBTypeInfo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;
using enum TRegType;

class Catalogue : public testing::Test {
 protected:
  Catalogue() {
    TMBRegTypeList* const list = fInfo.TypeLists().Add();
    list->SetName("Mode");
    list->Dictionary().SetText("0=Stop\n1=Run\n");
    TMBRegTypeBin* const bin = fInfo.TypeBins().Add();
    bin->SetName("Flags");
    bin->Dictionary().SetText("0=off|on\n");
    bin->Bits().SetText("0=Ready\n");
    TMBRegTypeNumber* const number = fInfo.TypeNumbers().Add();
    number->SetName("Level");
    number->SetIntPart(2);
    number->SetMaxValue(1000);
    number->SetMultiplier(0.5);
  }

  TRegValue Decode(TRegType kind, const std::string& type, const Bytes& data) {
    return fInfo.DataToValue(kind, type, data, "Reg", -1);
  }

  TMBTypeInfo fInfo;
};

TEST_F(Catalogue, DecodesByKindAndName) {
  EXPECT_EQ(Decode(rtList, "Mode", {0, 1}), (TRegValue{"Run", 1}));
  EXPECT_EQ(Decode(rtBin, "Flags", {1}), (TRegValue{"on|||||||", 1}));
  EXPECT_EQ(Decode(rtNum, "Level", {0, 9}), (TRegValue{"4.5", TRegValue::kClearedInt, 4.5}));
}

TEST_F(Catalogue, AnUnknownNameIsNoValue) {
  for (const TRegType kind : {rtList, rtBin, rtNum}) {
    for (const char* name : {"", "Unknown", "mode", "flags", "LEVEL"}) {
      EXPECT_EQ(Decode(kind, name, {0, 1}), TRegValue());
    }
  }
  EXPECT_EQ(Decode(rtNum, "Mode", {0, 1}), TRegValue());
}

TEST_F(Catalogue, ARenamedOrDeletedDescriptionCountsAtTheNextDecoding) {
  EXPECT_EQ(Decode(rtList, "Mode", {1}).Srt, "Run");
  fInfo.TypeLists().Items(0)->SetName("State");
  EXPECT_EQ(Decode(rtList, "Mode", {1}), TRegValue());
  EXPECT_EQ(Decode(rtList, "State", {1}).Srt, "Run");
  fInfo.TypeLists().Delete(0);
  EXPECT_EQ(Decode(rtList, "State", {1}), TRegValue());
}

TEST_F(Catalogue, OfEqualNamesTheFirstDecodes) {
  TMBRegTypeList* const second = fInfo.TypeLists().Add();
  second->SetName("Mode");
  second->SetValue(1, "Second");
  EXPECT_EQ(Decode(rtList, "Mode", {1}).Srt, "Run");
  second->SetIndex(0);
  EXPECT_EQ(Decode(rtList, "Mode", {1}).Srt, "Second");
}

TEST_F(Catalogue, ATextIsTrimmedAndIsNothingElse) {
  EXPECT_EQ(Decode(rtStr, "", {' ', 'A', ' ', 'b', 0x00, '\t', 0x1F}), TRegValue{"A b"});
  EXPECT_EQ(Decode(rtStr, "Mode", {0, 0}), TRegValue{""});
  EXPECT_EQ(Decode(rtStr, "", {}), TRegValue());
}

TEST_F(Catalogue, ACodeIsLittleEndian) {
  const struct {
    Bytes data;
    std::int32_t code;
  } cases[] = {
      {{}, 0},
      {{0xFF}, 255},
      {{0x01, 0x02}, 513},
      {{0xFF, 0xFF}, 65535},
      {{0x01, 0x02, 0x03}, 0x030201},
      {{0xFE, 0xFF, 0xFF, 0xFF}, -2},
  };
  for (const auto& [data, code] : cases) {
    SCOPED_TRACE(code);
    EXPECT_EQ(Decode(rtStructur, "", data), (TRegValue{std::to_string(code), code}));
  }
  EXPECT_EQ(Decode(rtStructur, "", {1, 2, 3, 4, 5}), TRegValue());
}

TEST_F(Catalogue, ACollectionAndAKindThatDoesNotExistAreNoValue) {
  EXPECT_EQ(Decode(rtCollection, "Mode", {1}), TRegValue());
  EXPECT_EQ(Decode(static_cast<TRegType>(99), "Mode", {1}), TRegValue());
}

TEST_F(Catalogue, TheApplicationDecodesWhatHasNoType) {
  EXPECT_EQ(Decode(rtNone, "", {1}), TRegValue());
  fInfo.OnNoneType = [](const std::string& regName, const Bytes& data) {
    return TRegValue{regName, static_cast<std::int32_t>(data.size()), 0.5};
  };
  EXPECT_EQ(Decode(rtNone, "", {1, 2}), (TRegValue{"Reg", 2, 0.5}));
  EXPECT_EQ(Decode(rtCollection, "", {1, 2}), TRegValue());
}

TEST_F(Catalogue, AHandlerThatIsDoneDecodesEveryKind) {
  TRegType kind = rtNone;
  fInfo.OnDataToValue = [&](TRegType regType, const std::string& typeName, const Bytes& data,
                            bool& done, const std::string& regName) {
    EXPECT_FALSE(done);
    EXPECT_EQ(regType, kind);
    EXPECT_EQ(typeName, "Mode");
    EXPECT_EQ(data, (Bytes{7}));
    EXPECT_EQ(regName, "Reg");
    done = true;
    return TRegValue{"mine", 3, 1.5};
  };
  for (const TRegType each : {rtNone, rtList, rtBin, rtNum, rtStr, rtStructur, rtCollection}) {
    kind = each;
    EXPECT_EQ(Decode(kind, "Mode", {7}), (TRegValue{"mine", 3, 1.5}));
  }
}

TEST_F(Catalogue, WhatAHandlerThatIsNotDoneReturnsIsDropped) {
  int calls = 0;
  fInfo.OnDataToValue = [&](TRegType, const std::string&, const Bytes&, bool&, const std::string&) {
    ++calls;
    return TRegValue{"dropped", 3, 1.5};
  };
  EXPECT_EQ(Decode(rtList, "Mode", {1}), (TRegValue{"Run", 1}));
  EXPECT_EQ(Decode(rtList, "Unknown", {1}), TRegValue());
  EXPECT_EQ(Decode(rtNone, "", {1}), TRegValue());
  EXPECT_EQ(calls, 3);
}

TEST(TMBTypeInfo, AHandlerMayDestroyTheCatalogue) {
  for (const bool isDone : {false, true}) {
    auto info = std::make_unique<TMBTypeInfo>();
    info->OnDataToValue = [&](TRegType, const std::string&, const Bytes&, bool& done,
                              const std::string&) {
      info.reset();
      done = isDone;
      return TRegValue{"last"};
    };
    EXPECT_EQ(info->DataToValue(rtStr, "", {'x'}, "Reg", -1).Srt, isDone ? "last" : "");
  }
}

TEST(TMBTypeInfo, WhatAHandlerThrowsPassesThrough) {
  TMBTypeInfo info;
  info.OnNoneType = [](const std::string&, const Bytes&) -> TRegValue { throw Exception("mine"); };
  EXPECT_THAT([&] { info.DataToValue(rtNone, "", {}, "Reg", -1); },
              ThrowsMessage<Exception>("mine"));
}

TEST_F(Catalogue, DescribesListsBitFieldsAndNumbers) {
  EXPECT_EQ(fInfo.ConstraintStr(rtList, "Mode"), "0: Stop; 1: Run");
  EXPECT_EQ(fInfo.ConstraintStr(rtBin, "Flags"), "0: Ready");
  EXPECT_EQ(fInfo.ConstraintStr(rtNum, "Level"), "Min: 0; Max: 500");
  EXPECT_EQ(fInfo.ConstraintStr(rtNum, "Mode"), "");
  for (const TRegType kind : {rtNone, rtStr, rtStructur, rtCollection}) {
    EXPECT_EQ(fInfo.ConstraintStr(kind, "Mode"), "");
  }
}

TEST(TMBTypeInfo, TheClearedValueIsThree) {
  TRegValue value{"text", 5, 2.5};
  TMBTypeInfo::ClearValue(value);
  EXPECT_EQ(value.Srt, "");
  EXPECT_EQ(value.Int, -2147483647 - 1);
  EXPECT_EQ(value.R, -1.7976931348623157e308);
}

TEST_F(Catalogue, AssignLeavesOutStructuresAndHandlers) {
  fInfo.TypeStructurs().Add();
  fInfo.OnNoneType = [](const std::string&, const Bytes&) { return TRegValue{"source"}; };
  fInfo.OnDataToValue = [](TRegType, const std::string&, const Bytes&, bool&, const std::string&) {
    return TRegValue{"source"};
  };
  TMBTypeInfo copy;
  copy.TypeStructurs().Add()->SetName("Own");
  copy.TypeLists().Add()->SetName("Replaced");
  const TMBRegTypeLists* const lists = &copy.TypeLists();
  copy.Assign(fInfo);
  EXPECT_EQ(&copy.TypeLists(), lists);
  EXPECT_EQ(copy.TypeLists().Count(), 1);
  EXPECT_EQ(copy.TypeLists().GetItemByName("Mode")->GetValue(1), "Run");
  EXPECT_EQ(copy.TypeBins().GetItemByName("Flags")->GetBitName(0), "Ready");
  EXPECT_EQ(copy.TypeNumbers().GetItemByName("Level")->Multiplier(), 0.5);
  EXPECT_EQ(copy.TypeStructurs().Count(), 1);
  EXPECT_EQ(copy.TypeStructurs().Items(0)->Name(), "Own");
  EXPECT_FALSE(copy.OnNoneType);
  EXPECT_FALSE(copy.OnDataToValue);
}

TEST_F(Catalogue, AssignRefusesAnythingElse) {
  EXPECT_THAT([&] { fInfo.Assign(fInfo.TypeLists()); },
              ThrowsMessage<EConvertError>("Cannot assign a TMBRegTypeLists to a TMBTypeInfo"));
  EXPECT_EQ(fInfo.TypeLists().Count(), 1);
}

TEST_F(Catalogue, AssignedToItselfItKeepsItsTypes) {
  fInfo.Assign(fInfo);
  EXPECT_EQ(Decode(rtList, "Mode", {1}).Srt, "Run");
}

TEST_F(Catalogue, TheSettersCopyItemsIntoTheOwnCollections) {
  TMBTypeInfo copy;
  fInfo.TypeStructurs().Add()->SetName("Field");
  const TMBRegTypeStructurs* const own = &copy.TypeStructurs();
  copy.SetTypeLists(fInfo.TypeLists());
  copy.SetTypeBins(fInfo.TypeBins());
  copy.SetTypeNumbers(fInfo.TypeNumbers());
  copy.SetTypeStructurs(fInfo.TypeStructurs());
  EXPECT_EQ(copy.TypeLists().Items(0)->Name(), "Mode");
  EXPECT_EQ(copy.TypeBins().Items(0)->Name(), "Flags");
  EXPECT_EQ(copy.TypeNumbers().Items(0)->Name(), "Level");
  EXPECT_EQ(copy.TypeStructurs().Items(0)->Name(), "Field");
  EXPECT_EQ(&copy.TypeStructurs(), own);
  EXPECT_NE(copy.TypeLists().Items(0), fInfo.TypeLists().Items(0));
}

TEST_F(Catalogue, ClearingEmptiesAllFourCollections) {
  fInfo.TypeStructurs().Add();
  fInfo.ClearAllDataType();
  EXPECT_EQ(fInfo.TypeLists().Count(), 0);
  EXPECT_EQ(fInfo.TypeBins().Count(), 0);
  EXPECT_EQ(fInfo.TypeNumbers().Count(), 0);
  EXPECT_EQ(fInfo.TypeStructurs().Count(), 0);
  EXPECT_EQ(fInfo.TypeLists().Add()->Name(), "TypeList2");
}

/// Writes its letter when destroyed.
template <class TType>
class TWitness : public TType {
 public:
  TWitness(TCollection* collection, char letter, std::string& log)
      : TType(collection), fLetter(letter), fLog(log) {}
  ~TWitness() override { fLog.push_back(fLetter); }

 private:
  char fLetter;
  std::string& fLog;
};

TEST(TMBTypeInfo, FreesListsBitFieldsNumbersAndStructuresInThisOrder) {
  std::string log;
  {
    TMBTypeInfo info;
    new TWitness<TMBRegTypeStructure>(&info.TypeStructurs(), 'S', log);
    new TWitness<TMBRegTypeNumber>(&info.TypeNumbers(), 'N', log);
    new TWitness<TMBRegTypeBin>(&info.TypeBins(), 'B', log);
    new TWitness<TMBRegTypeList>(&info.TypeLists(), 'L', log);
  }
  EXPECT_EQ(log, "LBNS");
}

TEST(TMBTypeInfo, BelongsToItsOwnerComponent) {
  TComponent owner;
  auto* const info = new TMBTypeInfo(&owner);
  info->SetName("Types");
  EXPECT_EQ(owner.FindComponent("Types"), info);
  const TRef<TMBTypeInfo> reference(info);
  delete info;
  EXPECT_TRUE(reference.Gone());
  EXPECT_EQ(owner.ComponentCount(), 0);
}

// The published properties.

TStringDynArray PropertyNames(const TClassInfo& info) {
  TStringDynArray names;
  for (const TPropertyInfo* property : info.Properties()) names.emplace_back(property->Name);
  return names;
}

TEST(TypeProperties, EveryClassPublishesItsTable) {
  EXPECT_THAT(PropertyNames(TMBTypeInfo::StaticClass()),
              ElementsAre("TypeLists", "TypeBins", "TypeNumbers", "TypeStructurs", "OnNoneType",
                          "OnDataToValue"));
  EXPECT_THAT(PropertyNames(TMBRegTypeList::StaticClass()),
              ElementsAre("Name", "RegType", "Dictionary"));
  EXPECT_THAT(PropertyNames(TMBRegTypeBin::StaticClass()),
              ElementsAre("Name", "RegType", "Dictionary", "Bits"));
  EXPECT_THAT(PropertyNames(TMBRegTypeNumber::StaticClass()),
              ElementsAre("Name", "RegType", "MinValue", "MaxValue", "IntPart", "RealPart", "Step",
                          "Multiplier", "DisplayFormat", "FromIndex"));
  EXPECT_THAT(PropertyNames(TMBRegTypeStructure::StaticClass()),
              ElementsAre("Name", "RegType", "Code", "StructurName", "RegTypeName", "Offset",
                          "Size", "Caption", "MBRegTypeItem"));
}

TEST(TypeProperties, ObjectsAndCollectionsKnowTheirClasses) {
  TMBTypeInfo info;
  const struct {
    const TPersistent* object;
    const char* name;
    const TClassInfo* parent;
  } cases[] = {
      {&info, "TMBTypeInfo", &TComponent::StaticClass()},
      {&info.TypeLists(), "TMBRegTypeLists", &TCollection::StaticClass()},
      {&info.TypeBins(), "TMBRegTypeBins", &TCollection::StaticClass()},
      {&info.TypeNumbers(), "TMBRegTypeNumbers", &TCollection::StaticClass()},
      {&info.TypeStructurs(), "TMBRegTypeStructurs", &TCollection::StaticClass()},
      {info.TypeLists().Add(), "TMBRegTypeList", &TMBRegTypeColItem::StaticClass()},
      {info.TypeBins().Add(), "TMBRegTypeBin", &TMBRegTypeColItem::StaticClass()},
      {info.TypeNumbers().Add(), "TMBRegTypeNumber", &TMBRegTypeColItem::StaticClass()},
      {info.TypeStructurs().Add(), "TMBRegTypeStructure", &TMBRegTypeColItem::StaticClass()},
  };
  for (const auto& [object, name, parent] : cases) {
    SCOPED_TRACE(name);
    EXPECT_EQ(object->ClassName(), name);
    EXPECT_EQ(object->ClassInfo().Parent(), parent);
  }
}

/// The property's value with a default of its own: all but names, kinds, parts and events.
bool IsPlain(const TPropertyInfo& property) {
  return property.Default.has_value() && property.Kind != TPropertyKind::pkEvent;
}

TEST(TypeProperties, DefaultsAreTheStateOfANewObject) {
  TMBTypeInfo info;
  const TPersistent* const objects[] = {&info, info.TypeLists().Add(), info.TypeBins().Add(),
                                        info.TypeNumbers().Add(), info.TypeStructurs().Add()};
  int compared = 0;
  for (const TPersistent* object : objects) {
    for (const TPropertyInfo* property : object->ClassInfo().Properties()) {
      if (!IsPlain(*property)) continue;
      SCOPED_TRACE(std::string(object->ClassName()) + "." + std::string(property->Name));
      ++compared;
      switch (property->Kind) {
        case TPropertyKind::pkFloat:
          EXPECT_EQ(std::get<double>(property->Get(*object)), std::get<double>(*property->Default));
          break;
        case TPropertyKind::pkString:
          EXPECT_EQ(std::get<std::string>(property->Get(*object)),
                    std::get<std::string>(*property->Default));
          break;
        case TPropertyKind::pkReference:
          EXPECT_EQ(std::get<TPersistent*>(property->Get(*object)),
                    std::get<TPersistent*>(*property->Default));
          break;
        default:
          EXPECT_EQ(std::get<std::int64_t>(property->Get(*object)),
                    std::get<std::int64_t>(*property->Default));
      }
    }
  }
  EXPECT_EQ(compared, 8 + 7);
}

TEST(TypeProperties, NameAndKindAreAlwaysStored) {
  for (const char* name : {"Name", "RegType"}) {
    EXPECT_FALSE(TMBRegTypeColItem::StaticClass().Property(name)->Default.has_value());
  }
}

void Set(TPersistent& object, const char* name, const TPropertyValue& value) {
  SetProperty(object, *object.ClassInfo().Property(name), value);
}

TEST(TypeProperties, ANumberIsWrittenThroughItsSetters) {
  TMBRegTypeNumber number(nullptr);
  Set(number, "Name", std::string("Speed"));
  Set(number, "RegType", std::int64_t{4});
  Set(number, "MinValue", -1.5);
  Set(number, "MaxValue", 2.5);
  Set(number, "IntPart", std::int64_t{255});
  Set(number, "RealPart", std::int64_t{3});
  Set(number, "Step", 0.25);
  Set(number, "Multiplier", 4.0);
  Set(number, "DisplayFormat", std::string("%.1f"));
  Set(number, "FromIndex", std::int64_t{-2147483647} - 1);
  EXPECT_EQ(number.Name(), "Speed");
  EXPECT_EQ(number.RegType(), rtStr);
  EXPECT_EQ(number.MinValue(), -1.5);
  EXPECT_EQ(number.MaxValue(), 2.5);
  EXPECT_EQ(number.IntPart(), 255);
  EXPECT_EQ(number.RealPart(), 3);
  EXPECT_EQ(number.Step(), 0.25);
  EXPECT_EQ(number.Precision(), -2);
  EXPECT_EQ(number.Multiplier(), 4);
  EXPECT_EQ(number.DisplayFormat(), "%.1f");
  EXPECT_EQ(number.FromIndex(), -2147483647 - 1);
}

TEST(TypeProperties, AFieldIsWrittenThroughItsSetters) {
  TMBRegTypeStructure field(nullptr);
  TMBRegTypeList type(nullptr);
  Set(field, "Code", std::int64_t{-7});
  Set(field, "StructurName", std::string("Rec"));
  Set(field, "RegTypeName", std::string("Mode"));
  Set(field, "Offset", std::int64_t{-32768});
  Set(field, "Size", std::int64_t{65535});
  Set(field, "Caption", std::string("Drive"));
  Set(field, "MBRegTypeItem", static_cast<TPersistent*>(&type));
  EXPECT_EQ(field.Code(), -7);
  EXPECT_EQ(field.StructurName(), "Rec");
  EXPECT_EQ(field.RegTypeName(), "Mode");
  EXPECT_EQ(field.Offset(), -32768);
  EXPECT_EQ(field.Size(), 65535);
  EXPECT_EQ(field.Caption(), "Drive");
  EXPECT_EQ(field.MBRegTypeItem(), &type);
}

TEST(TypeProperties, ValuesThatDoNotFitAreRefused) {
  TMBTypeInfo info;
  TMBRegTypeNumber* const number = info.TypeNumbers().Add();
  TMBRegTypeStructure* const field = info.TypeStructurs().Add();
  EXPECT_THROW(Set(*number, "IntPart", std::int64_t{256}), EConvertError);
  EXPECT_THROW(Set(*number, "RegType", std::int64_t{7}), EConvertError);
  EXPECT_THROW(Set(*field, "Offset", std::int64_t{32768}), EConvertError);
  EXPECT_THROW(Set(*field, "Size", std::int64_t{-1}), EConvertError);
  EXPECT_THROW(Set(*field, "MBRegTypeItem", static_cast<TPersistent*>(&info)), EConvertError);
  EXPECT_EQ(field->MBRegTypeItem(), nullptr);
}

TEST(TypeProperties, ListsAndCollectionsAreAssigned) {
  TMBTypeInfo info;
  TMBRegTypeBin* const bin = info.TypeBins().Add();
  TStringList lines;
  lines.Add("1=one");
  Set(*bin, "Dictionary", static_cast<TPersistent*>(&lines));
  lines.Add("2=two");
  Set(*bin, "Bits", static_cast<TPersistent*>(&lines));
  EXPECT_EQ(bin->Dictionary().Count(), 1);
  EXPECT_EQ(bin->Bits().Count(), 2);
  TMBTypeInfo copy;
  Set(copy, "TypeBins", static_cast<TPersistent*>(&info.TypeBins()));
  EXPECT_EQ(copy.TypeBins().Items(0)->GetBitName(2), "two");
}

TEST(TypeProperties, EventsAreSetAndAreEmptyByDefault) {
  TMBTypeInfo info;
  const TPropertyInfo& property = *TMBTypeInfo::StaticClass().Property("OnNoneType");
  EXPECT_FALSE(std::any_cast<TOnNoneType>(std::get<std::any>(*property.Default)));
  const TOnNoneType handler = [](const std::string&, const Bytes&) { return TRegValue{"set"}; };
  Set(info, "OnNoneType", std::any(handler));
  EXPECT_EQ(info.OnNoneType, handler);
  EXPECT_EQ(info.DataToValue(rtNone, "", {}, "Reg", -1).Srt, "set");
  EXPECT_THROW(Set(info, "OnDataToValue", std::any(handler)), EConvertError);
}

}  // namespace
}  // namespace OrvixModBus
