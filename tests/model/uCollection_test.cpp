#include "platform/model/uCollection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class TPoint : public TCollectionItem {
 public:
  explicit TPoint(TCollection* collection) : TCollectionItem(collection) {
    fX = kDefault;
    if (OnMake) OnMake();
    Introduce();
  }
  static TCollectionItem* Make(TCollection* collection) { return new TPoint(collection); }
  static constexpr int kDefault = 5;
  inline static std::function<void()> OnMake;

  int X() const { return fX; }
  void SetX(int value) {
    if (value == fX) return;
    fX = value;
    Changed(false);
  }
  void Assign(const TPersistent& source) override {
    const auto* other = dynamic_cast<const TPoint*>(&source);
    if (other == nullptr) return TCollectionItem::Assign(source);
    SetX(other->X());
  }

 private:
  int fX = 0;
};

class TPoints : public TCollection {
 public:
  TPoints() : TCollection(&TPoint::Make) {}
  ~TPoints() override { Clear(); }

  TPoint& Point(int index) const { return static_cast<TPoint&>(*Items(index)); }
  TPoint& AddX(int x) {
    auto& point = static_cast<TPoint&>(*Add());
    point.SetX(x);
    return point;
  }
  std::vector<int> Xs() const {
    std::vector<int> xs;
    for (int i = 0; i < Count(); ++i) xs.push_back(Point(i).X());
    return xs;
  }

  std::vector<std::string> Log;

 protected:
  void Update(TCollectionItem* item) noexcept override {
    Log.push_back(item == nullptr ? "all" : "item " + std::to_string(item->Index()));
  }
  void Added(TCollectionItem& item) override {
    Log.push_back("added " + std::to_string(static_cast<TPoint&>(item).X()));
  }
};

TPoints& Fill(TPoints& points, int count) {
  for (int i = 0; i < count; ++i) points.AddX(i);
  points.Log.clear();
  return points;
}

TEST(TCollection, IsEmptyAtFirst) {
  const TPoints points;
  EXPECT_EQ(points.Count(), 0);
  EXPECT_EQ(points.Revision(), 0U);
  EXPECT_EQ(points.FindItemID(0), nullptr);
}

TEST(TCollection, AddsAtTheEndAndTells) {
  TPoints points;
  TCollectionItem* const first = points.Add();
  TCollectionItem* const second = points.Add();
  EXPECT_EQ(points.Items(0), first);
  EXPECT_EQ(points.Items(1), second);
  EXPECT_EQ(second->Collection(), &points);
  EXPECT_EQ(second->GetOwner(), &points);
  EXPECT_THAT(points.Log, ElementsAre("all", "added 5", "all", "added 5"));
}

TEST(TCollection, InsertsAtAnyPlaceAndTellsOnce) {
  for (const int place : {0, 2, 3}) {
    SCOPED_TRACE(place);
    TPoints points;
    Fill(points, 3);
    TCollectionItem* const item = points.Insert(place);
    EXPECT_EQ(item->Index(), place);
    EXPECT_EQ(points.Items(place), item);
    EXPECT_THAT(points.Log, ElementsAre("added 5", "all"));
  }
}

TEST(TCollection, PlacePastTheEndIsRefused) {
  TPoints points;
  Fill(points, 2);
  const TPoint value(nullptr);
  const std::vector<std::pair<int, std::function<void()>>> cases = {
      {2, [&] { points.Items(2); }},
      {-1, [&] { points.Items(-1); }},
      {3, [&] { points.Insert(3); }},
      {-1, [&] { points.Insert(-1); }},
      {2, [&] { points.Delete(2); }},
      {2, [&] { points.SetItem(2, value); }},
      {2, [&] { points.Items(0)->SetIndex(2); }},
      {-1, [&] { points.Items(0)->SetIndex(-1); }},
  };
  for (const auto& [index, use] : cases) {
    EXPECT_THAT(
        use, ThrowsMessage<EListError>("List index out of bounds (" + std::to_string(index) + ")"));
  }
  EXPECT_THAT(points.Xs(), ElementsAre(0, 1));
  EXPECT_THAT(points.Log, IsEmpty());
}

TEST(TCollection, GivesRunningIdsThatNeverComeBack) {
  TPoints points;
  Fill(points, 3);
  points.Delete(2);
  TCollectionItem* const item = points.Add();
  EXPECT_EQ(item->ID(), 3);
  points.Clear();
  EXPECT_EQ(points.Add()->ID(), 4);
}

TEST(TCollection, FindsAnItemByItsId) {
  TPoints points;
  Fill(points, 3);
  points.Delete(0);
  EXPECT_EQ(points.FindItemID(2), points.Items(1));
  EXPECT_EQ(points.FindItemID(0), nullptr);
}

TEST(TCollection, MovesAnItemBothWays) {
  struct TCase {
    int From;
    int To;
    std::vector<int> Order;
  };
  for (const TCase& c : {TCase{0, 3, {1, 2, 3, 0}}, TCase{3, 0, {3, 0, 1, 2}},
                         TCase{1, 2, {0, 2, 1, 3}}, TCase{2, 1, {0, 2, 1, 3}}}) {
    TPoints points;
    Fill(points, 4).Items(c.From)->SetIndex(c.To);
    EXPECT_EQ(points.Xs(), c.Order);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(points.Items(i)->Index(), i);
    EXPECT_THAT(points.Log, ElementsAre("all"));
  }
}

TEST(TCollection, ItemThatStaysWhereItIsTellsNothing) {
  TPoints points;
  Fill(points, 2).Items(1)->SetIndex(1);
  EXPECT_THAT(points.Log, IsEmpty());
}

TEST(TCollection, DeletesAnItemAndTells) {
  TPoints points;
  Fill(points, 3).Delete(1);
  EXPECT_THAT(points.Xs(), ElementsAre(0, 2));
  EXPECT_EQ(points.Items(1)->Index(), 1);
  EXPECT_THAT(points.Log, ElementsAre("all"));
}

TEST(TCollection, ItemDestroyedByItselfLeavesTheCollection) {
  TPoints points;
  Fill(points, 3);
  delete points.Items(0);
  EXPECT_THAT(points.Xs(), ElementsAre(1, 2));
  EXPECT_EQ(points.Items(0)->Index(), 0);
}

TEST(TCollection, ItemOnTheStackIsFreedOnce) {
  TPoints points;
  {
    const TPoint item(&points);
    EXPECT_EQ(points.Count(), 1);
  }
  EXPECT_EQ(points.Count(), 0);
}

TEST(TCollection, ItemWhoseConstructorThrowsIsNotThere) {
  TPoints points;
  Fill(points, 1);
  TPoint::OnMake = [] { throw std::runtime_error("no"); };
  EXPECT_THROW(points.Add(), std::runtime_error);
  EXPECT_THROW(points.Insert(0), std::runtime_error);
  TPoint::OnMake = nullptr;
  EXPECT_THAT(points.Xs(), ElementsAre(0));
}

TEST(TCollection, ClearTellsOnceAndNothingWhenEmpty) {
  TPoints points;
  Fill(points, 3).Clear();
  EXPECT_EQ(points.Count(), 0);
  EXPECT_THAT(points.Log, ElementsAre("all"));
  points.Clear();
  EXPECT_EQ(points.Log.size(), 1U);
}

TEST(TCollection, FreesTheLastFirst) {
  struct TTeller : TCollectionItem {
    TTeller(TCollection* collection, std::vector<int>& order)
        : TCollectionItem(collection), Order(order) {}
    ~TTeller() override { Order.push_back(ID()); }
    std::vector<int>& Order;
  };
  std::vector<int> order;
  {
    TCollection collection(nullptr);
    for (int i = 0; i < 3; ++i) new TTeller(&collection, order);
  }
  EXPECT_THAT(order, ElementsAre(2, 1, 0));
}

TEST(TCollection, ItemThatChangesTellsOfItself) {
  TPoints points;
  Fill(points, 3).Point(1).SetX(9);
  EXPECT_THAT(points.Log, ElementsAre("item 1"));
  points.Point(1).SetX(9);
  EXPECT_EQ(points.Log.size(), 1U);
  points.Point(2).SetDisplayName("any");
  EXPECT_THAT(points.Log, ElementsAre("item 1", "item 2"));
}

TEST(TCollection, UpdatesAreGatheredUntilTheLastEnd) {
  TPoints points;
  Fill(points, 2);
  points.BeginUpdate();
  points.Point(0).SetX(7);
  {
    const TUpdate inner(points);
    points.Point(1).SetX(8);
  }
  EXPECT_THAT(points.Log, IsEmpty());
  points.EndUpdate();
  EXPECT_THAT(points.Log, ElementsAre("all"));
}

TEST(TCollection, UpdateWithoutChangeTellsNothing) {
  TPoints points;
  points.BeginUpdate();
  points.EndUpdate();
  points.EndUpdate();  // one too many
  EXPECT_THAT(points.Log, IsEmpty());
  points.Add();
  EXPECT_THAT(points.Log, ElementsAre("all", "added 5"));
  points.Log.clear();
  points.BeginUpdate();
  points.Point(0).SetX(7);
  EXPECT_THAT(points.Log, IsEmpty()) << "gathered as ever";
  points.EndUpdate();
}

TEST(TCollection, UpdateEndsWhenAnExceptionLeaves) {
  TPoints points;
  Fill(points, 1);
  try {
    const TUpdate update(points);
    points.Point(0).SetX(7);
    throw std::runtime_error("out");
  } catch (const std::runtime_error&) {
    points.Log.emplace_back("caught");
  }
  EXPECT_THAT(points.Log, ElementsAre("all", "caught"));
}

TEST(TCollection, RevisionGrowsWithEveryChange) {
  TPoints points;
  std::uint64_t last = points.Revision();
  const auto grew = [&] { return points.Revision() > std::exchange(last, points.Revision()); };
  points.Add();
  EXPECT_TRUE(grew());
  points.Point(0).SetX(1);
  EXPECT_TRUE(grew());
  points.Point(0).SetX(1);
  EXPECT_FALSE(grew());
  points.BeginUpdate();
  points.Point(0).SetX(2);
  EXPECT_TRUE(grew()) << "also while changes are gathered";
  points.EndUpdate();
  grew();
  points.Delete(0);
  EXPECT_TRUE(grew());
}

TEST(TCollection, ListRevisionGrowsWithTheListOnly) {
  TPoints points;
  Fill(points, 2);
  std::uint64_t last = points.ListRevision();
  const auto grew = [&] {
    return points.ListRevision() > std::exchange(last, points.ListRevision());
  };
  points.Point(0).SetX(9);
  EXPECT_FALSE(grew());
  points.Items(0)->SetIndex(1);
  EXPECT_TRUE(grew());
  points.Add();
  EXPECT_TRUE(grew());
  points.Delete(0);
  EXPECT_TRUE(grew());
}

TEST(TCollection, AssignCopiesTheItemsAndTellsOnce) {
  TPoints from;
  Fill(from, 3);
  TPoints to;
  Fill(to, 1);
  to.Assign(from);
  EXPECT_EQ(to.Xs(), from.Xs());
  EXPECT_EQ(to.Items(0)->ID(), 1) << "new items";
  EXPECT_THAT(to.Log, ElementsAre("added 5", "added 5", "added 5", "all"));
}

TEST(TCollection, AssignedToItselfIsUnchanged) {
  TPoints points;
  Fill(points, 2);
  const TCollectionItem* const first = points.Items(0);
  points.Assign(points);
  EXPECT_EQ(points.Items(0), first);
  EXPECT_THAT(points.Log, IsEmpty());
}

TEST(TCollection, AssignOfAnythingElseIsRefused) {
  TPoints points;
  Fill(points, 1);
  const TPersistent other;
  EXPECT_THAT([&] { points.Assign(other); },
              ThrowsMessage<EConvertError>("Cannot assign a TPersistent to a TCollection"));
  EXPECT_EQ(points.Count(), 1);
}

TEST(TCollection, SetItemAssignsTheValue) {
  TPoints points;
  Fill(points, 2);
  TPoint value(nullptr);
  value.SetX(42);
  points.SetItem(1, value);
  EXPECT_THAT(points.Xs(), ElementsAre(0, 42));
}

TEST(TCollectionItem, LooseOneBelongsToItsMaker) {
  TPoint item(nullptr);
  EXPECT_EQ(item.Collection(), nullptr);
  EXPECT_EQ(item.GetOwner(), nullptr);
  EXPECT_EQ(item.Index(), -1);
  EXPECT_EQ(item.ID(), 0);
  item.SetX(3);
  item.SetDisplayName("any");
  EXPECT_THAT([&] { item.SetIndex(0); }, ThrowsMessage<EListError>("List index out of bounds (0)"));
}

TEST(TCollectionItem, ShowsItsClass) {
  EXPECT_EQ(TPoint(nullptr).GetDisplayName(), "TCollectionItem");
}

TEST(TCollection, IndexStaysRightUnderAnyChange) {
  TPoints points;
  std::vector<int> model;
  std::mt19937 random(20240501);
  const auto below = [&](std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  };
  for (int step = 0; step < 3000; ++step) {
    const std::size_t action = below(4);
    if (action <= 1 || model.empty()) {
      const std::size_t place = below(model.size() + 1);
      static_cast<TPoint*>(points.Insert(static_cast<int>(place)))->SetX(step);
      model.insert(model.begin() + static_cast<std::ptrdiff_t>(place), step);
    } else if (action == 2) {
      const std::size_t place = below(model.size());
      points.Delete(static_cast<int>(place));
      model.erase(model.begin() + static_cast<std::ptrdiff_t>(place));
    } else {
      const std::size_t from = below(model.size());
      const std::size_t to = below(model.size());
      points.Items(static_cast<int>(from))->SetIndex(static_cast<int>(to));
      const int x = model[from];
      model.erase(model.begin() + static_cast<std::ptrdiff_t>(from));
      model.insert(model.begin() + static_cast<std::ptrdiff_t>(to), x);
    }
  }
  ASSERT_EQ(points.Xs(), model);
  for (int i = 0; i < points.Count(); ++i) ASSERT_EQ(points.Items(i)->Index(), i);
}

TEST(TCollection, HundredThousandItemsTellTheirIndex) {
  TPoints points;
  const TUpdate update(points);
  for (int i = 0; i < 100'000; ++i) points.Add();
  for (int i = 0; i < points.Count(); ++i) ASSERT_EQ(points.Items(i)->Index(), i);
}

TEST(TCollection, AnotherThreadIsRefused) {
  TPoints points;
  Fill(points, 2);
  const std::vector<std::function<void()>> uses = {
      [&] { points.Add(); },
      [&] { points.Insert(0); },
      [&] { points.Delete(0); },
      [&] { points.Clear(); },
      [&] { points.Assign(TPoints()); },
      [&] { const TPoint item(&points); },
      [&] { points.Items(0)->SetIndex(1); },
      [&] { points.Items(0)->SetDisplayName("any"); },
      [&] { points.BeginUpdate(); },
  };
  for (std::size_t i = 0; i < uses.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_THAT([&] { OnAnotherThread(uses[i]); },
                ThrowsMessage<EThreadError>(
                    "TCollection is used from another thread than the one that made it"));
  }
  EXPECT_THAT(points.Xs(), ElementsAre(0, 1));
  EXPECT_THAT(points.Log, IsEmpty());
}

}  // namespace
}  // namespace OrvixModBus
