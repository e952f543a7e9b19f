#include "tools/simulator/uSimulator.h"

#include <algorithm>
#include <chrono>

#include "platform/modbus/uRtuFrame.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kBroadcast = 0;
constexpr std::uint8_t kGreatestAddress = 247;
constexpr std::size_t kAddressSize = 1;

// | server address | function code | data | CRC lo | CRC hi |
Bytes FrameOf(std::uint8_t address, const Bytes& reply) {
  if (reply.empty()) return {};
  Bytes body{address};
  body.insert(body.end(), reply.begin(), reply.end());
  Bytes frame;
  FormFrame(body, frame);
  return frame;
}

Bytes ExceptionReply(std::uint8_t function, std::uint8_t code) {
  return {static_cast<std::uint8_t>(function | 0x80), code};
}

// Any of those that the standard defines, and of 7 and 9, which older devices have (Modbus
// Application Protocol V1.1b3, 7).
std::uint8_t CodeOf(const TFaultRule& rule, TFaultRandom& random) {
  if (rule.ExceptionCode != 0) return rule.ExceptionCode;
  return static_cast<std::uint8_t>(random.Between(1, 11));
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

TSimulatedReply TSimulator::Answer(std::span<const std::uint8_t> frame) {
  if (!IsWhole(frame)) return {};
  const std::uint8_t address = frame[0];
  if (address != kBroadcast && !fDevices.contains(address)) return {};
  ++fRequestCount;
  const auto request = frame.subspan(kAddressSize, frame.size() - kAddressSize - kCheckSumLength);
  const TFaultRule rule = FindFault(address, request[0]);
  ++fFaultCounts.at(static_cast<std::size_t>(rule.Fault));

  Bytes reply = rule.Fault == EFault::Exception ? ExceptionReply(request[0], CodeOf(rule, fRandom))
                                                : Execute(address, request);
  if (address == kBroadcast || rule.Fault == EFault::Silence) reply.clear();
  Record({address, ToBytes(request), reply, rule.Fault});
  return SpoilReply(rule, frame, FrameOf(address, reply), fRandom);
}

void TSimulator::Record(const TJournalEntry& entry) {
  if (OnRequest) OnRequest(entry);
  if (KeepsJournal) Journal.push_back(entry);
}

// Of a broadcast, whose replies nobody hears, any one is returned.
Bytes TSimulator::Execute(std::uint8_t address, std::span<const std::uint8_t> request) {
  const double seconds = Clock();
  if (address != kBroadcast) return fDevices.at(address).Answer(request, seconds);
  Bytes reply;
  for (auto& [_, device] : fDevices) reply = device.Answer(request, seconds);
  return reply;
}

TFaultRule TSimulator::FindFault(std::uint8_t address, std::uint8_t function) {
  const auto rule = std::ranges::find_if(Faults, [&](const TFaultRule& one) {
    return Fits(one, address, function, fRequestCount) && fRandom.Happens(one.Probability);
  });
  return rule != Faults.end() ? *rule : TFaultRule{.Fault = EFault::None};
}

bool TSimulator::IsWhole(std::span<const std::uint8_t> frame) { return CheckSumFits(frame); }

std::size_t TSimulator::RequestSize(std::span<const std::uint8_t> frame) {
  if (frame.size() < kMinFrameLength) return kMinFrameLength;
  const std::size_t size = TSimulatedDevice::RequestSize(frame.subspan(kAddressSize));
  return size != 0 ? kAddressSize + size + kCheckSumLength : 0;
}

}  // namespace OrvixModBus
