#pragma once
// uRecordText: records as a table for people, as CSV and as JSON.

#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "tools/display/uTextTable.h"
#include "tools/orvixmb/uItemReader.h"
#include "tools/orvixmb/uRecordStructure.h"

namespace OrvixModBus {

using TMaybeStructure = std::optional<TRecordStructure>;

/// The number of each record and its fields, a first row with their units; without a structure its
/// bytes.
TTextTable RecordsTable(const TRecording& recording, const TMaybeStructure& structure);
/// The same for CsvText, without the units.
TTextTable RecordsCsv(const TRecording& recording, const TMaybeStructure& structure);
/// An array with an object of `record` and what BlockJson tells for each record.
nlohmann::ordered_json RecordsJson(const TRecording& recording, const TMaybeStructure& structure);

/// An object of `raw` (upper-case hexadecimal) and, with a structure, `values`: an object of the
/// fields' numbers and texts; null for a number that the device does not have.
nlohmann::ordered_json BlockJson(const Bytes& block, const TMaybeStructure& structure);

}  // namespace OrvixModBus
