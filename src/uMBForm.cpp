#include "uMBForm.h"

#include "platform/model/uDataModule.h"
#include "uMBClient.h"
#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {

const std::vector<TComponentClass>& ModBusClasses() {
  static const std::vector<TComponentClass> classes = {
      ComponentClass<TDataModule>(),      ComponentClass<TMBRTUConnection>(),
      ComponentClass<TMBTCPConnection>(), ComponentClass<TMBConnection>(),
      ComponentClass<TMBClient>(),        ComponentClass<TMBTypeInfo>(),
      ComponentClass<TMBLetter>(),        ComponentClass<TMBRegsAutoFill>(),
      ComponentClass<TMBFunction20>(),    ComponentClass<TMBFunction24>(),
      ComponentClass<TMBFunction41>(),    ComponentClass<TRTUClient>(),
      ComponentClass<TTCPClient>(),       ComponentClass<TEmulClient>(),
  };
  return classes;
}

}  // namespace OrvixModBus
