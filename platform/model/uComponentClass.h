#pragma once
// uComponentClass: classes of components that can be made by their names.

#include "platform/model/uComponent.h"
#include "platform/model/uProperty.h"

namespace OrvixModBus {

/// A class of components that a designer or a form file can make.
struct TComponentClass {
  const TClassInfo* Info;
  TComponent* (*Create)(TComponent* owner);  ///< a new one, which belongs to owner if there is one
};

/// `ComponentClass<TMBLetter>()`
template <class T>
TComponentClass ComponentClass() {
  return {&T::StaticClass(), [](TComponent* owner) -> TComponent* { return new T(owner); }};
}

}  // namespace OrvixModBus
