#include "platform/model/uEvent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

using TNotify = TEvent<void()>;
using TNotifyList = TEventList<void()>;

static_assert(!std::is_copy_constructible_v<TNotifyList>, "two lists would be one");
static_assert(!std::is_copy_assignable_v<TNotifyList>);

class TCounter : public TObject {
 public:
  void Count() { ++Calls; }
  void Other() { Calls += 100; }
  int Calls = 0;
};

class TBase : public TObject {
 public:
  virtual void Act() { Log += "base "; }
  void Plain() { Log += "plain "; }
  std::string Log;
};
class TDerived : public TBase {
 public:
  void Act() override { Log += "derived "; }
};

struct TMixin {
  void Ready() { ++Times; }
  int Times = 0;
};
class TPanel : public TObject, public TMixin {};

int freeCalls = 0;
void FreeHandler() { ++freeCalls; }

TEST(TEvent, EmptyDoesNothing) {
  const TNotify event;
  EXPECT_FALSE(event);
  event();
  const TEvent<int()> number;
  EXPECT_EQ(number(), 0);
}

TEST(TEvent, CallsTheMethodOfItsObject) {
  TCounter counter;
  TNotify event;
  event = {&counter, &TCounter::Count};
  EXPECT_TRUE(event.Assigned());
  event();
  event();
  EXPECT_EQ(counter.Calls, 2);
}

TEST(TEvent, CallsAnyCallable) {
  TCounter counter;
  TNotify event = [&] { counter.Count(); };
  event();
  event = std::function<void()>([&] { counter.Other(); });
  event();
  EXPECT_EQ(counter.Calls, 101);
  freeCalls = 0;
  event = &FreeHandler;
  event();
  EXPECT_EQ(freeCalls, 1);
}

TEST(TEvent, CallsAVirtualMethodOfTheDescendant) {
  TDerived object;
  TBase* const known = &object;
  const TNotify event = {known, &TBase::Act};
  event();
  EXPECT_EQ(object.Log, "derived ");
}

TEST(TEvent, CallsAMethodThatItsObjectInherits) {
  auto panel = std::make_unique<TPanel>();
  const TNotify event = {panel.get(), &TPanel::Ready};
  event();
  EXPECT_EQ(panel->Times, 1);
  panel.reset();  // a TObject, although the method's own class is none
  EXPECT_TRUE(event.Gone());
  event();
}

TEST(TEvent, HandsReferencesAndResultsThrough) {
  const TEvent<bool(int&, const std::string&)> event = [](int& length, const std::string& text) {
    length = static_cast<int>(text.size());
    return true;
  };
  int length = 0;
  EXPECT_TRUE(event(length, "abc"));
  EXPECT_EQ(length, 3);
}

TEST(TEvent, NilIsEmpty) {
  TNotify event = [] { FAIL(); };
  event = nullptr;
  EXPECT_FALSE(event);
  event = {static_cast<TCounter*>(nullptr), &TCounter::Count};
  EXPECT_FALSE(event);
  event();
}

TEST(TEvent, CallableWithoutContentIsEmpty) {
  void (*const nothing)() = nullptr;
  for (const TNotify& event : {TNotify(std::function<void()>()), TNotify(nothing)}) {
    EXPECT_FALSE(event);
    event();
  }
}

TEST(TEvent, IsNotCalledOnceItsObjectIsGone) {
  auto counter = std::make_unique<TCounter>();
  const TNotify event = {counter.get(), &TCounter::Count};
  const TNotify copy = event;
  EXPECT_FALSE(event.Gone());
  counter.reset();
  EXPECT_TRUE(event.Gone());
  EXPECT_FALSE(event.Assigned());
  event();
  copy();
}

TEST(TEvent, HandlerReassignsItsEvent) {
  TNotify event;
  const auto kept = std::make_shared<int>(1);
  event = [&event, kept] {
    event = nullptr;  // this closure must outlive its own removal
    EXPECT_EQ(*kept, 1);
  };
  event();
  EXPECT_FALSE(event);
  EXPECT_EQ(kept.use_count(), 1);
}

TEST(TEvent, HandlerDestroysTheOwnerOfTheEvent) {
  struct TOwner {
    TNotify OnEnd;
  };
  auto owner = std::make_unique<TOwner>();
  owner->OnEnd = [&owner, text = std::string(100, 'x')] {
    owner.reset();
    EXPECT_EQ(text.size(), 100U);
  };
  owner->OnEnd();
  EXPECT_EQ(owner, nullptr);
}

TEST(TEvent, HandlerDestroysItsOwnObject) {
  struct TSelf : TObject {
    void End() { delete this; }
  };
  auto* const object = new TSelf;
  const TNotify event = {object, &TSelf::End};
  event();
  EXPECT_TRUE(event.Gone());
  event();
}

TEST(TEvent, HandlerThrowsThroughAndStaysAssigned) {
  const TNotify event = [] { throw std::runtime_error("refused"); };
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT([&] { event(); }, ThrowsMessage<std::runtime_error>("refused"));
  }
}

TEST(TEvent, EqualMeansSameObjectAndSameMethod) {
  TCounter a;
  TCounter b;
  const TNotify event(&a, &TCounter::Count);
  EXPECT_TRUE(event == TNotify(&a, &TCounter::Count));
  EXPECT_FALSE(event == TNotify(&b, &TCounter::Count));
  EXPECT_FALSE(event == TNotify(&a, &TCounter::Other));
  EXPECT_FALSE(event == TNotify());
  EXPECT_TRUE(TNotify() == TNotify(nullptr));
}

TEST(TEvent, EqualHoweverTheObjectIsKnown) {
  TDerived object;
  TBase* const base = &object;
  EXPECT_TRUE(TNotify(&object, &TBase::Plain) == TNotify(base, &TBase::Plain));
}

TEST(TEvent, CallableIsEqualToItsCopiesOnly) {
  const auto callable = [] {};
  const TNotify event = callable;
  const TNotify copy = event;
  EXPECT_TRUE(copy == event);
  EXPECT_FALSE(event == TNotify(callable));
}

TEST(TEvent, NewObjectAtTheSamePlaceIsNotTheOneThatIsGone) {
  std::optional<TCounter> place;
  place.emplace();
  const TNotify old(&*place, &TCounter::Count);
  place.emplace();
  EXPECT_FALSE(old == TNotify(&*place, &TCounter::Count));
}

// ---- handler lists

class TLog {
 public:
  TNotify Entry(std::string text) {
    return [this, text] { Lines.push_back(text); };
  }
  std::vector<std::string> Lines;
};

TEST(TEventList, CallsAllInOrderOfAdding) {
  TLog log;
  TNotifyList list;
  list();
  list.Add(log.Entry("first"));
  list.Add(nullptr);
  list.Add(log.Entry("second"));
  EXPECT_EQ(list.Count(), 3);
  list();
  EXPECT_THAT(log.Lines, ElementsAre("first", "second"));
}

TEST(TEventList, SameHandlerAddedTwiceIsCalledTwiceAndRemovedOnce) {
  TCounter counter;
  TNotifyList list;
  list.Add(&counter, &TCounter::Count);
  list.Add(&counter, &TCounter::Count);
  list();
  EXPECT_EQ(counter.Calls, 2);
  EXPECT_TRUE(list.Remove(&counter, &TCounter::Count));
  list();
  EXPECT_EQ(counter.Calls, 3);
  EXPECT_TRUE(list.Remove(&counter, &TCounter::Count));
  EXPECT_FALSE(list.Remove(&counter, &TCounter::Count));
  EXPECT_EQ(list.Count(), 0);
}

TEST(TEventList, RemovesByObjectAndMethod) {
  TCounter a;
  TCounter b;
  TNotifyList list;
  list.Add(&a, &TCounter::Count);
  EXPECT_FALSE(list.Remove(&b, &TCounter::Count));
  EXPECT_FALSE(list.Remove(&a, &TCounter::Other));
  EXPECT_TRUE(list.Remove(&a, &TCounter::Count));
}

TEST(TEventList, RemovesACallableByItsCopy) {
  TLog log;
  TNotifyList list;
  const TNotify handler = log.Entry("called");
  list.Add(handler);
  EXPECT_TRUE(list.Remove(handler));
  list();
  EXPECT_THAT(log.Lines, IsEmpty());
}

TEST(TEventList, HandsReferencesToEveryHandler) {
  TEventList<void(int&)> list;
  list.Add([](int& sum) { sum += 1; });
  list.Add([](int& sum) { sum *= 10; });
  int sum = 4;
  list(sum);
  EXPECT_EQ(sum, 50);
}

TEST(TEventList, HandlerAddedDuringACallIsCalledFromTheNextOne) {
  TLog log;
  TNotifyList list;
  list.Add([&] {
    // Enough of them to move the entries while this one is running.
    for (int i = 0; i < 100; ++i) list.Add(log.Entry("added"));
    log.Lines.emplace_back("adder");
  });
  list();
  EXPECT_THAT(log.Lines, ElementsAre("adder"));
  log.Lines.clear();
  list();
  EXPECT_EQ(log.Lines.size(), 101U);
}

TEST(TEventList, HandlerRemovedDuringACallIsNotCalledAnyMore) {
  TLog log;
  TNotifyList list;
  const TNotify victim = log.Entry("victim");
  list.Add([&] { EXPECT_TRUE(list.Remove(victim)); });
  list.Add(victim);
  list.Add(log.Entry("last"));
  list();
  EXPECT_THAT(log.Lines, ElementsAre("last"));
  EXPECT_EQ(list.Count(), 2);
}

TEST(TEventList, HandlerRemovesItself) {
  TLog log;
  TNotifyList list;
  TNotify self;
  self = [&, kept = std::string(100, 'x')] {
    list.Remove(self);
    log.Lines.push_back(kept.substr(0, 1));
  };
  list.Add(self);
  list.Add(log.Entry("next"));
  list();
  list();
  EXPECT_THAT(log.Lines, ElementsAre("x", "next", "next"));
}

TEST(TEventList, SkipsTheHandlerWhoseObjectAnEarlierOneDestroyed) {
  auto counter = std::make_unique<TCounter>();
  TNotifyList list;
  list.Add([&] { counter.reset(); });
  list.Add(counter.get(), &TCounter::Count);
  EXPECT_EQ(list.Count(), 2);
  list();
  EXPECT_EQ(list.Count(), 1);
}

TEST(TEventList, HandlerDestroysItsOwnObject) {
  struct TSelf : TObject {
    void End() { delete this; }
  };
  TLog log;
  TNotifyList list;
  list.Add(new TSelf, &TSelf::End);
  list.Add(log.Entry("next"));
  list();
  EXPECT_THAT(log.Lines, ElementsAre("next"));
  EXPECT_EQ(list.Count(), 1);
}

TEST(TEventList, DestroyedDuringACallCallsNobodyElse) {
  // What the others would be handed belongs to the list's owner as a rule.
  struct TOwner {
    int Value = 5;
    TEventList<void(TOwner&)> OnRead;
  };
  auto owner = std::make_unique<TOwner>();
  int read = 0;
  owner->OnRead.Add([&](TOwner&) { owner.reset(); });
  owner->OnRead.Add([&](TOwner& gone) { read = gone.Value; });
  owner->OnRead(*owner);
  EXPECT_EQ(owner, nullptr);
  EXPECT_EQ(read, 0);
}

TEST(TEventList, RaisedAgainInsideACall) {
  TLog log;
  TNotifyList list;
  int depth = 0;
  list.Add([&] {
    log.Lines.push_back("enter " + std::to_string(depth));
    if (depth++ == 0) {
      list.Add(log.Entry("new"));
      list();
    }
  });
  list.Add(log.Entry("second"));
  list();
  // The inner call sees what was added before it; the outer one doesn't.
  EXPECT_THAT(log.Lines, ElementsAre("enter 0", "enter 1", "second", "new", "second"));
}

TEST(TEventList, RemovalInAnInnerCallHoldsForTheOuterOne) {
  TLog log;
  TNotifyList list;
  const TNotify victim = log.Entry("victim");
  bool inner = false;
  list.Add([&] {
    if (inner) {
      list.Remove(victim);
    } else {
      inner = true;
      list();
    }
  });
  list.Add(victim);
  list();
  EXPECT_THAT(log.Lines, IsEmpty());
  EXPECT_EQ(list.Count(), 1);
}

TEST(TEventList, CallsTheOthersWhenOneThrowsAndThrowsTheFirst) {
  TLog log;
  TNotifyList list;
  list.Add([] { throw std::runtime_error("one"); });
  list.Add(log.Entry("between"));
  list.Add([] { throw std::logic_error("two"); });
  list.Add(log.Entry("last"));
  EXPECT_THAT([&] { list(); }, ThrowsMessage<std::runtime_error>("one"));
  EXPECT_THAT(log.Lines, ElementsAre("between", "last"));
}

TEST(TEventList, IsWholeAfterACallThatThrew) {
  TLog log;
  TNotifyList list;
  const TNotify thrower = [] { throw std::runtime_error("one"); };
  list.Add(thrower);
  EXPECT_THROW(list(), std::runtime_error);
  EXPECT_TRUE(list.Remove(thrower));
  EXPECT_EQ(list.Count(), 0);
  list.Add(log.Entry("next"));
  list();
  EXPECT_THAT(log.Lines, ElementsAre("next"));
}

// A handler that owns something which unsubscribes as it goes.
class TSubscription {
 public:
  TSubscription(TNotifyList& list, TNotify other) : fList(list), fOther(std::move(other)) {}
  TSubscription(const TSubscription&) = delete;
  TSubscription& operator=(const TSubscription&) = delete;
  ~TSubscription() {
    fList.Remove(fOther);
    for (int i = 0; i < 100; ++i) fList.Add(nullptr);
  }

 private:
  TNotifyList& fList;
  TNotify fOther;
};

TEST(TEventList, RemovedHandlerTakesAnotherOneWithIt) {
  TLog log;
  TNotifyList list;
  const TNotify other = log.Entry("other");
  TNotify owner = [kept = std::make_shared<TSubscription>(list, other)] {};
  list.Add(owner);
  list.Add(other);
  list.Add(log.Entry("last"));
  EXPECT_TRUE(list.Remove(std::exchange(owner, nullptr)));
  list();
  EXPECT_THAT(log.Lines, ElementsAre("last"));
  EXPECT_EQ(list.Count(), 101);
}

TEST(TEventList, HandlerRemovedDuringACallTakesAnotherOneWithIt) {
  TLog log;
  TNotifyList list;
  const TNotify other = log.Entry("other");
  TNotify owner = [kept = std::make_shared<TSubscription>(list, other)] {};
  list.Add(owner);
  list.Add([&] {
    if (owner) list.Remove(std::exchange(owner, nullptr));
  });
  list.Add(other);
  list();
  EXPECT_THAT(log.Lines, ElementsAre("other")) << "the removed handler lives until the call ends";
  EXPECT_EQ(list.Count(), 101);
}

TEST(TEventList, RemovesTheNewObjectAtThePlaceOfOneThatIsGone) {
  std::optional<TCounter> place;
  TNotifyList list;
  place.emplace();
  list.Add(&*place, &TCounter::Count);
  place.emplace();
  list.Add(&*place, &TCounter::Count);
  EXPECT_EQ(list.Count(), 1);
  EXPECT_TRUE(list.Remove(&*place, &TCounter::Count));
  list();
  EXPECT_EQ(place->Calls, 0);
  EXPECT_EQ(list.Count(), 0);
}

TEST(TEventList, ObjectUnsubscribesInItsDestructorAfterForgetting) {
  struct TMember : TObject {
    explicit TMember(TNotifyList& list) : List(list) { list.Add(this, &TMember::Called); }
    ~TMember() override {
      ForgetReferences();
      EXPECT_TRUE(List.Remove(this, &TMember::Called));
    }
    void Called() { FAIL(); }
    TNotifyList& List;
  };
  TNotifyList list;
  { const TMember member(list); }
  EXPECT_EQ(list.Count(), 0);
  list();
}

}  // namespace
}  // namespace OrvixModBus
