#include "tools/orvixmb/uJsonText.h"

#include <nlohmann/json.hpp>

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;

std::string CellText(const TJson& row, const std::string& key) {
  const auto value = row.find(key);
  if (value == row.end() || value->is_null()) return {};
  return value->is_string() ? value->get<std::string>() : value->dump();
}

}  // namespace

std::string JsonText(const TJson& json, bool inOneLine) {
  return json.dump(inOneLine ? -1 : 2, ' ', false, TJson::error_handler_t::replace) + "\n";
}

TTextTable JsonTable(const TJson& rows, const TStringDynArray& keys) {
  TTextTable table;
  for (const std::string& key : keys) table.Columns.push_back({key});
  for (const TJson& row : rows) {
    table.Rows.emplace_back();
    for (const std::string& key : keys) table.Rows.back().push_back(CellText(row, key));
  }
  return table;
}

}  // namespace OrvixModBus
