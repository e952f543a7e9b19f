#include "platform/modbus/uModbusTransaction.h"

#include <algorithm>
#include <limits>

#include "platform/modbus/uModbusClient.h"

namespace OrvixModBus {
namespace {

// A paged read's reply repeats page, address and count before its data.
int FirstDataPosition(std::uint8_t command) { return command == 0x43 || command == 0x44 ? 6 : 2; }

}  // namespace

TModbusClient* TModbusTransaction::Client() const { return fClient.Get(); }

std::uint8_t TModbusTransaction::ExceptionCode() const {
  const auto reply = fReply.Data();
  return fServerReply == TServerReply::srExceptionReply && reply.size() > 2 ? reply[2]
                                                                            : std::uint8_t{0};
}

void TModbusTransaction::Prepare(TModbusClient& client, TTransactionKind kind, std::uint8_t server,
                                 std::uint8_t command, std::span<const std::uint8_t> data,
                                 TObject* userData) {
  fClient = TRef<TModbusClient>(&client);
  fUserData = TRef<TObject>(userData);
  fKind = kind;
  fServer = server;
  fCommand = command;
  fRetries = 0;
  fServerReply = TServerReply::srNone;
  fFileRecords.Clear();
  fReply.Clear();
  fRequest.Clear();
  fRequest.Append(server);
  fRequest.Append(command);
  fRequest.Append(data);
}

void TModbusTransaction::SetReply(TServerReply kind, std::span<const std::uint8_t> reply) {
  fServerReply = kind;
  fReply.Assign(reply);
  fReply.SetPosition(std::min(FirstDataPosition(fCommand), fReply.GetSize()));
}

void TModbusTransaction::CountRetry() {
  if (fRetries < std::numeric_limits<std::uint8_t>::max()) ++fRetries;
}

}  // namespace OrvixModBus
