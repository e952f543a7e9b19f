#include "platform/loop/uLoop.h"

#include <utility>

#include "platform/loop/uMessageSink.h"
#include "platform/loop/uSystemLoop.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

thread_local TLoop* currentLoop = nullptr;

// Gives a run its own Stop: what was asked of the run around it is asked again afterwards.
class TOwnStop {
 public:
  explicit TOwnStop(bool& stopped) : fStopped(stopped), fOuter(std::exchange(stopped, false)) {}
  TOwnStop(const TOwnStop&) = delete;
  TOwnStop& operator=(const TOwnStop&) = delete;
  ~TOwnStop() { fStopped = fOuter; }

 private:
  bool& fStopped;
  bool fOuter;
};

TLoop& DefaultLoop() {
  thread_local TSystemLoop loop;
  return loop;
}

}  // namespace

TLoop& TLoop::Current() { return currentLoop != nullptr ? *currentLoop : DefaultLoop(); }

TLoop* TLoop::SetCurrent(TLoop* loop) { return std::exchange(currentLoop, loop); }

TLoop::~TLoop() {
  if (currentLoop == this) currentLoop = nullptr;
}

bool TLoop::PostMessage(TMessageSink& sink, const TMessage& message) {
  CheckThread();  // before the reference is counted
  return Post([target = TRef<TMessageSink>(&sink), message] {
    if (target) target->Receive(message);
  });
}

void TLoop::Run() {
  RunUntil([] { return false; }, std::chrono::nanoseconds::max());
}

bool TLoop::RunUntil(const std::function<bool()>& condition, std::chrono::nanoseconds timeout) {
  CheckThread();
  const auto start = Now();
  const auto limit =
      timeout < TClock::time_point::max() - start ? start + timeout : TClock::time_point::max();
  const TOwnStop ownStop(fStopped);
  while (!condition()) {
    if (fStopped) return condition();
    if (Now() >= limit) return false;
    RunOnce(limit);
  }
  return true;
}

void TLoop::Stop() {
  CheckThread();
  fStopped = true;
}

void TLoop::RunPending() {
  CheckThread();
  while (RunOnce(TClock::time_point::min())) {
  }
}

void TLoop::Act(const TAction& action) {
  if (!OnException) return action();
  try {
    action();
  } catch (...) {
    const auto hook = OnException;  // it may take itself away
    hook(std::current_exception());
  }
}

void TLoop::CheckThread() const {
  if (!fThread.IsHere()) throw EThreadError("The loop is used from another thread than its own");
}

}  // namespace OrvixModBus
