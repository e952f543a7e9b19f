#pragma once
// uThreadMark: remembers a thread and tells whether the caller runs on it.

namespace OrvixModBus {

/// The thread on which this was made. Costs one comparison to check.
class TThreadMark {
 public:
  bool IsHere() const { return fThread == Here(); }

 private:
  static const void* Here() {
    thread_local const char place = 0;
    return &place;
  }

  const void* fThread = Here();
};

}  // namespace OrvixModBus
