#pragma once
// uRtuQueue: the serial line - sends requests one at a time and awaits their replies.

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/loop/uLoop.h"
#include "platform/modbus/uDeadServers.h"
#include "platform/modbus/uFileRecordFrames.h"
#include "platform/modbus/uFlightRecorder.h"
#include "platform/modbus/uLineStatistics.h"
#include "platform/modbus/uReplyReceiver.h"
#include "platform/modbus/uSerialPort.h"
#include "platform/modbus/uTransactionQueue.h"
#include "platform/model/uEvent.h"

namespace OrvixModBus {

/// The Modbus RTU master. Works in the loop that is current when it first has something to do,
/// and again when its port is opened; one timer and one watch do it all. In every turn the line
/// is served first, and what it has to tell is raised when line and queue are whole.
class TRtuQueue final : public TTransactionQueue {
 public:
  using TTime = std::chrono::steady_clock::time_point;

  /// What is referred to must outlive the queue.
  TRtuQueue(const TLineSettings& settings, const TReplyLengths& lengths,
            TLineStatistics& statistics, TFlightRecorder& recorder,
            std::unique_ptr<TSerialPort> port);
  ~TRtuQueue() override;

  bool Active() const override { return fState > TState::Away; }
  void SetActive(bool value) override;
  void SettingsChanged() override;
  TLowLatency LowLatency() const override;
  bool IsSetAside(std::uint8_t server) const override { return fDeadServers.IsSetAside(server); }

  TEvent<void(const std::string& reason)> OnPortLost;
  TEvent<void()> OnPortFound;
  /// A request on the line has failed, or the port was lost; raised before what tells of that.
  TEvent<void()> OnFailure;
  TEvent<void(std::uint8_t server)> OnServerLost, OnServerFound;
  TEvent<void(TTraceDirection, std::span<const std::uint8_t>, TTime)> OnTrace;
  /// Does anybody listen to OnTrace? Frames that nobody wants are not copied for it.
  std::function<bool()> IsTraced = [] { return false; };

 protected:
  void Queued(TModbusTransaction& transaction) override;
  void Dropped(const TModbusTransaction& transaction) override;

 private:
  enum class TState {
    Closed,
    Away,        // the port is lost, and looked for now and then
    Free,        // nothing is on the line
    Sending,     // a request is on its way out
    Awaiting,    // it is out, its reply is awaited
    Turnaround,  // it was a broadcast, the servers are given time
  };

  // What to tell the application of.
  struct TTrace {
    TTraceDirection Direction = TTraceDirection::tdSent;
    TTime Time{};
    std::size_t Size = 0;
  };
  struct TTraces {
    std::vector<TTrace> Entries;
    Bytes Frames;  // one after the other
  };
  struct TServerNews {
    std::uint8_t Server;
    bool Lost;
  };

  class TInside;

  TLoop& Loop();
  void Turn(bool ready);
  template <class TStep>
  void Run(TStep step);
  void BreakOff() noexcept;
  void Advance(bool ready);
  void Pump();
  void Arm();
  TTime Due();
  TReadiness Wanted();
  bool HasNews() const;
  bool RaiseAllNews();
  bool RaiseNews();
  void RaiseTraces();
  void RaiseServerNews();

  void Open();
  void Reopen();
  void LookForPort();
  void Close();
  void Lose(const std::string& reason);
  void FailAll();
  void FailFirst();

  bool SkipsFirst();
  bool MaySend();
  bool IsKeepingSilence();
  bool IsFresh() const;
  bool Drain();
  TTime FreeAt();
  void Prepare(TModbusTransaction& transaction);
  void Send();
  void Write();
  void Written();
  void Release();
  bool Receive();
  void KeepSilence();
  void Await();
  void JudgeServer(TServerReply kind);
  void Ended();
  void Succeeded();
  void Failed(TServerReply kind);
  void Finish(TServerReply kind, std::span<const std::uint8_t> reply);
  void SetFree(TTime lastCharacter);
  void Trace(TTraceDirection direction, std::span<const std::uint8_t> frame) noexcept;
  void Record(TFlightKind kind, std::uint64_t number = 0, std::uint8_t detail = 0,
              std::span<const std::uint8_t> data = {});
  void RecordQueued(const TModbusTransaction& transaction);
  void RecordLook();
  void RecordEnd(TServerReply kind);

  const TLineSettings& fSettings;
  TLineStatistics& fStatistics;
  TFlightRecorder& fRecorder;
  std::unique_ptr<TSerialPort> fPort;
  TPortSettings fOpened;  // what the port was opened with
  TLineTiming fTiming;
  TReplyReceiver fReceiver;
  TDeadServers fDeadServers;

  TRef<TLoop> fLoop;
  std::unique_ptr<TLoopTimer> fTimer;
  std::unique_ptr<TLoopWatch> fWatch;
  TState fState = TState::Closed;
  TTime fNow{};  // of this turn
  TTime fDue{};  // of the present state
  TTime fFreeSince{}, fSilentUntil{};
  TTime fEmptyAt{};  // when the port was last found to hold nothing more

  TModbusTransaction* fCurrent = nullptr;  // the first of Pending() once sent; nil if discarded
  std::uint8_t fAttempt = 0;               // retries of the present frame
  TFileRecordGroup fGroup;
  Bytes fFrame;
  std::size_t fWritten = 0;
  TTime fStarted{}, fSent{};

  TTraces fTraces, fSpareTraces;
  std::string fLossReason;
  std::exception_ptr fError;  // broke off a step of the line, to be thrown when all is whole
  bool fTellLost = false, fTellFound = false, fTellFailure = false;
  std::optional<TServerNews> fServerNews;
};

}  // namespace OrvixModBus
