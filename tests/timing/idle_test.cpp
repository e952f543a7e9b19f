#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>

#include "platform/loop/uMessageSink.h"
#include "platform/loop/uSystemLoop.h"
#include "tools/simulator/uPseudoTerminal.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

std::chrono::microseconds ProcessorTime() {
  rusage usage{};
  EXPECT_EQ(getrusage(RUSAGE_THREAD, &usage), 0);
  const auto time = [](const timeval& t) {
    return std::chrono::seconds(t.tv_sec) + std::chrono::microseconds(t.tv_usec);
  };
  return time(usage.ru_utime) + time(usage.ru_stime);
}

// What an application with an open port has, when nothing is to be done.
struct TIdleProgram {
  TIdleProgram() {
    Watch->Want(TReadiness::rdRead);
    Far->Start(Loop.Now() + 1h);
  }

  TSystemLoop Loop;
  TPseudoTerminal Port;
  std::unique_ptr<TLoopWatch> Watch =
      Loop.NewWatch(Port.Handle(), [](TReadiness) { FAIL() << "nobody writes"; });
  std::unique_ptr<TLoopTimer> Far = Loop.NewTimer([] { FAIL() << "not due"; });
};

TEST(IdleLoop, UsesNoProcessorTimeAndDoesNotPoll) {
  TIdleProgram program;
  const auto start = program.Loop.Now();
  const auto before = ProcessorTime();
  EXPECT_FALSE(program.Loop.RunUntil([] { return false; }, 300ms));
  const auto used = ProcessorTime() - before;
  EXPECT_GE(program.Loop.Now() - start, 300ms);
  EXPECT_LT(used, 5ms) << used.count() << " microseconds in 300 ms";
  EXPECT_LE(program.Loop.WaitCount(), 3U);
}

TEST(IdleLoop, WakesOncePerTimer) {
  TIdleProgram program;
  int ticks = 0;
  std::unique_ptr<TLoopTimer> timer;
  timer = program.Loop.NewTimer([&] {
    ++ticks;
    timer->Start(program.Loop.Now() + 10ms);
  });
  timer->Start(program.Loop.Now());
  EXPECT_TRUE(program.Loop.RunUntil([&] { return ticks == 20; }, 60s));
  EXPECT_LE(program.Loop.WaitCount(), 2U * 20U);
}

}  // namespace
}  // namespace OrvixModBus
