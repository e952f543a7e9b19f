#pragma once
// uHandleWait: waits in the kernel for the readiness of handles. The only part of the loop that
// sees the operating system.

#include <chrono>
#include <span>
#include <vector>

#ifndef _WIN32
#include <poll.h>
#endif

#include "platform/loop/uLoop.h"

namespace OrvixModBus {

struct TWaitItem {
  THandle Handle;
  TReadiness Want;
  TReadiness Ready;
};

class THandleWait {
 public:
  /// Makes timed waits of this thread end as exactly as the kernel can.
  THandleWait();

  /// Waits until a handle is ready for what is wanted or timeout has passed (negative: no
  /// limit), and fills in Ready. A signal ends the wait early, with nothing ready, and so may the
  /// last millisecond of a long one.
  void Wait(std::span<TWaitItem> items, std::chrono::nanoseconds timeout);

 private:
#ifndef _WIN32
  std::vector<pollfd> fPolled;
#endif
};

}  // namespace OrvixModBus
