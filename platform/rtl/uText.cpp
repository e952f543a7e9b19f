#include "platform/rtl/uText.h"

#include <algorithm>
#include <array>

namespace OrvixModBus {
namespace {

constexpr char32_t kLargestCode = 0x10FFFF;
constexpr char32_t kReplacement = 0xFFFD;

std::uint8_t ByteAt(std::string_view text, std::size_t at) {
  return static_cast<std::uint8_t>(text[at]);
}

bool IsSurrogate(char32_t code) { return code >= 0xD800 && code <= 0xDFFF; }

struct TLeadByte {
  std::size_t length;  // bytes of the character, 0 when none begins like this
  char32_t bits;       // the part of the code that the lead byte holds
  char32_t least;      // smaller codes have a shorter form
};

TLeadByte LeadByte(std::uint8_t byte) {
  if (byte < 0x80) return {1, byte, 0};
  if ((byte & 0xE0) == 0xC0) return {2, byte & 0x1FU, 0x80};
  if ((byte & 0xF0) == 0xE0) return {3, byte & 0x0FU, 0x800};
  if ((byte & 0xF8) == 0xF0) return {4, byte & 0x07U, 0x10000};
  return {0, 0, 0};
}

struct TFound {
  std::size_t at;  // npos: no more
  std::size_t length;
};

// The parts around what `find` finds, called with the place from which to look.
template <typename TFind>
TStringDynArray SplitWhere(std::string_view text, TFind find) {
  TStringDynArray parts;
  if (text.empty()) return parts;
  std::size_t start = 0;
  for (TFound found = find(start); found.at != std::string_view::npos; found = find(start)) {
    parts.emplace_back(text.substr(start, found.at - start));
    start = found.at + found.length;
  }
  parts.emplace_back(text.substr(start));
  return parts;
}

// Whether `character` is one of `set`; bytes inside a longer character are none.
bool Contains(std::string_view set, std::string_view character) {
  for (; !set.empty(); set.remove_prefix(Utf8First(set).length)) {
    if (set.substr(0, Utf8First(set).length) == character) return true;
  }
  return false;
}

}  // namespace

std::string Trim(std::string_view text) { return std::string(Trimmed(text)); }

TStringDynArray Split(std::string_view text, char separator) {
  return SplitWhere(text, [&](std::size_t from) { return TFound{text.find(separator, from), 1}; });
}

TStringDynArray SplitAtAny(std::string_view text, std::string_view separators) {
  return SplitWhere(text, [&](std::size_t from) {
    while (from < text.size()) {
      const std::size_t length = Utf8First(text.substr(from)).length;
      if (Contains(separators, text.substr(from, length))) return TFound{from, length};
      from += length;
    }
    return TFound{std::string_view::npos, 0};
  });
}

std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to) {
  if (from.empty()) return std::string(text);
  std::string result;
  std::size_t start = 0;
  for (auto at = text.find(from); at != std::string_view::npos; at = text.find(from, start)) {
    result.append(text.substr(start, at - start)).append(to);
    start = at + from.size();
  }
  return result.append(text.substr(start));
}

TUtf8Char Utf8First(std::string_view text) {
  const TUtf8Char loneByte{ByteAt(text, 0), 1, false};
  const TLeadByte lead = LeadByte(ByteAt(text, 0));
  if (lead.length == 0 || lead.length > text.size()) return loneByte;
  char32_t code = lead.bits;
  for (std::size_t i = 1; i < lead.length; ++i) {
    if ((ByteAt(text, i) & 0xC0) != 0x80) return loneByte;
    code = code << 6 | (ByteAt(text, i) & 0x3FU);
  }
  if (code < lead.least || code > kLargestCode || IsSurrogate(code)) return loneByte;
  return {code, lead.length, true};
}

void Utf8Append(std::string& text, char32_t code) {
  if (code > kLargestCode || IsSurrogate(code)) code = kReplacement;
  if (code < 0x80) {
    text += static_cast<char>(code);
    return;
  }
  const unsigned more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  constexpr std::array<unsigned, 4> kLead{0, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(kLead[more] | code >> (6 * more));
  for (unsigned i = more; i > 0; --i) {
    text += static_cast<char>(0x80U | (code >> (6 * (i - 1)) & 0x3FU));
  }
}

std::size_t Utf8Length(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count) text.remove_prefix(Utf8First(text).length);
  return count;
}

std::string_view Utf8Left(std::string_view text, std::size_t count) {
  std::size_t length = 0;
  for (; count > 0 && length < text.size(); --count)
    length += Utf8First(text.substr(length)).length;
  return text.substr(0, length);
}

}  // namespace OrvixModBus
