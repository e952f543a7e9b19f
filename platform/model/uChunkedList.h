#pragma once
// uChunkedList: a sequence into whose middle an element goes at the cost of a small chunk, however
// long the sequence is.

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace OrvixModBus {

/// Elements in order, in chunks of bounded size. Access by index costs a binary search over the
/// chunks; insertion and removal move one chunk's elements at most.
template <class T>
class TChunkedList {
 public:
  std::size_t size() const { return fSize; }
  bool empty() const { return fSize == 0; }

  T& operator[](std::size_t index) {
    const TPlace place = Find(index);
    return fChunks[place.Chunk].Elements[place.Offset];
  }
  const T& operator[](std::size_t index) const {
    const TPlace place = Find(index);
    return fChunks[place.Chunk].Elements[place.Offset];
  }

  void Clear() {
    fChunks.clear();
    fSize = 0;
  }

  /// index is at most size(). Moving a T must not throw; for want of memory nothing has changed.
  void Insert(std::size_t index, T element) {
    if (fChunks.empty()) fChunks.emplace_back();
    TPlace place = Find(index);
    if (fChunks[place.Chunk].Elements.size() == kChunkSize) place = Split(place, index);
    auto& elements = fChunks[place.Chunk].Elements;
    if (elements.size() == elements.capacity()) Grow(elements);
    elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(place.Offset),
                    std::move(element));
    for (std::size_t i = place.Chunk + 1; i < fChunks.size(); ++i) ++fChunks[i].Start;
    ++fSize;
  }

  /// index is below size().
  void Erase(std::size_t index) {
    const TPlace place = Find(index);
    auto& elements = fChunks[place.Chunk].Elements;
    elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(place.Offset));
    for (std::size_t i = place.Chunk + 1; i < fChunks.size(); ++i) --fChunks[i].Start;
    if (elements.empty()) fChunks.erase(fChunks.begin() + static_cast<std::ptrdiff_t>(place.Chunk));
    --fSize;
  }

  /// The index of the first element for which before(element) is false; all elements for which
  /// it is true must stand in front.
  template <class TBefore>
  std::size_t PartitionPoint(TBefore before) const {
    const auto chunk = std::partition_point(
        fChunks.begin(), fChunks.end(), [&](const TChunk& c) { return before(c.Elements.back()); });
    if (chunk == fChunks.end()) return fSize;
    const auto element =
        std::partition_point(chunk->Elements.begin(), chunk->Elements.end(), before);
    return chunk->Start + static_cast<std::size_t>(element - chunk->Elements.begin());
  }

 private:
  static constexpr std::size_t kChunkSize = 256;
  static constexpr std::size_t kFirstSize = 4;

  // No chunk is empty, but for the first one while the list is being filled.
  struct TChunk {
    std::size_t Start = 0;
    std::vector<T> Elements;
  };
  struct TPlace {
    std::size_t Chunk;
    std::size_t Offset;
  };

  TPlace Find(std::size_t index) const {
    const auto after = std::upper_bound(
        fChunks.begin(), fChunks.end(), index,
        [](std::size_t wanted, const TChunk& chunk) { return wanted < chunk.Start; });
    const auto chunk = static_cast<std::size_t>(after - fChunks.begin()) - 1;
    return {chunk, index - fChunks[chunk].Start};
  }

  void Grow(std::vector<T>& elements) {
    try {
      elements.reserve(std::min(kChunkSize, std::max(kFirstSize, 2 * elements.size())));
    } catch (...) {
      if (fSize == 0) fChunks.clear();  // no chunk is empty
      throw;
    }
  }

  // A full chunk at the end of the list stays full: lists are mostly filled in order.
  TPlace Split(TPlace place, std::size_t index) {
    const bool atEnd = index == fSize;
    const std::size_t kept = atEnd ? kChunkSize : kChunkSize / 2;
    if (fChunks.size() == fChunks.capacity()) fChunks.reserve(2 * fChunks.size());
    TChunk tail;
    auto& elements = fChunks[place.Chunk].Elements;
    const auto from = elements.begin() + static_cast<std::ptrdiff_t>(kept);
    tail.Elements.reserve(kChunkSize);
    tail.Elements.assign(std::make_move_iterator(from), std::make_move_iterator(elements.end()));
    tail.Start = fChunks[place.Chunk].Start + kept;
    elements.erase(from, elements.end());
    fChunks.insert(fChunks.begin() + static_cast<std::ptrdiff_t>(place.Chunk) + 1, std::move(tail));
    if (place.Offset < kept) return place;
    return {place.Chunk + 1, place.Offset - kept};
  }

  std::vector<TChunk> fChunks;
  std::size_t fSize = 0;
};

}  // namespace OrvixModBus
