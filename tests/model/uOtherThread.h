#pragma once
// uOtherThread: runs an action on a thread of its own, for what is refused there.

#include <exception>
#include <thread>

namespace OrvixModBus {

/// Runs action on another thread, waits for its end and throws here what it threw there.
template <class TAction>
void OnAnotherThread(TAction action) {
  std::exception_ptr error;
  std::thread other([&] {
    try {
      action();
    } catch (...) {
      error = std::current_exception();
    }
  });
  other.join();
  if (error) std::rethrow_exception(error);
}

}  // namespace OrvixModBus
