#pragma once
// uFirstError: steps that must all run, whatever one of them throws.

#include <exception>
#include <utility>

namespace OrvixModBus {

/// Runs steps that must all happen even if an application's handler throws in one of them:
/// counters and queues stay whole, and the first error still reaches the caller.
class TFirstError {
 public:
  /// Runs step; an exception is kept when it is the first one.
  template <class TStep>
  void Run(TStep&& step) {
    try {
      std::forward<TStep>(step)();
    } catch (...) {
      if (!fError) fError = std::current_exception();
    }
  }

  /// Throws the first exception of the steps, if there was one.
  void Raise() {
    if (fError) std::rethrow_exception(std::exchange(fError, nullptr));
  }

 private:
  std::exception_ptr fError;
};

}  // namespace OrvixModBus
