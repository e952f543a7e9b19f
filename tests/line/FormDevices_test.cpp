// The devices that are made of a form's components, read and written by these over a real port.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <initializer_list>
#include <map>
#include <random>
#include <set>

#include "SimulatedLine.h"
#include "platform/modbus/uFileRecordList.h"
#include "platform/rtl/uNumText.h"
#include "tools/orvixmb/uFormDevice.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using enum TRegType;

constexpr std::uint8_t kAdres = 7;

struct TRegRow {
  std::uint8_t Read;
  std::uint32_t Adress;
  std::uint8_t Bytes, Count;
  TRegType Type = rtNone;
  const char* TypeName = "";
  std::uint8_t Write = 0;
};

class DevicesOfAForm : public testing::Test {
 protected:
  DevicesOfAForm() {
    fClient.SetName("Boiler");
    fClient.SetConnection(&fLine.Connection);
    fClient.SetAdres(kAdres);
    fClient.OnExeptionAnswer = {this, &DevicesOfAForm::Fail};
    fClient.OnNoneAnswer = {this, &DevicesOfAForm::Fail};
    DescribeTypes();
  }

  void Fail(TMBClient&, TServerReply, std::uint8_t func, std::uint32_t adress) {
    fFailures.push_back("$" + IntToHex(func, 2) + " at " + IntToHex(adress, 6));
  }

  void DescribeTypes() {
    const auto number = [&](const char* name, double min, double max, std::uint8_t size,
                            double step) {
      TMBRegTypeNumber& item = *fTypes.TypeNumbers().Add();
      item.SetName(name);
      item.SetMinValue(min);
      item.SetMaxValue(max);
      item.SetIntPart(size);
      item.SetStep(step);
      item.SetMultiplier(step);
    };
    number("Tenths", -500, 9999, 2, 0.1);
    number("Percent", 0, 100, 1, 1);
    number("Count", 0, 4294967295.0, 4, 1);
    TMBRegTypeList& list = *fTypes.TypeLists().Add();
    list.SetName("Mode");
    for (const char* line : {"1=Off", "2=On", "7=Fault"}) list.Dictionary().Add(line);
    TMBRegTypeBin& bin = *fTypes.TypeBins().Add();
    bin.SetName("Alarms");
    for (const char* line : {"0=calm|fire", "9=dry|flood"}) bin.Dictionary().Add(line);
    const auto field = [&](const char* structur, const char* name, TRegType type,
                           const char* typeName, std::int16_t offset, std::uint16_t size) {
      TMBRegTypeStructure& item = *fTypes.TypeStructurs().Add();
      item.SetStructurName(structur);
      item.SetName(name);
      item.SetRegType(type);
      item.SetRegTypeName(typeName);
      item.SetOffset(offset);
      item.SetSize(size);
    };
    field("Event", "Mode", rtList, "Mode", 0, 2);
    field("Event", "Feed", rtNum, "Tenths", 2, 2);
    field("Event", "Total", rtNum, "Count", 4, 4);
    field("Service", "Who", rtStr, "", 0, 7);
    field("Service", "Load", rtNum, "Percent", 7, 1);
    field("Service", "Alarms", rtBin, "Alarms", 8, 1);
  }

  TMBReg& Add(TMBLetter& letter, const TRegRow& row) {
    if (letter.Regs().MBTypeInfo() == nullptr) letter.Regs().SetMBTypeInfo(&fTypes);
    TMBReg& reg = *letter.Regs().Add();
    reg.SetDisplayName("R" + std::to_string(letter.Regs().Count()));
    reg.SetMBFuncRead(row.Read);
    if (row.Write != 0) reg.SetMBFuncWrite(row.Write);
    reg.SetRegAdress(row.Adress);
    reg.SetBytesInOneReg(row.Bytes);
    reg.SetRegsCount(row.Count);
    reg.SetRegType(row.Type);
    reg.SetTypeName(row.TypeName);
    return reg;
  }

  TStringDynArray Serve() {
    const auto lock = fLine.Thread.Lock();
    fLine.Simulator.Clock = [this] { return fSeconds.load(); };
    return FormDevices(fRoot, fLine.Simulator);
  }

  void RunDry() {
    ASSERT_TRUE(TLoop::Current().RunUntil(
        [this] { return fClient.CountPendingTransactions() == 0; }, kLineLimit));
    EXPECT_THAT(fFailures, IsEmpty());
  }

  // The names of the registers that have got bytes.
  std::set<std::string> Read(TMBLetter& letter) {
    std::set<std::string> names;
    letter.OnRegDataChange = [&](TMBLetter&, TMBReg& reg) { names.insert(reg.Name()); };
    letter.ReadAllRegs();
    RunDry();
    letter.OnRegDataChange = {};
    return names;
  }

  TSimulatedLine fLine;
  std::atomic<double> fSeconds = 0;
  TComponent fRoot;
  TMBTypeInfo fTypes{&fRoot};
  TMBClient fClient{&fRoot};
  std::vector<std::string> fFailures;
};

TEST_F(DevicesOfAForm, EveryKindOfRegisterIsReadWithAValueOfItsType) {
  const TRegRow rows[] = {
      {0x01, 0, 1, 1, rtList, "Bit"},
      {0x02, 16, 1, 1, rtBin, "Alarms"},
      {0x03, 100, 2, 1, rtNum, "Tenths"},
      {0x03, 101, 2, 2, rtNum, "Count"},
      {0x03, 103, 2, 1, rtList, "Mode"},
      {0x03, 104, 2, 1, rtBin, "Alarms"},
      {0x03, 105, 2, 8, rtStr, ""},
      {0x03, 300, 2, 4, rtStructur, "Event"},
      {0x04, 0, 2, 1, rtNum, "Tenths"},
      {0x04, 65535, 2, 1, rtNum, "Tenths"},
      {0x21, 1, 2, 2, rtNum, "Count"},
      {0x21, 0x1000, 2, 2, rtNum, "Count"},
      {0x21, 0x2000, 2, 1, rtNum, "Tenths"},
      {0x21, 0x2001, 2, 1, rtNum, "Tenths"},
      {0x43, 0x01FF00, 1, 2, rtNum, "Tenths"},
      {0x43, 0x01FF02, 1, 1, rtNum, "Percent"},
      {0x44, 0xFFFFF0, 1, 4, rtNum, "Count"},
  };
  TMBLetter letter(&fRoot);
  letter.SetClient(&fClient);
  for (const TRegRow& row : rows) Add(letter, row);
  ASSERT_THAT(Serve(), IsEmpty());
  std::map<std::string, std::set<Bytes>> seen;
  for (int second = 0; second < 40; second += 4) {
    fSeconds = second;
    ASSERT_EQ(Read(letter).size(), std::size(rows));
    for (int i = 0; i < letter.Regs().Count(); ++i) {
      const TMBReg& reg = *letter.Regs().GetItem(i);
      SCOPED_TRACE(reg.Name());
      seen[reg.Name()].insert(reg.Data());
      // Numbers have a value, texts and codes have one to show.
      EXPECT_NE(reg.RegType() == rtNum && reg.ValueRe() == TRegValue::kClearedReal, true);
      EXPECT_NE(reg.ValueStr() == "" && reg.Name() != "R1" && reg.Name() != "R8", true);
      EXPECT_EQ(reg.ValueStr() == reg.Name(), reg.RegType() == rtStr);
    }
  }
  for (const auto& [name, values] : seen) EXPECT_EQ(values.size() > 1, name != "R7") << name;
  TMBReg& block = *letter.Regs().GetItemByName("R8");
  EXPECT_THAT(
      fTypes.TypeStructurs().ValuesByStructurName("Event", block.Data(), fTypes, {}),
      ElementsAre(testing::AnyOf("Off", "On", "Fault"), testing::Not(""), testing::Not("")));
}

TEST_F(DevicesOfAForm, WhatIsWrittenByEachFunctionStays) {
  const TRegRow rows[] = {
      {0x03, 10, 2, 1, rtNum, "Tenths", 0x06},   {0x03, 11, 2, 3, rtStr, "", 0x06},
      {0x03, 20, 2, 2, rtNum, "Count", 0x10},    {0x03, 30, 2, 1, rtList, "Mode", 0x6C},
      {0x43, 0x01FFF8, 1, 16, rtStr, "", 0x66},  {0x44, 0x030000, 1, 128, rtNone, "", 0x65},
      {0x43, 0x040000, 1, 60, rtNone, "", 0x66}, {0x43, 0x04003C, 1, 60, rtNone, "", 0x66},
  };
  TMBLetter letter(&fRoot);
  letter.SetClient(&fClient);
  for (const TRegRow& row : rows) Add(letter, row);
  TMBReg& coil = Add(letter, {0x01, 3, 1, 1, rtNone, "", 0x05});
  ASSERT_THAT(Serve(), IsEmpty());
  Read(letter);
  EXPECT_EQ(letter.Regs().GetItem(3)->ValueStr().empty(), false);
  std::uint8_t next = 1;
  std::map<std::string, Bytes> written;
  TMBRegList regs;
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    TMBReg& reg = *letter.Regs().GetItem(static_cast<int>(i));
    Bytes data(reg.Data().size());
    for (std::uint8_t& byte : data) byte = next++;
    reg.SetRegData(data);
    written[reg.Name()] = data;
    regs.push_back(&reg);
  }
  letter.WriteRegs(regs);
  letter.WriteAllF66F65();
  letter.WriteReg(&coil, 0, {0xFF, 0x00});
  RunDry();
  letter.Regs().ClearRegsData();
  fSeconds = 1000;
  Read(letter);
  for (const TMBReg* reg : regs) {
    if (reg->Adress() == 0x01FFF8) continue;  // crosses a page, where reads come in two
    EXPECT_EQ(reg->Data(), written[reg->Name()]) << reg->Name();
  }
  EXPECT_EQ(coil.Data(), Bytes{1});
  letter.WriteReg(&coil, 0, {0x00, 0x00});
  RunDry();
  Read(letter);
  EXPECT_EQ(coil.Data(), Bytes{0});
}

TEST_F(DevicesOfAForm, ASharedCellIsThatOfTheRegisterToBeWritten) {
  TMBLetter shown(&fRoot), settings(&fRoot);
  shown.SetClient(&fClient);
  settings.SetClient(&fClient);
  TMBReg& both = Add(shown, {0x03, 10, 2, 3, rtNone});
  TMBReg& setting = Add(settings, {0x03, 11, 2, 1, rtNum, "Tenths", 0x06});
  ASSERT_THAT(Serve(), IsEmpty());
  settings.WriteReg(&setting, 0, {0x12, 0x34});
  RunDry();
  fSeconds = 60;
  Read(shown);
  EXPECT_EQ(Bytes(both.Data().begin() + 2, both.Data().begin() + 4), (Bytes{0x12, 0x34}));
  EXPECT_EQ(Bytes(both.Data().begin(), both.Data().begin() + 2), (Bytes{0, 0}));
}

// Registers anywhere, of any width, side by side and over each other.
TEST_F(DevicesOfAForm, NoRequestOfAnyLayoutIsRefused) {
  std::mt19937 random(1);
  const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  constexpr std::uint8_t kReads[] = {0x01, 0x02, 0x03, 0x04, 0x21, 0x43, 0x44};
  constexpr std::uint8_t kWrites[] = {0, 0x05, 0x06, 0x10, 0x65, 0x66, 0x6C};
  std::vector<TMBLetter*> letters;
  for (int i = 0; i < 12; ++i) {
    TMBLetter& letter = *letters.emplace_back(new TMBLetter(&fRoot));
    letter.SetClient(&fClient);
    for (const std::uint8_t func : kReads) {
      const bool paged = func == 0x43 || func == 0x44;
      std::uint32_t adress = paged ? 0x01FF80 + below(100) : below(300);
      for (int r = 0; r < 20; ++r) {
        const auto bytes =
            static_cast<std::uint8_t>(paged ? 1 + below(9) : 1 + below(2) + 2 * below(2));
        const auto count = static_cast<std::uint8_t>(1 + below(9));
        // One register of one byte asks for none at all by the functions of two.
        const bool none = bytes == 1 && func != 0x01 && func != 0x02 && !paged;
        const std::uint8_t width = none ? 2 : bytes;
        Add(letter, {func, adress, width, count, rtNone, "", kWrites[below(std::size(kWrites))]});
        if (below(4) != 0) adress += paged ? width * count : count;
        if (below(6) == 0) adress += below(200);
      }
    }
  }
  ASSERT_THAT(Serve(), IsEmpty());
  std::size_t read = 0;
  for (TMBLetter* const letter : letters) {
    try {
      read += Read(*letter).size();
    } catch (const Exception& error) {
      EXPECT_STREQ(error.what(), "More then 250 bytes in reg");
    }
    std::vector<std::string> names;
    for (int i = 0; i < letter->Regs().Count(); i += 3)
      names.push_back(letter->Regs().GetItem(i)->Name());
    try {
      letter->ReadRegsByName(names);
    } catch (const Exception& error) {
      EXPECT_STREQ(error.what(), "More then 250 bytes in reg");
    }
    RunDry();
    letter->WriteAllF66F65();
    RunDry();
  }
  EXPECT_GT(read, 500U);
}

TEST_F(DevicesOfAForm, LogsHaveRecordsOfTheStructureOfTheirLength) {
  TMBFunction20 events(&fRoot);
  TMBFunction24 plain(&fRoot);
  const std::pair<TMBLogFunction*, std::int32_t> logs[] = {{&events, 8}, {&plain, 11}};
  std::map<const TMBLogFunction*, std::vector<Bytes>> records;
  for (const auto& row : logs) {
    TMBLogFunction* const log = row.first;
    log->SetMBClient(&fClient);
    log->SetOneRecordLength(row.second);
    log->OnGetCountInfo = [log](TObject&) { log->ReadAllItems(); };
    log->OnGetRecord = [&, log](TObject&, const Bytes& record) { records[log].push_back(record); };
  }
  ASSERT_THAT(Serve(), IsEmpty());
  for (const auto& row : logs) row.first->ReadCountItem();
  RunDry();
  ASSERT_THAT(records[&events], SizeIs(100));
  for (const Bytes& record : records[&events]) {
    EXPECT_THAT(
        fTypes.TypeStructurs().ValuesByStructurName("Event", record, fTypes, {}),
        ElementsAre(testing::AnyOf("Off", "On", "Fault"), testing::Not(""), testing::Not("")));
  }
  ASSERT_THAT(records[&plain], SizeIs(100));
  std::uint32_t time = 1'700'000'000;
  for (const Bytes& record : records[&plain]) {
    ASSERT_THAT(record, SizeIs(11));
    EXPECT_EQ(TMBLib::ByteArToCardinal(TByteView(record).first(4)), time++);
  }
  EXPECT_EQ((std::set<Bytes>(records[&plain].begin(), records[&plain].end())).size(), 100U);
}

TEST_F(DevicesOfAForm, OscillogramsHaveDescriptionsAndRecords) {
  TMBFunction41 function(&fRoot);
  function.SetMBClient(&fClient);
  function.SetOscilInfoLength(9);
  function.SetOscilDataLength(6);
  std::vector<Bytes> infos;
  std::map<int, std::map<int, Bytes>> records;
  function.OnGetOscilInfo = [&](TObject&, const Bytes& info) { infos.push_back(info); };
  function.OnGetOscilData = [&](TObject&, std::uint16_t number, std::uint16_t record,
                                const Bytes& data) { records[number][record] = data; };
  ASSERT_THAT(Serve(), IsEmpty());
  function.ReadCountItem();
  RunDry();
  ASSERT_EQ(function.ItemCount(), 3);
  for (std::uint8_t number = 1; number <= 3; ++number) {
    function.RaedOscilInfo(number);
    function.ReadOscilData(number, 400);
    RunDry();
    ASSERT_THAT(records[number], SizeIs(400));
    std::set<Bytes> distinct;
    for (const auto& [_, data] : records[number]) {
      ASSERT_THAT(data, SizeIs(6));
      distinct.insert(data);
    }
    EXPECT_GT(distinct.size(), 10U);
  }
  EXPECT_NE(records[1], records[2]);
  ASSERT_THAT(infos, SizeIs(3));
  EXPECT_THAT(fTypes.TypeStructurs().ValuesByStructurName("Service", infos[0], fTypes, {}),
              testing::Contains("Who"));
}

TEST_F(DevicesOfAForm, FilesHaveRecordsForEveryStructure) {
  std::vector<Bytes> records;
  fClient.OnReadFile.Add([&](TMBClient&, TServerReply, TModbusFileRecordList& list, TObject*) {
    for (int i = 0; i < list.Count(); ++i) records.push_back(list.Records(i).Data);
  });
  ASSERT_THAT(Serve(), IsEmpty());
  TObject asker;
  for (const std::uint16_t file : std::initializer_list<std::uint16_t>{0, 1, 2, 9}) {
    for (const char* structur : {"Event", "Service"}) {
      records.clear();
      const auto items = fTypes.TypeStructurs().ItemsByStructurName(structur);
      fClient.ReadFileByStructur(file, 0, 60, items, &asker);
      RunDry();
      EXPECT_THAT(records, SizeIs(60));
    }
  }
  // The ninth is the first structure again.
  ASSERT_FALSE(records.empty());
  records.clear();
  fClient.ReadFileByStructur(9, 0, 3, fTypes.TypeStructurs().ItemsByStructurName("Event"), &asker);
  RunDry();
  for (const Bytes& record : records) {
    EXPECT_THAT(
        fTypes.TypeStructurs().ValuesByStructurName("Event", record, fTypes, {}),
        ElementsAre(testing::AnyOf("Off", "On", "Fault"), testing::Not(""), testing::Not("")));
  }
}

TEST_F(DevicesOfAForm, TheIdentityIsTheClientsName) {
  std::string identity;
  fClient.OnRead = [&](TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes& values,
                       TObject*) { identity.assign(values.begin(), values.end()); };
  ASSERT_THAT(Serve(), IsEmpty());
  TObject asker;
  fClient.Read(0x11, 0, 0, &asker);
  RunDry();
  EXPECT_THAT(identity, testing::EndsWith("Boiler"));
}

}  // namespace
}  // namespace OrvixModBus
