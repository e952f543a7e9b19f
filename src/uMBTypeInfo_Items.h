#pragma once
// uMBTypeInfo_Items: what all type descriptions and their collections have in common.

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/model/uCollection.h"
#include "platform/model/uProperty.h"
#include "platform/rtl/uBytes.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uVariant.h"
#include "uMBLib.h"

namespace OrvixModBus {

/// The kind of a type: which description, if any, decodes the bytes.
enum class TRegType : std::uint8_t {
  rtNone,        ///< the application: OnNoneType
  rtList,        ///< TMBRegTypeList
  rtBin,         ///< TMBRegTypeBin
  rtNum,         ///< TMBRegTypeNumber
  rtStr,         ///< text in the ANSI code page, trimmed
  rtStructur,    ///< up to 4 bytes, little-endian
  rtCollection,  ///< not decoded
};
template <>
struct TEnumNames<TRegType> {
  static constexpr std::string_view Values[] = {"rtNone", "rtList",     "rtBin",       "rtNum",
                                                "rtStr",  "rtStructur", "rtCollection"};
};

/// A set of kinds: `{TRegType::rtNum, TRegType::rtList}`.
using TRegTypeSet = TSet<TRegType>;

/// What a text or a value that its type does not know raises.
struct TOutBoundException : Exception {
  using Exception::Exception;
};
struct TListIndexException : TOutBoundException {
  using TOutBoundException::TOutBoundException;
};
struct TListBoundException : TOutBoundException {
  using TOutBoundException::TOutBoundException;
};
struct TBitBoundException : TOutBoundException {
  using TOutBoundException::TOutBoundException;
};
/// For callers that miss an argument.
struct TEmptyArgException : Exception {
  using Exception::Exception;
};

/// The description of one type. Assign copies everything but the kind.
class TMBRegTypeColItem : public TCollectionItem {
 public:
  const std::string& Name() const { return fName; }
  void SetName(const std::string& value) { SetDisplayName(value); }
  std::string GetDisplayName() const override { return fName; }
  /// Stores another name (case matters), then notifies.
  void SetDisplayName(const std::string& value) override;
  TRegType RegType() const { return fRegType; }
  void SetRegType(TRegType value) { Store(fRegType, value); }

  /// The bytes decoded; the cleared value in this base and for what the type has no value for.
  TRegValue DataToValue(const Bytes& data) const;
  /// What DataToValue does, for descendants to override: into a cleared value, whose text may have
  /// room from an earlier one. After a throw it may hold a part of the value.
  virtual void Decode(TByteView data, TRegValue& value) const;
  /// A text entered by a person; raises when the type has no such value, in this base always.
  virtual Variant StrToVar(const std::string& str) const;
  /// The allowed values in one line; raises in this base.
  virtual std::string ConstraintStr() const;
  /// This base: the first bytes (byteCount is 0 to 4) of the value as a little-endian integer.
  virtual Bytes ValueToData(const Variant& value, std::uint8_t byteCount) const;
  Bytes StrToData(const std::string& str, std::uint8_t byteCount) const;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  /// Named by the prefix and the ID plus one.
  TMBRegTypeColItem(TCollection* collection, std::string_view namePrefix, TRegType regType);

 private:
  std::string fName;
  TRegType fRegType;
};

/// Descriptions of one class, owned by a catalogue.
template <class TItem>
class TMBRegTypeItems : public TCollection {
 public:
  explicit TMBRegTypeItems(TPersistent* owner)
      : TCollection([](TCollection* c) -> TCollectionItem* { return new TItem(c); }),
        fOwner(owner) {}

  TPersistent* GetOwner() const override { return fOwner; }
  TItem* Add() { return static_cast<TItem*>(TCollection::Add()); }
  TItem* Items(int index) const { return static_cast<TItem*>(TCollection::Items(index)); }

 private:
  TPersistent* fOwner;
};

/// Descriptions found by name. Of equal names the first in order is meant; case matters.
template <class TItem>
class TMBRegTypeNamed : public TMBRegTypeItems<TItem> {
 public:
  using TMBRegTypeItems<TItem>::TMBRegTypeItems;

  /// Nil when there is none. Costs the same in a long catalogue as in a short one.
  TItem* GetItemByName(const std::string& name) const {
    if (fRevision != this->Revision()) Learn();
    // Registers of one type share its name, or ask one after the other.
    TItem*& recent =
        fRecent[reinterpret_cast<std::uintptr_t>(&name) / sizeof(std::string) % kRecent];
    if (recent != nullptr && recent->Name() == name) return recent;
    const auto found = fByName.find(name);
    return found != fByName.end() ? recent = found->second : nullptr;
  }
  TItem* ItemByName(const std::string& name) const { return GetItemByName(name); }
  /// Assigns value to the item of that name, if there is one.
  void SetItemByName(const std::string& name, const TItem& value) {
    if (TItem* const item = GetItemByName(name)) item->Assign(value);
  }

 private:
  void Learn() const {
    fRecent.fill(nullptr);
    fByName.clear();
    for (int i = 0; i < this->Count(); ++i) {
      fByName.try_emplace(this->Items(i)->Name(), this->Items(i));
    }
    fRevision = this->Revision();
  }

  // The items' own names, as of a revision: every change of a name or of the list makes a new one.
  mutable std::unordered_map<std::string_view, TItem*> fByName;
  mutable std::uint64_t fRevision = 0;
  // Of these the items found last, by the place of the name that was asked for.
  static constexpr std::size_t kRecent = 16;
  mutable std::array<TItem*, kRecent> fRecent{};
};

}  // namespace OrvixModBus
