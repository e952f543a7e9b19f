#include "tools/orvixmb/uRegisterRows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "tools/orvixmb/uJsonText.h"
#include "uMBLetters.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;

/// A letter with a register of each kind of value.
class RegisterRows : public testing::Test {
 protected:
  RegisterRows() {
    TMBRegTypeNumber* number = fTypes.TypeNumbers().Add();
    number->SetName("Temp");
    number->SetIntPart(2);
    number->SetMultiplier(0.1);
    number->SetMinValue(-1000);
    number->SetMaxValue(1000);
    TMBRegTypeList* list = fTypes.TypeLists().Add();
    list->SetName("State");
    list->Dictionary().Add("0=Stop");
    list->Dictionary().Add("1=Run");
    TMBRegTypeBin* bits = fTypes.TypeBins().Add();
    bits->SetName("Status");
    bits->Dictionary().Add("0=Off|On");
    bits->Dictionary().Add("2=|Fault");
    fLetter.Regs().SetMBTypeInfo(&fTypes);
  }

  TMBReg& Add(const std::string& name, std::uint32_t adress, TRegType type,
              const std::string& typeName, const Bytes& data) {
    TMBReg* reg = fLetter.Regs().Add();
    reg->SetDisplayName(name);
    reg->SetRegAdress(adress);
    reg->SetRegType(type);
    reg->SetTypeName(typeName);
    reg->SetRegData(data);
    reg->DataToValue();
    return *reg;
  }

  TMBTypeInfo fTypes;
  TMBLetter fLetter;
};

TEST_F(RegisterRows, HoldWhatTheRegisterHolds) {
  TMBReg& reg = Add("T1", 65536, TRegType::rtNum, "Temp", {0x01, 0x6E});
  reg.SetMBFuncRead(0x43);
  reg.SetMBFuncWrite(0x66);
  reg.SetCaption("°C");
  const TRegisterRow row = RowOf("Boiler", reg);
  EXPECT_EQ(row.Letter, "Boiler");
  EXPECT_EQ(row.Name, "T1");
  EXPECT_EQ(row.Index, 0);
  EXPECT_EQ(row.Adress, 65536U);
  EXPECT_EQ(row.FuncRead, 0x43);
  EXPECT_EQ(row.Raw, (Bytes{0x01, 0x6E}));
  EXPECT_EQ(row.Caption, "°C");
  EXPECT_EQ(row.Error, "");
}

TEST_F(RegisterRows, ValueIsNullWhereCleared) {
  const struct {
    TRegType Type;
    const char* TypeName;
    Bytes Data;
    const char *Text, *Int, *Real, *Shown;
  } cases[] = {
      {TRegType::rtNum, "Temp", {0x01, 0x6E}, "\"36.6\"", "null", "36.6", "36.6"},
      {TRegType::rtNum, "Temp", {0xFF, 0xFF}, "\"-\"", "null", "null", "-"},
      {TRegType::rtNum, "Temp", {0x7F, 0xFF}, "\"\"", "null", "null", "(no value)"},
      {TRegType::rtNum, "Temp", {0x00, 0x00}, "\"0\"", "0", "0.0", "0"},
      {TRegType::rtList, "State", {0x00, 0x01}, "\"Run\"", "1", "null", "Run"},
      {TRegType::rtList, "State", {0x00, 0x02}, "\"\"", "2", "null", ""},
      {TRegType::rtBin, "Status", {0x05}, "\"On||Fault|||||\"", "5", "null", "On, Fault"},
      {TRegType::rtStr, "", {'a', ' ', 'b', ' '}, "\"a b\"", "null", "null", "a b"},
      {TRegType::rtStructur, "", {0x01, 0x02}, "\"513\"", "513", "null", "513"},
      {TRegType::rtNum, "Nobody's", {0x00, 0x01}, "\"\"", "null", "null", "(no value)"},
  };
  for (const auto& test : cases) {
    const TRegisterRow row = RowOf("L", Add("R", 0, test.Type, test.TypeName, test.Data));
    SCOPED_TRACE(std::string(test.TypeName) + ": " + row.Text);
    const auto json = RowsJson({&row, 1}).at(0);
    EXPECT_EQ(json["text"].dump(), test.Text);
    EXPECT_EQ(json["int"].dump(), test.Int);
    EXPECT_EQ(json["real"].dump(), test.Real);
    EXPECT_EQ(row.Shown, test.Shown);
  }
}

TEST_F(RegisterRows, JsonHasTheKeysInOrder) {
  const TRegisterRow rows[] = {
      RowOf("Boiler", Add("T1", 7, TRegType::rtNum, "Temp", {0x01, 0x6E})),
      RowOf("Boiler", Add("T2", 8, TRegType::rtNum, "Temp", {0xAB, 0xCD}), "no reply")};
  EXPECT_EQ(JsonText(RowsJson(rows)), R"([
  {
    "letter": "Boiler",
    "name": "T1",
    "adress": 7,
    "function": 3,
    "raw": "016E",
    "text": "36.6",
    "int": null,
    "real": 36.6,
    "error": null
  },
  {
    "letter": "Boiler",
    "name": "T2",
    "adress": 8,
    "function": 3,
    "raw": null,
    "text": null,
    "int": null,
    "real": null,
    "error": "no reply"
  }
]
)");
  EXPECT_EQ(JsonText(RowsJson({})), "[]\n");
}

TEST_F(RegisterRows, TableIsForPeople) {
  Add("T1", 7, TRegType::rtNum, "Temp", {0x01, 0x6E}).SetCaption("°C");
  Add("Mode", 65535, TRegType::rtBin, "Status", {0x05});
  Add("T2", 8, TRegType::rtNum, "Temp", {0, 0}).SetCaption("°C");
  std::vector<TRegisterRow> rows;
  for (const TMBReg* reg : fLetter.Regs().RegList()) rows.push_back(RowOf("Boiler", *reg));
  rows[2].Error = "no reply";
  EXPECT_THAT(TableLines(RowsTable(rows)),
              ElementsAre("name  address  value      raw bytes  caption",
                          "T1          7  36.6       01 6E      °C", "Mode    65535  On, Fault  05",
                          "T2          8  no reply              °C"));
  rows[1].Letter = "Pumps";
  EXPECT_THAT(TableLines(RowsTable(rows)),
              ElementsAre("letter  name  address  value      raw bytes  caption",
                          "Boiler  T1          7  36.6       01 6E      °C",
                          "Pumps   Mode    65535  On, Fault  05",
                          "Boiler  T2          8  no reply              °C"));
}

TEST_F(RegisterRows, CsvIsForSpreadsheets) {
  Add("T1", 7, TRegType::rtNum, "Temp", {0x01, 0x6E}).SetCaption("°C, mean");
  Add("Mode", 9, TRegType::rtBin, "Status", {0x05});
  Add("T2", 8, TRegType::rtNum, "Temp", {0, 0});
  std::vector<TRegisterRow> rows;
  for (const TMBReg* reg : fLetter.Regs().RegList()) rows.push_back(RowOf("Boiler", *reg));
  rows[2].Error = "no reply";
  const std::string head = "letter,name,adress,function,raw,text,int,real,error,caption\n";
  EXPECT_EQ(CsvText(RowsCsv(rows)), head +
                                        "Boiler,T1,7,3,016E,36.6,,36.6,,\"°C, mean\"\n"
                                        "Boiler,Mode,9,3,05,On||Fault|||||,5,,,\n"
                                        "Boiler,T2,8,3,,,,,no reply,\n");
  EXPECT_EQ(CsvText(RowsCsv({})), head);
}

TEST_F(RegisterRows, TextOfNoUtf8IsReplacedInJson) {
  TRegisterRow row;
  row.Name = "a\xFF";
  EXPECT_THAT(JsonText(RowsJson({&row, 1})), testing::HasSubstr("\"a\uFFFD\""));
}

}  // namespace
}  // namespace OrvixModBus
