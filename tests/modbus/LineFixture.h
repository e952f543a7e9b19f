#pragma once
// LineFixture: a connection and a client on a scripted port in virtual time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ScriptedPort.h"
#include "platform/modbus/uModbusClient.h"
#include "platform/modbus/uModbusConnection.h"

namespace OrvixModBus {

using namespace std::chrono_literals;

/// What became of a transaction.
struct TOutcome {
  TServerReply Kind;
  Bytes Reply;
  int Position;
  std::uint8_t Command, Exception, Retries;
  TObject* UserData;
  TVirtualLoop::TTime Time;
};

/// 1200 baud with 8 data bits and no parity: a character takes 8.333 ms, the silence 29.17 ms,
/// so that no duration is mistaken for another one. Links without characters: NoCharacters().
class TLineFixture : public testing::Test {
 public:
  TLineFixture() {
    Connection->SetSerialPort(std::make_unique<TScriptedPort>(Wire));
    Connection->SetPortProperty("line");
    Connection->SetBaudRate(1200);
    Connection->SetParity(TParityScheme::psNone);
    Connection->SetMaxRetries(0);
    Client->SetConnection(Connection.get());
    Connection->SetActive(true);
    Listen(*Client);
  }

  void Listen(TModbusClient& client) {
    client.OnCustomTransactionComplete = [this](TModbusClient&, TModbusTransaction& transaction,
                                                std::uint8_t command) {
      const auto reply = transaction.Reply().Data();
      Outcomes.push_back({transaction.ServerReply(), Bytes(reply.begin(), reply.end()),
                          transaction.Reply().GetPosition(), command, transaction.ExceptionCode(),
                          transaction.Retries(), transaction.UserData(), Loop.Now()});
    };
  }

  void NoCharacters() { Connection->SetSilentInterval(0); }

  /// The server answers each request with the next of these after a delay.
  void Answer(std::vector<Bytes> replies, TLoop::TClock::duration delay = 0ms) {
    Wire.OnWrite = [this, replies, delay, i = std::size_t{0}](const Bytes&) mutable {
      if (i < replies.size()) Wire.Arrive(delay, replies[i]);
      ++i;
    };
  }

  void Send(std::string_view pdu, TModbusClient* client = nullptr) {
    const Bytes bytes = Hex(pdu);
    (client != nullptr ? *client : *Client)
        .InitCustomTransaction(bytes[0], std::span(bytes).subspan(1), false, nullptr);
  }

  /// Runs until count transactions have been completed, at most for a virtual hour.
  void Await(std::size_t count) {
    ASSERT_TRUE(Loop.RunUntil([&] { return Outcomes.size() >= count; }, 1h));
  }
  TOutcome Exchange(std::string_view pdu) {
    const std::size_t before = Outcomes.size();
    Send(pdu);
    Await(before + 1);
    return Outcomes.size() > before ? Outcomes[before] : TOutcome{};
  }
  void RunFor(TLoop::TClock::duration time) {
    Loop.RunUntil([] { return false; }, time);
  }
  static double Milliseconds(TLoop::TClock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
  }
  /// From the first write to the end.
  double Elapsed(const TOutcome& outcome) const {
    return Milliseconds(outcome.Time - Wire.WriteTimes.at(0));
  }

  TVirtualLoop Loop;
  TWire Wire{Loop};
  std::unique_ptr<TModbusConnection> Connection = std::make_unique<TModbusConnection>();
  std::unique_ptr<TModbusClient> Client = std::make_unique<TModbusClient>();
  std::vector<TOutcome> Outcomes;
};

}  // namespace OrvixModBus
