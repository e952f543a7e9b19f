#include "platform/loop/uSystemLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/loop/uClockLoop.h"
#include "tests/loop/uPipe.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

using TTime = TLoop::TClock::time_point;
using TTimer = std::unique_ptr<TLoopTimer>;
using TWatch = std::unique_ptr<TLoopWatch>;

constexpr auto kLong = 10s;  // the limit of what should come at once

// ---- posted actions

TEST(TSystemLoop, ActsInOrderOfPosting) {
  TSystemLoop loop;
  TLog log;
  EXPECT_FALSE(loop.RunOnce(TTime::min())) << "nothing is due";
  for (const char* name : {"one", "two", "three"}) {
    EXPECT_TRUE(loop.Post([&log, name] { log.emplace_back(name); }));
  }
  EXPECT_TRUE(loop.RunOnce(TTime::min()));
  EXPECT_THAT(log, ElementsAre("one", "two", "three"));
}

TEST(TSystemLoop, ActionPostedByAnActionWaitsForTheNextTurn) {
  TSystemLoop loop;
  TLog log;
  loop.Post([&] {
    log.emplace_back("first");
    loop.Post([&] { log.emplace_back("second"); });
  });
  EXPECT_TRUE(loop.RunOnce(TTime::min()));
  EXPECT_THAT(log, ElementsAre("first"));
  EXPECT_TRUE(loop.RunOnce(TTime::min()));
  EXPECT_THAT(log, ElementsAre("first", "second"));
}

TEST(TSystemLoop, InnerTurnServesTheRestInOrder) {
  TSystemLoop loop;
  TLog log;
  loop.Post([&] {
    log.emplace_back("outer");
    loop.RunOnce(TTime::min());
    log.emplace_back("outer ends");
  });
  loop.Post([&] { log.emplace_back("two"); });
  loop.Post([&] { log.emplace_back("three"); });
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("outer", "two", "three", "outer ends"));
}

TEST(TSystemLoop, ClosedTakesNothingAndDropsWhatWasPosted) {
  TSystemLoop loop;
  loop.Post([] { FAIL(); });
  loop.Close();
  EXPECT_FALSE(loop.Post([] { FAIL(); }));
  loop.RunPending();
  loop.Close();
}

TEST(TSystemLoop, ClosesInsideAnAction) {
  TSystemLoop loop;
  TLog log;
  loop.Post([&, text = std::string(100, 'x')] {
    loop.Close();
    log.push_back(text.substr(0, 1));
  });
  loop.Post([] { FAIL(); });
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("x"));
}

TEST(TSystemLoop, EndOfADroppedActionPostsToNoEffect) {
  struct TPoster {
    explicit TPoster(TLoop& loop) : Loop(loop) {}
    TPoster(const TPoster&) = delete;
    TPoster& operator=(const TPoster&) = delete;
    ~TPoster() {
      EXPECT_FALSE(Loop.Post([] { FAIL(); }));
    }
    TLoop& Loop;
  };
  TSystemLoop loop;
  loop.Post([poster = std::make_shared<TPoster>(loop)] {});
  loop.Close();
}

TEST(TSystemLoop, DestroyedWithActionsAndNothingRuns) {
  const auto kept = std::make_shared<int>(0);
  {
    TSystemLoop loop;
    loop.Post([kept] { FAIL(); });
    EXPECT_EQ(kept.use_count(), 2);
  }
  EXPECT_EQ(kept.use_count(), 1);
}

// ---- timers

TEST(TSystemLoop, TimersActInOrderOfTheirDueTimes) {
  TClockLoop loop;
  TLog log;
  std::vector<TTimer> timers;
  const auto start = [&](const char* name, std::chrono::nanoseconds due) {
    timers.push_back(loop.NewTimer([&log, name] { log.emplace_back(name); }));
    timers.back()->Start(loop.Now() + due);
  };
  start("3", 3ms);
  start("1", 1ms);
  start("2a", 2ms);
  start("2b", 2ms);  // equal ones in order of start
  start("past", -1ms);
  start("long past", -2ms);
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("long past", "past"));
  loop.Advance(10ms);
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("long past", "past", "1", "2a", "2b", "3"));
}

TEST(TSystemLoop, ManyTimersActInOrderHoweverTheyWereStartedAndStopped) {
  std::mt19937 random(21);
  const auto below = [&](std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  };
  TClockLoop loop;
  std::vector<TTimer> timers;
  std::vector<std::optional<std::size_t>> due(300);
  std::vector<std::size_t> acted;
  for (std::size_t i = 0; i < due.size(); ++i) {
    timers.push_back(loop.NewTimer([&, i] { acted.push_back(*due[i]); }));
  }
  for (int step = 0; step < 3000; ++step) {
    const std::size_t i = below(due.size());
    timers[i]->Stop();
    due[i].reset();
    if (below(3) == 0) continue;
    due[i] = below(1000);
    timers[i]->Start(loop.Now() + std::chrono::nanoseconds(*due[i]));
  }
  loop.Advance(1us);
  loop.RunPending();
  std::vector<std::size_t> expected;
  for (const auto& each : due) {
    if (each) expected.push_back(*each);
  }
  std::ranges::sort(expected);
  EXPECT_GT(expected.size(), 100U);
  EXPECT_EQ(acted, expected);
}

TEST(TSystemLoop, TimerActsOncePerStart) {
  TClockLoop loop;
  int acted = 0;
  const TTimer timer = loop.NewTimer([&] { ++acted; });
  loop.Advance(1s);
  loop.RunPending();
  EXPECT_EQ(acted, 0) << "not started";
  timer->Start(loop.Now());
  loop.RunPending();
  loop.RunPending();
  EXPECT_EQ(acted, 1);
  timer->Start(loop.Now());
  loop.RunPending();
  EXPECT_EQ(acted, 2);
}

TEST(TSystemLoop, TimerNeverActsEarly) {
  TClockLoop loop;
  int acted = 0;
  const TTimer timer = loop.NewTimer([&] { ++acted; });
  timer->Start(loop.Now() + 1ms);
  loop.Advance(1ms - 1ns);
  loop.RunPending();
  EXPECT_EQ(acted, 0);
  loop.Advance(1ns);
  loop.RunPending();
  EXPECT_EQ(acted, 1);
}

TEST(TSystemLoop, TimerNeverActsEarlyByTheRealClock) {
  TSystemLoop loop;
  for (const auto delay : {0ns, 1ns, 999ns, 50'000ns, 1'750'000ns, 3'000'000ns}) {
    const auto due = loop.Now() + delay;
    std::optional<TTime> acted;
    const TTimer timer = loop.NewTimer([&] { acted = loop.Now(); });
    timer->Start(due);
    ASSERT_TRUE(loop.RunUntil([&] { return acted.has_value(); }, kLong));
    EXPECT_GE(*acted, due);
  }
}

TEST(TSystemLoop, OneTurnWaitsForATimerAndServesIt) {
  TSystemLoop loop;
  int acted = 0;
  const TTimer timer = loop.NewTimer([&] { ++acted; });
  timer->Start(loop.Now() + 2ms);
  EXPECT_TRUE(loop.RunOnce(loop.Now() + kLong));
  EXPECT_EQ(acted, 1);
  EXPECT_EQ(loop.WaitCount(), 1U);
}

TEST(TSystemLoop, TimerStartedAnewForgetsItsFirstStart) {
  TClockLoop loop;
  TLog log;
  const TTimer timer = loop.NewTimer([&] { log.emplace_back("acted"); });
  timer->Start(loop.Now() + 1ms);
  timer->Start(loop.Now() + 5ms);
  loop.Advance(2ms);
  loop.RunPending();
  EXPECT_THAT(log, IsEmpty());
  timer->Start(loop.Now() + 1ms);
  loop.Advance(1ms);
  loop.RunPending();
  loop.Advance(10ms);
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("acted"));
}

TEST(TSystemLoop, StoppedTimerDoesNotAct) {
  TClockLoop loop;
  const TTimer timer = loop.NewTimer([] { FAIL(); });
  timer->Stop();
  timer->Start(loop.Now());
  timer->Stop();
  timer->Stop();
  loop.RunPending();
}

TEST(TSystemLoop, TimerStartsItselfAgainForTheNextTurn) {
  TClockLoop loop;
  int acted = 0;
  TTimer timer;
  timer = loop.NewTimer([&] {
    if (++acted < 3) timer->Start(loop.Now());
  });
  timer->Start(loop.Now());
  EXPECT_TRUE(loop.RunOnce(TTime::min()));
  EXPECT_EQ(acted, 1);
  loop.RunPending();
  EXPECT_EQ(acted, 3);
}

TEST(TSystemLoop, TimerThatIsAlwaysDueLetsTheOthersAct) {
  TClockLoop loop;
  TLog log;
  TTimer hasty;
  hasty = loop.NewTimer([&] {
    log.emplace_back("hasty");
    hasty->Start(TTime::min());
  });
  const TTimer other = loop.NewTimer([&] { log.emplace_back("other"); });
  hasty->Start(TTime::min());
  other->Start(loop.Now());
  loop.RunOnce(TTime::min());
  EXPECT_THAT(log, ElementsAre("hasty", "other"));
  loop.RunOnce(TTime::min());
  EXPECT_THAT(log, ElementsAre("hasty", "other", "hasty"));
}

TEST(TSystemLoop, TimerIsDestroyedInsideItsOwnAction) {
  TClockLoop loop;
  TLog log;
  TTimer timer;
  timer = loop.NewTimer([&, text = std::string(100, 'x')] {
    timer.reset();
    log.push_back(text.substr(0, 1));
  });
  timer->Start(loop.Now());
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("x"));
}

TEST(TSystemLoop, TimerIsStoppedOrDestroyedInsideAnothersAction) {
  for (const bool destroyed : {true, false}) {
    TClockLoop loop;
    TLog log;
    TTimer victim = loop.NewTimer([] { FAIL(); });
    const TTimer first = loop.NewTimer([&] {
      log.emplace_back("first");
      if (destroyed) {
        victim.reset();
      } else {
        victim->Stop();
      }
    });
    const TTimer last = loop.NewTimer([&] { log.emplace_back("last"); });
    first->Start(loop.Now());
    victim->Start(loop.Now());
    last->Start(loop.Now());
    loop.RunPending();
    EXPECT_THAT(log, ElementsAre("first", "last"));
  }
}

TEST(TSystemLoop, DueTimerIsPutOffInsideAnothersAction) {
  TClockLoop loop;
  TLog log;
  const TTimer second = loop.NewTimer([&] { log.emplace_back("second"); });
  const TTimer first = loop.NewTimer([&] { second->Start(loop.Now() + 1ms); });
  first->Start(loop.Now());
  second->Start(loop.Now());
  loop.RunPending();
  EXPECT_THAT(log, IsEmpty());
  loop.Advance(1ms);
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("second"));
}

TEST(TSystemLoop, InnerTurnServesTheTimersThatAreDueToo) {
  TClockLoop loop;
  TLog log;
  const TTimer second = loop.NewTimer([&] { log.emplace_back("second"); });
  const TTimer first = loop.NewTimer([&] {
    log.emplace_back("first");
    loop.RunPending();
    log.emplace_back("first ends");
  });
  first->Start(loop.Now());
  second->Start(loop.Now());
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("first", "second", "first ends"));
}

TEST(TSystemLoop, ExceptionOfATimerLeavesTheOthersDue) {
  TClockLoop loop;
  TLog log;
  const TTimer first = loop.NewTimer([] { throw std::runtime_error("first"); });
  const TTimer second = loop.NewTimer([&] { log.emplace_back("second"); });
  first->Start(loop.Now());
  second->Start(loop.Now());
  EXPECT_THAT([&] { loop.RunPending(); }, ThrowsMessage<std::runtime_error>("first"));
  EXPECT_THAT(log, IsEmpty());
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("second"));
}

TEST(TSystemLoop, TimerThatAnExceptionLeftDueIsStoppedPutOffOrDestroyed) {
  TClockLoop loop;
  TLog log;
  const TTimer first = loop.NewTimer([] { throw std::runtime_error("first"); });
  const TTimer stopped = loop.NewTimer([] { FAIL(); });
  const TTimer putOff = loop.NewTimer([&] { log.emplace_back("put off"); });
  TTimer destroyed = loop.NewTimer([] { FAIL(); });
  const TTimer last = loop.NewTimer([&] { log.emplace_back("last"); });
  for (TLoopTimer* each : {&*first, &*stopped, &*putOff, &*destroyed, &*last}) {
    each->Start(loop.Now());
  }
  EXPECT_THROW(loop.RunPending(), std::runtime_error);
  stopped->Stop();
  putOff->Start(loop.Now() + 1ms);
  destroyed.reset();
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("last"));
  loop.Advance(1ms);
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("last", "put off"));
}

TEST(TSystemLoop, LoopGoesWithTimersThatAreDue) {
  std::optional<TClockLoop> loop(std::in_place);
  const TTimer first = loop->NewTimer([] { throw std::runtime_error("first"); });
  const TTimer second = loop->NewTimer([] { FAIL(); });
  first->Start(loop->Now());
  second->Start(loop->Now());
  EXPECT_THROW(loop->RunPending(), std::runtime_error);
  loop.reset();
  second->Stop();
}

TEST(TSystemLoop, ExceptionOfATimerGoesToTheHook) {
  TClockLoop loop;
  TLog log;
  loop.OnException = [&](const std::exception_ptr&) { log.emplace_back("hook"); };
  const TTimer first = loop.NewTimer([] { throw std::runtime_error("first"); });
  const TTimer second = loop.NewTimer([&] { log.emplace_back("second"); });
  first->Start(loop.Now());
  second->Start(loop.Now());
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("hook", "second"));
}

TEST(TSystemLoop, TimersOutliveTheLoop) {
  std::optional<TClockLoop> loop(std::in_place);
  const auto now = loop->Now();
  const TTimer idle = loop->NewTimer([] { FAIL(); });
  const TTimer started = loop->NewTimer([] { FAIL(); });
  TTimer destroyed = loop->NewTimer([] { FAIL(); });
  started->Start(now);
  destroyed->Start(now);
  loop.reset();
  destroyed.reset();
  idle->Start(now);
  started->Stop();
  started->Start(now);
}

// ---- watches

// A pipe and its watch, which takes one byte a time and tells.
struct TWatched {
  TWatched(TLoop& loop, std::string name, TLog& log) : Name(std::move(name)), Log(log) {
    Watch = loop.NewWatch(Pipe.ReadEnd(), [this](TReadiness ready) { Act(ready); });
    Watch->Want(TReadiness::rdRead);
  }
  void Act(TReadiness ready) {
    EXPECT_EQ(ready, TReadiness::rdRead);
    const char c = Pipe.Take();
    Log.push_back(Name + (c == '\0' ? "-" : std::string(1, c)));
    if (OnRead) OnRead();
  }

  std::string Name;
  TLog& Log;
  TPipe Pipe;
  TWatch Watch;
  std::function<void()> OnRead;
};

TEST(TSystemLoop, WatchActsWhileItsHandleIsReady) {
  TSystemLoop loop;
  TLog log;
  TWatched a(loop, "a", log);
  EXPECT_FALSE(loop.RunOnce(TTime::min()));
  a.Pipe.Put('1');
  a.Pipe.Put('2');
  EXPECT_TRUE(loop.RunOnce(TTime::min()));
  EXPECT_THAT(log, ElementsAre("a1")) << "once a turn";
  EXPECT_TRUE(loop.RunOnce(TTime::min()));
  EXPECT_FALSE(loop.RunOnce(TTime::min()));
  EXPECT_THAT(log, ElementsAre("a1", "a2"));
}

TEST(TSystemLoop, WatchWantsNothingAtFirst) {
  TSystemLoop loop;
  TPipe pipe;
  pipe.Put('1');
  const TWatch watch = loop.NewWatch(pipe.ReadEnd(), [](TReadiness) { FAIL(); });
  loop.RunPending();
  watch->Want(TReadiness::rdRead);
  watch->Want(TReadiness::rdNone);
  loop.RunPending();
}

TEST(TSystemLoop, WatchForWriting) {
  TSystemLoop loop;
  TPipe pipe;
  pipe.Fill();
  int acted = 0;
  TWatch watch;
  watch = loop.NewWatch(pipe.WriteEnd(), [&](TReadiness ready) {
    EXPECT_EQ(ready, TReadiness::rdWrite);
    ++acted;
    watch->Want(TReadiness::rdNone);
  });
  watch->Want(TReadiness::rdReadWrite);
  loop.RunPending();
  EXPECT_EQ(acted, 0);
  pipe.Drain();
  loop.RunPending();
  EXPECT_EQ(acted, 1);
}

TEST(TSystemLoop, HangUpIsReadyForWhateverIsWanted) {
  for (const TReadiness want : {TReadiness::rdRead, TReadiness::rdWrite, TReadiness::rdReadWrite}) {
    TSystemLoop loop;
    TPipe pipe;
    TWatch watch;
    TReadiness found = TReadiness::rdNone;
    watch = loop.NewWatch(pipe.ReadEnd(), [&](TReadiness ready) {
      found = ready;
      watch.reset();
    });
    watch->Want(want);
    pipe.CloseWriteEnd();
    loop.RunPending();
    EXPECT_EQ(found, want);
  }
}

TEST(TSystemLoop, HangUpOfAHandleFromWhichNothingIsWantedWakesNobody) {
  TSystemLoop loop;
  TPipe pipe;
  const TWatch watch = loop.NewWatch(pipe.ReadEnd(), [](TReadiness) { FAIL(); });
  pipe.CloseWriteEnd();
  EXPECT_FALSE(loop.RunUntil([] { return false; }, 5ms));
  EXPECT_LE(loop.WaitCount(), 3U);
}

TEST(TSystemLoop, WatchIsDestroyedInsideItsOwnAction) {
  TSystemLoop loop;
  TLog log;
  TPipe pipe;
  pipe.Put('1');
  TWatch watch;
  watch = loop.NewWatch(pipe.ReadEnd(), [&, text = std::string(100, 'x')](TReadiness) {
    watch.reset();
    log.push_back(text.substr(0, 1));
  });
  watch->Want(TReadiness::rdRead);
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("x"));
}

TEST(TSystemLoop, WatchIsDestroyedInsideAnothersAction) {
  for (const bool laterOne : {true, false}) {
    TSystemLoop loop;
    TLog log;
    TWatched a(loop, "a", log);
    TWatched b(loop, "b", log);
    TWatched c(loop, "c", log);
    TWatched& killer = laterOne ? a : b;
    TWatched& victim = laterOne ? b : a;
    killer.OnRead = [&] { victim.Watch.reset(); };
    for (const TWatched* each : {&a, &b, &c}) each->Pipe.Put('1');
    loop.RunPending();
    if (laterOne) {
      EXPECT_THAT(log, ElementsAre("a1", "c1"));
    } else {
      EXPECT_THAT(log, ElementsAre("a1", "b1", "c1"));
    }
  }
}

TEST(TSystemLoop, WatchMadeInsideAnActionActsFromTheNextTurn) {
  TSystemLoop loop;
  TLog log;
  TWatched a(loop, "a", log);
  std::optional<TWatched> b;
  a.OnRead = [&] {
    b.emplace(loop, "b", log);
    b->Pipe.Put('1');
  };
  a.Pipe.Put('1');
  loop.RunOnce(TTime::min());
  EXPECT_THAT(log, ElementsAre("a1"));
  loop.RunOnce(TTime::min());
  EXPECT_THAT(log, ElementsAre("a1", "b1"));
}

TEST(TSystemLoop, WatchThatWantsNothingAnyMoreIsLeftOut) {
  TSystemLoop loop;
  TLog log;
  TWatched a(loop, "a", log);
  TWatched b(loop, "b", log);
  a.OnRead = [&] { b.Watch->Want(TReadiness::rdNone); };
  a.Pipe.Put('1');
  b.Pipe.Put('1');
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("a1"));
}

TEST(TSystemLoop, InnerTurnAfterAWatchWasDestroyed) {
  TSystemLoop loop;
  TLog log;
  TWatched a(loop, "a", log);
  TWatched b(loop, "b", log);
  TWatched c(loop, "c", log);
  b.OnRead = [&] {
    a.Watch.reset();
    c.Watch.reset();
    loop.RunPending();
    log.emplace_back("b ends");
  };
  for (const TWatched* each : {&b, &c}) each->Pipe.Put('1');
  b.Pipe.Put('2');
  loop.RunOnce(TTime::min());
  b.OnRead = nullptr;
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("b1", "b2", "b ends", "b ends"));
}

TEST(TSystemLoop, ReadinessThatAnInnerTurnHasServedIsOver) {
  TSystemLoop loop;
  TLog log;
  TWatched a(loop, "a", log);
  TWatched b(loop, "b", log);
  a.OnRead = [&] { loop.RunPending(); };
  a.Pipe.Put('1');
  b.Pipe.Put('1');
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("a1", "b1")) << "b- would be a read of nothing";
}

TEST(TSystemLoop, ExceptionOfAWatchLeavesTheOthersReady) {
  TSystemLoop loop;
  TLog log;
  TWatched a(loop, "a", log);
  TWatched b(loop, "b", log);
  a.OnRead = [] { throw std::runtime_error("a"); };
  a.Pipe.Put('1');
  b.Pipe.Put('1');
  EXPECT_THAT([&] { loop.RunPending(); }, ThrowsMessage<std::runtime_error>("a"));
  EXPECT_THAT(log, ElementsAre("a1"));
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("a1", "b1"));
}

TEST(TSystemLoop, ExceptionOfAWatchGoesToTheHook) {
  TSystemLoop loop;
  TLog log;
  loop.OnException = [&](const std::exception_ptr&) { log.emplace_back("hook"); };
  TWatched a(loop, "a", log);
  TWatched b(loop, "b", log);
  a.OnRead = [] { throw std::runtime_error("a"); };
  a.Pipe.Put('1');
  b.Pipe.Put('1');
  loop.RunOnce(TTime::min());
  EXPECT_THAT(log, ElementsAre("a1", "hook", "b1"));
}

TEST(TSystemLoop, WatchDestroyedByAnActionThatThrows) {
  TSystemLoop loop;
  TLog log;
  TWatched a(loop, "a", log);
  TWatched b(loop, "b", log);
  a.OnRead = [&] {
    b.Watch.reset();
    throw std::runtime_error("a");
  };
  a.Pipe.Put('1');
  b.Pipe.Put('1');
  EXPECT_THROW(loop.RunPending(), std::runtime_error);
  loop.RunPending();
  EXPECT_THAT(log, ElementsAre("a1"));
}

TEST(TSystemLoop, WatchesOutliveTheLoop) {
  std::optional<TSystemLoop> loop(std::in_place);
  const TPipe pipe;
  TWatch first = loop->NewWatch(pipe.ReadEnd(), [](TReadiness) { FAIL(); });
  const TWatch second = loop->NewWatch(pipe.ReadEnd(), [](TReadiness) { FAIL(); });
  loop.reset();
  second->Want(TReadiness::rdRead);
  first.reset();
}

// ---- one turn among all kinds of work

TEST(TSystemLoop, EndlessPostingLetsHandlesAndTimersAct) {
  TSystemLoop loop;
  TLog log;
  std::function<void()> again = [&] { loop.Post(again); };
  loop.Post(again);
  TWatched a(loop, "a", log);
  a.Pipe.Put('1');
  EXPECT_TRUE(loop.RunUntil([&] { return log.size() == 1; }, kLong));
  const TTimer timer = loop.NewTimer([&] { log.emplace_back("timer"); });
  timer->Start(loop.Now() + 1ms);
  EXPECT_TRUE(loop.RunUntil([&] { return log.size() == 2; }, kLong));
}

TEST(TSystemLoop, EndlessThrowingLetsHandlesAct) {
  TSystemLoop loop;
  TLog log;
  std::function<void()> again = [&] {
    loop.Post(again);
    throw std::runtime_error("again");
  };
  loop.Post(again);
  TWatched a(loop, "a", log);
  a.Pipe.Put('1');
  for (int i = 0; i < 100 && log.empty(); ++i) {
    EXPECT_THROW(loop.RunOnce(TTime::min()), std::runtime_error);
  }
  EXPECT_THAT(log, ElementsAre("a1"));
}

TEST(TSystemLoop, DataThatCameBeforeATimeOutIsReadFirst) {
  TSystemLoop loop;
  TLog log;
  TWatched a(loop, "a", log);
  const TTimer timer = loop.NewTimer([&] { log.emplace_back("time-out"); });
  const TTimer sender = loop.NewTimer([&] {
    a.Pipe.Put('1');
    timer->Start(loop.Now());
  });
  sender->Start(loop.Now() + 1ms);
  EXPECT_TRUE(loop.RunUntil([&] { return log.size() == 2; }, kLong));
}

TEST(TSystemLoop, HandleEndsTheWaitForAFarTimer) {
  TSystemLoop loop;
  TLog log;
  TWatched a(loop, "a", log);
  const TTimer far = loop.NewTimer([] { FAIL(); });
  far->Start(loop.Now() + 24h);
  a.Pipe.Put('1');
  EXPECT_TRUE(loop.RunOnce(TTime::max()));
  EXPECT_THAT(log, ElementsAre("a1"));
}

TEST(TSystemLoop, WorkThatIsDueAsksTheKernelForNothing) {
  TSystemLoop loop;
  for (int i = 0; i < 10; ++i) {
    loop.Post([] {});
    EXPECT_TRUE(loop.RunOnce(TTime::max()));
  }
  EXPECT_EQ(loop.WaitCount(), 0U);
}

volatile std::sig_atomic_t alarms = 0;

TEST(TSystemLoop, SignalEndsAWaitWithoutAnError) {
  struct sigaction before {};
  struct sigaction count {};
  count.sa_handler = [](int) { alarms = alarms + 1; };
  ASSERT_EQ(sigaction(SIGALRM, &count, &before), 0);
  const itimerval soon{{0, 0}, {0, 2000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &soon, nullptr), 0);
  TSystemLoop loop;
  const auto start = loop.Now();
  EXPECT_TRUE(loop.RunUntil([] { return alarms > 0; }, kLong));
  EXPECT_LT(loop.Now() - start, kLong);
  sigaction(SIGALRM, &before, nullptr);
}

}  // namespace
}  // namespace OrvixModBus
