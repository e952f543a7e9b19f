#include "platform/model/uFormReader.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

#include "platform/rtl/uFold.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

using enum TFormTokenKind;

std::string Quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

// What a message calls the token.
std::string TextOf(const TFormToken& token) {
  switch (token.Kind) {
    case tkEnd:
      return "the end of the text";
    case tkInteger:
      return std::to_string(token.Integer);
    case tkFloat:
      return FloatToStr(token.Float);
    case tkString:
      return "the text " + Quoted(Utf8Left(token.Text, 30));
    case tkBinary:
      return "bytes in braces";
    default:
      return Quoted(token.Text);
  }
}

std::string ListOf(std::span<const std::string_view> names) {
  std::string list;
  for (const std::string_view name : names) {
    if (!list.empty()) list += ", ";
    list += name;
  }
  return list;
}

// What a message says a property's value is.
std::string ExpectedOf(const TPropertyInfo& property) {
  switch (property.Kind) {
    case TPropertyKind::pkInteger:
      return "an integer between " + std::to_string(property.Min) + " and " +
             std::to_string(property.Max);
    case TPropertyKind::pkFloat:
      return "a number";
    case TPropertyKind::pkString:
      return "a text in quotes";
    case TPropertyKind::pkBoolean:
      return "True or False";
    case TPropertyKind::pkEnumeration:
      return "one of " + ListOf(property.EnumNames);
    case TPropertyKind::pkSet:
      return "a set in brackets of " + ListOf(property.EnumNames);
    case TPropertyKind::pkBinary:
      return "hexadecimal digits in braces";
    case TPropertyKind::pkReference:
      return "a component's name or nil";
    case TPropertyKind::pkEvent:
      return "a method's name or nil";
    case TPropertyKind::pkObject:
      break;
  }
  return "'<', the begin of a collection";
}

std::optional<std::int64_t> OrdinalOf(std::span<const std::string_view> names,
                                      const std::string& name) {
  const auto found = std::ranges::find_if(names, [&](auto each) { return SameText(each, name); });
  if (found == names.end()) return std::nullopt;
  return found - names.begin();
}

TPropertyValue OrdinalValue(std::span<const std::string_view> names, const TFormToken& token) {
  if (token.Kind != tkIdentifier) return {};
  const auto ordinal = OrdinalOf(names, token.Text);
  return ordinal ? TPropertyValue(*ordinal) : TPropertyValue();
}

TPropertyValue IntegerValue(const TPropertyInfo& property, const TFormToken& token) {
  if (token.Kind != tkInteger) return {};
  if (token.Integer < property.Min || token.Integer > property.Max) return {};
  return token.Integer;
}

TPropertyValue FloatValue(const TFormToken& token) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  if (token.Kind == tkFloat) return token.Float;
  if (token.Kind == tkInteger) return static_cast<double>(token.Integer);
  if (token.Kind != tkIdentifier) return {};
  if (SameText(token.Text, "INF")) return kInfinity;
  if (SameText(token.Text, "-INF")) return -kInfinity;
  if (SameText(token.Text, "NAN")) return std::numeric_limits<double>::quiet_NaN();
  return {};
}

// The value that the token is; none when it is not what the property expects.
TPropertyValue ValueOf(const TPropertyInfo& property, const TFormToken& token) {
  constexpr std::string_view kBooleans[] = {"False", "True"};
  switch (property.Kind) {
    case TPropertyKind::pkInteger:
      return IntegerValue(property, token);
    case TPropertyKind::pkFloat:
      return FloatValue(token);
    case TPropertyKind::pkBoolean:
      return OrdinalValue(kBooleans, token);
    case TPropertyKind::pkEnumeration:
      return OrdinalValue(property.EnumNames, token);
    case TPropertyKind::pkString:
      return token.Kind == tkString ? TPropertyValue(token.Text) : TPropertyValue();
    case TPropertyKind::pkBinary:
      return token.Kind == tkBinary ? TPropertyValue(token.Binary) : TPropertyValue();
    default:
      return {};
  }
}

// Names are written in any case; those written exactly are found without folding.
const TPropertyInfo* FindProperty(const TPersistent& object, std::string_view name) {
  if (const auto* exact = object.ClassInfo().Property(name)) return exact;
  const auto all = object.ClassInfo().Properties();
  const auto found =
      std::ranges::find_if(all, [&](const auto* each) { return SameText(each->Name, name); });
  return found != all.end() ? *found : nullptr;
}

// The part of that name which the object owns; nil when there is none.
TPersistent* PartOf(const TPersistent& object, std::string_view name) {
  const TPropertyInfo* const property = FindProperty(object, name);
  if (property == nullptr || property->Kind != TPropertyKind::pkObject) return nullptr;
  return std::get<TPersistent*>(property->Get(object));
}

// The item at `[index]`; nil when there is none.
TPersistent* ItemOf(TPersistent* object, std::string_view index) {
  const auto* const collection = dynamic_cast<const TCollection*>(object);
  int number = -1;
  std::from_chars(index.data(), index.data() + index.size(), number);
  if (collection == nullptr || number < 0 || number >= collection->Count()) return nullptr;
  return collection->Items(number);
}

}  // namespace

std::unique_ptr<TComponent> TFormReader::Read() {
  auto root = ReadRoot();
  if (fScanner.Next().Kind != tkEnd) {
    throw fScanner.Error(fScanner.Next().Offset,
                         "expected the end of the text, found " + TextOf(fScanner.Next()));
  }
  ResolveReferences();
  BindEvents();
  return root;
}

void TFormReader::Report(std::size_t place, const std::string& problem) {
  fMistake(fScanner.Error(place, problem));
}

void TFormReader::ReportValue(const TPersistent& object, const TPropertyInfo& property,
                              std::size_t place, const std::string& problem) {
  Report(place,
         std::string(object.ClassName()) + "." + std::string(property.Name) + ": " + problem);
}

// The value that comes next is not what the property expects.
void TFormReader::RefuseNext(const TPersistent& object, const TPropertyInfo& property) {
  ReportValue(object, property, fScanner.Next().Offset,
              "expected " + ExpectedOf(property) + ", found " + TextOf(fScanner.Next()));
  SkipValue();
}

void TFormReader::ExpectSymbol(char symbol) {
  if (!fScanner.IsSymbol(symbol)) {
    throw fScanner.Error(fScanner.Next().Offset, "expected " + Quoted(std::string(1, symbol)) +
                                                     ", found " + TextOf(fScanner.Next()));
  }
  fScanner.Take();
}

void TFormReader::ExpectEnd(std::string_view what) {
  if (!fScanner.IsWord("end")) {
    throw fScanner.Error(fScanner.Next().Offset, "expected 'end' of " + std::string(what) +
                                                     ", found " + TextOf(fScanner.Next()));
  }
  fScanner.Take();
}

TFormToken TFormReader::ExpectIdentifier(const std::string& what) {
  if (fScanner.Next().Kind != tkIdentifier) {
    throw fScanner.Error(fScanner.Next().Offset,
                         "expected " + what + ", found " + TextOf(fScanner.Next()));
  }
  return fScanner.Take();
}

std::unique_ptr<TComponent> TFormReader::ReadRoot() {
  const THead head = ReadHead();
  auto root = Make(head, nullptr);
  if (root == nullptr) {
    SkipObject();
    return root;
  }
  NameComponent(*root, head);
  ReadProperties(*root);
  while (fScanner.IsWord("object")) ReadOwned(*root);
  ExpectEnd(head.ClassName);
  return root;
}

void TFormReader::ReadOwned(TComponent& root) {
  const THead head = ReadHead();
  if (head.Name.empty()) Report(head.ClassPlace, "expected a name and ':' before the class");
  TComponent* const component = Make(head, &root).release();  // root owns it
  if (component == nullptr) return SkipObject();
  NameComponent(*component, head);
  ReadProperties(*component);
  ExpectEnd(head.Name);
}

TFormReader::THead TFormReader::ReadHead() {
  if (!fScanner.IsWord("object")) {
    throw fScanner.Error(fScanner.Next().Offset,
                         "expected 'object', found " + TextOf(fScanner.Next()));
  }
  fScanner.Take();
  THead head;
  TFormToken first = ExpectIdentifier("a component's name or class");
  head.NamePlace = head.ClassPlace = first.Offset;
  if (!fScanner.IsSymbol(':')) {
    head.ClassName = std::move(first.Text);
    return head;
  }
  fScanner.Take();
  TFormToken second = ExpectIdentifier("a component's class");
  head.Name = std::move(first.Text);
  head.ClassName = std::move(second.Text);
  head.ClassPlace = second.Offset;
  return head;
}

std::unique_ptr<TComponent> TFormReader::Make(const THead& head, TComponent* owner) {
  const TComponentClass* const known = fForm.FindClass(head.ClassName);
  if (known == nullptr) {
    Report(head.ClassPlace, "no class " + Quoted(head.ClassName) + " is registered");
    return nullptr;
  }
  std::unique_ptr<TComponent> made(known->Create(owner));
  made->SetLoading(true);
  return made;
}

void TFormReader::NameComponent(TComponent& component, const THead& head) {
  if (head.Name.empty()) return;
  try {
    component.SetName(head.Name);
    if (fByName.emplace(FoldCase(head.Name), &component).second) return;
    Report(head.NamePlace, "A component named " + head.Name + " already exists");
  } catch (const EComponentError& error) {
    Report(head.NamePlace, error.what());
  }
}

// What stands between the head and the end of an object whose class is not known.
void TFormReader::SkipObject() {
  for (int depth = 1; depth > 0;) {
    if (fScanner.Next().Kind == tkEnd) ExpectEnd("the object");
    if (fScanner.IsWord("object") || fScanner.IsWord("item")) ++depth;
    if (fScanner.IsWord("end")) --depth;
    fScanner.Take();
  }
}

void TFormReader::ReadProperties(TPersistent& object) {
  TSeen seen;
  while (!fScanner.IsWord("object") && !fScanner.IsWord("end")) ReadProperty(object, seen);
}

void TFormReader::ReadProperty(TPersistent& object, TSeen& seen) {
  const TFormToken name = ExpectIdentifier("a property's name or 'end'");
  ExpectSymbol('=');
  TPersistent* target = &object;
  std::string_view last = name.Text;
  for (auto dot = last.find('.'); dot != std::string_view::npos && target != nullptr;
       dot = last.find('.')) {
    target = PartOf(*target, last.substr(0, dot));
    last.remove_prefix(dot + 1);
  }
  auto* const list = last == "Strings" ? dynamic_cast<TStringList*>(target) : nullptr;
  const TPropertyInfo* const property =
      target != nullptr && list == nullptr ? FindProperty(*target, last) : nullptr;
  if (property == nullptr && list == nullptr) {
    Report(name.Offset, std::string(object.ClassName()) + " has no property " + Quoted(name.Text));
    return SkipValue();
  }
  if (std::ranges::find(seen, TSeen::value_type(target, property)) != seen.end()) {
    Report(name.Offset, Quoted(name.Text) + " is set twice");
    return SkipValue();
  }
  seen.emplace_back(target, property);
  if (list != nullptr) return ReadStrings(*list);
  ReadInto(*target, *property);
}

void TFormReader::ReadInto(TPersistent& object, const TPropertyInfo& property) {
  switch (property.Kind) {
    case TPropertyKind::pkObject:
      return ReadPart(object, property);
    case TPropertyKind::pkReference:
    case TPropertyKind::pkEvent:
      return ReadName(object, property);
    default:
      return ReadSimple(object, property);
  }
}

void TFormReader::ReadSimple(TPersistent& object, const TPropertyInfo& property) {
  if (property.Kind == TPropertyKind::pkSet && fScanner.IsSymbol('[')) {
    return ReadSet(object, property);
  }
  const std::size_t place = fScanner.Next().Offset;
  const TPropertyValue value = ValueOf(property, fScanner.Next());
  if (std::holds_alternative<std::monostate>(value)) return RefuseNext(object, property);
  fScanner.Take();
  Set(object, property, value, place);
}

void TFormReader::ReadSet(TPersistent& object, const TPropertyInfo& property) {
  const std::size_t place = fScanner.Take().Offset;
  std::int64_t bits = 0;
  while (!fScanner.IsSymbol(']')) {
    const TPropertyValue element = OrdinalValue(property.EnumNames, fScanner.Next());
    if (const auto* ordinal = std::get_if<std::int64_t>(&element)) {
      bits |= std::int64_t{1} << *ordinal;
      fScanner.Take();
    } else {
      RefuseNext(object, property);
    }
    if (!fScanner.IsSymbol(']')) ExpectSymbol(',');
  }
  fScanner.Take();
  Set(object, property, bits, place);
}

// A reference or an event: what it names may stand further down.
void TFormReader::ReadName(TPersistent& object, const TPropertyInfo& property) {
  if (fScanner.Next().Kind != tkIdentifier) return RefuseNext(object, property);
  const std::size_t place = fScanner.Next().Offset;
  std::string target = fScanner.Take().Text;
  const bool isEvent = property.Kind == TPropertyKind::pkEvent;
  if (SameText(target, "nil")) {
    const TPropertyValue nobody = isEvent ? *property.Default : static_cast<TPersistent*>(nullptr);
    return Set(object, property, nobody, place);
  }
  (isEvent ? fEvents : fReferences).push_back({&object, &property, std::move(target), place});
}

void TFormReader::ReadPart(TPersistent& object, const TPropertyInfo& property) {
  auto* const part = std::get<TPersistent*>(property.Get(object));
  if (auto* collection = dynamic_cast<TCollection*>(part)) return ReadCollection(*collection);
  const bool isList = dynamic_cast<TStringList*>(part) != nullptr;
  ReportValue(object, property, fScanner.Next().Offset,
              "expected " + std::string(property.Name) +
                  (isList ? ".Strings = ( ... )" : ".Property = ..."));
  SkipValue();
}

void TFormReader::ReadCollection(TCollection& collection) {
  ExpectSymbol('<');
  const TUpdate update(collection);
  collection.Clear();
  while (fScanner.IsWord("item")) {
    fScanner.Take();
    ReadProperties(*collection.Add());
    ExpectEnd("item");
  }
  ExpectSymbol('>');
}

void TFormReader::ReadStrings(TStringList& list) {
  ExpectSymbol('(');
  list.Clear();
  while (fScanner.Next().Kind == tkString) {
    const TFormToken line = fScanner.Take();
    try {
      list.Add(line.Text);
    } catch (const EStringListError& error) {
      Report(line.Offset, error.what());
    }
  }
  ExpectSymbol(')');
}

// One token, or all from an opening bracket to its end. A missing value has none to skip.
void TFormReader::SkipValue() {
  int depth = 0;
  do {
    if (depth == 0 && fScanner.IsWord("end")) return;
    const TFormToken token = fScanner.Take();
    const char symbol = token.Kind == tkSymbol ? token.Text[0] : ' ';
    if (token.Kind == tkEnd) throw fScanner.Error(token.Offset, "the text ends inside a value");
    if (symbol == '<' || symbol == '(' || symbol == '[') ++depth;
    if (symbol == '>' || symbol == ')' || symbol == ']') --depth;
  } while (depth > 0);
}

void TFormReader::Set(TPersistent& object, const TPropertyInfo& property,
                      const TPropertyValue& value, std::size_t place) {
  try {
    property.Set(object, value);
  } catch (const Exception& error) {
    return ReportValue(object, property, place, error.what());
  }
  // A setter that ignores what the form says would make another object of it, unnoticed.
  if (!SameValue(property, property.Get(object), value)) {
    ReportValue(object, property, place, "the object does not take this value");
  }
}

void TFormReader::ResolveReferences() {
  for (const TPending& pending : fReferences) {
    TPersistent* const found = Find(pending.Target);
    const auto& [object, property, target, place] = pending;
    if (found == nullptr) {
      ReportValue(*object, *property, place, "there is no component " + Quoted(target));
    } else if (!property->Accepts(*found)) {
      ReportValue(
          *object, *property, place,
          Quoted(target) + " is a " + std::string(found->ClassName()) + ", which does not fit");
    } else {
      Set(*object, *property, found, place);
    }
  }
}

// Pump, or an item in a part of it: Types.TypeNumbers[2].
TPersistent* TFormReader::Find(const std::string& target) const {
  const TStringDynArray names = Split(target, '.');
  const auto component = fByName.find(FoldCase(names.front()));
  TPersistent* found = component != fByName.end() ? component->second : nullptr;
  for (std::size_t i = 1; i < names.size() && found != nullptr; ++i) {
    const std::string_view name = names[i];
    const std::size_t bracket = std::min(name.find('['), name.size());
    found = PartOf(*found, name.substr(0, bracket));
    if (bracket < name.size()) found = ItemOf(found, name.substr(bracket + 1));
  }
  return found;
}

void TFormReader::BindEvents() {
  fForm.ForgetGone();
  for (auto& [object, property, method, place] : fEvents) {
    const auto known = fForm.fMethods.find(method);
    if (known == fForm.fMethods.end()) {
      if (fForm.fIgnoreUnknownMethods) {
        fForm.KeepUnbound(*object, *property, std::move(method));
      } else {
        ReportValue(*object, *property, place, "no method " + Quoted(method) + " is registered");
      }
    } else if (known->second.type() != std::get<std::any>(*property->Default).type()) {
      ReportValue(*object, *property, place,
                  "the method " + Quoted(method) + " takes other arguments");
    } else {
      Set(*object, *property, known->second, place);
    }
  }
}

}  // namespace OrvixModBus
