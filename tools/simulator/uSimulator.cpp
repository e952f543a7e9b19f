#include "tools/simulator/uSimulator.h"

#include <algorithm>
#include <chrono>

#include "platform/modbus/uCrc16.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kBroadcast = 0;
constexpr std::uint8_t kGreatestAddress = 247;
constexpr std::size_t kAddressSize = 1;
constexpr std::size_t kCheckSumSize = 2;
constexpr std::size_t kLeastFrame = 4;

// | server address | function code | data | CRC lo | CRC hi |
Bytes FrameOf(std::uint8_t address, const Bytes& reply) {
  Bytes frame{address};
  frame.insert(frame.end(), reply.begin(), reply.end());
  const std::uint16_t checkSum = Crc16(frame);
  frame.push_back(static_cast<std::uint8_t>(checkSum & 0xFF));
  frame.push_back(static_cast<std::uint8_t>(checkSum >> 8));
  return frame;
}

Bytes ExceptionReply(std::uint8_t function, std::uint8_t code) {
  return {static_cast<std::uint8_t>(function | 0x80), code};
}

bool Fits(const TFaultRule& rule, std::uint8_t address, std::uint8_t function,
          std::uint64_t number) {
  return rule.Address.value_or(address) == address &&
         rule.Function.value_or(function) == function && rule.First <= number &&
         number <= rule.Last;
}

}  // namespace

TSimulator::TSimulator()
    : Clock([start = std::chrono::steady_clock::now()] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      }) {}

TSimulatedDevice& TSimulator::Device(std::uint8_t address) {
  if (address == kBroadcast || address > kGreatestAddress) {
    throw EArgumentOutOfRangeException("A server address must be 1 to 247");
  }
  return fDevices[address];
}

Bytes TSimulator::Answer(std::span<const std::uint8_t> frame) {
  if (!IsWhole(frame)) return {};
  const std::uint8_t address = frame[0];
  if (address != kBroadcast && !fDevices.contains(address)) return {};
  ++fRequestCount;
  const auto request = frame.subspan(kAddressSize, frame.size() - kAddressSize - kCheckSumSize);
  const TFaultRule* rule = FindFault(address, request[0]);
  const EFault fault = rule != nullptr ? rule->Fault : EFault::None;

  Bytes reply = fault == EFault::Exception ? ExceptionReply(request[0], rule->ExceptionCode)
                                           : Execute(address, request);
  if (address == kBroadcast || fault == EFault::Silence) reply.clear();
  if (KeepsJournal) Journal.push_back({address, ToBytes(request), reply});
  if (reply.empty()) return {};
  Bytes replyFrame = FrameOf(address, reply);
  if (fault == EFault::WrongCheckSum) replyFrame.back() ^= 0xFF;
  return replyFrame;
}

// Of a broadcast, whose replies nobody hears, any one is returned.
Bytes TSimulator::Execute(std::uint8_t address, std::span<const std::uint8_t> request) {
  const double seconds = Clock();
  if (address != kBroadcast) return fDevices.at(address).Answer(request, seconds);
  Bytes reply;
  for (auto& [_, device] : fDevices) reply = device.Answer(request, seconds);
  return reply;
}

const TFaultRule* TSimulator::FindFault(std::uint8_t address, std::uint8_t function) const {
  const auto rule = std::ranges::find_if(
      Faults, [&](const TFaultRule& one) { return Fits(one, address, function, fRequestCount); });
  return rule != Faults.end() ? &*rule : nullptr;
}

bool TSimulator::IsWhole(std::span<const std::uint8_t> frame) {
  if (frame.size() < kLeastFrame) return false;
  const auto checkSum = frame.last(kCheckSumSize);
  return Crc16(frame.first(frame.size() - kCheckSumSize)) == checkSum[0] + checkSum[1] * 256;
}

std::size_t TSimulator::RequestSize(std::span<const std::uint8_t> frame) {
  if (frame.size() < kLeastFrame) return kLeastFrame;
  const std::size_t size = TSimulatedDevice::RequestSize(frame.subspan(kAddressSize));
  return size != 0 ? kAddressSize + size + kCheckSumSize : 0;
}

}  // namespace OrvixModBus
