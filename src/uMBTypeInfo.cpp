#include "uMBTypeInfo.h"

#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

TRegValue TextValue(const Bytes& data) {
  TRegValue result;
  result.Srt = Trim(TMBLib::ByteArToStr(data, 0));
  return result;
}

// On purpose little-endian, unlike all other register data.
TRegValue CodeValue(const Bytes& data) {
  TRegValue result;
  if (data.size() > sizeof(std::uint32_t)) return result;
  const Bytes bigEndian(data.rbegin(), data.rend());
  result.Int = static_cast<std::int32_t>(TMBLib::ByteArToCardinal(bigEndian));
  result.Srt = IntToStr(result.Int);
  return result;
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
  return Decode(regType, typeName, data, regName);
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

TRegValue TMBTypeInfo::Decode(TRegType regType, const std::string& typeName, const Bytes& data,
                              const std::string& regName) const {
  switch (regType) {
    case TRegType::rtNone:
      return OnNoneType(regName, data);
    case TRegType::rtStr:
      return TextValue(data);
    case TRegType::rtStructur:
      return CodeValue(data);
    default:
      const TMBRegTypeColItem* const item = Description(regType, typeName);
      return item != nullptr ? item->DataToValue(data) : TRegValue();
  }
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
