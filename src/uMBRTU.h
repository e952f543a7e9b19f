#pragma once
// uMBRTU: the serial side of a connection - its port settings as one record, and the client that
// knows the paged memory functions of the DX517 family.

#include <cstdint>
#include <string>

#include "platform/modbus/uModbusClient.h"
#include "platform/modbus/uModbusConnection.h"
#include "uMBReg.h"

namespace OrvixModBus {

/// The serial settings of a connection.
struct TComSet {
  std::string Name;  ///< serial port
  TBaudRate Speed = 0;
  TParityScheme Parity = TParityScheme::psNone;
  TDataBits DataBits = TDataBits::db8;
  TStopBits StopBits = TStopBits::sb1;
  std::uint8_t MaxRetries = 0;
  std::uint32_t ReceiveTimeout = 0;  ///< milliseconds

  bool operator==(const TComSet&) const = default;
};

/// A serial line whose settings can be read and written as one record.
class TMBRTUConnection : public TModbusConnection {
 public:
  using TModbusConnection::TModbusConnection;

  TComSet GetComSet() const;
  /// Applied field by field, in order; see TModbusConnection for what each may raise.
  void SetComSet(const TComSet& value);

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

/// The functions of paged memory: $43 and $44 read bytes, $65 and $66 write them.
constexpr bool IsPagedRead(std::uint8_t func) { return func == 0x43 || func == 0x44; }
constexpr bool IsPagedWrite(std::uint8_t func) { return func == 0x65 || func == 0x66; }

/// Sender, Info, Page, StartReg, ByteCount, ByteValues (always ByteCount bytes).
using TDX517RegistersRead = TEvent<void(TModbusClient&, const TTransactionInfo&, std::uint8_t,
                                        std::uint16_t, std::uint8_t, const Bytes&)>;
/// Sender, Info, Page, StartReg, WriteByteCount.
using TDX517RegistersWrite = TEvent<void(TModbusClient&, const TTransactionInfo&, std::uint8_t,
                                         std::uint16_t, std::uint8_t)>;

/// The transport's client, with events for paged reads ($43, $44) and writes ($65, $66). Where
/// such an event is assigned, it alone is raised for the transaction.
class TRTUClient : public TModbusClient {
 public:
  explicit TRTUClient(TComponent* owner = nullptr);
  ~TRTUClient() override;

  TDX517RegistersRead OnDX517Read;
  TDX517RegistersWrite OnDX517Write;
  /// The transaction has been completed or discarded: its user data is free again.
  TEvent<void(TModbusTransaction&)> OnTransactionEnded;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  void DoCustomTransactionComplete(TModbusTransaction& transaction, std::uint8_t command) override;
  void TransactionEnded(TModbusTransaction& transaction) override;

 private:
  void CompletePagedRead(TModbusTransaction& transaction);
  void CompletePagedWrite(TModbusTransaction& transaction);
};

}  // namespace OrvixModBus
