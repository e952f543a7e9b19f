#include "uMBTCP.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/src/uTestRegs.h"

namespace OrvixModBus {
namespace {

TEST(TMBTCPConnection, AddsNothingToAComponent) {
  ExpectDefaultsOfNew(TMBTCPConnection(), "");
  EXPECT_EQ(TMBTCPConnection().ClassName(), "TMBTCPConnection");
}

TEST(TTCPClient, RefersToAConnectionThatMayGoFirst) {
  TTCPClient client;
  ExpectDefaultsOfNew(client, "Connection");
  auto connection = std::make_unique<TMBTCPConnection>();
  SetByTable(client, "Connection", connection.get());
  EXPECT_EQ(client.Connection(), connection.get());
  client.SetConnection(nullptr);
  EXPECT_EQ(client.Connection(), nullptr);
  client.SetConnection(connection.get());
  connection.reset();
  EXPECT_EQ(client.Connection(), nullptr);
}

}  // namespace
}  // namespace OrvixModBus
