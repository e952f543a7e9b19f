#include "tests/storm/weather.h"

namespace OrvixModBus {
namespace {

using TTime = std::chrono::nanoseconds;
using std::chrono::milliseconds;

constexpr std::uint8_t kAnyException = 0;

// Spares function codes from all rules behind.
void Spare(std::vector<TFaultRule>& rules, std::initializer_list<std::uint8_t> functions) {
  for (const std::uint8_t function : functions) {
    rules.push_back({.Function = function, .Fault = EFault::None});
  }
}

// A number that looks like any other, but the same for the same arguments.
std::int64_t Scramble(std::uint64_t table, std::uint64_t index, double request) {
  std::uint64_t x = table << 56 ^ index << 32 ^ static_cast<std::uint64_t>(request);
  x = (x ^ x >> 31) * 0x7FB5D329728EA185U;
  x = (x ^ x >> 27) * 0x81DADEF4BC2DD44DU;
  return static_cast<std::int64_t>((x ^ x >> 33) & 0xFFFFFFFF);
}

TFormula ScrambleFormula(std::uint64_t table) {
  return [table](std::uint32_t index, double request) { return Scramble(table, index, request); };
}

}  // namespace

std::vector<TFaultRule> StormFaults(double share, milliseconds timeout) {
  const TTime whole = timeout;
  std::vector<TFaultRule> faults = {
      {.Fault = EFault::Silence},
      {.Fault = EFault::Late, .Delay = whole * 6 / 5},
      {.Fault = EFault::Late, .Delay = whole * 3 / 2},
      {.Fault = EFault::Late, .Delay = whole * 9 / 5},
      {.Fault = EFault::WrongCheckSum},
      {.Fault = EFault::FlippedBit},
      {.Fault = EFault::Cut},
      {.Fault = EFault::ExtraBytes},
      {.Fault = EFault::Noise},
      {.Fault = EFault::Noise, .Reply = false},
      {.Fault = EFault::LeadingZeros},
      {.Fault = EFault::Pause},
      {.Fault = EFault::AnotherServer},
      {.Fault = EFault::AnotherServer, .Reply = false},
      {.Fault = EFault::AnotherFunction},
      {.Fault = EFault::AnotherFunction, .Reply = false},
      {.Fault = EFault::Exception, .ExceptionCode = kAnyException},
      {.Fault = EFault::Twice},
      {.Fault = EFault::ByteByByte},
      {.Fault = EFault::Babble, .Duration = whole * 3 / 2},
      {.Fault = EFault::HangUp, .Duration = whole / 2},
  };
  const std::size_t forAll = faults.size();
  Spare(faults, {0x20, 0x24, 0x41, 0x67});
  faults.push_back({.Fault = EFault::WrongByteCount});
  Spare(faults, {0x11});
  faults.push_back({.Fault = EFault::WrongSize});
  Spare(faults, {0x05, 0x06, 0x21, 0x6C});
  faults.push_back({.Fault = EFault::Echo});
  const double probability = share / static_cast<double>(forAll + 3);
  for (TFaultRule& fault : faults) {
    if (fault.Fault != EFault::None) fault.Probability = probability;
  }
  return faults;
}

TStormDevices::TStormDevices(std::uint64_t seed, const std::vector<TFaultRule>& faults)
    : fRandom(seed) {
  fSimulator.SetSeed(seed + 1);
  fSimulator.Faults = faults;
  fSimulator.Clock = [this] { return static_cast<double>(fRequests); };
  for (std::uint8_t server = 1; server <= kServers; ++server) {
    Furnish(fSimulator.Device(server), server);
  }
}

void TStormDevices::Furnish(TSimulatedDevice& device, std::uint8_t server) {
  const std::uint64_t table = std::uint64_t{server} * 16;
  device.Coils.SetFormula(0, 400, ScrambleFormula(table + 1));
  device.Coils.Set(1000, std::vector<std::uint32_t>(40, 0));
  device.Discrete.SetFormula(0, 400, ScrambleFormula(table + 2));
  device.Holding.SetFormula(0, 400, ScrambleFormula(table + 3));
  device.Holding.Set(1000, std::vector<std::uint32_t>(200, 0));
  device.Input.SetFormula(0, 400, ScrambleFormula(table + 4));
  device.Extended.SetFormula(0, 40, ScrambleFormula(table + 5));
  device.Paged.SetFormula(0x10000, 600, ScrambleFormula(table + 6));
  device.Paged.Set(0x20000, std::vector<std::uint32_t>(300, 0));
}

// What has no formula changes when it is about to be read.
void TStormDevices::Change(TSimulatedDevice& device, std::uint8_t function) {
  switch (function) {
    case 0x11:
      device.Identity = TSimulatedIdentity{SomeBytes(4), "Storm", (fRequests & 1) != 0};
      return;
    case 0x14:
      for (std::uint16_t record = 0; record < kFileRecords; ++record) {
        device.Files[1].Records[record] = SomeBytes(std::size_t{2} * kFileRecordLength);
      }
      return;
    case 0x20:
    case 0x24: {
      auto& records = device.Logs[function].Records;
      records.resize(kLogRecords);
      for (Bytes& record : records) record = SomeBytes(kLogRecordSize);
      return;
    }
    case 0x41: {
      TSimulatedOscillogram& one = device.Oscillograms[1];
      one.Info = SomeBytes(kInfoSize);
      one.Records.resize(kSamples);
      for (Bytes& record : one.Records) record = SomeBytes(kSampleSize);
      return;
    }
    default:
      return;
  }
}

Bytes TStormDevices::SomeBytes(std::size_t count) { return fRandom.SomeBytes(count); }

TSimulatedReply TStormDevices::Answer(std::span<const std::uint8_t> request) {
  ++fRequests;
  const bool known = TSimulator::IsWhole(request) && request[0] >= 1 && request[0] <= kServers;
  if (known) Change(fSimulator.Device(request[0]), request[1]);
  return fSimulator.Answer(request);
}

}  // namespace OrvixModBus
