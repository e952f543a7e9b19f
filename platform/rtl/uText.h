#pragma once
// uText: trimming, splitting and replacing of text, and characters inside UTF-8.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// The text without blanks and control characters (everything up to the blank) at both ends.
std::string Trim(std::string_view text);
/// That part of a text, or of the bytes of one in an ANSI code page: std::string_view or TByteView.
template <class TView>
TView Trimmed(TView view) {
  const auto isDropped = [](auto c) { return static_cast<unsigned char>(c) <= ' '; };
  auto first = view.begin(), last = view.end();
  while (last != first && isDropped(last[-1])) --last;
  while (first != last && isDropped(*first)) ++first;
  return TView(first, last);
}

/// Every part between separators, empty ones too; an empty text gives no part.
TStringDynArray Split(std::string_view text, char separator);
/// As Split, at every character of `separators`, a set of UTF-8 characters.
TStringDynArray SplitAtAny(std::string_view text, std::string_view separators);

/// Every occurrence of `from` replaced by `to`, from left to right; an empty `from` occurs nowhere.
std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to);

/// One character read from UTF-8. A byte that belongs to no well-formed character stands for
/// itself, so that no byte of a text is ever lost: wellFormed is false and code is the byte.
struct TUtf8Char {
  char32_t code;
  std::size_t length;  ///< bytes in the text, 1 to 4
  bool wellFormed;

  bool operator==(const TUtf8Char&) const = default;
};

/// The first character of a text that is not empty.
TUtf8Char Utf8First(std::string_view text);

/// Appends the UTF-8 form of `code`; a surrogate or a value past U+10FFFF gives U+FFFD.
void Utf8Append(std::string& text, char32_t code);

/// Count of characters.
std::size_t Utf8Length(std::string_view text);

/// The first `count` characters, or the whole text when it is shorter.
std::string_view Utf8Left(std::string_view text, std::size_t count);

}  // namespace OrvixModBus
