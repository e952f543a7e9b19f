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
  std::vector<TTimer*> Timers;     // a heap, the next one due first
  std::vector<TTimer*> DueTimers;  // taken from the heap, to act in this order
  std::vector<TWatch*> Watches;    // nil where one was destroyed during a walk
  std::vector<TWaitItem> Items;
  THandleWait Wait;
  std::size_t TimerCount = 0;  // of all that there are
  std::uint64_t Starts = 0;
  std::uint64_t WaitCount = 0;
  int TurnsWithoutWait = 0;
  int WatchWalks = 0;
  bool Closed = false;
};

class TSystemLoop::TTimer final : public TLoopTimer {
 public:
  TTimer(std::shared_ptr<TState> state, TAction action)
      : fState(std::move(state)), fAction(std::make_shared<const TAction>(std::move(action))) {
    // Room for all timers, so that to start one and to act on it need no memory.
    Reserve(fState->Timers);
    Reserve(fState->DueTimers);
    ++fState->TimerCount;
  }
  ~TTimer() override {
    TTimer::Stop();
    --fState->TimerCount;
  }

  void Start(TClock::time_point due) override {
    Stop();
    fDue = due;
    fStart = fState->Starts++;
    fState->Timers.push_back(this);
    fPlace = fState->Timers.size() - 1;
    Rise();
  }

  void Stop() override {
    if (fPlace == kAmongDue) std::erase(fState->DueTimers, this);
    if (fPlace < fState->Timers.size()) LeaveHeap();
    fPlace = kNowhere;
  }

  /// Out of the heap, behind those that are to act already.
  void BecomeDue() {
    fState->DueTimers.push_back(this);
    LeaveHeap();
    fPlace = kAmongDue;
  }

  TClock::time_point Due() const { return fDue; }
  std::shared_ptr<const TAction> Action() const { return fAction; }

 private:
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);
  static constexpr std::size_t kAmongDue = kNowhere - 1;

  void Reserve(std::vector<TTimer*>& list) const {
    constexpr std::size_t kFirst = 8;
    if (list.capacity() <= fState->TimerCount) list.reserve(std::max(kFirst, 2 * list.capacity()));
  }

  void LeaveHeap() {
    auto& heap = fState->Timers;
    TTimer* const last = heap.back();
    heap.pop_back();
    if (last == this) return;
    heap[fPlace] = last;
    last->fPlace = fPlace;
    last->Rise();
    last->Sink();
  }

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

// Keeps the places of the watches while their actions run. A walk ends early when an action throws,
// and when an inner turn has waited: the next turn finds the others that are still ready.
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
  DropPosted();
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
  const auto now = Now();
  bool acted =
      ++fState->TurnsWithoutWait > kTurnsBetweenWaits && RunWatches(std::chrono::nanoseconds(0));
  acted = RunPosted() || acted;
  acted = RunTimers(now) || acted;
  if (acted) return true;
  // Nothing is left that is due. What comes before a time-out is read before it.
  return RunWatches(TimeToSleep(limit, now)) || RunTimers(Now());
}

void TSystemLoop::Close() {
  CheckThread();
  DropPosted();
}

void TSystemLoop::DropPosted() {
  fState->Closed = true;
  // Destroying an action may post again, to no effect, so the queue is emptied by exchange.
  const auto dropped = std::exchange(fState->Posted, {});
}

std::uint64_t TSystemLoop::WaitCount() const { return fState->WaitCount; }

bool TSystemLoop::RunPosted() {
  auto& posted = fState->Posted;
  const std::size_t count = posted.size();
  for (std::size_t i = 0; i < count && !posted.empty(); ++i) {
    const TAction action = std::move(posted.front());
    posted.pop_front();
    Act(action);
  }
  return count > 0;
}

bool TSystemLoop::RunTimers(TClock::time_point now) {
  auto& timers = fState->Timers;
  auto& due = fState->DueTimers;
  if (timers.empty() && due.empty()) return false;
  // Those that are started from now on wait for the next turn, however soon they are due.
  while (!timers.empty() && timers.front()->Due() <= now) timers.front()->BecomeDue();
  const std::size_t count = due.size();
  for (std::size_t i = 0; i < count && !due.empty(); ++i) {
    TTimer* const timer = due.front();
    const auto action = timer->Action();
    timer->Stop();
    Act(*action);
  }
  return count > 0;
}

bool TSystemLoop::RunWatches(std::chrono::nanoseconds patience) {
  const auto& state = fState;
  state->TurnsWithoutWait = 0;
  auto items = std::exchange(state->Items, {});  // an inner turn uses a list of its own
  items.clear();
  for (const TWatch* watch : state->Watches) {
    items.push_back(watch != nullptr ? watch->Item() : TWaitItem{});
  }
  const std::uint64_t waitNumber = ++state->WaitCount;
  state->Wait.Wait(items, patience);

  const TWatchWalk walk(*state, items);
  bool acted = false;
  for (std::size_t i = 0; i < items.size() && state->WaitCount == waitNumber; ++i) {
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

std::chrono::nanoseconds TSystemLoop::TimeToSleep(TClock::time_point limit,
                                                  TClock::time_point now) const {
  if (!fState->Timers.empty()) limit = std::min(limit, fState->Timers.front()->Due());
  if (limit == TClock::time_point::max()) return std::chrono::nanoseconds(-1);
  return limit > now ? limit - now : std::chrono::nanoseconds(0);
}

}  // namespace OrvixModBus
