#pragma once
// uShare: what several hold together and the last of them frees, in the size of one pointer.

#include <cstddef>
#include <utility>

namespace OrvixModBus {

/// The base of what is shared: counts its holders. Not copyable.
class TShared {
 public:
  TShared() = default;
  TShared(const TShared&) = delete;
  TShared& operator=(const TShared&) = delete;

 private:
  template <class T>
  friend class TShare;

  std::size_t fHolders = 0;
};

/// One holder of a T, which derives from TShared; nil at first. Single thread: the count is a plain
/// number, which is what makes it cheaper than a std::shared_ptr.
template <class T>
class TShare {
 public:
  TShare() = default;
  TShare(std::nullptr_t) {}
  /// Takes over what has been made by new.
  explicit TShare(T* item) : fItem(item) {
    if (fItem != nullptr) ++fItem->fHolders;
  }
  TShare(const TShare& other) : TShare(other.fItem) {}
  TShare(TShare&& other) noexcept : fItem(std::exchange(other.fItem, nullptr)) {}
  TShare& operator=(TShare other) noexcept {
    std::swap(fItem, other.fItem);
    return *this;
  }
  ~TShare() {
    if (fItem != nullptr && --fItem->fHolders == 0) delete fItem;
  }

  T* Get() const { return fItem; }
  /// Not nil, and nobody else holds it.
  bool IsOnlyHolder() const { return fItem != nullptr && fItem->fHolders == 1; }
  T* operator->() const { return fItem; }
  T& operator*() const { return *fItem; }
  bool operator==(const TShare&) const = default;
  bool operator==(std::nullptr_t) const { return fItem == nullptr; }

 private:
  T* fItem = nullptr;
};

}  // namespace OrvixModBus
