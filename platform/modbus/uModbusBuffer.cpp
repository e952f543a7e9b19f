#include "platform/modbus/uModbusBuffer.h"

#include <string>

namespace OrvixModBus {

void TModbusBuffer::SetPosition(int value) {
  // A negative value becomes one past every end.
  MoveTo(static_cast<std::size_t>(value));
}

void TModbusBuffer::Seek(TSeekMode mode) {
  switch (mode) {
    case TSeekMode::smBufStart:
      return MoveTo(0);
    case TSeekMode::smBufEnd:
      return MoveTo(fData.size());
    case TSeekMode::smPriorByte:
      return MoveTo(fPosition - 1);
    case TSeekMode::smNextByte:
      return MoveTo(fPosition + 1);
    case TSeekMode::smPriorWord:
      return MoveTo(fPosition - 2);
    case TSeekMode::smNextWord:
      return MoveTo(fPosition + 2);
  }
}

std::uint8_t TModbusBuffer::GetByte() {
  const std::size_t at = fPosition;
  MoveTo(at + 1);
  return fData[at];
}

std::uint16_t TModbusBuffer::GetWordHiLo() {
  const std::size_t at = fPosition;
  MoveTo(at + 2);
  return static_cast<std::uint16_t>(fData[at] << 8 | fData[at + 1]);
}

void TModbusBuffer::Clear() {
  fData.clear();
  fPosition = 0;
}

void TModbusBuffer::Assign(std::span<const std::uint8_t> data) {
  fData.assign(data.begin(), data.end());
  fPosition = 0;
}

void TModbusBuffer::Append(std::span<const std::uint8_t> data) {
  fData.insert(fData.end(), data.begin(), data.end());
}

void TModbusBuffer::MoveTo(std::size_t position) {
  if (position > fData.size()) {
    throw EModLinkError("Position outside a buffer of " + std::to_string(fData.size()) + " bytes");
  }
  fPosition = position;
}

}  // namespace OrvixModBus
