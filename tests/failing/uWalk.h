#pragma once
// uWalk: one failure after the other, until nothing is left that can fail.

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <new>
#include <string>

#include "platform/rtl/uException.h"
#include "uFailingMemory.h"

namespace OrvixModBus {

/// How a run with a failure in it ended.
struct TRunEnd {
  bool Threw = false;
  std::string Message;  ///< of an exception other than of memory
};

template <class TAction>
TRunEnd RunFailing(TAction action) {
  try {
    action();
  } catch (const std::bad_alloc&) {
    return {true, ""};
  } catch (const Exception& error) {
    return {true, error.what()};
  }
  return {};
}

/// TScenario is made anew for each allocation of its Run that is to fail:
///   void Run()                  the library's work; nothing else of it fails
///   void CheckAfterFailure()    whatever failed: all is whole
///   bool IsDone()               Run did all that it is there for
///   bool WasTold()              an event told that something failed
/// After each failure the same objects run once more, and are done.
template <class TScenario>
void WalkAllocations(std::uint64_t atLeast) {
  for (std::uint64_t number = 1;; ++number) {
    SCOPED_TRACE("allocation " + std::to_string(number));
    TScenario scenario;
    FailAllocation(number);
    const TRunEnd end = RunFailing([&] { scenario.Run(); });
    const bool failed = StopFailing();
    scenario.CheckAfterFailure();
    EXPECT_TRUE(end.Threw || scenario.WasTold() || scenario.IsDone()) << "nobody was told";
    EXPECT_EQ(end.Threw && !failed, false) << end.Message;
    EXPECT_NO_THROW(scenario.Run());
    EXPECT_TRUE(scenario.IsDone());
    if (testing::Test::HasFailure()) return;
    if (!failed) {
      testing::Test::RecordProperty("allocations", std::to_string(number - 1));
      EXPECT_GT(number, atLeast);
      return;
    }
  }
}

}  // namespace OrvixModBus
