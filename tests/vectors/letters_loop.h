#pragma once
// letters_loop: a message loop that tells of the messages posted, and can refuse them.

#include <functional>

#include "platform/loop/uMessageSink.h"
#include "platform/loop/uSystemLoop.h"

namespace OrvixModBus::Vectors {

class TRecordingLoop final : public TSystemLoop {
 public:
  bool PostMessage(TMessageSink& sink, const TMessage& message) override {
    if (Refuses) return false;
    if (OnPosted) OnPosted(sink, message);
    return TSystemLoop::PostMessage(sink, message);
  }

  std::function<void(const TMessageSink&, const TMessage&)> OnPosted;
  bool Refuses = false;
};

}  // namespace OrvixModBus::Vectors
