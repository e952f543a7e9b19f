#include "uMBLib.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "platform/model/uStringList.h"
#include "platform/rtl/uCodePage.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

void AppendHex(std::string& text, std::uint8_t byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  text += kDigits[byte >> 4];
  text += kDigits[byte & 0xF];
}

char BitDigit(bool bit) { return bit ? '1' : '0'; }

}  // namespace

std::string TMBLib::ByteArToStr(TByteView data, int len) {
  // One byte is one character in every ANSI code page.
  const bool cut = len > 0 && static_cast<std::size_t>(len) < data.size();
  return AnsiToUtf8(cut ? data.first(static_cast<std::size_t>(len)) : data);
}

std::string TMBLib::WordToChar(std::uint16_t w) {
  const std::array<std::uint8_t, 2> bytes{static_cast<std::uint8_t>(w >> 8),
                                          static_cast<std::uint8_t>(w & 0xFF)};
  return AnsiToUtf8(bytes);
}

std::string TMBLib::WordArToStr(std::span<const std::uint16_t> words) {
  std::string text;
  for (const std::uint16_t w : words) text += WordToChar(w);
  return text;
}

std::string TMBLib::ByteToBinStr(std::uint8_t b) {
  std::string text;
  for (std::uint8_t bit = 0; bit < 8; ++bit) text += BitDigit(BitFromByte(b, bit));
  return text;
}

std::string TMBLib::ByteArToBinStr(TByteView data) {
  std::string text;
  for (const std::uint8_t byte : data) text += ByteToBinStr(byte);
  return text;
}

std::string TMBLib::ByteArToBinStr(TByteView data, bool reverse) {
  // Read from its end, the little-endian text is that of the array: its last bit stands first.
  std::string text = ByteArToBinStr(data);
  if (!reverse) return {text.rbegin(), text.rend()};
  for (auto byte = text.begin(); byte != text.end(); byte += 8) std::reverse(byte, byte + 8);
  return text;
}

std::string TMBLib::ByteArToHexStr(TByteView data) { return ByteArrayToHexStr(data, false); }

std::string TMBLib::ByteArrayToHexStr(TByteView data, bool natural) {
  std::string text = "$";
  text.reserve(1 + 2 * data.size());
  for (std::size_t i = 0; i < data.size(); ++i) {
    AppendHex(text, data[natural ? i : data.size() - 1 - i]);
  }
  return text;
}

std::string TMBLib::ByteArToHexStrSmooth(TByteView data) {
  std::string text;
  for (const std::uint8_t byte : data) {
    text += text.empty() ? "$" : " $";
    AppendHex(text, byte);
  }
  return text;
}

Bytes TMBLib::HexStrToByteAr(std::string_view s) { return HexStrToByteArray(s, false); }

Bytes TMBLib::HexStrToByteArray(std::string_view s, bool natural) {
  if (!s.starts_with('$') || Utf8Length(s.substr(1)) % 2 != 0) return {};
  Bytes result;
  for (std::size_t at = 1; at < s.size(); at += 2) {
    result.push_back(static_cast<std::uint8_t>(StrToInt("$" + std::string(s.substr(at, 2)))));
  }
  if (!natural) std::reverse(result.begin(), result.end());
  return result;
}

Bytes TMBLib::HexStrToByteArSep(std::string_view s, char32_t sep) {
  std::string separator;
  Utf8Append(separator, sep);
  Bytes result;
  for (const std::string& field : SplitAtAny(s, separator)) {
    std::int32_t value = 0;
    const bool number = TryStrToInt(field.starts_with('$') ? field : "$" + field, value);
    if (number) result.push_back(static_cast<std::uint8_t>(value));
  }
  return result;
}

std::string TMBLib::StringDynArrToString(const TStringDynArray& items, std::string_view sep) {
  std::string text;
  for (const std::string& item : items) text.append(item).append(sep);
  if (!items.empty()) text.resize(text.size() - sep.size());
  return text;
}

void TMBLib::StrDynArrayToList(TStringList& list, const TStringDynArray& items, bool clearFirst) {
  if (clearFirst) list.Clear();
  for (const std::string& item : items) {
    if (!item.empty()) list.Add(item);
  }
}

TStringDynArray TMBLib::ListToStrDynArray(const TStringList& list) {
  TStringDynArray items;
  for (int i = 0; i < list.Count(); ++i) {
    if (!list.Strings(i).empty()) items.push_back(list.Strings(i));
  }
  return items;
}

TStringDynArray TMBLib::DelStrFromStrDynAr(const TStringDynArray& items, std::string_view s) {
  TStringDynArray rest;
  std::remove_copy(items.begin(), items.end(), std::back_inserter(rest), s);
  return rest;
}

}  // namespace OrvixModBus
