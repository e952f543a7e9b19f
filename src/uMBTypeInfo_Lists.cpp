#include "uMBTypeInfo_Lists.h"

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"

namespace OrvixModBus {

TMBRegTypeList::TMBRegTypeList(TCollection* collection)
    : TMBRegTypeColItem(collection, "TypeList", TRegType::rtList) {
  Introduce();
}

void TMBRegTypeList::Decode(TByteView data, TRegValue& value) const {
  if (data.size() > sizeof(std::uint32_t)) return;
  value.Int = static_cast<std::int32_t>(TMBLib::ByteArToCardinal(data));
  value.Srt = fDictionary.Find(value.Int);
}

Variant TMBRegTypeList::StrToVar(const std::string& str) const {
  const std::int32_t code = StrToIntDef(str, -1);
  if (code < 0) {
    throw TListIndexException(
        Format("Error in TMBRegTypeList.StrToVar: Str Value %s is not found", {str}));
  }
  if (fDictionary.Find(code).empty()) {
    throw TListBoundException(
        Format("Error in TMBRegTypeList.StrToVar: Int Value %s is not found", {str}));
  }
  return code;
}

void TMBRegTypeList::Assign(const TPersistent& source) {
  const auto* list = dynamic_cast<const TMBRegTypeList*>(&source);
  if (list == nullptr) return TMBRegTypeColItem::Assign(source);
  SetName(list->Name());
  SetDictionary(list->Dictionary());
}

const TClassInfo& TMBRegTypeList::StaticClass() {
  static const TClassInfo info("TMBRegTypeList", &TMBRegTypeColItem::StaticClass(),
                               {PublishedPart("Dictionary", &TMBRegTypeList::Dictionary)});
  return info;
}

const TClassInfo& TMBRegTypeLists::StaticClass() {
  static const TClassInfo info("TMBRegTypeLists", &TCollection::StaticClass(), {});
  return info;
}

}  // namespace OrvixModBus
