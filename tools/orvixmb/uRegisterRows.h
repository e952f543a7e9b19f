#pragma once
// uRegisterRows: what was read of registers, one row for each, for people and for programs.

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>

#include "tools/display/uTextTable.h"
#include "uMBReg.h"

namespace OrvixModBus {

/// A register as it was read. One that could not be read has an error, and what its register
/// held before in the other fields.
struct TRegisterRow {
  std::string Letter, Name;
  int Index = -1;  ///< in the letter's collection; -1 = in none
  std::uint32_t Adress = 0;
  std::uint8_t FuncRead = 0;  ///< function code
  Bytes Raw;
  std::string Text;                 ///< of a bit field all its texts, "|" between them
  std::optional<std::int32_t> Int;  ///< none where the value is cleared, as Real
  std::optional<double> Real;
  std::string Shown;    ///< the value for people
  std::string Caption;  ///< a unit, as a rule
  std::string Error;    ///< empty = none
};

/// Decodes the data of reg (TMBReg::DataToValue); why that can't be done, or empty.
std::string DecodingError(TMBReg& reg);

/// Of a register whose value stands, or that has an error.
TRegisterRow RowOf(const std::string& letter, const TMBReg& reg, const std::string& error = {});

/// An array with an object of `letter`, `name`, `adress`, `function` (the read code), `raw`
/// (upper-case hexadecimal), `text`, `int`, `real`, `error` for each row, in this order. `int` and
/// `real` are null where cleared, `error` where there is none; with an error the four values are.
nlohmann::ordered_json RowsJson(std::span<const TRegisterRow> rows);

/// Name, address, value, raw bytes, caption; the letter before them when rows are of several.
/// An error stands in place of the value.
TTextTable RowsTable(std::span<const TRegisterRow> rows);

/// The columns of RowsJson and the caption, for CsvText; empty where RowsJson has null.
TTextTable RowsCsv(std::span<const TRegisterRow> rows);

}  // namespace OrvixModBus
