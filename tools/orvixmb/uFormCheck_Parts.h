#pragma once
// uFormCheck_Parts: what the parts of the form check share.

#include <map>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "tools/orvixmb/uFormCheck.h"
#include "uMBLetters.h"

namespace OrvixModBus {

/// The name of a component, or its class where it has none.
std::string NameOf(const TComponent& component);

/// The warnings for one component.
class TFormWarnings {
 public:
  TFormWarnings(std::vector<TFormWarning>& list, const TComponent& component)
      : fList(list), fComponent(NameOf(component)) {}

  void Add(std::string item, std::string property, std::string text) {
    fList.push_back({fComponent, std::move(item), std::move(property), std::move(text)});
  }

 private:
  std::vector<TFormWarning>& fList;
  std::string fComponent;
};

/// Looks types up. Names of structures, which a catalogue would search field by field, are kept.
class TTypeNames {
 public:
  /// "list", "bit", "number" or "structure"; nil for a kind that needs no description.
  static const char* KindName(TRegType type);
  /// Has the catalogue a description of that kind and name? Not for other kinds.
  bool IsKnown(const TMBTypeInfo& catalogue, TRegType type, const std::string& name);

 private:
  std::map<const TMBTypeInfo*, std::unordered_set<std::string>> fStructurs;
};

void CheckLetter(const TMBLetter& letter, TTypeNames& types, TFormWarnings& warnings);
void CheckCatalogue(const TMBTypeInfo& catalogue, TTypeNames& types, TFormWarnings& warnings);

}  // namespace OrvixModBus
