#include "platform/rtl/uCodePage.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/rtl/uCodePageTables.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uFormat.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

constexpr int kWestern = 1252;

struct TLanguagePage {
  std::string_view language;  // ISO 639-1
  int page;
};

constexpr std::array kLanguagePages{
    TLanguagePage{"ar", 1256}, TLanguagePage{"az", 1254}, TLanguagePage{"be", 1251},
    TLanguagePage{"bg", 1251}, TLanguagePage{"bs", 1250}, TLanguagePage{"cs", 1250},
    TLanguagePage{"el", 1253}, TLanguagePage{"et", 1257}, TLanguagePage{"fa", 1256},
    TLanguagePage{"he", 1255}, TLanguagePage{"hr", 1250}, TLanguagePage{"hu", 1250},
    TLanguagePage{"kk", 1251}, TLanguagePage{"ky", 1251}, TLanguagePage{"lt", 1257},
    TLanguagePage{"lv", 1257}, TLanguagePage{"mk", 1251}, TLanguagePage{"mn", 1251},
    TLanguagePage{"pl", 1250}, TLanguagePage{"ro", 1250}, TLanguagePage{"ru", 1251},
    TLanguagePage{"sk", 1250}, TLanguagePage{"sl", 1250}, TLanguagePage{"sq", 1250},
    TLanguagePage{"sr", 1251}, TLanguagePage{"tg", 1251}, TLanguagePage{"tr", 1254},
    TLanguagePage{"tt", 1251}, TLanguagePage{"uk", 1251}, TLanguagePage{"ur", 1256},
    TLanguagePage{"vi", 1258},
};

const TCodePage* FindPage(int number) {
  const auto* page = std::find_if(kCodePages.begin(), kCodePages.end(),
                                  [&](const TCodePage& p) { return p.number == number; });
  return page == kCodePages.end() ? nullptr : page;
}

const TCodePage* FirstPage() {
  const TCodePage* page = FindPage(SystemAnsiCodePage());
  return page == nullptr ? FindPage(kWestern) : page;
}

std::atomic<const TCodePage*>& Page() {
  static std::atomic<const TCodePage*> page{FirstPage()};
  return page;
}

// The count of ASCII bytes in front, most often all: eight at a time, which takes a third of the
// time of a text.
std::size_t AsciiLength(TByteView data) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::size_t length = 0;
  std::uint64_t eight = 0;
  for (; length + sizeof eight <= data.size(); length += sizeof eight) {
    std::memcpy(&eight, data.data() + length, sizeof eight);
    if ((eight & kHighBits) != 0) break;
  }
  while (length < data.size() && data[length] < 0x80) ++length;
  return length;
}

}  // namespace

int AnsiCodePage() { return Page().load()->number; }

void SetAnsiCodePage(int codePage) {
  const TCodePage* page = FindPage(codePage);
  if (page == nullptr) throw EConvertError(Format("Code page %d is not known", {codePage}));
  Page() = page;
}

std::string AnsiToUtf8(TByteView data) {
  std::string text;
  AppendAnsi(text, data);
  return text;
}

void AppendAnsi(std::string& text, TByteView data) {
  const std::size_t ascii = AsciiLength(data);
  text.append(reinterpret_cast<const char*>(data.data()), ascii);
  if (ascii == data.size()) return;
  const TCodePage& page = *Page().load();
  for (const std::uint8_t byte : data.subspan(ascii)) {
    if (byte < 0x80) {
      text += static_cast<char>(byte);
    } else {
      Utf8Append(text, page.high[byte - std::size_t{0x80}]);
    }
  }
}

int AnsiCodePageOfLocale(std::string_view locale) {
  const std::string_view language = locale.substr(0, locale.find_first_of("_.@"));
  const auto* row = std::find_if(kLanguagePages.begin(), kLanguagePages.end(),
                                 [&](const TLanguagePage& p) { return p.language == language; });
  if (language == "sr" && locale.ends_with("@latin")) return 1250;
  return row == kLanguagePages.end() ? kWestern : row->page;
}

}  // namespace OrvixModBus
