#include "tools/display/uShownText.h"

#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {

std::string HexText(TByteView bytes, std::string_view separator) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += separator;
    text += IntToHex(byte, 2);
  }
  return text;
}

std::string BitTexts(std::string_view value) {
  std::string text;
  for (const std::string& part : Split(value, '|')) {
    if (part.empty()) continue;
    text += (text.empty() ? "" : ", ") + part;
  }
  return text;
}

}  // namespace OrvixModBus
