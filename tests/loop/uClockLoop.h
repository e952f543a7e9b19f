#pragma once
// uClockLoop: a default loop whose clock the test moves by hand.

#include <string>
#include <vector>

#include "platform/loop/uSystemLoop.h"

namespace OrvixModBus {

/// What handlers leave behind for the test to read.
using TLog = std::vector<std::string>;

/// Never sleeps by itself: turn it with RunPending.
class TClockLoop : public TSystemLoop {
 public:
  TClock::time_point Now() const override { return fNow; }
  void Advance(std::chrono::nanoseconds time) { fNow += time; }

 private:
  TClock::time_point fNow{std::chrono::hours(1)};
};

}  // namespace OrvixModBus
