#pragma once
// uTransactionQueue: the seam between clients and what carries their transactions.

#include <cstdint>
#include <utility>

#include "platform/modbus/uModbusTransaction.h"
#include "platform/model/uObject.h"

namespace OrvixModBus {

/// Takes transactions first in, first out, and completes them later, never inside the call that
/// queued one. What carries them derives from this: the serial line, or a record for tests.
/// Transactions are used again, so that a program that polls for years allocates nothing.
/// Handlers may do anything, destroying the queue included. Single thread.
class TTransactionQueue : public TObject {
 public:
  TTransactionQueue();

  virtual bool Active() const = 0;
  /// True begins to carry, EModLinkError when that can't be; false ends it, and what is queued
  /// is completed as srNone.
  virtual void SetActive(bool value) = 0;
  /// The settings that the queue was made with have changed.
  virtual void SettingsChanged() {}
  virtual TLowLatency LowLatency() const { return TLowLatency::llNotOffered; }
  virtual bool IsSetAside(std::uint8_t /*server*/) const { return false; }

  /// Queues a transaction that prepare has filled; when it throws, nothing has been queued.
  template <class TPrepare>
  void Enqueue(TPrepare&& prepare) {
    if (fFree.empty()) fFree.emplace_back();
    std::forward<TPrepare>(prepare)(fFree.front());
    Commit();
  }

  /// The transactions of client, nil for all, that have not been completed yet.
  int CountPending(const TModbusClient* client) const;
  /// Drops the transactions of client, nil for all: they are not completed any more. A request
  /// that is on the line already runs its course there, and its reply is dropped.
  virtual void Discard(const TModbusClient* client);

 protected:
  /// transaction has been queued, the last of Pending().
  virtual void Queued(TModbusTransaction& transaction) = 0;
  /// transaction will not be completed: it has left Pending(), or had its reply already.
  virtual void Dropped(const TModbusTransaction& transaction) = 0;

  TTransactionList& Pending() { return fPending; }
  bool HasEnded() const { return !fEnded.empty(); }
  /// transaction, one of Pending(), has its reply: RaiseEnded will complete it in its turn.
  void End(const TModbusTransaction& transaction);
  /// Completes the oldest ended transaction; passes on what its handlers throw.
  void RaiseEnded();
  /// Every descendant's destructor ends with this.
  void DiscardAll() noexcept;

 private:
  void Commit();
  void Recycle(TTransactionList& used);

  TTransactionList fPending;  // waiting; the first may be on the line
  TTransactionList fEnded;    // have their reply, to be completed
  TTransactionList fFree;     // to be used again
  std::uint64_t fLastNumber = 0;
};

}  // namespace OrvixModBus
