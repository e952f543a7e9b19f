#include "platform/modbus/uLineStatistics.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace OrvixModBus {
namespace {

constexpr unsigned kBits = 4;  // 16 classes in every octave
constexpr std::uint32_t kLinear = 1U << kBits;

// Below 16 every value has its own class; above, the four bits after the leading one tell it.
std::size_t ClassOf(std::uint32_t value) {
  if (value < kLinear) return value;
  const unsigned shift = static_cast<unsigned>(std::bit_width(value)) - 1 - kBits;
  return (std::size_t{shift} << kBits) + (value >> shift);
}

// The middle of a class.
std::uint32_t ValueOf(std::size_t index) {
  if (index < kLinear) return static_cast<std::uint32_t>(index);
  const std::size_t shift = (index >> kBits) - 1;
  const std::uint64_t least = ((index & (kLinear - 1)) + kLinear) << shift;
  return static_cast<std::uint32_t>(least + (std::uint64_t{1} << shift) / 2);
}

std::uint32_t ToMicroseconds(std::chrono::steady_clock::duration time) {
  const auto count = std::chrono::duration_cast<std::chrono::microseconds>(time).count();
  constexpr std::int64_t kMost = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(count, 0, kMost));
}

}  // namespace

void TRoundTripTimes::Add(std::chrono::steady_clock::duration time) {
  const std::uint32_t value = ToMicroseconds(time);
  fLeast = fCount == 0 ? value : std::min(fLeast, value);
  fGreatest = std::max(fGreatest, value);
  ++fCount;
  ++fCounts[ClassOf(value)];
}

TRoundTrip TRoundTripTimes::Summary() const {
  return {fCount, fLeast, Percentile(50), Percentile(95), fGreatest};
}

std::uint32_t TRoundTripTimes::Percentile(std::uint64_t percent) const {
  if (fCount == 0) return 0;
  const std::uint64_t rank = (fCount * percent + 99) / 100;
  std::uint64_t below = 0;
  std::size_t index = 0;
  while ((below += fCounts[index]) < rank) ++index;
  return std::clamp(ValueOf(index), fLeast, fGreatest);
}

}  // namespace OrvixModBus
