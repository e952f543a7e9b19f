#pragma once
// letters_setup: the components of a set-up, in the order in which they are created.

#include <vector>

#include "letters_scenario.h"

namespace OrvixModBus::Vectors {

/// One key of a set-up.
struct TSetupPart {
  const char* Key;
  const char* Default;  ///< as JSON, when the key is missing
  void (*Create)(TScenario&, const TField& value);
};

void AddAutoFills(TScenario& scenario, const TField& list);

/// In the order of creation.
const std::vector<TSetupPart>& SetupParts();

}  // namespace OrvixModBus::Vectors
