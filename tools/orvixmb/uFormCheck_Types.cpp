#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/rtl/uFormat.h"
#include "tools/orvixmb/uFormCheck_Parts.h"

namespace OrvixModBus {
namespace {

using TField = const TMBRegTypeStructure*;

struct TStructurFields {
  std::string Name;
  std::vector<TField> Fields;  // in the order in which a block is cut
};

// The structures of a catalogue, in the order in which they first occur.
class TStructurs {
 public:
  explicit TStructurs(const TMBRegTypeStructurs& fields) {
    for (int i = 0; i < fields.Count(); ++i) {
      const TField field = fields.Items(i);
      const auto [at, isNew] = fByName.try_emplace(field->StructurName(), fAll.size());
      if (isNew) fAll.push_back({field->StructurName(), {}});
      fAll[at->second].Fields.push_back(field);
    }
    for (TStructurFields& structur : fAll) {
      std::ranges::stable_sort(structur.Fields, [](TField l, TField r) {
        return TStructurComparer::Compare(*l, *r) < 0;
      });
    }
  }

  const std::vector<TStructurFields>& All() const { return fAll; }

  /// The fields by which a structure comes to contain itself.
  std::set<TField> Circles() const {
    enum class TState { New, Open, Done };
    std::vector<TState> states(fAll.size(), TState::New);
    struct TLevel {
      std::size_t Structur;
      std::size_t Next = 0;
    };
    std::set<TField> circles;
    for (std::size_t start = 0; start < fAll.size(); ++start) {
      if (states[start] != TState::New) continue;
      std::vector<TLevel> path{{start}};
      states[start] = TState::Open;
      while (!path.empty()) {
        TLevel& level = path.back();
        const auto& fields = fAll[level.Structur].Fields;
        if (level.Next == fields.size()) {
          states[level.Structur] = TState::Done;
          path.pop_back();
          continue;
        }
        const TField field = fields[level.Next++];
        const auto nested = NestedIn(*field);
        if (!nested) continue;
        if (states[*nested] == TState::Open) circles.insert(field);
        if (states[*nested] != TState::New) continue;
        states[*nested] = TState::Open;
        path.push_back({*nested});
      }
    }
    return circles;
  }

 private:
  std::optional<std::size_t> NestedIn(const TMBRegTypeStructure& field) const {
    if (field.RegType() != TRegType::rtStructur) return std::nullopt;
    const auto found = fByName.find(field.RegTypeName());
    return found != fByName.end() ? std::optional(found->second) : std::nullopt;
  }

  std::vector<TStructurFields> fAll;
  std::unordered_map<std::string, std::size_t> fByName;
};

int EndOf(const TMBRegTypeStructure& field) { return field.Offset() + field.Size(); }

class TStructurCheck {
 public:
  TStructurCheck(const TMBTypeInfo& catalogue, TTypeNames& types, TFormWarnings& warnings)
      : fCatalogue(catalogue), fTypes(types), fWarnings(warnings) {}

  void Run() {
    const TStructurs structurs(fCatalogue.TypeStructurs());
    const std::set<TField> circles = structurs.Circles();
    for (const TStructurFields& structur : structurs.All()) {
      for (const TField field : structur.Fields) {
        CheckType(*field);
        if (!circles.contains(field)) continue;
        Add(*field, "RegTypeName",
            Format("structure %s comes to contain itself by it, so adding its registers is refused",
                   {field->RegTypeName()}));
      }
      CheckPlaces(structur);
    }
  }

 private:
  void Add(const TMBRegTypeStructure& field, const char* property, std::string text) {
    fWarnings.Add(field.StructurName() + "." + field.Name(), property, std::move(text));
  }

  void CheckType(const TMBRegTypeStructure& field) {
    const char* const kind = TTypeNames::KindName(field.RegType());
    if (kind == nullptr || fTypes.IsKnown(fCatalogue, field.RegType(), field.RegTypeName())) return;
    Add(field, "RegTypeName",
        Format("there is no %s type %s, so %s",
               {kind, field.RegTypeName(),
                field.RegType() == TRegType::rtBin ? "decoding a block raises an exception"
                                                   : "it stays empty"}));
  }

  // A block ends with the structure's last field.
  void CheckPlaces(const TStructurFields& structur) {
    const TMBRegTypeStructure& last = *structur.Fields.back();
    const TMBRegTypeStructure* furthest = nullptr;
    for (const TField field : structur.Fields) {
      if (field->Offset() < 0) {
        Add(*field, "Offset", "it begins before the structure, so decoding a block is refused");
        continue;
      }
      if (last.Offset() >= 0 && EndOf(*field) > EndOf(last)) {
        Add(*field, "Size",
            Format("it ends behind %s, the last field, so decoding a block is refused",
                   {last.Name()}));
      }
      if (furthest != nullptr && field->Offset() < EndOf(*furthest) && field->Size() > 0) {
        Add(*field, "Offset",
            Format("it begins before %s ends, so the two share bytes", {furthest->Name()}));
      }
      if (furthest == nullptr || EndOf(*field) > EndOf(*furthest)) furthest = field;
    }
  }

  const TMBTypeInfo& fCatalogue;
  TTypeNames& fTypes;
  TFormWarnings& fWarnings;
};

}  // namespace

const char* TTypeNames::KindName(TRegType type) {
  switch (type) {
    case TRegType::rtList:
      return "list";
    case TRegType::rtBin:
      return "bit";
    case TRegType::rtNum:
      return "number";
    case TRegType::rtStructur:
      return "structure";
    case TRegType::rtNone:
    case TRegType::rtStr:
    case TRegType::rtCollection:
      break;
  }
  return nullptr;
}

bool TTypeNames::IsKnown(const TMBTypeInfo& catalogue, TRegType type, const std::string& name) {
  switch (type) {
    case TRegType::rtList:
      return catalogue.TypeLists().GetItemByName(name) != nullptr;
    case TRegType::rtBin:
      return catalogue.TypeBins().GetItemByName(name) != nullptr;
    case TRegType::rtNum:
      return catalogue.TypeNumbers().GetItemByName(name) != nullptr;
    default:
      break;
  }
  const auto [names, isNew] = fStructurs.try_emplace(&catalogue);
  const TMBRegTypeStructurs& fields = catalogue.TypeStructurs();
  for (int i = 0; isNew && i < fields.Count(); ++i) {
    names->second.insert(fields.Items(i)->StructurName());
  }
  return names->second.contains(name);
}

void CheckCatalogue(const TMBTypeInfo& catalogue, TTypeNames& types, TFormWarnings& warnings) {
  for (int i = 0; i < catalogue.TypeNumbers().Count(); ++i) {
    const TMBRegTypeNumber& number = *catalogue.TypeNumbers().Items(i);
    if (number.Multiplier() != 0) continue;
    warnings.Add(number.Name(), "Multiplier",
                 "it is 0, so every value reads as 0 and writing raises EZeroDivide");
  }
  TStructurCheck(catalogue, types, warnings).Run();
}

}  // namespace OrvixModBus
