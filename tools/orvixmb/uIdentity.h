#pragma once
// uIdentity: what a device reports of itself, taken apart.

#include <optional>
#include <string>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// A server ID, FF while the device runs or 00, then what the device likes, mostly a text (Modbus
/// Application Protocol V1.1b3, 6.13). The length of the ID is the device's secret: here it ends
/// with the first 00 or FF, its own first byte only if there is no other. Without one, all is a
/// text.
struct TIdentity {
  Bytes Id;
  std::optional<bool> Running;
  std::string Text;  ///< by the ANSI code page, trimmed
};

/// Of the bytes behind the reply's byte count.
TIdentity IdentityOf(const Bytes& data);

}  // namespace OrvixModBus
