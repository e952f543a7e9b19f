#include "json.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <set>

#include "platform/rtl/uNumText.h"

namespace OrvixModBus::Vectors {
namespace {

bool IsReal(const Json& value) { return value.is_object() && value.contains("bits"); }

bool IsNegative(const Json& integer) {
  return !integer.is_number_unsigned() && integer.get<std::int64_t>() < 0;
}

bool SameNumber(const Json& a, const Json& b) {
  if (!a.is_number_integer() || !b.is_number_integer()) return a.get<double>() == b.get<double>();
  if (IsNegative(a) != IsNegative(b)) return false;
  return IsNegative(a) ? a.get<std::int64_t>() == b.get<std::int64_t>()
                       : a.get<std::uint64_t>() == b.get<std::uint64_t>();
}

bool SameReal(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (a == 0 && b == 0);
}

bool SameLeaf(const Json& expected, const Json& got) {
  if (IsReal(expected) && IsReal(got)) return SameReal(RealOf(expected), RealOf(got));
  if (expected.is_number() && got.is_number()) return SameNumber(expected, got);
  return expected == got;
}

template <class TKey>
std::optional<TDifference> ElementDifference(const Json& expected, const Json& got, const TKey& key,
                                             bool isExpected, bool isGot, const std::string& path,
                                             EWildcard wildcard) {
  if (isExpected && isGot) return FirstDifference(expected[key], got[key], path, wildcard);
  return TDifference{path, isExpected ? Show(expected[key]) : std::string(kNothing),
                     isGot ? Show(got[key]) : std::string(kNothing)};
}

std::optional<TDifference> ArrayDifference(const Json& expected, const Json& got,
                                           const std::string& path, EWildcard wildcard) {
  for (std::size_t i = 0; i < std::max(expected.size(), got.size()); ++i) {
    const std::string place = path + "[" + std::to_string(i) + "]";
    if (auto found = ElementDifference(expected, got, i, i < expected.size(), i < got.size(), place,
                                       wildcard)) {
      return found;
    }
  }
  return std::nullopt;
}

std::optional<TDifference> ObjectDifference(const Json& expected, const Json& got,
                                            const std::string& path, EWildcard wildcard) {
  std::set<std::string> keys;
  for (const auto& [key, value] : expected.items()) keys.insert(key);
  for (const auto& [key, value] : got.items()) keys.insert(key);
  for (const std::string& key : keys) {
    const std::string place = path.empty() ? key : path + "." + key;
    if (auto found = ElementDifference(expected, got, key, expected.contains(key),
                                       got.contains(key), place, wildcard)) {
      return found;
    }
  }
  return std::nullopt;
}

}  // namespace

std::string Show(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string ToHex(std::span<const std::uint8_t> data) {
  std::string text;
  for (const std::uint8_t byte : data) text += IntToHex(byte, 2);
  return text;
}

Bytes FromHex(std::string_view text) {
  Bytes data(text.size() / 2);
  bool good = text.size() % 2 == 0;
  for (std::size_t i = 0; good && i < data.size(); ++i) {
    const char* pair = text.data() + 2 * i;
    const auto [end, error] = std::from_chars(pair, pair + 2, data[i], 16);
    good = error == std::errc() && end == pair + 2;
  }
  if (!good) throw ENotUnderstood("no bytes: " + std::string(text));
  return data;
}

Json RealJson(double value) {
  return {{"dec", Json(value).dump()}, {"bits", IntToHex(std::bit_cast<std::uint64_t>(value), 16)}};
}

double RealOf(const Json& value) {
  std::uint64_t bits = 0;
  if (value.is_object() && value.contains("bits") && value["bits"].is_string()) {
    const auto& text = value["bits"].get_ref<const std::string&>();
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bits, 16);
    if (error == std::errc() && end == text.data() + text.size() && text.size() == 16) {
      return std::bit_cast<double>(bits);
    }
  }
  throw ENotUnderstood("no double: " + Show(value));
}

Json ValueJson(const TRegValue& value) {
  return {{"Srt", value.Srt}, {"Int", value.Int}, {"R", RealJson(value.R)}};
}

void StoreFields(const Json& value, TRegValue& into) {
  for (const auto& [key, field] : value.items()) {
    if (key == "Srt") {
      into.Srt = field.get<std::string>();
    } else if (key == "Int") {
      into.Int = field.get<std::int32_t>();
    } else if (key == "R") {
      into.R = RealOf(field);
    } else {
      throw ENotUnderstood("unknown field of a value: " + key);
    }
  }
}

TRegValue ValueOf(const Json& value) {
  TRegValue result;
  StoreFields(value, result);
  return result;
}

std::optional<TDifference> FirstDifference(const Json& expected, const Json& got,
                                           const std::string& path, EWildcard wildcard) {
  if (wildcard == EWildcard::kStar && expected == "*") return std::nullopt;
  if (expected.is_array() && got.is_array()) {
    return ArrayDifference(expected, got, path, wildcard);
  }
  if (expected.is_object() && got.is_object() && !IsReal(expected) && !IsReal(got)) {
    return ObjectDifference(expected, got, path, wildcard);
  }
  if (SameLeaf(expected, got)) return std::nullopt;
  return TDifference{path, Show(expected), Show(got)};
}

}  // namespace OrvixModBus::Vectors
