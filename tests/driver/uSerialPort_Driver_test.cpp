// What the serial port asks of a driver that pseudo-terminals do not have.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "platform/modbus/uSerialPort.h"
#include "tests/modbus/PseudoTerminal.h"
#include "uDriver.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class TPortWithDriver : public testing::Test {
 public:
  TPortWithDriver() { Settings.Name = Line.PortName(); }

  std::string Refusal() {
    try {
      Port->Open(Settings);
    } catch (const EModLinkError& error) {
      return error.what();
    }
    return "";
  }

  TPseudoTerminal Line;
  TDriver Driver;
  TPortSettings Settings;
  std::unique_ptr<TSerialPort> Port = TSerialPort::New();
};

TEST_F(TPortWithDriver, IsAskedForTheParity) {
  const struct {
    TParityScheme Parity;
    tcflag_t Flags;
  } cases[] = {{TParityScheme::psNone, 0},
               {TParityScheme::psOdd, PARENB | PARODD},
               {TParityScheme::psEven, PARENB},
               {TParityScheme::psMark, PARENB | PARODD | CMSPAR},
               {TParityScheme::psSpace, PARENB | CMSPAR}};
  for (const auto& c : cases) {
    Settings.Parity = c.Parity;
    Port->Open(Settings);
    EXPECT_EQ(Driver.AskedFlags & (PARENB | PARODD | CMSPAR), c.Flags);
  }
}

TEST_F(TPortWithDriver, IsAskedForTheDataBits) {
  const struct {
    TDataBits Bits;
    tcflag_t Flags;
  } cases[] = {
      {TDataBits::db5, CS5}, {TDataBits::db6, CS6}, {TDataBits::db7, CS7}, {TDataBits::db8, CS8}};
  for (const auto& c : cases) {
    Settings.DataBits = c.Bits;
    Port->Open(Settings);
    EXPECT_EQ(Driver.AskedFlags & CSIZE, c.Flags);
  }
}

TEST_F(TPortWithDriver, ABaudRateWithinThreePerCentWillDo) {
  Settings.BaudRate = 100'000;
  for (const speed_t rate : {97'000U, 100'000U, 103'000U}) {
    Driver.BaudRate = rate;
    EXPECT_EQ(Refusal(), "") << rate;
  }
  for (const speed_t rate : {96'999U, 103'001U, 9'600U}) {
    Driver.BaudRate = rate;
    EXPECT_EQ(Refusal(), "Port " + Settings.Name + ": 100000 baud is not to be had") << rate;
  }
}

TEST_F(TPortWithDriver, TheDriverIsToldToBeQuick) {
  Driver.SerialFlags = ASYNC_SPD_CUST;
  Port->Open(Settings);
  EXPECT_EQ(Driver.SerialFlags, ASYNC_SPD_CUST | static_cast<int>(ASYNC_LOW_LATENCY));
  EXPECT_EQ(Port->LowLatency(), TLowLatency::llSet);

  Driver.SerialFlags = 0;
  Driver.RefusesLowLatency = true;
  Port->Open(Settings);
  EXPECT_EQ(Port->LowLatency(), TLowLatency::llNotOffered);
}

TEST_F(TPortWithDriver, RtsIsOnOnlyWhileSending) {
  Settings.RS485Mode = TRS485Mode::rmRTS;
  Port->Open(Settings);
  EXPECT_THAT(Driver.Rts, ElementsAre(false));
  Port->SetTransmitting(true);
  Port->SetTransmitting(false);
  EXPECT_THAT(Driver.Rts, ElementsAre(false, true, false));
  EXPECT_EQ(Driver.RS485.flags & SER_RS485_ENABLED, 0u);
}

TEST_F(TPortWithDriver, TheKernelSwitchesWhenItIsToAndNoLonger) {
  Settings.RS485Mode = TRS485Mode::rmKernel;
  Port->Open(Settings);
  EXPECT_EQ(Driver.RS485.flags, unsigned{SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND});
  EXPECT_TRUE(Driver.Rts.empty());

  Settings.RS485Mode = TRS485Mode::rmNone;
  Port->Open(Settings);
  EXPECT_EQ(Driver.RS485.flags, 0u);
}

TEST_F(TPortWithDriver, IsDrainedWhenTheLastCharacterHasLeft) {
  Port->Open(Settings);
  Driver.IsEmpty = false;
  EXPECT_FALSE(Port->IsDrained());
  Driver.IsEmpty = true;
  EXPECT_TRUE(Port->IsDrained());
}

}  // namespace
}  // namespace OrvixModBus
