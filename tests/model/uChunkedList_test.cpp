#include "platform/model/uChunkedList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace OrvixModBus {
namespace {

// The list under test next to a plain vector that is treated alike.
class TTwins {
 public:
  explicit TTwins(unsigned seed) : fRandom(seed) {}

  std::size_t Below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(fRandom);
  }
  std::size_t Size() const { return fModel.size(); }

  void Insert(std::size_t index) {
    const std::string text = std::to_string(fNext++);
    fList.Insert(index, text);
    fModel.insert(fModel.begin() + static_cast<std::ptrdiff_t>(index), text);
  }
  void Erase(std::size_t index) {
    fList.Erase(index);
    fModel.erase(fModel.begin() + static_cast<std::ptrdiff_t>(index));
  }
  void Write(std::size_t index) {
    fList[index] += "!";
    fModel[index] += "!";
  }
  void Clear() {
    fList.Clear();
    fModel.clear();
  }
  bool Alike() const {
    if (fList.size() != fModel.size() || fList.empty() != fModel.empty()) return false;
    for (std::size_t i = 0; i < fModel.size(); ++i) {
      if (fList[i] != fModel[i]) return false;
    }
    return true;
  }

 private:
  TChunkedList<std::string> fList;
  std::vector<std::string> fModel;
  std::mt19937 fRandom;
  int fNext = 0;
};

TEST(TChunkedList, IsEmptyAtFirst) {
  const TChunkedList<int> list;
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(list.size(), 0U);
  EXPECT_EQ(list.PartitionPoint([](int) { return true; }), 0U);
}

TEST(TChunkedList, EqualsAVectorUnderRandomChanges) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    SCOPED_TRACE(seed);
    TTwins twins(seed);
    for (int step = 0; step < 12'000; ++step) {
      const std::size_t action = twins.Below(8);
      if (action < 4 || twins.Size() == 0) {
        twins.Insert(twins.Below(twins.Size() + 1));
      } else if (action < 6) {
        twins.Erase(twins.Below(twins.Size()));
      } else {
        twins.Write(twins.Below(twins.Size()));
      }
      if (step % 1000 == 0) {
        ASSERT_TRUE(twins.Alike()) << step;
      }
    }
    ASSERT_TRUE(twins.Alike());
  }
}

TEST(TChunkedList, FilledAtEitherEndAndEmptied) {
  for (const bool atFront : {true, false}) {
    SCOPED_TRACE(atFront);
    TTwins twins(4);
    for (int i = 0; i < 2000; ++i) twins.Insert(atFront ? 0 : twins.Size());
    ASSERT_TRUE(twins.Alike());
    while (twins.Size() > 0) twins.Erase(atFront ? twins.Size() - 1 : 0);
    ASSERT_TRUE(twins.Alike());
    twins.Insert(0);
    ASSERT_TRUE(twins.Alike());
  }
}

TEST(TChunkedList, FilledAgainAfterClear) {
  TTwins twins(5);
  for (int i = 0; i < 1000; ++i) twins.Insert(twins.Below(twins.Size() + 1));
  twins.Clear();
  ASSERT_TRUE(twins.Alike());
  for (int i = 0; i < 1000; ++i) twins.Insert(twins.Below(twins.Size() + 1));
  ASSERT_TRUE(twins.Alike());
}

TEST(TChunkedList, ErasesWholeChunksInTheMiddle) {
  TTwins twins(6);
  for (int i = 0; i < 2000; ++i) twins.Insert(twins.Size());
  for (int i = 0; i < 1500; ++i) twins.Erase(250);
  ASSERT_TRUE(twins.Alike());
  for (int i = 0; i < 600; ++i) twins.Insert(250);
  ASSERT_TRUE(twins.Alike());
}

TEST(TChunkedList, FindsThePlaceInOrder) {
  std::mt19937 random(7);
  TChunkedList<int> list;
  std::vector<int> model;
  for (int i = 0; i < 5000; ++i) {
    const int value = std::uniform_int_distribution<int>(0, 999)(random);
    const std::size_t place = list.PartitionPoint([&](int x) { return x < value; });
    const auto expected = std::lower_bound(model.begin(), model.end(), value);
    ASSERT_EQ(place, static_cast<std::size_t>(expected - model.begin()));
    list.Insert(place, value);
    model.insert(expected, value);
  }
  EXPECT_EQ(list.PartitionPoint([](int) { return true; }), 5000U);
  EXPECT_EQ(list.PartitionPoint([](int) { return false; }), 0U);
}

TEST(TChunkedList, CopyIsIndependent) {
  TChunkedList<int> list;
  for (int i = 0; i < 600; ++i) list.Insert(list.size(), i);
  TChunkedList<int> copy = list;
  copy[300] = -1;
  copy.Erase(0);
  EXPECT_EQ(list.size(), 600U);
  EXPECT_EQ(list[300], 300);
}

TEST(TChunkedList, HoldsWhatCanOnlyBeMoved) {
  TChunkedList<std::unique_ptr<int>> list;
  for (int i = 0; i < 600; ++i) list.Insert(0, std::make_unique<int>(i));
  EXPECT_EQ(*list[0], 599);
  EXPECT_EQ(*list[599], 0);
}

}  // namespace
}  // namespace OrvixModBus
