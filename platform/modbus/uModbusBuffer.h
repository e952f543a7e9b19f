#pragma once
// uModbusBuffer: a request or a reply as bytes with a read position.

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/modbus/uModbusTypes.h"
#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// Where Seek goes to.
enum class TSeekMode {
  smBufStart,
  smBufEnd,
  smPriorByte,
  smNextByte,
  smPriorWord,
  smNextWord,
};

/// Position 0 holds the server address, 1 the function code, 2 the first byte after it; the
/// check sum is not in here. Reading advances the position. EModLinkError when read or moved
/// past the ends, and the position has not changed.
class TModbusBuffer {
 public:
  int GetSize() const { return static_cast<int>(fData.size()); }  ///< in bytes
  int GetPosition() const { return static_cast<int>(fPosition); }
  /// 0 to GetSize(); there is nothing to read at GetSize().
  void SetPosition(int value);
  void Seek(TSeekMode mode);

  std::uint8_t GetByte();
  /// Two bytes, the high one first.
  std::uint16_t GetWordHiLo();

  /// All bytes, whatever the position. Valid until changed.
  std::span<const std::uint8_t> Data() const { return fData; }

  /// Empties the buffer and keeps its memory.
  void Clear();
  /// Takes over data; the position is the start.
  void Assign(std::span<const std::uint8_t> data);
  void Append(std::uint8_t byte) { fData.push_back(byte); }
  void Append(std::span<const std::uint8_t> data);

 private:
  void MoveTo(std::size_t position);

  Bytes fData;
  std::size_t fPosition = 0;
};

}  // namespace OrvixModBus
