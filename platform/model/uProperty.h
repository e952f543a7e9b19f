#pragma once
// uProperty: the table of published properties of a class. Forms, inspectors and tools know a
// class by this table alone.

#include <any>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "platform/model/uEnum.h"
#include "platform/model/uPersistent.h"
#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

class TComponent;

enum class TPropertyKind {
  pkInteger,      ///< std::int64_t within Min..Max
  pkFloat,        ///< double
  pkString,       ///< std::string, UTF-8
  pkBoolean,      ///< std::int64_t 0 or 1
  pkEnumeration,  ///< std::int64_t, index into EnumNames
  pkSet,          ///< std::int64_t, bit n for the value EnumNames[n]
  pkBinary,       ///< Bytes
  pkObject,       ///< TPersistent*, owned by the object: a collection or a string list
  pkReference,    ///< TPersistent*, an object elsewhere or nil
  pkEvent,        ///< std::any holding the TEvent<...> of the property
};

/// A property's value in the form common to all of its kind, see TPropertyKind.
using TPropertyValue =
    std::variant<std::monostate, std::int64_t, double, std::string, Bytes, TPersistent*, std::any>;

/// One published property.
struct TPropertyInfo {
  std::string_view Name;
  TPropertyKind Kind = TPropertyKind::pkInteger;
  /// Not stored in a form while equal to this; always stored when there is none.
  std::optional<TPropertyValue> Default;
  std::function<TPropertyValue(const TPersistent&)> Get;
  /// The value's alternative and range fit Kind; whatever the setter throws passes through.
  std::function<void(TPersistent&, const TPropertyValue&)> Set;
  std::int64_t Min = 0;  ///< of pkInteger
  std::int64_t Max = 0;
  std::span<const std::string_view> EnumNames;  ///< of pkEnumeration and pkSet
  /// pkReference: does the object fit the property's type? Empty otherwise.
  std::function<bool(const TPersistent&)> Accepts;
  /// pkEvent: are both the same handler, or nobody's? Empty otherwise.
  std::function<bool(const std::any&, const std::any&)> SameHandler;
};

/// A class: its name, its parent class and the properties that it adds to it.
class TClassInfo {
 public:
  TClassInfo(std::string_view name, const TClassInfo* parent, std::vector<TPropertyInfo> own)
      : fName(name), fParent(parent), fOwn(std::move(own)) {}
  TClassInfo(const TClassInfo&) = delete;
  TClassInfo& operator=(const TClassInfo&) = delete;

  std::string_view Name() const { return fName; }
  const TClassInfo* Parent() const { return fParent; }
  bool InheritsFrom(const TClassInfo& other) const;
  /// All properties: the parent's first, then the own ones in order of declaration.
  std::vector<const TPropertyInfo*> Properties() const;
  /// The property of that name, the nearest class first; nil when there is none.
  const TPropertyInfo* Property(std::string_view name) const;

 private:
  std::string_view fName;
  const TClassInfo* fParent;
  std::vector<TPropertyInfo> fOwn;
};

namespace Detail {

template <class T>
inline constexpr bool kIsSet = false;
template <class TEnum>
inline constexpr bool kIsSet<TSet<TEnum>> = true;

template <class T>
constexpr TPropertyKind KindOf() {
  if constexpr (std::is_same_v<T, bool>)
    return TPropertyKind::pkBoolean;
  else if constexpr (std::is_enum_v<T>)
    return TPropertyKind::pkEnumeration;
  else if constexpr (std::is_integral_v<T>)
    return TPropertyKind::pkInteger;
  else if constexpr (std::is_floating_point_v<T>)
    return TPropertyKind::pkFloat;
  else if constexpr (std::is_pointer_v<T>)
    return TPropertyKind::pkReference;
  else if constexpr (kIsSet<T>)
    return TPropertyKind::pkSet;
  else if constexpr (std::is_same_v<T, Bytes>)
    return TPropertyKind::pkBinary;
  else
    return TPropertyKind::pkString;
}

template <class T>
TPropertyValue ToValue(const T& value) {
  if constexpr (std::is_enum_v<T> || std::is_integral_v<T>)
    return static_cast<std::int64_t>(value);
  else if constexpr (std::is_floating_point_v<T>)
    return static_cast<double>(value);
  else if constexpr (std::is_pointer_v<T>)
    return static_cast<TPersistent*>(value);
  else if constexpr (kIsSet<T>)
    return static_cast<std::int64_t>(value.Bits());
  else if constexpr (std::is_same_v<T, Bytes>)
    return value;
  else
    return std::string(value);
}

template <class T>
T FromValue(const TPropertyValue& value) {
  if constexpr (std::is_enum_v<T> || std::is_integral_v<T>)
    return static_cast<T>(std::get<std::int64_t>(value));
  else if constexpr (std::is_floating_point_v<T>)
    return static_cast<T>(std::get<double>(value));
  else if constexpr (std::is_pointer_v<T>)
    return dynamic_cast<T>(std::get<TPersistent*>(value));
  else if constexpr (kIsSet<T>)
    return T::FromBits(static_cast<std::uint32_t>(std::get<std::int64_t>(value)));
  else if constexpr (std::is_same_v<T, Bytes>)
    return std::get<Bytes>(value);
  else
    return T(std::get<std::string>(value));
}

}  // namespace Detail

/// A property of a simple type or a reference, read and written through the class's own members:
/// `Published("Adress", &TMBReg::Adress, &TMBReg::SetRegAdress, 1)`. Without a default it is
/// always stored.
template <class TClass, class TGot, class TSet, class TDefault = std::nullopt_t>
TPropertyInfo Published(std::string_view name, TGot (TClass::*get)() const,
                        void (TClass::*set)(TSet), TDefault fallback = std::nullopt) {
  using TValue = std::remove_cvref_t<TGot>;
  static_assert(!std::is_same_v<TValue, std::uint64_t> && !std::is_same_v<TValue, float>,
                "a value of the property would not fit what all of its kind have in common");
  TPropertyInfo info;
  info.Name = name;
  info.Kind = Detail::KindOf<TValue>();
  info.Get = [get](const TPersistent& object) {
    return Detail::ToValue<TValue>((static_cast<const TClass&>(object).*get)());
  };
  info.Set = [set](TPersistent& object, const TPropertyValue& value) {
    (static_cast<TClass&>(object).*set)(Detail::FromValue<TValue>(value));
  };
  if constexpr (!std::is_same_v<TDefault, std::nullopt_t>) {
    info.Default = Detail::ToValue<TValue>(static_cast<TValue>(fallback));
  }
  if constexpr (Detail::KindOf<TValue>() == TPropertyKind::pkInteger) {
    info.Min = static_cast<std::int64_t>(std::numeric_limits<TValue>::min());
    info.Max = static_cast<std::int64_t>(std::numeric_limits<TValue>::max());
  }
  if constexpr (Detail::KindOf<TValue>() == TPropertyKind::pkEnumeration) {
    info.EnumNames = TEnumNames<TValue>::Values;
  }
  if constexpr (Detail::kIsSet<TValue>) {
    info.EnumNames = TEnumNames<typename TValue::TElement>::Values;
  }
  if constexpr (std::is_pointer_v<TValue>) {
    info.Accepts = [](const TPersistent& object) {
      return dynamic_cast<std::remove_pointer_t<TValue> const*>(&object) != nullptr;
    };
  }
  return info;
}

/// A part that the object owns and never replaces (a collection, a string list): setting assigns.
template <class TClass, class TPart>
TPropertyInfo PublishedPart(std::string_view name, TPart& (TClass::*part)()) {
  TPropertyInfo info;
  info.Name = name;
  info.Kind = TPropertyKind::pkObject;
  const auto get = [part](const TPersistent& object) -> TPersistent& {
    return (const_cast<TClass&>(static_cast<const TClass&>(object)).*part)();
  };
  info.Get = [get](const TPersistent& object) { return &get(object); };
  info.Set = [get](TPersistent& object, const TPropertyValue& value) {
    if (const auto* source = std::get<TPersistent*>(value)) get(object).Assign(*source);
  };
  return info;
}

/// An event, kept in the public member of the same name.
template <class TClass, class TEventType>
TPropertyInfo PublishedEvent(std::string_view name, TEventType TClass::*event) {
  TPropertyInfo info;
  info.Name = name;
  info.Kind = TPropertyKind::pkEvent;
  info.Default = TPropertyValue(std::any(TEventType()));
  info.Get = [event](const TPersistent& object) {
    return TPropertyValue(std::any(static_cast<const TClass&>(object).*event));
  };
  info.Set = [event](TPersistent& object, const TPropertyValue& value) {
    static_cast<TClass&>(object).*event = std::any_cast<TEventType>(std::get<std::any>(value));
  };
  info.SameHandler = [](const std::any& one, const std::any& other) {
    const auto* left = std::any_cast<TEventType>(&one);
    const auto* right = std::any_cast<TEventType>(&other);
    if (left == nullptr || right == nullptr) return false;
    return left->Assigned() || right->Assigned() ? *left == *right : true;
  };
  return info;
}

/// Checks value against the property's kind, range and type, then sets it. EConvertError tells
/// property and reason, and nothing has changed.
void SetProperty(TPersistent& object, const TPropertyInfo& property, const TPropertyValue& value);

/// Are both values of the property the same? A NaN is the same as another one.
bool SameValue(const TPropertyInfo& property, const TPropertyValue& one,
               const TPropertyValue& other);

}  // namespace OrvixModBus
