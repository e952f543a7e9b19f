#pragma once
// uModbusTransaction: one queued request and what became of it.

#include <cstddef>
#include <cstdint>
#include <list>
#include <span>

#include "platform/modbus/uFileRecordList.h"
#include "platform/modbus/uModbusBuffer.h"
#include "platform/model/uObject.h"

namespace OrvixModBus {

class TModbusClient;

/// What an event tells of a transaction besides its data.
struct TTransactionInfo {
  TRef<TObject> UserData;    ///< as handed in with the request; nil when destroyed since
  std::uint8_t Retries = 0;  ///< how many times the request was sent again
  TServerReply Reply = TServerReply::srNone;
};

/// A request, its reply and its user data. Belongs to the queue, which uses it again for another
/// request later: handlers don't keep it.
class TModbusTransaction : public TObject {
 public:
  TTransactionKind Kind() const { return fKind; }
  TModbusClient* Client() const;  ///< nil when the client has been destroyed
  /// The function code of the request.
  std::uint8_t Command() const { return fCommand; }
  std::uint8_t ServerAddress() const { return fServer; }  ///< 0 is a broadcast

  TModbusBuffer& Request() { return fRequest; }
  const TModbusBuffer& Request() const { return fRequest; }
  /// What the server sent; empty when no whole frame of it came. The position is at the first
  /// data byte: 6 after a paged read ($43, $44), else 2, or the end of a shorter reply.
  TModbusBuffer& Reply() { return fReply; }
  const TModbusBuffer& Reply() const { return fReply; }

  TServerReply ServerReply() const { return fServerReply; }
  /// A completion step may correct what the line could not know.
  void SetServerReply(TServerReply value) { fServerReply = value; }
  /// The code of an exception reply (Modbus Application Protocol V1.1b3, 7); 0 without one.
  std::uint8_t ExceptionCode() const;
  std::uint8_t Retries() const { return fRetries; }
  TObject* UserData() const { return fUserData.Get(); }
  void SetUserData(TObject* value) { fUserData = TRef<TObject>(value); }
  TTransactionInfo Info() const { return {fUserData, fRetries, fServerReply}; }

  /// The records of a tkFileRecord, with the data that has come so far.
  TModbusFileRecordList& FileRecords() { return fFileRecords; }
  const TModbusFileRecordList& FileRecords() const { return fFileRecords; }

  /// Makes this a new request of client. data: the bytes after the function code.
  void Prepare(TModbusClient& client, TTransactionKind kind, std::uint8_t server,
               std::uint8_t command, std::span<const std::uint8_t> data, TObject* userData);
  /// What came in the end: reply is a frame without its check sum, or nothing.
  void SetReply(TServerReply kind, std::span<const std::uint8_t> reply);
  void CountRetry();  ///< stays at 255 when there are more
  /// Tells this transaction from all others of its queue's life, from 1.
  std::uint64_t Number() const { return fNumber; }
  void SetNumber(std::uint64_t value) { fNumber = value; }

 private:
  TModbusBuffer fRequest, fReply;
  TModbusFileRecordList fFileRecords;
  TRef<TModbusClient> fClient;
  TRef<TObject> fUserData;
  std::uint64_t fNumber = 0;
  TTransactionKind fKind = TTransactionKind::tkCustom;
  TServerReply fServerReply = TServerReply::srNone;
  std::uint8_t fServer = 0, fCommand = 0, fRetries = 0;
};

/// Transactions move from list to list without being copied or allocated.
using TTransactionList = std::list<TModbusTransaction>;

}  // namespace OrvixModBus
