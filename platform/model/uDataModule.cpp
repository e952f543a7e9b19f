#include "platform/model/uDataModule.h"

#include "platform/model/uProperty.h"

namespace OrvixModBus {

const TClassInfo& TDataModule::StaticClass() {
  static const TClassInfo info("TDataModule", &TComponent::StaticClass(), {});
  return info;
}

}  // namespace OrvixModBus
