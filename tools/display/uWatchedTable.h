#pragma once
// uWatchedTable: a table that is shown again and again, and what has changed since the last time.

#include <cstddef>
#include <string>
#include <vector>

#include "tools/display/uTextTable.h"

namespace OrvixModBus {

/// Makes the text of each round. On a terminal a round takes the place of the one before, the
/// cells that changed stand out, and a line that is too wide ends at the edge. Elsewhere the
/// rounds stand one below the other, an empty line between them, and a first column marks the
/// rows that changed with "*". Cells are compared with those of the same place.
class TWatchedTable {
 public:
  /// Without colour, cells stand out in reverse.
  TWatchedTable(bool terminal, bool colour) : fTerminal(terminal), fColour(colour) {}

  /// What to write for this round. Where a terminal of that many lines can't hold the table, its
  /// end is left out and counted; 0 = no limit.
  std::string Next(const TTextTable& table, std::size_t height = 0);

 private:
  bool Changed(const TTextTable& table, std::size_t row, std::size_t column) const;
  bool RowChanged(const TTextTable& table, std::size_t row) const;
  std::string InPlace(const TTextTable& table, std::size_t height);
  std::string Below(const TTextTable& table) const;

  const bool fTerminal, fColour;
  bool fShown = false;
  std::size_t fLines = 0;  // of the last round, on a terminal
  std::vector<TStringDynArray> fBefore;
};

}  // namespace OrvixModBus
