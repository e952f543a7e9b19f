#pragma once
// uRecordStructure: the structures of a form's catalogues, and records cut by them.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/model/uComponent.h"
#include "uMBTypeInfo.h"

namespace OrvixModBus {

/// A field of a record, decoded.
struct TFieldValue {
  /// The texts of the bits that say something; of a code without a text the code; of bytes that the
  /// catalogue has no value for "$0102".
  std::string Text;
  std::optional<double> Number;  ///< of an rtNum that has a value
};

/// A structure, by which records of one length are cut. The catalogue outlives it.
class TRecordStructure {
 public:
  /// All fields of that name; there is one at least.
  TRecordStructure(TMBTypeInfo& catalogue, const std::string& name);

  const std::string& Name() const { return fFields.front()->StructurName(); }
  /// In their order in a record.
  const TMBRegTypeStructurs::TItems& Fields() const { return fFields; }
  /// Bytes up to the end of the last field.
  std::size_t Length() const { return fLength; }

  /// A value for each field. EArgumentOutOfRangeException for a field that does not lie within the
  /// record; Exception for one that the catalogue can't decode.
  std::vector<TFieldValue> ValuesOf(const Bytes& record) const;

 private:
  TFieldValue ValueOf(const TMBRegTypeStructure& field, const Bytes& data) const;

  TMBTypeInfo* fCatalogue;
  TMBRegTypeStructurs::TItems fFields;
  std::size_t fLength;
};

/// Those of all catalogues that root owns, in the order of their first fields.
std::vector<TRecordStructure> StructuresOf(const TComponent& root);

/// The structure of that name. EUsageError for one that root, of that form, does not have, and for
/// fields that can't be decoded.
TRecordStructure StructureNamed(const TComponent& root, const std::string& form,
                                const std::string& name);
/// The same; EUsageError also when records have another length, in bytes. What says whose records
/// these are: "Events.OneRecordLength".
TRecordStructure StructureNamed(const TComponent& root, const std::string& form,
                                const std::string& name, const std::string& what,
                                std::int32_t length);

}  // namespace OrvixModBus
