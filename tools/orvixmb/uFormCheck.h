#pragma once
// uFormCheck: warns of what would surprise in a tree of components that is valid.

#include <string>
#include <vector>

#include "platform/model/uComponent.h"

namespace OrvixModBus {

/// One thing that would surprise.
struct TFormWarning {
  std::string Component;  ///< its name; its class where it has none
  std::string Item;       ///< the register or the type ("Structure.Field" of a field); may be empty
  std::string Property;   ///< where to change it
  std::string Text;       ///< what is, and what happens because of it
};

/// The warnings for root and all that it owns, however deep: letters, catalogues, clients,
/// connections and custom functions, in order of the tree; those of one letter register by
/// register, then request by request. Costs n log n.
std::vector<TFormWarning> CheckForm(const TComponent& root);

/// "Component.Item.Property: text", without what is empty.
std::string WarningText(const TFormWarning& warning);

}  // namespace OrvixModBus
