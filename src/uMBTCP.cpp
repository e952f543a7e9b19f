#include "uMBTCP.h"

#include "platform/model/uProperty.h"

namespace OrvixModBus {

const TClassInfo& TMBTCPConnection::StaticClass() {
  static const TClassInfo info("TMBTCPConnection", &TComponent::StaticClass(), {});
  return info;
}

const TClassInfo& TTCPClient::StaticClass() {
  static const TClassInfo info(
      "TTCPClient", &TComponent::StaticClass(),
      {Published("Connection", &TTCPClient::Connection, &TTCPClient::SetConnection, nullptr)});
  return info;
}

}  // namespace OrvixModBus
