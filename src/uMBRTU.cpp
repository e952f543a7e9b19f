#include "uMBRTU.h"

#include "platform/model/uProperty.h"

namespace OrvixModBus {
namespace {

// Request and reply of the paged functions: server, function, page, address high, low, count.
constexpr int kPagePosition = 2;
constexpr int kCountPosition = 5;

struct TPagedRequest {
  std::uint8_t Page;
  std::uint16_t StartReg;
  std::uint8_t ByteCount;
};

TPagedRequest ReadPagedRequest(TModbusBuffer& request) {
  TPagedRequest paged{};
  request.SetPosition(kPagePosition);
  paged.Page = request.GetByte();
  paged.StartReg = request.GetWordHiLo();
  paged.ByteCount = request.GetByte();
  return paged;
}

// Where no whole reply came there is no count to compare: its kind tells why.
bool RepliesOtherCount(const TModbusTransaction& transaction, std::uint8_t count) {
  const TModbusBuffer& reply = transaction.Reply();
  if (reply.GetSize() > kCountPosition) return reply.Data()[kCountPosition] != count;
  return transaction.ServerReply() == TServerReply::srNormalReply;
}

}  // namespace

TComSet TMBRTUConnection::GetComSet() const {
  return {Port(), BaudRate(), Parity(), DataBits(), StopBits(), MaxRetries(), ReceiveTimeout()};
}

void TMBRTUConnection::SetComSet(const TComSet& value) {
  SetPortProperty(value.Name);
  SetBaudRate(value.Speed);
  SetParity(value.Parity);
  SetDataBits(value.DataBits);
  SetStopBits(value.StopBits);
  SetMaxRetries(value.MaxRetries);
  SetReceiveTimeout(value.ReceiveTimeout);
}

const TClassInfo& TMBRTUConnection::StaticClass() {
  static const TClassInfo info("TMBRTUConnection", &TModbusConnection::StaticClass(), {});
  return info;
}

TRTUClient::TRTUClient(TComponent* owner) : TModbusClient(owner) {}

TRTUClient::~TRTUClient() { BeginDestroy(); }

void TRTUClient::DoCustomTransactionComplete(TModbusTransaction& transaction,
                                             std::uint8_t command) {
  if (IsPagedRead(command) && OnDX517Read) return CompletePagedRead(transaction);
  if (IsPagedWrite(command) && OnDX517Write) return CompletePagedWrite(transaction);
  TModbusClient::DoCustomTransactionComplete(transaction, command);
}

void TRTUClient::CompletePagedRead(TModbusTransaction& transaction) {
  const TPagedRequest request = ReadPagedRequest(transaction.Request());
  Bytes values(request.ByteCount);
  if (transaction.ServerReply() == TServerReply::srNormalReply) {
    try {
      for (std::uint8_t& value : values) value = transaction.Reply().GetByte();
    } catch (const EModLinkError&) {  // the reply is shorter than its request asked for
      transaction.SetServerReply(TServerReply::srUnmatchedReply);
    }
  }
  OnDX517Read(*this, transaction.Info(), request.Page, request.StartReg, request.ByteCount, values);
}

void TRTUClient::CompletePagedWrite(TModbusTransaction& transaction) {
  const TPagedRequest request = ReadPagedRequest(transaction.Request());
  if (RepliesOtherCount(transaction, request.ByteCount)) {
    transaction.SetServerReply(TServerReply::srUnmatchedReply);
  }
  OnDX517Write(*this, transaction.Info(), request.Page, request.StartReg, request.ByteCount);
}

void TRTUClient::TransactionEnded(TModbusTransaction& transaction) {
  OnTransactionEnded(transaction);
}

const TClassInfo& TRTUClient::StaticClass() {
  static const TClassInfo info("TRTUClient", &TModbusClient::StaticClass(),
                               {PublishedEvent("OnDX517Read", &TRTUClient::OnDX517Read),
                                PublishedEvent("OnDX517Write", &TRTUClient::OnDX517Write)});
  return info;
}

}  // namespace OrvixModBus
