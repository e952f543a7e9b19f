#pragma once
// uPersistent: objects with published properties that can take over each other's state.

#include <string_view>

#include "platform/model/uObject.h"

namespace OrvixModBus {

class TClassInfo;

/// An object whose state is published: it can be assigned from another one of its kind, and
/// its class tells its properties.
class TPersistent : public TObject {
 public:
  /// Takes over the published state of source. This base refuses every source:
  /// EConvertError "Cannot assign a <class> to a <class>".
  virtual void Assign(const TPersistent& source);

  /// The object that this one is a part of; nil for none.
  virtual TPersistent* GetOwner() const { return nullptr; }

  static const TClassInfo& StaticClass();
  /// The class's name and its table of published properties.
  virtual const TClassInfo& ClassInfo() const { return StaticClass(); }
  std::string_view ClassName() const;
};

}  // namespace OrvixModBus
