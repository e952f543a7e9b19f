#include "uMBClient.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uFirstError.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kMaxPagedWrite = 128;
// Bytes of file records in one request's reply, and what each record adds to its data.
constexpr int kMaxGroup = 251;
constexpr int kRecordHead = 2;

// The caller builds the data of these.
bool IsSentAsGiven(std::uint8_t func) {
  return func == 0x14 || func == 0x18 || func == 0x20 || func == 0x24 || func == 0x41;
}

enum class TReplyRoad { Read, Write, Custom };

TReplyRoad RoadOf(std::uint8_t command) {
  switch (command) {
    case 0x01:
    case 0x02:
    case 0x03:
    case 0x04:
    case 0x21:
    case 0x43:
    case 0x44:
      return TReplyRoad::Read;
    case 0x05:
    case 0x06:
    case 0x10:
    case 0x6C:
    case 0x65:
    case 0x66:
      return TReplyRoad::Write;
    default:
      return TReplyRoad::Custom;
  }
}

// Positions in requests and replies count from 0 = server address, 1 = function code.
std::size_t ByteAt(std::span<const std::uint8_t> frame, std::size_t position) {
  return position < frame.size() ? frame[position] : 0;
}

// The bytes of the reply at from and after, as far as the reply holds them.
void Slice(std::span<const std::uint8_t> reply, std::size_t from, std::size_t count,
           Bytes& values) {
  const auto rest = reply.subspan(std::min(from, reply.size()));
  const auto part = rest.first(std::min(count, rest.size()));
  values.assign(part.begin(), part.end());
}

void DecodeReply(const TModbusTransaction& transaction, std::uint8_t command, Bytes& values) {
  const auto reply = transaction.Reply().Data();
  switch (command) {
    case 0x21: {
      const std::size_t low = ByteAt(transaction.Request().Data(), 3);
      return Slice(reply, low == 1 || low == 2 ? 3 : 2, 4, values);
    }
    case 0x43:
    case 0x44:
      if (reply.size() < 6) throw Exception("Error replay");
      return Slice(reply, 6, reply[5], values);
    case 0x05:
    case 0x06:
    case 0x10:
    case 0x6C:
      return Slice(reply, 4, 2, values);
    case 0x65:
    case 0x66:
      values.assign(ByteAt(reply, 5), 0);  // the length alone: the written bytes don't come back
      return;
    default:
      return Slice(reply, 3, ByteAt(reply, 2), values);
  }
}

std::uint8_t Byte(std::uint32_t value, std::uint8_t index) {
  return TMBLib::ByteFromCardinal(value, index);
}

}  // namespace

void TMBConnection::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TMBConnection*>(&source);
  if (other == nullptr) return TComponent::Assign(source);
  CheckThread();
  SetRTU(other->RTU());
  SetTCP(other->TCP());
  SetConnectionType(other->ConnectionType());
}

const TClassInfo& TMBConnection::StaticClass() {
  static const TClassInfo info(
      "TMBConnection", &TComponent::StaticClass(),
      {
          Published("RTU", &TMBConnection::RTU, &TMBConnection::SetRTU, nullptr),
          Published("TCP", &TMBConnection::TCP, &TMBConnection::SetTCP, nullptr),
          Published("ConnectionType", &TMBConnection::ConnectionType,
                    &TMBConnection::SetConnectionType, TConnectionType::mbRtu),
      });
  return info;
}

const TClassInfo& TLetterOwnerInfo::StaticClass() {
  static const TClassInfo info("TLetterOwnerInfo", &TComponent::StaticClass(), {});
  return info;
}

TMBClient::TMBClient(TComponent* owner)
    : TComponent(owner),
      fConnection(new TMBConnection(this)),
      fRTUClient(new TRTUClient(this)),
      fTCPClient(new TTCPClient(this)),
      fEmulClient(new TEmulClient(this)) {
  fRTUClient->OnCustomTransactionComplete = {this, &TMBClient::CustomTransactionComplete};
  fRTUClient->OnServerIDReport = {this, &TMBClient::OnDevId};
  fRTUClient->OnFileRecordRead = {this, &TMBClient::OnFileRead};
  fRTUClient->OnTransactionEnded = {this, &TMBClient::TransactionEnded};
  fEmulClient->OnRead = {this, &TMBClient::OnEmulRead};
  fEmulClient->OnWrite = {this, &TMBClient::OnEmulWrite};
}

TMBClient::~TMBClient() { BeginDestroy(); }

void TMBClient::SetConnection(TMBConnection* value) {
  CheckThread();
  TMBConnection* const former = fConnection.Get();
  if (value == former) return;
  if (value != nullptr && !value->IsEmul()) fRTUClient->SetConnection(value->RTU());
  fConnection = value;
  if (former != nullptr && former->Owner() == this) delete former;
}

void TMBClient::SetAdres(std::uint8_t value) {
  if (value != GetAdres()) fRTUClient->SetServerAddress(value);
}

bool TMBClient::Active() const {
  if (IsEmul()) return true;
  return fConnection && fConnection->RTU() != nullptr && fConnection->RTU()->Active();
}

// Has one more transaction carry info. When queueing throws, the whole request is void: info goes,
// and what already carries it completes unnoticed.
template <class TAction>
void TMBClient::Carry(TLetterOwnerInfo& info, TAction queue) {
  ++info.Holders;
  try {
    queue();
  } catch (...) {
    delete &info;
    throw;
  }
}

void TMBClient::Read(std::uint8_t func, std::uint32_t start, std::uint16_t countInBytes,
                     TObject* letterOwner, std::span<const std::uint8_t> data) {
  CheckThread();
  if (!fConnection) return;
  if (fConnection->ConnectionType() == TConnectionType::mbTCP) {
    fTCPClient->SetConnection(fConnection->TCP());
    return;
  }
  if (!BindToActiveLine() || (IsSentAsGiven(func) && data.empty())) return;
  TLetterOwnerInfo& info = NewInfo(letterOwner, start);
  if (IsSentAsGiven(func)) {
    Queue(func, data, info);
  } else {
    QueueRead(func, start, countInBytes, info);
  }
  Release(info);
  DoOnWorkStart();
}

void TMBClient::QueueRead(std::uint8_t func, std::uint32_t start, std::uint16_t countInBytes,
                          TLetterOwnerInfo& info) {
  const std::uint8_t high = Byte(start, 1), low = Byte(start, 0);
  const auto request = [&](unsigned quantity) {
    const std::uint8_t data[] = {high, low, Byte(quantity, 1), Byte(quantity, 0)};
    Queue(func, data, info);
  };
  switch (func) {
    case 0x01:
    case 0x02:
      return request(countInBytes);
    case 0x03:
    case 0x04:
      return request(countInBytes / 2u);
    case 0x21:
      return request(0);
    case 0x11:
      return Carry(info, [&] { fRTUClient->ReportServerID(&info); });
    case 0x43:
    case 0x44:
      return QueuePagedRead(func, start, countInBytes, info);
    default:
      return;
  }
}

// Only the low byte of a count is sent, so sums over counts are taken modulo 256 as well.
void TMBClient::QueuePagedRead(std::uint8_t func, std::uint32_t start, std::uint16_t count,
                               TLetterOwnerInfo& info) {
  const std::uint8_t page = Byte(start, 2);
  const auto request = [&](unsigned byteCount) {
    const std::uint8_t data[] = {page, Byte(start, 1), Byte(start, 0), Byte(byteCount, 0)};
    Queue(func, data, info);
  };
  if (Byte(start + (count & 0xFFu), 2) == page) return request(count);
  const std::uint32_t boundary =
      TMBLib::ByteArToCardinal(Bytes{0, static_cast<std::uint8_t>((page + 1u) & 0xFFu), 0, 0});
  request(Byte(boundary, 0) - unsigned{Byte(start, 0)});
  request(Byte(start, 0) + unsigned{count} - Byte(boundary, 0));
}

void TMBClient::Write(std::uint8_t func, std::uint32_t start, const Bytes& value,
                      TObject* letterOwner) {
  CheckThread();
  if (!fConnection || fConnection->ConnectionType() != TConnectionType::mbRtu) return;
  if (!BindToActiveLine()) return;
  CheckWrite(func, value.size());
  TLetterOwnerInfo& info = NewInfo(letterOwner, start);
  QueueWrite(func, start, value, info);
  Release(info);
  DoOnWorkStart();
}

void TMBClient::CheckWrite(std::uint8_t func, std::size_t size) {
  if (IsPagedWrite(func) && size > kMaxPagedWrite) {
    throw Exception("Максимально допустимое кол-во байт для записи по $66, $65 функции = 128");
  }
}

void TMBClient::QueueWrite(std::uint8_t func, std::uint32_t start, const Bytes& value,
                           TLetterOwnerInfo& info) {
  const auto length = static_cast<std::uint8_t>(value.size() & 0xFF);
  switch (func) {
    case 0x05:
    case 0x06:
    case 0x6C:
      if (value.size() % 2 != 0) return;
      for (std::size_t at = 0; at < value.size(); at += 2) {
        const std::uint32_t adress = start + static_cast<std::uint32_t>(at / 2);
        const std::uint8_t data[] = {Byte(adress, 1), Byte(adress, 0), value[at], value[at + 1]};
        Queue(func, data, info);
      }
      return;
    case 0x10: {
      const auto count = static_cast<std::uint32_t>(value.size() / 2);
      fRequest = {Byte(start, 1), Byte(start, 0), Byte(count, 1), Byte(count, 0), length};
      break;
    }
    case 0x65:
    case 0x66:
      fRequest = {Byte(start, 2), Byte(start, 1), Byte(start, 0), length};
      break;
    default:
      return;
  }
  fRequest.insert(fRequest.end(), value.begin(), value.end());
  Queue(func, fRequest, info);
}

void TMBClient::InitCustomTransaction(std::uint8_t func, std::span<const std::uint8_t> data,
                                      TObject* letterOwner) {
  CheckThread();
  if (!fConnection || fConnection->ConnectionType() != TConnectionType::mbRtu) return;
  fRTUClient->SetConnection(fConnection->RTU());
  TLetterOwnerInfo& info = NewInfo(letterOwner, 0);
  Queue(func, data, info);
  Release(info);
}

void TMBClient::ReadFileRecord(const TModbusFileRecordList& fileRecList, TObject* letterOwner) {
  CheckThread();
  if (!IsEmul()) {
    if (!BindToActiveLine()) return;
    fRTUClient->ReadFileRecord(fileRecList, letterOwner);
  }
  DoOnWorkStart();
}

void TMBClient::ReadFileByStructur(std::uint16_t fileId, std::uint16_t firstRecordIndex,
                                   std::uint16_t needRecords,
                                   std::span<TMBRegTypeStructure* const> structurInfoAr,
                                   TObject* letterOwner) {
  CheckThread();
  const auto* last = structurInfoAr.empty() ? nullptr : structurInfoAr.back();
  if (last == nullptr) {
    throw Exception("The list of structure fields is empty: the record length is not known");
  }
  const int length = (last->Offset() + last->Size()) & 0xFF;
  const int perGroup = kMaxGroup / (length + kRecordHead);
  if (perGroup == 0) throw EDivByZero("Division by zero");
  const TRef<TMBClient> self(this);
  const TRef<TObject> owner(letterOwner);
  TModbusFileRecordList list;
  TFirstError error;
  for (int group = firstRecordIndex; group <= needRecords / perGroup && self; ++group) {
    list.Clear();
    const int first = group * perGroup;
    for (int record = first; record < std::min<int>(first + perGroup, needRecords); ++record) {
      list.Add(fileId, static_cast<std::uint16_t>(record), (length + 1) / 2);
    }
    if (list.Count() > 0) error.Run([&] { ReadFileRecord(list, owner.Get()); });
  }
  error.Raise();
}

void TMBClient::ConfirmComandDX517() {
  CheckThread();
  if (!fConnection || fConnection->ConnectionType() != TConnectionType::mbRtu) return;
  constexpr std::uint8_t kConfirmation[] = {0x02, 0xFD, 0xFF, 0x00};
  fRTUClient->SetConnection(fConnection->RTU());
  fRTUClient->InitCustomTransaction(0x67, kConfirmation, false, nullptr);
}

int TMBClient::CountPendingTransactions() const {
  if (IsEmul()) return fEmulClient->CountPendingTransactions();
  if (!fConnection || fConnection->ConnectionType() == TConnectionType::mbTCP) return 0;
  const TMBRTUConnection* line = fConnection->RTU();
  return line != nullptr ? line->CountPendingTransactions(fRTUClient) : 0;
}

void TMBClient::ClearWaitQueueAllLetters() {
  CheckThread();
  if (!fConnection) return;
  TMBRTUConnection* const line = fConnection->RTU();
  const TRef<TMBClient> self(this);
  TFirstError error;
  if (fConnection->ConnectionType() == TConnectionType::mbRtu && line != nullptr) {
    error.Run([&] { line->DiscardPendingTransactions(nullptr); });
  }
  if (self) error.Run([&] { OnClearWaitQueue(*this); });
  error.Raise();
}

void TMBClient::ReadEmul(TMBReg& reg, TObject* letterOwner) {
  fEmulClient->ReadRegs(reg, letterOwner);
  DoOnWorkStart();
}

void TMBClient::WriteEmul(const TMBReg& reg, const Bytes& value, TObject* letterOwner) {
  fEmulClient->WriteReg(reg, value, letterOwner);
  DoOnWorkStart();
}

// What every answer raises: first whether it is missing or no good, then the reply itself.
template <class TAction>
void TMBClient::Answer(TServerReply serverReply, std::uint8_t command, std::uint32_t startAdres,
                       TAction raiseReply) {
  const TRef<TMBClient> self(this);
  TFirstError error;
  error.Run([&] { DoChekAnswer(serverReply, command, startAdres); });
  if (self) error.Run(raiseReply);
  error.Raise();
}

void TMBClient::CustomTransactionComplete(TModbusClient& sender, TModbusTransaction& transaction,
                                          std::uint8_t command) {
  if (fDisableHandling || transaction.UserData() == nullptr) return;
  TFirstError error;
  error.Run([&] { OnCompleteTransaction(); });
  // Nil when that has destroyed this client, which owns its infos.
  if (const auto* info = dynamic_cast<const TLetterOwnerInfo*>(transaction.UserData())) {
    const TRef<TObject> letterOwner = info->LetterOwner;
    const std::uint32_t startAdres = info->StartAdres;
    error.Run([&] {
      Answer(transaction.ServerReply(), command, startAdres,
             [&] { RaiseReply(sender, transaction, command, startAdres, letterOwner.Get()); });
    });
  }
  error.Raise();
}

void TMBClient::RaiseReply(TModbusClient& sender, TModbusTransaction& transaction,
                           std::uint8_t command, std::uint32_t startAdres, TObject* letterOwner) {
  const TReplyRoad road = RoadOf(command);
  if (road == TReplyRoad::Custom) return DoOnCastomTrunsaction(sender, transaction, command);
  TServerReply kind = transaction.ServerReply();
  Bytes values = std::exchange(fValues, {});  // a handler may run the loop and come here again
  values.clear();
  const TRef<TMBClient> self(this);
  TFirstError error;
  if (kind == TServerReply::srNormalReply) {
    try {
      DecodeReply(transaction, command, values);
    } catch (const std::bad_alloc&) {  // whoever waits for it is told that it is no good
      kind = TServerReply::srInvalidFrame;
      error.Run([] { throw; });
    }
  }
  error.Run([&] {
    const auto raise = road == TReplyRoad::Read ? &TMBClient::DoOnRead : &TMBClient::DoOnWrite;
    (this->*raise)(kind, command, startAdres, values, letterOwner);
  });
  if (self) fValues = std::move(values);
  error.Raise();
}

void TMBClient::OnDevId(TModbusClient& /*sender*/, const TTransactionInfo& info, int /*count*/,
                        const Bytes& data) {
  const auto* ownerInfo = dynamic_cast<const TLetterOwnerInfo*>(info.UserData.Get());
  if (fDisableHandling || ownerInfo == nullptr) return;
  const TRef<TObject> letterOwner = ownerInfo->LetterOwner;
  const std::uint32_t startAdres = ownerInfo->StartAdres;
  const Bytes values = data;
  const TServerReply kind = info.Reply;
  Answer(kind, 0x11, startAdres,
         [&] { DoOnRead(kind, 0x11, startAdres, values, letterOwner.Get()); });
}

void TMBClient::OnFileRead(TModbusClient& /*sender*/, const TTransactionInfo& info,
                           TModbusFileRecordList& fileRecList) {
  if (fDisableHandling) return;
  const TServerReply kind = info.Reply;
  const TRef<TObject> owner = info.UserData;
  const TRef<TMBClient> self(this);
  TFirstError error;
  error.Run([&] {
    if (kind != TServerReply::srNormalReply) ClearWaitQueueAllLetters();
  });
  error.Run([&] {
    if (!self) return;
    Answer(kind, 0x14, info.Retries, [&] {
      OnReadFile.ForEach(
          [&](const auto& handler) { handler(*this, kind, fileRecList, owner.Get()); });
    });
  });
  error.Raise();
}

void TMBClient::OnEmulRead(TMBReg& reg, TObject* letterOwner) {
  // Emulation leaves out $02, as this system does.
  constexpr std::uint8_t kEmulated[] = {0x01, 0x03, 0x04, 0x21, 0x43, 0x44};
  const std::uint8_t func = reg.MBFuncRead();
  const std::uint32_t adress = reg.Adress();
  const TRef<TMBClient> self(this);
  const TRef<TObject> owner(letterOwner);
  Bytes values;
  TFirstError error;
  if (std::ranges::find(kEmulated, func) != std::end(kEmulated)) {
    error.Run([&] { OnGetEmulData(reg, values); });
  }
  if (self) {
    error.Run([&] { DoOnRead(TServerReply::srNormalReply, func, adress, values, owner.Get()); });
  }
  error.Raise();
}

void TMBClient::OnEmulWrite(TMBReg& reg, Bytes& data, TObject* letterOwner) {
  const TRef<TMBClient> self(this);
  const TRef<TObject> owner(letterOwner);
  TFirstError error;
  if (OnSetEmulData) {
    error.Run([&] { OnSetEmulData(reg, data); });
  } else {
    data.clear();
  }
  if (self) {
    error.Run([&] {
      DoOnWrite(TServerReply::srNormalReply, reg.MBFuncWrite(), reg.Adress(), data, owner.Get());
    });
  }
  error.Raise();
}

void TMBClient::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TMBClient*>(&source);
  if (other == nullptr) return TComponent::Assign(source);
  SetConnection(other->Connection());
}

void TMBClient::DoOnRead(TServerReply serverReply, std::uint8_t func, std::uint32_t startReg,
                         const Bytes& values, TObject* letterOwner) {
  Raise(OnReadList, OnRead, serverReply, func, startReg, values, letterOwner);
}

void TMBClient::DoOnWrite(TServerReply serverReply, std::uint8_t func, std::uint32_t startReg,
                          const Bytes& values, TObject* letterOwner) {
  Raise(OnWriteList, OnWrite, serverReply, func, startReg, values, letterOwner);
}

void TMBClient::Raise(const TMBEventList& list, const TMBEvent& event, TServerReply serverReply,
                      std::uint8_t func, std::uint32_t startReg, const Bytes& values,
                      TObject* letterOwner) {
  const TRef<TMBClient> self(this);
  const TRef<TObject> owner(letterOwner);  // a listener may destroy it
  TFirstError error;
  if (MBCntrlOn) {
    error.Run([&] {
      list.ForEach([&](const TMBEvent& handler) {
        handler(*this, serverReply, func, startReg, values, owner.Get());
      });
    });
  }
  error.Run([&] {
    if (self) event(*this, serverReply, func, startReg, values, owner.Get());
  });
  error.Raise();
}

void TMBClient::DoOnCastomTrunsaction(TModbusClient& sender, TModbusTransaction& transaction,
                                      std::uint8_t command) {
  OnCastomTrunsaction(sender, transaction, command);
}

void TMBClient::DoOnWorkStart() {
  ++fWorkStarts;
  OnWorkStart(*this);
}

void TMBClient::DoChekAnswer(TServerReply serverReply, std::uint8_t command,
                             std::uint32_t startAdres) {
  switch (serverReply) {
    case TServerReply::srNone:
      return OnNoneAnswer(*this, serverReply, command, startAdres);
    case TServerReply::srInvalidFrame:
    case TServerReply::srUnexpectedReply:
    case TServerReply::srUnmatchedReply:
    case TServerReply::srExceptionReply:
      return OnExeptionAnswer(*this, serverReply, command, startAdres);
    case TServerReply::srNormalReply:
      return;
  }
}

bool TMBClient::BindToActiveLine() {
  if (IsEmul() || !Active()) return false;
  fRTUClient->SetConnection(fConnection->RTU());
  return true;
}

void TMBClient::Queue(std::uint8_t func, std::span<const std::uint8_t> data,
                      TLetterOwnerInfo& info) {
  Carry(info, [&] { fRTUClient->InitCustomTransaction(func, data, false, &info); });
}

TLetterOwnerInfo& TMBClient::NewInfo(TObject* letterOwner, std::uint32_t startAdres) {
  if (fFreeInfos.empty()) {
    // Room for all infos, so that to release one needs no memory.
    const auto count = static_cast<std::size_t>(ComponentCount()) + 1;
    if (fFreeInfos.capacity() < count) fFreeInfos.reserve(2 * count);
    fFreeInfos.push_back(new TLetterOwnerInfo(this));
  }
  TLetterOwnerInfo& info = *fFreeInfos.back();
  fFreeInfos.pop_back();
  info.LetterOwner = letterOwner;
  info.StartAdres = startAdres;
  info.Holders = 1;
  return info;
}

// One holder less: the request that has been queued, or a transaction that has ended.
void TMBClient::Release(TLetterOwnerInfo& info) {
  if (--info.Holders > 0) return;
  info.LetterOwner = nullptr;
  fFreeInfos.push_back(&info);
}

void TMBClient::TransactionEnded(TModbusTransaction& transaction) {
  auto* info = dynamic_cast<TLetterOwnerInfo*>(transaction.UserData());
  if (info != nullptr && info->Owner() == this && info->Holders > 0) Release(*info);
}

const TClassInfo& TMBClient::StaticClass() {
  static const TClassInfo info(
      "TMBClient", &TComponent::StaticClass(),
      {
          // Not nil at first but one of its own, so nil is stored.
          Published("Connection", &TMBClient::Connection, &TMBClient::SetConnection),
          Published("Adres", &TMBClient::GetAdres, &TMBClient::SetAdres, 1),
          PublishedEvent("OnRead", &TMBClient::OnRead),
          PublishedEvent("OnWrite", &TMBClient::OnWrite),
          PublishedEvent("OnNoneAnswer", &TMBClient::OnNoneAnswer),
          PublishedEvent("OnExeptionAnswer", &TMBClient::OnExeptionAnswer),
          PublishedEvent("OnGetEmulData", &TMBClient::OnGetEmulData),
          PublishedEvent("OnSetEmulData", &TMBClient::OnSetEmulData),
          PublishedEvent("OnWorkStart", &TMBClient::OnWorkStart),
      });
  return info;
}

}  // namespace OrvixModBus
