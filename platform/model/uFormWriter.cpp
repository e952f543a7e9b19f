#include "platform/model/uFormWriter.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <utility>

#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kPieceLength = 64;  // characters of a text on one line
constexpr std::size_t kBytesInLine = 32;  // of binary data

// Is target a part of owner, which makes it anew by itself?
bool IsPartOf(const TPersistent* target, const TPersistent& owner) {
  while (target != nullptr && target != &owner) target = target->GetOwner();
  return target != nullptr;
}

// The shortest digits that read back as the same number.
std::string FloatText(double value) {
  if (std::isnan(value)) return "NAN";
  if (std::isinf(value)) return value < 0 ? "-INF" : "INF";
  char digits[32];
  return {digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr};
}

std::string SetText(const TPropertyInfo& property, std::int64_t bits) {
  std::string text;
  for (std::size_t i = 0; i < property.EnumNames.size(); ++i) {
    if ((bits >> i & 1) == 0) continue;
    if (!text.empty()) text += ", ";
    text += property.EnumNames[i];
  }
  return "[" + text + "]";
}

std::string OrdinalText(const TPropertyInfo& property, std::int64_t value) {
  switch (property.Kind) {
    case TPropertyKind::pkBoolean:
      return value != 0 ? "True" : "False";
    case TPropertyKind::pkEnumeration:
      return std::string(property.EnumNames[static_cast<std::size_t>(value)]);
    case TPropertyKind::pkSet:
      return SetText(property, value);
    default:
      return IntToStr(value);
  }
}

std::string HexText(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) text += IntToHex(byte, 2);
  return text;
}

// Builds one piece of a text: printable ASCII in quotes, all else by its UTF-16 numbers.
class TPiece {
 public:
  void Add(char32_t code) {
    const bool printable = code >= ' ' && code < 0x7F;
    if (printable != fInQuotes) Turn();
    if (printable) {
      fText.append(code == '\'' ? 2 : 1, static_cast<char>(code));
    } else if (code < 0x10000) {
      AddNumber(code);
    } else {
      AddNumber(0xD800 + ((code - 0x10000) >> 10));
      AddNumber(0xDC00 + ((code - 0x10000) & 0x3FF));
    }
    ++fLength;
  }
  std::size_t Length() const { return fLength; }
  std::string Finish() {
    if (fText.empty()) Turn();
    if (fInQuotes) Turn();
    return std::exchange(*this, TPiece()).fText;
  }

 private:
  void Turn() {
    fText += '\'';
    fInQuotes = !fInQuotes;
  }
  void AddNumber(char32_t code) { fText += "#" + IntToStr(static_cast<std::int64_t>(code)); }

  std::string fText;
  std::size_t fLength = 0;  // in characters
  bool fInQuotes = false;
};

// The name of the part of object that is this one; empty when it is none of its parts.
std::string PartName(const TPersistent& object, const TPersistent& part) {
  for (const TPropertyInfo* property : object.ClassInfo().Properties()) {
    if (property->Kind == TPropertyKind::pkObject &&
        std::get<TPersistent*>(property->Get(object)) == &part) {
      return std::string(property->Name);
    }
  }
  return {};
}

}  // namespace

std::string TFormWriter::Write() {
  if (fRoot.FindComponent(fRoot.Name()) != nullptr) {
    throw Exception("The root and a component that it owns are both named " + fRoot.Name());
  }
  WriteComponent(fRoot);
  return std::move(fText);
}

void TFormWriter::Line(std::string_view text) {
  fText += fIndent;
  fText += text;
  fText += '\n';
}

void TFormWriter::Begin(const std::string& text) {
  Line(text);
  fIndent += "  ";
}

void TFormWriter::Refuse(const std::string& name, const std::string& reason) const {
  const bool named = !fWritten->Name().empty();
  const std::string who = named ? fWritten->Name() : std::string(fWritten->ClassName());
  throw Exception(who + "." + name + ": " + reason);
}

void TFormWriter::WriteComponent(const TComponent& component) {
  fWritten = &component;
  const std::string name = component.Name().empty() ? "" : component.Name() + ": ";
  Begin("object " + name + std::string(component.ClassName()));
  WriteProperties(component, "");
  if (&component == &fRoot) WriteOwned();
  End();
  Line("end");
}

// What has no name the root has made for itself, and makes anew.
void TFormWriter::WriteOwned() {
  for (int i = 0; i < fRoot.ComponentCount(); ++i) {
    const TComponent& owned = *fRoot.Components(i);
    if (!owned.Name().empty()) WriteComponent(owned);
  }
}

void TFormWriter::WriteProperties(const TPersistent& object, const std::string& path) {
  auto [known, isNew] = fProperties.try_emplace(&object.ClassInfo());
  if (isNew) known->second = object.ClassInfo().Properties();
  for (const TPropertyInfo* property : known->second) {
    WriteProperty(object, *property, path + std::string(property->Name));
  }
}

void TFormWriter::WriteProperty(const TPersistent& object, const TPropertyInfo& property,
                                const std::string& name) {
  const TPropertyValue value = property.Get(object);
  if (property.Kind == TPropertyKind::pkObject) {
    WritePart(*std::get<TPersistent*>(value), name);
  } else if (property.Kind == TPropertyKind::pkEvent) {
    WriteEvent(object, property, std::get<std::any>(value), name);
  } else if (!property.Default || !SameValue(property, *property.Default, value)) {
    WriteValue(object, property, value, name);
  }
}

void TFormWriter::WriteValue(const TPersistent& object, const TPropertyInfo& property,
                             const TPropertyValue& value, const std::string& name) {
  switch (property.Kind) {
    case TPropertyKind::pkReference:
      return WriteReference(object, std::get<TPersistent*>(value), name);
    case TPropertyKind::pkString:
      return WriteString(std::get<std::string>(value), name);
    case TPropertyKind::pkBinary:
      return WriteBinary(std::get<Bytes>(value), name);
    case TPropertyKind::pkFloat:
      return Line(name + " = " + FloatText(std::get<double>(value)));
    default:
      Line(name + " = " + OrdinalText(property, std::get<std::int64_t>(value)));
  }
}

void TFormWriter::WritePart(const TPersistent& part, const std::string& name) {
  WriteProperties(part, name + ".");
  if (const auto* collection = dynamic_cast<const TCollection*>(&part)) {
    if (collection->Count() > 0) WriteCollection(*collection, name);
  } else if (const auto* list = dynamic_cast<const TStringList*>(&part)) {
    if (list->Count() > 0) WriteStrings(*list, name);
  }
}

void TFormWriter::WriteCollection(const TCollection& collection, const std::string& name) {
  Begin(name + " = <");
  for (int i = 0; i < collection.Count(); ++i) {
    Begin("item");
    WriteProperties(*collection.Items(i), "");
    End();
    Line(i + 1 < collection.Count() ? "end" : "end>");
  }
  End();
}

void TFormWriter::WriteStrings(const TStringList& list, const std::string& name) {
  Begin(name + ".Strings = (");
  for (int i = 0; i < list.Count(); ++i) {
    TStringDynArray pieces = PiecesOf(list.Strings(i), name);
    if (i + 1 == list.Count()) pieces.back() += ")";
    for (const std::string& piece : pieces) Line(piece);
  }
  End();
}

void TFormWriter::WriteString(const std::string& text, const std::string& name) {
  const TStringDynArray pieces = PiecesOf(text, name);
  if (pieces.size() == 1) return Line(name + " = " + pieces[0]);
  Begin(name + " =");
  for (const std::string& piece : pieces) Line(piece);
  End();
}

// The text's pieces, of which each has a line and all but the last are joined to the next by "+".
TStringDynArray TFormWriter::PiecesOf(const std::string& text, const std::string& name) const {
  TStringDynArray pieces;
  TPiece piece;
  for (std::string_view rest = text; !rest.empty();) {
    const TUtf8Char character = Utf8First(rest);
    if (!character.wellFormed) Refuse(name, "the text is no UTF-8");
    if (piece.Length() == kPieceLength) pieces.push_back(piece.Finish() + " +");
    piece.Add(character.code);
    rest.remove_prefix(character.length);
  }
  pieces.push_back(piece.Finish());
  return pieces;
}

void TFormWriter::WriteBinary(const Bytes& bytes, const std::string& name) {
  if (bytes.size() <= kBytesInLine) return Line(name + " = {" + HexText(bytes) + "}");
  Begin(name + " = {");
  for (std::size_t i = 0; i < bytes.size(); i += kBytesInLine) {
    const std::size_t count = std::min(kBytesInLine, bytes.size() - i);
    const std::string close = i + count == bytes.size() ? "}" : "";
    Line(HexText(std::span(bytes).subspan(i, count)) + close);
  }
  End();
}

void TFormWriter::WriteReference(const TPersistent& object, const TPersistent* target,
                                 const std::string& name) {
  if (target == nullptr) return Line(name + " = nil");
  if (target != &object && IsPartOf(target, object)) return;
  const std::string text = ReferenceTo(*target);
  if (text.empty()) Refuse(name, "what it refers to has no name in this form");
  Line(name + " = " + text);
}

// Pump, or Types.TypeNumbers[2] for an item; empty when the form can't name it.
std::string TFormWriter::ReferenceTo(const TPersistent& target) const {
  if (const auto* component = dynamic_cast<const TComponent*>(&target)) {
    const bool inForm = component == &fRoot || component->Owner() == &fRoot;
    return inForm ? component->Name() : "";
  }
  const auto* const item = dynamic_cast<const TCollectionItem*>(&target);
  const TCollection* const collection = item != nullptr ? item->Collection() : nullptr;
  const TPersistent* const owner = collection != nullptr ? collection->GetOwner() : nullptr;
  const auto* const component = dynamic_cast<const TComponent*>(owner);
  if (component == nullptr) return {};
  const std::string head = ReferenceTo(*component), part = PartName(*component, *collection);
  if (head.empty() || part.empty()) return {};
  return head + "." + part + "[" + IntToStr(item->Index()) + "]";
}

void TFormWriter::WriteEvent(const TPersistent& object, const TPropertyInfo& event,
                             const std::any& handler, const std::string& name) {
  if (event.SameHandler(handler, std::get<std::any>(*event.Default))) {
    const auto unbound = fForm.fUnbound.find({&object, &event});
    if (unbound == fForm.fUnbound.end() || unbound->second.Object.Get() != &object) return;
    return Line(name + " = " + unbound->second.Method);
  }
  const auto method = std::ranges::find_if(
      fForm.fMethods, [&](const auto& known) { return event.SameHandler(known.second, handler); });
  if (method == fForm.fMethods.end()) Refuse(name, "its handler is not registered by a name");
  Line(name + " = " + method->first);
}

}  // namespace OrvixModBus
