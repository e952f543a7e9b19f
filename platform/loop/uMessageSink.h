#pragma once
// uMessageSink: a private receiver of posted messages.

#include <cstdint>

#include "platform/loop/uLoop.h"
#include "platform/model/uEvent.h"

namespace OrvixModBus {

/// A message: its number, two parameters, and the receiver's answer.
struct TMessage {
  std::uint32_t Msg = 0;
  std::intptr_t WParam = 0;
  std::intptr_t LParam = 0;
  std::intptr_t Result = 0;
};

/// The first message number that is free for an application's own use.
inline constexpr std::uint32_t kFirstUserMessage = 1024;

/// Receives messages on the thread that made it, later, from the loop: never inside Post.
/// Messages still under way when the sink is destroyed are dropped.
class TMessageSink : public TObject {
 public:
  using THandler = TEvent<void(TMessage&)>;

  /// Receives for receiver, from the current loop of the calling thread.
  TMessageSink(TObject& receiver, THandler handler);

  /// The object for which this receives.
  TObject& Receiver() const { return fReceiver; }

  /// Posts a message to this sink; false when the loop is closed or gone.
  bool Post(std::uint32_t msg, std::intptr_t wParam, std::intptr_t lParam);
  /// Hands message to the handler at once.
  void Receive(TMessage message) const { fHandler(message); }

 private:
  TObject& fReceiver;
  TRef<TLoop> fLoop;
  THandler fHandler;
};

}  // namespace OrvixModBus
