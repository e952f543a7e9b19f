#pragma once
// uSimulatorLine: carries frames between a handle and a simulator, at the pace of a serial line.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "platform/loop/uLoop.h"
#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

struct TSimulatorLineSettings {
  /// Bits per second, at 11 bits a character: a request counts as received only when its last
  /// character could have arrived, and no byte of the reply leaves before it could have. 0 = all
  /// passes at once, for real ports and for speed.
  std::uint32_t BaudRate = 0;
  /// From the end of a request to the begin of its reply.
  std::chrono::nanoseconds Turnaround{0};
  /// Characters that a paced reply's receiver gets at once, as it would from a port's buffer.
  std::size_t Burst = 16;
  /// What ends a request that is cut, or whose length its function code does not tell. Longer than
  /// a line's 3.5 characters because adapters hold back what they receive.
  std::chrono::nanoseconds Silence = std::chrono::milliseconds(20);
};

enum class ELineFrame { Request, Reply };

/// Serves a handle on a loop: a read, a write and the loop's wait for each transaction that is not
/// paced. Requests that come while a reply is sent wait. Single thread, the loop's.
class TSimulatorLine {
 public:
  /// Whole requests, broken ones too; the reply is empty for none. See TSimulator::Answer.
  using TAnswer = std::function<Bytes(std::span<const std::uint8_t> request)>;

  /// Makes handle, which stays the caller's, non-blocking. Throws EArgumentOutOfRangeException
  /// for a burst of 0. When the line hangs up, Exception leaves by the loop's run operation.
  TSimulatorLine(TLoop& loop, THandle handle, TAnswer answer,
                 const TSimulatorLineSettings& settings = {});

  /// Sees every request when it is received, junk too, and every reply when it is sent.
  std::function<void(ELineFrame, std::span<const std::uint8_t>)> OnFrame;

 private:
  using TTime = TLoop::TClock::time_point;

  void Ready(TReadiness ready);
  void Receive();
  void Advance();
  bool TakeRequest();
  void AnswerRequest(std::size_t size, TTime end);
  bool SendDueBytes();
  void EndReply();
  bool IsDue(TTime time);
  std::chrono::nanoseconds TimeOf(std::size_t characters) const;
  void Show(ELineFrame kind, std::span<const std::uint8_t> frame) const;

  TLoop& fLoop;
  const THandle fHandle;
  const TAnswer fAnswer;
  const TSimulatorLineSettings fSettings;
  const std::chrono::nanoseconds fCharacter;  // the time that one takes on the line

  Bytes fReceived;
  TTime fReceivedEnd;  // when the last byte of it could have arrived
  Bytes fReply;        // empty when there is none to send
  std::size_t fSent = 0;
  TTime fReplyBegin, fReplyEnd;

  const std::unique_ptr<TLoopTimer> fTimer;
  const std::unique_ptr<TLoopWatch> fWatch;
};

}  // namespace OrvixModBus
