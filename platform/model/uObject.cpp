#include "platform/model/uObject.h"

#include <new>

namespace OrvixModBus {
namespace {

// Of the objects that were destroyed when there was no memory for a life of their own; never freed.
Detail::TLife& NoLife() noexcept {
  thread_local Detail::TLife life{nullptr, std::size_t{1} << 30};
  return life;
}

}  // namespace

TObject::~TObject() {
  if (fLife != nullptr) fLife->Object = nullptr;
  Detail::Drop(fLife);
}

void TObject::ForgetReferences() noexcept {
  // A reference taken from now on, by a handler say, must be nil too, so there is always a life.
  if (fLife == nullptr) fLife = new (std::nothrow) Detail::TLife{nullptr, 1};
  if (fLife == nullptr) fLife = &NoLife();
  fLife->Object = nullptr;
}

Detail::TLife* TObject::NewLife() { return fLife = new Detail::TLife{this, 1}; }

}  // namespace OrvixModBus
