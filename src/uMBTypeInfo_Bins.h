#pragma once
// uMBTypeInfo_Bins: bit fields - a name and two state texts for each bit of a register.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "uMBTypeInfo_Items.h"
#include "uMBTypeInfo_Texts.h"

namespace OrvixModBus {

/// A bit field. Bit 0 is the least significant bit of the last byte.
class TMBRegTypeBin : public TMBRegTypeColItem {
 public:
  explicit TMBRegTypeBin(TCollection* collection);

  /// Lines "bit=text0|text1": the texts for the states 0 and 1.
  TStringList& Dictionary() { return fDictionary.Lines(); }
  const TStringList& Dictionary() const { return fDictionary.Lines(); }
  void SetDictionary(const TStringList& value) { Dictionary().Assign(value); }
  /// Lines "bit=name".
  TStringList& Bits() { return fBits.Lines(); }
  const TStringList& Bits() const { return fBits.Lines(); }
  void SetBits(const TStringList& value) { Bits().Assign(value); }

  std::string GetBitName(std::uint8_t bitNumber) const {
    return std::string(fBits.Find(bitNumber));
  }
  std::string BitName(std::uint8_t bitNumber) const { return GetBitName(bitNumber); }
  void SetBitName(std::uint8_t bitNumber, const std::string& value) { fBits.Set(bitNumber, value); }
  /// The text for one state of a bit; empty when it has none.
  std::string GetValue(std::int32_t key, bool binValue) const;
  std::string Value(std::int32_t key, bool binValue) const { return GetValue(key, binValue); }
  /// The text for the other state stays.
  void SetValue(std::int32_t key, bool binValue, const std::string& value);
  /// The text for the state that a bit has in data, which must hold it. Valid until Dictionary
  /// changes.
  std::string_view StateText(TByteView data, std::size_t bit) const {
    const bool state = IsSet(data, bit);
    const bool known = bit < fStates.size() && fStatesRevision == Dictionary().Revision();
    return known ? fStates[bit][state ? 1 : 0] : StateText(static_cast<std::int32_t>(bit), state);
  }
  /// "0: Closed; 1: Open".
  std::string BitValues(std::int32_t key) const;

  /// DataToValue: the state texts of all bits of data, from bit 0, with "|" between them.
  void Decode(TByteView data, TRegValue& value) const override;
  /// Bit bitNum alone, its text only with getStr. Exception "BitNum error" past the data.
  TRegValue BitNumToValue(const Bytes& data, std::int32_t bitNum, bool getStr) const;
  /// The names of the set bits. On purpose: bits 0 to (bytes - 1) * 8 only.
  TStringDynArray TrueBitNameAr(const Bytes& data) const;
  /// trueVal or falseVal for each line of Dictionary up to its last bit. On purpose: separated by
  /// "|" whatever delimStr is, and empty when only the first line has a bit.
  std::string DataToString(const Bytes& data, const std::string& delimStr,
                           const std::string& trueVal, const std::string& falseVal,
                           bool hiFirst) const;
  /// "0" or "1"; TBitBoundException for anything else.
  Variant StrToVar(const std::string& str) const override;
  std::string ConstraintStr() const override { return fBits.Description(); }
  void Assign(const TPersistent& source) override;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  // Bit 0 in the last byte, for a bit inside data of any length.
  static bool IsSet(TByteView data, std::size_t bit) {
    return (data[data.size() - 1 - bit / 8] >> (bit % 8) & 1) != 0;
  }
  std::string_view StateText(std::int32_t bit, bool state) const;
  void LearnStates(std::size_t count) const;

  TMBRegTypeTexts fDictionary;
  TMBRegTypeTexts fBits;
  // The texts for 0 and 1 of the first bits, as of a revision of the dictionary.
  mutable std::vector<std::array<std::string_view, 2>> fStates;
  mutable std::uint64_t fStatesRevision = 0;
};

class TMBRegTypeBins : public TMBRegTypeNamed<TMBRegTypeBin> {
 public:
  using TMBRegTypeNamed::TMBRegTypeNamed;
  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

}  // namespace OrvixModBus
