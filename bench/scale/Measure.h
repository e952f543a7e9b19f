#pragma once
// Measure: times an operation on registers by turns with the least that does the same.

#include <functional>
#include <string>

namespace OrvixModBus {

/// What is measured: an operation on a letter of some size. Preparing is not measured.
struct TWork {
  std::function<void()> Run;
  std::function<void()> Limit;  ///< the same by the standard library's containers
  std::function<void()> Prepare = {};
  std::function<void()> PrepareLimit = {};
  bool TellsMemory = false;  ///< reports what Run leaves on the heap (bytes_per_register)
};

/// Makes the work for a letter of count registers.
using TMakeWork = std::function<TWork(int count)>;

/// Registers benchmarks named Scale/<operation>/<count>, which report nanoseconds per register
/// (per_register), how many times the limit's they are (times_limit) and, where the smallest size
/// has been measured before, how many times that one's (times_smallest).
void Register(const std::string& operation, const TMakeWork& make);

/// From now on the limits are left out, for a profile.
void MeasureAlone();

// Each file's operations.
void RegisterLetterOperations();
void RegisterFormOperations();
void RegisterToolOperations();

}  // namespace OrvixModBus
