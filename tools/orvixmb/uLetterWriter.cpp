#include "tools/orvixmb/uLetterWriter.h"

#include <algorithm>
#include <cstddef>
#include <functional>

#include "platform/rtl/uFormat.h"
#include "tools/display/uShownText.h"
#include "tools/orvixmb/uAskedRequests.h"
#include "tools/orvixmb/uLetterReader.h"

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kWriteRegister = 0x06, kWriteRegisters = 0x10, kWriteUnchecked = 0x6C;
constexpr std::size_t kMaxPagedWrite = 128;

using TWrites = std::span<const TRegWrite>;

bool IsPaged(const TRegWrite& write) { return IsPagedWrite(write.Reg->MBFuncWrite()); }

// Each coil is a request of its own: a letter counts one answer for what it sends at once.
void SendCoils(TMBLetter& letter, const TRegWrite& write) {
  const bool on = std::ranges::any_of(write.Data, [](std::uint8_t b) { return b != 0; });
  const Bytes state{on ? std::uint8_t{0xFF} : std::uint8_t{0}, 0};
  for (std::uint8_t i = 0; i < write.Reg->GetRegsCount(); ++i) letter.WriteReg(write.Reg, i, state);
}

void WriteOne(TMBLetter& letter, const TRegWrite& write, TAskedRequests& asked) {
  const TMBReg& reg = *write.Reg;
  if (reg.MBFuncWrite() == kWriteCoil) {
    SendCoils(letter, write);
  } else {
    letter.WriteReg(write.Reg, 0, write.Data);
  }
  const std::uint32_t count = reg.GetRegsCount();
  const std::uint32_t perRequest = reg.MBFuncWrite() == kWriteRegisters ? count : 1;
  for (std::uint32_t i = 0; i < count; i += perRequest) {
    asked.Ask(reg.MBFuncWrite(), reg.Adress() + i, perRequest);
  }
}

void WriteBlocks(TMBLetter& letter, TWrites writes, TAskedRequests& asked) {
  TMBRegList list;
  for (const TRegWrite& write : writes) {
    write.Reg->SetRegData(write.Data);
    list.push_back(write.Reg);
  }
  letter.WriteAllF66F65(list);
  for (const std::uint8_t func : {std::uint8_t{0x66}, std::uint8_t{0x65}}) {
    for (const auto& block : RegsToWriteF66F65Optimize(list, func)) {
      asked.Ask(func, block->Adress(), block->Data().size());
    }
  }
}

void Send(TMBLetter& letter, TWrites writes, TAskedRequests& asked) {
  while (!writes.empty()) {
    const auto end = std::ranges::find_if_not(writes, IsPaged);
    const auto paged = static_cast<std::size_t>(end - writes.begin());
    if (paged > 0) {
      WriteBlocks(letter, writes.first(paged), asked);
    } else {
      WriteOne(letter, writes.front(), asked);
    }
    writes = writes.subspan(std::max<std::size_t>(paged, 1));
  }
}

std::string WriteError(const TMBReg& reg, const TAskedRequests& asked) {
  std::string error;
  for (std::uint32_t i = 0; i < reg.GetRegsCount() && error.empty(); ++i) {
    error = asked.ErrorOf(reg.MBFuncWrite(), reg.Adress() + i);
  }
  return error;
}

// Empty when the register holds what was written.
std::string ProblemOf(const TRegWrite& write, const std::string& error, const TRegisterRow& row) {
  if (!error.empty()) return row.Name + " was not written: " + error;
  if (!row.Error.empty()) return row.Name + " could not be read back: " + row.Error;
  if (row.Raw == write.Data) return {};
  return row.Name + " holds " + HexText(row.Raw) + ", not the " + HexText(write.Data) +
         " that was written";
}

std::string InOneLine(const TStringDynArray& problems) {
  if (problems.size() < 2) return problems.empty() ? std::string() : problems.front();
  return Format("%s (and %d more)", {problems.front(), problems.size() - 1});
}

// What the registers hold from now on is read, not written.
std::vector<TRegisterRow> ReadBack(TMBLetter& letter, TWrites writes) {
  TMBRegList regs;
  for (const TRegWrite& write : writes) {
    write.Reg->ClearData();
    regs.push_back(write.Reg);
  }
  return ReadRegisters(letter, regs);
}

}  // namespace

std::string WriteObstacle(const TMBReg& reg) {
  const std::uint8_t func = reg.MBFuncWrite();
  const std::size_t size = reg.Data().size(), count = reg.GetRegsCount();
  if (func == 0) return "has no write function";
  if (size == 0 || count == 0) return "has no bytes";
  switch (func) {
    case kWriteCoil:
      return {};
    case kWriteRegister:
    case kWriteUnchecked:
      if (size == 2 * count) return {};
      return Format("has registers of %d bytes; function %d writes 2", {size / count, func});
    case kWriteRegisters:
      if (size % 2 == 0) return {};
      return Format("has %d bytes; function %d writes pairs", {size, func});
    default:
      if (!IsPagedWrite(func)) return Format("has write function %d, which writes nothing", {func});
      if (size <= kMaxPagedWrite) return {};
      return Format("has %d bytes; function %d writes at most %d", {size, func, kMaxPagedWrite});
  }
}

TWritten WriteRegisters(TMBLetter& letter, TWrites writes) {
  TStringDynArray errors;
  {
    TAskedRequests asked(*letter.Client());
    Send(letter, writes, asked);
    WaitForLetter(letter);
    for (const TRegWrite& write : writes) errors.push_back(WriteError(*write.Reg, asked));
  }
  TWritten written{ReadBack(letter, writes), {}};
  TStringDynArray problems;
  for (std::size_t i = 0; i < writes.size(); ++i) {
    std::string problem = ProblemOf(writes[i], errors[i], written.Rows[i]);
    if (!problem.empty()) problems.push_back(std::move(problem));
  }
  written.Problem = InOneLine(problems);
  return written;
}

}  // namespace OrvixModBus
