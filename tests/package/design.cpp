#include "uMBRegister.h"

int main() {
  OrvixModBus::TClassRegistry registry;
  OrvixModBus::Register(registry);
  return registry.Pages().size() == 2 ? 0 : 1;
}
