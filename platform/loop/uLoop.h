#pragma once
// uLoop: the message loop of a thread - posted actions, timers and readiness of handles.

#include <chrono>
#include <exception>
#include <functional>
#include <memory>

#include "platform/model/uObject.h"
#include "platform/model/uThreadMark.h"

namespace OrvixModBus {

class TMessageSink;
struct TMessage;

#ifdef _WIN32
using THandle = void*;
#else
using THandle = int;  ///< a file descriptor
#endif

/// What a handle is waited for, and what it turned out to be ready for. A hang-up or an error
/// makes it ready for whatever was waited for.
enum class TReadiness { rdNone = 0, rdRead = 1, rdWrite = 2, rdReadWrite = 3 };

constexpr TReadiness operator&(TReadiness a, TReadiness b) {
  return static_cast<TReadiness>(static_cast<int>(a) & static_cast<int>(b));
}

/// A timer that acts once per start. Destroying it stops it, also from inside its action.
class TLoopTimer {
 public:
  virtual ~TLoopTimer() = default;
  /// Acts at due, or at the loop's next turn when due has passed; a running start is replaced.
  virtual void Start(std::chrono::steady_clock::time_point due) = 0;
  virtual void Stop() = 0;
};

/// Watches a handle. Acts at each turn of the loop at which the handle is ready for what is
/// wanted (level, not edge). Destroying it ends the watch, also from inside its action.
class TLoopWatch {
 public:
  virtual ~TLoopWatch() = default;
  /// rdNone at first. Costs no system call.
  virtual void Want(TReadiness readiness) = 0;
};

/// The message loop of one thread. The library has no thread of its own: all its work is done
/// in here. A host program with a loop of its own derives an adapter and makes it Current.
/// Actions run in order of posting, timers in order of their due times. An exception that an
/// action throws leaves by RunOnce, unless OnException is set; what is queued stays queued.
/// Timers, watches and sinks may outlive their loop: then they do nothing. A loop is not to be
/// destroyed inside one of its own actions.
class TLoop : public TObject {
 public:
  using TAction = std::function<void()>;
  using TClock = std::chrono::steady_clock;

  /// The loop of the calling thread: the one that was made current last, else a default loop
  /// made at the first call (see uSystemLoop.h).
  static TLoop& Current();
  /// Makes loop the current one of the calling thread; nil goes back to the default loop.
  /// Returns the one that was set before, nil for none.
  static TLoop* SetCurrent(TLoop* loop);

  ~TLoop() override;

  /// Runs action at a later turn; false, and nothing happens, once the loop is closed.
  /// EThreadError from another thread.
  virtual bool Post(TAction action) = 0;
  /// Posts a message to a sink of this thread; false, and nothing happens, once closed.
  virtual bool PostMessage(TMessageSink& sink, const TMessage& message);
  virtual std::unique_ptr<TLoopTimer> NewTimer(TAction action) = 0;
  virtual std::unique_ptr<TLoopWatch> NewWatch(THandle handle,
                                               std::function<void(TReadiness)> action) = 0;
  /// The loop's clock. Tests may have one of their own.
  virtual TClock::time_point Now() const { return TClock::now(); }

  /// One turn: waits until something is due, but not past limit, and does it. False when
  /// nothing was done.
  virtual bool RunOnce(TClock::time_point limit) = 0;
  /// Turns until Stop is called.
  void Run();
  /// Makes the innermost Run or RunUntil return after the current turn.
  void Stop();
  /// Turns until condition holds (true) or timeout has passed (false) or Stop was called
  /// (the condition's state). The condition is asked before every turn.
  bool RunUntil(const std::function<bool()>& condition, std::chrono::nanoseconds timeout);
  /// Turns as long as something is due at once.
  void RunPending();

  /// From now on nothing can be posted; what was posted is dropped.
  virtual void Close() = 0;

  /// Takes the exceptions of actions instead of the caller of the run operation. What it throws
  /// itself goes to that caller.
  std::function<void(std::exception_ptr)> OnException;

 protected:
  /// Runs action; its exception goes to OnException when that is set, else to the caller.
  void Act(const TAction& action);
  /// EThreadError when called from another thread than the one that made this loop.
  void CheckThread() const;

 private:
  TThreadMark fThread;
  bool fStopped = false;
};

}  // namespace OrvixModBus
