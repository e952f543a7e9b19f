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

Bytes Cut(const TMBRegTypeStructure& field, const Bytes& block) {
  const int end = field.Offset() + field.Size();
  if (field.Offset() < 0 || std::cmp_greater(end, block.size())) {
    throw EArgumentOutOfRangeException(Format(
        "Structure %s, field %s: %d bytes at offset %d do not lie within a block of %d bytes",
        {field.StructurName(), field.Name(), field.Size(), field.Offset(), block.size()}));
  }
  return Bytes(block.begin() + field.Offset(), block.begin() + end);
}

std::string BitTexts(const TMBRegTypeStructure& field, const Bytes& data,
                     const TMBTypeInfo& typeInfo) {
  const TMBRegTypeBin* const bin = typeInfo.TypeBins().GetItemByName(field.RegTypeName());
  if (bin == nullptr) {
    throw Exception(Format("Structure %s, field %s: there is no bit type %s",
                           {field.StructurName(), field.Name(), field.RegTypeName()}));
  }
  return bin->DataToValue(data).Srt;
}

void AppendParts(TStringDynArray& values, const std::string& text) {
  for (std::string& part : Split(text, '|')) values.push_back(std::move(part));
}

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
  const TItems items = ItemsByStructurName(structurName);
  if (data.empty() || items.empty() || !EndsBlock(*items.back(), data.size())) return result;
  const auto first = firstItemName.empty()
                         ? items.begin()
                         : std::ranges::find(items, firstItemName, &TMBRegTypeStructure::Name);
  // A handler may delete fields, and the catalogue with them.
  const std::vector<TRef<TMBRegTypeStructure>> fields(first, items.end());
  result.clear();
  for (const auto& field : fields) {
    if (field) AppendValues(result, field, data, typeInfo, onDataToValue);
  }
  return result;
}

void TMBRegTypeStructurs::AppendValues(TStringDynArray& values,
                                       const TRef<TMBRegTypeStructure>& field, const Bytes& line,
                                       TMBTypeInfo& typeInfo,
                                       const TOnStructurDataToValue& onDataToValue) {
  const Bytes data = Cut(*field, line);
  if (onDataToValue) {
    bool done = false;
    const TRegValue value = onDataToValue(*this, *field, data, line, done);
    if (done) return AppendParts(values, value.Srt);
    if (!field) return;
  }
  if (field->RegType() == TRegType::rtBin) {
    return AppendParts(values, BitTexts(*field, data, typeInfo));
  }
  // By copies: the catalogue's handlers may delete the field, too.
  const std::string typeName = field->RegTypeName(), name = field->Name();
  values.push_back(typeInfo.DataToValue(field->RegType(), typeName, data, name, -1).Srt);
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
