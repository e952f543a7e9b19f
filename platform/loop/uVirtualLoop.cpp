#include "platform/loop/uVirtualLoop.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace OrvixModBus {
namespace {

constexpr int kMostTurnsInPlace = 100'000;

}  // namespace

// Timers and watches may outlive the loop: then they do nothing.
class TVirtualLoop::TTimer final : public TLoopTimer {
 public:
  TTimer(TVirtualLoop& loop, TAction action) : fLoop(&loop), Action(std::move(action)) {
    loop.fTimers.push_back(this);
  }
  ~TTimer() override {
    if (fLoop) std::erase(fLoop->fTimers, this);
  }
  void Start(TTime due) override { Due = due; }
  void Stop() override { Due = TTime::max(); }

 private:
  TRef<TVirtualLoop> fLoop;

 public:
  const TAction Action;
  TTime Due = TTime::max();
};

class TVirtualLoop::TWatch final : public TLoopWatch {
 public:
  TWatch(TVirtualLoop& loop, THandle handle, std::function<void(TReadiness)> action)
      : fLoop(&loop), Action(std::move(action)), Handle(handle) {
    loop.fWatches.push_back(this);
  }
  ~TWatch() override {
    if (fLoop) std::erase(fLoop->fWatches, this);
  }
  void Want(TReadiness readiness) override { Wanted = readiness; }

 private:
  TRef<TVirtualLoop> fLoop;

 public:
  const std::function<void(TReadiness)> Action;
  const THandle Handle;
  TReadiness Wanted = TReadiness::rdNone;
};

TVirtualLoop::TVirtualLoop() : fFormer(SetCurrent(this)) {}

TVirtualLoop::~TVirtualLoop() {
  ForgetReferences();
  SetCurrent(fFormer);
}

THandle TVirtualLoop::Attach(const TVirtualHandle& outside) {
  const auto handle = THandle(++fLastHandle);
  fOutside.emplace(handle, &outside);
  return handle;
}

bool TVirtualLoop::Post(TAction action) {
  CheckThread();
  if (fClosed) return false;
  fPosted.push_back(std::move(action));
  return true;
}

std::unique_ptr<TLoopTimer> TVirtualLoop::NewTimer(TAction action) {
  CheckThread();
  return std::make_unique<TTimer>(*this, std::move(action));
}

std::unique_ptr<TLoopWatch> TVirtualLoop::NewWatch(THandle handle,
                                                   std::function<void(TReadiness)> action) {
  CheckThread();
  return std::make_unique<TWatch>(*this, handle, std::move(action));
}

bool TVirtualLoop::RunOnce(TTime limit) {
  CheckThread();
  for (bool slept = false;; slept = true) {
    if (ActOnce()) {
      if (slept) ++fWakes;
      return true;
    }
    fTurnsInPlace = 0;
    const TTime next = NextChange();
    if (next > limit || next == TTime::max()) {
      if (limit != TTime::max()) fNow = std::max(fNow, limit);
      return false;
    }
    fNow = std::max(fNow, next);
  }
}

bool TVirtualLoop::ActOnce() {
  CountTurn();
  if (fPosted.empty()) return ActOnTimer() || ActOnWatch();
  const TAction action = std::move(fPosted.front());
  fPosted.pop_front();
  Act(action);
  return true;
}

bool TVirtualLoop::ActOnTimer() {
  const auto timer = std::ranges::min_element(fTimers, {}, &TTimer::Due);
  if (timer == fTimers.end() || (*timer)->Due > fNow) return false;
  const TAction action = (*timer)->Action;  // it may destroy its timer
  (*timer)->Stop();
  Act(action);
  return true;
}

bool TVirtualLoop::ActOnWatch() {
  for (const TWatch* watch : fWatches) {
    const TReadiness ready = Ready(*watch);
    if (ready == TReadiness::rdNone) continue;
    Act([action = watch->Action, ready] { action(ready); });
    return true;
  }
  return false;
}

TReadiness TVirtualLoop::Ready(const TWatch& watch) const {
  const auto found = fOutside.find(watch.Handle);
  return found != fOutside.end() ? found->second->Ready() & watch.Wanted : TReadiness::rdNone;
}

TVirtualLoop::TTime TVirtualLoop::NextChange() const {
  TTime next = TTime::max();
  for (const TTimer* timer : fTimers) next = std::min(next, timer->Due);
  for (const auto& [_, outside] : fOutside) next = std::min(next, outside->NextChange());
  return next;
}

void TVirtualLoop::CountTurn() {
  if (++fTurnsInPlace <= kMostTurnsInPlace) return;
  fTurnsInPlace = 0;
  throw std::logic_error("The loop turns and time stands still");
}

void TVirtualLoop::Close() {
  CheckThread();
  fClosed = true;
  fPosted.clear();
}

}  // namespace OrvixModBus
