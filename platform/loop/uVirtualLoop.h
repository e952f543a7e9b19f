#pragma once
// uVirtualLoop: a loop with a clock of its own, which jumps to whatever is due next.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "platform/loop/uLoop.h"

namespace OrvixModBus {

/// Something in memory that a virtual loop watches in place of a handle of the system.
class TVirtualHandle {
 public:
  virtual ~TVirtualHandle() = default;
  virtual TReadiness Ready() const = 0;
  /// When it gets ready by itself next, after now; max() for never.
  virtual TLoop::TClock::time_point NextChange() const { return TLoop::TClock::time_point::max(); }
};

/// Runs what waits for hours in no time, the same way every time: tests of an application need no
/// sleep and no luck, recordings are replayed as they were. Current from its construction to its
/// destruction. Sees attached handles only, never those of the system.
class TVirtualLoop final : public TLoop {
 public:
  using TTime = TClock::time_point;

  TVirtualLoop();
  ~TVirtualLoop() override;

  /// Returns the handle to be watched. What is attached must be detached before it goes.
  THandle Attach(const TVirtualHandle& outside);
  void Detach(THandle handle) { fOutside.erase(handle); }

  TTime Now() const override { return fNow; }
  /// Time passes in which nothing is done.
  void Skip(TClock::duration time) { fNow += time; }
  /// How often the loop slept and was woken by something to do.
  int Wakes() const { return fWakes; }
  std::size_t WatchCount() const { return fWatches.size(); }

  bool Post(TAction action) override;
  std::unique_ptr<TLoopTimer> NewTimer(TAction action) override;
  std::unique_ptr<TLoopWatch> NewWatch(THandle handle,
                                       std::function<void(TReadiness)> action) override;
  /// std::logic_error after 100,000 turns in which no time has passed: a real loop would spin.
  bool RunOnce(TTime limit) override;
  void Close() override;

 private:
  class TTimer;
  class TWatch;

  bool ActOnce();
  bool ActOnTimer();
  bool ActOnWatch();
  TReadiness Ready(const TWatch& watch) const;
  TTime NextChange() const;
  void CountTurn();

  TLoop* fFormer;
  TTime fNow{std::chrono::hours(1)};
  std::deque<TAction> fPosted;
  std::vector<TTimer*> fTimers;
  std::vector<TWatch*> fWatches;
  std::map<THandle, const TVirtualHandle*> fOutside;
  std::intptr_t fLastHandle = 0;
  int fWakes = 0;
  int fTurnsInPlace = 0;
  bool fClosed = false;
};

}  // namespace OrvixModBus
