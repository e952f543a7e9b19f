#pragma once
// uReplayWire: a serial port whose other end is a recording.

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/loop/uVirtualLoop.h"
#include "platform/modbus/uRecording.h"
#include "platform/modbus/uSerialPort.h"

namespace OrvixModBus {

/// Delivers what was read when it was read, takes what was written as it was taken, and is lost and
/// found as the port was. Outlives its port, but not its loop or its entries.
class TReplayWire final : public TVirtualHandle {
 public:
  using TTime = TLoop::TClock::time_point;

  /// start: the time of the loop at which the recording starts.
  TReplayWire(TVirtualLoop& loop, const std::vector<TRecordedEntry>& entries, TTime start)
      : fLoop(loop),
        fEntries(entries),
        fStart(start),
        fDone(entries.size()),
        fHandle(loop.Attach(*this)) {}
  TReplayWire(const TReplayWire&) = delete;
  TReplayWire& operator=(const TReplayWire&) = delete;
  ~TReplayWire() override { fLoop.Detach(fHandle); }

  std::unique_ptr<TSerialPort> NewPort();

  /// Entries before index are over and done with.
  void StartAt(std::size_t index);
  /// The entry at index is due: what came up to it can be read.
  void Reach(std::size_t index);
  /// The program opens the port; else only the recording says whether it can be opened.
  void SetOpening(bool value) { fOpening = value; }

  /// Has the line made use of this entry, or may it do so by now?
  bool IsDone(std::size_t index) const { return index < fReached || fDone[index]; }
  /// Has the frame of this entry, or of a later one, been sent?
  bool IsSent(std::size_t index) const { return index < fSentEnd; }
  /// How what is sent differs from the recording; empty = it does not, up to now.
  const std::string& Difference() const { return fDifference; }
  /// The recording is over: what has not been sent is a difference, too.
  void Finish();

  TReadiness Ready() const override;

 private:
  class TPort;

  TTime TimeOf(std::size_t index) const { return fStart + fEntries[index].Time; }
  bool IsDue(std::size_t index) const { return TimeOf(index) <= fLoop.Now(); }
  void Open(const TPortSettings& settings);
  TPortTransfer Read(std::span<std::uint8_t> bytes);
  TPortTransfer Write(std::span<const std::uint8_t> bytes);
  void Compare(TByteView frame);
  std::size_t NextSent() const;
  std::optional<std::size_t> NextOfFrame(TFlightKind kind) const;
  bool Takes() const;

  TVirtualLoop& fLoop;
  const std::vector<TRecordedEntry>& fEntries;
  const TTime fStart;
  std::vector<bool> fDone;
  const THandle fHandle;
  std::size_t fReached = 0;    // entries whose bytes have arrived
  std::size_t fSentEnd = 0;    // behind the entry of the frame that was sent last
  std::size_t fFrameRest = 0;  // bytes of it that are still to be written
  std::deque<Bytes> fIncoming;
  std::string fLossReason;
  std::string fDifference;
  bool fLost = false;
  bool fOpening = false;
};

}  // namespace OrvixModBus
