#pragma once
// uBytes: the dynamic arrays that cross every interface, of bytes and of strings.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace OrvixModBus {

/// Raw register and frame data. Multi-byte numbers in it are big-endian unless said otherwise.
using Bytes = std::vector<std::uint8_t>;

/// A run of bytes that an operation only reads: Bytes, an array, a part of either.
using TByteView = std::span<const std::uint8_t>;

inline Bytes ToBytes(TByteView view) { return {view.begin(), view.end()}; }

/// Strings in order; every string is UTF-8.
using TStringDynArray = std::vector<std::string>;

}  // namespace OrvixModBus
