#pragma once
// uJsonText: documents of the tool as text: JSON, and the same rows as a table.

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/display/uTextTable.h"

namespace OrvixModBus {

/// What is printed of a document: indented, or all in one line, with a line end. Bytes that are no
/// UTF-8 become U+FFFD.
std::string JsonText(const nlohmann::ordered_json& json, bool inOneLine = false);

/// An array of objects as a table for CsvText: a column for each key. What an object lacks is
/// empty, and so is null.
TTextTable JsonTable(const nlohmann::ordered_json& rows, const TStringDynArray& keys);

}  // namespace OrvixModBus
