#pragma once
// uFailingMemory: the n-th call of operator new by this thread fails.

#include <cstdint>

namespace OrvixModBus {

/// The number-th allocation of the calling thread from now on fails, once; from 1.
void FailAllocation(std::uint64_t number);
/// Nothing fails any more; true when that allocation has been asked for.
bool StopFailing();

/// What a test does itself, in the middle of the library's work, neither counts nor fails.
class TOwnMemory {
 public:
  TOwnMemory();
  TOwnMemory(const TOwnMemory&) = delete;
  TOwnMemory& operator=(const TOwnMemory&) = delete;
  ~TOwnMemory();
};

}  // namespace OrvixModBus
