#include "uMBTypeInfo.h"

#include <cstddef>

#include "platform/rtl/uCodePage.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

// On purpose little-endian, unlike all other register data.
void DecodeCode(TByteView data, TRegValue& value) {
  if (data.size() > sizeof(std::uint32_t)) return;
  std::uint32_t code = 0;
  for (std::size_t i = data.size(); i > 0; --i) code = code << 8 | data[i - 1];
  value.Int = static_cast<std::int32_t>(code);
  AppendInt(value.Srt, value.Int);
}

}  // namespace

TMBTypeInfo::TMBTypeInfo(TComponent* owner) : TComponent(owner) {}

TMBTypeInfo::~TMBTypeInfo() { BeginDestroy(); }

TRegValue TMBTypeInfo::DataToValue(TRegType regType, const std::string& typeName, const Bytes& data,
                                   const std::string& regName, std::int32_t /*bitNum*/) {
  CheckThread();
  if (OnDataToValue) {
    const TRef<TMBTypeInfo> alive(this);
    bool done = false;
    TRegValue result = OnDataToValue(regType, typeName, data, done, regName);
    if (done) return result;
    if (!alive) return {};
  }
  if (regType == TRegType::rtNone) return OnNoneType(regName, data);
  return Decode(regType, typeName, data);
}

const TRegValue& TMBTypeInfo::Decode(TRegType regType, const std::string& typeName,
                                     TByteView data) {
  CheckThread();
  ClearValue(fDecoded);
  if (regType == TRegType::rtStr) {
    AppendAnsi(fDecoded.Srt, Trimmed(data));
  } else if (regType == TRegType::rtStructur) {
    DecodeCode(data, fDecoded);
  } else if (const TMBRegTypeColItem* const item = Description(regType, typeName)) {
    item->Decode(data, fDecoded);
  }
  return fDecoded;
}

std::string TMBTypeInfo::ConstraintStr(TRegType regType, const std::string& typeName) const {
  const TMBRegTypeColItem* const item = Description(regType, typeName);
  return item != nullptr ? item->ConstraintStr() : std::string();
}

void TMBTypeInfo::ClearValue(TRegValue& regValue) { TMBLib::ClearValue(regValue); }

void TMBTypeInfo::ClearAllDataType() {
  CheckThread();
  fTypeLists.Clear();
  fTypeBins.Clear();
  fTypeNumbers.Clear();
  fTypeStructurs.Clear();
}

void TMBTypeInfo::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TMBTypeInfo*>(&source);
  if (other == nullptr) return TComponent::Assign(source);
  CheckThread();
  SetTypeLists(other->fTypeLists);
  SetTypeBins(other->fTypeBins);
  SetTypeNumbers(other->fTypeNumbers);
}

const TMBRegTypeColItem* TMBTypeInfo::Description(TRegType regType,
                                                  const std::string& typeName) const {
  switch (regType) {
    case TRegType::rtList:
      return fTypeLists.GetItemByName(typeName);
    case TRegType::rtBin:
      return fTypeBins.GetItemByName(typeName);
    case TRegType::rtNum:
      return fTypeNumbers.GetItemByName(typeName);
    default:
      return nullptr;
  }
}

const TClassInfo& TMBTypeInfo::StaticClass() {
  static const TClassInfo info("TMBTypeInfo", &TComponent::StaticClass(),
                               {PublishedPart("TypeLists", &TMBTypeInfo::TypeLists),
                                PublishedPart("TypeBins", &TMBTypeInfo::TypeBins),
                                PublishedPart("TypeNumbers", &TMBTypeInfo::TypeNumbers),
                                PublishedPart("TypeStructurs", &TMBTypeInfo::TypeStructurs),
                                PublishedEvent("OnNoneType", &TMBTypeInfo::OnNoneType),
                                PublishedEvent("OnDataToValue", &TMBTypeInfo::OnDataToValue)});
  return info;
}

}  // namespace OrvixModBus
