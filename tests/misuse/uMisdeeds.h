#pragma once
// uMisdeeds: what a handler should better not do in the middle of an event, and may.

#include <vector>

#include "uEventRows.h"

namespace OrvixModBus {

struct TMisdeed {
  const char* Name;
  void (*Do)(TPlant& plant, const TEventRow& row);
  bool Throws = false;  ///< and does so at every raise; the others act once
  /// Others on the line lose requests by it.
  bool LosesRequests = false;
};

const std::vector<TMisdeed>& Misdeeds();

}  // namespace OrvixModBus
