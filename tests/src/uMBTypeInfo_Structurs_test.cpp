#include "uMBTypeInfo_Structurs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "uMBTypeInfo.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

struct TFieldShape {
  const char* Name;
  std::int16_t Offset;
  std::uint16_t Size;
  TRegType Kind = TRegType::rtStructur;
  const char* TypeName = "";
  const char* Structur = "Rec";
  std::int32_t Code = 7;
};

TMBRegTypeStructure* AddField(TMBRegTypeStructurs& fields, const TFieldShape& shape) {
  TMBRegTypeStructure* const field = fields.Add();
  field->SetName(shape.Name);
  field->SetOffset(shape.Offset);
  field->SetSize(shape.Size);
  field->SetRegType(shape.Kind);
  field->SetRegTypeName(shape.TypeName);
  field->SetStructurName(shape.Structur);
  field->SetCode(shape.Code);
  return field;
}

TStringDynArray Names(const TMBRegTypeStructurs::TItems& fields) {
  TStringDynArray names;
  for (const TMBRegTypeStructure* field : fields) names.push_back(field->Name());
  return names;
}

TEST(TStructurComparer, OrdersByMagnitudeSignAndSize) {
  const struct {
    std::int16_t leftOffset;
    std::uint16_t leftSize;
    std::int16_t rightOffset;
    std::uint16_t rightSize;
    int order;
  } cases[] = {
      {0, 1, 2, 1, -1},          {4, 1, 2, 9, 1},
      {2, 1, 2, 9, 0},           {0, 5, 0, 1, 0},
      {-2, 1, 4, 1, -1},         {-4, 1, 2, 1, 1},
      {2, 1, -2, 1, -1},         {-2, 1, 2, 9, 1},
      {-2, 1, -2, 2, -1},        {-2, 3, -2, 2, 1},
      {-2, 2, -2, 2, 0},         {-32768, 1, 32767, 1, 1},
      {32767, 1, -32768, 1, -1}, {-32768, 65535, -32768, 1, 1},
  };
  TMBRegTypeStructurs fields(nullptr);
  for (const auto& [leftOffset, leftSize, rightOffset, rightSize, order] : cases) {
    SCOPED_TRACE(testing::Message()
                 << leftOffset << ':' << leftSize << ' ' << rightOffset << ':' << rightSize);
    const auto* left = AddField(fields, {"L", leftOffset, leftSize});
    const auto* right = AddField(fields, {"R", rightOffset, rightSize});
    EXPECT_EQ(TStructurComparer::Compare(*left, *right), order);
    EXPECT_EQ(TStructurComparer::Compare(*right, *left), -order);
  }
}

class StructurQueries : public testing::Test {
 protected:
  StructurQueries() {
    AddField(fFields, {"C", 4, 2});
    AddField(fFields, {"A", 0, 2});
    AddField(fFields, {"Minus", -2, 2});
    AddField(fFields, {"B", 2, 1});
    AddField(fFields, {"B2", 2, 9});
    AddField(fFields, {"Z", 0, 1, TRegType::rtNum, "", "rec", 8});
  }

  TMBRegTypeStructurs fFields{nullptr};
};

TEST_F(StructurQueries, FieldsComeInTheirOrderEqualOnesAsInTheCollection) {
  EXPECT_THAT(Names(fFields.ItemsByStructurName("Rec")), ElementsAre("A", "B", "B2", "Minus", "C"));
  EXPECT_THAT(Names(fFields.ItemsByStructurCode(7)), ElementsAre("A", "B", "B2", "Minus", "C"));
}

TEST_F(StructurQueries, LettersCaseMatters) {
  EXPECT_THAT(Names(fFields.ItemsByStructurName("rec")), ElementsAre("Z"));
  EXPECT_THAT(fFields.ItemsByStructurName("REC"), IsEmpty());
  EXPECT_THAT(fFields.ItemsByStructurName(""), IsEmpty());
  EXPECT_THAT(fFields.ItemsByStructurCode(0), IsEmpty());
}

TEST_F(StructurQueries, ByCodeTheFieldsAreAddedToTheGivenOnesAndAllAreSorted) {
  EXPECT_THAT(Names(fFields.ItemsByStructurCode(8, fFields.ItemsByStructurCode(7))),
              ElementsAre("A", "Z", "B", "B2", "Minus", "C"));
  EXPECT_THAT(Names(fFields.ItemsByStructurCode(1, {fFields.Items(0), fFields.Items(1)})),
              ElementsAre("A", "C"));
}

TEST_F(StructurQueries, ManyEqualFieldsKeepTheirOrder) {
  TMBRegTypeStructurs fields(nullptr);
  TStringDynArray names;
  for (int i = 0; i < 100; ++i) {
    names.push_back("F" + std::to_string(i));
    AddField(fields, {names.back().c_str(), 3, static_cast<std::uint16_t>(100 - i)});
  }
  EXPECT_EQ(Names(fields.ItemsByStructurName("Rec")), names);
}

TEST_F(StructurQueries, AFieldIsFoundByItsNameAndItsStructurName) {
  TMBRegTypeStructure* const second = AddField(fFields, {"A", 9, 1});
  EXPECT_EQ(fFields.GetItemByName("A", "Rec"), fFields.Items(1));
  EXPECT_EQ(fFields.ItemByName("Z", "rec"), fFields.Items(5));
  EXPECT_EQ(fFields.GetItemByName("Z", "Rec"), nullptr);
  EXPECT_EQ(fFields.GetItemByName("a", "Rec"), nullptr);
  EXPECT_EQ(fFields.GetItemByName("A", "rec"), nullptr);
  fFields.Items(1)->SetStructurName("Other");
  EXPECT_EQ(fFields.GetItemByName("A", "Rec"), second);
}

TEST_F(StructurQueries, SettingByNameAssignsToTheFirstThatFits) {
  TMBRegTypeStructure source(nullptr);
  source.SetName("New");
  source.SetSize(77);
  fFields.SetItemByName("B", "Rec", source);
  EXPECT_EQ(fFields.Items(3)->Name(), "New");
  EXPECT_EQ(fFields.Items(3)->Size(), 77);
  fFields.SetItemByName("A", "rec", source);
  EXPECT_EQ(fFields.Items(1)->Name(), "A");
}

TEST_F(StructurQueries, TheIndexOfANameInAListOfFields) {
  const auto items = fFields.ItemsByStructurName("Rec");
  EXPECT_EQ(IndexOfRegTypeItem(items, "A"), 0);
  EXPECT_EQ(IndexOfRegTypeItem(items, "C"), 4);
  EXPECT_EQ(IndexOfRegTypeItem(items, "c"), -1);
  EXPECT_EQ(IndexOfRegTypeItem({}, "A"), -1);
  EXPECT_EQ(IndexOfRegTypeItem({items[0], items[0]}, "A"), 0);
}

TEST(TMBRegTypeStructure, AssignCopiesEverythingTheKindToo) {
  TMBRegTypeStructurs fields(nullptr);
  TMBRegTypeStructure* const source =
      AddField(fields, {"Speed", -5, 65535, TRegType::rtNum, "U16", "Rec", -9});
  source->SetCaption("Drive");
  TMBRegTypeList type(nullptr);
  source->SetMBRegTypeItem(&type);
  TMBRegTypeStructure copy(nullptr);
  copy.Assign(*source);
  EXPECT_EQ(copy.Name(), "Speed");
  EXPECT_EQ(copy.Offset(), -5);
  EXPECT_EQ(copy.Size(), 65535);
  EXPECT_EQ(copy.RegType(), TRegType::rtNum);
  EXPECT_EQ(copy.RegTypeName(), "U16");
  EXPECT_EQ(copy.StructurName(), "Rec");
  EXPECT_EQ(copy.Code(), -9);
  EXPECT_EQ(copy.Caption(), "Drive");
  EXPECT_EQ(copy.MBRegTypeItem(), &type);
}

TEST(TMBRegTypeStructure, TheReferenceIsNilOnceItsDescriptionIsGone) {
  TMBRegTypeStructure field(nullptr);
  {
    TMBRegTypeList type(nullptr);
    field.SetMBRegTypeItem(&type);
    EXPECT_EQ(field.MBRegTypeItem(), &type);
  }
  EXPECT_EQ(field.MBRegTypeItem(), nullptr);
}

TEST(TMBRegTypeStructure, AFieldAloneHasNoValue) {
  TMBRegTypeStructure field(nullptr);
  field.SetRegType(TRegType::rtStructur);
  EXPECT_EQ(field.DataToValue({1, 2}), TRegValue());
  EXPECT_THAT([&] { field.StrToVar("1"); },
              ThrowsMessage<Exception>("TMBRegTypeStructure has no StrToVar"));
  EXPECT_THAT([&] { field.ConstraintStr(); },
              ThrowsMessage<Exception>("TMBRegTypeStructure has no ConstraintStr"));
}

/// A record of six bytes: a mode, flags, a speed, and a catalogue that knows them.
class StructurValues : public testing::Test {
 protected:
  StructurValues() {
    TMBRegTypeList* const mode = fInfo.TypeLists().Add();
    mode->SetName("Mode");
    mode->Dictionary().SetText("0=Stop\n1=Run\n2=1|2\n");
    TMBRegTypeBin* const flags = fInfo.TypeBins().Add();
    flags->SetName("Flags");
    flags->Dictionary().SetText("0=off|on\n");
    AddField(fFields, {"Speed", 4, 2});
    AddField(fFields, {"Mode", 0, 1, TRegType::rtList, "Mode"});
    AddField(fFields, {"Flags", 1, 1, TRegType::rtBin, "Flags"});
    AddField(fFields, {"Text", 2, 2, TRegType::rtStr});
  }

  TStringDynArray Values(const Bytes& data, const TOnStructurDataToValue& handler = {},
                         const std::string& first = "") {
    return fFields.ValuesByStructurNameEx("Rec", data, fInfo, handler, first);
  }

  TMBTypeInfo fInfo;
  TMBRegTypeStructurs& fFields = fInfo.TypeStructurs();
  const Bytes fBlock{0x01, 0x01, 'A', 'B', 0x02, 0x01};
};

TEST_F(StructurValues, OneTextForAFieldAndOneForABit) {
  EXPECT_THAT(fFields.ValuesByStructurName("Rec", fBlock, fInfo, {}),
              ElementsAre("Run", "on", "", "", "", "", "", "", "", "AB", "258"));
}

TEST_F(StructurValues, TheBarOfAListFieldStays) {
  EXPECT_THAT(Values({0x02, 0x00, 'A', 'B', 0x00, 0x00}),
              ElementsAre("1|2", "off", "", "", "", "", "", "", "", "AB", "0"));
}

TEST_F(StructurValues, ABlockThatDoesNotEndWithTheLastFieldLeavesTheResult) {
  EXPECT_THAT(Values({1, 2, 3, 4, 5, 6, 7}), IsEmpty());
  EXPECT_THAT(Values({1, 2, 3, 4, 5}), IsEmpty());
  EXPECT_THAT(Values({}), IsEmpty());
  EXPECT_THAT(fFields.ValuesByStructurName("Rec", {1, 2, 3}, fInfo, {}, {"old"}),
              ElementsAre("old"));
  EXPECT_THAT(fFields.ValuesByStructurName("Rec", {}, fInfo, {}, {"old"}), ElementsAre("old"));
  EXPECT_THAT(fFields.ValuesByStructurName("rec", fBlock, fInfo, {}, {"old"}), ElementsAre("old"));
  EXPECT_THAT(fFields.ValuesByStructurNameEx("Rec", {1}, fInfo, {}, "Mode", {"old"}),
              ElementsAre("old"));
}

TEST_F(StructurValues, AnEmptyBlockHasNoValuesEvenWhereItFits) {
  AddField(fFields, {"Nothing", 0, 0, TRegType::rtStr, "", "Empty"});
  EXPECT_THAT(fFields.ValuesByStructurName("Empty", {}, fInfo, {}, {"old"}), ElementsAre("old"));
}

TEST_F(StructurValues, ABlockThatFitsReplacesTheResult) {
  EXPECT_THAT(fFields.ValuesByStructurNameEx("Rec", fBlock, fInfo, {}, "Speed", {"old"}),
              ElementsAre("258"));
  EXPECT_THAT(fFields.ValuesByStructurNameEx("Rec", fBlock, fInfo, {}, "nobody", {"old"}),
              IsEmpty());
}

TEST_F(StructurValues, AResultThatIsUsedAgainHoldsNothingOfItsLastBlock) {
  TStringDynArray values = Values({0x02, 0x01, 'A', 'B', 0xFF, 0xFE});
  values.insert(values.end(), 5, "a text that is longer than those of the block");
  EXPECT_THAT(fFields.ValuesByStructurName("Rec", fBlock, fInfo, {}, std::move(values)),
              ElementsAre("Run", "on", "", "", "", "", "", "", "", "AB", "258"));
}

TEST_F(StructurValues, AChangedFieldCountsAtTheNextBlock) {
  TMBRegTypeStructure &speed = *fFields.Items(0), &text = *fFields.Items(3);
  ASSERT_EQ(Values(fBlock).back(), "258");
  speed.SetOffset(2);
  text.SetOffset(4);
  EXPECT_EQ(Values({0, 0, 2, 1, 'A', 'B'}).back(), "AB");
  text.SetSize(1);
  EXPECT_EQ(Values({0, 0, 2, 1, 'A'}).back(), "A");
  text.SetStructurName("Alone");
  EXPECT_EQ(Values({0, 0, 2, 1}).back(), "258");
  EXPECT_THAT(fFields.ValuesByStructurName("Alone", {0, 0, 0, 0, 'A'}, fInfo, {}),
              ElementsAre("A"));
  speed.Assign(text);
  EXPECT_THAT(fFields.ValuesByStructurName("Alone", {0, 0, 0, 0, 'A'}, fInfo, {}),
              ElementsAre("A", "A"));
  EXPECT_THAT(Values({1, 1}), ElementsAre("Run", "on", "", "", "", "", "", "", ""));
  speed.SetRegType(TRegType::rtStructur);
  EXPECT_THAT(fFields.ValuesByStructurName("Alone", {0, 0, 0, 0, 'A'}, fInfo, {}),
              ElementsAre("65", "A"));
  fFields.Delete(0);
  EXPECT_THAT(fFields.ValuesByStructurName("Alone", {0, 0, 0, 0, 'A'}, fInfo, {}),
              ElementsAre("A"));
  AddField(fFields, {"More", 1, 1, TRegType::rtStr, "", "Alone"});
  EXPECT_THAT(fFields.ValuesByStructurName("Alone", {0, 'b', 0, 0, 'A'}, fInfo, {}),
              ElementsAre("b", "A"));
  fFields.Clear();
  EXPECT_THAT(Values({1, 1}), IsEmpty());
}

TEST_F(StructurValues, RenamedAndDeletedTypesCountAtTheNextBlock) {
  ASSERT_EQ(Values(fBlock).front(), "Run");
  fInfo.TypeLists().Items(0)->SetName("Other");
  EXPECT_EQ(Values(fBlock).front(), "");
  fInfo.TypeLists().Items(0)->SetName("Mode");
  EXPECT_EQ(Values(fBlock).front(), "Run");
  fInfo.TypeBins().Clear();
  EXPECT_THROW(Values(fBlock), Exception);
}

TEST_F(StructurValues, BeginsAtTheFirstFieldOfAName) {
  EXPECT_THAT(Values(fBlock, {}, "Text"), ElementsAre("AB", "258"));
  EXPECT_EQ(Values(fBlock, {}, "Mode"), Values(fBlock));
  EXPECT_THAT(Values(fBlock, {}, "text"), IsEmpty());
}

TEST_F(StructurValues, TheLastFieldAloneTellsTheLengthOfTheBlock) {
  fFields.Items(0)->SetOffset(-4);  // the last one now, and it would end at -2
  EXPECT_THAT(Values(fBlock), IsEmpty());
}

TEST_F(StructurValues, AHandlerSeesFieldBytesAndBlockAndMayLeaveTheFieldToTheCatalogue) {
  std::vector<std::string> seen;
  const auto values = Values(fBlock, [&](TObject& sender, TMBRegTypeStructure& field,
                                         const Bytes& data, const Bytes& line, bool& done) {
    EXPECT_EQ(&sender, &fFields);
    EXPECT_EQ(line, fBlock);
    EXPECT_FALSE(done);
    seen.push_back(field.Name() + ":" + std::to_string(data.size()));
    return TRegValue{"dropped"};
  });
  EXPECT_THAT(seen, ElementsAre("Mode:1", "Flags:1", "Text:2", "Speed:2"));
  EXPECT_EQ(values, Values(fBlock));
}

TEST_F(StructurValues, TheTextOfAHandlerThatIsDoneIsSplit) {
  const auto handler = [](TObject&, TMBRegTypeStructure& field, const Bytes&, const Bytes&,
                          bool& done) {
    done = true;
    if (field.Name() == "Mode") return TRegValue{"a|b"};
    if (field.Name() == "Flags") return TRegValue{"|"};
    return TRegValue{field.Name() == "Text" ? "" : "one"};
  };
  EXPECT_THAT(Values(fBlock, handler), ElementsAre("a", "b", "", "", "one"));
}

TEST_F(StructurValues, TheHandlersOfTheCatalogueDecodeItsFields) {
  fFields.Items(0)->SetRegType(TRegType::rtNone);
  fInfo.OnNoneType = [](const std::string& name, const Bytes& data) {
    return TRegValue{name + std::to_string(data.size())};
  };
  fInfo.OnDataToValue = [](TRegType kind, const std::string&, const Bytes&, bool& done,
                           const std::string& name) {
    done = kind == TRegType::rtStr;
    return TRegValue{"<" + name + "|>"};
  };
  EXPECT_THAT(Values(fBlock),
              ElementsAre("Run", "on", "", "", "", "", "", "", "", "<Text|>", "Speed2"));
}

TEST_F(StructurValues, AFieldOutsideTheBlockIsRefusedByName) {
  fFields.Items(3)->SetSize(5);
  EXPECT_THAT([&] { Values(fBlock); },
              ThrowsMessage<EArgumentOutOfRangeException>(
                  "Structure Rec, field Text: 5 bytes at offset 2 do not lie within a block of 6 "
                  "bytes"));
  fFields.Items(3)->SetSize(4);
  EXPECT_NO_THROW(Values(fBlock));
  fFields.Items(3)->SetOffset(-2);
  EXPECT_THAT([&] { Values(fBlock); },
              ThrowsMessage<EArgumentOutOfRangeException>(
                  "Structure Rec, field Text: 4 bytes at offset -2 do not lie within a block of 6 "
                  "bytes"));
}

TEST_F(StructurValues, AnUnknownBitTypeIsRefusedByName) {
  fFields.Items(2)->SetRegTypeName("flags");
  EXPECT_THAT([&] { Values(fBlock); },
              ThrowsMessage<Exception>("Structure Rec, field Flags: there is no bit type flags"));
}

TEST_F(StructurValues, AnUnknownListHasAnEmptyText) {
  fFields.Items(1)->SetRegTypeName("unknown");
  EXPECT_EQ(Values(fBlock)[0], "");
}

TEST_F(StructurValues, AFieldWithoutBytesIsCutEmpty) {
  fFields.Items(3)->SetSize(0);
  EXPECT_THAT(Values(fBlock, {}, "Text"), ElementsAre("", "258"));
  fFields.Items(2)->SetSize(0);
  EXPECT_THAT(Values(fBlock, {}, "Flags"), ElementsAre("", "258"));
}

TEST_F(StructurValues, FieldsThatAHandlerDeletesAreLeftOut) {
  const auto values = Values(
      fBlock,
      [&](TObject&, TMBRegTypeStructure& field, const Bytes&, const Bytes&, bool&) -> TRegValue {
        if (field.Name() == "Flags") {
          fFields.Delete(3);  // Text, which is to come
          fFields.Delete(2);  // itself
        }
        return {};
      });
  EXPECT_THAT(values, ElementsAre("Run", "258"));
}

TEST_F(StructurValues, AHandlerMayDeleteTheWholeCatalogue) {
  auto info = std::make_unique<TMBTypeInfo>();
  AddField(info->TypeStructurs(), {"A", 0, 1});
  AddField(info->TypeStructurs(), {"B", 1, 1});
  info->OnDataToValue = [&](TRegType, const std::string&, const Bytes&, bool& done,
                            const std::string&) {
    info.reset();
    done = true;
    return TRegValue{"last"};
  };
  EXPECT_THAT(info->TypeStructurs().ValuesByStructurName("Rec", {1, 2}, *info, {}),
              ElementsAre("last"));
}

}  // namespace
}  // namespace OrvixModBus
