#pragma once
// uRecordedQueue: a queue without a port that records requests and is told their replies.

#include <cstdint>
#include <span>
#include <vector>

#include "platform/modbus/uTransactionQueue.h"
#include "platform/model/uEvent.h"

namespace OrvixModBus {

/// Serves to test an application without a port: hand one to TModbusConnection::SetQueue, look
/// at what is queued, and tell the replies.
class TRecordedQueue : public TTransactionQueue {
 public:
  ~TRecordedQueue() override;

  /// A plain flag here, and false at first; nothing is completed by it.
  bool Active() const override { return fActive; }
  void SetActive(bool value) override { fActive = value; }
  void Discard(const TModbusClient* client) override;

  /// How many transactions have been queued in the life of this queue.
  int Count() const { return static_cast<int>(fQueued.size()); }
  /// The index-th transaction of the queue's life, from 0, while it is pending; EModLinkError
  /// when it has been completed or discarded, or never was.
  TModbusTransaction& Transaction(int index);

  /// Completes the index-th transaction, at the call: its events are raised in here.
  /// reply: of a tkCustom the reply from the server address on, without check sum; of a
  /// tkServerID the data that the server reports; a tkFileRecord ignores it and hands its list
  /// back as it is (fill its records before by way of Transaction).
  void Complete(int index, TServerReply kind, std::span<const std::uint8_t> reply = {});
  /// As above, with the reply's read position.
  void Complete(int index, TServerReply kind, std::span<const std::uint8_t> reply, int position);

  TEvent<void(TModbusTransaction&)> OnQueued;
  TEvent<void(const TModbusClient*)> OnDiscard;  ///< at every call of Discard; nil is all

 protected:
  void Queued(TModbusTransaction& transaction) override;
  void Dropped(const TModbusTransaction& transaction) override;

 private:
  void Raise(const TModbusTransaction& transaction);
  void Forget(const TModbusTransaction& transaction);

  std::vector<TModbusTransaction*> fQueued;  // by index, nil once completed or discarded
  bool fActive = false;
};

}  // namespace OrvixModBus
