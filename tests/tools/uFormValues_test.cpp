#include "tools/orvixmb/uFormValues.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <string_view>

#include "platform/rtl/uCodePage.h"

namespace OrvixModBus {
namespace {

using enum TRegType;

struct TNumberCase {
  const char* Name;
  double Min, Max;
  std::uint8_t IntPart, RealPart;
  double Step, Multiplier;
  std::int32_t FromIndex;
  std::size_t Size;
};

constexpr TNumberCase kNumbers[] = {
    {"Word", 0, 65535, 2, 0, 1, 1, -1, 2},
    {"Byte", 0, 255, 1, 0, 1, 1, -1, 1},
    {"Tenths", -500, 9999, 2, 0, 0.1, 0.1, -1, 2},
    {"AroundZero", -3, 3, 2, 0, 1, 1, -1, 2},
    {"AllBelowZero", -5, -1, 2, 0, 1, 1, -1, 2},
    {"SignedByte", -100, 100, 1, 0, 1, 1, -1, 1},
    {"SignedByteInAWord", -100, 100, 1, 0, 1, 1, -1, 2},
    {"ThreeBytes", -100, 100, 3, 0, 1, 1, -1, 3},
    {"Long", -2147483648.0, 2147483647.0, 4, 0, 1, 1, -1, 4},
    {"Counter", 0, 4294967295.0, 4, 0, 0.1, 0.1, -1, 4},
    {"CounterFromAbove", 1e6, 4294967295.0, 4, 0, 1, 1, -1, 4},
    {"EightBytes", 0, 1e15, 8, 0, 1, 1, -1, 8},
    {"SignedEightBytes", -30000, 30000, 8, 0, 1, 1, -1, 8},
    {"FixedPoint", 0, 255, 1, 1, 0.01, 1, -1, 2},
    {"SignedFixedPoint", -50, 50, 1, 1, 0.01, 1, -1, 2},
    {"FractionAlone", 0, 0.9, 0, 2, 0.01, 2, -1, 2},
    {"SignedFractionAlone", -0.4, 0.4, 0, 2, 0.01, 2, -1, 2},
    {"LongFraction", 0, 100, 2, 6, 0.01, 1, -1, 8},
    {"PartOfARegister", 0, 1000, 2, 0, 1, 1, 2, 6},
    {"SignedPartOfARegister", -1000, 1000, 2, 0, 1, 1, 4, 6},
    {"BeginOfALongerRegister", 0, 1000, 2, 0, 1, 1, -1, 6},
    {"EndOfALongerRegister", -1000, 1000, 2, 0, 1, 1, -1, 6},
    {"PartBehindTheEnd", 0, 1000, 2, 0, 1, 1, 9, 2},
    {"OneValue", 7, 7, 2, 0, 1, 1, -1, 2},
    {"NoMultiplier", 0, 100, 2, 0, 1, 0, -1, 2},
    {"TurnedRound", 100, 0, 2, 0, 1, -1, -1, 2},
};

TEST(FormValues, NumbersStayInTheirRange) {
  for (const TNumberCase& row : kNumbers) {
    SCOPED_TRACE(row.Name);
    TMBTypeInfo types;
    TMBRegTypeNumber& number = *types.TypeNumbers().Add();
    number.SetName(row.Name);
    number.SetMinValue(row.Min);
    number.SetMaxValue(row.Max);
    number.SetIntPart(row.IntPart);
    number.SetRealPart(row.RealPart);
    number.SetStep(row.Step);
    number.SetMultiplier(row.Multiplier);
    number.SetFromIndex(row.FromIndex);
    TFormValues values(&types);
    std::set<std::string> seen;
    double least = 0;
    for (int place = 0; place < 20; ++place) {
      const TValueSource source =
          values.Value({.Type = rtNum, .TypeName = row.Name, .Size = row.Size});
      for (int second = 0; second < 200; ++second) {
        const Bytes bytes = source(second);
        ASSERT_EQ(bytes.size(), row.Size);
        const TRegValue value = number.DataToValue(bytes);
        ASSERT_NE(value.R, TRegValue::kClearedReal) << ::testing::PrintToString(bytes);
        seen.insert(value.Srt);
        least = std::min(least, value.R);
      }
    }
    const bool canMove = row.Min != row.Max && row.Multiplier != 0;
    EXPECT_EQ(seen.size() > 1, canMove);
    if (std::string_view(row.Name).starts_with("Signed")) {
      EXPECT_LT(least, 0);
    }
  }
}

TEST(FormValues, ANumberWithTooFewBytesIsAllZeros) {
  TMBTypeInfo types;
  types.TypeNumbers().Add()->SetName("Long");
  types.TypeNumbers().Items(0)->SetIntPart(4);
  TFormValues values(&types);
  EXPECT_EQ(values.Value({.Type = rtNum, .TypeName = "Long", .Size = 2})(3), (Bytes{0, 0}));
  EXPECT_EQ(values.Value({.Type = rtNum, .TypeName = "Long", .Size = 0})(3), Bytes());
}

TEST(FormValues, AListShowsItsCodesByTurns) {
  TMBTypeInfo types;
  TMBRegTypeList& list = *types.TypeLists().Add();
  list.SetName("Mode");
  for (const char* line : {"1=Off", "300=On", "07=none of its numbers", "text=none", "70000=far"}) {
    list.Dictionary().Add(line);
  }
  TFormValues values(&types);
  const auto seen = [&](std::size_t size) {
    std::set<std::string> texts;
    const TValueSource source = values.Value({.Type = rtList, .TypeName = "Mode", .Size = size});
    for (int second = 0; second < 60; ++second) texts.insert(list.DataToValue(source(second)).Srt);
    return texts;
  };
  EXPECT_EQ(seen(1), (std::set<std::string>{"Off"}));
  EXPECT_EQ(seen(2), (std::set<std::string>{"Off", "On"}));
  EXPECT_EQ(seen(4), (std::set<std::string>{"Off", "On", "far"}));
  EXPECT_EQ(values.Value({.Type = rtList, .TypeName = "Mode", .Size = 5})(0), Bytes(5));
}

TEST(FormValues, ABitFieldShowsItsBitsByTurns) {
  TMBTypeInfo types;
  TMBRegTypeBin& bin = *types.TypeBins().Add();
  bin.SetName("Alarms");
  for (const char* line : {"0=|fire", "9=|flood", "16=|past the end", "-1=|none"}) {
    bin.Dictionary().Add(line);
  }
  bin.Bits().Add("3=storm");
  TFormValues values(&types);
  const TValueSource source = values.Value({.Type = rtBin, .TypeName = "Alarms", .Size = 2});
  std::set<Bytes> seen;
  for (int second = 0; second < 60; ++second) seen.insert(source(second));
  EXPECT_EQ(seen, (std::set<Bytes>{{0, 0}, {0, 1}, {0, 8}, {2, 0}}));
}

TEST(FormValues, ATextIsInTheDevicesCodePage) {
  const int former = AnsiCodePage();
  SetAnsiCodePage(1251);
  TFormValues values(nullptr);
  EXPECT_EQ(values.Value({.Type = rtStr, .Size = 4, .Text = "Ёж 1"})(0),
            (Bytes{0xA8, 0xE6, 0x20, 0x31}));
  EXPECT_EQ(values.Value({.Type = rtStr, .Size = 4, .Text = "a→"})(0), (Bytes{'a', '?', ' ', ' '}));
  EXPECT_EQ(values.Value({.Type = rtStr, .Size = 2, .Text = "long"})(0), (Bytes{'l', 'o'}));
  SetAnsiCodePage(former);
}

TEST(FormValues, StructuresAreMadeFieldByField) {
  TMBTypeInfo types;
  const auto add = [&](const char* structur, const char* name, TRegType type, std::int16_t offset,
                       std::uint16_t size) {
    TMBRegTypeStructure& field = *types.TypeStructurs().Add();
    field.SetStructurName(structur);
    field.SetName(name);
    field.SetRegType(type);
    field.SetOffset(offset);
    field.SetSize(size);
    field.SetCode(0x0102);
  };
  add("Second", "Only", rtStr, 0, 1);
  add("Event", "Title", rtStr, 4, 5);
  add("Event", "Time", rtNone, 0, 4);
  add("Event", "Nested", rtStructur, 10, 8);
  add("Behind", "Zero", rtStr, -4, 2);
  TFormValues values(&types);
  ASSERT_EQ(values.Structurs().size(), 3U);
  EXPECT_EQ(values.Structurs()[0].Name, "Second");
  EXPECT_EQ(values.Structurs()[1].Size, 18U);
  EXPECT_EQ(values.Structurs()[2].Size, 0U);
  const Bytes event{0x65, 0x53, 0xF1, 0x02, 'T', 'i', 't', 'l', 'e', 0, 0, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(values.Block(values.Structurs()[1])(2), event);
  EXPECT_EQ(values.Value({.Type = rtStructur, .TypeName = "Event", .Size = 18})(2), event);
  // As much of it as there is room for; a short one is the code, its low byte first.
  EXPECT_EQ(values.Value({.Type = rtStructur, .TypeName = "Event", .Size = 9})(2),
            Bytes(event.begin(), event.begin() + 9));
  EXPECT_EQ(values.Value({.Type = rtStructur, .TypeName = "Event", .Size = 7})(2),
            (Bytes{0x65, 0x53, 0xF1, 0x02, 0, 0, 0}));
  EXPECT_EQ(values.Value({.Type = rtStructur, .TypeName = "Event", .Size = 2})(2), (Bytes{2, 1}));
  EXPECT_EQ(values.Value({.Type = rtStructur, .TypeName = "None", .Size = 6})(2), Bytes(6));
}

TEST(FormValues, WhatIsNotDescribedIsASmallNumber) {
  TMBTypeInfo types;
  for (const TMBTypeInfo* catalogue : std::array<const TMBTypeInfo*, 2>{nullptr, &types}) {
    TFormValues values(catalogue);
    for (const TRegType type : {rtNum, rtList, rtBin, rtNone, rtCollection}) {
      std::set<Bytes> seen;
      const TValueSource source = values.Value({.Type = type, .TypeName = "?", .Size = 2});
      for (int second = 0; second < 60; ++second) seen.insert(source(second));
      EXPECT_GT(seen.size(), 5U);
      EXPECT_LE(*seen.rbegin(), (Bytes{0, 100}));
    }
  }
}

TEST(FormValues, ANumberMayBeSaid) {
  TMBTypeInfo types;
  TMBRegTypeNumber& number = *types.TypeNumbers().Add();
  number.SetName("Tenths");
  number.SetMaxValue(9999);
  number.SetIntPart(2);
  number.SetMultiplier(0.1);
  TFormValues values(&types);
  const auto source = [&](double real) {
    return values.Value({.Type = rtNum, .TypeName = "Tenths", .Size = 2, .Real = real});
  };
  EXPECT_EQ(source(12.3)(0), (Bytes{0x00, 0x7B}));
  EXPECT_EQ(source(12.3)(77), (Bytes{0x00, 0x7B}));
  EXPECT_EQ(source(5000)(0), (Bytes{0x27, 0x0F})) << "the greatest that the description allows";
}

TEST(FormValues, TheCatalogueMayGo) {
  auto types = std::make_unique<TMBTypeInfo>();
  types->TypeLists().Add()->SetName("Mode");
  types->TypeLists().Items(0)->Dictionary().Add("5=On");
  const TValueSource source =
      TFormValues(types.get()).Value({.Type = rtList, .TypeName = "Mode", .Size = 2});
  types.reset();
  EXPECT_EQ(source(0), (Bytes{0, 5}));
}

}  // namespace
}  // namespace OrvixModBus
