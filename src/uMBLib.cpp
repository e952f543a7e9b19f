#include "uMBLib.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kSignBit = 0x80;
constexpr double kCardinalValues = 4294967296.0;  // 2^32
constexpr double kRoundUpAbove = 0.1;

std::uint64_t BigEndian(TByteView data) {
  std::uint64_t sum = 0;
  for (const std::uint8_t byte : data) sum = sum << 8 | byte;
  return sum;
}

void CheckLength(TByteView data, std::size_t wanted) {
  if (data.size() < wanted) throw Exception("Length of data byte array error");
}

double FixedPoint(TByteView data, std::size_t intBytes, std::size_t fracBytes, std::size_t start) {
  CheckLength(data, start + intBytes + fracBytes);
  const auto sum = static_cast<double>(BigEndian(data.subspan(start, intBytes + fracBytes)));
  return fracBytes == 0 ? sum : std::ldexp(sum, -8 * static_cast<int>(fracBytes));
}

// Adds 1 to a big-endian number; a carry out of its first byte is lost.
void Increment(std::span<std::uint8_t> number) {
  for (std::size_t i = number.size(); i > 0; --i) {
    if (++number[i - 1] != 0) return;
  }
}

void CheckBit(std::size_t bitNum, std::size_t largest) {
  if (bitNum > largest) throw Exception("BitNum error");
}

std::size_t ByteOfBit(std::size_t size, std::uint16_t bitNum, bool reverse) {
  const std::size_t byte = bitNum / 8;
  if (byte >= size) throw Exception("BitNum error");
  return reverse ? size - 1 - byte : byte;
}

std::uint32_t CardinalBit(std::uint8_t bitNum) {
  CheckBit(bitNum, 32);
  return std::uint32_t{1} << bitNum % 32;
}

}  // namespace

std::uint8_t TMBLib::ByteFromCardinal(std::uint32_t value, std::uint8_t index) {
  return index > 3 ? std::uint8_t{0} : static_cast<std::uint8_t>(value >> 8 * index);
}

std::uint16_t TMBLib::ToByteToWord(std::uint8_t hi, std::uint8_t lo) {
  return static_cast<std::uint16_t>(hi << 8 | lo);
}

std::uint32_t TMBLib::ByteArToCardinal(TByteView data) {
  return static_cast<std::uint32_t>(BigEndian(data));
}

std::int64_t TMBLib::ByteArToInt64(TByteView data) {
  return static_cast<std::int64_t>(BigEndian(data));
}

Bytes TMBLib::CardinalToAr(std::uint32_t value, bool reverse) {
  Bytes result(4);
  for (std::uint8_t i = 0; i < 4; ++i) {
    result[reverse ? 3U - i : i] = ByteFromCardinal(value, i);
  }
  return result;
}

std::int32_t TMBLib::CorrectIntValue(std::int32_t value, int size) {
  switch (size) {
    case 1:
      return static_cast<std::int8_t>(value);
    case 2:
      return static_cast<std::int16_t>(value);
    default:
      return value;
  }
}

void TMBLib::ReverseBytes(const void* source, void* dest, int count) {
  const auto* first = static_cast<const std::uint8_t*>(source);
  if (count > 0) std::reverse_copy(first, first + count, static_cast<std::uint8_t*>(dest));
}

double TMBLib::ByteArToReal(TByteView data, std::uint8_t intBytes, std::uint8_t fracBytes,
                            std::uint8_t startIndex) {
  return FixedPoint(data, intBytes, fracBytes, startIndex);
}

double TMBLib::ByteArToSignedReal(TByteView data, std::uint8_t intBytes, std::uint8_t fracBytes,
                                  std::uint8_t startIndex) {
  CheckLength(data, std::size_t{intBytes} + fracBytes);
  if (fracBytes == 0 && intBytes <= 4) {
    return CorrectIntValue(static_cast<std::int32_t>(ByteArToCardinal(data)), intBytes);
  }
  if ((data[0] & kSignBit) == 0) return FixedPoint(data, intBytes, fracBytes, startIndex);
  Bytes magnitude(data.begin(), data.end());
  magnitude[0] &= std::uint8_t{0x7F};
  return -FixedPoint(magnitude, intBytes, fracBytes, startIndex);
}

Bytes TMBLib::RealToByteAr(double value, std::uint8_t intBytes, std::uint8_t fracBytes) {
  if (value < 0) throw Exception("Отрицательные числа не поддерживаются.");
  if (!std::isfinite(value)) throw Exception("The value is not a finite number");
  Bytes result(std::size_t{intBytes} + fracBytes);

  const double whole = std::trunc(value);
  const auto integer = static_cast<std::uint32_t>(std::fmod(whole, kCardinalValues));
  for (std::uint8_t i = 0; i < intBytes; ++i)
    result[intBytes - 1U - i] = ByteFromCardinal(integer, i);

  // A byte at a time, so that no count of bytes is too long; each step is exact.
  double rest = value - whole;
  const auto fraction = std::span(result).subspan(intBytes);
  for (std::uint8_t& byte : fraction) {
    byte = static_cast<std::uint8_t>(rest * 256);
    rest = rest * 256 - byte;
  }
  if (rest > kRoundUpAbove) Increment(fraction);
  return result;
}

TDateTime TMBLib::DateTimeToValue(TByteView data) {
  if (data.size() != 8 && data.size() != 7) return 0;
  const int milliseconds = data.size() == 8 ? ToByteToWord(data[6], data[7]) : data[6] * 10;
  return EncodeDateTime(2000 + data[0], data[1], data[2], data[3], data[4], data[5], milliseconds);
}

bool TMBLib::BitFromByte(std::uint8_t b, std::uint8_t bitNum) {
  CheckBit(bitNum, 7);
  return (b >> bitNum & 1) != 0;
}

bool TMBLib::BitFromWord(std::uint16_t w, std::uint8_t bitNum) {
  CheckBit(bitNum, 16);
  return (w >> bitNum & 1) != 0;
}

bool TMBLib::BitFromCardinal(std::uint32_t c, std::uint8_t bitNum) {
  return (c & CardinalBit(bitNum)) != 0;
}

std::uint8_t TMBLib::BitToByte(std::uint8_t b, std::uint8_t bitNum, bool value) {
  CheckBit(bitNum, 7);
  const unsigned weight = 1U << bitNum;
  return static_cast<std::uint8_t>(value ? b | weight : b & ~weight);
}

std::uint32_t TMBLib::BitToCardinal(std::uint32_t c, std::uint8_t bitNum, bool value) {
  const std::uint32_t weight = CardinalBit(bitNum);
  return value ? c | weight : c & ~weight;
}

bool TMBLib::BitFromAr(TByteView data, std::uint16_t bitNum, bool reverse) {
  return BitFromByte(data[ByteOfBit(data.size(), bitNum, reverse)], bitNum % 8);
}

Bytes& TMBLib::BitToAr(Bytes& data, std::uint16_t bitNum, bool value, bool reverse) {
  if (data.empty()) return data;
  std::uint8_t& byte = data[ByteOfBit(data.size(), bitNum, reverse)];
  byte = BitToByte(byte, bitNum % 8, value);
  return data;
}

Bytes& TMBLib::BitCopy(TByteView source, Bytes& dest, std::uint8_t sourceBit, std::uint8_t destBit,
                       bool reverse) {
  return BitToAr(dest, destBit, BitFromAr(source, sourceBit, reverse), reverse);
}

}  // namespace OrvixModBus
