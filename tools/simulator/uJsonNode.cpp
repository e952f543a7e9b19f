#include "tools/simulator/uJsonNode.h"

#include <algorithm>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"

namespace OrvixModBus {

using TJson = nlohmann::json;

namespace {

// Of the parser's message what is for people: "line 3, column 7: ...".
std::string Readable(const std::string& message) {
  const auto place = message.find("line ");
  return place != std::string::npos ? message.substr(place) : message;
}

}  // namespace

TJson ParseJson(std::string_view text, const std::string& name) {
  try {
    return TJson::parse(text, nullptr, true, true);  // with remarks
  } catch (const TJson::exception& error) {
    throw Exception(name + ": " + Readable(error.what()));
  }
}

std::vector<std::pair<std::string, TJsonNode>> TJsonNode::Members() const {
  Expect(IsObject(), "an object");
  std::vector<std::pair<std::string, TJsonNode>> members;
  for (const auto& [key, value] : fValue->items()) members.emplace_back(key, Child(value, key));
  return members;
}

std::vector<TJsonNode> TJsonNode::Items() const {
  Expect(IsList(), "a list");
  std::vector<TJsonNode> items;
  for (const TJson& value : *fValue) items.push_back(Child(value, IntToStr(std::ssize(items))));
  return items;
}

std::optional<TJsonNode> TJsonNode::Find(std::string_view key) const {
  Expect(IsObject(), "an object");
  const auto member = fValue->find(key);
  if (member == fValue->end()) return std::nullopt;
  return Child(*member, key);
}

TJsonNode TJsonNode::Get(std::string_view key) const {
  const auto member = Find(key);
  if (!member) Fail(Format("lacks \"%s\"", {key}));
  return *member;
}

void TJsonNode::AllowKeys(const TJsonKeys& keys) const {
  for (const auto& [key, _] : Members()) {
    if (std::ranges::find(keys, key) == keys.end()) Fail(Format("can't have \"%s\"", {key}));
  }
}

std::uint64_t TJsonNode::Integer(std::uint64_t least, std::uint64_t greatest) const {
  const std::uint64_t value = fValue->is_number_unsigned() ? fValue->get<std::uint64_t>() : 0;
  Expect(fValue->is_number_unsigned() && least <= value && value <= greatest,
         Format("%u to %u", {least, greatest}));
  return value;
}

double TJsonNode::Real() const {
  Expect(fValue->is_number(), "a number");
  return fValue->get<double>();
}

double TJsonNode::Real(std::string_view key, std::optional<double> fallback) const {
  const auto member = Find(key);
  return fallback && !member ? *fallback : Get(key).Real();
}

bool TJsonNode::Boolean() const {
  Expect(fValue->is_boolean(), "true or false");
  return fValue->get<bool>();
}

const std::string& TJsonNode::Text() const {
  Expect(fValue->is_string(), "a text");
  return fValue->get_ref<const std::string&>();
}

Bytes TJsonNode::HexText() const {
  std::string digits = Text();
  std::erase(digits, ' ');
  const bool onlyDigits = digits.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
  Expect(onlyDigits && digits.size() % 2 == 0, "pairs of hexadecimal digits");
  Bytes bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(StrToInt("$" + digits.substr(i, 2))));
  }
  return bytes;
}

}  // namespace OrvixModBus
