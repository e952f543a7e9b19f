#include "uMBTypeInfo_Structurs.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <tuple>
#include <utility>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uText.h"
#include "uMBTypeInfo.h"

namespace OrvixModBus {
namespace {

using TItems = TMBRegTypeStructurs::TItems;

// Adds the wanted fields to result, and sorts it.
template <class TWanted>
TItems Gather(const TMBRegTypeStructurs& fields, TItems result, TWanted wanted) {
  for (int i = 0; i < fields.Count(); ++i) {
    if (wanted(*fields.Items(i))) result.push_back(fields.Items(i));
  }
  std::ranges::stable_sort(
      result, [](const auto* l, const auto* r) { return TStructurComparer::Compare(*l, *r) < 0; });
  return result;
}

bool EndsBlock(const TMBRegTypeStructure& field, std::size_t blockSize) {
  return std::cmp_equal(field.Offset() + field.Size(), blockSize);
}

TByteView Cut(const TMBRegTypeStructure& field, TByteView block) {
  const int end = field.Offset() + field.Size();
  if (field.Offset() < 0 || std::cmp_greater(end, block.size())) {
    throw EArgumentOutOfRangeException(Format(
        "Structure %s, field %s: %d bytes at offset %d do not lie within a block of %d bytes",
        {field.StructurName(), field.Name(), field.Size(), field.Offset(), block.size()}));
  }
  return block.subspan(static_cast<std::size_t>(field.Offset()), field.Size());
}

const TMBRegTypeBin& BinOf(const TMBRegTypeStructure& field, const TMBTypeInfo& typeInfo) {
  const TMBRegTypeBin* const bin = typeInfo.TypeBins().GetItemByName(field.RegTypeName());
  if (bin == nullptr) {
    throw Exception(Format("Structure %s, field %s: there is no bit type %s",
                           {field.StructurName(), field.Name(), field.RegTypeName()}));
  }
  return *bin;
}

// Writes the texts of a block, each over the one that had its place, whose room it takes.
class TBlockTexts {
 public:
  explicit TBlockTexts(TStringDynArray& texts) : fTexts(texts) {}

  void Add(std::string_view text) {
    if (fCount < fTexts.size()) {
      fTexts[fCount] = text;
    } else {
      fTexts.emplace_back(text);
    }
    ++fCount;
  }
  void AddParts(std::string_view text) {
    for (const std::string& part : Split(text, '|')) Add(part);
  }
  void AddBits(const TMBRegTypeBin& bin, TByteView data) {
    for (std::size_t bit = 0; bit < data.size() * 8; ++bit) Add(bin.StateText(data, bit));
  }
  void AddDecoded(const TMBRegTypeStructure& field, TByteView data, TMBTypeInfo& typeInfo) {
    if (!typeInfo.HasHandlers()) {
      return Add(typeInfo.Decode(field.RegType(), field.RegTypeName(), data).Srt);
    }
    // By copies: a handler may delete the field.
    Add(typeInfo
            .DataToValue(field.RegType(), std::string(field.RegTypeName()), ToBytes(data),
                         std::string(field.Name()), -1)
            .Srt);
  }
  void Finish() { fTexts.resize(fCount); }

 private:
  TStringDynArray& fTexts;
  std::size_t fCount = 0;
};

}  // namespace

TMBRegTypeStructure::TMBRegTypeStructure(TCollection* collection)
    : TMBRegTypeColItem(collection, "TypeStructur", TRegType::rtNone) {
  Introduce();
}

void TMBRegTypeStructure::Assign(const TPersistent& source) {
  const auto* field = dynamic_cast<const TMBRegTypeStructure*>(&source);
  if (field == nullptr) return TMBRegTypeColItem::Assign(source);
  SetName(field->Name());
  fStructurName = field->fStructurName;
  SetRegType(field->RegType());
  fRegTypeName = field->fRegTypeName;
  fOffset = field->fOffset;
  fSize = field->fSize;
  fCaption = field->fCaption;
  fMBRegTypeItem = field->fMBRegTypeItem;
  fCode = field->fCode;
  Moved();
}

void TMBRegTypeStructure::Moved() {
  if (auto* const fields = dynamic_cast<TMBRegTypeStructurs*>(Collection())) ++fields->fMoves;
}

int TStructurComparer::Compare(const TMBRegTypeStructure& l, const TMBRegTypeStructure& r) {
  const auto key = [](const TMBRegTypeStructure& field) {
    const int offset = field.Offset();
    return std::tuple(std::abs(offset), offset < 0, offset < 0 ? int{field.Size()} : 0);
  };
  const auto order = key(l) <=> key(r);
  return order < 0 ? -1 : order > 0 ? 1 : 0;
}

TMBRegTypeStructure* TMBRegTypeStructurs::GetItemByName(const std::string& name,
                                                        const std::string& structurName) const {
  for (int i = 0; i < Count(); ++i) {
    TMBRegTypeStructure* const field = Items(i);
    if (field->Name() == name && field->StructurName() == structurName) return field;
  }
  return nullptr;
}

void TMBRegTypeStructurs::SetItemByName(const std::string& name, const std::string& structurName,
                                        const TMBRegTypeStructure& value) {
  if (TMBRegTypeStructure* const field = GetItemByName(name, structurName)) field->Assign(value);
}

TItems TMBRegTypeStructurs::ItemsByStructurName(const std::string& structurName) const {
  return Gather(*this, {}, [&](const auto& field) { return field.StructurName() == structurName; });
}

TItems TMBRegTypeStructurs::ItemsByStructurCode(std::int32_t structurCode, TItems result) const {
  return Gather(*this, std::move(result),
                [&](const auto& field) { return field.Code() == structurCode; });
}

TStringDynArray TMBRegTypeStructurs::ValuesByStructurName(
    const std::string& structurName, const Bytes& data, TMBTypeInfo& typeInfo,
    const TOnStructurDataToValue& onDataToValue, TStringDynArray result) {
  return ValuesByStructurNameEx(structurName, data, typeInfo, onDataToValue, "", std::move(result));
}

TStringDynArray TMBRegTypeStructurs::ValuesByStructurNameEx(
    const std::string& structurName, const Bytes& data, TMBTypeInfo& typeInfo,
    const TOnStructurDataToValue& onDataToValue, const std::string& firstItemName,
    TStringDynArray result) {
  const auto fields = FieldsOf(structurName);
  if (data.empty() || fields->empty() || !EndsBlock(*fields->back(), data.size())) return result;
  const auto isFirst = [&](const auto& field) { return field->Name() == firstItemName; };
  const auto first =
      firstItemName.empty() ? fields->begin() : std::ranges::find_if(*fields, isFirst);
  TBlockTexts texts(result);
  for (auto next = first; next != fields->end(); ++next) {
    const TRef<TMBRegTypeStructure>& field = *next;
    if (!field) continue;  // a handler may delete fields, and the catalogue with them
    const TByteView part = Cut(*field, data);
    if (onDataToValue) {
      bool done = false;
      const TRegValue value = onDataToValue(*this, *field, ToBytes(part), data, done);
      if (done) texts.AddParts(value.Srt);
      if (done || !field) continue;
    }
    if (field->RegType() == TRegType::rtBin) {
      texts.AddBits(BinOf(*field, typeInfo), part);
    } else {
      texts.AddDecoded(*field, part, typeInfo);
    }
  }
  texts.Finish();
  return result;
}

std::shared_ptr<const TMBRegTypeStructurs::TFields> TMBRegTypeStructurs::FieldsOf(
    const std::string& structurName) {
  if (fFieldsRevision != Revision() + fMoves) {
    fFields.clear();
    fFieldsRevision = Revision() + fMoves;
  }
  const auto known = fFields.find(structurName);
  if (known != fFields.end()) return known->second;
  const TItems items = ItemsByStructurName(structurName);
  auto fields = std::make_shared<const TFields>(items.begin(), items.end());
  if (!items.empty()) fFields.emplace(items.front()->StructurName(), fields);
  return fields;
}

int IndexOfRegTypeItem(const TItems& items, const std::string& name) {
  const auto found = std::ranges::find(items, name, &TMBRegTypeStructure::Name);
  return found != items.end() ? static_cast<int>(found - items.begin()) : -1;
}

const TClassInfo& TMBRegTypeStructure::StaticClass() {
  static const TClassInfo info(
      "TMBRegTypeStructure", &TMBRegTypeColItem::StaticClass(),
      {Published("Code", &TMBRegTypeStructure::Code, &TMBRegTypeStructure::SetCode, 0),
       Published("StructurName", &TMBRegTypeStructure::StructurName,
                 &TMBRegTypeStructure::SetStructurName, ""),
       Published("RegTypeName", &TMBRegTypeStructure::RegTypeName,
                 &TMBRegTypeStructure::SetRegTypeName, ""),
       Published("Offset", &TMBRegTypeStructure::Offset, &TMBRegTypeStructure::SetOffset, 0),
       Published("Size", &TMBRegTypeStructure::Size, &TMBRegTypeStructure::SetSize, 0),
       Published("Caption", &TMBRegTypeStructure::Caption, &TMBRegTypeStructure::SetCaption, ""),
       Published("MBRegTypeItem", &TMBRegTypeStructure::MBRegTypeItem,
                 &TMBRegTypeStructure::SetMBRegTypeItem, nullptr)});
  return info;
}

const TClassInfo& TMBRegTypeStructurs::StaticClass() {
  static const TClassInfo info("TMBRegTypeStructurs", &TCollection::StaticClass(), {});
  return info;
}

}  // namespace OrvixModBus
