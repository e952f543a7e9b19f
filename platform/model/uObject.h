#pragma once
// uObject: the root of all classes, and references that become nil when their object goes.

#include <cstddef>
#include <utility>

namespace OrvixModBus {

class TObject;

namespace Detail {

/// What outlives an object for those that refer to it: its address, nil once it is gone.
struct TLife {
  TObject* Object;
  std::size_t Shares;
};

inline void Drop(TLife* life) noexcept {
  if (life != nullptr && --life->Shares == 0) delete life;
}

}  // namespace Detail

/// The root class. An object has an identity: it is not copied, see TPersistent::Assign.
/// Single thread, like everything that refers to it.
class TObject {
 public:
  TObject() = default;
  TObject(const TObject&) = delete;
  TObject& operator=(const TObject&) = delete;
  virtual ~TObject();

 protected:
  /// Makes every TRef to this object nil, now and for good. A destructor whose object can still
  /// be reached by its own parts calls this first, so that nobody sees it half destroyed.
  void ForgetReferences() noexcept;

 private:
  friend class TRefBase;
  Detail::TLife* Life() { return fLife != nullptr ? fLife : NewLife(); }
  Detail::TLife* NewLife();

  Detail::TLife* fLife = nullptr;
};

/// The part of TRef that does not depend on the type.
class TRefBase {
 public:
  TRefBase() = default;
  explicit TRefBase(TObject* object) : fLife(object != nullptr ? object->Life() : nullptr) {
    Share();
  }
  TRefBase(const TRefBase& other) noexcept : fLife(other.fLife) { Share(); }
  TRefBase(TRefBase&& other) noexcept : fLife(std::exchange(other.fLife, nullptr)) {}
  TRefBase& operator=(TRefBase other) noexcept {
    std::swap(fLife, other.fLife);
    return *this;
  }
  ~TRefBase() { Detail::Drop(fLife); }

  /// True when this was set to an object that has been destroyed since.
  bool Gone() const { return fLife != nullptr && fLife->Object == nullptr; }
  /// True when this was set to that very object, which may be in its destructor.
  bool RefersTo(const TObject& object) const { return fLife != nullptr && fLife == object.fLife; }

 protected:
  TObject* Object() const { return fLife != nullptr ? fLife->Object : nullptr; }

 private:
  void Share() noexcept {
    if (fLife != nullptr) ++fLife->Shares;
  }

  Detail::TLife* fLife = nullptr;
};

/// A reference to an object that somebody else owns. Becomes nil when the object is destroyed;
/// never dangles. Costs one pointer, and one small allocation per object referred to.
template <class T>
class TRef : public TRefBase {
 public:
  TRef() = default;
  TRef(T* object) : TRefBase(object) {}

  T* Get() const { return static_cast<T*>(Object()); }
  T* operator->() const { return Get(); }
  T& operator*() const { return *Get(); }
  explicit operator bool() const { return Get() != nullptr; }
};

}  // namespace OrvixModBus
