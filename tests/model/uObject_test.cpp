#include "platform/model/uObject.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace OrvixModBus {
namespace {

static_assert(!std::is_copy_constructible_v<TObject> && !std::is_copy_assignable_v<TObject>);
static_assert(std::has_virtual_destructor_v<TObject>);

class TThing : public TObject {
 public:
  int Number = 7;
};

// Lets others look at it from inside its destructor, as parts do that are told of its end.
class TFarewell : public TObject {
 public:
  ~TFarewell() override {
    ForgetReferences();
    if (OnEnd) OnEnd(this);
  }
  std::function<void(TFarewell*)> OnEnd;
};

TEST(TRef, IsNilAtFirstAndNotGone) {
  const TRef<TThing> ref;
  EXPECT_FALSE(ref);
  EXPECT_EQ(ref.Get(), nullptr);
  EXPECT_FALSE(ref.Gone());
}

TEST(TRef, MadeOfNilIsNilAndNotGone) {
  const TRef<TThing> ref(nullptr);
  EXPECT_FALSE(ref);
  EXPECT_FALSE(ref.Gone());
}

TEST(TRef, ReachesItsObject) {
  TThing thing;
  const TRef<TThing> ref(&thing);
  EXPECT_TRUE(ref);
  EXPECT_EQ(ref.Get(), &thing);
  EXPECT_EQ(ref->Number, 7);
  EXPECT_EQ((*ref).Number, 7);
}

TEST(TRef, BecomesNilAndGoneWithItsObject) {
  auto thing = std::make_unique<TThing>();
  const TRef<TThing> ref(thing.get());
  const TRef<TThing> copy = ref;
  thing.reset();
  EXPECT_EQ(ref.Get(), nullptr);
  EXPECT_TRUE(ref.Gone());
  EXPECT_EQ(copy.Get(), nullptr);
  EXPECT_TRUE(copy.Gone());
}

TEST(TRef, ObjectOutlivesItsReferences) {
  TThing thing;
  { const TRef<TThing> first(&thing); }
  const TRef<TThing> second(&thing);
  EXPECT_EQ(second.Get(), &thing);
}

TEST(TRef, CopyOfAGoneReferenceIsGone) {
  TRef<TThing> ref;
  {
    TThing thing;
    ref = &thing;
  }
  const TRef<TThing> copy(ref);
  EXPECT_TRUE(copy.Gone());
}

TEST(TRef, MovedFromIsNil) {
  TThing thing;
  TRef<TThing> from(&thing);
  const TRef<TThing> to(std::move(from));
  EXPECT_EQ(to.Get(), &thing);
  EXPECT_FALSE(from);  // NOLINT(bugprone-use-after-move): nil on purpose
}

TEST(TRef, AssignedToItselfKeepsItsObject) {
  TThing thing;
  TRef<TThing> ref(&thing);
  const TRef<TThing>& same = ref;
  ref = same;
  EXPECT_EQ(ref.Get(), &thing);
}

TEST(TRef, AssignedAnewForgetsThePreviousObject) {
  TThing stays;
  TRef<TThing> ref;
  {
    TThing goes;
    ref = &goes;
    ref = &stays;
  }
  EXPECT_EQ(ref.Get(), &stays);
  EXPECT_FALSE(ref.Gone());
  ref = nullptr;
  EXPECT_FALSE(ref);
  EXPECT_FALSE(ref.Gone());
}

TEST(TRef, NewObjectAtTheSamePlaceIsAnotherOne) {
  std::optional<TThing> place;
  place.emplace();
  const TRef<TThing> first(&*place);
  place.emplace();
  const TRef<TThing> second(&*place);
  EXPECT_TRUE(first.Gone());
  EXPECT_EQ(second.Get(), &*place);
}

TEST(TRef, IsNilFromTheBeginningOfADestructorThatForgets) {
  auto thing = std::make_unique<TFarewell>();
  const TRef<TFarewell> before(thing.get());
  bool asked = false;
  thing->OnEnd = [&](TFarewell* self) {
    asked = true;
    EXPECT_FALSE(before);
    EXPECT_FALSE(TRef<TFarewell>(self));
    EXPECT_TRUE(TRef<TFarewell>(self).Gone());
  };
  thing.reset();
  EXPECT_TRUE(asked);
}

TEST(TRef, TakenFirstInsideADestructorThatForgetsIsNil) {
  TRef<TFarewell> taken;
  {
    TFarewell thing;
    thing.OnEnd = [&](TFarewell* self) { taken = self; };
  }
  EXPECT_FALSE(taken);
  EXPECT_TRUE(taken.Gone());
}

TEST(TRef, ThousandReferencesGoWithOneObject) {
  std::vector<TRef<TThing>> refs;
  {
    TThing thing;
    for (int i = 0; i < 1000; ++i) refs.emplace_back(&thing);
    EXPECT_EQ(refs[999].Get(), &thing);
  }
  for (const TRef<TThing>& ref : refs) ASSERT_TRUE(ref.Gone());
}

}  // namespace
}  // namespace OrvixModBus
