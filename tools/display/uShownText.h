#pragma once
// uShownText: bytes and bit texts the way people read them.

#include <string>
#include <string_view>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// Upper-case hexadecimal pairs: "11 03 FF", or as closely as the separator says.
std::string HexText(TByteView bytes, std::string_view separator = " ");

/// The texts of a bit field's value that are not empty: "Run||Fault|" is "Run, Fault".
std::string BitTexts(std::string_view value);

}  // namespace OrvixModBus
