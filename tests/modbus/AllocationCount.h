#pragma once
// AllocationCount: how often the program has asked for memory.

#include <cstdint>

namespace OrvixModBus {

/// Calls of operator new so far, in the program that this is linked into.
std::uint64_t AllocationCount();

}  // namespace OrvixModBus
