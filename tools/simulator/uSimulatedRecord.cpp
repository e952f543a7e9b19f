#include "tools/simulator/uSimulatedRecord.h"

#include <algorithm>
#include <utility>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

// The low bytes of a number, the lowest first.
Bytes LowBytes(std::int64_t value, std::size_t size) {
  Bytes bytes(size);
  auto rest = static_cast<std::uint64_t>(value);
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(rest);
    rest >>= 8;
  }
  return bytes;
}

}  // namespace

TRecordField NumberField(std::size_t size, TFormula formula, std::endian order) {
  if (size < 1 || size > sizeof(std::int64_t)) {
    throw EArgumentOutOfRangeException("A number must have 1 to 8 bytes");
  }
  return [=, formula = std::move(formula)](std::uint32_t index) {
    Bytes bytes = LowBytes(formula(index, index), size);
    if (order == std::endian::big) std::ranges::reverse(bytes);
    return bytes;
  };
}

TRecordField TextField(std::size_t size, const std::string& text) {
  if (text.size() > size) throw EArgumentOutOfRangeException("A text is longer than its field");
  Bytes bytes(text.begin(), text.end());
  bytes.resize(size, ' ');
  return [=](std::uint32_t) { return bytes; };
}

std::vector<Bytes> FormRecords(const TRecordFormat& format, std::uint32_t count) {
  std::vector<Bytes> records(count);
  std::uint32_t index = 0;
  for (Bytes& record : records) {
    for (const TRecordField& field : format) {
      const Bytes bytes = field(index);
      record.insert(record.end(), bytes.begin(), bytes.end());
    }
    ++index;
  }
  return records;
}

}  // namespace OrvixModBus
