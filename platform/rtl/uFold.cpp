#include "platform/rtl/uFold.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
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

void AppendFolded(std::string& folded, char32_t code) {
  if (code < 0x80 || code >= kLoneBytes) {
    folded += static_cast<char>(code);  // the low 8 bits are the byte
  } else {
    Utf8Append(folded, code);
  }
}

// Names are mostly ASCII: such texts are folded by eight characters at a time, a shorter end filled
// up with zeros.
constexpr std::size_t kWordSize = sizeof(std::uint64_t);
constexpr std::uint64_t kEach = 0x0101010101010101;  // one in each character

std::size_t WordLength(std::string_view text) { return std::min(text.size(), kWordSize); }

std::uint64_t WordOf(std::string_view text) {
  std::uint64_t word = 0;
  if (text.size() < kWordSize) {
    std::memcpy(&word, text.data(), text.size());
  } else {
    std::memcpy(&word, text.data(), kWordSize);
  }
  return word;
}

bool IsAscii(std::uint64_t word) { return (word & 0x80 * kEach) == 0; }

std::uint64_t FoldAscii(std::uint64_t word) {
  const std::uint64_t fromA = word + (0x80 - 'A') * kEach;      // bit 7: 'A' or above
  const std::uint64_t pastZ = word + (0x80 - 'Z' - 1) * kEach;  // bit 7: above 'Z'
  return word + ((fromA ^ pastZ) & 0x80 * kEach) / 4;           // 0x20 from a capital to its small
}

std::uint64_t Mixed(std::uint64_t hash, std::uint64_t word) {
  hash = (hash ^ word) * 0xFF51AFD7ED558CCD;
  return hash ^ (hash >> 32);
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
  while (!text.empty()) AppendFolded(folded, TakeFolded(text));
  return folded;
}

bool SameText(std::string_view a, std::string_view b) { return a == b || CompareText(a, b) == 0; }

int CompareText(std::string_view a, std::string_view b) {
  while (!a.empty() && WordLength(a) == WordLength(b)) {
    std::uint64_t wordA = WordOf(a), wordB = WordOf(b);
    if (!IsAscii(wordA | wordB)) break;
    wordA = FoldAscii(wordA);
    wordB = FoldAscii(wordB);
    if (wordA != wordB) return std::memcmp(&wordA, &wordB, kWordSize) < 0 ? -1 : 1;
    a.remove_prefix(WordLength(a));
    b.remove_prefix(WordLength(b));
  }
  while (!a.empty() && !b.empty()) {
    const char32_t nextA = TakeFolded(a);
    const char32_t nextB = TakeFolded(b);
    if (nextA != nextB) return nextA < nextB ? -1 : 1;
  }
  return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

std::size_t HashText(std::string_view text) {
  std::uint64_t hash = 0;  // of the folded text by words, however it was written
  for (; !text.empty() && IsAscii(WordOf(text)); text.remove_prefix(WordLength(text))) {
    hash = Mixed(hash, FoldAscii(WordOf(text)));
  }
  std::string rest;  // short enough to need no memory
  while (!text.empty()) {
    AppendFolded(rest, TakeFolded(text));
    if (rest.size() < kWordSize && !text.empty()) continue;
    hash = Mixed(hash, WordOf(rest));
    rest.erase(0, WordLength(rest));
  }
  if (!rest.empty()) hash = Mixed(hash, WordOf(rest));
  return static_cast<std::size_t>(Mixed(hash, 0));
}

}  // namespace OrvixModBus
