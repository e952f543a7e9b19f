#pragma once
// uMBTypeInfo: the type catalogue - what the raw bytes of a register mean, by kind and name.

#include <cstdint>
#include <string>

#include "platform/model/uComponent.h"
#include "platform/model/uEvent.h"
#include "uMBTypeInfo_Bins.h"
#include "uMBTypeInfo_Items.h"
#include "uMBTypeInfo_Lists.h"
#include "uMBTypeInfo_Numbers.h"
#include "uMBTypeInfo_Structurs.h"

namespace OrvixModBus {

/// Decodes in the catalogue's place: `OnNoneType(regName, data)`.
using TOnNoneType = TEvent<TRegValue(const std::string& regName, const Bytes& data)>;
/// Runs before the catalogue decodes. Its result counts when it sets done, else it is dropped. It
/// may destroy the register whose bytes these are: it sees copies.
using TOnDataToValue = TEvent<TRegValue(TRegType regType, const std::string& typeName,
                                        const Bytes& data, bool& done, const std::string& regName)>;

/// The catalogue: four collections of descriptions, and the decoding of bytes through them.
class TMBTypeInfo : public TComponent {
 public:
  explicit TMBTypeInfo(TComponent* owner = nullptr);
  ~TMBTypeInfo() override;

  TMBRegTypeLists& TypeLists() { return fTypeLists; }
  const TMBRegTypeLists& TypeLists() const { return fTypeLists; }
  TMBRegTypeBins& TypeBins() { return fTypeBins; }
  const TMBRegTypeBins& TypeBins() const { return fTypeBins; }
  TMBRegTypeNumbers& TypeNumbers() { return fTypeNumbers; }
  const TMBRegTypeNumbers& TypeNumbers() const { return fTypeNumbers; }
  TMBRegTypeStructurs& TypeStructurs() { return fTypeStructurs; }
  const TMBRegTypeStructurs& TypeStructurs() const { return fTypeStructurs; }

  // Each copies the items of the given collection into the own one.
  void SetTypeLists(const TMBRegTypeLists& value) { fTypeLists.Assign(value); }
  void SetTypeBins(const TMBRegTypeBins& value) { fTypeBins.Assign(value); }
  void SetTypeNumbers(const TMBRegTypeNumbers& value) { fTypeNumbers.Assign(value); }
  void SetTypeStructurs(const TMBRegTypeStructurs& value) { fTypeStructurs.Assign(value); }

  TOnNoneType OnNoneType;        ///< decodes rtNone
  TOnDataToValue OnDataToValue;  ///< before every decoding
  /// Does decoding run code of the application?
  bool HasHandlers() const { return OnNoneType || OnDataToValue; }

  /// The bytes as the type decodes them; the cleared value for a type that is not known. regName
  /// is for the handlers; bitNum is always -1. Raises what a number's DataToValue raises.
  TRegValue DataToValue(TRegType regType, const std::string& typeName, const Bytes& data,
                        const std::string& regName, std::int32_t bitNum);
  /// What DataToValue gives while there is no handler: by the descriptions alone. Valid until the
  /// next decoding; copied into a value that is used again, it takes no memory as a rule.
  const TRegValue& Decode(TRegType regType, const std::string& typeName, TByteView data);
  /// The allowed values of a list, bit field or number in one line; empty for all others.
  std::string ConstraintStr(TRegType regType, const std::string& typeName) const;
  /// Sets the three values that together mean that there is no value.
  static void ClearValue(TRegValue& regValue);
  /// Empties all four collections.
  void ClearAllDataType();
  /// On purpose: copies lists, bit fields and numbers, neither structures nor handlers.
  void Assign(const TPersistent& source) override;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  const TMBRegTypeColItem* Description(TRegType regType, const std::string& typeName) const;

  TRegValue fDecoded;  // used again by every decoding
  // Destroyed from the lists to the structures.
  TMBRegTypeStructurs fTypeStructurs{this};
  TMBRegTypeNumbers fTypeNumbers{this};
  TMBRegTypeBins fTypeBins{this};
  TMBRegTypeLists fTypeLists{this};
};

}  // namespace OrvixModBus
