#pragma once
// uEnum: the names of an enumeration's values, and sets of them.

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string_view>

namespace OrvixModBus {

/// Specialise with `static constexpr std::string_view Values[]`: the names of an enumeration's
/// values in ordinal order.
template <class TEnum>
struct TEnumNames;

/// A set of an enumeration's values: `{TRegType::rtNum, TRegType::rtList}`. What is no value of
/// the enumeration is in no set.
template <class TEnum>
class TSet {
 public:
  using TElement = TEnum;
  static_assert(std::size(TEnumNames<TEnum>::Values) <= 32);

  constexpr TSet(std::initializer_list<TEnum> elements) {
    for (const TEnum element : elements) fBits |= Bit(element);
  }
  constexpr bool Contains(TEnum element) const { return (fBits & Bit(element)) != 0; }
  constexpr bool operator==(const TSet&) const = default;

  /// One bit for each element, that of the first value of the enumeration the least.
  constexpr std::uint32_t Bits() const { return fBits; }
  static constexpr TSet FromBits(std::uint32_t bits) {
    TSet set({});
    set.fBits = bits & kAll;
    return set;
  }

 private:
  static constexpr std::uint32_t kAll = 0xFFFFFFFFU >> (32 - std::size(TEnumNames<TEnum>::Values));
  static constexpr std::uint32_t Bit(TEnum element) {
    const auto ordinal = static_cast<std::uint32_t>(element);
    return ordinal < std::size(TEnumNames<TEnum>::Values) ? 1U << ordinal : 0;
  }

  std::uint32_t fBits = 0;
};

}  // namespace OrvixModBus
