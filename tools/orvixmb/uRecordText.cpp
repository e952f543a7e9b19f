#include "tools/orvixmb/uRecordText.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/rtl/uNumText.h"
#include "tools/display/uShownText.h"

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;

bool IsNumber(const TMBRegTypeStructure& field) { return field.RegType() == TRegType::rtNum; }

TTextTable EmptyTable(const TMaybeStructure& structure) {
  TTextTable table{{{"record", EAlign::Right}}, {}};
  if (!structure) table.Columns.push_back({"raw"});
  if (!structure) return table;
  for (const TMBRegTypeStructure* field : structure->Fields()) {
    table.Columns.push_back({field->Name(), IsNumber(*field) ? EAlign::Right : EAlign::Left});
  }
  return table;
}

TTextTable TableOf(const TRecording& recording, const TMaybeStructure& structure,
                   std::string_view separator) {
  TTextTable table = EmptyTable(structure);
  int number = recording.First;
  for (const Bytes& record : recording.Records) {
    TStringDynArray& row = table.Rows.emplace_back();
    row.push_back(IntToStr(number++));
    if (!structure) row.push_back(HexText(record, separator));
    if (!structure) continue;
    for (TFieldValue& value : structure->ValuesOf(record)) row.push_back(std::move(value.Text));
  }
  return table;
}

// Empty when no field has one.
TStringDynArray Units(const TRecordStructure& structure) {
  TStringDynArray units = {""};
  for (const TMBRegTypeStructure* field : structure.Fields()) units.push_back(field->Caption());
  const bool none = std::ranges::all_of(units, &std::string::empty);
  return none ? TStringDynArray() : units;
}

}  // namespace

TTextTable RecordsTable(const TRecording& recording, const TMaybeStructure& structure) {
  TTextTable table = TableOf(recording, structure, " ");
  const TStringDynArray units = structure ? Units(*structure) : TStringDynArray();
  if (!units.empty()) table.Rows.insert(table.Rows.begin(), units);
  return table;
}

TTextTable RecordsCsv(const TRecording& recording, const TMaybeStructure& structure) {
  return TableOf(recording, structure, "");
}

TJson RecordsJson(const TRecording& recording, const TMaybeStructure& structure) {
  TJson json = TJson::array();
  int number = recording.First;
  for (const Bytes& record : recording.Records) {
    TJson& object = json.emplace_back(TJson{{"record", number++}});
    object.update(BlockJson(record, structure));
  }
  return json;
}

TJson BlockJson(const Bytes& block, const TMaybeStructure& structure) {
  TJson json = {{"raw", HexText(block, "")}};
  if (!structure) return json;
  const std::vector<TFieldValue> values = structure->ValuesOf(block);
  TJson& object = json["values"] = TJson::object();
  for (std::size_t i = 0; i < values.size(); ++i) {
    const TMBRegTypeStructure& field = *structure->Fields()[i];
    TJson& value = object[field.Name()];
    if (values[i].Number) value = *values[i].Number;
    if (!IsNumber(field)) value = values[i].Text;
  }
  return json;
}

}  // namespace OrvixModBus
