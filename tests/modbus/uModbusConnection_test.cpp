#include "platform/modbus/uModbusConnection.h"

#include "LineFixture.h"
#include "platform/model/uProperty.h"

namespace OrvixModBus {
namespace {

TEST(TModbusConnection, DefaultsAreTheStandards) {
  TModbusConnection connection;
  EXPECT_EQ(connection.Port(), "");
  EXPECT_EQ(connection.BaudRate(), 9600u);
  EXPECT_EQ(connection.Parity(), TParityScheme::psEven);
  EXPECT_EQ(connection.DataBits(), TDataBits::db8);
  EXPECT_EQ(connection.StopBits(), TStopBits::sb1);
  EXPECT_EQ(connection.MaxRetries(), 2);
  EXPECT_EQ(connection.ReceiveTimeout(), 1000u);
  EXPECT_EQ(connection.SilentInterval(), -1);
  EXPECT_EQ(connection.TurnaroundDelay(), 100u);
  EXPECT_EQ(connection.RS485Mode(), TRS485Mode::rmNone);
  EXPECT_EQ(connection.EchoSuppression(), TEchoSuppression::esAuto);
  EXPECT_EQ(connection.ReconnectInterval(), 0u);
  EXPECT_FALSE(connection.Active());
}

TEST(TModbusConnection, EveryPropertyIsAtItsDefaultAtFirst) {
  TModbusConnection connection;
  int simple = 0;
  for (const TPropertyInfo* property : TModbusConnection::StaticClass().Properties()) {
    if (property->Kind == TPropertyKind::pkEvent) continue;
    SCOPED_TRACE(property->Name);
    ASSERT_TRUE(property->Default.has_value());
    ++simple;
    switch (property->Kind) {
      case TPropertyKind::pkString:
        EXPECT_EQ(std::get<std::string>(property->Get(connection)),
                  std::get<std::string>(*property->Default));
        break;
      default:
        EXPECT_EQ(std::get<std::int64_t>(property->Get(connection)),
                  std::get<std::int64_t>(*property->Default));
    }
  }
  EXPECT_EQ(simple, 17);
}

TEST(TModbusConnection, ValuesWithoutSenseAreRefusedAndNothingChanges) {
  TModbusConnection connection;
  EXPECT_THROW(connection.SetBaudRate(0), EModLinkError);
  EXPECT_THROW(connection.SetSilentInterval(-2), EModLinkError);
  EXPECT_EQ(connection.BaudRate(), 9600u);
  EXPECT_EQ(connection.SilentInterval(), -1);
}

TEST(TModbusConnection, OpeningAPortWithoutANameSaysSo) {
  TModbusConnection connection;
  EXPECT_THROW(connection.SetActive(true), EModLinkError);
  EXPECT_FALSE(connection.Active());
}

class TActiveInAForm : public TLineFixture {
 public:
  TActiveInAForm() {
    Connection->SetActive(false);
    Wire.Opens = 0;
  }
  void SetActiveByTable(bool value) {
    SetProperty(*Connection, *Connection->ClassInfo().Property("Active"), std::int64_t{value});
  }
};

TEST_F(TActiveInAForm, OpensWhenTheWholeFormHasBeenRead) {
  SetActiveByTable(true);
  EXPECT_EQ(Wire.Opens, 0);
  Connection->SetBaudRate(57600);  // stands behind Active in the form
  Connection->Loaded();
  EXPECT_TRUE(Connection->Active());
  EXPECT_EQ(Wire.Settings.BaudRate, 57600u);
  Loop.RunPending();
  EXPECT_EQ(Wire.Opens, 1);
}

TEST_F(TActiveInAForm, OpensAtTheNextTurnWhereNoFormIsRead) {
  SetActiveByTable(true);
  Loop.RunPending();
  EXPECT_TRUE(Connection->Active());
}

TEST_F(TActiveInAForm, MayBeTakenBack) {
  SetActiveByTable(true);
  SetActiveByTable(false);
  Loop.RunPending();
  Connection->Loaded();
  EXPECT_FALSE(Connection->Active());
  EXPECT_EQ(Wire.Opens, 0);
}

TEST_F(TActiveInAForm, AConnectionDestroyedBeforehandIsNotOpened) {
  SetActiveByTable(true);
  Connection.reset();
  Loop.RunPending();
  EXPECT_EQ(Wire.Opens, 0);
}

TEST_F(TActiveInAForm, AFormWithoutItOpensNothing) {
  Connection->Loaded();
  EXPECT_EQ(Wire.Opens, 0);
}

TEST_F(TActiveInAForm, APortThatCannotBeOpenedIsToldByLoaded) {
  Wire.Refusal = "No such file or directory";
  SetActiveByTable(true);
  EXPECT_THROW(Connection->Loaded(), EModLinkError);
}

}  // namespace
}  // namespace OrvixModBus
