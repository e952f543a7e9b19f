#pragma once
// uSimulatedRecord: ready records for simulated logs and oscillograms, by a format.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/rtl/uBytes.h"
#include "tools/simulator/uSimulatedTable.h"

namespace OrvixModBus {

/// The bytes of one field by the record's place among the others, from 0. Any callable will do.
using TRecordField = std::function<Bytes(std::uint32_t index)>;

/// The fields of every record, in order.
using TRecordFormat = std::vector<TRecordField>;

/// A whole number of 1 to 8 bytes, else EArgumentOutOfRangeException; a negative one is its two's
/// complement, what does not fit is cut to its low bytes. The formula gets the record's place as
/// index and as seconds, so a period is so many records. The order is the type catalogue's.
TRecordField NumberField(std::size_t size, TFormula formula, std::endian order = std::endian::big);
/// The same text in every record, blanks behind it. EArgumentOutOfRangeException when it is longer
/// than size.
TRecordField TextField(std::size_t size, const std::string& text);

/// So many records of a format.
std::vector<Bytes> FormRecords(const TRecordFormat& format, std::uint32_t count);

}  // namespace OrvixModBus
