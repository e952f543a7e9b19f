#include "tools/orvixmb/uRegisterRows.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/rtl/uNumText.h"
#include "tools/display/uShownText.h"
#include "tools/orvixmb/uJsonText.h"

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;

std::string ShownValue(const TMBReg& reg) {
  if (reg.Value() == TRegValue()) return "(no value)";
  return reg.RegType() == TRegType::rtBin ? BitTexts(reg.ValueStr()) : reg.ValueStr();
}

template <typename T>
TJson OrNull(const std::optional<T>& value) {
  return value ? TJson(*value) : TJson();
}

TJson RowJson(const TRegisterRow& row) {
  const bool read = row.Error.empty();
  return {{"letter", row.Letter},
          {"name", row.Name},
          {"adress", row.Adress},
          {"function", row.FuncRead},
          {"raw", read ? TJson(HexText(row.Raw, "")) : TJson()},
          {"text", read ? TJson(row.Text) : TJson()},
          {"int", read ? OrNull(row.Int) : TJson()},
          {"real", read ? OrNull(row.Real) : TJson()},
          {"error", read ? TJson() : TJson(row.Error)}};
}

bool OfSeveralLetters(std::span<const TRegisterRow> rows) {
  return std::ranges::any_of(
      rows, [&](const TRegisterRow& row) { return row.Letter != rows.front().Letter; });
}

}  // namespace

std::string DecodingError(TMBReg& reg) {
  try {
    reg.DataToValue();
    return {};
  } catch (const Exception& error) {
    return error.what();
  }
}

TRegisterRow RowOf(const std::string& letter, const TMBReg& reg, const std::string& error) {
  TRegisterRow row;
  row.Letter = letter;
  row.Name = reg.Name();
  row.Index = reg.Index();
  row.Adress = reg.Adress();
  row.FuncRead = reg.MBFuncRead();
  row.Raw = reg.Data();
  row.Text = reg.ValueStr();
  if (reg.ValueInt() != TRegValue::kClearedInt) row.Int = reg.ValueInt();
  if (reg.ValueRe() != TRegValue::kClearedReal) row.Real = reg.ValueRe();
  row.Shown = ShownValue(reg);
  row.Caption = reg.Caption();
  row.Error = error;
  return row;
}

TJson RowsJson(std::span<const TRegisterRow> rows) {
  TJson json = TJson::array();
  for (const TRegisterRow& row : rows) json.push_back(RowJson(row));
  return json;
}

TTextTable RowsTable(std::span<const TRegisterRow> rows) {
  TTextTable table{{{"name"}, {"address", EAlign::Right}, {"value"}, {"raw bytes"}, {"caption"}},
                   {}};
  const bool several = OfSeveralLetters(rows);
  if (several) table.Columns.insert(table.Columns.begin(), {"letter"});
  for (const TRegisterRow& row : rows) {
    const bool read = row.Error.empty();
    TStringDynArray cells = {row.Name, IntToStr(row.Adress), read ? row.Shown : row.Error,
                             read ? HexText(row.Raw) : "", row.Caption};
    if (several) cells.insert(cells.begin(), row.Letter);
    table.Rows.push_back(std::move(cells));
  }
  return table;
}

TTextTable RowsCsv(std::span<const TRegisterRow> rows) {
  TJson json = RowsJson(rows);
  for (std::size_t i = 0; i < rows.size(); ++i) json[i]["caption"] = rows[i].Caption;
  TStringDynArray keys;
  const TJson empty = RowJson({});
  for (const auto& [key, _] : empty.items()) keys.push_back(key);
  keys.emplace_back("caption");
  return JsonTable(json, keys);
}

}  // namespace OrvixModBus
