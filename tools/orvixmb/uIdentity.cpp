#include "tools/orvixmb/uIdentity.h"

#include <algorithm>

#include "platform/rtl/uText.h"
#include "uMBLib.h"

namespace OrvixModBus {
namespace {

bool IsSign(std::uint8_t byte) { return byte == 0x00 || byte == 0xFF; }

std::string TextOf(const Bytes& data) { return Trim(TMBLib::ByteArToStr(data, 0)); }

}  // namespace

TIdentity IdentityOf(const Bytes& data) {
  if (data.empty()) return {};
  auto sign = std::find_if(data.begin() + 1, data.end(), IsSign);
  if (sign == data.end() && IsSign(data.front())) sign = data.begin();
  if (sign == data.end()) return {{}, std::nullopt, TextOf(data)};
  return {{data.begin(), sign}, *sign == 0xFF, TextOf({sign + 1, data.end()})};
}

}  // namespace OrvixModBus
