#pragma once
// uReplay: what a recording held, done again by the real line in virtual time.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/modbus/uModbusConnection.h"
#include "platform/modbus/uRecording.h"
#include "tools/orvixmb/uReplayWire.h"

namespace OrvixModBus {

class TModbusTransaction;

/// What a program was told by the line.
struct TReplayEvent {
  enum class TKind : std::uint8_t { Reply, PortLost, PortFound, ServerLost, ServerFound };

  std::chrono::nanoseconds Time{};  ///< since the recording's start
  TKind Kind = TKind::Reply;
  /// Server address, function code, data; of a list of files its last frame. Of a server that is
  /// lost or found its address.
  Bytes Request;
  TServerReply Reply = TServerReply::srNone;
  std::uint8_t ExceptionCode = 0;
  std::uint8_t Retries = 0;
  Bytes Data;        ///< the reply from the server address on; of files what their records hold
  std::string Text;  ///< why the port was lost

  bool operator==(const TReplayEvent&) const = default;
};

/// The requests of a recording are queued when they were queued, the bytes arrive when they
/// arrived. All else comes from the line itself, which acts only at times at which it did so then:
/// a program that was late stays late.
class TReplay {
 public:
  /// recording must outlive this.
  explicit TReplay(const TFlightRecording& recording);
  TReplay(const TReplay&) = delete;
  TReplay& operator=(const TReplay&) = delete;
  ~TReplay();

  /// Once.
  void Run();

  std::function<void(const TReplayEvent&)> OnEvent;
  std::function<void(TTraceDirection, TByteView frame, std::chrono::nanoseconds time)> OnFrame;

  const TLineCounters& Counters() const { return fLine.Counters(); }
  /// How what was sent differs from the recording; empty = it does not.
  const std::string& Difference() const { return fWire.Difference(); }
  /// Requests that the recording ends in the midst of.
  std::size_t Unfinished() const { return fClients.size(); }

 private:
  class TClient;

  bool IsQuiet() const;
  void Prepare();
  std::size_t FirstWhole() const;
  void QueueWaiting(std::size_t begin);
  void SkipTo(std::chrono::nanoseconds time);
  void Apply(std::size_t index);
  void ApplyInside(bool isLast);
  bool MayPass(std::size_t index) const;
  void Queue(const TRecordedEntry& entry);
  void Discard(std::uint32_t number);
  void Ended(TClient& client, TModbusTransaction& transaction);
  void Tell(TReplayEvent event);
  std::chrono::nanoseconds Now() const { return fLoop.Now() - fStart; }

  const TFlightRecording& fRecording;
  const std::vector<TRecordedEntry>& fEntries;
  TVirtualLoop fLoop;
  const TLoop::TClock::time_point fStart;
  TReplayWire fWire;
  TModbusConnection fLine;
  std::map<std::uint32_t, std::unique_ptr<TClient>> fClients;  // by the request's number
  std::vector<std::unique_ptr<TClient>> fEnded;
  std::vector<bool> fApplied;
  std::size_t fAt = 0;
  bool fDiscarding = false;
};

}  // namespace OrvixModBus
