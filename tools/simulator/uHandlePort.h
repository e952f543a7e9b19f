#pragma once
// uHandlePort: a handle of the system - a pseudo-terminal's end, a socket - in place of a port.

#include <string>

#include "platform/modbus/uSerialPort.h"

namespace OrvixModBus {

/// Carries bytes as they come; opening and closing it changes nothing.
class THandlePort : public TSerialPort {
 public:
  /// Makes handle, which stays the caller's, non-blocking. Throws Exception where that can't be.
  explicit THandlePort(THandle handle) { Attach(handle); }

  void Open(const TPortSettings&) override {}
  void Close() noexcept override {}
  THandle Handle() const override { return fHandle; }
  TPortTransfer Read(std::span<std::uint8_t> bytes) override;
  TPortTransfer Write(std::span<const std::uint8_t> bytes) override;
  std::string LossReason() const override { return fLossReason; }
  void SetTransmitting(bool) override {}
  bool IsDrained() const override { return true; }
  TLowLatency LowLatency() const override { return TLowLatency::llNotOffered; }

 protected:
  THandlePort() = default;
  void Attach(THandle handle);

 private:
  TPortTransfer Failed();

  THandle fHandle = -1;
  std::string fLossReason;
};

}  // namespace OrvixModBus
