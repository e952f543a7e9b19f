#pragma once
// uDataModule: a component that only holds others together.

#include "platform/model/uComponent.h"

namespace OrvixModBus {

/// The root of a form that needs none of its own: what a form file holds belongs to it.
class TDataModule : public TComponent {
 public:
  using TComponent::TComponent;
  ~TDataModule() override { BeginDestroy(); }

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

}  // namespace OrvixModBus
