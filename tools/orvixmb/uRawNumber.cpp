#include "tools/orvixmb/uRawNumber.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "uMBLib.h"

namespace OrvixModBus {
namespace {

constexpr double kGreatestWhole = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kIntegerSize = 4;

double Power256(std::size_t exponent) { return std::pow(256.0, static_cast<double>(exponent)); }

// Signed integers of 1 and 2 bytes have their own sign, other sizes that of 32 bits.
TRange BoundsOf(const TRawNumber& raw, bool isSigned) {
  if (raw.TwosComplement) {
    const bool small = raw.IntPart == 1 || raw.IntPart == 2;
    if (!small && raw.Size < kIntegerSize) return {0, Power256(raw.Size) - 1};
    const double half = Power256(small ? raw.IntPart : kIntegerSize) / 2;
    return {-half, half - 1};
  }
  const double all =
      Power256(std::min<std::size_t>(raw.IntPart, kIntegerSize)) / (isSigned ? 2 : 1);
  const double high = std::min(raw.IsWhole() ? all - 1 : all - all / 256, kGreatestWhole);
  return {isSigned ? -high : 0, high};
}

}  // namespace

double TRange::Clamp(double value) const {
  return std::isnan(value) ? Low : std::clamp(value, Low, High);
}

Bytes TRawNumber::OwnBytes(double raw) const {
  if (TwosComplement) return BigEndian(std::llround(raw), Size);
  Bytes bytes = TMBLib::RealToByteAr(std::abs(raw), IntPart, RealPart);
  if (raw < 0) bytes[0] |= std::uint8_t{0x80};
  bytes.resize(Size);
  return bytes;
}

TRawNumber RawNumberOf(const TMBRegTypeNumber& number, std::size_t size) {
  TRawNumber raw;
  raw.Size = size;
  raw.IntPart = number.IntPart();
  raw.RealPart = number.RealPart();
  const std::size_t parts = std::size_t{raw.IntPart} + raw.RealPart;
  if (number.FromIndex() >= 0 && static_cast<std::size_t>(number.FromIndex()) < size) {
    raw.Begin = static_cast<std::size_t>(number.FromIndex());
    raw.Size = std::min(size - raw.Begin, parts);
  }
  const bool isSigned = number.MinValue() < 0;
  raw.TwosComplement = isSigned && raw.IsWhole() && raw.IntPart <= kIntegerSize;
  raw.Bounds = BoundsOf(raw, isSigned);
  return raw;
}

Bytes BigEndian(std::int64_t value, std::size_t size) {
  Bytes bytes(size);
  auto rest = static_cast<std::uint64_t>(value);
  for (auto byte = bytes.rbegin(); byte != bytes.rend() && rest != 0; ++byte) {
    *byte = static_cast<std::uint8_t>(rest);
    rest >>= 8;
  }
  return bytes;
}

bool IsMissingValue(TByteView bytes) {
  return bytes.size() > 1 && std::ranges::all_of(bytes, [](std::uint8_t b) { return b == 0xFF; });
}

}  // namespace OrvixModBus
