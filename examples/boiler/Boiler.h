#pragma once
// Boiler: a small boiler plant as a master sees it - line, client, types, registers, recordings.

#include "platform/model/uComponent.h"

namespace OrvixModBus {

/// Gives root the components that boiler.form describes, with the same names and properties.
void BuildBoiler(TComponent& root);

}  // namespace OrvixModBus
