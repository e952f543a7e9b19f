#include "uMBTypeInfo_Items.h"

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"

namespace OrvixModBus {
namespace {

[[noreturn]] void RefuseOperation(const TMBRegTypeColItem& item, const char* operation) {
  throw Exception(Format("%s has no %s", {item.ClassName(), operation}));
}

}  // namespace

TMBRegTypeColItem::TMBRegTypeColItem(TCollection* collection, std::string_view namePrefix,
                                     TRegType regType)
    : TCollectionItem(collection),
      fName(std::string(namePrefix) + IntToStr(ID() + 1)),
      fRegType(regType) {}

void TMBRegTypeColItem::SetDisplayName(const std::string& value) {
  CheckThread();
  if (value == fName) return;
  fName = value;
  TCollectionItem::SetDisplayName(value);
}

TRegValue TMBRegTypeColItem::DataToValue(const Bytes& data) const {
  TRegValue value;
  Decode(data, value);
  return value;
}

void TMBRegTypeColItem::Decode(TByteView /*data*/, TRegValue& /*value*/) const {}

Variant TMBRegTypeColItem::StrToVar(const std::string& /*str*/) const {
  RefuseOperation(*this, "StrToVar");
}

std::string TMBRegTypeColItem::ConstraintStr() const { RefuseOperation(*this, "ConstraintStr"); }

Bytes TMBRegTypeColItem::ValueToData(const Variant& value, std::uint8_t byteCount) const {
  Bytes bytes = TMBLib::CardinalToAr(static_cast<std::uint32_t>(value.ToInteger()), false);
  if (byteCount > bytes.size()) {
    throw EArgumentOutOfRangeException(
        Format("An integer has 4 bytes, and %d are wanted", {byteCount}));
  }
  bytes.resize(byteCount);
  return bytes;
}

Bytes TMBRegTypeColItem::StrToData(const std::string& str, std::uint8_t byteCount) const {
  return ValueToData(StrToVar(str), byteCount);
}

const TClassInfo& TMBRegTypeColItem::StaticClass() {
  // The kind is always stored: each class begins with another one.
  static const TClassInfo info(
      "TMBRegTypeColItem", &TCollectionItem::StaticClass(),
      {Published("Name", &TMBRegTypeColItem::Name, &TMBRegTypeColItem::SetName),
       Published("RegType", &TMBRegTypeColItem::RegType, &TMBRegTypeColItem::SetRegType)});
  return info;
}

}  // namespace OrvixModBus
