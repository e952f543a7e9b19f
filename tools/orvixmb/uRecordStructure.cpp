#include "tools/orvixmb/uRecordStructure.h"

#include <algorithm>
#include <utility>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "tools/display/uShownText.h"
#include "tools/orvixmb/uFormSession.h"

namespace OrvixModBus {
namespace {

// The bytes of a field; none when it does not lie within the record.
std::optional<Bytes> Cut(const TMBRegTypeStructure& field, const Bytes& record) {
  const int begin = field.Offset(), end = begin + field.Size();
  if (begin < 0 || std::cmp_greater(end, record.size())) return {};
  return Bytes(record.begin() + begin, record.begin() + end);
}

}  // namespace

TRecordStructure::TRecordStructure(TMBTypeInfo& catalogue, const std::string& name)
    : fCatalogue(&catalogue), fFields(catalogue.TypeStructurs().ItemsByStructurName(name)) {
  const TMBRegTypeStructure& last = *fFields.back();
  fLength = static_cast<std::size_t>(std::max(0, last.Offset() + last.Size()));
}

std::vector<TFieldValue> TRecordStructure::ValuesOf(const Bytes& record) const {
  std::vector<TFieldValue> values;
  for (const TMBRegTypeStructure* field : fFields) {
    const auto data = Cut(*field, record);
    if (!data) {
      throw EArgumentOutOfRangeException(
          Format("field %s does not lie within %u bytes", {field->Name(), record.size()}));
    }
    values.push_back(ValueOf(*field, *data));
  }
  return values;
}

TFieldValue TRecordStructure::ValueOf(const TMBRegTypeStructure& field, const Bytes& data) const {
  const TRegType type = field.RegType();
  const TRegValue value =
      fCatalogue->DataToValue(type, field.RegTypeName(), data, field.Name(), -1);
  if (type == TRegType::rtStr) return {value.Srt, {}};
  if (value == TRegValue()) return {"$" + HexText(data, ""), {}};
  if (type == TRegType::rtBin) return {BitTexts(value.Srt), {}};
  TFieldValue shown{value.Srt.empty() ? IntToStr(value.Int) : value.Srt, {}};
  if (type == TRegType::rtNum && value.R != TRegValue::kClearedReal) shown.Number = value.R;
  return shown;
}

std::vector<TRecordStructure> StructuresOf(const TComponent& root) {
  std::vector<TRecordStructure> structures;
  for (TMBTypeInfo* catalogue : ComponentsOf<TMBTypeInfo>(root)) {
    const TMBRegTypeStructurs& fields = catalogue->TypeStructurs();
    const std::size_t before = structures.size();
    for (int i = 0; i < fields.Count(); ++i) {
      const std::string& name = fields.Items(i)->StructurName();
      const auto isKnown = [&](const auto& each) { return each.Name() == name; };
      if (std::none_of(structures.begin() + static_cast<std::ptrdiff_t>(before), structures.end(),
                       isKnown)) {
        structures.emplace_back(*catalogue, name);
      }
    }
  }
  return structures;
}

TRecordStructure StructureNamed(const TComponent& root, const std::string& form,
                                const std::string& name) {
  const std::vector<TRecordStructure> all = StructuresOf(root);
  const auto found = std::ranges::find(all, name, &TRecordStructure::Name);
  if (found == all.end()) {
    TStringDynArray names;
    for (const TRecordStructure& each : all) names.push_back(each.Name());
    RefuseName(form, "structure", name, names);
  }
  try {
    found->ValuesOf(Bytes(found->Length()));
  } catch (const Exception& error) {
    throw EUsageError(form + ": structure " + name + ": " + error.what());
  }
  return *found;
}

TRecordStructure StructureNamed(const TComponent& root, const std::string& form,
                                const std::string& name, const std::string& what,
                                std::int32_t length) {
  TRecordStructure structure = StructureNamed(root, form, name);
  if (std::cmp_equal(structure.Length(), length)) return structure;
  throw EUsageError(Format("%s: structure %s has %u bytes, but %s is %d",
                           {form, name, structure.Length(), what, length}));
}

}  // namespace OrvixModBus
