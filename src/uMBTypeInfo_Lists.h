#pragma once
// uMBTypeInfo_Lists: enumerations - names for the values of a register.

#include <cstdint>
#include <string>

#include "uMBTypeInfo_Items.h"
#include "uMBTypeInfo_Texts.h"

namespace OrvixModBus {

/// An enumeration: names for the values of up to 4 bytes, big-endian.
class TMBRegTypeList : public TMBRegTypeColItem {
 public:
  explicit TMBRegTypeList(TCollection* collection);

  /// Lines "code=name", the code in decimal.
  TStringList& Dictionary() { return fDictionary.Lines(); }
  const TStringList& Dictionary() const { return fDictionary.Lines(); }
  void SetDictionary(const TStringList& value) { Dictionary().Assign(value); }

  /// The name of a code; empty when it has none.
  std::string GetValue(std::int32_t key) const { return std::string(fDictionary.Find(key)); }
  std::string Value(std::int32_t key) const { return GetValue(key); }
  /// An empty name removes the code.
  void SetValue(std::int32_t key, const std::string& value) { fDictionary.Set(key, value); }

  void Decode(TByteView data, TRegValue& value) const override;
  /// On purpose: takes a code, not a name. TListIndexException for what is no code,
  /// TListBoundException for a code without a name.
  Variant StrToVar(const std::string& str) const override;
  std::string ConstraintStr() const override { return fDictionary.Description(); }
  void Assign(const TPersistent& source) override;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  TMBRegTypeTexts fDictionary;
};

class TMBRegTypeLists : public TMBRegTypeNamed<TMBRegTypeList> {
 public:
  using TMBRegTypeNamed::TMBRegTypeNamed;
  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

}  // namespace OrvixModBus
