#pragma once
// ScriptedPort: a serial port in memory whose other end is a script in virtual time.

#include <algorithm>
#include <cctype>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/loop/uVirtualLoop.h"
#include "platform/modbus/uRtuFrame.h"
#include "platform/modbus/uSerialPort.h"

namespace OrvixModBus {

/// "01 03 02" to bytes.
inline Bytes Hex(std::string_view text) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < text.size();) {
    if (text[i] == ' ') {
      ++i;
      continue;
    }
    bytes.push_back(
        static_cast<std::uint8_t>(std::stoul(std::string(text.substr(i, 2)), nullptr, 16)));
    i += 2;
  }
  return bytes;
}

/// The same with a right check sum behind.
inline Bytes Frame(const Bytes& body) {
  Bytes frame;
  FormFrame(body, frame);
  return frame;
}
inline Bytes Frame(std::string_view body) { return Frame(Hex(body)); }

inline Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

/// The wire between the port and the script. Outlives the port, which the queue owns.
class TWire final : public TVirtualHandle {
 public:
  using TTime = TLoop::TClock::time_point;

  explicit TWire(TVirtualLoop& loop) : Loop(loop), Handle(loop.Attach(*this)) {}
  ~TWire() override { Loop.Detach(Handle); }

  /// bytes arrive at the port after a delay from now on, one by one when apart is given.
  void Arrive(TLoop::TClock::duration delay, const Bytes& bytes,
              TLoop::TClock::duration apart = {}) {
    TTime time = Loop.Now() + delay;
    for (const std::uint8_t byte : bytes) {
      Incoming.push_back({time, byte});
      time += apart;
    }
    std::ranges::stable_sort(Incoming, {}, &TArrival::Time);
  }

  TReadiness Ready() const override {
    if (HungUp) return TReadiness::rdReadWrite;
    const bool readable = !Incoming.empty() && Incoming.front().Time <= Loop.Now();
    return static_cast<TReadiness>((readable ? 1 : 0) | (WriteLimit > 0 ? 2 : 0));
  }

  TTime NextChange() const override {
    for (const TArrival& arrival : Incoming) {
      if (arrival.Time > Loop.Now()) return arrival.Time;
    }
    return TTime::max();
  }

  struct TArrival {
    TTime Time;
    std::uint8_t Byte;
  };

  TVirtualLoop& Loop;
  const THandle Handle;
  std::deque<TArrival> Incoming;
  Bytes Written;                                  // all since it was cleared
  std::vector<TTime> WriteTimes;                  // of every write call that took something
  std::function<void(const Bytes&)> OnWrite;      // is told what each write call took
  std::vector<std::pair<TTime, bool>> Direction;  // RS-485 switching
  TPortSettings Settings;
  std::string Refusal;  // why opening fails; empty when it does not
  std::size_t WriteLimit = 4096;
  std::size_t ReadLimit = 4096;
  TTime DrainedAt{};
  bool HungUp = false;
  bool IsOpen = false;
  int Opens = 0, Reads = 0, Writes = 0;
};

class TScriptedPort final : public TSerialPort {
 public:
  explicit TScriptedPort(TWire& wire) : fWire(wire) {}
  ~TScriptedPort() override { fWire.IsOpen = false; }

  void Open(const TPortSettings& settings) override {
    ++fWire.Opens;
    if (!fWire.Refusal.empty()) throw EModLinkError("Port " + settings.Name + ": " + fWire.Refusal);
    fWire.Settings = settings;
    fWire.IsOpen = true;
  }
  void Close() noexcept override { fWire.IsOpen = false; }
  THandle Handle() const override { return fWire.Handle; }

  TPortTransfer Read(std::span<std::uint8_t> bytes) override {
    ++fWire.Reads;
    auto& incoming = fWire.Incoming;
    TPortTransfer done;
    const std::size_t most = std::min(bytes.size(), fWire.ReadLimit);
    while (done.Count < most && !incoming.empty() && incoming.front().Time <= fWire.Loop.Now()) {
      bytes[done.Count++] = incoming.front().Byte;
      incoming.pop_front();
    }
    done.Lost = done.Count == 0 && fWire.HungUp;
    return done;
  }

  TPortTransfer Write(std::span<const std::uint8_t> bytes) override {
    ++fWire.Writes;
    if (fWire.HungUp) return {0, true};
    const auto taken = bytes.first(std::min(bytes.size(), fWire.WriteLimit));
    if (taken.empty()) return {};
    fWire.WriteTimes.push_back(fWire.Loop.Now());
    fWire.Written.insert(fWire.Written.end(), taken.begin(), taken.end());
    if (fWire.OnWrite) fWire.OnWrite(Bytes(taken.begin(), taken.end()));
    return {taken.size()};
  }

  std::string LossReason() const override { return "hung up"; }
  void SetTransmitting(bool value) override {
    fWire.Direction.emplace_back(fWire.Loop.Now(), value);
  }
  bool IsDrained() const override { return fWire.Loop.Now() >= fWire.DrainedAt; }
  TLowLatency LowLatency() const override { return TLowLatency::llSet; }

 private:
  TWire& fWire;
};

}  // namespace OrvixModBus
