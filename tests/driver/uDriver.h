#pragma once
// uDriver: a serial driver where a pseudo-terminal has none.

#include <asm/termbits.h>
#include <linux/serial.h>

#include <vector>

namespace OrvixModBus {

/// As long as one lives, ports that this thread opens seem to have real hardware behind them.
struct TDriver {
  TDriver();
  TDriver(const TDriver&) = delete;
  TDriver& operator=(const TDriver&) = delete;
  ~TDriver();

  /// Answers the call as the driver does; false for what is not the driver's.
  bool Answer(unsigned long request, void* argument, int& result);

  tcflag_t AskedFlags = 0;  ///< c_cflag as the port asked for it
  speed_t BaudRate = 0;     ///< what the hardware gives instead of what was asked; 0 = that
  bool RefusesLowLatency = false;
  int SerialFlags = 0;    ///< ASYNC_...
  std::vector<bool> Rts;  ///< every switching of the line
  serial_rs485 RS485{};
  bool IsEmpty = true;  ///< the last character has left the shift register
};

}  // namespace OrvixModBus
