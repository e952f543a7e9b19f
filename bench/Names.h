#pragma once
// Names: register names as plants have them, all different.

#include <cstdio>
#include <string>

namespace OrvixModBus {

inline std::string NameOf(int index) {
  char name[32];
  std::snprintf(name, sizeof name, "Station%02d.Value%06d", index % 17, index);
  return name;
}

}  // namespace OrvixModBus
