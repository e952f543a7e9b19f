#pragma once
// uLetterPlan: how a letter is read over the line - its requests, why they are not fewer, and how
// long they take.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/modbus/uLineSettings.h"
#include "platform/modbus/uReplyLength.h"
#include "uMBLetters.h"

namespace OrvixModBus {

/// Why a request is not one with the request before it.
enum class TPlanSplit : std::uint8_t {
  None,          ///< the first of its function code
  Gap,           ///< a gap in the addresses, however small
  TooLong,       ///< more than 128 registers, bits or bytes
  TooFar,        ///< more than 128 above the lowest address of the letter
  NewBlock,      ///< an address that is a multiple of 256
  TooManyBytes,  ///< more than 250 bytes
  PageEnd,       ///< a paged read reaches the end of its 64-KiB page
};

/// One request and its reply.
struct TPlannedRequest {
  std::uint8_t Func = 0;          ///< function code
  std::uint32_t FirstAdress = 0;  ///< as sent: the low 16 bits, of a paged read the low 24
  unsigned Count = 0;             ///< as sent: registers, of $01, $02 bits, of a paged read bytes
  /// What it is meant to read, in order of address; valid while the letter has them.
  std::vector<const TMBReg*> Regs;
  std::size_t RequestBytes = 0;  ///< on the wire, server address and check sum included
  std::size_t ReplyBytes = 0;    ///< of the normal reply; 0 for a broadcast
  /// From the first character to the moment at which the next request may begin.
  std::chrono::nanoseconds Time{0};
  TPlanSplit Split = TPlanSplit::None;
  const TMBReg* SplitReg = nullptr;  ///< the register that caused the split; nil without one
};

struct TLetterPlan {
  std::string Letter;
  std::vector<TPlannedRequest> Requests;  ///< in the order in which they are sent

  std::size_t RequestBytes() const;
  std::size_t ReplyBytes() const;
  /// Of a letter that is read again and again, from one completion to the next.
  std::chrono::nanoseconds Time() const;
};

/// What a plan depends on besides the letter.
struct TPlanSettings {
  TLineSettings Line;
  TReplyLengths ReplyLengths;
  std::uint8_t Server = 1;                 ///< server address; 0 is a broadcast
  std::chrono::nanoseconds Turnaround{0};  ///< from the end of a request to the begin of its reply
};

/// Those of the letter's client and its serial line; the defaults for what the letter has not got.
TPlanSettings PlanSettingsOf(const TMBLetter& letter);

/// The requests that ReadAllRegs sends on a serial line, whatever the letter's connection is. They
/// are grouped by the letter's own grouping and formed by a client that has a line without a port.
/// Throws Exception for a single register of more than 250 bytes, as reading does.
TLetterPlan PlanLetter(const TMBLetter& letter, const TPlanSettings& settings);

}  // namespace OrvixModBus
