#pragma once
// uTestRegs: registers as one line of a test describes them.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <variant>

#include "platform/model/uProperty.h"
#include "uMBReg.h"

namespace OrvixModBus {

/// What a test says of a register: 16-bit holding registers unless told otherwise.
struct TRegTraits {
  std::string Name;
  std::uint32_t Adress = 0;
  int Count = 1;
  std::uint8_t Read = 0x03;
  int Width = 2;  ///< bytes in one register
  std::uint8_t Write = 0x06;
};

/// Gives reg that state. A write code that equals the read code is set while the read code is
/// another one.
inline void Describe(TMBReg& reg, const TRegTraits& traits) {
  reg.SetDisplayName(traits.Name);
  reg.SetRegAdress(traits.Adress);
  reg.SetMBFuncRead(traits.Write == 0xFE ? 0xFD : 0xFE);
  reg.SetMBFuncWrite(traits.Write);
  reg.SetMBFuncRead(traits.Read);
  reg.SetBytesInOneReg(static_cast<std::uint8_t>(traits.Width));
  reg.SetRegsCount(static_cast<std::uint8_t>(traits.Count));
}

inline TMBReg& AddReg(TRegNameCollection& regs, const TRegTraits& traits) {
  auto& reg = static_cast<TMBReg&>(*regs.Add());
  Describe(reg, traits);
  return reg;
}

/// The value of a property other than an event, as text.
inline std::string TextOf(const TPropertyValue& value) {
  if (const auto* integer = std::get_if<std::int64_t>(&value)) return std::to_string(*integer);
  if (const auto* real = std::get_if<double>(&value)) return std::to_string(*real);
  if (const auto* text = std::get_if<std::string>(&value)) return "\"" + *text + "\"";
  const auto* object = std::get_if<TPersistent*>(&value);
  if (object == nullptr) return "?";
  return *object == nullptr ? "nil" : std::string((*object)->ClassName());
}

/// Every stored default is what a new object holds; names are the published properties in order.
inline void ExpectDefaultsOfNew(const TPersistent& fresh, const std::string& names) {
  std::string found;
  for (const TPropertyInfo* property : fresh.ClassInfo().Properties()) {
    found += (found.empty() ? "" : " ") + std::string(property->Name);
    if (!property->Default || property->Kind == TPropertyKind::pkEvent) continue;
    EXPECT_EQ(TextOf(property->Get(fresh)), TextOf(*property->Default)) << property->Name;
  }
  EXPECT_EQ(found, names);
}

/// Sets the property of that name through the class's table.
inline void SetByTable(TPersistent& object, std::string_view name, const TPropertyValue& value) {
  const TPropertyInfo* property = object.ClassInfo().Property(name);
  ASSERT_NE(property, nullptr) << name;
  SetProperty(object, *property, value);
}

inline std::string GetByTable(const TPersistent& object, std::string_view name) {
  const TPropertyInfo* property = object.ClassInfo().Property(name);
  return property != nullptr ? TextOf(property->Get(object)) : "no such property";
}

/// Assigns a handler to an event through the class's table.
template <class TEventType>
void SetEventByTable(TPersistent& object, std::string_view name, TEventType handler) {
  SetByTable(object, name, TPropertyValue(std::any(std::move(handler))));
}

}  // namespace OrvixModBus
