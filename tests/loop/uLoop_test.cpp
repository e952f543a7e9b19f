#include "platform/loop/uLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/loop/uMessageSink.h"
#include "platform/loop/uSystemLoop.h"
#include "platform/rtl/uException.h"
#include "tests/loop/uClockLoop.h"
#include "tests/model/uOtherThread.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

constexpr auto kLong = 10s;  // the limit of what should come at once

std::string TextOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return e.what();
  }
}

// ---- the current loop

TEST(TLoop, EveryThreadHasADefaultLoopOfItsOwn) {
  TLoop* const here = &TLoop::Current();
  EXPECT_EQ(&TLoop::Current(), here);
  TLoop* there = nullptr;
  OnAnotherThread([&] {
    there = &TLoop::Current();
    int done = 0;
    EXPECT_TRUE(there->Post([&] { ++done; }));
    there->RunPending();
    EXPECT_EQ(done, 1);
  });
  EXPECT_NE(there, here);
}

TEST(TLoop, AnotherLoopIsMadeCurrentForItsTime) {
  TLoop* const fallback = &TLoop::Current();
  {
    TSystemLoop outer;
    TSystemLoop inner;
    EXPECT_EQ(TLoop::SetCurrent(&outer), nullptr);
    EXPECT_EQ(TLoop::SetCurrent(&inner), &outer);
    EXPECT_EQ(&TLoop::Current(), &inner);
    TLoop::SetCurrent(&outer);
  }
  EXPECT_EQ(&TLoop::Current(), fallback) << "a loop that is gone is nobody's current one";
  EXPECT_EQ(TLoop::SetCurrent(nullptr), nullptr);
}

// ---- running

TEST(TLoop, RunsUntilStopped) {
  TSystemLoop loop;
  TLog log;
  loop.Post([&] {
    log.emplace_back("stopping");
    loop.Stop();
    loop.Post([&] { log.emplace_back("later"); });
  });
  loop.Run();
  EXPECT_THAT(log, ElementsAre("stopping"));
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("stopping", "later"));
}

TEST(TLoop, RunsUntilAConditionHolds) {
  TSystemLoop loop;
  int count = 0;
  std::function<void()> again = [&] {
    ++count;
    loop.Post(again);
  };
  loop.Post(again);
  EXPECT_TRUE(loop.RunUntil([&] { return count == 5; }, kLong));
  EXPECT_EQ(count, 5);
  EXPECT_TRUE(loop.RunUntil([&] { return count == 5; }, kLong)) << "without a turn";
  EXPECT_EQ(count, 5);
}

TEST(TLoop, RunsUntilATimeOut) {
  TSystemLoop loop;
  const auto start = TLoop::TClock::now();
  EXPECT_FALSE(loop.RunUntil([] { return false; }, 5ms));
  EXPECT_GE(TLoop::TClock::now() - start, 5ms);
}

TEST(TLoop, TimeOutThatHasPassedAsksTheConditionOnce) {
  for (const std::chrono::nanoseconds timeout :
       {0ns, -1ns, std::chrono::nanoseconds(std::chrono::nanoseconds::min())}) {
    TSystemLoop loop;
    int asked = 0;
    EXPECT_FALSE(loop.RunUntil(
        [&] {
          ++asked;
          return false;
        },
        timeout));
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(loop.WaitCount(), 0U);
  }
}

TEST(TLoop, StopBeforeARunIsForgotten) {
  TSystemLoop loop;
  int turns = 0;
  loop.Stop();
  loop.Post([&] { ++turns; });
  EXPECT_TRUE(loop.RunUntil([&] { return turns == 1; }, kLong));
}

TEST(TLoop, StopTellsTheStateOfTheCondition) {
  for (const bool holds : {false, true}) {
    TSystemLoop loop;
    bool state = false;
    loop.Post([&] {
      state = holds;
      loop.Stop();
    });
    EXPECT_EQ(loop.RunUntil([&] { return state; }, kLong), holds);
  }
}

TEST(TLoop, StopEndsTheInnermostRunOnly) {
  TSystemLoop loop;
  TLog log;
  loop.Post([&] {
    loop.Post([&] {
      log.emplace_back("inner");
      loop.Stop();
    });
    loop.Run();
    log.emplace_back("inner run ended");
    loop.Post([&] {
      log.emplace_back("outer");
      loop.Stop();
    });
  });
  loop.Run();
  EXPECT_THAT(log, ElementsAre("inner", "inner run ended", "outer"));
}

TEST(TLoop, StopBeforeAnInnerRunStillEndsTheOuterOne) {
  TSystemLoop loop;
  bool inner = false;
  loop.Post([&] {
    loop.Stop();
    loop.Post([&] { inner = true; });
    EXPECT_TRUE(loop.RunUntil([&] { return inner; }, kLong));
  });
  const auto start = loop.Now();
  EXPECT_FALSE(loop.RunUntil([] { return false; }, kLong));
  EXPECT_LT(loop.Now() - start, kLong);
  EXPECT_TRUE(inner);
}

TEST(TLoop, StopWithTheInnerConditionLeavesTheOuterRunGoing) {
  TSystemLoop loop;
  bool inner = false;
  bool outer = false;
  loop.Post([&] {
    loop.Post([&] {
      inner = true;
      loop.Stop();
    });
    EXPECT_TRUE(loop.RunUntil([&] { return inner; }, kLong));
    loop.Post([&] { outer = true; });
  });
  EXPECT_TRUE(loop.RunUntil([&] { return outer; }, kLong));
}

TEST(TLoop, ExceptionThatLeavesAnInnerRunStopsNoOuterOne) {
  TSystemLoop loop;
  bool outer = false;
  loop.Post([&] {
    loop.Post([&] {
      loop.Stop();
      throw std::runtime_error("inner");
    });
    EXPECT_THROW(loop.Run(), std::runtime_error);
    loop.Post([&] { outer = true; });
  });
  EXPECT_TRUE(loop.RunUntil([&] { return outer; }, kLong));
}

TEST(TLoop, ConditionThatThrowsLeavesTheLoopUsable) {
  TSystemLoop loop;
  int done = 0;
  loop.Post([&] { ++done; });
  EXPECT_THROW(loop.RunUntil([]() -> bool { throw std::runtime_error("asked"); }, kLong),
               std::runtime_error);
  EXPECT_TRUE(loop.RunUntil([&] { return done == 1; }, kLong));
}

TEST(TLoop, PendingIsWhatIsDueAtOnceWithAllThatComesOfIt) {
  TClockLoop loop;
  TLog log;
  const auto far = loop.NewTimer([&] { log.emplace_back("far"); });
  far->Start(loop.Now() + 1ns);
  const auto due = loop.NewTimer([&] {
    log.emplace_back("due");
    loop.Post([&] { log.emplace_back("posted by it"); });
  });
  due->Start(loop.Now());
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("due", "posted by it"));
}

// ---- exceptions

TEST(TLoop, ExceptionLeavesByTheRunAndTheRestIsServedNext) {
  TSystemLoop loop;
  TLog log;
  loop.Post([&] { log.emplace_back("one"); });
  loop.Post([] { throw std::runtime_error("two"); });
  loop.Post([&] { log.emplace_back("three"); });
  EXPECT_THAT([&] { loop.RunPending(); }, ThrowsMessage<std::runtime_error>("two"));
  EXPECT_THAT(log, ElementsAre("one"));
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("one", "three"));
}

TEST(TLoop, ExceptionGoesToTheHookAndTheRunGoesOn) {
  TSystemLoop loop;
  TLog log;
  loop.OnException = [&](const std::exception_ptr& error) { log.push_back(TextOf(error)); };
  loop.Post([] { throw std::runtime_error("one"); });
  loop.Post([&] { log.emplace_back("two"); });
  loop.Post([] { throw Exception("three"); });
  EXPECT_NO_THROW(loop.RunPending());
  EXPECT_THAT(log, ElementsAre("one", "two", "three"));
}

TEST(TLoop, HookTakesItselfAwayAndThrows) {
  TSystemLoop loop;
  loop.OnException = [&, text = std::string(100, 'x')](const std::exception_ptr& error) {
    loop.OnException = nullptr;  // this closure must outlive its own removal
    EXPECT_EQ(text.size(), 100U);
    std::rethrow_exception(error);
  };
  loop.Post([] { throw std::runtime_error("one"); });
  loop.Post([] { throw std::runtime_error("two"); });
  EXPECT_THAT([&] { loop.RunPending(); }, ThrowsMessage<std::runtime_error>("one"));
  EXPECT_THAT([&] { loop.RunPending(); }, ThrowsMessage<std::runtime_error>("two"));
}

// ---- threads

TEST(TLoop, AnotherThreadIsRefused) {
  TSystemLoop loop;
  TObject receiver;
  TMessageSink sink(receiver, nullptr);
  const std::vector<std::function<void()>> uses = {
      [&] { loop.Post([] {}); },
      [&] { loop.PostMessage(sink, {}); },
      [&] { loop.NewTimer([] {}); },
      [&] { loop.NewWatch(0, [](TReadiness) {}); },
      [&] { loop.RunOnce(TLoop::TClock::time_point::min()); },
      [&] { loop.RunPending(); },
      [&] { loop.Run(); },
      [&] { loop.RunUntil([] { return true; }, 0ns); },
      [&] { loop.Stop(); },
      [&] { loop.Close(); },
  };
  for (std::size_t i = 0; i < uses.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_THAT([&] { OnAnotherThread(uses[i]); },
                ThrowsMessage<EThreadError>("The loop is used from another thread than its own"));
  }
  EXPECT_TRUE(loop.Post([] {})) << "still open";
}

}  // namespace
}  // namespace OrvixModBus
