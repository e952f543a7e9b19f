#include "platform/model/uProperty.h"

#include <algorithm>
#include <cmath>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

[[noreturn]] void Refuse(const TPersistent& object, const TPropertyInfo& property,
                         const std::string& reason) {
  throw EConvertError(std::string(object.ClassName()) + "." + std::string(property.Name) + ": " +
                      reason);
}

void CheckOrdinal(const TPersistent& object, const TPropertyInfo& property, std::int64_t value,
                  std::int64_t min, std::int64_t max) {
  if (value >= min && value <= max) return;
  Refuse(object, property,
         std::to_string(value) + " is not between " + std::to_string(min) + " and " +
             std::to_string(max));
}

template <class T>
const T& Expect(const TPersistent& object, const TPropertyInfo& property,
                const TPropertyValue& value, const char* wanted) {
  const T* held = std::get_if<T>(&value);
  if (held == nullptr) Refuse(object, property, std::string("expects ") + wanted);
  return *held;
}

void CheckReference(const TPersistent& object, const TPropertyInfo& property,
                    const TPropertyValue& value) {
  const auto* target = Expect<TPersistent*>(object, property, value, "an object");
  if (target == nullptr || !property.Accepts || property.Accepts(*target)) return;
  Refuse(object, property, "a " + std::string(target->ClassName()) + " does not fit");
}

void CheckValue(const TPersistent& object, const TPropertyInfo& property,
                const TPropertyValue& value) {
  const auto ordinal = [&](const char* wanted) {
    return Expect<std::int64_t>(object, property, value, wanted);
  };
  switch (property.Kind) {
    case TPropertyKind::pkInteger:
      return CheckOrdinal(object, property, ordinal("an integer"), property.Min, property.Max);
    case TPropertyKind::pkBoolean:
      return CheckOrdinal(object, property, ordinal("a Boolean"), 0, 1);
    case TPropertyKind::pkEnumeration:
      return CheckOrdinal(object, property, ordinal("a value's name"), 0,
                          static_cast<std::int64_t>(property.EnumNames.size()) - 1);
    case TPropertyKind::pkSet:
      return CheckOrdinal(object, property, ordinal("a set"), 0,
                          (std::int64_t{1} << property.EnumNames.size()) - 1);
    case TPropertyKind::pkBinary:
      Expect<Bytes>(object, property, value, "bytes");
      return;
    case TPropertyKind::pkFloat:
      Expect<double>(object, property, value, "a number");
      return;
    case TPropertyKind::pkString:
      Expect<std::string>(object, property, value, "a text");
      return;
    case TPropertyKind::pkObject:
    case TPropertyKind::pkReference:
      return CheckReference(object, property, value);
    case TPropertyKind::pkEvent:
      const auto& handler = Expect<std::any>(object, property, value, "a handler");
      const auto& empty = std::get<std::any>(*property.Default);
      if (handler.type() != empty.type()) Refuse(object, property, "the handler does not fit");
  }
}

}  // namespace

bool TClassInfo::InheritsFrom(const TClassInfo& other) const {
  for (const TClassInfo* info = this; info != nullptr; info = info->fParent) {
    if (info == &other) return true;
  }
  return false;
}

std::vector<const TPropertyInfo*> TClassInfo::Properties() const {
  auto all = fParent != nullptr ? fParent->Properties() : std::vector<const TPropertyInfo*>();
  for (const TPropertyInfo& property : fOwn) all.push_back(&property);
  return all;
}

const TPropertyInfo* TClassInfo::Property(std::string_view name) const {
  const auto found =
      std::ranges::find_if(fOwn, [&](const TPropertyInfo& p) { return p.Name == name; });
  if (found != fOwn.end()) return &*found;
  return fParent != nullptr ? fParent->Property(name) : nullptr;
}

void SetProperty(TPersistent& object, const TPropertyInfo& property, const TPropertyValue& value) {
  CheckValue(object, property, value);
  property.Set(object, value);
}

bool SameValue(const TPropertyInfo& property, const TPropertyValue& one,
               const TPropertyValue& other) {
  if (one.index() != other.index()) return false;
  return std::visit(
      [&]<class T>(const T& left) {
        const T& right = std::get<T>(other);
        if constexpr (std::is_same_v<T, std::any>)
          return property.SameHandler(left, right);
        else if constexpr (std::is_same_v<T, double>)
          return left == right || (std::isnan(left) && std::isnan(right));
        else
          return left == right;
      },
      one);
}

}  // namespace OrvixModBus
