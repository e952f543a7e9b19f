#pragma once
// uSystemLoop: the default loop - sleeps in the kernel until something is due.

#include <cstdint>
#include <deque>
#include <vector>

#include "platform/loop/uLoop.h"

namespace OrvixModBus {

/// A loop on the operating system's own wait call, one call per turn that has nothing to do at
/// once. Timers are exact to the kernel's limit, not to whole milliseconds.
class TSystemLoop : public TLoop {
 public:
  TSystemLoop();
  ~TSystemLoop() override;

  bool Post(TAction action) override;
  std::unique_ptr<TLoopTimer> NewTimer(TAction action) override;
  std::unique_ptr<TLoopWatch> NewWatch(THandle handle,
                                       std::function<void(TReadiness)> action) override;
  bool RunOnce(TClock::time_point limit) override;
  void Close() override;

  /// How many times the loop has waited in the kernel: tests show by this that nothing polls.
  std::uint64_t WaitCount() const;

 private:
  class TTimer;
  class TWatch;
  class TWatchWalk;
  struct TState;

  void DropPosted();
  bool RunPosted();
  bool RunTimers(TClock::time_point now);
  bool RunWatches(std::chrono::nanoseconds patience);
  std::chrono::nanoseconds TimeToSleep(TClock::time_point limit, TClock::time_point now) const;

  std::shared_ptr<TState> fState;
};

}  // namespace OrvixModBus
