#include "tools/simulator/uSimulatedDevice.h"

#include <algorithm>
#include <array>
#include <vector>

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kExceptionFlag = 0x80;
constexpr std::size_t kLongestReply = 253;

// A request with its size checked: positions count from 0 = function code.
struct TRequest {
  TSimulatedDevice& Device;
  TSimulatedTable* Table;
  std::span<const std::uint8_t> Data;
  double Seconds;

  std::uint32_t Word(std::size_t at) const { return Data[at] * 256U + Data[at + 1]; }
  std::uint32_t PagedAddress() const { return Data[1] * 65536U + Word(2); }
  std::uint32_t Get(std::uint32_t address) const { return Table->Get(address, Seconds); }

  Bytes Echo(std::size_t size) const { return {Data.begin(), Data.begin() + std::ptrdiff_t(size)}; }
  Bytes Refuse(std::uint8_t code) const {
    return {static_cast<std::uint8_t>(Data[0] | kExceptionFlag), code};
  }
};

using TAction = Bytes (*)(const TRequest&);

struct TFunction {
  std::uint8_t Code;
  std::uint8_t Size;  // of the request, without counted bytes
  bool Counted;       // the last of these counts the bytes that follow
  TAction Action;
  TSimulatedTable TSimulatedDevice::*Table;
};

void Append(Bytes& reply, std::uint32_t value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) reply.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

// $01 $02 | code | address hi lo | count hi lo |  ->  | code | bytes | bits, the first lowest |
Bytes ReadBits(const TRequest& request) {
  const std::uint32_t first = request.Word(1);
  const std::uint32_t count = request.Word(3);
  if (count < 1 || count > 2000) return request.Refuse(kIllegalValue);
  if (!request.Table->Has(first, count)) return request.Refuse(kIllegalAddress);
  Bytes reply(2 + (count + 7) / 8);
  reply[0] = request.Data[0];
  reply[1] = static_cast<std::uint8_t>(reply.size() - 2);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t bit = request.Get(first + i) & 1U;
    reply[2 + i / 8] = static_cast<std::uint8_t>(reply[2 + i / 8] | (bit << (i % 8)));
  }
  return reply;
}

// $03 $04 | code | address hi lo | count hi lo |  ->  | code | bytes | registers |
Bytes ReadRegisters(const TRequest& request) {
  const std::uint32_t first = request.Word(1);
  const std::uint32_t count = request.Word(3);
  if (count < 1 || count > 125) return request.Refuse(kIllegalValue);
  if (!request.Table->Has(first, count)) return request.Refuse(kIllegalAddress);
  Bytes reply{request.Data[0], static_cast<std::uint8_t>(2 * count)};
  for (std::uint32_t i = 0; i < count; ++i) Append(reply, request.Get(first + i), 2);
  return reply;
}

// $05 | code | address hi lo | FF00 or 0000 |  ->  the same
Bytes WriteBit(const TRequest& request) {
  const std::uint32_t address = request.Word(1);
  const std::uint32_t value = request.Word(3);
  if (value != 0xFF00 && value != 0) return request.Refuse(kIllegalValue);
  if (!request.Table->CanWrite(address, 1)) return request.Refuse(kIllegalAddress);
  request.Table->Set(address, {value != 0 ? 1U : 0U});
  return request.Echo(5);
}

// $06 $6C | code | address hi lo | value hi lo |  ->  the same
Bytes WriteRegister(const TRequest& request) {
  const std::uint32_t address = request.Word(1);
  if (!request.Table->CanWrite(address, 1)) return request.Refuse(kIllegalAddress);
  request.Table->Set(address, {request.Word(3)});
  return request.Echo(5);
}

// $0F | code | address hi lo | count hi lo | bytes | bits |  ->  the first five bytes
Bytes WriteBits(const TRequest& request) {
  const std::uint32_t first = request.Word(1);
  const std::uint32_t count = request.Word(3);
  if (count < 1 || count > 1968 || request.Data[5] != (count + 7) / 8) {
    return request.Refuse(kIllegalValue);
  }
  if (!request.Table->CanWrite(first, count)) return request.Refuse(kIllegalAddress);
  std::vector<std::uint32_t> bits(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    bits[i] = (std::uint32_t{request.Data[6 + i / 8]} >> (i % 8)) & 1U;
  }
  request.Table->Set(first, bits);
  return request.Echo(5);
}

// $10 | code | address hi lo | count hi lo | bytes | registers |  ->  the first five bytes
Bytes WriteRegisters(const TRequest& request) {
  const std::uint32_t first = request.Word(1);
  const std::uint32_t count = request.Word(3);
  if (count < 1 || count > 123 || request.Data[5] != 2 * count) {
    return request.Refuse(kIllegalValue);
  }
  if (!request.Table->CanWrite(first, count)) return request.Refuse(kIllegalAddress);
  std::vector<std::uint32_t> values(count);
  for (std::uint32_t i = 0; i < count; ++i) values[i] = request.Word(6 + 2 * std::size_t{i});
  request.Table->Set(first, values);
  return request.Echo(5);
}

// $11 | code |  ->  | code | bytes | server id | FF running, 00 not | text |
Bytes ReportServerId(const TRequest& request) {
  const auto& identity = request.Device.Identity;
  if (!identity) return request.Refuse(kIllegalFunction);
  Bytes reply{request.Data[0], 0};
  reply.insert(reply.end(), identity->ServerId.begin(), identity->ServerId.end());
  reply.push_back(identity->Running ? 0xFF : 0x00);
  reply.insert(reply.end(), identity->Text.begin(), identity->Text.end());
  reply.resize(std::min<std::size_t>(reply.size(), kLongestReply));
  reply[1] = static_cast<std::uint8_t>(reply.size() - 2);
  return reply;
}

// The record that a group of $14 names; nil when there is none.
const Bytes* FindRecord(const TRequest& request, std::size_t group) {
  const auto number = [&](std::size_t at) {
    return static_cast<std::uint16_t>(request.Word(group + at));
  };
  const auto file = request.Device.Files.find(number(1));
  if (file == request.Device.Files.end()) return nullptr;
  const auto record = file->second.Records.find(number(3));
  return record != file->second.Records.end() ? &record->second : nullptr;
}

// $14 | code | bytes | groups: 06 | file hi lo | record hi lo | registers hi lo |
//   ->  | code | bytes | groups: bytes that follow | 06 | registers |
Bytes ReadFileRecords(const TRequest& request) {
  constexpr std::uint8_t kReferenceType = 6;
  constexpr std::size_t kGroupSize = 7;
  const std::size_t bytes = request.Data[1];
  if (bytes == 0 || bytes > 0xF5 || bytes % kGroupSize != 0) return request.Refuse(kIllegalValue);
  Bytes reply{request.Data[0], 0};
  for (std::size_t group = 2; group < request.Data.size(); group += kGroupSize) {
    const Bytes* record = FindRecord(request, group);
    const std::size_t size = 2 * std::size_t{request.Word(group + 5)};
    if (request.Data[group] != kReferenceType || record == nullptr || record->size() < size) {
      return request.Refuse(kIllegalAddress);
    }
    if (reply.size() + 2 + size > kLongestReply) return request.Refuse(kIllegalValue);
    reply.insert(reply.end(), {static_cast<std::uint8_t>(1 + size), kReferenceType});
    reply.insert(reply.end(), record->begin(), record->begin() + std::ptrdiff_t(size));
  }
  reply[1] = static_cast<std::uint8_t>(reply.size() - 2);
  return reply;
}

// $20 $24 $41 | code | 0 | 0 | 0 | 0 |  ->  | code | total hi lo | count hi lo |
Bytes CountRecords(const TRequest& request, std::size_t count, std::optional<std::uint16_t> total) {
  const auto most = static_cast<std::uint32_t>(std::min<std::size_t>(count, 0xFFFF));
  Bytes reply{request.Data[0]};
  Append(reply, total.value_or(static_cast<std::uint16_t>(most)), 2);
  Append(reply, most, 2);
  return reply;
}

bool AsksForCount(const TRequest& request) {
  return std::ranges::count(request.Data.subspan(1), 0) == 4;
}

// The reply's head, then as many records from a number on as are there of those asked for.
Bytes ReadRecords(const TRequest& request, Bytes reply, const std::vector<Bytes>& records,
                  std::size_t first, std::size_t asked) {
  if (first < 1 || first > records.size()) return request.Refuse(kIllegalAddress);
  const std::size_t longest = std::ranges::max(records, {}, &Bytes::size).size();
  if (reply.size() + asked * longest > kLongestReply) return request.Refuse(kIllegalValue);
  const std::size_t end = std::min(records.size(), first - 1 + asked);
  for (std::size_t i = first - 1; i < end; ++i) {
    reply.insert(reply.end(), records[i].begin(), records[i].end());
  }
  return reply;
}

// $20 $24 | code | 0 | first | 0 | records |  ->  | code | records |
// On purpose: without a byte count, as all replies of this family's own functions.
Bytes ReadLog(const TRequest& request) {
  const auto log = request.Device.Logs.find(request.Data[0]);
  if (log == request.Device.Logs.end()) return request.Refuse(kIllegalFunction);
  const std::vector<Bytes>& records = log->second.Records;
  if (AsksForCount(request)) return CountRecords(request, records.size(), log->second.Total);
  if (request.Data[1] != 0 || request.Data[3] != 0 || request.Data[4] == 0) {
    return request.Refuse(kIllegalValue);
  }
  return ReadRecords(request, {request.Data[0]}, records, request.Data[2], request.Data[4]);
}

// $41 | code | 0 | oscillogram | 0 | 0 |  ->  | code | description |
Bytes ReadOscillogramInfo(const TRequest& request, const Bytes& info) {
  if (request.Word(3) != 0 || 1 + info.size() > kLongestReply) return request.Refuse(kIllegalValue);
  Bytes reply{request.Data[0]};
  reply.insert(reply.end(), info.begin(), info.end());
  return reply;
}

// $41 | code | records | oscillogram | first hi lo |
//   ->  | code | 0 | oscillogram | first hi lo | records |
Bytes ReadOscillogram(const TRequest& request) {
  const auto& oscillograms = request.Device.Oscillograms;
  const auto& total = request.Device.OscillogramTotal;
  if (oscillograms.empty() && !total) return request.Refuse(kIllegalFunction);
  if (AsksForCount(request)) return CountRecords(request, oscillograms.size(), total);
  const auto oscillogram = oscillograms.find(request.Data[2]);
  if (oscillogram == oscillograms.end()) return request.Refuse(kIllegalAddress);
  const std::size_t asked = request.Data[1];
  if (asked == 0) return ReadOscillogramInfo(request, oscillogram->second.Info);
  Bytes head = request.Echo(5);
  head[1] = 0;
  return ReadRecords(request, head, oscillogram->second.Records, request.Word(3), asked);
}

// $21 | code | address hi lo | 0 | 0 |  ->  | code | four bytes |
// On purpose: where the address's low byte is 1 or 2, a byte count, 4, comes before the four.
Bytes ReadExtended(const TRequest& request) {
  if (request.Word(3) != 0) return request.Refuse(kIllegalValue);
  const std::uint32_t address = request.Word(1);
  if (!request.Table->Has(address, 1)) return request.Refuse(kIllegalAddress);
  Bytes reply{request.Data[0]};
  if (request.Data[2] == 1 || request.Data[2] == 2) reply.push_back(4);
  Append(reply, request.Get(address), 4);
  return reply;
}

bool IsInPages(const TRequest& request) {
  return request.Device.PagesGoOn || request.Word(2) + request.Data[4] <= 0x10000;
}

// $43 $44 | code | page | address hi lo | count |  ->  the same | bytes |
Bytes ReadPaged(const TRequest& request) {
  const std::uint32_t first = request.PagedAddress();
  const std::uint32_t count = request.Data[4];
  if (!IsInPages(request) || !request.Table->Has(first, count)) {
    return request.Refuse(kIllegalAddress);
  }
  Bytes reply = request.Echo(5);
  for (std::uint32_t i = 0; i < count; ++i) Append(reply, request.Get(first + i), 1);
  return reply;
}

// $65 $66 | code | page | address hi lo | count | bytes |  ->  the first five bytes
Bytes WritePaged(const TRequest& request) {
  const std::uint32_t first = request.PagedAddress();
  const std::uint32_t count = request.Data[4];
  if (count < 1 || count > 128) return request.Refuse(kIllegalValue);
  if (!IsInPages(request) || !request.Table->CanWrite(first, count)) {
    return request.Refuse(kIllegalAddress);
  }
  request.Table->Set(first, {request.Data.begin() + 5, request.Data.end()});
  return request.Echo(5);
}

// $67 | code | 02 | FD | FF | 00 |  ->  the same
Bytes Confirm(const TRequest& request) {
  constexpr std::array<std::uint8_t, 4> kConfirmation{0x02, 0xFD, 0xFF, 0x00};
  if (!std::ranges::equal(request.Data.subspan(1), kConfirmation)) {
    return request.Refuse(kIllegalValue);
  }
  return request.Echo(5);
}

constexpr std::array<TFunction, 20> kFunctions{{
    {0x01, 5, false, ReadBits, &TSimulatedDevice::Coils},
    {0x02, 5, false, ReadBits, &TSimulatedDevice::Discrete},
    {0x03, 5, false, ReadRegisters, &TSimulatedDevice::Holding},
    {0x04, 5, false, ReadRegisters, &TSimulatedDevice::Input},
    {0x05, 5, false, WriteBit, &TSimulatedDevice::Coils},
    {0x06, 5, false, WriteRegister, &TSimulatedDevice::Holding},
    {0x0F, 6, true, WriteBits, &TSimulatedDevice::Coils},
    {0x10, 6, true, WriteRegisters, &TSimulatedDevice::Holding},
    {0x11, 1, false, ReportServerId, nullptr},
    {0x14, 2, true, ReadFileRecords, nullptr},
    {0x20, 5, false, ReadLog, nullptr},
    {0x21, 5, false, ReadExtended, &TSimulatedDevice::Extended},
    {0x24, 5, false, ReadLog, nullptr},
    {0x41, 5, false, ReadOscillogram, nullptr},
    {0x43, 5, false, ReadPaged, &TSimulatedDevice::Paged},
    {0x44, 5, false, ReadPaged, &TSimulatedDevice::Paged},
    {0x65, 5, true, WritePaged, &TSimulatedDevice::Paged},
    {0x66, 5, true, WritePaged, &TSimulatedDevice::Paged},
    {0x67, 5, false, Confirm, nullptr},
    {0x6C, 5, false, WriteRegister, &TSimulatedDevice::Holding},
}};

const TFunction* FindFunction(std::uint8_t code) {
  const auto found = std::ranges::find(kFunctions, code, &TFunction::Code);
  return found != kFunctions.end() ? &*found : nullptr;
}

std::size_t SizeOf(const TFunction& function, std::span<const std::uint8_t> request) {
  const std::size_t size = function.Size;
  return function.Counted && request.size() >= size ? size + request[size - 1] : size;
}

}  // namespace

std::size_t TSimulatedDevice::RequestSize(std::span<const std::uint8_t> request) {
  const TFunction* function = FindFunction(request[0]);
  return function != nullptr ? SizeOf(*function, request) : 0;
}

Bytes TSimulatedDevice::Answer(std::span<const std::uint8_t> data, double seconds) {
  const TFunction* function = FindFunction(data[0]);
  const auto table = function != nullptr ? function->Table : nullptr;
  const TRequest request{*this, table != nullptr ? &(this->*table) : nullptr, data, seconds};
  if (function == nullptr) return request.Refuse(kIllegalFunction);
  if (data.size() != SizeOf(*function, data)) return request.Refuse(kIllegalValue);
  return function->Action(request);
}

}  // namespace OrvixModBus
