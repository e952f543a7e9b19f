#pragma once
// SimulatedLine: a client on a real serial port whose other end is the simulator.

#include <chrono>
#include <vector>

#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uSimulatorThread.h"
#include "uMBLetters.h"

namespace OrvixModBus {

inline constexpr std::uint8_t kDevice = 1;
inline constexpr auto kLineLimit = std::chrono::seconds(60);

/// Holding registers 0 to 999 hold their address, input registers 0 to 99 its complement.
class TSimulatedLine {
 public:
  explicit TSimulatedLine(const TSimulatorLineSettings& settings = {})
      : Thread(Prepared(Simulator), Terminal.Handle(), settings) {
    Line.SetPortProperty(Terminal.Path());
    Line.SetReceiveTimeout(5000);
    Line.SetMaxRetries(0);
    Line.SetSilentInterval(settings.BaudRate == 0 ? 0 : -1);
    if (settings.BaudRate != 0) Line.SetBaudRate(settings.BaudRate);
    Line.SetActive(true);
    Connection.SetRTU(&Line);
    Client.SetConnection(&Connection);
    Client.SetAdres(kDevice);
  }

  /// Runs the loop until nothing of the client's is pending any more; false after the limit.
  bool RunDry(std::chrono::seconds limit = kLineLimit) {
    return TLoop::Current().RunUntil([this] { return Client.CountPendingTransactions() == 0; },
                                     limit);
  }

  /// From now on what the device is asked can be taken.
  void KeepJournal() {
    const auto lock = Thread.Lock();
    Simulator.KeepsJournal = true;
  }
  /// The requests since the last call, function code and data.
  std::vector<Bytes> TakeRequests() {
    const auto lock = Thread.Lock();
    std::vector<Bytes> requests;
    for (const TJournalEntry& entry : Simulator.Journal) requests.push_back(entry.Request);
    Simulator.Journal.clear();
    return requests;
  }

  TSimulator Simulator;
  TPseudoTerminal Terminal;
  TSimulatorThread Thread;
  TMBRTUConnection Line;
  TMBConnection Connection;
  TMBClient Client;

 private:
  static TSimulator& Prepared(TSimulator& simulator) {
    TSimulatedDevice& device = simulator.Device(kDevice);
    for (std::uint32_t a = 0; a < 1000; ++a) device.Holding.Set(a, {a});
    for (std::uint32_t a = 0; a < 100; ++a) device.Input.Set(a, {0xFFFF - a});
    return simulator;
  }
};

/// A register of the letter; two bytes per register, but one for bits and paged memory.
inline TMBReg& AddReg(TMBLetter& letter, std::uint8_t func, std::uint32_t adress,
                      std::uint8_t count) {
  const bool registers = func == 0x03 || func == 0x04 || func == 0x21;
  TMBReg& reg = *letter.Regs().Add();
  reg.SetDisplayName("F" + std::to_string(func) + "_" + std::to_string(adress));
  reg.SetMBFuncRead(func);
  reg.SetRegAdress(adress);
  reg.SetBytesInOneReg(registers ? 2 : 1);
  reg.SetRegsCount(count);
  return reg;
}

}  // namespace OrvixModBus
