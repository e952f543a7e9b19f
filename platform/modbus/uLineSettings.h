#pragma once
// uLineSettings: how a port is set up and how a line is used.

#include <cstdint>
#include <string>

#include "platform/modbus/uModbusTypes.h"

namespace OrvixModBus {

/// What a serial port is opened with. The defaults of the line are the standard's (Modbus over
/// Serial Line V1.02, 2.5.1: even parity is the mode that every device must have; 9600 baud is
/// one of the two required rates), so a device as it comes from the factory is reached.
struct TPortSettings {
  std::string Name;  ///< as the system names the port; a stable name such as by-id serves best
  TBaudRate BaudRate = 9600;
  TParityScheme Parity = TParityScheme::psEven;
  TDataBits DataBits = TDataBits::db8;
  TStopBits StopBits = TStopBits::sb1;
  TRS485Mode RS485Mode = TRS485Mode::rmNone;

  bool operator==(const TPortSettings&) const = default;
};

/// A line: its port and the rules by which requests are sent and replies awaited.
struct TLineSettings {
  TPortSettings Port;
  std::uint8_t MaxRetries = 2;          ///< a request is sent at most 1 + MaxRetries times
  std::uint32_t ReceiveTimeout = 1000;  ///< ms from the end of the request to the reply's begin
  std::int32_t SilentInterval = -1;     ///< us; -1 the standard's, 0 none: no characters at all
  std::uint32_t TurnaroundDelay = 100;  ///< ms from a broadcast to the next request
  std::uint32_t ReconnectInterval = 0;  ///< ms between attempts to reopen a lost port, 0 = never
  TEchoSuppression EchoSuppression = TEchoSuppression::esAuto;
  std::uint8_t SetAsideAfter = 0;        ///< time-outs in a row, 0 = never
  std::uint32_t ProbeInterval = 30'000;  ///< ms between probes of a server that is set aside
};

}  // namespace OrvixModBus
