#pragma once
// uSerialPort: a serial port, the system's or another one in its place.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/loop/uLoop.h"
#include "platform/modbus/uLineSettings.h"

namespace OrvixModBus {

/// What a read or a write did.
struct TPortTransfer {
  std::size_t Count = 0;  ///< bytes; 0 when the port was not ready
  bool Lost = false;      ///< the port has vanished or failed: nothing can be done but to close it
};

/// A byte carrier that never blocks. Derive one to speak RTU over something else.
class TSerialPort {
 public:
  virtual ~TSerialPort() = default;

  /// The system's serial ports.
  static std::unique_ptr<TSerialPort> New();

  /// Opens exclusively. EModLinkError naming the port and the reason, and it is closed.
  virtual void Open(const TPortSettings& settings) = 0;
  virtual void Close() noexcept = 0;
  /// To be watched while open.
  virtual THandle Handle() const = 0;

  virtual TPortTransfer Read(std::span<std::uint8_t> bytes) = 0;
  virtual TPortTransfer Write(std::span<const std::uint8_t> bytes) = 0;
  /// Why the last transfer was lost.
  virtual std::string LossReason() const = 0;

  /// Switches an RS-485 driver by the RTS line.
  virtual void SetTransmitting(bool value) = 0;
  /// The last character has left the port, as far as that can be known.
  virtual bool IsDrained() const = 0;
  virtual TLowLatency LowLatency() const = 0;
};

}  // namespace OrvixModBus
