#include "platform/model/uShare.h"

#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

struct TItem : TShared {
  explicit TItem(int& living) : Living(living) { ++Living; }
  ~TItem() { --Living; }
  int& Living;
};

TEST(TShare, IsNilAtFirst) {
  const TShare<TItem> none;
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(none, TShare<TItem>(nullptr));
  EXPECT_FALSE(none.IsOnlyHolder());
}

TEST(TShare, TheLastHolderFrees) {
  int living = 0;
  TShare<TItem> first(new TItem(living));
  {
    const TShare<TItem> second = first;
    EXPECT_EQ(first, second);
    EXPECT_FALSE(first.IsOnlyHolder());
    first = nullptr;
    EXPECT_EQ(living, 1);
    EXPECT_TRUE(second.IsOnlyHolder());
  }
  EXPECT_EQ(living, 0);
}

TEST(TShare, MovesAndAssignsToItself) {
  int living = 0;
  TShare<TItem> first(new TItem(living));
  TShare<TItem> second = std::move(first);
  EXPECT_TRUE(second.IsOnlyHolder());
  const TShare<TItem>& same = second;
  second = same;
  EXPECT_TRUE(second.IsOnlyHolder());
  second = TShare<TItem>(new TItem(living));
  EXPECT_EQ(living, 1);
}

}  // namespace
}  // namespace OrvixModBus
