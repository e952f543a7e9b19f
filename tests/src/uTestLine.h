#pragma once
// uTestLine: a client on a serial line without a port - requests are seen, replies are told.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/modbus/uRecordedQueue.h"
#include "platform/rtl/uNumText.h"
#include "uMBClient.h"

namespace OrvixModBus {

/// Bytes as "03 00 0A".
inline std::string Hex(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) text += (text.empty() ? "" : " ") + IntToHex(byte, 2);
  return text;
}

/// A serial line whose queue records.
class TTestLine {
 public:
  TTestLine() {
    auto queue = std::make_unique<TRecordedQueue>();
    fQueue = queue.get();
    fQueue->OnQueued = [this](TModbusTransaction& transaction) {
      requests.push_back(Hex(transaction.Request().Data().subspan(1)));
    };
    fQueue->OnDiscard = [this](const TModbusClient*) { ++discards; };
    line->SetQueue(std::move(queue));
    line->SetActive(true);
  }

  /// Completes the index-th request with a good reply: function code and data.
  void Reply(int index, const Bytes& reply) {
    Bytes frame{fQueue->Transaction(index).ServerAddress()};
    frame.insert(frame.end(), reply.begin(), reply.end());
    fQueue->Complete(index, TServerReply::srNormalReply, frame);
  }
  void Fail(int index, TServerReply kind) { fQueue->Complete(index, kind); }
  /// The same for the request that was queued last.
  void ReplyLast(const Bytes& reply) { Reply(fQueue->Count() - 1, reply); }
  void FailLast(TServerReply kind) { Fail(fQueue->Count() - 1, kind); }
  TRecordedQueue& Queue() { return *fQueue; }
  /// The requests since the last call, function code and data.
  std::vector<std::string> TakeRequests() { return std::exchange(requests, {}); }

  std::unique_ptr<TMBRTUConnection> line = std::make_unique<TMBRTUConnection>();
  std::vector<std::string> requests;
  int discards = 0;

 private:
  TRecordedQueue* fQueue;
};

/// A line, a connection to it and a client that uses it. Any of them may go before the others.
class TTestClient : public TTestLine {
 public:
  TTestClient() {
    connection->SetRTU(line.get());
    client->SetConnection(connection.get());
  }
  void Emulate() { connection->SetConnectionType(TConnectionType::mbEmul); }

  std::unique_ptr<TMBConnection> connection = std::make_unique<TMBConnection>();
  std::unique_ptr<TMBClient> client = std::make_unique<TMBClient>();
};

inline const char* KindName(TServerReply kind) {
  return TEnumNames<TServerReply>::Values[static_cast<std::size_t>(kind)].data();
}

using TTestLog = std::vector<std::string>;

/// A handler of the TMBEvent shape that notes "name kind func start values", then acts.
inline TMBEvent Noting(TTestLog& log, const std::string& name) {
  return TMBEvent([&log, name](TMBClient&, TServerReply kind, std::uint8_t func,
                               std::uint32_t start, const Bytes& values, TObject*) {
    log.push_back(name + " " + KindName(kind) + " $" + IntToHex(func, 2) + " " +
                  std::to_string(start) + (values.empty() ? "" : " " + Hex(values)));
  });
}

/// Notes "name kind func start" of OnNoneAnswer or OnExeptionAnswer.
inline TClientExceptEvent NotingFault(TTestLog& log, const std::string& name) {
  return TClientExceptEvent(
      [&log, name](TMBClient&, TServerReply kind, std::uint8_t func, std::uint32_t start) {
        log.push_back(name + " " + KindName(kind) + " $" + IntToHex(func, 2) + " " +
                      std::to_string(start));
      });
}

}  // namespace OrvixModBus
