#pragma once
// uMBTypeInfo_Structurs: structures - blocks of bytes whose parts are fields of other types.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/model/uEvent.h"
#include "platform/model/uObject.h"
#include "uMBTypeInfo_Items.h"

namespace OrvixModBus {

class TMBTypeInfo;

/// One field of a structure: a block of bytes that is read as a whole. Its kind is the field's.
class TMBRegTypeStructure : public TMBRegTypeColItem {
 public:
  explicit TMBRegTypeStructure(TCollection* collection);

  std::int32_t Code() const { return fCode; }  ///< of the structure
  const std::string& StructurName() const { return fStructurName; }
  const std::string& RegTypeName() const { return fRegTypeName; }  ///< of the field
  std::int16_t Offset() const { return fOffset; }                  ///< first byte in the block
  std::uint16_t Size() const { return fSize; }                     ///< bytes
  const std::string& Caption() const { return fCaption; }
  /// For applications; nil when that description is gone.
  TMBRegTypeColItem* MBRegTypeItem() const { return fMBRegTypeItem.Get(); }

  void SetCode(std::int32_t value) { Store(fCode, value); }
  void SetStructurName(const std::string& value) { StorePlace(fStructurName, value); }
  void SetRegTypeName(const std::string& value) { Store(fRegTypeName, value); }
  void SetOffset(std::int16_t value) { StorePlace(fOffset, value); }
  void SetSize(std::uint16_t value) { StorePlace(fSize, value); }
  void SetCaption(const std::string& value) { Store(fCaption, value); }
  void SetMBRegTypeItem(TMBRegTypeColItem* value) { Store(fMBRegTypeItem, value); }

  /// On purpose: copies the kind, too.
  void Assign(const TPersistent& source) override;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  template <class T>
  void StorePlace(T& field, const T& value) {
    Store(field, value);
    Moved();
  }
  void Moved();

  std::int32_t fCode = 0;
  std::string fStructurName, fRegTypeName, fCaption;
  std::int16_t fOffset = 0;
  std::uint16_t fSize = 0;
  TRef<TMBRegTypeColItem> fMBRegTypeItem;
};

/// May decode a field in the catalogue's place: sets done, and the parts of the text between "|"
/// become values. sender is the collection, data the field's bytes, line the whole block.
using TOnStructurDataToValue = TEvent<TRegValue(TObject& sender, TMBRegTypeStructure& structurItem,
                                                const Bytes& data, const Bytes& line, bool& done)>;

/// The order of fields: by the offset's magnitude, negative ones behind positive ones, those by
/// size.
struct TStructurComparer {
  /// -1, 0 or 1.
  static int Compare(const TMBRegTypeStructure& l, const TMBRegTypeStructure& r);
};

/// The fields of all structures.
class TMBRegTypeStructurs : public TMBRegTypeItems<TMBRegTypeStructure> {
 public:
  using TItems = std::vector<TMBRegTypeStructure*>;
  using TMBRegTypeItems::TMBRegTypeItems;

  /// The first field of that name in that structure, case matters; nil when there is none.
  TMBRegTypeStructure* GetItemByName(const std::string& name,
                                     const std::string& structurName) const;
  TMBRegTypeStructure* ItemByName(const std::string& name, const std::string& structurName) const {
    return GetItemByName(name, structurName);
  }
  /// Assigns value to that field, if there is one.
  void SetItemByName(const std::string& name, const std::string& structurName,
                     const TMBRegTypeStructure& value);

  /// The structure's fields as TStructurComparer orders them, equal ones as in the collection.
  TItems ItemsByStructurName(const std::string& structurName) const;
  /// On purpose: adds to what result holds, and sorts all of it.
  TItems ItemsByStructurCode(std::int32_t structurCode, TItems result = {}) const;

  /// The texts of all fields of a block, in order: one for each field, one for each bit of a bit
  /// field. For an unknown structure, and a block that does not end with the last field, result
  /// comes back as it was. EArgumentOutOfRangeException for a field outside the block, Exception
  /// for an unknown bit type; both name structure and field. Fields that a handler deletes are
  /// left out.
  TStringDynArray ValuesByStructurName(const std::string& structurName, const Bytes& data,
                                       TMBTypeInfo& typeInfo,
                                       const TOnStructurDataToValue& onDataToValue,
                                       TStringDynArray result = {});
  /// From the first field of that name on; all fields when it is empty.
  TStringDynArray ValuesByStructurNameEx(const std::string& structurName, const Bytes& data,
                                         TMBTypeInfo& typeInfo,
                                         const TOnStructurDataToValue& onDataToValue,
                                         const std::string& firstItemName,
                                         TStringDynArray result = {});

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  friend class TMBRegTypeStructure;
  using TFields = std::vector<TRef<TMBRegTypeStructure>>;

  std::shared_ptr<const TFields> FieldsOf(const std::string& structurName);

  // Fields by structure, in order, as of a revision; shared, because a handler may change them
  // while they are walked.
  std::unordered_map<std::string_view, std::shared_ptr<const TFields>> fFields;
  std::uint64_t fFieldsRevision = 0;
  std::uint64_t fMoves = 0;  // changes of fields that notify nobody
};

/// The index of the first field of that name, case matters; -1 when there is none.
int IndexOfRegTypeItem(const TMBRegTypeStructurs::TItems& items, const std::string& name);

}  // namespace OrvixModBus
