#pragma once
// uOwnedHandle: a handle of the system that closes with its owner.

#include <string>
#include <utility>

#include "platform/loop/uLoop.h"

namespace OrvixModBus {

class TOwnedHandle {
 public:
  /// Takes over what a system call has just returned; throws Exception with what and the system's
  /// reason when that is a failure.
  TOwnedHandle(THandle handle, const std::string& what);
  TOwnedHandle(TOwnedHandle&& other) noexcept : fHandle(std::exchange(other.fHandle, kNone)) {}
  TOwnedHandle& operator=(TOwnedHandle&&) = delete;
  ~TOwnedHandle();

  THandle Get() const { return fHandle; }

 private:
  static constexpr THandle kNone = -1;
  THandle fHandle;
};

/// Throws Exception: what, and the reason of the last failed system call.
[[noreturn]] void ThrowSystemError(const std::string& what);

/// A pipe through which one thread, or a signal handler, wakes the loop of another.
class TWakePipe {
 public:
  TWakePipe();
  /// Makes ReadEnd readable for good. Safe in signal handlers.
  void Wake() const;
  THandle ReadEnd() const { return fReadEnd.Get(); }

 private:
  explicit TWakePipe(const std::pair<THandle, THandle>& ends);

  TOwnedHandle fReadEnd, fWriteEnd;
};

}  // namespace OrvixModBus
