#include "platform/rtl/uBeep.h"

#include <utility>

namespace OrvixModBus {
namespace {

std::function<void()>& Sound() {
  static std::function<void()> sound;
  return sound;
}

}  // namespace

void Beep() {
  const auto sound = Sound();  // by a copy: it may set another one
  if (sound) {
    sound();
  } else {
    SystemBeep();
  }
}

void SetBeep(std::function<void()> beep) { Sound() = std::move(beep); }

}  // namespace OrvixModBus
