#include "tools/docs/uFormDocs.h"

#include <algorithm>
#include <limits>
#include <memory>

#include "platform/model/uCollection.h"
#include "platform/model/uStringList.h"
#include "platform/rtl/uNumText.h"
#include "tools/docs/uFormDocs_Texts.h"
#include "uMBForm.h"

namespace OrvixModBus {
namespace {

using enum TPropertyKind;

std::string Code(std::string_view text) { return "`" + std::string(text) + "`"; }

std::string NamesOf(std::span<const std::string_view> names) {
  std::string list;
  for (const std::string_view name : names) list += (list.empty() ? "" : ", ") + Code(name);
  return list;
}

std::string PartKind(const TPersistent& part) {
  if (dynamic_cast<const TStringList*>(&part) != nullptr) return "text lines";
  return "collection";
}

std::string KindText(const TPropertyInfo& property, const TPersistent& object) {
  switch (property.Kind) {
    case pkInteger:
      return IntToStr(property.Min) + " to " + IntToStr(property.Max);
    case pkFloat:
      return "number";
    case pkString:
      return "text";
    case pkBoolean:
      return "Boolean";
    case pkEnumeration:
      return NamesOf(property.EnumNames);
    case pkSet:
      return "set of " + NamesOf(property.EnumNames);
    case pkBinary:
      return "bytes";
    case pkObject:
      return PartKind(*std::get<TPersistent*>(property.Get(object)));
    case pkReference:
      return "reference";
    case pkEvent:
      return "event";
  }
  return {};
}

// Empty for what is always stored, or has nothing at first.
std::string DefaultText(const TPropertyInfo& property) {
  if (!property.Default) return {};
  const TPropertyValue& value = *property.Default;
  if (const auto* text = std::get_if<std::string>(&value)) return Code("'" + *text + "'");
  if (const auto* real = std::get_if<double>(&value)) return Code(FloatToStr(*real));
  const auto* const ordinal = std::get_if<std::int64_t>(&value);
  if (ordinal == nullptr) return {};
  if (property.Kind == pkBoolean) return Code(*ordinal != 0 ? "True" : "False");
  if (property.Kind != pkEnumeration) return Code(IntToStr(*ordinal));
  return Code(property.EnumNames[static_cast<std::size_t>(*ordinal)]);
}

// The objects whose classes a form may name or hold: one new component of each class, the parts
// inside it, and an item of each collection.
class TSamples {
 public:
  TSamples() {
    for (const TComponentClass& each : ModBusClasses()) {
      fComponents.emplace_back(each.Create(nullptr));
      Add(*fComponents.back());
    }
  }
  const std::vector<TPersistent*>& Objects() const { return fObjects; }

 private:
  void Add(TPersistent& object) {
    const auto same = [&](const auto* each) { return &each->ClassInfo() == &object.ClassInfo(); };
    if (std::ranges::any_of(fObjects, same)) return;
    if (dynamic_cast<TStringList*>(&object) == nullptr) fObjects.push_back(&object);
    for (const TPropertyInfo* property : object.ClassInfo().Properties()) {
      if (property->Kind == pkObject) Add(*std::get<TPersistent*>(property->Get(object)));
    }
    if (auto* collection = dynamic_cast<TCollection*>(&object)) Add(*collection->Add());
  }

  std::vector<std::unique_ptr<TComponent>> fComponents;
  std::vector<TPersistent*> fObjects;
};

std::string SectionOf(const TPersistent& object) {
  const TClassInfo& info = object.ClassInfo();
  const auto properties = info.Properties();
  const bool isCollection = dynamic_cast<const TCollection*>(&object) != nullptr;
  if (isCollection && properties.empty()) return {};
  std::string text = "\n### " + std::string(info.Name()) + "\n\n";
  if (!isCollection) text += std::string(FormDescription(info.Name())) + "\n";
  if (properties.empty()) return text + "\nIt has no properties.\n";
  if (!isCollection) text += "\n";
  text += "| property | value | at first | meaning |\n|---|---|---|---|\n";
  for (const TPropertyInfo* property : properties) {
    text += "| " + Code(property->Name) + " | " + KindText(*property, object) + " | " +
            DefaultText(*property) + " | " +
            std::string(FormDescription(DeclaredName(info, *property))) + " |\n";
  }
  return text;
}

}  // namespace

std::string FormDocs() {
  const TSamples samples;
  std::string text(FormFormatText());
  text +=
      "\n## Classes\n\nA property without a value \"at first\" is always written, a reference is "
      "`nil` at first, and a part\nis empty.\n";
  for (const TPersistent* object : samples.Objects()) text += SectionOf(*object);
  return text;
}

std::string_view FormDescription(std::string_view name) {
  const auto found = std::ranges::find(FormTexts(), name, &TFormText::Name);
  return found != FormTexts().end() ? found->Text : std::string_view();
}

std::vector<std::string_view> FormDescriptionNames() {
  std::vector<std::string_view> names;
  for (const TFormText& each : FormTexts()) names.push_back(each.Name);
  return names;
}

std::vector<const TClassInfo*> FormClasses() {
  const TSamples samples;
  std::vector<const TClassInfo*> classes;
  for (const TPersistent* object : samples.Objects()) classes.push_back(&object->ClassInfo());
  return classes;
}

std::string DeclaredName(const TClassInfo& info, const TPropertyInfo& property) {
  const TClassInfo* declaring = &info;
  while (declaring->Parent() != nullptr &&
         declaring->Parent()->Property(property.Name) == &property) {
    declaring = declaring->Parent();
  }
  return std::string(declaring->Name()) + "." + std::string(property.Name);
}

}  // namespace OrvixModBus
