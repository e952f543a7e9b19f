#include "platform/modbus/uDeadServers.h"

#include <algorithm>
#include <utility>

namespace OrvixModBus {
namespace {

constexpr int kMostTimeOuts = 255;  // as many as SetAsideAfter can ask for

}  // namespace

bool TDeadServers::TimedOut(std::uint8_t server, TTime now) {
  TServer& one = fServers[server];
  one.TimeOuts = std::min(one.TimeOuts + 1, kMostTimeOuts);
  if (fSettings.SetAsideAfter == 0 || one.TimeOuts < fSettings.SetAsideAfter) return false;
  one.ProbeAt = now + std::chrono::milliseconds(fSettings.ProbeInterval);
  return !std::exchange(one.SetAside, true);
}

bool TDeadServers::Answered(std::uint8_t server) {
  const bool wasSetAside = IsSetAside(server);
  fServers[server] = {};
  return wasSetAside;
}

}  // namespace OrvixModBus
