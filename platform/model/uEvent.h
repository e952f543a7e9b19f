#pragma once
// uEvent: events and handler lists - who is told when something happens.

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/model/uObject.h"
#include "platform/model/uShare.h"
#include "platform/rtl/uFirstError.h"

namespace OrvixModBus {

template <class TSignature>
class TEvent;

/// One handler of an event: an object and its method, or any callable; empty at first.
/// An empty event, or one whose object (a TObject) has been destroyed, does nothing when raised
/// and results in TResult(). A handler may reassign the event or destroy its owner. Copies share
/// their handler, and belong to one thread.
template <class TResult, class... TArgs>
class TEvent<TResult(TArgs...)> {
 public:
  TEvent() = default;
  TEvent(std::nullptr_t) {}

  /// `event = {this, &Panel::Ready}`. A nil object makes an empty event.
  template <class TTarget, class TOwner, class TMember>
  requires std::is_base_of_v<TOwner, TTarget> &&
      std::is_invocable_r_v<TResult, TMember TOwner::*, TTarget&, TArgs...>
      TEvent(TTarget* object, TMember TOwner::*method) {
    if (object == nullptr) return;
    TRef<TObject> alive;
    if constexpr (std::is_base_of_v<TObject, TTarget>) alive = object;
    fHandler = TShare<THandler>(new TMethodHandler<TOwner, TMember>(object, method, alive));
  }

  /// `event = [](TMBLetter& letter) { ... }`. Equal only to copies of itself. A nil function or
  /// an empty std::function makes an empty event.
  template <class TCallable>
  requires(!std::is_same_v<std::remove_cvref_t<TCallable>, TEvent> &&
           std::is_invocable_r_v<TResult, TCallable&, TArgs...>) TEvent(TCallable callable) {
    if constexpr (std::is_constructible_v<TCallable, std::nullptr_t>) {
      if (callable == nullptr) return;
    }
    fHandler = TShare<THandler>(new TCallableHandler<TCallable>(std::move(callable)));
  }

  bool Assigned() const { return fHandler != nullptr && !fHandler->Gone(); }
  explicit operator bool() const { return Assigned(); }

  /// True when the object of the handler has been destroyed.
  bool Gone() const { return fHandler != nullptr && fHandler->Gone(); }

  /// True for what was made of this object and method: as == with such an event, but takes no
  /// memory, so that destructors may ask.
  template <class TTarget, class TOwner, class TMember>
  requires std::is_base_of_v<TOwner, TTarget>
  bool Is(const TTarget& object, TMember TOwner::*method) const {
    const auto* same = dynamic_cast<const TMethodHandler<TOwner, TMember>*>(fHandler.Get());
    if (same == nullptr || same->fObject != &object || same->fMethod != method) return false;
    if constexpr (std::is_base_of_v<TObject, TTarget>) return same->fAlive.RefersTo(object);
    return true;
  }

  TResult operator()(TArgs... args) const {
    const auto handler = fHandler;  // this event may not outlive the call
    if (handler == nullptr || handler->Gone()) return TResult();
    return handler->Call(std::forward<TArgs>(args)...);
  }

  /// Same object and same method, or the same callable; two empty ones are equal. An object that
  /// is gone is not the same as a new one at its place.
  bool operator==(const TEvent& other) const {
    if (fHandler == nullptr || other.fHandler == nullptr) return fHandler == other.fHandler;
    return fHandler->Same(*other.fHandler);
  }

 private:
  struct THandler : TShared {
    virtual ~THandler() = default;
    virtual TResult Call(TArgs... args) = 0;
    virtual bool Gone() const { return false; }
    virtual bool Same(const THandler& other) const { return this == &other; }
  };

  // Knows the object by the class of the method, so that it is the same handler whichever
  // descendant it was given as.
  template <class TOwner, class TMember>
  struct TMethodHandler final : THandler {
    TMethodHandler(TOwner* object, TMember TOwner::*method, const TRef<TObject>& alive)
        : fObject(object), fMethod(method), fAlive(alive) {}
    TResult Call(TArgs... args) override {
      return (fObject->*fMethod)(std::forward<TArgs>(args)...);
    }
    bool Gone() const override { return fAlive.Gone(); }
    bool Same(const THandler& other) const override {
      const auto* same = dynamic_cast<const TMethodHandler*>(&other);
      return same != nullptr && same->fObject == fObject && same->fMethod == fMethod &&
             same->Gone() == Gone();
    }

    TOwner* fObject;
    TMember TOwner::*fMethod;
    TRef<TObject> fAlive;
  };

  template <class TCallable>
  struct TCallableHandler final : THandler {
    explicit TCallableHandler(TCallable callable) : fCallable(std::move(callable)) {}
    TResult Call(TArgs... args) override { return fCallable(std::forward<TArgs>(args)...); }

    TCallable fCallable;
  };

  TShare<THandler> fHandler;
};

/// Tells that something has happened to sender, and nothing else.
using TNotifyEvent = TEvent<void(TObject& sender)>;

template <class TSignature>
class TEventList;

/// Handlers that are all told, in the order in which they were added.
/// During a call: a handler added is not called yet, one removed is not called any more, one
/// whose object is gone is skipped. When the list itself is destroyed, the call ends with the
/// handler that did it: what the others would be handed is gone as a rule. Every handler is
/// called even if an earlier one throws; the first exception leaves afterwards.
template <class... TArgs>
class TEventList<void(TArgs...)> {
 public:
  using THandler = TEvent<void(TArgs...)>;

  TEventList() = default;
  TEventList(const TEventList&) = delete;
  TEventList& operator=(const TEventList&) = delete;
  ~TEventList() { fState->ListGone = true; }

  /// Appends handler; an empty one takes its place in the list and is never called.
  void Add(THandler handler) { fState->Entries.push_back({std::move(handler), false}); }
  template <class TTarget, class TMethod>
  void Add(TTarget* object, TMethod method) {
    Add(THandler(object, method));
  }

  /// Takes out the first handler equal to the given one; false when there is none.
  bool Remove(const THandler& handler) {
    return RemoveIf([&](const THandler& one) { return one == handler; });
  }
  /// The same; takes no memory, so that destructors may call it.
  template <class TTarget, class TMethod>
  bool Remove(TTarget* object, TMethod method) {
    return RemoveIf([&](const THandler& one) { return one.Is(*object, method); });
  }

  /// Number of handlers, empty ones included, those whose object is gone not.
  int Count() const {
    return static_cast<int>(
        std::count_if(fState->Entries.begin(), fState->Entries.end(),
                      [](const TEntry& entry) { return !entry.Removed && !entry.Handler.Gone(); }));
  }

  void operator()(TArgs... args) const {
    ForEach([&](const THandler& handler) { handler(args...); });
  }

  /// Has call(handler) call each of them, for arguments that a handler may change for those after
  /// it.
  template <class TCall>
  void ForEach(TCall call) const {
    const auto state = fState;  // a handler may destroy this list
    TFirstError error;
    ++state->Depth;
    const std::size_t count = state->Entries.size();
    for (std::size_t i = 0; i < count && !state->ListGone; ++i) {
      if (state->Entries[i].Removed) continue;
      error.Run([&] { call(state->Entries[i].Handler); });
    }
    --state->Depth;
    state->Sweep();
    error.Raise();
  }

 private:
  struct TEntry {
    THandler Handler;
    bool Removed;
  };

  struct TState {
    // Entries keep their places while any call walks them.
    void Sweep() {
      const auto stays = [](const TEntry& e) { return !e.Removed && !e.Handler.Gone(); };
      while (Depth == 0) {
        const auto dead = std::find_if_not(Entries.begin(), Entries.end(), stays);
        if (dead == Entries.end()) return;
        // The end of a handler may change this list again, so the list is whole before it.
        const TEntry swept = std::move(*dead);
        Entries.erase(dead);
      }
    }

    std::vector<TEntry> Entries;
    int Depth = 0;
    bool ListGone = false;
  };

  template <class TWanted>
  bool RemoveIf(TWanted wanted) {
    auto& entries = fState->Entries;
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const TEntry& entry) {
      return !entry.Removed && wanted(entry.Handler);
    });
    if (found == entries.end()) return false;
    found->Removed = true;
    fState->Sweep();
    return true;
  }

  std::shared_ptr<TState> fState = std::make_shared<TState>();
};

}  // namespace OrvixModBus
