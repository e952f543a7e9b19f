#pragma once
// uEventRows: every event of the library - who listens, what makes it happen, who is its sender.

#include <functional>
#include <string>
#include <vector>

#include "uPlant.h"

namespace OrvixModBus {

using TAct = std::function<void()>;

/// An event. What follows a blank in its name tells apart ways in which it happens.
struct TEventRow {
  std::string Class, Event, Way;
  /// Has act done at every raise; returns what takes the handler away again.
  TAct (*Hear)(TPlant& plant, const TAct& act);
  /// Makes the event happen, at once or in a later turn of the loop.
  void (*Fire)(TPlant& plant);
  void (*DestroySender)(TPlant& plant);
  void (*DestroyOwner)(TPlant& plant);
  /// Others on the line lose requests by what makes this event happen.
  bool LosesRequests = false;
  /// Hear comes after the letters have entered the lists of their clients.
  bool HearsLast = false;
  bool Emulated = false;
};

const std::vector<TEventRow>& EventRows();

}  // namespace OrvixModBus
