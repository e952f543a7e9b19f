#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "platform/rtl/uException.h"
#include "tests/src/uTestRegs.h"
#include "uMBClient.h"

namespace OrvixModBus {
namespace {

using testing::ThrowsMessage;
using enum TConnectionType;

TEST(TMBConnection, IsASerialOneWithoutALineAtFirst) {
  const TMBConnection connection;
  EXPECT_EQ(connection.RTU(), nullptr);
  EXPECT_EQ(connection.TCP(), nullptr);
  EXPECT_EQ(connection.ConnectionType(), mbRtu);
  EXPECT_FALSE(connection.IsEmul());
  ExpectDefaultsOfNew(connection, "RTU TCP ConnectionType");
}

TEST(TMBConnection, TheKindsHaveTheirOrder) {
  EXPECT_EQ(static_cast<int>(mbRtu), 0);
  EXPECT_EQ(static_cast<int>(mbTCP), 1);
  EXPECT_EQ(static_cast<int>(mbEmul), 2);
  TMBConnection connection;
  for (const TConnectionType type : {mbRtu, mbTCP, mbEmul}) {
    connection.SetConnectionType(type);
    EXPECT_EQ(connection.IsEmul(), type == mbEmul);
  }
}

TEST(TMBConnection, TakesOverReferencesAndKind) {
  TMBRTUConnection line;
  TMBTCPConnection tcp;
  TMBConnection source, target;
  source.SetRTU(&line);
  source.SetTCP(&tcp);
  source.SetConnectionType(mbEmul);
  target.Assign(source);
  EXPECT_TRUE(target.IsEmul());
  EXPECT_EQ(target.RTU(), &line);
  EXPECT_EQ(target.TCP(), &tcp);
  target.Assign(TMBConnection());
  EXPECT_FALSE(target.IsEmul());
  EXPECT_EQ(target.RTU(), nullptr);
  EXPECT_EQ(target.TCP(), nullptr);
}

TEST(TMBConnection, RefusesToBeAssignedFromAnotherClass) {
  TMBConnection connection;
  connection.SetConnectionType(mbTCP);
  EXPECT_THAT([&] { connection.Assign(TMBTCPConnection()); },
              ThrowsMessage<EConvertError>("Cannot assign a TMBTCPConnection to a TMBConnection"));
  EXPECT_EQ(connection.ConnectionType(), mbTCP);
}

TEST(TMBConnection, SettingByTheTableIsSettingByTheSetter) {
  TMBRTUConnection line;
  TMBTCPConnection tcp;
  TMBConnection connection;
  SetByTable(connection, "RTU", &line);
  SetByTable(connection, "TCP", &tcp);
  SetByTable(connection, "ConnectionType", std::int64_t{2});
  EXPECT_EQ(connection.RTU(), &line);
  EXPECT_EQ(connection.TCP(), &tcp);
  EXPECT_EQ(connection.ConnectionType(), mbEmul);
  EXPECT_THROW(SetByTable(connection, "ConnectionType", std::int64_t{3}), EConvertError);
  EXPECT_THROW(SetByTable(connection, "RTU", &tcp), EConvertError);
  EXPECT_EQ(connection.RTU(), &line);
}

TEST(TMBConnection, LosesWhatGoesFirst) {
  auto line = std::make_unique<TMBRTUConnection>();
  auto tcp = std::make_unique<TMBTCPConnection>();
  TMBConnection connection;
  connection.SetRTU(line.get());
  connection.SetTCP(tcp.get());
  line.reset();
  EXPECT_EQ(connection.RTU(), nullptr);
  EXPECT_EQ(connection.TCP(), tcp.get());
  tcp.reset();
  EXPECT_EQ(connection.TCP(), nullptr);
}

}  // namespace
}  // namespace OrvixModBus
