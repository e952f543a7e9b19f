#pragma once
// uModbusConnection: a serial line with its settings, its queue and what it has counted.

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/modbus/uFlightRecorder.h"
#include "platform/modbus/uLineSettings.h"
#include "platform/modbus/uLineStatistics.h"
#include "platform/modbus/uReplyLength.h"
#include "platform/modbus/uTransactionQueue.h"
#include "platform/model/uComponent.h"
#include "platform/model/uEvent.h"

namespace OrvixModBus {

class TModbusClient;
class TSerialPort;
struct TFlightRecording;

/// A serial line as Modbus RTU master, shared by any number of clients: one transaction at a
/// time, first in, first out. All work is done in the loop of the thread that made the
/// connection. Without an open port whatever is queued completes as srNone at the loop's next
/// turn. Handlers may do anything, destroying the connection included. Single thread:
/// EThreadError from another one.
///
/// Settings may change at any time. Port, line format and RS485Mode of an open port change when
/// the line is next free, before the next request, by opening the port anew; a port that then
/// can't be opened is a lost port. All other settings hold from the next use on. A value that
/// makes no sense is EModLinkError, and nothing has changed.
class TModbusConnection : public TComponent {
 public:
  using TPortLostEvent = TEvent<void(TModbusConnection&, const std::string& reason)>;
  using TPortFoundEvent = TEvent<void(TModbusConnection&)>;
  using TServerEvent = TEvent<void(TModbusConnection&, std::uint8_t serverAddress)>;
  using TRecordedEvent =
      TEvent<void(TModbusConnection&, const std::string& fileName, const std::string& failure)>;
  using TTraceEvent =
      TEvent<void(TModbusConnection&, TTraceDirection, std::span<const std::uint8_t> frame,
                  std::chrono::steady_clock::time_point time)>;

  explicit TModbusConnection(TComponent* owner = nullptr);
  ~TModbusConnection() override;

  /// True while the port is open. Setting it opens the port exclusively, EModLinkError naming
  /// the port and the system's reason; or closes it, and what is queued completes as srNone.
  /// A true that comes by the property table, from a form, may stand before the settings: it
  /// opens the port in Loaded, or at the loop's next turn where no form is read.
  bool Active() const;
  void SetActive(bool value);
  /// The form has been read: opens the port if the form wants it, EModLinkError as SetActive.
  void Loaded() override;

  const std::string& Port() const { return fSettings.Port.Name; }
  void SetPortProperty(const std::string& value);
  TBaudRate BaudRate() const { return fSettings.Port.BaudRate; }  ///< any that the driver takes
  void SetBaudRate(TBaudRate value);
  TParityScheme Parity() const { return fSettings.Port.Parity; }
  void SetParity(TParityScheme value);
  TDataBits DataBits() const { return fSettings.Port.DataBits; }
  void SetDataBits(TDataBits value);
  TStopBits StopBits() const { return fSettings.Port.StopBits; }
  void SetStopBits(TStopBits value);
  TRS485Mode RS485Mode() const { return fSettings.Port.RS485Mode; }
  void SetRS485Mode(TRS485Mode value);

  std::uint8_t MaxRetries() const { return fSettings.MaxRetries; }
  void SetMaxRetries(std::uint8_t value);
  std::uint32_t ReceiveTimeout() const { return fSettings.ReceiveTimeout; }  ///< ms
  void SetReceiveTimeout(std::uint32_t value);
  /// Microseconds; -1 is the standard's 3.5 characters, 1750 above 19200 baud; 0 is for links
  /// that have no characters: no wire time is reckoned at all.
  std::int32_t SilentInterval() const { return fSettings.SilentInterval; }
  void SetSilentInterval(std::int32_t value);
  std::uint32_t TurnaroundDelay() const { return fSettings.TurnaroundDelay; }  ///< ms
  void SetTurnaroundDelay(std::uint32_t value);
  TEchoSuppression EchoSuppression() const { return fSettings.EchoSuppression; }
  void SetEchoSuppression(TEchoSuppression value);
  std::uint32_t ReconnectInterval() const { return fSettings.ReconnectInterval; }  ///< ms, 0 never
  void SetReconnectInterval(std::uint32_t value);
  /// After so many time-outs in a row, retries included, a server is set aside: its requests
  /// complete as srNone when their turn comes, without a request on the line, so that the other
  /// servers are not held up. One of them is sent as a probe, once, every ProbeInterval; whatever
  /// comes from the server itself, or opening the port, ends it. 0 = never.
  std::uint8_t SetAsideAfter() const { return fSettings.SetAsideAfter; }
  void SetSetAsideAfter(std::uint8_t value);
  std::uint32_t ProbeInterval() const { return fSettings.ProbeInterval; }  ///< ms
  void SetProbeInterval(std::uint32_t value);
  bool IsSetAside(std::uint8_t serverAddress) const { return fQueue->IsSetAside(serverAddress); }

  /// The flight recorder: the last things that happened on the line, in so many bytes of memory,
  /// about 100 for a short transaction; 0 = none. Changing it forgets what was recorded.
  std::uint32_t RecorderSize() const { return fRecorder.Size(); }
  void SetRecorderSize(std::uint32_t value);
  /// What the recorder holds, to be looked at; see SaveRecording.
  TFlightRecording Recording() const;
  /// Writes what the recorder holds to a file, which `orvixmb replay` reads. EStreamError, and
  /// the file is as it was: also where the name is that of anything but a recording. Takes as
  /// long as the disk does.
  void SaveRecording(const std::string& fileName) const;
  /// Where the recording is saved at the first failure: a request that got no reply or none that
  /// fits, in spite of its retries, or a lost port. Once; another name makes it ready again.
  const std::string& RecordingFile() const { return fRecordingFile; }
  void SetRecordingFile(const std::string& value);

  /// The transactions of client, nil for all, that have not been completed yet.
  int CountPendingTransactions(const TModbusClient* client) const;
  /// Drops them: they are not completed any more.
  void DiscardPendingTransactions(const TModbusClient* client);

  /// The port vanished, or could not be opened anew: the connection is inactive.
  TPortLostEvent OnPortLost;
  /// A lost port is open again: the connection is active.
  TPortFoundEvent OnPortFound;
  /// A server is set aside.
  TServerEvent OnServerLost;
  /// A server that was set aside has answered.
  TServerEvent OnServerFound;
  /// The recording was saved to RecordingFile; or was not, and failure says why.
  TRecordedEvent OnRecorded;
  /// Every frame sent, every reply accepted and everything else that came, with its time.
  TTraceEvent OnTrace;

  const TLineCounters& Counters() const { return fStatistics.Counters; }
  /// All zero for a server that has not replied yet.
  TRoundTrip RoundTrip(std::uint8_t serverAddress) const;
  /// Of the open port.
  TLowLatency LowLatency() const { return fQueue->LowLatency(); }
  /// How long replies are, by function code; an application adds its own codes.
  TReplyLengths& ReplyLengths() { return fReplyLengths; }

  /// What carries the transactions; the serial line unless replaced.
  TTransactionQueue& Queue() { return *fQueue; }
  /// Replaces it, nil by the serial line. What is pending is discarded.
  void SetQueue(std::unique_ptr<TTransactionQueue> value);
  /// Goes on with a serial line over another kind of port. What is pending is discarded.
  void SetSerialPort(std::unique_ptr<TSerialPort> port);

  void Notification(TComponent& component, TOperation operation) override;
  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  bool StoredActive() const { return fOpenLater || Active(); }
  void SetStoredActive(bool value);
  void OpenStored();
  template <class T>
  void Change(T& setting, const T& value);
  void SaveFailure();

  TLineSettings fSettings;
  TReplyLengths fReplyLengths;
  TLineStatistics fStatistics;
  TFlightRecorder fRecorder;
  std::string fRecordingFile;
  bool fSaved = false;
  std::unique_ptr<TTransactionQueue> fQueue;
  bool fOpenLater = false;
};

}  // namespace OrvixModBus
