#include "platform/rtl/uFold.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

// Capitals first, first + step, ... last, and the way from each to its small letter.
struct TCapitals {
  char32_t first;
  char32_t last;
  char32_t step;
  std::int32_t toSmall;
};

// In ascending order; alphabets that alternate capital and small letters have step 2.
constexpr std::array kCapitals{
    TCapitals{0x0041, 0x005A, 1, 32},   TCapitals{0x00B5, 0x00B5, 1, 775},  // micro sign: mu
    TCapitals{0x00C0, 0x00D6, 1, 32},   TCapitals{0x00D8, 0x00DE, 1, 32},
    TCapitals{0x0100, 0x012E, 2, 1},    TCapitals{0x0132, 0x0136, 2, 1},
    TCapitals{0x0139, 0x0147, 2, 1},    TCapitals{0x014A, 0x0176, 2, 1},
    TCapitals{0x0178, 0x0178, 1, -121}, TCapitals{0x0179, 0x017D, 2, 1},
    TCapitals{0x017F, 0x017F, 1, -268},  // long s
    TCapitals{0x01CD, 0x01DB, 2, 1},    TCapitals{0x01DE, 0x01EE, 2, 1},
    TCapitals{0x01F8, 0x021E, 2, 1},    TCapitals{0x0222, 0x0232, 2, 1},
    TCapitals{0x0386, 0x0386, 1, 38},   TCapitals{0x0388, 0x038A, 1, 37},
    TCapitals{0x038C, 0x038C, 1, 64},   TCapitals{0x038E, 0x038F, 1, 63},
    TCapitals{0x0391, 0x03A1, 1, 32},   TCapitals{0x03A3, 0x03AB, 1, 32},
    TCapitals{0x03C2, 0x03C2, 1, 1},  // final sigma
    TCapitals{0x0400, 0x040F, 1, 80},   TCapitals{0x0410, 0x042F, 1, 32},
    TCapitals{0x0460, 0x0480, 2, 1},    TCapitals{0x048A, 0x04BE, 2, 1},
    TCapitals{0x04C0, 0x04C0, 1, 15},   TCapitals{0x04C1, 0x04CD, 2, 1},
    TCapitals{0x04D0, 0x052E, 2, 1},
};

constexpr char32_t kLoneBytes = 0x110000;  // the first number that is no character

// The next character, folded, as a number of its own; a byte that is no UTF-8 counts from
// kLoneBytes. ASCII needs no decoding.
char32_t TakeFolded(std::string_view& text) {
  const auto byte = static_cast<unsigned char>(text.front());
  if (byte < 0x80) {
    text.remove_prefix(1);
    return byte >= 'A' && byte <= 'Z' ? byte + 32U : byte;
  }
  const TUtf8Char c = Utf8First(text);
  text.remove_prefix(c.length);
  return c.wellFormed ? FoldChar(c.code) : c.code + kLoneBytes;
}

}  // namespace

char32_t FoldChar(char32_t code) {
  const auto* range = std::lower_bound(kCapitals.begin(), kCapitals.end(), code,
                                       [](const TCapitals& c, char32_t x) { return c.last < x; });
  if (range == kCapitals.end() || code < range->first) return code;
  if ((code - range->first) % range->step != 0) return code;
  return code + static_cast<char32_t>(range->toSmall);
}

std::string FoldCase(std::string_view text) {
  std::string folded;
  folded.reserve(text.size());
  while (!text.empty()) {
    const char32_t code = TakeFolded(text);
    if (code < 0x80 || code >= kLoneBytes) {
      folded += static_cast<char>(code);  // the low 8 bits are the byte
    } else {
      Utf8Append(folded, code);
    }
  }
  return folded;
}

bool SameText(std::string_view a, std::string_view b) { return CompareText(a, b) == 0; }

int CompareText(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    const char32_t nextA = TakeFolded(a);
    const char32_t nextB = TakeFolded(b);
    if (nextA != nextB) return nextA < nextB ? -1 : 1;
  }
  return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

std::size_t HashText(std::string_view text) {
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a over the folded characters
  while (!text.empty()) hash = (hash ^ TakeFolded(text)) * 1099511628211u;
  return static_cast<std::size_t>(hash ^ (hash >> 32));
}

}  // namespace OrvixModBus
