#pragma once
// FurnishedDevice: a device in which every kind of request finds something to read.

#include <numeric>
#include <vector>

#include "tools/simulator/uSimulatedDevice.h"

namespace OrvixModBus {

/// Registers, coils and paged bytes that count up from 0, records of two files, two logs, one
/// oscillogram and an identity.
inline void Furnish(TSimulatedDevice& device) {
  const auto ramp = [](std::size_t count) {
    std::vector<std::uint32_t> values(count);
    std::iota(values.begin(), values.end(), 0U);
    return values;
  };
  const std::vector<Bytes> records{{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}};
  device.Holding.Set(0, ramp(200));
  device.Coils.Set(0, ramp(64));
  device.Paged.Set(0, ramp(0x400));
  device.Files[4].Records[1] = records[0];
  device.Files[4].Records[2] = records[1];
  device.Logs[0x20].Records = records;
  device.Logs[0x24].Records = records;
  device.Oscillograms[1] = {records[0], records};
  device.Identity = TSimulatedIdentity{{0x42}, "device", true};
}

}  // namespace OrvixModBus
