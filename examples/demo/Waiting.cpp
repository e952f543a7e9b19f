#include "Waiting.h"

#include <chrono>
#include <cstdio>

#include "platform/loop/uLoop.h"

namespace OrvixModBus {

bool AllAnswered(const TMBClient& client, const char* what) {
  constexpr auto kLimit = std::chrono::minutes(1);
  const auto answered = [&] { return client.CountPendingTransactions() == 0; };
  if (TLoop::Current().RunUntil(answered, kLimit)) return true;
  std::fprintf(stderr, "%s: no end after a minute.\n", what);
  return false;
}

}  // namespace OrvixModBus
