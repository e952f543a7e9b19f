#pragma once
// data: the project's copy of the golden vectors, for tests.

#include <string>
#include <vector>

#include "json.h"

namespace OrvixModBus::Vectors {

/// The vectors of all files of the project whose sources are in that folder, in order.
std::vector<Json> LoadAllVectors(const std::string& sourceFolder);

}  // namespace OrvixModBus::Vectors
