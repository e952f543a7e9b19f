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

// A name as it stands in the index, without its bit suffix. Mostly it has none and is not copied.
class TIndexed {
 public:
  explicit TIndexed(const std::string& name)
      : fIsName(name.find('[') == std::string::npos),
        fName(name),
        fShorter(fIsName ? std::string() : TMBLib::DeleteBitFromRegName(name)) {}
  TIndexed(const TIndexed&) = delete;
  TIndexed& operator=(const TIndexed&) = delete;
  operator std::string_view() const { return fIsName ? fName : fShorter; }

 private:
  const bool fIsName;
  const std::string& fName;
  const std::string fShorter;
};

void CheckSize(int bytes) {
  if (bytes > kMaxRegBytes) throw Exception("More then 250 bytes in reg");
}

}  // namespace

TMBReg::TMBReg(TCollection* collection)
    : TCollectionItem(collection),
      fName("Reg" + std::to_string(ID())),
      fHasNames(dynamic_cast<TRegNameCollection*>(collection) != nullptr) {
  Introduce();
}

TMBReg::~TMBReg() {
  if (fIndexLines > 0) Names()->Forget(*this);
}

const TRegValue& TMBReg::Value() const {
  static const TRegValue cleared;
  return fValue != nullptr ? *fValue : cleared;
}

TRegValue& TMBReg::OwnValue() {
  if (fValue == nullptr) fValue = std::make_unique<TRegValue>();
  return *fValue;
}

void TMBReg::SetDisplayName(const std::string& value) {
  CheckThread();
  if (value == fName) return;
  std::string name = value;
  if (Names() != nullptr) {
    Names()->Rename(*this, name);
  } else {
    fName.swap(name);
  }
  TCollectionItem::SetDisplayName(fName);
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
  Moved();
}

void TMBReg::SetBytesInOneReg(std::uint8_t value) {
  CheckThread();
  const int size = value * GetRegsCount();
  CheckSize(size);
  if (value == fBytesInOneReg) return;
  fData.resize(static_cast<std::size_t>(size));
  fBytesInOneReg = value;
  Moved();
}

void TMBReg::SetCaption(const std::string& value) {
  CheckThread();
  if (value == fCaption) return;
  fCaption = std::string(value);  // of its length: an assignment would make it longer
  Changed(false);
}

void TMBReg::SetTypeName(const std::string& value) {
  CheckThread();
  TRegNameCollection* const names = Names();
  fRegTypeName = names != nullptr ? names->fTypeNames.Share(value) : TSharedText(value);
}

void TMBReg::SetRegData(const Bytes& data) {
  CheckThread();
  const bool resized = data.size() != fData.size();
  fData = data;
  if (resized) NoteMove();
}

void TMBReg::ReplaceData(TByteView data) {
  CheckThread();
  std::ranges::copy(data.first(std::min(data.size(), fData.size())), fData.begin());
}

void TMBReg::SetData(std::uint16_t index, std::uint8_t value) {
  CheckThread();
  if (index > fData.size()) throw Exception("Array index error");
  if (index == fData.size()) {
    fData.push_back(value);
    NoteMove();
  } else {
    fData[index] = value;
  }
  if (OnDataChange) DoOnDataChange();
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
    OwnValue() = fTypeInfo->Decode(fRegType, RegTypeName(), fData);
  } else {
    OwnValue().Srt = DataToStr();
  }
}

// A handler may destroy or change the register: it works on copies.
void TMBReg::DecodeByHandlers() {
  if (!fTypeInfo && !OnDataToValue) return;
  const TRef<TMBReg> self(this);
  const Bytes data = fData;
  TRegValue value = Value();
  if (fTypeInfo) {
    const std::string typeName = RegTypeName(), name = fName;
    value = fTypeInfo->DataToValue(fRegType, typeName, data, name, -1);
  } else {
    OnDataToValue(data, value);
  }
  if (self) OwnValue() = std::move(value);
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
  const TMBRegTypeNumber* type = fTypeInfo->TypeNumbers().GetItemByName(RegTypeName());
  if (type == nullptr) throw Exception("Type " + RegTypeName() + "not in DB");
  if (type->Multiplier() == 0) throw EZeroDivide();
  const double least = type->MinValue() / type->Multiplier();
  if (type->RealPart() > 0) {
    return SetRegData(TMBLib::RealToByteAr(least, type->IntPart(), type->RealPart()));
  }
  const double whole = std::trunc(least);
  if (!(whole >= std::numeric_limits<std::int32_t>::min() &&
        whole <= std::numeric_limits<std::int32_t>::max())) {
    throw EConvertError("The least value of type " + RegTypeName() + " needs more than 32 bits");
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
      return fTypeInfo->TypeLists().GetItemByName(RegTypeName());
    case TRegType::rtBin:
      return fTypeInfo->TypeBins().GetItemByName(RegTypeName());
    case TRegType::rtNum:
      return fTypeInfo->TypeNumbers().GetItemByName(RegTypeName());
    case TRegType::rtStructur:
      return fTypeInfo->TypeStructurs().GetItemByName(fName, RegTypeName());
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
  if (Names() != nullptr) {
    SetTypeName(reg->RegTypeName());
  } else {
    fRegTypeName = reg->fRegTypeName;
  }
  fTypeInfo = reg->fTypeInfo;
  // Handlers of OnDataChange may destroy either register.
  const TRef<TMBReg> self(this);
  const Bytes data(reg->fData.begin(), reg->fData.begin() + reg->CountInByte() % 256);
  for (std::size_t i = 0; self && i < data.size(); ++i) {
    SetData(static_cast<std::uint16_t>(i), data[i]);
  }
}

TRegNameCollection* TMBReg::Names() const {
  return fHasNames ? static_cast<TRegNameCollection*>(Collection()) : nullptr;
}

void TMBReg::NoteMove() {
  if (TRegNameCollection* const names = Names()) ++names->fMoves;
}

void TMBReg::Moved() {
  NoteMove();
  Changed(false);
}

void TMBReg::DoOnDataChange() {
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
  DelAllLines();
  while (Count() > 0) delete Items(Count() - 1);
}

TMBReg* TRegNameCollection::RegByName(const std::string& name) const {
  return fNames.Find(TIndexed(name));
}

int TRegNameCollection::NameIndex(const std::string& name) const {
  return fNames.Position(TIndexed(name));
}

TMBReg* TRegNameCollection::RegByIndex(int index) const { return fNames.RegAt(index); }

void TRegNameCollection::SetRegValue(int index, TMBReg& reg) {
  CheckThread();
  CheckIsItemOf(*this, reg);
  TMBReg& former = *RegByIndex(index);
  fNames.SetRegAt(index, reg);
  --former.fIndexLines;
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
  if (fNames.Add(TIndexed(name), reg)) ++reg.fIndexLines;
}

void TRegNameCollection::ChangeName(const std::string& oldName, const std::string& newName,
                                    TMBReg& reg) {
  CheckThread();
  CheckIsItemOf(*this, reg);
  const TIndexed oldLine(oldName);
  auto text = TMBRegNames::TextFor(TIndexed(newName), reg);
  fNames.Reserve();
  DelLine(oldLine);
  if (fNames.Add(reg, std::move(text))) ++reg.fIndexLines;
}

// As ChangeName, and gives the register its name in between. For want of memory nothing has
// changed.
void TRegNameCollection::Rename(TMBReg& reg, std::string& name) {
  const TIndexed oldLine(reg.fName), newLine(name);
  TMBRegNames::TText text;
  if (std::string_view(newLine) != name) text = std::make_unique<const std::string>(newLine);
  fNames.Reserve();
  DelLine(oldLine);
  reg.fName.swap(name);
  if (fNames.Add(reg, std::move(text))) ++reg.fIndexLines;
}

void TRegNameCollection::DelByIndex(int index) {
  CheckThread();
  DelLine(fNames.NameAt(index));
}

void TRegNameCollection::DelByName(const std::string& name) {
  CheckThread();
  DelLine(TIndexed(name));
}

// Takes the name as it stands in the index: without its bit suffix, which a name may have twice.
void TRegNameCollection::DelLine(std::string_view indexedName) noexcept {
  TMBReg* const reg = fNames.Find(indexedName);
  if (reg == nullptr) return;
  --reg->fIndexLines;
  fNames.Remove(indexedName);
}

// Before all registers go: each would look for its lines.
void TRegNameCollection::DelAllLines() {
  for (int i = 0; i < Count(); ++i) static_cast<TMBReg*>(Items(i))->fIndexLines = 0;
  fNames.Clear();
}

void TRegNameCollection::Clear() {
  CheckThread();
  DelAllLines();
  TCollection::Clear();
}

void TRegNameCollection::Forget(TMBReg& reg) noexcept {
  try {
    if (RegByName(reg.fName) == &reg) DelLine(TIndexed(reg.fName));
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
