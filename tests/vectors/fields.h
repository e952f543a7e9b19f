#pragma once
// fields: the fields of a JSON object, read by name into the types that operations take.

#include <concepts>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "json.h"
#include "uMBTypeInfo.h"

namespace OrvixModBus::Vectors {

/// One value out of a vector; converts to what the context wants, ENotUnderstood when it is
/// something else or does not fit.
class TField {
 public:
  TField(const Json& value, std::string name) : fValue(value), fName(std::move(name)) {}

  const Json& Value() const { return fValue; }
  bool IsNull() const { return fValue.is_null(); }

  operator bool() const { return Expect(fValue.is_boolean()).get<bool>(); }
  operator double() const;
  operator char32_t() const;
  operator std::string_view() const { return Text(); }
  operator std::string() const { return Text(); }
  operator TRegType() const;
  template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char32_t>) operator T() const {
    const Json& value = Expect(fValue.is_number_integer());
    const bool big = value.is_number_unsigned();
    const bool fits = big ? std::in_range<T>(value.get<std::uint64_t>())
                          : std::in_range<T>(value.get<std::int64_t>());
    Expect(fits);
    return static_cast<T>(value.get<std::int64_t>());
  }

  /// A string of hexadecimal digits as bytes.
  Bytes Data() const { return FromHex(Text()); }
  const std::string& Text() const {
    return Expect(fValue.is_string()).get_ref<const std::string&>();
  }
  TStringDynArray Texts() const { return ListOf<std::string>(); }

  const Json& Elements() const { return Expect(fValue.is_array()); }

  template <class T>
  std::vector<T> ListOf() const {
    std::vector<T> list;
    for (const Json& value : Elements()) list.push_back(static_cast<T>(TField(value, fName)));
    return list;
  }

 private:
  const Json& Expect(bool condition) const;

  const Json& fValue;
  std::string fName;
};

/// An object of a vector. Remembers which fields have been read: one that nobody reads is one that
/// the runner does not know, and would be judged wrongly.
class TFields {
 public:
  explicit TFields(const Json& object);

  bool Has(std::string_view name) const { return fObject.contains(name); }
  bool HasRead(std::string_view name) const { return fRead.contains(name); }
  /// ENotUnderstood when absent.
  TField operator[](std::string_view name);
  /// fallback when the field is absent.
  template <class T>
  T Get(std::string_view name, T fallback) {
    return Has(name) ? static_cast<T>((*this)[name]) : fallback;
  }
  /// Fields that do not concern the reader.
  void Ignore(std::initializer_list<std::string_view> names);
  const Json& Object() const { return fObject; }
  /// ENotUnderstood when a field has not been read.
  void RefuseUnread() const;

 private:
  const Json& fObject;
  std::set<std::string, std::less<>> fRead;
};

}  // namespace OrvixModBus::Vectors
