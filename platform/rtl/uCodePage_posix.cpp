#include "platform/rtl/uCodePage.h"

#include <cstdlib>

namespace OrvixModBus {

int SystemAnsiCodePage() {
  // The order in which the C library looks for the language of characters.
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* locale = std::getenv(name);
    if (locale != nullptr && *locale != '\0') return AnsiCodePageOfLocale(locale);
  }
  return AnsiCodePageOfLocale("");
}

}  // namespace OrvixModBus
