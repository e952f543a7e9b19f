#include "fields.h"

#include <algorithm>

#include "platform/rtl/uText.h"

namespace OrvixModBus::Vectors {

const Json& TField::Expect(bool condition) const {
  if (!condition) throw ENotUnderstood("unexpected " + fName + " " + Show(fValue));
  return fValue;
}

TField::operator double() const {
  if (fValue.is_number()) return fValue.get<double>();
  return RealOf(fValue);
}

TField::operator char32_t() const {
  const std::string& text = Text();
  Expect(!text.empty() && Utf8First(text).length == text.size());
  return Utf8First(text).code;
}

TField::operator TRegType() const {
  const auto& names = TEnumNames<TRegType>::Values;
  const auto found = std::find(std::begin(names), std::end(names), Text());
  Expect(found != std::end(names));
  return static_cast<TRegType>(found - std::begin(names));
}

TFields::TFields(const Json& object) : fObject(object) {
  if (!object.is_object()) throw ENotUnderstood("no object: " + Show(object));
}

TField TFields::operator[](std::string_view name) {
  if (!Has(name)) throw ENotUnderstood("no field " + std::string(name));
  fRead.emplace(name);
  return TField(fObject.find(name).value(), std::string(name));
}

void TFields::Ignore(std::initializer_list<std::string_view> names) {
  for (const std::string_view name : names) fRead.emplace(name);
}

void TFields::RefuseUnread() const {
  for (const auto& [name, value] : fObject.items()) {
    if (!fRead.contains(name)) throw ENotUnderstood("unknown field " + name);
  }
}

}  // namespace OrvixModBus::Vectors
