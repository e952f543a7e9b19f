#pragma once
// input: the bytes of a fuzz input, taken one after the other.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// Where the input has ended it goes on with zeros, so that a short one is an input, too.
class TFuzzInput {
 public:
  explicit TFuzzInput(std::string_view bytes) : fRest(bytes) {}

  bool AtEnd() const { return fRest.empty(); }
  std::size_t Left() const { return fRest.size(); }

  std::uint8_t Byte() {
    if (fRest.empty()) return 0;
    const char first = fRest.front();
    fRest.remove_prefix(1);
    return static_cast<std::uint8_t>(first);
  }
  bool Flag() { return (Byte() & 1) != 0; }
  std::uint16_t Word() {
    const unsigned high = Byte();
    return static_cast<std::uint16_t>(high << 8 | Byte());
  }
  std::uint32_t Cardinal() {
    const std::uint32_t high = Word();
    return high << 16 | Word();
  }
  std::int32_t Integer() { return static_cast<std::int32_t>(Cardinal()); }
  /// Any bit pattern, infinities and what is no number among them.
  double Real() {
    const std::uint64_t high = Cardinal();
    const std::uint64_t bits = high << 32 | Cardinal();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  /// One of choices.
  template <class T, std::size_t size>
  const T& OneOf(const T (&choices)[size]) {
    return choices[Byte() % size];
  }

  /// The next count bytes, fewer at the end.
  std::string_view Text(std::size_t count) {
    const std::string_view text = fRest.substr(0, count);
    fRest.remove_prefix(text.size());
    return text;
  }
  std::string_view Rest() { return Text(fRest.size()); }
  /// Up to the next end of line, which is taken, too, or to the end.
  std::string_view Line() {
    const std::string_view line = Text(std::min(fRest.find('\n'), fRest.size()));
    Text(1);
    return line;
  }
  /// Always count bytes.
  OrvixModBus::Bytes Bytes(std::size_t count) {
    const std::string_view text = Text(count);
    OrvixModBus::Bytes bytes(text.begin(), text.end());
    bytes.resize(count);
    return bytes;
  }

 private:
  std::string_view fRest;
};

}  // namespace OrvixModBus
