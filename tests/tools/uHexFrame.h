#pragma once
// uHexFrame: frames as hexadecimal text, as people read them.

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

#include "platform/rtl/uBytes.h"
#include "platform/rtl/uNumText.h"

namespace OrvixModBus {

/// "11 03 FF" to bytes; blanks don't count.
inline Bytes FromHex(std::string_view text) {
  std::string digits(text);
  std::erase(digits, ' ');
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(StrToInt("$" + digits.substr(i, 2))));
  }
  return bytes;
}

/// Bytes to "11 03 FF".
inline std::string ToHex(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) text += (text.empty() ? "" : " ") + IntToHex(byte, 2);
  return text;
}

}  // namespace OrvixModBus
