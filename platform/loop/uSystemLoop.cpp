#include "platform/loop/uSystemLoop.h"

#include <algorithm>
#include <utility>

#include "platform/loop/uHandleWait.h"

namespace OrvixModBus {
namespace {

// Posted actions and timers go on without asking the kernel in between, but not for ever: a
// chain of actions that post each other must not keep the handles waiting.
constexpr int kTurnsBetweenWaits = 16;

}  // namespace

// Outlives the loop as long as a timer or a watch of it does.
struct TSystemLoop::TState {
  std::deque<TAction> Posted;
  std::vector<TTimer*> Timers;   // a heap, the next one due first
  std::vector<TWatch*> Watches;  // nil where one was destroyed during a walk
  std::vector<TWaitItem> Items;
  THandleWait Wait;
  std::uint64_t Starts = 0;
  std::uint64_t WaitCount = 0;
  int TurnsWithoutWait = 0;
  int WatchWalks = 0;
  bool Closed = false;
};

class TSystemLoop::TTimer final : public TLoopTimer {
 public:
  TTimer(std::shared_ptr<TState> state, TAction action)
      : fState(std::move(state)), fAction(std::make_shared<const TAction>(std::move(action))) {}
  ~TTimer() override { TTimer::Stop(); }

  void Start(TClock::time_point due) override {
    Stop();
    fDue = due;
    fStart = fState->Starts++;
    fPlace = fState->Timers.size();
    fState->Timers.push_back(this);
    Rise();
  }

  void Stop() override {
    if (fPlace == kNowhere) return;
    auto& heap = fState->Timers;
    TTimer* const last = heap.back();
    heap.pop_back();
    const std::size_t place = std::exchange(fPlace, kNowhere);
    if (last == this) return;
    heap[place] = last;
    last->fPlace = place;
    last->Rise();
    last->Sink();
  }

  TClock::time_point Due() const { return fDue; }
  std::uint64_t StartNumber() const { return fStart; }
  std::shared_ptr<const TAction> Action() const { return fAction; }

 private:
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

  bool Before(const TTimer& other) const {
    return fDue != other.fDue ? fDue < other.fDue : fStart < other.fStart;
  }

  void SwapWith(std::size_t place) {
    auto& heap = fState->Timers;
    std::swap(heap[fPlace], heap[place]);
    heap[fPlace]->fPlace = fPlace;
    fPlace = place;
  }

  void Rise() {
    while (fPlace > 0) {
      const std::size_t parent = (fPlace - 1) / 2;
      if (!Before(*fState->Timers[parent])) return;
      SwapWith(parent);
    }
  }

  void Sink() {
    const auto& heap = fState->Timers;
    for (;;) {
      std::size_t child = 2 * fPlace + 1;
      if (child >= heap.size()) return;
      if (child + 1 < heap.size() && heap[child + 1]->Before(*heap[child])) ++child;
      if (!heap[child]->Before(*this)) return;
      SwapWith(child);
    }
  }

  std::shared_ptr<TState> fState;
  std::shared_ptr<const TAction> fAction;  // shared: the action may destroy the timer
  TClock::time_point fDue;
  std::uint64_t fStart = 0;
  std::size_t fPlace = kNowhere;
};

class TSystemLoop::TWatch final : public TLoopWatch {
 public:
  using TReadyAction = std::function<void(TReadiness)>;

  TWatch(std::shared_ptr<TState> state, THandle handle, TReadyAction action)
      : fState(std::move(state)),
        fAction(std::make_shared<const TReadyAction>(std::move(action))),
        fHandle(handle) {
    fState->Watches.push_back(this);
  }
  ~TWatch() override {
    auto& watches = fState->Watches;
    const auto self = std::find(watches.begin(), watches.end(), this);
    if (fState->WatchWalks > 0) {
      *self = nullptr;
    } else {
      watches.erase(self);
    }
  }

  void Want(TReadiness readiness) override { fWant = readiness; }

  TWaitItem Item() const { return {fHandle, fWant, TReadiness::rdNone}; }
  std::shared_ptr<const TReadyAction> Action() const { return fAction; }

 private:
  std::shared_ptr<TState> fState;
  std::shared_ptr<const TReadyAction> fAction;  // shared: the action may destroy the watch
  THandle fHandle;
  TReadiness fWant = TReadiness::rdNone;
};

// Keeps the places of the watches while their actions run; an action that throws ends the walk,
// the next turn finds the others still ready.
class TSystemLoop::TWatchWalk {
 public:
  TWatchWalk(TState& state, std::vector<TWaitItem>& items) : fState(state), fItems(items) {
    ++fState.WatchWalks;
  }
  TWatchWalk(const TWatchWalk&) = delete;
  TWatchWalk& operator=(const TWatchWalk&) = delete;
  ~TWatchWalk() {
    if (--fState.WatchWalks == 0) std::erase(fState.Watches, nullptr);
    fState.Items.swap(fItems);
  }

 private:
  TState& fState;
  std::vector<TWaitItem>& fItems;
};

TSystemLoop::TSystemLoop() : fState(std::make_shared<TState>()) {}

TSystemLoop::~TSystemLoop() {
  ForgetReferences();
  TSystemLoop::Close();
}

bool TSystemLoop::Post(TAction action) {
  CheckThread();
  if (fState->Closed) return false;
  fState->Posted.push_back(std::move(action));
  return true;
}

std::unique_ptr<TLoopTimer> TSystemLoop::NewTimer(TAction action) {
  CheckThread();
  return std::make_unique<TTimer>(fState, std::move(action));
}

std::unique_ptr<TLoopWatch> TSystemLoop::NewWatch(THandle handle,
                                                  std::function<void(TReadiness)> action) {
  CheckThread();
  return std::make_unique<TWatch>(fState, handle, std::move(action));
}

bool TSystemLoop::RunOnce(TClock::time_point limit) {
  CheckThread();
  const auto state = fState;  // an action may destroy this loop's last owner of it
  const bool posted = RunPosted();
  const bool timed = RunTimers();
  if ((posted || timed) && ++state->TurnsWithoutWait < kTurnsBetweenWaits) return true;
  state->TurnsWithoutWait = 0;
  return RunWatches(posted || timed ? TClock::time_point::min() : limit) || posted || timed;
}

void TSystemLoop::Close() {
  fState->Closed = true;
  // Destroying an action may post again, to no effect, so the queue is emptied by exchange.
  const auto dropped = std::exchange(fState->Posted, {});
}

std::uint64_t TSystemLoop::WaitCount() const { return fState->WaitCount; }

bool TSystemLoop::RunPosted() {
  const auto state = fState;
  const std::size_t count = state->Posted.size();
  for (std::size_t i = 0; i < count && !state->Posted.empty(); ++i) {
    const TAction action = std::move(state->Posted.front());
    state->Posted.pop_front();
    Act(action);
  }
  return count > 0;
}

bool TSystemLoop::RunTimers() {
  const auto state = fState;
  if (state->Timers.empty()) return false;
  const auto now = Now();
  // A timer that its own action starts again waits for the next turn, however soon it is due.
  const std::uint64_t firstNewStart = state->Starts;
  bool acted = false;
  while (!state->Timers.empty()) {
    TTimer* const timer = state->Timers.front();
    if (timer->Due() > now || timer->StartNumber() >= firstNewStart) break;
    const auto action = timer->Action();
    timer->Stop();
    acted = true;
    Act(*action);
  }
  return acted;
}

bool TSystemLoop::RunWatches(TClock::time_point limit) {
  const auto state = fState;
  auto items = std::exchange(state->Items, {});  // a nested turn uses a list of its own
  items.clear();
  for (const TWatch* watch : state->Watches) items.push_back(watch->Item());
  ++state->WaitCount;
  state->Wait.Wait(items, TimeToSleep(limit));

  const TWatchWalk walk(*state, items);
  bool acted = false;
  for (std::size_t i = 0; i < items.size(); ++i) {
    const TWatch* const watch = state->Watches[i];
    if (watch == nullptr) continue;
    const TReadiness ready = items[i].Ready & watch->Item().Want;
    if (ready == TReadiness::rdNone) continue;
    acted = true;
    const auto action = watch->Action();
    Act([&action, ready] { (*action)(ready); });
  }
  return acted;
}

std::chrono::nanoseconds TSystemLoop::TimeToSleep(TClock::time_point limit) const {
  if (!fState->Posted.empty()) return std::chrono::nanoseconds(0);
  if (!fState->Timers.empty()) limit = std::min(limit, fState->Timers.front()->Due());
  if (limit == TClock::time_point::max()) return std::chrono::nanoseconds(-1);
  const auto now = Now();
  return limit > now ? limit - now : std::chrono::nanoseconds(0);
}

}  // namespace OrvixModBus
