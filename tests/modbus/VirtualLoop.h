#pragma once
// VirtualLoop: a loop with a clock of its own that jumps to whatever is due next.

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <vector>

#include "platform/loop/uLoop.h"

namespace OrvixModBus {

/// What lies outside the loop: handles that get ready at times of their own.
class TOutside {
 public:
  virtual ~TOutside() = default;
  virtual TReadiness Ready(THandle handle) = 0;
  /// When a handle gets ready next, after now; max() for never.
  virtual TLoop::TClock::time_point NextChange() = 0;
};

class TVirtualLoop final : public TLoop {
 public:
  using TTime = TClock::time_point;

  TVirtualLoop() { fFormer = SetCurrent(this); }
  ~TVirtualLoop() override { SetCurrent(fFormer); }

  void SetOutside(TOutside* outside) { fOutside = outside; }
  TTime Now() const override { return fNow; }
  void Skip(TClock::duration time) { fNow += time; }
  /// How often the loop slept and was woken by something to do.
  int Wakes() const { return fWakes; }
  std::size_t WatchCount() const { return fWatches.size(); }

  bool Post(TAction action) override {
    if (fClosed) return false;
    fPosted.push_back(std::move(action));
    return true;
  }

  std::unique_ptr<TLoopTimer> NewTimer(TAction action) override {
    return std::make_unique<TTimer>(*this, std::move(action));
  }

  std::unique_ptr<TLoopWatch> NewWatch(THandle handle,
                                       std::function<void(TReadiness)> action) override {
    return std::make_unique<TWatch>(*this, handle, std::move(action));
  }

  bool RunOnce(TTime limit) override {
    bool slept = false;
    for (;;) {
      if (ActOnce()) {
        if (slept) ++fWakes;
        if (++fTurnsInPlace > 100'000)
          throw std::logic_error("the loop turns and time stands still");
        return true;
      }
      TTime next = fOutside != nullptr ? fOutside->NextChange() : TTime::max();
      for (const TTimer* timer : fTimers) next = std::min(next, timer->fDue);
      if (next > limit || next == TTime::max()) {
        if (limit != TTime::max()) fNow = std::max(fNow, limit);
        return false;
      }
      slept = slept || next > fNow;
      if (next > fNow) fTurnsInPlace = 0;
      fNow = std::max(fNow, next);
    }
  }

  void Close() override {
    fClosed = true;
    fPosted.clear();
  }

 private:
  class TTimer final : public TLoopTimer {
   public:
    TTimer(TVirtualLoop& loop, TAction action) : fLoop(loop), fAction(std::move(action)) {
      fLoop.fTimers.push_back(this);
    }
    ~TTimer() override { std::erase(fLoop.fTimers, this); }
    void Start(TTime due) override { fDue = due; }
    void Stop() override { fDue = TTime::max(); }

    TVirtualLoop& fLoop;
    TAction fAction;
    TTime fDue = TTime::max();
  };

  class TWatch final : public TLoopWatch {
   public:
    TWatch(TVirtualLoop& loop, THandle handle, std::function<void(TReadiness)> action)
        : fLoop(loop), fHandle(handle), fAction(std::move(action)) {
      fLoop.fWatches.push_back(this);
    }
    ~TWatch() override { std::erase(fLoop.fWatches, this); }
    void Want(TReadiness readiness) override { fWant = readiness; }

    TVirtualLoop& fLoop;
    THandle fHandle;
    std::function<void(TReadiness)> fAction;
    TReadiness fWant = TReadiness::rdNone;
  };

  bool ActOnce() {
    if (!fPosted.empty()) {
      const TAction action = std::move(fPosted.front());
      fPosted.pop_front();
      Act(action);
      return true;
    }
    const auto timer = std::ranges::min_element(fTimers, {}, &TTimer::fDue);
    if (timer != fTimers.end() && (*timer)->fDue <= fNow) {
      (*timer)->Stop();
      const TAction action = (*timer)->fAction;
      Act(action);
      return true;
    }
    if (fOutside == nullptr) return false;
    for (const TWatch* watch : fWatches) {
      const TReadiness ready = fOutside->Ready(watch->fHandle) & watch->fWant;
      if (ready == TReadiness::rdNone) continue;
      const auto action = watch->fAction;
      Act([&] { action(ready); });
      return true;
    }
    return false;
  }

  TLoop* fFormer = nullptr;
  TOutside* fOutside = nullptr;
  TTime fNow{std::chrono::hours(1)};
  std::deque<TAction> fPosted;
  std::vector<TTimer*> fTimers;
  std::vector<TWatch*> fWatches;
  int fWakes = 0;
  int fTurnsInPlace = 0;
  bool fClosed = false;
};

}  // namespace OrvixModBus
