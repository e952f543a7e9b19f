#include "uMBReg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <numeric>

#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"
#include "tests/src/uTestRegs.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;
using enum TRegType;

// Counts what it is told of its items.
class TListener : public TRegNameCollection {
 public:
  void Update(TCollectionItem* item) noexcept override { ++(item != nullptr ? items : lists); }
  TMBReg& AddReg() { return static_cast<TMBReg&>(*Add()); }
  int items = 0;
  int lists = 0;
};

Bytes Counted(std::size_t size) {
  Bytes bytes(size);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

TEST(TMBReg, ANewOneInAnEmptyCollectionHasItsDefaults) {
  TRegNameCollection regs;
  const auto& reg = static_cast<TMBReg&>(*regs.Add());
  EXPECT_EQ(reg.Name(), "Reg0");
  EXPECT_EQ(reg.GetDisplayName(), "Reg0");
  EXPECT_EQ(reg.Adress(), 1u);
  EXPECT_EQ(reg.MBFuncRead(), 3);
  EXPECT_EQ(reg.MBFuncWrite(), 0);
  EXPECT_EQ(reg.BytesInOneReg(), 1);
  EXPECT_EQ(reg.ChanelIndex(), -1);
  EXPECT_EQ(reg.GetRegsCount(), 0);
  EXPECT_EQ(reg.CountInByte(), 0);
  EXPECT_TRUE(reg.IsDataZero());
  EXPECT_EQ(reg.Caption(), "");
  EXPECT_EQ(reg.RegType(), rtNone);
  EXPECT_EQ(reg.RegTypeName(), "");
  EXPECT_EQ(reg.TypeInfo(), nullptr);
  EXPECT_EQ(reg.Value(), TRegValue());
  EXPECT_EQ(reg.ValueStr(), "");
  EXPECT_EQ(reg.ValueInt(), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(reg.ValueRe(), std::numeric_limits<double>::lowest());
  EXPECT_FALSE(reg.OnDataChange);
  EXPECT_FALSE(reg.OnDataToValue);
}

TEST(TMBReg, NamesOfNewOnesFollowTheRunningNumberNotThePlace) {
  TRegNameCollection regs;
  for (int i = 0; i < 3; ++i) regs.Add();
  regs.Delete(1);
  EXPECT_EQ(static_cast<TMBReg*>(regs.Add())->Name(), "Reg3");
  EXPECT_EQ(TMBReg(nullptr).Name(), "Reg0");
}

TEST(TMBReg, DefaultsOfItsPropertiesAreTheStateOfANewOne) {
  const TMBReg reg(nullptr);
  ExpectDefaultsOfNew(reg,
                      "Name ChanelIndex Adress MBFuncWrite MBFuncRead BytesInOneReg Count Caption "
                      "RegType RegTypeName TypeInfo OnDataChange OnDataToValue");
  EXPECT_FALSE(TMBReg::StaticClass().Property("Name")->Default) << "the name is always stored";
}

TEST(TMBReg, SettingByTheTableIsSettingByTheSetter) {
  TMBTypeInfo types;
  const struct {
    const char* name;
    TPropertyValue value;
    std::function<void(TMBReg&)> set;
  } cases[] = {
      {"Name", std::string("Pump"), [](TMBReg& r) { r.SetDisplayName("Pump"); }},
      {"ChanelIndex", std::int64_t{-7}, [](TMBReg& r) { r.SetChanelIndex(-7); }},
      {"Adress", std::int64_t{4294967295}, [](TMBReg& r) { r.SetRegAdress(4294967295); }},
      {"MBFuncRead", std::int64_t{0x43}, [](TMBReg& r) { r.SetMBFuncRead(0x43); }},
      {"MBFuncWrite", std::int64_t{0x10}, [](TMBReg& r) { r.SetMBFuncWrite(0x10); }},
      {"MBFuncWrite", std::int64_t{3}, [](TMBReg& r) { r.SetMBFuncWrite(3); }},
      {"BytesInOneReg", std::int64_t{2}, [](TMBReg& r) { r.SetBytesInOneReg(2); }},
      {"Count", std::int64_t{9}, [](TMBReg& r) { r.SetRegsCount(9); }},
      {"Caption", std::string("Насос"), [](TMBReg& r) { r.SetCaption("Насос"); }},
      {"RegType", std::int64_t{4}, [](TMBReg& r) { r.SetRegType(rtStr); }},
      {"RegTypeName", std::string("Level"), [](TMBReg& r) { r.SetTypeName("Level"); }},
      {"TypeInfo", &types, [&](TMBReg& r) { r.SetTypeInfo(&types); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TMBReg byTable(nullptr), bySetter(nullptr);
    SetByTable(byTable, c.name, c.value);
    c.set(bySetter);
    for (const TPropertyInfo* property : TMBReg::StaticClass().Properties()) {
      if (property->Kind == TPropertyKind::pkEvent) continue;
      EXPECT_EQ(TextOf(property->Get(byTable)), TextOf(property->Get(bySetter))) << property->Name;
    }
    EXPECT_EQ(byTable.Data(), bySetter.Data());
  }
}

TEST(TMBReg, TheTableRefusesWhatTheTypeCannotHold) {
  TMBReg reg(nullptr);
  EXPECT_THROW(SetByTable(reg, "Adress", std::int64_t{4294967296}), EConvertError);
  EXPECT_THROW(SetByTable(reg, "Adress", std::int64_t{-1}), EConvertError);
  EXPECT_THROW(SetByTable(reg, "MBFuncRead", std::int64_t{256}), EConvertError);
  EXPECT_THROW(SetByTable(reg, "RegType", std::int64_t{7}), EConvertError);
  EXPECT_THROW(SetByTable(reg, "TypeInfo", &reg), EConvertError);
  EXPECT_EQ(reg.Adress(), 1u);
}

TEST(TMBReg, ItsEventsAreSetByTheTable) {
  TMBReg reg(nullptr);
  int changes = 0;
  SetEventByTable(reg, "OnDataChange", TOnMBRegEvent([&](TMBReg&) { ++changes; }));
  SetEventByTable(reg, "OnDataToValue",
                  TOnMBRegDataToValue([](const Bytes&, TRegValue& value) { value.Int = 5; }));
  reg.SetData(0, 1);
  reg.DataToValue();
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(reg.ValueInt(), 5);
}

TEST(TMBReg, ASetterNotifiesOfAChangeOnceAndIsSilentWhenEqual) {
  const struct {
    const char* name;
    void (*set)(TMBReg&);
    int notifications;
  } cases[] = {
      {"Name", [](TMBReg& r) { r.SetDisplayName("Pump"); }, 1},
      {"Adress", [](TMBReg& r) { r.SetRegAdress(7); }, 1},
      {"MBFuncRead", [](TMBReg& r) { r.SetMBFuncRead(4); }, 1},
      {"BytesInOneReg", [](TMBReg& r) { r.SetBytesInOneReg(2); }, 1},
      {"Count", [](TMBReg& r) { r.SetRegsCount(3); }, 1},
      {"Caption", [](TMBReg& r) { r.SetCaption("Level"); }, 1},
      {"ChanelIndex", [](TMBReg& r) { r.SetChanelIndex(3); }, 0},
      {"RegType", [](TMBReg& r) { r.SetRegType(rtStr); }, 0},
      {"RegTypeName", [](TMBReg& r) { r.SetTypeName("Level"); }, 0},
      {"TypeInfo", [](TMBReg& r) { r.SetTypeInfo(nullptr); }, 0},
      {"whole data",
       [](TMBReg& r) {
         r.SetRegData({1, 2});
       },
       0},
      {"cleared data", [](TMBReg& r) { r.ClearData(); }, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TListener regs;
    TMBReg& reg = regs.AddReg();
    c.set(reg);
    EXPECT_EQ(regs.items, c.notifications);
    c.set(reg);
    EXPECT_EQ(regs.items, c.notifications) << "the same value again";
    EXPECT_EQ(regs.lists, 1) << "its own arrival";
  }
}

// On purpose the setter compares with the read code.
TEST(TMBReg, AWriteCodeEqualToTheReadCodeIsNotStored) {
  const struct {
    std::uint8_t read, former, value, expected;
    int notifications;
  } cases[] = {
      {3, 16, 3, 16, 0}, {3, 16, 6, 6, 1},  {3, 16, 16, 16, 1},
      {3, 0, 3, 0, 0},   {16, 6, 16, 6, 0}, {3, 6, 0, 0, 1},
      {0, 6, 0, 6, 0},   {255, 6, 3, 3, 1}, {3, 255, 254, 254, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << +c.value << " over " << +c.former << ", reads " << +c.read);
    TListener regs;
    TMBReg& reg = regs.AddReg();
    Describe(reg, {.Name = "R", .Read = c.read, .Write = c.former});
    ASSERT_EQ(reg.MBFuncWrite(), c.former);
    regs.items = 0;
    reg.SetMBFuncWrite(c.value);
    EXPECT_EQ(reg.MBFuncWrite(), c.expected);
    EXPECT_EQ(reg.MBFuncRead(), c.read);
    EXPECT_EQ(regs.items, c.notifications);
  }
}

TEST(TMBReg, CountAndWidthMakeUpTo250Bytes) {
  for (const auto& [width, count] : {std::pair{1, 250}, {2, 125}, {5, 50}, {125, 2}, {250, 1}}) {
    SCOPED_TRACE(testing::Message() << count << " of " << width);
    TMBReg reg(nullptr);
    reg.SetBytesInOneReg(static_cast<std::uint8_t>(width));
    reg.SetRegsCount(static_cast<std::uint8_t>(count));
    EXPECT_EQ(reg.CountInByte(), 250);
    EXPECT_EQ(reg.GetRegsCount(), count);
  }
}

TEST(TMBReg, ACountPast250BytesThrowsAndKeepsTheData) {
  for (const auto& [width, count] : {std::pair{1, 251}, {2, 126}, {3, 84}, {251, 1}, {255, 255}}) {
    SCOPED_TRACE(testing::Message() << count << " of " << width);
    TListener regs;
    TMBReg& reg = regs.AddReg();
    reg.SetBytesInOneReg(static_cast<std::uint8_t>(width));
    reg.SetRegData({1, 2, 3, 4});
    const Bytes former = reg.Data();
    regs.items = 0;
    const auto value = static_cast<std::uint8_t>(count);
    EXPECT_THAT([&] { reg.SetRegsCount(value); },
                ThrowsMessage<Exception>("More then 250 bytes in reg"));
    EXPECT_EQ(reg.Data(), former);
    EXPECT_EQ(regs.items, 0);
  }
}

TEST(TMBReg, AWidthPast250BytesThrowsAndKeepsTheWidth) {
  TListener regs;
  TMBReg& reg = regs.AddReg();
  reg.SetRegsCount(126);
  regs.items = 0;
  EXPECT_THAT([&] { reg.SetBytesInOneReg(2); },
              ThrowsMessage<Exception>("More then 250 bytes in reg"));
  EXPECT_EQ(reg.BytesInOneReg(), 1);
  EXPECT_EQ(reg.CountInByte(), 126);
  EXPECT_EQ(regs.items, 0);
}

TEST(TMBReg, TheLimitIsCheckedBeforeAnEqualWidthIsNoticed) {
  TMBReg reg(nullptr);
  reg.SetRegData(Bytes(251));  // whole data may be longer
  EXPECT_THROW(reg.SetBytesInOneReg(1), Exception);
}

TEST(TMBReg, AnotherCountKeepsTheBytesThatStayAndAddsZeros) {
  TMBReg reg(nullptr);
  reg.SetRegData({1, 2, 3});
  reg.SetRegsCount(5);
  EXPECT_EQ(reg.Data(), (Bytes{1, 2, 3, 0, 0}));
  reg.SetRegsCount(2);
  EXPECT_EQ(reg.Data(), (Bytes{1, 2}));
  reg.SetRegsCount(0);
  EXPECT_THAT(reg.Data(), IsEmpty());
}

TEST(TMBReg, AnotherWidthKeepsTheCountMeasuredBefore) {
  const struct {
    int from, size, to;
    int expectedSize;
  } cases[] = {{1, 3, 2, 6}, {2, 6, 1, 3}, {2, 7, 4, 12}, {4, 8, 0, 0}, {0, 5, 3, 0}, {2, 1, 9, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.size << " bytes, width " << c.from << " to " << c.to);
    TMBReg reg(nullptr);
    reg.SetBytesInOneReg(static_cast<std::uint8_t>(c.from));
    reg.SetRegData(Counted(static_cast<std::size_t>(c.size)));
    reg.SetBytesInOneReg(static_cast<std::uint8_t>(c.to));
    EXPECT_EQ(reg.CountInByte(), c.expectedSize);
    EXPECT_EQ(reg.BytesInOneReg(), c.to);
  }
}

TEST(TMBReg, OfWidthZeroItCountsNothingAndTakesEveryCount) {
  TMBReg reg(nullptr);
  reg.SetRegData({1, 2, 3});
  reg.SetBytesInOneReg(0);
  EXPECT_EQ(reg.GetRegsCount(), 0);
  for (const int count : {0, 1, 250, 255}) {
    reg.SetRegsCount(static_cast<std::uint8_t>(count));
    EXPECT_EQ(reg.CountInByte(), 0);
    EXPECT_EQ(reg.GetRegsCount(), 0);
  }
}

TEST(TMBReg, CountIsWholeRegistersInOneByte) {
  const struct {
    int width;
    std::size_t size;
    int count;
  } cases[] = {{1, 5, 5},   {2, 5, 2},    {4, 3, 0},     {1, 255, 255},
               {1, 256, 0}, {1, 300, 44}, {2, 300, 150}, {0, 9, 0}};
  for (const auto& c : cases) {
    TMBReg reg(nullptr);
    reg.SetBytesInOneReg(static_cast<std::uint8_t>(c.width));
    reg.SetRegData(Bytes(c.size));
    EXPECT_EQ(reg.GetRegsCount(), c.count) << c.size << " bytes of width " << c.width;
    EXPECT_EQ(reg.CountInByte(), static_cast<int>(c.size));
  }
}

TEST(TMBReg, FirstBytesAreReplacedAsFarAsItReachesAndNobodyIsTold) {
  const struct {
    Bytes data, expected;
  } cases[] = {
      {{}, {1, 2, 3}}, {{7}, {7, 2, 3}}, {{7, 8, 9}, {7, 8, 9}}, {{7, 8, 9, 10}, {7, 8, 9}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.data));
    TMBReg reg(nullptr);
    reg.SetRegData({1, 2, 3});
    reg.OnDataChange = [](TMBReg&) { ADD_FAILURE() << "told"; };
    reg.ReplaceData(c.data);
    EXPECT_EQ(reg.Data(), c.expected);
  }
}

TEST(TMBReg, AByteIsReplacedOrAppendedAndNeverPutPastTheEnd) {
  TMBReg reg(nullptr);
  int changes = 0;
  reg.SetRegData({1, 2, 3});
  reg.OnDataChange = [&](TMBReg& changed) {
    EXPECT_EQ(&changed, &reg);
    ++changes;
  };
  reg.SetData(1, 9);
  EXPECT_EQ(reg.Data(), (Bytes{1, 9, 3}));
  reg.SetData(3, 4);
  EXPECT_EQ(reg.Data(), (Bytes{1, 9, 3, 4}));
  EXPECT_EQ(changes, 2);
  for (const std::uint16_t index : std::initializer_list<std::uint16_t>{5, 6, 255, 65535}) {
    EXPECT_THAT([&] { reg.SetData(index, 1); }, ThrowsMessage<Exception>("Array index error"));
  }
  EXPECT_EQ(reg.Data(), (Bytes{1, 9, 3, 4}));
  EXPECT_EQ(changes, 2);
}

TEST(TMBReg, AFirstByteIsAppendedToNothing) {
  TMBReg reg(nullptr);
  EXPECT_THROW(reg.SetData(1, 1), Exception);
  reg.SetData(0, 1);
  EXPECT_EQ(reg.Data(), Bytes{1});
}

TEST(TMBReg, ByteByByteItGrowsPastTheLimit) {
  TMBReg reg(nullptr);
  for (int i = 0; i < 300; ++i) reg.SetData(static_cast<std::uint16_t>(i), 1);
  EXPECT_EQ(reg.CountInByte(), 300);
}

TEST(TMBReg, TheEventComesForTheSameByteTooThenTheCollectionIsTold) {
  TListener regs;
  TMBReg& reg = regs.AddReg();
  reg.SetData(0, 5);
  EXPECT_EQ(regs.items, 0) << "without a handler the collection is not told either";
  std::vector<int> told;
  reg.OnDataChange = [&](TMBReg&) { told.push_back(regs.items); };
  reg.SetData(0, 5);
  reg.SetData(0, 5);
  EXPECT_THAT(told, ElementsAre(0, 1)) << "the handler first";
  EXPECT_EQ(regs.items, 2);
}

TEST(TMBReg, AByteIsStoredThoughItsHandlerThrows) {
  TMBReg reg(nullptr);
  reg.OnDataChange = [](TMBReg&) { throw Exception("handler"); };
  EXPECT_THAT([&] { reg.SetData(0, 7); }, ThrowsMessage<Exception>("handler"));
  EXPECT_EQ(reg.Data(), Bytes{7});
}

TEST(TMBReg, DeletesItselfInItsHandler) {
  TListener regs;
  TMBReg& reg = regs.AddReg();
  reg.OnDataChange = [&](TMBReg& changed) { regs.Delete(changed.Index()); };
  reg.SetData(0, 1);
  EXPECT_EQ(regs.Count(), 0);
  EXPECT_EQ(regs.items, 0);
}

TEST(TMBReg, AHandlerMayTakeItselfAway) {
  TMBReg reg(nullptr);
  int changes = 0;
  reg.OnDataChange = [&](TMBReg& changed) {
    ++changes;
    changed.OnDataChange = nullptr;
  };
  reg.SetData(0, 1);
  reg.SetData(0, 2);
  EXPECT_EQ(changes, 1);
}

TEST(TMBReg, ReadingAByteChecksItsIndex) {
  TMBReg reg(nullptr);
  EXPECT_THAT([&] { reg.GetData(0); }, ThrowsMessage<Exception>("Array index error"));
  reg.SetRegData({1, 2});
  EXPECT_EQ(reg.GetData(1), 2);
  EXPECT_THROW(reg.GetData(2), Exception);
  EXPECT_THROW(reg.GetData(65535), Exception);
}

TEST(TMBReg, WholeDataIsTakenSilentlyWhateverItsLength) {
  TListener regs;
  TMBReg& reg = regs.AddReg();
  int changes = 0;
  reg.OnDataChange = [&](TMBReg&) { ++changes; };
  reg.SetRegData(Counted(1000));
  EXPECT_EQ(reg.CountInByte(), 1000);
  reg.SetRegData({});
  EXPECT_THAT(reg.Data(), IsEmpty());
  reg.SetRegData({1, 2});
  reg.ClearData();
  EXPECT_EQ(reg.Data(), (Bytes{0, 0}));
  EXPECT_EQ(changes, 0);
  EXPECT_EQ(regs.items, 0);
}

TEST(TMBReg, KnowsWhetherItsDataIsZero) {
  TMBReg reg(nullptr);
  for (const auto& [data, zero] : {std::pair{Bytes{}, true},
                                   {{0}, true},
                                   {{0, 0, 0}, true},
                                   {{1}, false},
                                   {{0, 0, 0x80}, false},
                                   {{1, 0}, false}}) {
    reg.SetRegData(data);
    EXPECT_EQ(reg.IsDataZero(), zero);
  }
}

// On purpose only the second byte of a pair counts.
TEST(TMBReg, WordsAreTheSecondBytesOfThePairs) {
  TMBReg reg(nullptr);
  EXPECT_THAT(reg.GetDataAsWordAr(), IsEmpty());
  reg.SetRegData({0x12, 0x34, 0x56, 0x78});
  EXPECT_THAT(reg.GetDataAsWordAr(), ElementsAre(0x34, 0x78));
  reg.SetRegData({0x12, 0x34, 0x56});
  EXPECT_THAT(reg.GetDataAsWordAr(), ElementsAre(0x34, 0)) << "a missing byte is 0";
  reg.SetRegData({0xFF});
  EXPECT_THAT(reg.GetDataAsWordAr(), ElementsAre(0));
}

TEST(TMBReg, TextIsTrimmed) {
  TMBReg reg(nullptr);
  EXPECT_EQ(reg.DataToStr(), "");
  reg.SetRegData({' ', 0, 'A', ' ', 'B', '\r', '\n', 0x1F});
  EXPECT_EQ(reg.DataToStr(), "A B");
}

TEST(TMBReg, WithoutACatalogueATextChangesTheTextOnly) {
  TMBReg reg(nullptr);
  reg.OnDataToValue = [](const Bytes&, TRegValue& value) { value = {"old", 5, 2.5}; };
  reg.DataToValue();
  reg.SetRegType(rtStr);
  reg.SetRegData({0x41, 0x42, 0x20});
  reg.DataToValue();
  EXPECT_EQ(reg.Value(), (TRegValue{"AB", 5, 2.5}));
}

TEST(TMBReg, WithoutACatalogueTheApplicationDecodes) {
  for (const TRegType type : {rtNone, rtList, rtBin, rtNum, rtStructur, rtCollection}) {
    TMBReg reg(nullptr);
    reg.SetRegType(type);
    reg.SetRegData({1, 2});
    reg.DataToValue();
    EXPECT_EQ(reg.Value(), TRegValue()) << "nobody decodes";
    reg.OnDataToValue = [](const Bytes& data, TRegValue& value) {
      value.Int = value.Int == TRegValue::kClearedInt ? data[1] : value.Int + 1;
    };
    reg.DataToValue();
    EXPECT_EQ(reg.ValueInt(), 2);
    reg.DataToValue();
    EXPECT_EQ(reg.ValueInt(), 3) << "it sees the value that stands there";
  }
}

class RegOfACatalogue : public testing::Test {
 protected:
  RegOfACatalogue() {
    fInfo.TypeLists().Add()->SetName("Mode");
    fInfo.TypeBins().Add()->SetName("Flags");
    TMBRegTypeNumber& level = AddNumber("Level");
    level.SetMinValue(-10);
    level.SetMaxValue(100);
    level.SetIntPart(2);
    level.SetMultiplier(1);
    fReg.SetTypeInfo(&fInfo);
  }

  TMBRegTypeNumber& AddNumber(const char* name) {
    TMBRegTypeNumber* const number = fInfo.TypeNumbers().Add();
    number->SetName(name);
    return *number;
  }

  TMBTypeInfo fInfo;
  TMBReg fReg{nullptr};
};

TEST_F(RegOfACatalogue, IsDecodedByItAndNotByItsOwnHandler) {
  int calls = 0;
  fReg.OnDataToValue = [&](const Bytes&, TRegValue&) { ++calls; };
  fReg.SetRegType(rtNum);
  fReg.SetTypeName("Level");
  fReg.SetRegData({0xFF, 0xFE});
  fReg.DataToValue();
  EXPECT_EQ(fReg.ValueRe(), -2);
  fReg.SetRegType(rtStr);
  fReg.SetRegData({'A', ' '});
  fReg.DataToValue();
  EXPECT_EQ(fReg.Value(), (TRegValue{"A"})) << "unlike without a catalogue the numbers are cleared";
  EXPECT_EQ(calls, 0);
}

TEST_F(RegOfACatalogue, TellsItsNameAndKindToTheHandlersOfTheCatalogue) {
  std::string told;
  fInfo.OnDataToValue = [&](TRegType type, const std::string& typeName, const Bytes& data,
                            bool& done, const std::string& name) {
    told = name + "/" + typeName + "/" + std::to_string(static_cast<int>(type)) + "/" +
           std::to_string(data.size());
    done = true;
    return TRegValue{"mine", 1, 2};
  };
  fReg.SetDisplayName("Pump");
  fReg.SetRegType(rtList);
  fReg.SetTypeName("Mode");
  fReg.SetRegData({0, 1});
  fReg.DataToValue();
  EXPECT_EQ(told, "Pump/Mode/1/2");
  EXPECT_EQ(fReg.Value(), (TRegValue{"mine", 1, 2}));
}

TEST_F(RegOfACatalogue, KeepsItsValueWhenDecodingThrows) {
  fReg.SetRegType(rtNum);
  fReg.SetTypeName("Level");
  fReg.SetRegData({0, 7});
  fReg.DataToValue();
  fReg.SetRegData({0});
  EXPECT_THROW(fReg.DataToValue(), Exception);
  EXPECT_EQ(fReg.ValueRe(), 7);
}

TEST_F(RegOfACatalogue, GoesOnWithoutItWhenItGoesFirst) {
  TMBReg reg(nullptr);
  {
    TMBTypeInfo info;
    reg.SetTypeInfo(&info);
    EXPECT_EQ(reg.TypeInfo(), &info);
  }
  EXPECT_EQ(reg.TypeInfo(), nullptr);
  reg.SetRegType(rtStr);
  reg.SetRegData({'A'});
  reg.DataToValue();
  reg.DataToMin();
  EXPECT_EQ(reg.ValueStr(), "A");
  EXPECT_EQ(reg.Data(), Bytes{'A'});
  EXPECT_EQ(reg.GetRegTypeItem(), nullptr);
}

TEST_F(RegOfACatalogue, TheLeastValueOfATextIsBlanksAndOfMostOthersZero) {
  const struct {
    TRegType type;
    Bytes expected;
  } cases[] = {{rtStr, {0x20, 0x20, 0x20, 0x20}},
               {rtNone, {0, 0, 0, 0}},
               {rtList, {0, 0, 0, 0}},
               {rtBin, {0, 0, 0, 0}},
               {rtStructur, {0, 0, 0, 0}},
               {rtCollection, {0, 0, 0, 0}}};
  for (const auto& c : cases) {
    fReg.SetRegType(c.type);
    fReg.SetRegData({1, 2, 3, 4});
    fReg.DataToMin();
    EXPECT_EQ(fReg.Data(), c.expected) << static_cast<int>(c.type);
  }
}

TEST_F(RegOfACatalogue, TheLeastNumberFillsTheDataBigEndian) {
  const struct {
    double min, multiplier;
    Bytes before, after;
  } cases[] = {
      {-10, 1, {9, 9}, {0xFF, 0xF6}},
      {-10, 1, {9}, {0xF6}},
      {-10, 1, {9, 9, 9, 9}, {0xFF, 0xFF, 0xFF, 0xF6}},
      {-10, 1, {9, 9, 9, 9, 9, 9}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF6}},
      {-10, 1, {}, {}},
      {258, 1, {9, 9, 9}, {0, 1, 2}},
      {258, 1, {9}, {2}},
      {10, 4, {9, 9}, {0, 2}},         // 2.5 is truncated
      {-10, 4, {9, 9}, {0xFF, 0xFE}},  // towards zero
      {1, 0.5, {9, 9}, {0, 2}},
      {2147483647, 1, {9, 9, 9, 9}, {0x7F, 0xFF, 0xFF, 0xFF}},
      {-2147483648.0, 1, {9, 9, 9, 9}, {0x80, 0, 0, 0}},
  };
  TMBRegTypeNumber& number = AddNumber("Least");
  fReg.SetRegType(rtNum);
  fReg.SetTypeName("Least");
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.min << " / " << c.multiplier);
    number.SetMinValue(c.min);
    number.SetMultiplier(c.multiplier);
    fReg.SetRegData(c.before);
    fReg.DataToMin();
    EXPECT_EQ(fReg.Data(), c.after);
  }
}

TEST_F(RegOfACatalogue, TheLeastFixedPointNumberReplacesTheData) {
  TMBRegTypeNumber& number = AddNumber("Fixed");
  number.SetMinValue(3);
  number.SetMultiplier(2);
  number.SetIntPart(2);
  number.SetRealPart(1);
  fReg.SetRegType(rtNum);
  fReg.SetTypeName("Fixed");
  fReg.SetRegData({9, 9, 9, 9, 9, 9});
  fReg.DataToMin();
  EXPECT_EQ(fReg.Data(), (Bytes{0, 1, 0x80}));
  number.SetMinValue(-3);
  EXPECT_THAT([&] { fReg.DataToMin(); },
              ThrowsMessage<Exception>("Отрицательные числа не поддерживаются."));
  EXPECT_EQ(fReg.Data(), (Bytes{0, 1, 0x80}));
}

TEST_F(RegOfACatalogue, ANumberThatHasNoLeastValueThrowsAndKeepsTheData) {
  TMBRegTypeNumber& number = AddNumber("Odd");
  fReg.SetRegType(rtNum);
  fReg.SetRegData({1, 2});
  fReg.SetTypeName("Unknown");
  EXPECT_THAT([&] { fReg.DataToMin(); }, ThrowsMessage<Exception>("Type Unknownnot in DB"));
  fReg.SetTypeName("Odd");
  EXPECT_THROW(fReg.DataToMin(), EZeroDivide) << "the multiplier of a new number is 0";
  number.SetMultiplier(1e-300);
  for (const double min : {1e300, -1e300, 2147483648.0, -2147483649.0}) {
    number.SetMinValue(min);
    number.SetMultiplier(1);
    EXPECT_THROW(fReg.DataToMin(), EConvertError) << min;
  }
  number.SetMinValue(std::numeric_limits<double>::quiet_NaN());
  EXPECT_THROW(fReg.DataToMin(), EConvertError);
  EXPECT_EQ(fReg.Data(), (Bytes{1, 2}));
}

TEST_F(RegOfACatalogue, FindsItsDescriptionByKindAndName) {
  TMBRegTypeStructure* const field = fInfo.TypeStructurs().Add();
  field->SetName("Field");
  field->SetStructurName("Block");
  const struct {
    TRegType type;
    const char* typeName;
    const TMBRegTypeColItem* expected;
  } cases[] = {
      {rtList, "Mode", fInfo.TypeLists().Items(0)},
      {rtList, "mode", nullptr},
      {rtList, "Flags", nullptr},
      {rtBin, "Flags", fInfo.TypeBins().Items(0)},
      {rtBin, "", nullptr},
      {rtNum, "Level", fInfo.TypeNumbers().Items(0)},
      {rtNum, "Mode", nullptr},
      {rtStructur, "Block", field},
      {rtStructur, "Field", nullptr},
      {rtNone, "Mode", nullptr},
      {rtStr, "Mode", nullptr},
      {rtCollection, "Mode", nullptr},
  };
  fReg.SetDisplayName("Field");
  for (const auto& c : cases) {
    fReg.SetRegType(c.type);
    fReg.SetTypeName(c.typeName);
    EXPECT_EQ(fReg.GetRegTypeItem(), c.expected) << c.typeName << static_cast<int>(c.type);
  }
  fReg.SetDisplayName("Other");
  fReg.SetRegType(rtStructur);
  fReg.SetTypeName("Block");
  EXPECT_EQ(fReg.GetRegTypeItem(), nullptr) << "the field is found by the register's own name";
}

TEST_F(RegOfACatalogue, IsCopiedWithoutValueAndHandlers) {
  int handled = 0;
  fReg.OnDataChange = [&](TMBReg&) { ++handled; };
  fReg.OnDataToValue = [&](const Bytes&, TRegValue&) { ++handled; };
  Describe(fReg, {.Name = "Pump", .Adress = 77, .Count = 2, .Read = 4, .Width = 2, .Write = 16});
  fReg.SetChanelIndex(5);
  fReg.SetCaption("Level of the pump");
  fReg.SetRegType(rtStr);
  fReg.SetTypeName("Level");
  fReg.SetRegData({'A', 'B', 'C', 'D'});
  fReg.DataToValue();
  TRegNameCollection regs;
  auto& copy = static_cast<TMBReg&>(*regs.Add());
  copy.Assign(fReg);
  for (const TPropertyInfo* property : TMBReg::StaticClass().Properties()) {
    if (property->Kind == TPropertyKind::pkEvent) continue;
    EXPECT_EQ(TextOf(property->Get(copy)), TextOf(property->Get(fReg))) << property->Name;
  }
  EXPECT_EQ(copy.Data(), fReg.Data());
  EXPECT_EQ(copy.Value(), TRegValue());
  EXPECT_FALSE(copy.OnDataChange);
  EXPECT_FALSE(copy.OnDataToValue);
  EXPECT_EQ(handled, 0);
  EXPECT_EQ(regs.RegByName("pump"), &copy) << "the name index follows";
}

TEST(TMBRegAssign, KeepsItsOwnValueAndRaisesItsOwnEventPerByte) {
  TMBReg source(nullptr), target(nullptr);
  source.SetRegData({1, 2, 3});
  target.OnDataToValue = [](const Bytes&, TRegValue& value) { value = {"kept", 1, 1}; };
  target.DataToValue();
  std::vector<Bytes> seen;
  target.OnDataChange = [&](TMBReg& reg) { seen.push_back(reg.Data()); };
  target.Assign(source);
  EXPECT_THAT(seen, ElementsAre(Bytes{1, 0, 0}, Bytes{1, 2, 0}, Bytes{1, 2, 3}));
  EXPECT_EQ(target.ValueStr(), "kept");
  EXPECT_TRUE(target.OnDataToValue);
}

TEST(TMBRegAssign, TakesAsManyBytesAsTheLengthModulo256) {
  const struct {
    std::size_t length;
    int width;
    std::size_t expected;
  } cases[] = {{250, 1, 250}, {256, 1, 0}, {257, 1, 1}, {300, 1, 44}, {7, 2, 7}, {3, 0, 3}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.length << " bytes of width " << c.width);
    TMBReg source(nullptr), target(nullptr);
    source.SetBytesInOneReg(static_cast<std::uint8_t>(c.width));
    source.SetRegData(Counted(c.length));
    target.Assign(source);
    EXPECT_EQ(target.Data(), Counted(c.expected));
  }
}

TEST(TMBRegAssign, LosesAWriteCodeThatEqualsTheReadCode) {
  TMBReg source(nullptr), target(nullptr);
  Describe(source, {.Name = "R", .Read = 16, .Write = 16});
  ASSERT_EQ(source.MBFuncWrite(), 16);
  target.Assign(source);
  EXPECT_EQ(target.MBFuncRead(), 16);
  EXPECT_EQ(target.MBFuncWrite(), 0);
}

TEST(TMBRegAssign, RefusesWhatIsTooLongAndOtherClasses) {
  TMBReg source(nullptr), target(nullptr);
  source.SetRegData(Bytes(251));
  EXPECT_THAT([&] { target.Assign(source); },
              ThrowsMessage<Exception>("More then 250 bytes in reg"));
  const TMBTypeInfo other;
  EXPECT_THAT([&] { target.Assign(other); },
              ThrowsMessage<EConvertError>("Cannot assign a TMBTypeInfo to a TMBReg"));
}

TEST(TMBRegAssign, FromItselfChangesNothing) {
  TMBReg reg(nullptr);
  reg.SetRegData({1, 2});
  int changes = 0;
  reg.OnDataChange = [&](TMBReg&) { ++changes; };
  reg.Assign(reg);
  EXPECT_EQ(reg.Data(), (Bytes{1, 2}));
  EXPECT_EQ(changes, 2);
}

TEST(TMBRegAssign, AHandlerMayDestroyEitherRegister) {
  auto source = std::make_unique<TMBReg>(nullptr);
  source->SetRegData({1, 2, 3});
  auto target = std::make_unique<TMBReg>(nullptr);
  target->OnDataChange = [&](TMBReg&) { source.reset(); };
  target->Assign(*source);
  EXPECT_EQ(target->Data(), (Bytes{1, 2, 3}));

  source = std::make_unique<TMBReg>(nullptr);
  source->SetRegData({4, 5, 6});
  target->OnDataChange = [&](TMBReg&) { target.reset(); };
  target->Assign(*source);
  EXPECT_EQ(target, nullptr);
}

TEST(TMBReg, ASetterOfACollectionsRegisterIsRefusedOnAnotherThread) {
  TRegNameCollection regs;
  auto& reg = static_cast<TMBReg&>(*regs.Add());
  EXPECT_THROW(OnAnotherThread([&] { reg.SetRegAdress(5); }), EThreadError);
  EXPECT_THROW(OnAnotherThread([&] { regs.Add(); }), EThreadError);
  EXPECT_EQ(regs.Count(), 1);
}

}  // namespace
}  // namespace OrvixModBus
