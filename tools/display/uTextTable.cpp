#include "tools/display/uTextTable.h"

#include <algorithm>
#include <iterator>

#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

constexpr const char* kGap = "  ";

struct TCharRange {
  char32_t First, Last;
};

// Unicode's combining marks that Latin, Greek and Cyrillic texts use.
constexpr TCharRange kCombining[] = {{0x300, 0x36F},   {0x483, 0x489},   {0x1AB0, 0x1AFF},
                                     {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF},
                                     {0xFE20, 0xFE2F}};
// Unicode Annex 11, the classes W and F.
constexpr TCharRange kWide[] = {
    {0x1100, 0x115F}, {0x2E80, 0x303E}, {0x3041, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},
    {0xFE30, 0xFE6F}, {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD}};

template <std::size_t N>
bool IsIn(const TCharRange (&ranges)[N], char32_t code) {
  return std::ranges::any_of(ranges, [code](const TCharRange& range) {
    return range.First <= code && code <= range.Last;
  });
}

bool IsControl(const TUtf8Char& character) {
  return !character.wellFormed || character.code < 0x20 ||
         (character.code >= 0x7F && character.code < 0xA0);
}

std::string Printable(std::string_view text) {
  std::string printable;
  while (!text.empty()) {
    const TUtf8Char first = Utf8First(text);
    printable += IsControl(first) ? "?" : text.substr(0, first.length);
    text.remove_prefix(first.length);
  }
  return printable;
}

using TRows = std::vector<TStringDynArray>;

TStringDynArray Heads(const TTextTable& table) {
  TStringDynArray heads;
  for (const TTableColumn& column : table.Columns) heads.push_back(column.Head);
  return heads;
}

TRows PrintableRows(const TTextTable& table) {
  TRows rows{Heads(table)};
  rows.insert(rows.end(), table.Rows.begin(), table.Rows.end());
  for (TStringDynArray& row : rows) {
    std::ranges::transform(row, row.begin(), Printable);
  }
  return rows;
}

std::vector<std::size_t> Widths(const TRows& rows) {
  std::vector<std::size_t> widths;
  for (const TStringDynArray& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    }
  }
  return widths;
}

bool IsRight(const TTextTable& table, std::size_t column) {
  return column < table.Columns.size() && table.Columns[column].Align == EAlign::Right;
}

std::string Quoted(const std::string& cell) {
  if (cell.find_first_of(",\"\r\n") == std::string::npos) return cell;
  return "\"" + ReplaceAll(cell, "\"", "\"\"") + "\"";
}

std::string CsvLine(const TStringDynArray& cells, std::size_t columns) {
  if (columns == 1 && (cells.empty() || cells[0].empty())) return "\"\"\n";  // not an empty line
  std::string line;
  for (std::size_t i = 0; i < std::max(columns, cells.size()); ++i) {
    if (i > 0) line += ',';
    if (i < cells.size()) line += Quoted(cells[i]);
  }
  return line + "\n";
}

}  // namespace

std::size_t DisplayWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const TUtf8Char first = Utf8First(text);
    if (!IsIn(kCombining, first.code)) width += IsIn(kWide, first.code) ? 2U : 1U;
    text.remove_prefix(first.length);
  }
  return width;
}

TStringDynArray TableLines(const TTextTable& table, const TCellMarks& marks) {
  const TRows rows = PrintableRows(table);
  const std::vector<std::size_t> widths = Widths(rows);
  TStringDynArray lines;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    std::string line, blanks;  // blanks are written when something follows them
    for (std::size_t column = 0; column < rows[row].size(); ++column) {
      const std::string& cell = rows[row][column];
      const std::string fill(widths[column] - DisplayWidth(cell), ' ');
      const bool right = IsRight(table, column);
      if (right) blanks += fill;
      if (!cell.empty()) {
        const bool marked = row > 0 && marks.Has && marks.Has(row - 1, column);
        line.append(blanks).append(marked ? marks.On + cell + marks.Off : cell);
        blanks.clear();
      }
      if (!right) blanks += fill;
      blanks += kGap;
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

std::string TableText(const TTextTable& table) {
  std::string text;
  for (const std::string& line : TableLines(table)) text += line + "\n";
  return text;
}

std::string CsvText(const TTextTable& table) {
  std::string text = CsvLine(Heads(table), table.Columns.size());
  for (const TStringDynArray& row : table.Rows) text += CsvLine(row, table.Columns.size());
  return text;
}

}  // namespace OrvixModBus
