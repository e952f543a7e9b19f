#pragma once
// uMBTCP: the TCP side of a connection. It exists as a choice and carries no traffic.

#include "platform/model/uComponent.h"

namespace OrvixModBus {

/// Stands for a TCP connection in the choice of connections.
class TMBTCPConnection : public TComponent {
 public:
  using TComponent::TComponent;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

/// The client's side of a TCP connection: a reference to it.
class TTCPClient : public TComponent {
 public:
  using TComponent::TComponent;

  TMBTCPConnection* Connection() const { return fConnection.Get(); }
  void SetConnection(TMBTCPConnection* value) { Store(fConnection, value); }

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  TRef<TMBTCPConnection> fConnection;
};

}  // namespace OrvixModBus
