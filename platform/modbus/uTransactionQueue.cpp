#include "platform/modbus/uTransactionQueue.h"

#include <algorithm>

#include "platform/modbus/uModbusClient.h"
#include "platform/rtl/uFirstError.h"

namespace OrvixModBus {
namespace {

// nil stands for all clients that are still there.
bool IsOf(const TModbusTransaction& transaction, const TModbusClient* client) {
  const TModbusClient* const owner = transaction.Client();
  return owner != nullptr && (client == nullptr || owner == client);
}

int CountOf(const TTransactionList& list, const TModbusClient* client) {
  return static_cast<int>(std::ranges::count_if(
      list, [client](const TModbusTransaction& t) { return IsOf(t, client); }));
}

// Moves what belongs to client, or to nobody any more, to the end of target, in order.
void MoveOf(const TModbusClient* client, TTransactionList& source, TTransactionList& target) {
  for (auto at = source.begin(); at != source.end();) {
    const auto next = std::next(at);
    if (IsOf(*at, client) || at->Client() == nullptr) target.splice(target.end(), source, at);
    at = next;
  }
}

}  // namespace

// From now on a reference to this needs no memory: those are taken where a failure can't be told.
TTransactionQueue::TTransactionQueue() { const TRef<TTransactionQueue> first(this); }

int TTransactionQueue::CountPending(const TModbusClient* client) const {
  return CountOf(fEnded, client) + CountOf(fPending, client);
}

void TTransactionQueue::Discard(const TModbusClient* client) {
  TTransactionList dropped;
  MoveOf(client, fEnded, dropped);
  MoveOf(client, fPending, dropped);
  for (const TModbusTransaction& transaction : dropped) Dropped(transaction);

  const TRef<TTransactionQueue> self(this);
  TFirstError error;
  for (TModbusTransaction& transaction : dropped) {
    // Who destroys itself in here ends the transactions of its own.
    TModbusClient* const owner = transaction.Client();
    if (owner != nullptr) error.Run([&] { owner->Drop(transaction); });
  }
  if (self) Recycle(dropped);
  error.Raise();
}

void TTransactionQueue::End(const TModbusTransaction& transaction) {
  const auto at = std::ranges::find_if(
      fPending, [&](const TModbusTransaction& t) { return &t == &transaction; });
  if (at != fPending.end()) fEnded.splice(fEnded.end(), fPending, at);
}

void TTransactionQueue::RaiseEnded() {
  // Held here, so that it outlives a handler that destroys the queue.
  TTransactionList one;
  one.splice(one.end(), fEnded, fEnded.begin());
  const TRef<TTransactionQueue> self(this);
  TFirstError error;
  TModbusClient* const client = one.front().Client();
  if (client != nullptr) error.Run([&] { client->Complete(one.front()); });
  if (self) Recycle(one);
  error.Raise();
}

void TTransactionQueue::DiscardAll() noexcept {
  try {
    TTransactionQueue::Discard(nullptr);
  } catch (...) {
    // A destructor has nobody to tell.
  }
}

// Whoever is thrown at has queued nothing.
void TTransactionQueue::Commit() {
  const TRef<TTransactionQueue> self(this);
  fPending.splice(fPending.end(), fFree, fFree.begin());
  TModbusTransaction& transaction = fPending.back();
  transaction.SetNumber(++fLastNumber);
  try {
    Queued(transaction);
  } catch (...) {
    if (!self) throw;
    const auto isThis = [&](const TModbusTransaction& t) { return &t == &transaction; };
    TTransactionList withdrawn;
    const auto at = std::ranges::find_if(fPending, isThis);
    if (at != fPending.end()) withdrawn.splice(withdrawn.end(), fPending, at);
    if (!withdrawn.empty()) Dropped(transaction);
    Recycle(withdrawn);
    throw;
  }
}

void TTransactionQueue::Recycle(TTransactionList& used) { fFree.splice(fFree.begin(), used); }

}  // namespace OrvixModBus
