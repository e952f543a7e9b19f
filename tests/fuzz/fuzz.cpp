#include "tests/fuzz/fuzz.h"

#include <cstdio>
#include <cstdlib>

namespace OrvixModBus {

void Require(bool condition, const char* text) {
  if (condition) return;
  std::fprintf(stderr, "fuzz: it does not hold that %s\n", text);
  std::abort();
}

}  // namespace OrvixModBus

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The bytes are text, which may alias.
  OrvixModBus::FuzzOne({reinterpret_cast<const char*>(data), size});
  return 0;
}
