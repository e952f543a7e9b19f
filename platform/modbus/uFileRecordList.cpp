#include "platform/modbus/uFileRecordList.h"

#include <string>
#include <utility>

namespace OrvixModBus {

void TModbusFileRecordList::Add(std::uint16_t file, std::uint16_t record, int length) {
  if (length < 0 || length > kMaxLength) {
    throw EModLinkError("A file record of " + std::to_string(length) + " registers can't be read");
  }
  fRecords.push_back({file, record, length, {}});
}

const TModbusFileRecord& TModbusFileRecordList::Records(int index) const {
  if (index < 0 || index >= Count()) {
    throw EModLinkError("File record index out of bounds (" + std::to_string(index) + ")");
  }
  return fRecords[static_cast<std::size_t>(index)];
}

TModbusFileRecord& TModbusFileRecordList::Records(int index) {
  return const_cast<TModbusFileRecord&>(std::as_const(*this).Records(index));
}

}  // namespace OrvixModBus
