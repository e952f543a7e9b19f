#pragma once
// uModbusClient: queues requests to one server and raises what becomes of them.

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/modbus/uModbusTransaction.h"
#include "platform/model/uComponent.h"
#include "platform/model/uEvent.h"

namespace OrvixModBus {

class TModbusConnection;

/// A user of a connection. Requests are queued and the call returns; every one of them is
/// completed once, later, from the loop, or discarded. Destroying the client discards what it
/// has queued. A queued request stays with the connection it was queued on.
/// Every operation may be called from inside a completion. Single thread: EThreadError.
class TModbusClient : public TComponent {
 public:
  using TCustomTransactionCompleteEvent =
      TEvent<void(TModbusClient&, TModbusTransaction&, std::uint8_t command)>;
  using TServerIDReportEvent =
      TEvent<void(TModbusClient&, const TTransactionInfo&, int count, const Bytes& data)>;
  using TFileRecordReadEvent =
      TEvent<void(TModbusClient&, const TTransactionInfo&, TModbusFileRecordList&)>;

  /// A paged write of 255 bytes after page, address and count.
  static constexpr std::size_t kMaxData = 259;

  explicit TModbusClient(TComponent* owner = nullptr);
  ~TModbusClient() override;

  /// Becomes nil when the connection is destroyed.
  TModbusConnection* Connection() const;
  void SetConnection(TModbusConnection* value);
  std::uint8_t ServerAddress() const { return fServerAddress; }
  /// 0 makes every request a broadcast: sent once, completed as srNone after the turnaround
  /// delay. Requests that are queued already keep their address.
  void SetServerAddress(std::uint8_t value);

  /// Queues a request of function code command followed by data, at most kMaxData bytes; the
  /// check sum is added to it. broadcast sends it to all servers, whatever ServerAddress says.
  /// Each of the three requests: EModLinkError without a connection or when the request does not
  /// fit, and nothing is queued. userData comes back with the completion, never looked into.
  void InitCustomTransaction(std::uint8_t command, std::span<const std::uint8_t> data,
                             bool broadcast, TObject* userData);
  /// Queues a request for the server's identity (function $11), completed by OnServerIDReport.
  void ReportServerID(TObject* userData);
  /// Queues a read of file records (function $14), completed once by OnFileRecordRead, in as
  /// many frames as it takes. The list is copied; an empty one is sent as it is: servers refuse it.
  void ReadFileRecord(const TModbusFileRecordList& list, TObject* userData);

  TCustomTransactionCompleteEvent OnCustomTransactionComplete;
  /// count is the number of bytes of data: all bytes after the reply's byte count; 0 unless the
  /// reply is normal.
  TServerIDReportEvent OnServerIDReport;
  /// The list as it was queued, each record with its data as far as it came.
  TFileRecordReadEvent OnFileRecordRead;

  /// Raises the completion of transaction, then calls TransactionEnded. For queues.
  void Complete(TModbusTransaction& transaction);
  /// Calls TransactionEnded for a transaction that will not be completed. For queues.
  void Drop(TModbusTransaction& transaction) { TransactionEnded(transaction); }

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  /// A custom transaction is complete. This base raises OnCustomTransactionComplete.
  virtual void DoCustomTransactionComplete(TModbusTransaction& transaction, std::uint8_t command);
  /// Called once for every transaction after it has been completed, even if a handler threw, or
  /// discarded: nothing refers to its user data any more. Not called for those that this
  /// client's own destructor discards. The base does nothing.
  virtual void TransactionEnded(TModbusTransaction& transaction);

 private:
  void RaiseCompletion(TModbusTransaction& transaction);
  template <class TPrepare>
  void Enqueue(TPrepare&& prepare);

  TRef<TModbusConnection> fConnection;
  std::uint8_t fServerAddress = 1;
};

}  // namespace OrvixModBus
