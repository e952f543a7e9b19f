#include "platform/modbus/uRecordedQueue.h"

#include <algorithm>
#include <limits>
#include <string>

#include "platform/rtl/uFirstError.h"

namespace OrvixModBus {
namespace {

// The frame in which a server reports its identity.
Bytes IdentityFrame(std::uint8_t server, std::span<const std::uint8_t> data) {
  if (data.size() > std::numeric_limits<std::uint8_t>::max()) {
    throw EModLinkError("An identity of " + std::to_string(data.size()) + " bytes fits no reply");
  }
  Bytes frame{server, 0x11, static_cast<std::uint8_t>(data.size())};
  frame.insert(frame.end(), data.begin(), data.end());
  return frame;
}

}  // namespace

TRecordedQueue::~TRecordedQueue() {
  ForgetReferences();
  DiscardAll();
}

void TRecordedQueue::Discard(const TModbusClient* client) {
  const TRef<TRecordedQueue> self(this);
  TFirstError error;
  error.Run([&] { OnDiscard(client); });
  if (self) error.Run([&] { TTransactionQueue::Discard(client); });
  error.Raise();
}

TModbusTransaction& TRecordedQueue::Transaction(int index) {
  const bool known = index >= 0 && index < Count();
  TModbusTransaction* const found = known ? fQueued[static_cast<std::size_t>(index)] : nullptr;
  if (found == nullptr) {
    throw EModLinkError("Transaction " + std::to_string(index) + " is not pending");
  }
  return *found;
}

void TRecordedQueue::Complete(int index, TServerReply kind, std::span<const std::uint8_t> reply) {
  TModbusTransaction& transaction = Transaction(index);
  if (transaction.Kind() == TTransactionKind::tkServerID && kind == TServerReply::srNormalReply) {
    transaction.SetReply(kind, IdentityFrame(transaction.ServerAddress(), reply));
  } else {
    transaction.SetReply(kind, reply);
  }
  Raise(transaction);
}

void TRecordedQueue::Complete(int index, TServerReply kind, std::span<const std::uint8_t> reply,
                              int position) {
  TModbusTransaction& transaction = Transaction(index);
  transaction.SetReply(kind, reply);
  transaction.Reply().SetPosition(position);
  Raise(transaction);
}

void TRecordedQueue::Raise(const TModbusTransaction& transaction) {
  Forget(transaction);
  End(transaction);
  RaiseEnded();
}

void TRecordedQueue::Queued(TModbusTransaction& transaction) {
  fQueued.push_back(&transaction);
  OnQueued(transaction);
}

void TRecordedQueue::Dropped(const TModbusTransaction& transaction) { Forget(transaction); }

void TRecordedQueue::Forget(const TModbusTransaction& transaction) {
  // The youngest go first as a rule, so the search starts at the end.
  const auto found = std::find(fQueued.rbegin(), fQueued.rend(), &transaction);
  if (found != fQueued.rend()) *found = nullptr;
}

}  // namespace OrvixModBus
