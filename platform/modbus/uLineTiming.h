#pragma once
// uLineTiming: how long characters, silences and pauses are on a line.

#include <chrono>
#include <cstddef>

#include "platform/modbus/uLineSettings.h"

namespace OrvixModBus {

/// The durations that follow from a line's settings. With a silent interval of 0 the link has no
/// characters, and nothing on it takes time.
class TLineTiming {
 public:
  using TDuration = std::chrono::nanoseconds;

  explicit TLineTiming(const TLineSettings& settings);

  bool HasCharacters() const { return fCharacter.count() > 0; }
  /// How long count characters are on the wire.
  TDuration Characters(std::size_t count) const {
    return fCharacter * static_cast<TDuration::rep>(count);
  }
  /// Between the last character and the next request.
  TDuration Silence() const { return fSilence; }
  /// After so long without a byte nothing more belongs to a frame whose length is not known:
  /// 3.5 characters, and at least 20 ms, because adapters hand over in bursts.
  TDuration Quiet() const { return fQuiet; }
  /// A pause inside a frame does not cut it unless it is longer: 7 characters, at least 200 ms.
  TDuration Pause() const { return fPause; }

 private:
  TDuration fCharacter, fSilence, fQuiet, fPause;
};

}  // namespace OrvixModBus
