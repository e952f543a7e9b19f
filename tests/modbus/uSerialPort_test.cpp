#include "platform/modbus/uSerialPort.h"

#include <asm/termbits.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include "PseudoTerminal.h"
#include "ScriptedPort.h"

namespace OrvixModBus {
namespace {

using testing::HasSubstr;

class TSerialPortTest : public testing::Test {
 public:
  TSerialPortTest() { Settings.Name = Line.PortName(); }

  std::string Refusal(TSerialPort& port) {
    try {
      port.Open(Settings);
    } catch (const EModLinkError& error) {
      return error.what();
    }
    return "";
  }
  termios2 Mode() const {
    termios2 mode{};
    ioctl(Line.Handle(), TCGETS2, &mode);
    return mode;
  }
  /// What the port delivers, waiting at most five seconds for size bytes.
  Bytes Deliver(std::size_t size) {
    Bytes bytes;
    while (bytes.size() < size) {
      pollfd waited{Port->Handle(), POLLIN, 0};
      if (poll(&waited, 1, 5000) != 1) break;
      std::uint8_t buffer[600];
      const TPortTransfer done = Port->Read(buffer);
      if (done.Lost) break;
      bytes.insert(bytes.end(), buffer, buffer + done.Count);
    }
    return bytes;
  }

  TPseudoTerminal Line;
  TPortSettings Settings;
  std::unique_ptr<TSerialPort> Port = TSerialPort::New();
};

Bytes EveryByte() {
  Bytes bytes;
  for (unsigned i = 0; i < 256; ++i) bytes.push_back(static_cast<std::uint8_t>(i));
  return bytes;
}

TEST_F(TSerialPortTest, CarriesEveryByteBothWays) {
  Port->Open(Settings);
  const Bytes all = EveryByte();
  EXPECT_EQ(Port->Write(all).Count, 256u);
  Bytes arrived(600);
  std::size_t size = 0;
  while (size < 256) {
    const std::size_t count = Line.Take(std::span(arrived).subspan(size));
    ASSERT_GT(count, 0u);
    size += count;
  }
  arrived.resize(size);
  EXPECT_EQ(arrived, all);
  ASSERT_TRUE(Line.Send(all));
  EXPECT_EQ(Deliver(256), all);
}

TEST_F(TSerialPortTest, ReadsNothingFromAQuietLine) {
  Port->Open(Settings);
  std::uint8_t buffer[10];
  const TPortTransfer done = Port->Read(buffer);
  EXPECT_EQ(done.Count, 0u);
  EXPECT_FALSE(done.Lost);
}

TEST_F(TSerialPortTest, WritesNoMoreThanTheLineTakes) {
  Port->Open(Settings);
  const Bytes much(1 << 20);
  std::size_t taken = 0;
  for (;;) {
    const TPortTransfer done = Port->Write(much);
    ASSERT_FALSE(done.Lost);
    if (done.Count == 0) break;
    taken += done.Count;
    ASSERT_LT(taken, much.size());
  }
  EXPECT_GT(taken, 0u);
}

TEST_F(TSerialPortTest, AHangUpIsALoss) {
  Port->Open(Settings);
  Line.HangUp();
  std::uint8_t buffer[10];
  EXPECT_TRUE(Port->Read(buffer).Lost);
  EXPECT_NE(Port->LossReason(), "");
  EXPECT_TRUE(Port->Write(Hex("01")).Lost);
  EXPECT_EQ(Port->LossReason(), "Input/output error");
}

TEST_F(TSerialPortTest, WhatCameBeforeOpeningIsOfNoInterest) {
  Port->Open(Settings);
  Port->Close();
  ASSERT_TRUE(Line.Send(Hex("01 02 03")));
  Port->Open(Settings);
  ASSERT_TRUE(Line.Send(Hex("04")));
  EXPECT_EQ(Deliver(1), Hex("04"));
}

TEST_F(TSerialPortTest, IsOpenedExclusively) {
  const auto second = TSerialPort::New();
  Port->Open(Settings);
  EXPECT_THAT(Refusal(*second), HasSubstr(Settings.Name));
  Port->Close();
  EXPECT_EQ(Refusal(*second), "");
}

TEST_F(TSerialPortTest, ARefusedOpeningLeavesThePortFree) {
  Settings.StopBits = TStopBits::sb1_5;
  EXPECT_THAT(Refusal(*Port), HasSubstr("1.5 stop bits need 5 data bits"));
  Settings.StopBits = TStopBits::sb1;
  EXPECT_EQ(Refusal(*TSerialPort::New()), "");
}

TEST_F(TSerialPortTest, ReasonsNameThePort) {
  Settings.Name = "/dev/orvix-no-such-port";
  EXPECT_EQ(Refusal(*Port), "Port /dev/orvix-no-such-port: No such file or directory");
  Settings.Name = "/";
  EXPECT_EQ(Refusal(*Port), "Port /: Is a directory");
  Settings.Name = "/proc/self/status";
  EXPECT_THAT(Refusal(*Port), HasSubstr("Port /proc/self/status: "));
  Settings.Name = "";
  EXPECT_EQ(Refusal(*Port), "No port is named");
}

TEST_F(TSerialPortTest, TakesAnyBaudRate) {
  for (const TBaudRate baud : {1200U, 9600U, 12345U, 115200U, 250000U, 3000000U}) {
    Settings.BaudRate = baud;
    Port->Open(Settings);
    EXPECT_EQ(Mode().c_ospeed, baud);
    EXPECT_EQ(Mode().c_ispeed, baud);
  }
}

TEST_F(TSerialPortTest, TheLineIsRaw) {
  Port->Open(Settings);
  const termios2 mode = Mode();
  EXPECT_EQ(mode.c_lflag, 0u);
  EXPECT_EQ(mode.c_oflag, 0u);
  EXPECT_EQ(mode.c_iflag, tcflag_t{IGNBRK});
  EXPECT_EQ(mode.c_cc[VMIN], 1);
  EXPECT_EQ(mode.c_cc[VTIME], 0);
}

TEST_F(TSerialPortTest, TwoStopBitsAreSet) {
  Settings.StopBits = TStopBits::sb2;
  Port->Open(Settings);
  EXPECT_NE(Mode().c_cflag & CSTOPB, 0u);
  Settings.DataBits = TDataBits::db5;
  EXPECT_THAT(Refusal(*Port), HasSubstr("5 data bits can't have 2 stop bits"));
  Settings.StopBits = TStopBits::sb1_5;
  EXPECT_EQ(Refusal(*Port), "");
}

TEST_F(TSerialPortTest, ALineWithoutADriverToSwitchRefusesToSwitch) {
  for (const TRS485Mode mode : {TRS485Mode::rmKernel, TRS485Mode::rmRTS}) {
    Settings.RS485Mode = mode;
    EXPECT_THAT(Refusal(*Port), HasSubstr(Settings.Name));
  }
}

TEST_F(TSerialPortTest, APseudoTerminalHasNoLowLatencySwitch) {
  Port->Open(Settings);
  EXPECT_EQ(Port->LowLatency(), TLowLatency::llNotOffered);
}

TEST_F(TSerialPortTest, WhatIsWrittenIsSentInTheEnd) {
  Port->Open(Settings);
  Port->Write(Hex("01 02"));
  Bytes arrived(10);
  EXPECT_EQ(Line.Take(arrived), 2u);
  EXPECT_TRUE(Port->IsDrained());
}

}  // namespace
}  // namespace OrvixModBus
