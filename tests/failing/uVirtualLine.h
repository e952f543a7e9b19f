#pragma once
// uVirtualLine: a connection, a client and a letter on a device in memory, in virtual time. What
// the device does is not the library's work: it never fails.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "tests/modbus/ScriptedPort.h"
#include "tools/simulator/uSimulatedDevice.h"
#include "uFailingMemory.h"
#include "uMBLetters.h"

namespace OrvixModBus {

/// A scripted port of which only the callers' memory fails.
class TOutsidePort final : public TSerialPort {
 public:
  explicit TOutsidePort(TWire& wire) : fPort(wire) {}

  void Open(const TPortSettings& settings) override {
    const TOwnMemory own;
    fPort.Open(settings);
  }
  void Close() noexcept override { fPort.Close(); }
  THandle Handle() const override { return fPort.Handle(); }
  TPortTransfer Read(std::span<std::uint8_t> bytes) override {
    const TOwnMemory own;
    return fPort.Read(bytes);
  }
  TPortTransfer Write(std::span<const std::uint8_t> bytes) override {
    const TOwnMemory own;
    return fPort.Write(bytes);
  }
  std::string LossReason() const override { return fPort.LossReason(); }
  void SetTransmitting(bool value) override { fPort.SetTransmitting(value); }
  bool IsDrained() const override { return fPort.IsDrained(); }
  TLowLatency LowLatency() const override { return fPort.LowLatency(); }

 private:
  TScriptedPort fPort;
};

class TVirtualLine {
 public:
  TVirtualLine();

  /// Runs until nothing of the line or the emulator is under way, at most for a virtual minute.
  void RunDry();
  /// The same, whatever handlers throw, as often as it takes.
  void Settle();
  /// So many answers were told by events as none or bad ones, or as a lost port.
  int Faults = 0;

  TVirtualLoop Loop;
  TWire Wire{Loop};
  TSimulatedDevice Device;
  TMBRTUConnection Line;
  TMBConnection Connection;
  TMBClient Client;
  TMBTypeInfo Types;
  TMBLetter Letter;
};

}  // namespace OrvixModBus
