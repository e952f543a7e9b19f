#pragma once
// uDeadServers: which servers have stopped answering, so that they don't hold up the others.

#include <array>
#include <chrono>
#include <cstdint>

#include "platform/modbus/uLineSettings.h"

namespace OrvixModBus {

/// Counts the time-outs in a row of each server. One that reaches TLineSettings::SetAsideAfter is
/// set aside: it is asked again once every ProbeInterval, until something of its own comes.
class TDeadServers {
 public:
  using TTime = std::chrono::steady_clock::time_point;

  /// settings must outlive this.
  explicit TDeadServers(const TLineSettings& settings) : fSettings(settings) {}

  bool IsSetAside(std::uint8_t server) const {
    return fSettings.SetAsideAfter > 0 && fServers[server].SetAside;
  }
  /// It is set aside, and its next probe is not due yet.
  bool RestsAt(std::uint8_t server, TTime now) const {
    return IsSetAside(server) && now < fServers[server].ProbeAt;
  }
  /// An attempt has timed out, or a probe; true when the server is set aside by this one.
  bool TimedOut(std::uint8_t server, TTime now);
  /// Something of its own has come, right or wrong; true when it was set aside until now.
  bool Answered(std::uint8_t server);
  /// All servers are tried again.
  void Clear() { fServers = {}; }

 private:
  struct TServer {
    int TimeOuts = 0;
    bool SetAside = false;
    TTime ProbeAt{};
  };

  const TLineSettings& fSettings;
  std::array<TServer, 256> fServers{};
};

}  // namespace OrvixModBus
