#include "platform/loop/uVirtualLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST(TVirtualLoop, IsCurrentWhileItLives) {
  TLoop* const fallback = &TLoop::Current();
  {
    const TVirtualLoop loop;
    EXPECT_EQ(&TLoop::Current(), &loop);
  }
  EXPECT_EQ(&TLoop::Current(), fallback);
}

TEST(TVirtualLoop, TimeJumpsFromTimerToTimer) {
  TVirtualLoop loop;
  const auto start = loop.Now();
  std::vector<std::string> done;
  const auto late = loop.NewTimer([&] { done.emplace_back("late"); });
  const auto soon = loop.NewTimer([&] { done.emplace_back("soon"); });
  late->Start(start + 24h);
  soon->Start(start + 1ms);
  EXPECT_TRUE(loop.RunOnce(start + 48h));
  EXPECT_EQ(loop.Now(), start + 1ms);
  EXPECT_TRUE(loop.RunOnce(start + 48h));
  EXPECT_EQ(loop.Now(), start + 24h);
  EXPECT_FALSE(loop.RunOnce(start + 48h));
  EXPECT_EQ(loop.Now(), start + 48h);
  EXPECT_THAT(done, ElementsAre("soon", "late"));
  EXPECT_EQ(loop.Wakes(), 2);
}

TEST(TVirtualLoop, PostedActionsRunBeforeTimers) {
  TVirtualLoop loop;
  std::vector<int> done;
  const auto timer = loop.NewTimer([&] { done.push_back(2); });
  timer->Start(loop.Now());
  loop.Post([&] { done.push_back(1); });
  loop.RunPending();
  EXPECT_THAT(done, ElementsAre(1, 2));
}

TEST(TVirtualLoop, AStoppedOrDestroyedTimerIsSilent) {
  TVirtualLoop loop;
  int done = 0;
  const auto stopped = loop.NewTimer([&] { ++done; });
  auto destroyed = loop.NewTimer([&] { ++done; });
  stopped->Start(loop.Now() + 1s);
  destroyed->Start(loop.Now() + 1s);
  stopped->Stop();
  destroyed.reset();
  EXPECT_FALSE(loop.RunOnce(loop.Now() + 2s));
  EXPECT_EQ(done, 0);
}

TEST(TVirtualLoop, AnActionMayDestroyItsOwnTimer) {
  TVirtualLoop loop;
  std::unique_ptr<TLoopTimer> timer;
  int done = 0;
  timer = loop.NewTimer([&] {
    timer.reset();
    ++done;
  });
  timer->Start(loop.Now());
  loop.RunPending();
  EXPECT_EQ(done, 1);
}

// Readable from a time on.
class TReadableLater final : public TVirtualHandle {
 public:
  explicit TReadableLater(TVirtualLoop& loop, TVirtualLoop::TTime time) : Loop(loop), Time(time) {}
  TReadiness Ready() const override {
    return Loop.Now() >= Time ? TReadiness::rdRead : TReadiness::rdNone;
  }
  TVirtualLoop::TTime NextChange() const override {
    return Loop.Now() < Time ? Time : TVirtualLoop::TTime::max();
  }
  TVirtualLoop& Loop;
  const TVirtualLoop::TTime Time;
};

TEST(TVirtualLoop, AttachedHandlesAreWatchedForWhatIsWanted) {
  TVirtualLoop loop;
  const auto start = loop.Now();
  const TReadableLater later(loop, start + 1s);
  const THandle handle = loop.Attach(later);
  std::optional<TReadiness> seen;
  const auto watch = loop.NewWatch(handle, [&](TReadiness ready) { seen = ready; });
  EXPECT_FALSE(loop.RunOnce(start + 2s)) << "nothing is wanted yet";
  watch->Want(TReadiness::rdReadWrite);
  EXPECT_TRUE(loop.RunOnce(start + 3s));
  EXPECT_EQ(seen, TReadiness::rdRead);
  loop.Detach(handle);
  EXPECT_FALSE(loop.RunOnce(start + 4s));
}

TEST(TVirtualLoop, AHandleThatNobodyAttachedIsNeverReady) {
  TVirtualLoop loop;
  const auto watch = loop.NewWatch(THandle(12345), [](TReadiness) { FAIL(); });
  watch->Want(TReadiness::rdReadWrite);
  EXPECT_FALSE(loop.RunOnce(loop.Now() + 1s));
}

TEST(TVirtualLoop, TurningInPlaceIsFoundOut) {
  TVirtualLoop loop;
  std::function<void()> again = [&] { loop.Post(again); };
  loop.Post(again);
  EXPECT_THROW(loop.RunUntil([] { return false; }, 1s), std::logic_error);
}

TEST(TVirtualLoop, AskingManyTimesWhetherSomethingIsDueIsNoTurningInPlace) {
  TVirtualLoop loop;
  for (int i = 0; i < 200'000; ++i) loop.RunPending();
}

TEST(TVirtualLoop, TimersAndWatchesMayOutliveIt) {
  std::unique_ptr<TLoopTimer> timer;
  std::unique_ptr<TLoopWatch> watch;
  {
    TVirtualLoop loop;
    timer = loop.NewTimer([] {});
    watch = loop.NewWatch(THandle(1), [](TReadiness) {});
  }
  timer->Start({});
  watch->Want(TReadiness::rdRead);
}

TEST(TVirtualLoop, NothingCanBePostedOnceClosed) {
  TVirtualLoop loop;
  loop.Post([] { FAIL(); });
  loop.Close();
  EXPECT_FALSE(loop.Post([] {}));
  loop.RunPending();
}

TEST(TVirtualLoop, RefusesAnotherThread) {
  TVirtualLoop loop;
  OnAnotherThread([&] {
    EXPECT_THROW(loop.Post([] {}), EThreadError);
    EXPECT_THROW(loop.NewTimer([] {}), EThreadError);
    EXPECT_THROW(loop.NewWatch(THandle(1), [](TReadiness) {}), EThreadError);
    EXPECT_THROW(loop.RunOnce(loop.Now()), EThreadError);
  });
}

}  // namespace
}  // namespace OrvixModBus
