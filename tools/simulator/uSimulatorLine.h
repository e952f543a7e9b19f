#pragma once
// uSimulatorLine: carries frames between a port and a simulator, at the pace of a serial line.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "platform/loop/uLoop.h"
#include "platform/modbus/uSerialPort.h"
#include "platform/rtl/uBytes.h"
#include "tools/simulator/uReplyFaults.h"

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
  /// What the port is opened with after it has hung up.
  TPortSettings Port = {};
};

enum class ELineFrame { Request, Reply };

/// Serves a port on a loop: a read, a write and the loop's wait for each transaction that is not
/// paced. A reply that comes late or in pieces does not keep other requests waiting, only bytes on
/// the line do. A reply that hangs up closes the port, drops all that was to come, and opens the
/// port again later. Single thread, the loop's.
class TSimulatorLine {
 public:
  /// Whole requests, broken ones too. See TSimulator::Answer.
  using TAnswer = std::function<TSimulatedReply(std::span<const std::uint8_t> request)>;

  /// The port is open and stays the caller's. Throws EArgumentOutOfRangeException for a burst of
  /// 0. When the line hangs up by itself, Exception leaves by the loop's run operation.
  TSimulatorLine(TLoop& loop, TSerialPort& port, TAnswer answer,
                 const TSimulatorLineSettings& settings = {});

  /// Sees every request when it is received, junk too, and every reply when all of it is sent.
  std::function<void(ELineFrame, std::span<const std::uint8_t>)> OnFrame;

 private:
  using TTime = TLoop::TClock::time_point;

  struct TPiece {
    TTime Begin;  // not before this
    Bytes Data;
    Bytes Reply;  // all of it, behind its last piece
    std::optional<std::chrono::nanoseconds> HangUp;
  };

  void Watch();
  void Ready(TReadiness ready);
  void Receive();
  void Advance();
  bool TakeRequest();
  void AnswerRequest(std::size_t size, TTime end);
  void Plan(TSimulatedReply reply, TTime begin);
  void Insert(TPiece piece);
  bool IsBusy() const { return !fPieces.empty() && fPieces.front().Begin <= fLoop.Now(); }
  bool SendDueBytes();
  void EndPiece(TTime end);
  void HangUp(std::chrono::nanoseconds duration);
  void Return();
  bool IsDue(TTime time);
  std::chrono::nanoseconds TimeOf(std::size_t characters) const;
  void Show(ELineFrame kind, std::span<const std::uint8_t> frame) const;
  [[noreturn]] void Fail() const;

  TLoop& fLoop;
  TSerialPort& fPort;
  const TAnswer fAnswer;
  const TSimulatorLineSettings fSettings;
  const std::chrono::nanoseconds fCharacter;  // the time that one takes on the line

  Bytes fReceived;
  TTime fReceivedEnd;            // when the last byte of it could have arrived
  std::deque<TPiece> fPieces;    // by Begin
  std::size_t fSent = 0;         // of the first piece
  TTime fSentEnd;                // of the last piece that was sent
  std::optional<TTime> fReturn;  // hung up until then
  TTime fDue;                    // when to look again

  const std::unique_ptr<TLoopTimer> fTimer;
  std::unique_ptr<TLoopWatch> fWatch;
};

}  // namespace OrvixModBus
