#include "platform/modbus/uModbusClient.h"

#include <algorithm>
#include <string>

#include "platform/modbus/uModbusConnection.h"
#include "platform/model/uProperty.h"
#include "platform/rtl/uFirstError.h"

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kReadFileRecord = 0x14;
constexpr std::uint8_t kReportServerID = 0x11;

// Modbus Application Protocol V1.1b3, 6.13: a byte count, then the data that it counts.
Bytes ReportedData(const TModbusTransaction& transaction) {
  const auto reply = transaction.Reply().Data();
  if (transaction.ServerReply() != TServerReply::srNormalReply || reply.size() < 3) return {};
  return ToBytes(reply.subspan(3, std::min<std::size_t>(reply[2], reply.size() - 3)));
}

}  // namespace

TModbusClient::TModbusClient(TComponent* owner) : TComponent(owner) {}

// Every connection that this was used with is told, and drops what was queued.
TModbusClient::~TModbusClient() { BeginDestroy(); }

TModbusConnection* TModbusClient::Connection() const { return fConnection.Get(); }

void TModbusClient::SetConnection(TModbusConnection* value) {
  CheckThread();
  if (value == fConnection.Get()) return;
  if (value != nullptr) value->FreeNotification(*this);
  fConnection = TRef<TModbusConnection>(value);
}

void TModbusClient::SetServerAddress(std::uint8_t value) {
  CheckThread();
  fServerAddress = value;
}

template <class TPrepare>
void TModbusClient::Enqueue(TPrepare&& prepare) {
  CheckThread();
  if (!fConnection) throw EModLinkError("Connection not assigned");
  fConnection->CheckThread();
  fConnection->Queue().Enqueue(prepare);
}

void TModbusClient::InitCustomTransaction(std::uint8_t command, std::span<const std::uint8_t> data,
                                          bool broadcast, TObject* userData) {
  if (data.size() > kMaxData) {
    throw EModLinkError("A request of " + std::to_string(data.size()) + " data bytes is too long");
  }
  const std::uint8_t server = broadcast ? std::uint8_t{0} : fServerAddress;
  Enqueue([&](TModbusTransaction& transaction) {
    transaction.Prepare(*this, TTransactionKind::tkCustom, server, command, data, userData);
  });
}

void TModbusClient::ReportServerID(TObject* userData) {
  Enqueue([&](TModbusTransaction& transaction) {
    transaction.Prepare(*this, TTransactionKind::tkServerID, fServerAddress, kReportServerID, {},
                        userData);
  });
}

void TModbusClient::ReadFileRecord(const TModbusFileRecordList& list, TObject* userData) {
  Enqueue([&](TModbusTransaction& transaction) {
    transaction.Prepare(*this, TTransactionKind::tkFileRecord, fServerAddress, kReadFileRecord, {},
                        userData);
    transaction.FileRecords() = list;
  });
}

void TModbusClient::Complete(TModbusTransaction& transaction) {
  const TRef<TModbusClient> self(this);
  TFirstError error;
  error.Run([&] { RaiseCompletion(transaction); });
  if (self) error.Run([&] { TransactionEnded(transaction); });
  error.Raise();
}

void TModbusClient::RaiseCompletion(TModbusTransaction& transaction) {
  switch (transaction.Kind()) {
    case TTransactionKind::tkCustom:
      return DoCustomTransactionComplete(transaction, transaction.Command());
    case TTransactionKind::tkServerID: {
      const Bytes data = ReportedData(transaction);
      return OnServerIDReport(*this, transaction.Info(), static_cast<int>(data.size()), data);
    }
    case TTransactionKind::tkFileRecord:
      return OnFileRecordRead(*this, transaction.Info(), transaction.FileRecords());
  }
}

void TModbusClient::DoCustomTransactionComplete(TModbusTransaction& transaction,
                                                std::uint8_t command) {
  OnCustomTransactionComplete(*this, transaction, command);
}

void TModbusClient::TransactionEnded(TModbusTransaction& /*transaction*/) {}

const TClassInfo& TModbusClient::StaticClass() {
  static const TClassInfo info(
      "TModbusClient", &TComponent::StaticClass(),
      {Published("Connection", &TModbusClient::Connection, &TModbusClient::SetConnection,
                 static_cast<TModbusConnection*>(nullptr)),
       Published("ServerAddress", &TModbusClient::ServerAddress, &TModbusClient::SetServerAddress,
                 1),
       PublishedEvent("OnCustomTransactionComplete", &TModbusClient::OnCustomTransactionComplete),
       PublishedEvent("OnServerIDReport", &TModbusClient::OnServerIDReport),
       PublishedEvent("OnFileRecordRead", &TModbusClient::OnFileRecordRead)});
  return info;
}

}  // namespace OrvixModBus
