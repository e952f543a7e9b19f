#include "tools/orvixmb/uRecordStructure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "platform/rtl/uException.h"
#include "tools/orvixmb/uRecordCurves.h"
#include "tools/orvixmb/uRecordText.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using enum TRegType;

struct TFieldRow {
  const char* Structur;
  const char* Name;
  TRegType Type;
  const char* TypeName;
  std::int16_t Offset;
  std::uint16_t Size;
  const char* Caption = "";
};

class RecordStructure : public testing::Test {
 protected:
  RecordStructure() {
    TMBRegTypeNumber& number = *fTypes.TypeNumbers().Add();
    number.SetName("Tenths");
    number.SetMinValue(-400);
    number.SetMaxValue(1200);
    number.SetIntPart(2);
    number.SetMultiplier(0.1);
    number.SetDisplayFormat("%.1f");
    TMBRegTypeList& list = *fTypes.TypeLists().Add();
    list.SetName("Mode");
    list.Dictionary().Add("1=on");
    TMBRegTypeBin& bin = *fTypes.TypeBins().Add();
    bin.SetName("Alarms");
    bin.Dictionary().Add("0=|fire");
    bin.Dictionary().Add("7=|flood");
  }

  void Add(const TFieldRow& row) {
    TMBRegTypeStructure& item = *fTypes.TypeStructurs().Add();
    item.SetStructurName(row.Structur);
    item.SetName(row.Name);
    item.SetRegType(row.Type);
    item.SetRegTypeName(row.TypeName);
    item.SetOffset(row.Offset);
    item.SetSize(row.Size);
    item.SetCaption(row.Caption);
  }

  TComponent fRoot;
  TMBTypeInfo fTypes{&fRoot};
};

struct TFieldCase {
  TRegType Type;
  const char* TypeName;
  Bytes Data;
  const char* Text;
  std::optional<double> Number = {};
};

TEST_F(RecordStructure, EveryKindOfFieldHasAText) {
  const TFieldCase cases[] = {
      {rtNum, "Tenths", {0x00, 0x7B}, "12.3", 0x7B * 0.1},
      {rtNum, "Tenths", {0xFF, 0x85}, "-12.3", -123 * 0.1},
      {rtNum, "Tenths", {0xFF, 0xFF}, "-"},
      {rtNum, "Tenths", {0x7F, 0xFF}, "$7FFF"},
      {rtNum, "Nothing", {0x01, 0x02}, "$0102"},
      {rtList, "Mode", {0x00, 0x01}, "on"},
      {rtList, "Mode", {0x00, 0x05}, "5"},
      {rtList, "Nothing", {0x05}, "$05"},
      {rtBin, "Alarms", {0x81}, "fire, flood"},
      {rtBin, "Alarms", {0x00}, ""},
      {rtBin, "Nothing", {0x81}, "$81"},
      {rtStr, "", {'a', 'b', ' ', ' '}, "ab"},
      {rtStr, "", {' ', ' '}, ""},
      {rtStructur, "", {0x02, 0x01}, "258"},
      {rtNone, "", {0xAB, 0xCD, 0xEF}, "$ABCDEF"},
      {rtCollection, "", {0x01}, "$01"},
  };
  for (const TFieldCase& each : cases) {
    SCOPED_TRACE(each.Text);
    fTypes.TypeStructurs().Clear();
    Add({"One", "Field", each.Type, each.TypeName, 0,
         static_cast<std::uint16_t>(each.Data.size())});
    const std::vector<TFieldValue> values = TRecordStructure(fTypes, "One").ValuesOf(each.Data);
    ASSERT_EQ(values.size(), 1U);
    EXPECT_EQ(values[0].Text, each.Text);
    EXPECT_EQ(values[0].Number, each.Number);
  }
}

TEST_F(RecordStructure, FieldsStandInTheOrderOfTheirOffsets) {
  Add({"Both", "Second", rtStr, "", 2, 2});
  Add({"Both", "First", rtStr, "", 0, 2});
  const TRecordStructure both(fTypes, "Both");
  EXPECT_EQ(both.Name(), "Both");
  EXPECT_EQ(both.Length(), 4U);
  EXPECT_EQ(both.Fields()[0]->Name(), "First");
  EXPECT_EQ(both.ValuesOf({'a', 'a', 'b', 'b'})[1].Text, "bb");
  EXPECT_THROW(both.ValuesOf({'a', 'a', 'b'}), EArgumentOutOfRangeException);
}

TEST_F(RecordStructure, AllCataloguesOfAFormAreLookedThrough) {
  TMBTypeInfo others(&fRoot);
  Add({"A", "X", rtStr, "", 0, 2});
  Add({"B", "X", rtStr, "", 0, 3});
  Add({"A", "Y", rtStr, "", 2, 2});
  TMBRegTypeStructure& field = *others.TypeStructurs().Add();
  field.SetStructurName("C");
  std::vector<std::string> names;
  for (const TRecordStructure& each : StructuresOf(fRoot)) names.push_back(each.Name());
  EXPECT_THAT(names, ElementsAre("A", "B", "C"));
  EXPECT_EQ(StructureNamed(fRoot, "a.form", "A", "Log.Length", 4).Fields().size(), 2U);
}

TEST_F(RecordStructure, ATableHasNoRowOfUnitsWhenThereAreNone) {
  Add({"Plain", "X", rtStr, "", 0, 1});
  const TRecording recording{.First = 9, .Records = {{'a'}, {'b'}}};
  const TMaybeStructure plain = TRecordStructure(fTypes, "Plain");
  EXPECT_EQ(TableText(RecordsTable(recording, plain)),
            "record  X\n"
            "     9  a\n"
            "    10  b\n");
  EXPECT_EQ(RecordsJson(recording, plain).dump(),
            R"([{"record":9,"raw":"61","values":{"X":"a"}},)"
            R"({"record":10,"raw":"62","values":{"X":"b"}}])");
}

TEST_F(RecordStructure, CurvesAreTheNumbers) {
  Add({"Wave", "U", rtNum, "Tenths", 0, 2, "V"});
  Add({"Wave", "I", rtNum, "Tenths", 2, 2, "A"});
  Add({"Wave", "Note", rtStr, "", 4, 1});
  Add({"Wave", "U2", rtNum, "Tenths", 5, 2, "V"});
  const TRecording recording{
      .Records = {{0, 10, 0, 20, 'x', 0, 30}, {0, 20, 255, 255, 'x', 0, 40}}};
  const auto curves = CurvesOf(recording, TRecordStructure(fTypes, "Wave"));
  ASSERT_EQ(curves.size(), 3U);
  EXPECT_EQ(curves[1].Name, "I");
  EXPECT_EQ(curves[1].Unit, "A");
  EXPECT_THAT(curves[1].Values, ElementsAre(2, testing::IsNan()));
  EXPECT_THAT(curves[2].Values, ElementsAre(testing::DoubleEq(3), testing::DoubleEq(4)));
  // Curves of one unit share a panel, wherever they stand.
  const TPlot plot = PlotOf(curves, 0, 7);
  ASSERT_EQ(plot.Panels.size(), 2U);
  EXPECT_EQ(plot.Panels[0].Unit, "V");
  EXPECT_EQ(plot.Panels[0].Curves.at(1).Name, "U2");
  EXPECT_EQ(plot.Panels[1].Curves.at(0).Name, "I");
  EXPECT_EQ(plot.Axis, "Record");
  EXPECT_EQ(plot.First, 7);
  EXPECT_EQ(plot.Step, 1);
  const TPlot timed = PlotOf(curves, 0.25, 7);
  EXPECT_EQ(timed.Axis, "Time, ms");
  EXPECT_EQ(timed.First, 0);
  EXPECT_EQ(timed.Step, 0.25);
}

}  // namespace
}  // namespace OrvixModBus
