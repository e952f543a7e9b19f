#include "platform/loop/uMessageSink.h"

#include <utility>

namespace OrvixModBus {

TMessageSink::TMessageSink(TObject& receiver, THandler handler)
    : fReceiver(receiver), fLoop(&TLoop::Current()), fHandler(std::move(handler)) {}

bool TMessageSink::Post(std::uint32_t msg, std::intptr_t wParam, std::intptr_t lParam) {
  return fLoop && fLoop->PostMessage(*this, {msg, wParam, lParam, 0});
}

}  // namespace OrvixModBus
