#include "platform/modbus/uModbusConnection.h"

#include <string>
#include <utility>

#include "platform/loop/uLoop.h"
#include "platform/modbus/uModbusClient.h"
#include "platform/modbus/uRecording.h"
#include "platform/modbus/uRtuQueue.h"
#include "platform/modbus/uSerialPort.h"
#include "platform/model/uProperty.h"

namespace OrvixModBus {

TModbusConnection::TModbusConnection(TComponent* owner) : TComponent(owner) { SetQueue(nullptr); }

TModbusConnection::~TModbusConnection() {
  BeginDestroy();
  fQueue.reset();
}

bool TModbusConnection::Active() const { return fQueue->Active(); }

void TModbusConnection::SetActive(bool value) {
  CheckThread();
  fOpenLater = false;
  fQueue->SetActive(value);
}

void TModbusConnection::SetStoredActive(bool value) {
  if (!value) return SetActive(false);
  CheckThread();
  fOpenLater = true;
  if (Loading()) return;
  TLoop::Current().Post([self = TRef<TModbusConnection>(this)] {
    if (self) self->OpenStored();
  });
}

void TModbusConnection::OpenStored() {
  if (fOpenLater) SetActive(true);
}

void TModbusConnection::Loaded() {
  TComponent::Loaded();
  OpenStored();
}

template <class T>
void TModbusConnection::Change(T& setting, const T& value) {
  CheckThread();
  if (setting == value) return;
  if (fRecorder.IsRecording()) fRecorder.RecordChange(TLoop::Current().Now(), fSettings);
  setting = value;
  fQueue->SettingsChanged();
}

void TModbusConnection::SetPortProperty(const std::string& value) {
  Change(fSettings.Port.Name, value);
}

void TModbusConnection::SetBaudRate(TBaudRate value) {
  if (value == 0) throw EModLinkError("A baud rate of 0 is no line");
  Change(fSettings.Port.BaudRate, value);
}

void TModbusConnection::SetParity(TParityScheme value) { Change(fSettings.Port.Parity, value); }
void TModbusConnection::SetDataBits(TDataBits value) { Change(fSettings.Port.DataBits, value); }
void TModbusConnection::SetStopBits(TStopBits value) { Change(fSettings.Port.StopBits, value); }
void TModbusConnection::SetRS485Mode(TRS485Mode value) { Change(fSettings.Port.RS485Mode, value); }
void TModbusConnection::SetMaxRetries(std::uint8_t value) { Change(fSettings.MaxRetries, value); }

void TModbusConnection::SetReceiveTimeout(std::uint32_t value) {
  Change(fSettings.ReceiveTimeout, value);
}

void TModbusConnection::SetSilentInterval(std::int32_t value) {
  if (value < -1) {
    throw EModLinkError("A silent interval of " + std::to_string(value) + " makes no sense");
  }
  Change(fSettings.SilentInterval, value);
}

void TModbusConnection::SetTurnaroundDelay(std::uint32_t value) {
  Change(fSettings.TurnaroundDelay, value);
}

void TModbusConnection::SetEchoSuppression(TEchoSuppression value) {
  Change(fSettings.EchoSuppression, value);
}

void TModbusConnection::SetReconnectInterval(std::uint32_t value) {
  Change(fSettings.ReconnectInterval, value);
}

void TModbusConnection::SetSetAsideAfter(std::uint8_t value) {
  Change(fSettings.SetAsideAfter, value);
}

void TModbusConnection::SetProbeInterval(std::uint32_t value) {
  Change(fSettings.ProbeInterval, value);
}

void TModbusConnection::SetRecorderSize(std::uint32_t value) {
  CheckThread();
  fRecorder.SetSize(value);
  if (Active()) fRecorder.Begin(true);
}

void TModbusConnection::SetRecordingFile(const std::string& value) {
  CheckThread();
  if (value == fRecordingFile) return;
  fRecordingFile = value;
  fSaved = false;
}

void TModbusConnection::SaveRecording(const std::string& fileName) const {
  WriteRecording(fileName, Recording());
}

// The line goes on whatever the disk says.
void TModbusConnection::SaveFailure() {
  if (fSaved || fRecordingFile.empty()) return;
  fSaved = true;
  std::string failure;
  try {
    SaveRecording(fRecordingFile);
  } catch (const std::exception& error) {
    failure = error.what();
  }
  OnRecorded(*this, std::string(fRecordingFile), failure);
}

TFlightRecording TModbusConnection::Recording() const {
  CheckThread();
  TModbusConnection then;  // has one after the other of the settings that held
  TFlightRecording recording =
      RecordingOf(fRecorder, fSettings, [&then](const TLineSettings& settings) {
        then.fSettings = settings;
        return LineSettings(then);
      });
  recording.Lengths = fReplyLengths;
  return recording;
}

int TModbusConnection::CountPendingTransactions(const TModbusClient* client) const {
  CheckThread();
  return fQueue->CountPending(client);
}

void TModbusConnection::DiscardPendingTransactions(const TModbusClient* client) {
  CheckThread();
  fQueue->Discard(client);
}

TRoundTrip TModbusConnection::RoundTrip(std::uint8_t serverAddress) const {
  const auto found = fStatistics.RoundTrips.find(serverAddress);
  return found != fStatistics.RoundTrips.end() ? found->second.Summary() : TRoundTrip();
}

void TModbusConnection::SetQueue(std::unique_ptr<TTransactionQueue> value) {
  CheckThread();
  if (value == nullptr) return SetSerialPort(TSerialPort::New());
  // The old one ends what it holds, and handlers may look at this connection meanwhile.
  const auto old = std::exchange(fQueue, std::move(value));
}

void TModbusConnection::SetSerialPort(std::unique_ptr<TSerialPort> port) {
  CheckThread();
  auto line = std::make_unique<TRtuQueue>(fSettings, fReplyLengths, fStatistics, fRecorder,
                                          std::move(port));
  line->OnFailure = [this] { SaveFailure(); };
  line->OnPortLost = [this](const std::string& reason) { OnPortLost(*this, reason); };
  line->OnPortFound = [this] { OnPortFound(*this); };
  line->OnServerLost = [this](std::uint8_t server) { OnServerLost(*this, server); };
  line->OnServerFound = [this](std::uint8_t server) { OnServerFound(*this, server); };
  line->IsTraced = [this] { return OnTrace.Assigned(); };
  line->OnTrace = [this](TTraceDirection direction, std::span<const std::uint8_t> frame,
                         std::chrono::steady_clock::time_point time) {
    OnTrace(*this, direction, frame, time);
  };
  SetQueue(std::move(line));
}

// A client that was used with this connection goes: what it has queued here goes with it.
void TModbusConnection::Notification(TComponent& component, TOperation operation) {
  TComponent::Notification(component, operation);
  const auto* client = dynamic_cast<const TModbusClient*>(&component);
  if (client == nullptr || operation != TOperation::opRemove || fQueue == nullptr) return;
  try {
    fQueue->Discard(client);
  } catch (...) {
    // A client that is being destroyed has nobody to tell.
  }
}

const TClassInfo& TModbusConnection::StaticClass() {
  using TSelf = TModbusConnection;
  static const TLineSettings kDefault;
  static const TClassInfo info(
      "TModbusConnection", &TComponent::StaticClass(),
      {Published("Port", &TSelf::Port, &TSelf::SetPortProperty, ""),
       Published("BaudRate", &TSelf::BaudRate, &TSelf::SetBaudRate, kDefault.Port.BaudRate),
       Published("Parity", &TSelf::Parity, &TSelf::SetParity, kDefault.Port.Parity),
       Published("DataBits", &TSelf::DataBits, &TSelf::SetDataBits, kDefault.Port.DataBits),
       Published("StopBits", &TSelf::StopBits, &TSelf::SetStopBits, kDefault.Port.StopBits),
       Published("MaxRetries", &TSelf::MaxRetries, &TSelf::SetMaxRetries, kDefault.MaxRetries),
       Published("ReceiveTimeout", &TSelf::ReceiveTimeout, &TSelf::SetReceiveTimeout,
                 kDefault.ReceiveTimeout),
       Published("SilentInterval", &TSelf::SilentInterval, &TSelf::SetSilentInterval,
                 kDefault.SilentInterval),
       Published("TurnaroundDelay", &TSelf::TurnaroundDelay, &TSelf::SetTurnaroundDelay,
                 kDefault.TurnaroundDelay),
       Published("RS485Mode", &TSelf::RS485Mode, &TSelf::SetRS485Mode, kDefault.Port.RS485Mode),
       Published("EchoSuppression", &TSelf::EchoSuppression, &TSelf::SetEchoSuppression,
                 kDefault.EchoSuppression),
       Published("ReconnectInterval", &TSelf::ReconnectInterval, &TSelf::SetReconnectInterval,
                 kDefault.ReconnectInterval),
       Published("SetAsideAfter", &TSelf::SetAsideAfter, &TSelf::SetSetAsideAfter,
                 kDefault.SetAsideAfter),
       Published("ProbeInterval", &TSelf::ProbeInterval, &TSelf::SetProbeInterval,
                 kDefault.ProbeInterval),
       Published("RecorderSize", &TSelf::RecorderSize, &TSelf::SetRecorderSize,
                 TFlightRecorder::kDefaultSize),
       Published("RecordingFile", &TSelf::RecordingFile, &TSelf::SetRecordingFile, ""),
       Published("Active", &TSelf::StoredActive, &TSelf::SetStoredActive, false),
       PublishedEvent("OnPortLost", &TSelf::OnPortLost),
       PublishedEvent("OnPortFound", &TSelf::OnPortFound),
       PublishedEvent("OnServerLost", &TSelf::OnServerLost),
       PublishedEvent("OnServerFound", &TSelf::OnServerFound),
       PublishedEvent("OnRecorded", &TSelf::OnRecorded),
       PublishedEvent("OnTrace", &TSelf::OnTrace)});
  return info;
}

}  // namespace OrvixModBus
