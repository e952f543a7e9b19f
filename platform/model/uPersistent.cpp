#include "platform/model/uPersistent.h"

#include <string>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {

void TPersistent::Assign(const TPersistent& source) {
  throw EConvertError("Cannot assign a " + std::string(source.ClassName()) + " to a " +
                      std::string(ClassName()));
}

const TClassInfo& TPersistent::StaticClass() {
  static const TClassInfo info("TPersistent", nullptr, {});
  return info;
}

std::string_view TPersistent::ClassName() const { return ClassInfo().Name(); }

}  // namespace OrvixModBus
