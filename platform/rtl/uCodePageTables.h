#pragma once
// uCodePageTables: what the bytes $80 to $FF mean in each built-in code page.

#include <array>

namespace OrvixModBus {

/// Bytes below $80 are ASCII in every page. A byte that the page leaves undefined stands for the
/// character of its own number, so that different bytes always are different characters.
struct TCodePage {
  int number;
  std::array<char16_t, 128> high;
};

extern const std::array<TCodePage, 12> kCodePages;

}  // namespace OrvixModBus
