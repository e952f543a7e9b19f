#pragma once
// letters: vectors that play a scenario on client, letters and tools over a recorded transport.

#include <optional>

#include "json.h"

namespace OrvixModBus::Vectors {

/// Plays the scenario and judges its effects; nothing when it passes.
std::optional<TDifference> JudgeLetters(const Json& vector);

}  // namespace OrvixModBus::Vectors
