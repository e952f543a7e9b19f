#pragma once
// uFileRecordFrames: cuts a list of file records into frames and takes the replies apart.

#include <cstdint>
#include <span>

#include "platform/modbus/uFileRecordList.h"
#include "platform/modbus/uModbusBuffer.h"

namespace OrvixModBus {

/// The records of one frame: from First to just before End.
struct TFileRecordGroup {
  int First = 0;
  int End = 0;
};

/// As many records from first on as fit one frame, request and reply, of 256 bytes; at least one,
/// but none of an empty list.
TFileRecordGroup FileRecordGroup(const TModbusFileRecordList& list, int first);

/// Modbus Application Protocol V1.1b3, 6.14. Per record: 6, file, record, length (7 bytes).
void FormFileRequest(const TModbusFileRecordList& list, TFileRecordGroup group, std::uint8_t server,
                     TModbusBuffer& request);

/// Hands out the data of reply (without check sum) to the records of group. Per record: length
/// of what follows, 6, data. False, and nothing is handed out, when it does not fit the group.
bool TakeFileReply(TModbusFileRecordList& list, TFileRecordGroup group,
                   std::span<const std::uint8_t> reply);

}  // namespace OrvixModBus
