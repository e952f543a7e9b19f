#include "tools/display/uWatchedTable.h"

#include <algorithm>

#include "platform/rtl/uFormat.h"

namespace OrvixModBus {
namespace {

// ECMA-48 control sequences, and the private mode of line wrapping. Without wrapping every line
// takes one line of the screen, however narrow it is.
constexpr const char* kWrapOff = "\x1b[?7l";
constexpr const char* kWrapOn = "\x1b[?7h";
constexpr const char* kEraseLine = "\x1b[2K";
constexpr const char* kEraseBelow = "\x1b[J";
constexpr const char* kBoldYellow = "\x1b[1;33m";
constexpr const char* kReverse = "\x1b[7m";
constexpr const char* kPlain = "\x1b[0m";

std::string CellAt(const std::vector<TStringDynArray>& rows, std::size_t row, std::size_t column) {
  return column < rows[row].size() ? rows[row][column] : std::string();
}

// The cursor stands below the last line, which takes a line of the screen, too.
void Fit(TStringDynArray& lines, std::size_t height) {
  if (height == 0 || lines.size() < height) return;
  const std::size_t kept = std::max<std::size_t>(height, 3) - 2;
  const std::size_t left = lines.size() - std::min(kept, lines.size());
  lines.resize(lines.size() - left);
  if (left > 0) lines.push_back(Format("... %u more", {left}));
}

}  // namespace

std::string TWatchedTable::Next(const TTextTable& table, std::size_t height) {
  std::string text = fTerminal ? InPlace(table, height) : Below(table);
  fBefore = table.Rows;
  fShown = true;
  return text;
}

bool TWatchedTable::Changed(const TTextTable& table, std::size_t row, std::size_t column) const {
  return row < fBefore.size() && CellAt(table.Rows, row, column) != CellAt(fBefore, row, column);
}

bool TWatchedTable::RowChanged(const TTextTable& table, std::size_t row) const {
  return row < fBefore.size() && table.Rows[row] != fBefore[row];
}

std::string TWatchedTable::InPlace(const TTextTable& table, std::size_t height) {
  const auto changed = [&](std::size_t row, std::size_t column) {
    return Changed(table, row, column);
  };
  TStringDynArray lines = TableLines(table, {changed, fColour ? kBoldYellow : kReverse, kPlain});
  Fit(lines, height);
  std::string text = fLines > 0 ? Format("\r\x1b[%uA", {fLines}) : std::string();
  text += kWrapOff;
  for (const std::string& line : lines) text += kEraseLine + line + "\n";
  fLines = lines.size();
  return text + kEraseBelow + kWrapOn;
}

std::string TWatchedTable::Below(const TTextTable& table) const {
  const TStringDynArray lines = TableLines(table);  // the head and the rows
  std::string text = fShown ? "\n" : "";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const bool changed = i > 0 && RowChanged(table, i - 1);
    text += (changed ? "* " : "  ") + lines[i] + "\n";
  }
  return text;
}

}  // namespace OrvixModBus
