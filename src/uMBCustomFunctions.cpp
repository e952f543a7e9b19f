#include "uMBCustomFunctions.h"

#include <algorithm>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uFirstError.h"
#include "platform/rtl/uFormat.h"
#include "uMBLib.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kReplyHead = 2;     // server address, function code
constexpr std::uint32_t kCountReply = 0;  // what a request for the count is started with

}  // namespace

TMBCustomFunction::~TMBCustomFunction() {
  BeginDestroy();
  if (!fMBClient) return;
  fMBClient->OnReadList.Remove(this, &TMBCustomFunction::OnRead);
  fMBClient->OnCastomTrunsaction.Remove(this, &TMBCustomFunction::OnCastomTrunsaction);
}

void TMBCustomFunction::SetMBClient(TMBClient* value) {
  CheckThread();
  fMBClient = value;
  if (value == nullptr) return;
  value->OnReadList.Add(this, &TMBCustomFunction::OnRead);
  // A client that comes back is listened to already; twice, and every item would come twice.
  value->OnCastomTrunsaction.Remove(this, &TMBCustomFunction::OnCastomTrunsaction);
  value->OnCastomTrunsaction.Add(this, &TMBCustomFunction::OnCastomTrunsaction);
}

void TMBCustomFunction::OnRead(TMBClient& /*sender*/, TServerReply /*serverReply*/,
                               std::uint8_t /*func*/, std::uint32_t /*startReg*/,
                               const Bytes& /*values*/, TObject* /*letterOwner*/) {}

// The client doesn't decode these functions: it hands their transactions on as they are.
void TMBCustomFunction::OnCastomTrunsaction(TModbusClient& /*sender*/,
                                            TModbusTransaction& transaction, std::uint8_t command) {
  const auto* info = dynamic_cast<const TLetterOwnerInfo*>(transaction.UserData());
  if (info == nullptr || !IsOwn(command, info->LetterOwner.Get())) return;
  auto* client = dynamic_cast<TMBClient*>(info->Owner());
  if (client == nullptr) return;
  const TServerReply kind = transaction.ServerReply();
  Bytes values;
  if (kind == TServerReply::srNormalReply) values = ReplyValues(transaction.Reply().Data());
  OnRead(*client, kind, command, info->StartAdres, values, this);
}

Bytes TMBCustomFunction::ReplyValues(std::span<const std::uint8_t> reply) const {
  return ToBytes(reply.subspan(std::min(kReplyHead, reply.size())));
}

bool TMBCustomFunction::IsOwn(std::uint8_t func, const TObject* letterOwner) const {
  return letterOwner == this && func == GetMBFunc();
}

void TMBCustomFunction::Request(std::uint32_t start, const TRequest& data) {
  constexpr std::uint16_t kCountInBytes = 2;  // counts nothing here: data goes out as it is
  CheckThread();
  if (fMBClient) fMBClient->Read(GetMBFunc(), start, kCountInBytes, this, data);
}

const TClassInfo& TMBCustomFunction::StaticClass() {
  static const TClassInfo info("TMBCustomFunction", &TComponent::StaticClass(),
                               {
                                   Published("MBClient", &TMBCustomFunction::MBClient,
                                             &TMBCustomFunction::SetMBClient, nullptr),
                               });
  return info;
}

TMBItemFunction::~TMBItemFunction() { BeginDestroy(); }

void TMBItemFunction::ReadCountItem() { Request(kCountReply, {0, 0, 0, 0}); }

void TMBItemFunction::OnRead(TMBClient& /*sender*/, TServerReply serverReply, std::uint8_t func,
                             std::uint32_t startReg, const Bytes& values, TObject* letterOwner) {
  if (!IsOwn(func, letterOwner)) return;
  if (serverReply != TServerReply::srNormalReply) return OnErorAnswer(*this);
  if (startReg != kCountReply) return TakeItems(startReg, values);
  if (values.size() != 4) return;
  fTotalItem = TMBLib::ToByteToWord(values[0], values[1]);
  fCount = TMBLib::ToByteToWord(values[2], values[3]);
  OnGetCountInfo(*this);
}

int TMBItemFunction::BatchSize(std::int32_t length, const char* property, int last) const {
  if (length == 0) {
    throw EDivByZero(Format("Division by zero: %s.%s is 0", {Name(), property}));
  }
  if (last < 1) return 0;
  if (length < 0 || length > kMaxItemBytes) {
    throw Exception(Format("%s.%s is %d, but a reply holds items of 1 to %d bytes",
                           {Name(), property, length, kMaxItemBytes}));
  }
  return kMaxItemBytes / length;
}

void TMBItemFunction::RequestBatches(std::uint32_t start, int batch, int last,
                                     const std::function<TRequest(int)>& requestOf) {
  const TRef<TMBItemFunction> self(this);
  TFirstError error;
  for (int item = 1; item <= last && self; item += batch) {
    error.Run([&] { Request(start, requestOf(item)); });
  }
  error.Raise();
}

void TMBItemFunction::Slice(const Bytes& values, std::size_t first, std::int32_t length,
                            const std::function<void(const Bytes&)>& take) {
  if (length < 1 || values.size() < static_cast<std::size_t>(length)) return;
  const TRef<TMBItemFunction> self(this);
  TFirstError error;
  std::span<const std::uint8_t> rest(values);
  rest = rest.subspan(std::min(first, rest.size()));
  while (rest.size() > 1 && self) {
    const auto piece = rest.first(std::min(static_cast<std::size_t>(length), rest.size()));
    error.Run([&] { take(ToBytes(piece)); });
    rest = rest.subspan(piece.size());
  }
  error.Raise();
}

const TClassInfo& TMBItemFunction::StaticClass() {
  static const TClassInfo info(
      "TMBItemFunction", &TMBCustomFunction::StaticClass(),
      {
          PublishedEvent("OnGetCountInfo", &TMBItemFunction::OnGetCountInfo),
          PublishedEvent("OnErorAnswer", &TMBItemFunction::OnErorAnswer),
      });
  return info;
}

}  // namespace OrvixModBus
