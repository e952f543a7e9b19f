#include "tests/storm/witness.h"

#include <algorithm>
#include <utility>

#include "platform/modbus/uRtuFrame.h"
#include "platform/rtl/uNumText.h"
#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

using TSpan = std::span<const std::uint8_t>;

std::uint32_t Word(TSpan bytes, std::size_t position) {
  if (position + 1 >= bytes.size()) return 0;
  return static_cast<std::uint32_t>(bytes[position]) << 8 | bytes[position + 1];
}

bool Has(TSpan bytes, std::uint64_t offset, TSpan part) {
  return offset + part.size() <= bytes.size() &&
         std::ranges::equal(bytes.subspan(offset, part.size()), part);
}

Bytes FrameOf(std::uint8_t server, TSpan reply) {
  Bytes body{server}, frame;
  body.insert(body.end(), reply.begin(), reply.end());
  FormFrame(body, frame);
  return frame;
}

Bytes WithZero(Bytes frame) {
  frame.push_back(0);
  return frame;
}

bool IsBit(std::uint8_t function) { return function == 0x01 || function == 0x02; }

// request: code, address, quantity; reply: code, byte count, bits. Every byte of a bit register
// is its bit. On purpose a letter takes the bits that fill up the last byte for coils, too.
bool HasBit(TSpan request, TSpan reply, const TMBReg& reg) {
  const std::uint32_t bit = reg.Adress() - Word(request, 1);
  if (reg.Adress() < Word(request, 1) || 2 + bit / 8 >= reply.size()) return false;
  const auto value = static_cast<std::uint8_t>(reply[2 + bit / 8] >> bit % 8 & 1);
  return std::ranges::all_of(reg.Data(), [&](std::uint8_t byte) { return byte == value; });
}

// By what a read returned.
bool WasRead(const TJournalEntry& entry, const TMBReg& reg) {
  const TSpan request = entry.Request, reply = entry.Reply;
  if (request[0] != reg.MBFuncRead()) return false;
  const std::uint32_t adress = reg.Adress();
  if (IsBit(request[0])) return HasBit(request, reply, reg);
  switch (request[0]) {
    case 0x03:
    case 0x04:
      return adress >= Word(request, 1) &&
             Has(reply, 2 + 2 * std::uint64_t{adress - Word(request, 1)}, reg.Data());
    case 0x21:
      return adress == Word(request, 1) && reply.size() >= 4 && Has(reply.last(4), 0, reg.Data());
    case 0x43:
    case 0x44:
      return request[1] == adress >> 16 && (adress & 0xFFFF) >= Word(request, 2) &&
             Has(reply, 5 + std::uint64_t{(adress & 0xFFFF) - Word(request, 2)}, reg.Data());
    default:
      return false;
  }
}

// By what a write was sent with.
bool WasWritten(const TJournalEntry& entry, const TMBReg& reg) {
  const TSpan request = entry.Request;
  if (request[0] != reg.MBFuncWrite()) return false;
  const std::uint32_t adress = reg.Adress();
  switch (request[0]) {
    case 0x05:
    case 0x06:
    case 0x6C:
      return adress == Word(request, 1) && Has(request, 3, reg.Data());
    case 0x65:
    case 0x66:
      return request[1] == adress >> 16 && (adress & 0xFFFF) >= Word(request, 2) &&
             Has(request, 5 + std::uint64_t{(adress & 0xFFFF) - Word(request, 2)}, reg.Data());
    default:
      return false;
  }
}

// Of a request, 7 bytes a record: type, file, record, length; of a reply: length, type, data.
bool HasFileRecord(TSpan request, TSpan reply, const TModbusFileRecord& record) {
  std::size_t at = 2;
  for (std::size_t asked = 2; asked + 7 <= request.size() && at < reply.size(); asked += 7) {
    const bool same =
        Word(request, asked + 1) == record.File && Word(request, asked + 3) == record.Record;
    if (same && reply[at] == record.Data.size() + 1 && Has(reply, at + 2, record.Data)) return true;
    at += std::size_t{1} + reply[at];
  }
  return false;
}

}  // namespace

void TWitness::Hear(const TJournalEntry& entry) {
  if (std::exchange(fOver, false)) fHeard.clear();
  fHeard.push_back(entry);
}

template <class TCondition>
bool TWitness::Any(std::uint8_t server, std::uint8_t function, TCondition condition) const {
  return std::ranges::any_of(fHeard, [&](const TJournalEntry& entry) {
    return entry.Address == server && entry.Request[0] == function && !entry.Reply.empty() &&
           condition(entry);
  });
}

bool TWitness::Answered(std::uint8_t server, TSpan request, TSpan reply) const {
  return !request.empty() && Any(server, request[0], [&](const TJournalEntry& entry) {
    return std::ranges::equal(entry.Request, request) && std::ranges::equal(entry.Reply, reply);
  });
}

bool TWitness::AnsweredButForAZero(std::uint8_t server, TSpan request, TSpan reply) const {
  constexpr std::uint8_t kEndWithSilence[] = {0x20, 0x24, 0x41, 0x67};
  if (std::ranges::find(kEndWithSilence, request[0]) == std::end(kEndWithSilence)) return false;
  return Any(server, request[0], [&](const TJournalEntry& entry) {
    const Bytes heard = FrameOf(server, entry.Reply), told = FrameOf(server, reply);
    return std::ranges::equal(entry.Request, request) &&
           (WithZero(heard) == told || heard == WithZero(told));
  });
}

bool TWitness::Holds(std::uint8_t server, const TMBReg& reg) const {
  const auto read = [&](const TJournalEntry& entry) { return WasRead(entry, reg); };
  const auto written = [&](const TJournalEntry& entry) { return WasWritten(entry, reg); };
  return Any(server, reg.MBFuncRead(), read) || Any(server, reg.MBFuncWrite(), written);
}

bool TWitness::Holds(std::uint8_t server, const TModbusFileRecord& record) const {
  return Any(server, 0x14, [&](const TJournalEntry& entry) {
    return HasFileRecord(entry.Request, entry.Reply, record);
  });
}

bool TWitness::Reported(std::uint8_t server, std::uint8_t function, TSpan values) const {
  return Any(server, function, [&](const TJournalEntry& entry) {
    const TSpan reply = entry.Reply;
    return values.size() < reply.size() && std::ranges::equal(reply.last(values.size()), values);
  });
}

std::string TWitness::Text() const {
  std::string text;
  for (const TJournalEntry& entry : fHeard) {
    text += "; heard " + std::to_string(entry.Address) + ": " + ToHex(entry.Request) + " -> " +
            ToHex(entry.Reply) + " " + std::string(FaultName(entry.Fault));
  }
  return text;
}

bool TWitness::ReportedRecord(std::uint8_t server, std::uint8_t function,
                              const Bytes& record) const {
  return Any(server, function, [&](const TJournalEntry& entry) {
    for (std::size_t at = 1; at < entry.Reply.size(); ++at) {
      if (Has(entry.Reply, at, record)) return true;
    }
    return false;
  });
}

}  // namespace OrvixModBus
