#pragma once
// uTextTable: a table of texts as aligned columns, and as comma-separated values.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

enum class EAlign : std::uint8_t { Left, Right };

struct TTableColumn {
  std::string Head;
  EAlign Align = EAlign::Left;
};

/// A row may have fewer cells than there are columns; the others are empty.
struct TTextTable {
  std::vector<TTableColumn> Columns;
  std::vector<TStringDynArray> Rows;
};

/// Cells that stand out, and what is written before and behind their texts.
struct TCellMarks {
  std::function<bool(std::size_t row, std::size_t column)> Has;
  std::string On, Off;
};

/// Columns that a text takes on a terminal: none for a combining mark, two for a character of the
/// wide scripts, else one. No locale is asked.
std::size_t DisplayWidth(std::string_view text);

/// The head and the rows, each column as wide as its widest cell: nothing is cut. Control
/// characters and bytes that are no UTF-8 become "?", since a device's text must not move the
/// cursor.
TStringDynArray TableLines(const TTextTable& table, const TCellMarks& marks = {});
/// TableLines, each with a line end.
std::string TableText(const TTextTable& table);

/// RFC 4180 with a head line and line ends of LF: cells that hold a comma, a quote or a line end
/// are quoted, every cell is kept as it is.
std::string CsvText(const TTextTable& table);

}  // namespace OrvixModBus
