#include "uMBReg.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uFold.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

void CheckIsItemOf(const TCollection& collection, const TMBReg& reg) {
  if (reg.Collection() != &collection) {
    throw Exception("Reg " + reg.Name() + " is not in this collection");
  }
}

void CheckSize(int bytes) {
  if (bytes > kMaxRegBytes) throw Exception("More then 250 bytes in reg");
}

}  // namespace

TMBReg::TMBReg(TCollection* collection)
    : TCollectionItem(collection), fName("Reg" + std::to_string(ID())) {
  TMBLib::ClearValue(fValue);
  Introduce();
}

TMBReg::~TMBReg() {
  if (fIndexLines > 0) Names()->Forget(*this);
}

std::uint8_t TMBReg::GetRegsCount() const {
  if (fBytesInOneReg == 0) return 0;
  return static_cast<std::uint8_t>(fData.size() / fBytesInOneReg);
}

void TMBReg::SetDisplayName(const std::string& value) {
  CheckThread();
  if (value == fName) return;
  std::string name = value;
  if (Names() != nullptr) Names()->ChangeName(fName, value, *this);
  fName = std::move(name);
  TCollectionItem::SetDisplayName(value);
}

void TMBReg::SetRegAdress(std::uint32_t value) {
  CheckThread();
  if (value == fAdress) return;
  fAdress = value;
  Moved();
}

void TMBReg::SetMBFuncRead(std::uint8_t value) {
  CheckThread();
  if (value == fMBFuncRead) return;
  fMBFuncRead = value;
  Moved();
}

void TMBReg::SetMBFuncWrite(std::uint8_t value) {
  CheckThread();
  if (value == fMBFuncRead) return;
  fMBFuncWrite = value;
  Moved();
}

void TMBReg::SetRegsCount(std::uint8_t value) {
  CheckThread();
  const int size = value * fBytesInOneReg;
  CheckSize(size);
  if (size == CountInByte()) return;
  fData.resize(static_cast<std::size_t>(size));
  Changed(false);
}

void TMBReg::SetBytesInOneReg(std::uint8_t value) {
  CheckThread();
  const int size = value * GetRegsCount();
  CheckSize(size);
  if (value == fBytesInOneReg) return;
  fData.resize(static_cast<std::size_t>(size));
  fBytesInOneReg = value;
  Changed(false);
}

void TMBReg::SetCaption(const std::string& value) {
  CheckThread();
  if (value == fCaption) return;
  fCaption = value;
  Changed(false);
}

void TMBReg::SetData(std::uint16_t index, std::uint8_t value) {
  CheckThread();
  if (index > fData.size()) throw Exception("Array index error");
  if (index == fData.size()) {
    fData.push_back(value);
  } else {
    fData[index] = value;
  }
  DoOnDataChange();
}

std::uint8_t TMBReg::GetData(std::uint16_t index) const {
  if (index >= fData.size()) throw Exception("Array index error");
  return fData[index];
}

bool TMBReg::IsDataZero() const {
  return std::ranges::all_of(fData, [](std::uint8_t byte) { return byte == 0; });
}

void TMBReg::ClearData() {
  CheckThread();
  std::ranges::fill(fData, std::uint8_t{0});
}

std::vector<std::uint16_t> TMBReg::GetDataAsWordAr() const {
  std::vector<std::uint16_t> words((fData.size() + 1) / 2);
  for (std::size_t i = 1; i < fData.size(); i += 2) words[i / 2] = fData[i];
  return words;
}

std::string TMBReg::DataToStr() const { return Trim(TMBLib::ByteArToStr(fData, 0)); }

void TMBReg::DataToValue() {
  CheckThread();
  const bool byHandlers = fTypeInfo ? fTypeInfo->HasHandlers() : fRegType != TRegType::rtStr;
  if (byHandlers) return DecodeByHandlers();
  if (fTypeInfo) {
    fValue = fTypeInfo->DataToValue(fRegType, fRegTypeName, fData, fName, -1);
  } else {
    fValue.Srt = DataToStr();
  }
}

// A handler may destroy or change the register: it works on copies.
void TMBReg::DecodeByHandlers() {
  if (!fTypeInfo && !OnDataToValue) return;
  const TRef<TMBReg> self(this);
  const Bytes data = fData;
  TRegValue value = fValue;
  if (fTypeInfo) {
    const std::string typeName = fRegTypeName, name = fName;
    value = fTypeInfo->DataToValue(fRegType, typeName, data, name, -1);
  } else {
    OnDataToValue(data, value);
  }
  if (self) fValue = std::move(value);
}

void TMBReg::DataToMin() {
  CheckThread();
  if (!fTypeInfo) return;
  switch (fRegType) {
    case TRegType::rtNum:
      return NumberToMin();
    case TRegType::rtStr:
      std::ranges::fill(fData, std::uint8_t{' '});
      return;
    default:
      return ClearData();
  }
}

void TMBReg::NumberToMin() {
  const TMBRegTypeNumber* type = fTypeInfo->TypeNumbers().GetItemByName(fRegTypeName);
  if (type == nullptr) throw Exception("Type " + fRegTypeName + "not in DB");
  if (type->Multiplier() == 0) throw EZeroDivide();
  const double least = type->MinValue() / type->Multiplier();
  if (type->RealPart() > 0) {
    fData = TMBLib::RealToByteAr(least, type->IntPart(), type->RealPart());
    return;
  }
  const double whole = std::trunc(least);
  if (!(whole >= std::numeric_limits<std::int32_t>::min() &&
        whole <= std::numeric_limits<std::int32_t>::max())) {
    throw EConvertError("The least value of type " + fRegTypeName + " needs more than 32 bits");
  }
  auto rest = static_cast<std::int32_t>(whole);
  for (auto byte = fData.rbegin(); byte != fData.rend(); ++byte) {
    *byte = static_cast<std::uint8_t>(rest & 0xFF);
    rest >>= 8;  // arithmetic: bytes in front of the number repeat its sign
  }
}

TMBRegTypeColItem* TMBReg::GetRegTypeItem() const {
  if (!fTypeInfo) return nullptr;
  switch (fRegType) {
    case TRegType::rtList:
      return fTypeInfo->TypeLists().GetItemByName(fRegTypeName);
    case TRegType::rtBin:
      return fTypeInfo->TypeBins().GetItemByName(fRegTypeName);
    case TRegType::rtNum:
      return fTypeInfo->TypeNumbers().GetItemByName(fRegTypeName);
    case TRegType::rtStructur:
      return fTypeInfo->TypeStructurs().GetItemByName(fName, fRegTypeName);
    default:
      return nullptr;
  }
}

void TMBReg::Assign(const TPersistent& source) {
  const auto* reg = dynamic_cast<const TMBReg*>(&source);
  if (reg == nullptr) return TCollectionItem::Assign(source);
  CheckThread();
  SetDisplayName(reg->fName);
  SetRegAdress(reg->fAdress);
  fChanelIndex = reg->fChanelIndex;
  SetCaption(reg->fCaption);
  SetMBFuncRead(reg->fMBFuncRead);
  SetMBFuncWrite(reg->fMBFuncWrite);
  SetBytesInOneReg(reg->fBytesInOneReg);
  SetRegsCount(reg->GetRegsCount());
  fRegType = reg->fRegType;
  fRegTypeName = reg->fRegTypeName;
  fTypeInfo = reg->fTypeInfo;
  // Handlers of OnDataChange may destroy either register.
  const TRef<TMBReg> self(this);
  const Bytes data(reg->fData.begin(), reg->fData.begin() + reg->CountInByte() % 256);
  for (std::size_t i = 0; self && i < data.size(); ++i) {
    SetData(static_cast<std::uint16_t>(i), data[i]);
  }
}

TRegNameCollection* TMBReg::Names() const {
  return dynamic_cast<TRegNameCollection*>(Collection());
}

void TMBReg::Moved() {
  if (Names() != nullptr) ++Names()->fMoves;
  Changed(false);
}

void TMBReg::DoOnDataChange() {
  if (!OnDataChange) return;
  const TRef<TMBReg> self(this);  // the handler may delete its register
  OnDataChange(*this);
  if (self) Changed(false);
}

const TClassInfo& TMBReg::StaticClass() {
  static const TClassInfo info(
      "TMBReg", &TCollectionItem::StaticClass(),
      {
          Published("Name", &TMBReg::Name, &TMBReg::SetDisplayName),
          Published("ChanelIndex", &TMBReg::ChanelIndex, &TMBReg::SetChanelIndex, -1),
          Published("Adress", &TMBReg::Adress, &TMBReg::SetRegAdress, 1),
          // Before MBFuncRead: a form sets them in this order, and a write code that is equal to
          // the read code set before it is not stored.
          Published("MBFuncWrite", &TMBReg::MBFuncWrite, &TMBReg::SetMBFuncWrite, 0),
          Published("MBFuncRead", &TMBReg::MBFuncRead, &TMBReg::SetMBFuncRead, 3),
          Published("BytesInOneReg", &TMBReg::BytesInOneReg, &TMBReg::SetBytesInOneReg, 1),
          Published("Count", &TMBReg::GetRegsCount, &TMBReg::SetRegsCount, 0),
          Published("Caption", &TMBReg::Caption, &TMBReg::SetCaption, ""),
          Published("RegType", &TMBReg::RegType, &TMBReg::SetRegType, TRegType::rtNone),
          Published("RegTypeName", &TMBReg::RegTypeName, &TMBReg::SetTypeName, ""),
          Published("TypeInfo", &TMBReg::TypeInfo, &TMBReg::SetTypeInfo, nullptr),
          PublishedEvent("OnDataChange", &TMBReg::OnDataChange),
          PublishedEvent("OnDataToValue", &TMBReg::OnDataToValue),
      });
  return info;
}

TRegNameCollection::TRegNameCollection()
    : TCollection([](TCollection* c) -> TCollectionItem* { return new TMBReg(c); }) {}

// The registers leave the index while there is one.
TRegNameCollection::~TRegNameCollection() {
  while (Count() > 0) delete Items(Count() - 1);
}

TMBReg* TRegNameCollection::RegByName(const std::string& name) const {
  return fNames.Find(TMBLib::DeleteBitFromRegName(name));
}

int TRegNameCollection::NameIndex(const std::string& name) const {
  return fNames.Position(TMBLib::DeleteBitFromRegName(name));
}

TMBReg* TRegNameCollection::RegByIndex(int index) const { return fNames.RegAt(index); }

void TRegNameCollection::SetRegValue(int index, TMBReg& reg) {
  CheckThread();
  CheckIsItemOf(*this, reg);
  --RegByIndex(index)->fIndexLines;
  fNames.SetRegAt(index, reg);
  ++reg.fIndexLines;
}

void TRegNameCollection::SetNameByIndex(int index, const std::string& name) {
  CheckThread();
  TMBReg& reg = *RegByIndex(index);
  DelByIndex(index);
  AddRegItem(name, reg);
}

void TRegNameCollection::AddRegItem(const std::string& name, TMBReg& reg) {
  CheckThread();
  CheckIsItemOf(*this, reg);
  if (fNames.Add(TMBLib::DeleteBitFromRegName(name), reg)) ++reg.fIndexLines;
}

void TRegNameCollection::ChangeName(const std::string& oldName, const std::string& newName,
                                    TMBReg& reg) {
  CheckThread();
  CheckIsItemOf(*this, reg);
  const std::string oldLine = TMBLib::DeleteBitFromRegName(oldName);
  const std::string newLine = TMBLib::DeleteBitFromRegName(newName);
  const bool sameLine = SameText(oldLine, newLine);
  if (TMBReg* const bearer = sameLine ? fNames.Find(oldLine) : nullptr) {
    fNames.Replace(newLine, reg);
    --bearer->fIndexLines;
    ++reg.fIndexLines;
    return;
  }
  // The new line first: for want of memory nothing has changed.
  if (fNames.Add(newLine, reg)) ++reg.fIndexLines;
  if (!sameLine) DelLine(oldLine);
}

void TRegNameCollection::DelByIndex(int index) {
  CheckThread();
  DelLine(fNames.NameAt(index));
}

void TRegNameCollection::DelByName(const std::string& name) {
  CheckThread();
  DelLine(TMBLib::DeleteBitFromRegName(name));
}

// Takes the name as it stands in the index: without its bit suffix, which a name may have twice.
void TRegNameCollection::DelLine(const std::string& indexedName) {
  TMBReg* const reg = fNames.Find(indexedName);
  if (reg == nullptr) return;
  --reg->fIndexLines;
  fNames.Remove(indexedName);
}

void TRegNameCollection::Clear() {
  TCollection::Clear();
  fNames.Clear();
}

void TRegNameCollection::Forget(TMBReg& reg) noexcept {
  try {
    if (RegByName(reg.fName) == &reg) DelLine(TMBLib::DeleteBitFromRegName(reg.fName));
  } catch (const std::bad_alloc&) {  // then it is found as those below
  }
  // Lines under other names come from AddRegItem and SetRegValue; they are few.
  while (reg.fIndexLines > 0 && fNames.RemoveOneOf(reg)) --reg.fIndexLines;
}

const TClassInfo& TRegNameCollection::StaticClass() {
  static const TClassInfo info("TRegNameCollection", &TCollection::StaticClass(), {});
  return info;
}

}  // namespace OrvixModBus
