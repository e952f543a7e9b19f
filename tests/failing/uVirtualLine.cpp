#include "uVirtualLine.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

std::vector<std::uint32_t> Ramp(std::size_t count) {
  std::vector<std::uint32_t> values(count);
  std::iota(values.begin(), values.end(), 0U);
  return values;
}

}  // namespace

TVirtualLine::TVirtualLine() {
  Device.Holding.Set(0, Ramp(200));
  Device.Coils.Set(0, Ramp(64));
  Device.Paged.Set(0, Ramp(0x400));
  Device.Files[4].Records[1] = {1, 2, 3, 4};
  Device.Files[4].Records[2] = {5, 6, 7, 8};
  Device.Logs[0x20].Records = {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}};
  Device.Identity = TSimulatedIdentity{{0x42}, "device", true};
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
