#include "uVirtualLine.h"

#include <gtest/gtest.h>

#include "tests/support/FurnishedDevice.h"

namespace OrvixModBus {

using namespace std::chrono_literals;

TVirtualLine::TVirtualLine() {
  Furnish(Device);
  Wire.OnWrite = [this](const Bytes& request) {
    const auto data = std::span(request).subspan(1, request.size() - 3);
    Wire.Arrive(10ms, Frame(Bytes{request[0]} + Device.Answer(data, 0)));
  };
  Line.SetSerialPort(std::make_unique<TOutsidePort>(Wire));
  Line.SetSilentInterval(0);
  Line.SetMaxRetries(0);
  Line.SetReceiveTimeout(100);
  Connection.SetRTU(&Line);
  Client.SetConnection(&Connection);
  Line.OnPortLost = [this](TModbusConnection&, const std::string&) { ++Faults; };
  Client.OnNoneAnswer = [this](TMBClient&, TServerReply, std::uint8_t, std::uint32_t) { ++Faults; };
  Client.OnExeptionAnswer = Client.OnNoneAnswer;
  Letter.Regs().SetMBTypeInfo(&Types);
  Letter.SetClient(&Client);
}

void TVirtualLine::RunDry() {
  const auto isDry = [this] {
    const TOwnMemory own;
    return Line.CountPendingTransactions(nullptr) + Client.CountPendingTransactions() == 0;
  };
  Loop.RunUntil(isDry, 60s);
}

void TVirtualLine::Settle() {
  for (int i = 0; i < 100; ++i) {
    try {
      RunDry();
      Loop.RunPending();
      return;
    } catch (const std::exception&) {  // of a handler that had to wait for the others
    }
  }
  ADD_FAILURE() << "the loop throws for ever";
}

}  // namespace OrvixModBus
