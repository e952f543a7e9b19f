#include "platform/modbus/uFileRecordFrames.h"

#include <cstddef>

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kReadFileRecord = 0x14;
constexpr std::uint8_t kReferenceType = 6;
constexpr int kMostRecords = 35;       // of 7 bytes each, in a request of 256 bytes
constexpr int kMostReplyBytes = 251;   // after the byte count, in a reply of 256 bytes
constexpr int kReplyOverhead = 2;      // length and reference type of each record
constexpr std::size_t kReplyHead = 3;  // server address, function code, byte count

int ReplyBytes(const TModbusFileRecord& record) { return kReplyOverhead + 2 * record.Length; }

void AppendWord(TModbusBuffer& buffer, int value) {
  buffer.Append(static_cast<std::uint8_t>(value >> 8 & 0xFF));
  buffer.Append(static_cast<std::uint8_t>(value & 0xFF));
}

// The records' parts of reply fit their lengths one after the other, and nothing is left.
bool Fits(const TModbusFileRecordList& list, TFileRecordGroup group,
          std::span<const std::uint8_t> reply) {
  std::size_t at = kReplyHead;
  for (int i = group.First; i < group.End; ++i) {
    const auto size = static_cast<std::size_t>(ReplyBytes(list.Records(i)));
    if (reply.size() < at + size) return false;
    if (reply[at] != size - 1 || reply[at + 1] != kReferenceType) return false;
    at += size;
  }
  return reply.size() == at;
}

}  // namespace

TFileRecordGroup FileRecordGroup(const TModbusFileRecordList& list, int first) {
  TFileRecordGroup group{first, first};
  int bytes = 0;
  while (group.End < list.Count() && group.End - first < kMostRecords) {
    bytes += ReplyBytes(list.Records(group.End));
    if (bytes > kMostReplyBytes && group.End > first) break;
    ++group.End;
  }
  return group;
}

void FormFileRequest(const TModbusFileRecordList& list, TFileRecordGroup group, std::uint8_t server,
                     TModbusBuffer& request) {
  request.Clear();
  request.Append(server);
  request.Append(kReadFileRecord);
  request.Append(static_cast<std::uint8_t>(7 * (group.End - group.First)));
  for (int i = group.First; i < group.End; ++i) {
    const TModbusFileRecord& record = list.Records(i);
    request.Append(kReferenceType);
    AppendWord(request, record.File);
    AppendWord(request, record.Record);
    AppendWord(request, record.Length);
  }
}

bool TakeFileReply(TModbusFileRecordList& list, TFileRecordGroup group,
                   std::span<const std::uint8_t> reply) {
  if (!Fits(list, group, reply)) return false;
  std::size_t at = kReplyHead;
  for (int i = group.First; i < group.End; ++i) {
    TModbusFileRecord& record = list.Records(i);
    const auto size = static_cast<std::size_t>(ReplyBytes(record));
    const auto data = reply.subspan(at, size).subspan(kReplyOverhead);
    record.Data.assign(data.begin(), data.end());
    at += size;
  }
  return true;
}

}  // namespace OrvixModBus
