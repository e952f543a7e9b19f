#include "platform/modbus/uLineTiming.h"

#include <algorithm>

namespace OrvixModBus {
namespace {

using TDuration = TLineTiming::TDuration;

// Above this rate the standard fixes the silence (Modbus over Serial Line V1.02, 2.5.1.1).
constexpr TBaudRate kFastBaudRate = 19200;
constexpr std::chrono::microseconds kFastSilence{1750};
constexpr std::chrono::milliseconds kLeastQuiet{20};
constexpr std::chrono::milliseconds kLeastPause{200};

// Start bit, data bits, parity bit, stop bits; doubled, for the stop bit and a half.
std::int64_t HalfBits(const TPortSettings& port) {
  const std::int64_t data = 5 + static_cast<std::int64_t>(port.DataBits);
  const std::int64_t parity = port.Parity == TParityScheme::psNone ? 0 : 1;
  return 2 * (1 + data + parity) + 2 + static_cast<std::int64_t>(port.StopBits);
}

TDuration CharacterTime(const TLineSettings& settings) {
  if (settings.SilentInterval == 0) return TDuration(0);
  const std::int64_t halfBitsPerSecond = std::max<std::int64_t>(settings.Port.BaudRate, 1) * 2;
  return TDuration(HalfBits(settings.Port) * 1'000'000'000 / halfBitsPerSecond);
}

TDuration SilenceOf(const TLineSettings& settings, TDuration character) {
  if (settings.SilentInterval >= 0) return std::chrono::microseconds(settings.SilentInterval);
  return settings.Port.BaudRate > kFastBaudRate ? kFastSilence : character * 7 / 2;
}

}  // namespace

TLineTiming::TLineTiming(const TLineSettings& settings)
    : fCharacter(CharacterTime(settings)),
      fSilence(SilenceOf(settings, fCharacter)),
      fQuiet(std::max<TDuration>(fCharacter * 7 / 2, kLeastQuiet)),
      fPause(std::max<TDuration>(fCharacter * 7, kLeastPause)) {}

}  // namespace OrvixModBus
