#pragma once
// uJsonNode: reads a JSON document strictly, with the place of whatever is wrong in it.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/rtl/uBytes.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {

using TJsonKeys = std::vector<std::string_view>;

/// Remarks (/* */ and //) are allowed. Throws Exception "name: line 3, column 7: ...".
nlohmann::json ParseJson(std::string_view text, const std::string& name);

/// A value of a document and where it stands, "plant.json:/servers/0/address", which every
/// Exception begins with. Refers to the document. What is not of the kind asked for fails.
class TJsonNode {
 public:
  TJsonNode(const nlohmann::json& value, std::string place)
      : fValue(&value), fPlace(std::move(place)) {}

  /// Throws Exception: the place and what is wrong.
  [[noreturn]] void Fail(const std::string& what) const { throw Exception(fPlace + " " + what); }

  bool IsObject() const { return fValue->is_object(); }
  bool IsList() const { return fValue->is_array(); }
  std::vector<std::pair<std::string, TJsonNode>> Members() const;
  std::vector<TJsonNode> Items() const;
  /// Of an object; Get fails when there is none of that key.
  std::optional<TJsonNode> Find(std::string_view key) const;
  TJsonNode Get(std::string_view key) const;
  /// Fails when there is another key.
  void AllowKeys(const TJsonKeys& keys) const;

  std::uint64_t Integer(std::uint64_t least, std::uint64_t greatest) const;
  double Real() const;
  /// Of an object's member; fallback when there is none of that key, if there is a fallback.
  double Real(std::string_view key, std::optional<double> fallback = std::nullopt) const;
  bool Boolean() const;
  const std::string& Text() const;
  Bytes HexText() const;  ///< pairs of hexadecimal digits; blanks don't count

 private:
  void Expect(bool fits, const std::string& what) const {
    if (!fits) Fail("must be " + what);
  }
  TJsonNode Child(const nlohmann::json& value, std::string_view key) const {
    return {value, fPlace + "/" + std::string(key)};
  }

  const nlohmann::json* fValue;
  std::string fPlace;
};

}  // namespace OrvixModBus
