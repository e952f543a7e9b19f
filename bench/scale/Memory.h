#pragma once
// Memory: what registers take of the heap.

#include <malloc.h>

#include <cstddef>

namespace OrvixModBus {

/// What the program has of the heap, large blocks of their own included.
inline std::size_t AllocatedBytes() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

inline double BytesPerRegister(std::size_t before, int count) {
  return static_cast<double>(AllocatedBytes() - before) / count;
}

/// Prints what one register of a letter takes, piece by piece, as JSON: in bytes on the heap, for a
/// letter that is built, read, written and captioned.
void PrintMemory();

}  // namespace OrvixModBus
