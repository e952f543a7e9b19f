#include "platform/loop/uHandleWait.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <chrono>
#include <vector>

#include "platform/rtl/uException.h"
#include "tests/loop/uPipe.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

constexpr auto kRead = TReadiness::rdRead;
constexpr auto kWrite = TReadiness::rdWrite;
constexpr auto kNone = TReadiness::rdNone;

TEST(THandleWait, WaitsTheWholeTimeWhenThereIsNothingToWaitFor) {
  THandleWait wait;
  const auto start = std::chrono::steady_clock::now();
  wait.Wait({}, 2ms);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 2ms);
}

TEST(THandleWait, TellsWhatEachHandleIsReadyFor) {
  const TPipe empty;
  const TPipe filled;
  filled.Put('1');
  std::array items = {TWaitItem{empty.ReadEnd(), kRead, kWrite},
                      TWaitItem{filled.ReadEnd(), kRead, kNone},
                      TWaitItem{filled.WriteEnd(), TReadiness::rdReadWrite, kNone},
                      TWaitItem{filled.ReadEnd(), kNone, kRead}};
  THandleWait wait;
  wait.Wait(items, std::chrono::nanoseconds(-1));
  EXPECT_EQ(items[0].Ready, kNone);
  EXPECT_EQ(items[1].Ready, kRead);
  EXPECT_EQ(items[2].Ready, kWrite);
  EXPECT_EQ(items[3].Ready, kNone) << "nothing is wanted";
}

TEST(THandleWait, ClosedHandleIsReadyForWhatIsWanted) {
  TPipe pipe;
  const int closed = pipe.ReadEnd();
  pipe.CloseReadEnd();
  std::array items = {TWaitItem{closed, kRead, kNone}};
  THandleWait wait;
  wait.Wait(items, std::chrono::nanoseconds(-1));
  EXPECT_EQ(items[0].Ready, kRead);
}

TEST(THandleWait, TooManyHandlesAreAnError) {
  std::vector<TWaitItem> items(200, TWaitItem{-1, kRead, kNone});
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{100, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  THandleWait wait;
  EXPECT_THAT([&] { wait.Wait(items, 0ns); },
              testing::ThrowsMessage<Exception>("Waiting for handles failed: Invalid argument"));
  setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace
}  // namespace OrvixModBus
