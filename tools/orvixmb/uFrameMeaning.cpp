#include "tools/orvixmb/uFrameMeaning.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/modbus/uReplyLength.h"
#include "platform/modbus/uRtuFrame.h"
#include "platform/rtl/uFormat.h"
#include "tools/display/uShownText.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kHead = 2;  // server address and function code
constexpr std::size_t kShownBytes = 16;
constexpr std::size_t kShownBits = 64;
constexpr char kMore[] = " ...";

// What follows the function code, without the check sum.
struct TData {
  TByteView Bytes;
  TByteView Asked;  // the same of the request; empty when there is none for this reply

  static unsigned WordOf(TByteView bytes, std::size_t at) {
    return bytes[at] * 256U + bytes[at + 1];
  }
  unsigned Byte(std::size_t at) const { return Bytes[at]; }
  unsigned Word(std::size_t at) const { return WordOf(Bytes, at); }
  TByteView From(std::size_t at) const { return Bytes.subspan(at); }
};

// Each gets at least as many bytes as its row of kFunctions says. Empty: the bytes make no sense.
using TText = std::string (*)(const TData&);

struct TFunction {
  std::uint8_t Code;
  std::uint8_t RequestSize, ReplySize;  // the least of a TData
  TText Request, Reply;
};

std::string Counted(std::size_t count, std::string_view one) {
  return Format(count == 1 ? "%d %s" : "%d %ss", {count, one});
}

std::string Digits(TByteView bytes, std::size_t group) {
  const TByteView shown = bytes.first(std::min(bytes.size(), kShownBytes));
  std::string text;
  for (std::size_t i = 0; i < shown.size(); i += group) {
    if (i > 0) text += ' ';
    text += HexText(shown.subspan(i, std::min(group, shown.size() - i)), "");
  }
  return bytes.size() > kShownBytes ? text + kMore : text;
}

std::string Words(TByteView bytes) { return Digits(bytes, 2); }

std::string CountAndWords(TByteView bytes) {
  return Counted(bytes.size(), "byte") + (bytes.empty() ? "" : ": ") + Words(bytes);
}

std::string CountAndBytes(TByteView bytes) {
  return Counted(bytes.size(), "byte") + (bytes.empty() ? "" : ": ") + Digits(bytes, 1);
}

// The first bit is the lowest of the first byte.
std::string CountAndBits(TByteView bytes, std::size_t count, std::string_view one) {
  count = std::min(count, bytes.size() * 8);
  std::string text = Counted(count, one) + (count == 0 ? "" : ": ");
  for (std::size_t i = 0; i < std::min(count, kShownBits); ++i) {
    text += ((bytes[i / 8] >> (i % 8)) & 1) != 0 ? '1' : '0';
  }
  return count > kShownBits ? text + kMore : text;
}

std::string Characters(TByteView bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
  }
  return text;
}

std::string Read(const TData& data, std::string_view what) {
  return Format("read %s from %d", {Counted(data.Word(2), what), data.Word(0)});
}
std::string ReadCoils(const TData& data) { return Read(data, "coil"); }
std::string ReadInputs(const TData& data) { return Read(data, "discrete input"); }
std::string ReadHolding(const TData& data) { return Read(data, "holding register"); }
std::string ReadInputRegisters(const TData& data) { return Read(data, "input register"); }

std::string ShowBits(const TData& data) {
  const std::size_t asked =
      data.Asked.size() == 4 ? TData::WordOf(data.Asked, 2) : data.Byte(0) * 8;
  return CountAndBits(data.From(1), asked, "bit");
}
std::string ShowRegisters(const TData& data) { return CountAndWords(data.From(1)); }

std::string WriteCoil(const TData& data) {
  const unsigned value = data.Word(2);
  if (value != 0 && value != 0xFF00) {
    return Format("write $%.4x to coil %d", {value, data.Word(0)});
  }
  return Format("switch coil %d %s", {data.Word(0), value != 0 ? "on" : "off"});
}
std::string WriteRegister(const TData& data) {
  return Format("write %d to register %d", {data.Word(2), data.Word(0)});
}
std::string WriteCoils(const TData& data) {
  return Format("write from coil %d on, %s",
                {data.Word(0), CountAndBits(data.From(5), data.Word(2), "coil")});
}
std::string WriteRegisters(const TData& data) {
  return Format("write %s from %d: %s",
                {Counted(data.Word(2), "register"), data.Word(0), Words(data.From(5))});
}
std::string Written(const TData&) { return "written"; }

std::string Identity(const TData&) { return "server identity"; }
std::string ShowIdentity(const TData& data) {
  return Format("identity, %s: \"%s\"",
                {Counted(data.Bytes.size() - 1, "byte"), Characters(data.From(1))});
}

// | bytes | groups: 06 | file hi lo | record hi lo | registers hi lo |
std::string ReadFile(const TData& data) {
  constexpr std::size_t kGroup = 7;
  const TByteView groups = data.From(1);
  if (groups.empty() || groups.size() % kGroup != 0) return {};
  const std::string first = Format("file %d record %d, %s",
                                   {data.Word(2), data.Word(4), Counted(data.Word(6), "register")});
  const std::size_t others = groups.size() / kGroup - 1;
  return others == 0 ? first : first + Format(", and %d more", {others});
}

// | bytes | groups: bytes that follow | 06 | registers |
std::string ShowFile(const TData& data) {
  std::size_t records = 0;
  TByteView first;
  for (TByteView rest = data.From(1); !rest.empty(); ++records) {
    const std::size_t size = rest[0];
    if (size == 0 || size >= rest.size()) return {};
    if (records == 0) first = rest.subspan(2, size - 1);
    rest = rest.subspan(1 + size);
  }
  const std::string text = Counted(records, "record");
  return records == 0 ? text : text + ": " + Words(first) + (records > 1 ? ", ..." : "");
}

// | bytes | groups: 06 | file hi lo | record hi lo | registers hi lo | registers |
std::string WriteFile(const TData& data) {
  constexpr std::size_t kHeadOfGroup = 7;
  if (data.Bytes.size() < 1 + kHeadOfGroup) return {};
  const TByteView rest = data.From(1 + kHeadOfGroup);
  const std::size_t size = std::size_t{2} * data.Word(6);
  if (size > rest.size()) return {};
  const std::string others = size < rest.size() ? ", and more" : "";
  return Format("write file %d record %d: %s%s",
                {data.Word(2), data.Word(4), Words(rest.first(size)), others});
}

std::string ReadQueue(const TData& data) { return Format("queue %d", {data.Word(0)}); }
// | bytes hi lo | registers hi lo | registers |
std::string ShowQueue(const TData& data) {
  return Format("queue of %s: %s", {Counted(data.Word(2), "register"), Words(data.From(4))});
}

// Functions whose requests of four bytes all 0 ask how many items there are.
bool AsksForCount(TByteView request) {
  return request.size() == 4 && std::ranges::count(request, 0) == 4;
}
std::string ShowItems(const TData& data, std::string_view items) {
  if (AsksForCount(data.Asked) && data.Bytes.size() == 4) {
    return Format("%d in all, %d to read", {data.Word(0), data.Word(2)});
  }
  return Counted(data.Bytes.size(), "byte") + std::string(items);
}

// | 0 | first | 0 | records |
std::string ReadLog(const TData& data) {
  if (AsksForCount(data.Bytes)) return "log: count";
  return Format("log: %s from %d", {Counted(data.Byte(3), "record"), data.Byte(1)});
}
std::string ShowLog(const TData& data) { return ShowItems(data, " of records"); }

// | records | oscillogram | first hi lo |
std::string ReadOscillogram(const TData& data) {
  if (AsksForCount(data.Bytes)) return "oscillograms: count";
  if (data.Byte(0) == 0) return Format("oscillogram %d: description", {data.Byte(1)});
  return Format("oscillogram %d: %s from %d",
                {data.Byte(1), Counted(data.Byte(0), "record"), data.Word(2)});
}
std::string ShowOscillogram(const TData& data) {
  const bool records = data.Asked.size() == 4 && data.Asked[0] != 0;
  if (!records || data.Bytes.size() < 4) return ShowItems(data, " of description");
  return Format("oscillogram %d, records from %d: %s",
                {data.Byte(1), data.Word(2), Counted(data.Bytes.size() - 4, "byte")});
}

std::string ReadExtended(const TData& data) {
  return Format("read extended register %d", {data.Word(0)});
}
std::string ShowExtended(const TData& data) {
  return CountAndWords(data.Bytes.last(std::min<std::size_t>(data.Bytes.size(), 4)));
}

unsigned PagedAddress(const TData& data) { return data.Byte(0) * 65536U + data.Word(1); }
std::string ReadPaged(const TData& data) {
  return Format("read %s of paged memory from $%.6x",
                {Counted(data.Byte(3), "byte"), PagedAddress(data)});
}
std::string ShowPaged(const TData& data) { return CountAndBytes(data.From(4)); }
std::string WritePaged(const TData& data) {
  return Format("write to paged memory from $%.6x, %s",
                {PagedAddress(data), CountAndBytes(data.From(4))});
}

std::string Confirm(const TData&) { return "confirm"; }
std::string Confirmed(const TData&) { return "confirmed"; }

constexpr TFunction kFunctions[] = {
    {0x01, 4, 1, ReadCoils, ShowBits},        {0x02, 4, 1, ReadInputs, ShowBits},
    {0x03, 4, 1, ReadHolding, ShowRegisters}, {0x04, 4, 1, ReadInputRegisters, ShowRegisters},
    {0x05, 4, 4, WriteCoil, Written},         {0x06, 4, 4, WriteRegister, Written},
    {0x0F, 5, 4, WriteCoils, Written},        {0x10, 5, 4, WriteRegisters, Written},
    {0x11, 0, 1, Identity, ShowIdentity},     {0x14, 1, 1, ReadFile, ShowFile},
    {0x15, 1, 1, WriteFile, Written},         {0x18, 2, 4, ReadQueue, ShowQueue},
    {0x20, 4, 0, ReadLog, ShowLog},           {0x21, 4, 4, ReadExtended, ShowExtended},
    {0x24, 4, 0, ReadLog, ShowLog},           {0x41, 4, 0, ReadOscillogram, ShowOscillogram},
    {0x43, 4, 4, ReadPaged, ShowPaged},       {0x44, 4, 4, ReadPaged, ShowPaged},
    {0x65, 4, 4, WritePaged, Written},        {0x66, 4, 4, WritePaged, Written},
    {0x67, 4, 0, Confirm, Confirmed},         {0x6C, 4, 4, WriteRegister, Written},
};

const TFunction* FindFunction(std::uint8_t code) {
  const auto* const found = std::ranges::find(kFunctions, code, &TFunction::Code);
  return found != std::end(kFunctions) ? found : nullptr;
}

TByteView DataOf(TByteView frame) { return Body(frame).subspan(kHead); }

// Modbus Application Protocol V1.1b3, section 7.
std::string_view ExceptionName(std::uint8_t code) {
  constexpr std::string_view kNames[] = {"",
                                         ": illegal function",
                                         ": illegal data address",
                                         ": illegal data value",
                                         ": server device failure",
                                         ": acknowledge",
                                         ": server device busy",
                                         "",
                                         ": memory parity error",
                                         "",
                                         ": gateway path unavailable",
                                         ": gateway target device failed to respond"};
  return code < std::size(kNames) ? kNames[code] : std::string_view();
}

// Empty when the frame can be looked into.
std::string Defect(TByteView frame) {
  if (frame.size() < kMinFrameLength) {
    return Counted(frame.size(), "byte") + ", too short for a frame";
  }
  return CheckSumFits(frame) ? "" : "check sum wrong";
}

std::string Unknown(TByteView frame) {
  return Format("function $%.2x, %s", {frame[1], Counted(frame.size(), "byte")});
}

bool HasLength(const TReplyLengths& lengths, TByteView request, TByteView frame) {
  using TKind = TReplyLength::TKind;
  const TReplyLength judged = lengths.Judge(request, frame);
  return judged.Kind == TKind::Silence ||
         (judged.Kind == TKind::Whole && judged.Length == frame.size());
}

bool IsRequestFor(TByteView request, TByteView reply) {
  return Defect(request).empty() && std::ranges::equal(request.first(kHead), reply.first(kHead));
}

}  // namespace

std::string ExceptionText(std::uint8_t code) {
  return Format("exception %d%s", {code, ExceptionName(code)});
}

std::string RequestMeaning(TByteView frame) {
  if (std::string defect = Defect(frame); !defect.empty()) return defect;
  const TFunction* const function = FindFunction(frame[1]);
  if (function == nullptr || !HasLength(RequestLengths(), {}, frame)) return Unknown(frame);
  const TData data{DataOf(frame), {}};
  if (data.Bytes.size() < function->RequestSize) return Unknown(frame);
  const std::string text = function->Request(data);
  if (text.empty()) return Unknown(frame);
  return frame[0] == 0 ? text + ", to all servers" : text;
}

std::string ReplyMeaning(TByteView frame, TByteView request) {
  static const TReplyLengths lengths;
  if (std::string defect = Defect(frame); !defect.empty()) return defect;
  if ((frame[1] & kExceptionFlag) != 0 && frame.size() == kExceptionLength) {
    return ExceptionText(frame[2]);
  }
  const TFunction* const function = FindFunction(frame[1]);
  const bool answers = IsRequestFor(request, frame);
  if (function == nullptr || !HasLength(lengths, answers ? request : TByteView(), frame)) {
    return Unknown(frame);
  }
  const TData data{DataOf(frame), answers ? DataOf(request) : TByteView()};
  if (data.Bytes.size() < function->ReplySize) return Unknown(frame);
  const std::string text = function->Reply(data);
  return text.empty() ? Unknown(frame) : text;
}

std::string TFrameTrace::Line(TTraceDirection direction, TByteView frame, TTime time) {
  constexpr std::string_view kSigns[] = {">", "<", "?"};
  const double seconds = std::chrono::duration<double>(time - fStart).count();
  const std::string line =
      Format("%9.3f %s", {seconds, kSigns[static_cast<std::size_t>(direction)]});
  return line + " " + HexText(frame) + "  " + Meaning(direction, frame);
}

std::string TFrameTrace::Meaning(TTraceDirection direction, TByteView frame) {
  if (direction == TTraceDirection::tdIgnored) {
    return "ignored: " + ReplyMeaning(frame, fRequest);
  }
  if (direction == TTraceDirection::tdReceived) return ReplyMeaning(frame, fRequest);
  fRequest = ToBytes(frame);
  return RequestMeaning(frame);
}

}  // namespace OrvixModBus
