#include "tools/orvixmb/uPcap.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace OrvixModBus {
namespace {

constexpr std::uint32_t kMagic = 0xA1B23C4D;  // in the byte order of the file; nanoseconds
constexpr std::uint32_t kLinkTypeRaw = 101;   // IP packets without a link layer
constexpr std::uint32_t kMostBytes = 65535;   // of a packet
constexpr std::size_t kIpHead = 20, kUdpHead = 8;
constexpr std::uint8_t kUdp = 17;
constexpr std::uint16_t kMasterPort = 50000;
constexpr std::uint32_t kMaster = 0x7F000001;   // 127.0.0.1
constexpr std::uint32_t kServers = 0x7F000100;  // 127.0.1.x

// Numbers of the file itself, the low byte first.
void AddLow(std::string& text, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xFFU);
}

// Numbers of a packet, the high byte first.
void AddHigh(Bytes& packet, std::uint32_t value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) {
    packet.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
}

// RFC 791, 3.1: the complement of the sum of all words.
std::uint32_t CheckSum(TByteView head) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i + 1 < head.size(); i += 2) sum += head[i] * 256U + head[i + 1];
  while (sum > 0xFFFF) sum = (sum & 0xFFFFU) + (sum >> 16U);
  return ~sum & 0xFFFFU;
}

struct TEnd {
  std::uint32_t Address;
  std::uint16_t Port;
};

// RFC 791 and RFC 768; a UDP check sum of 0 is none.
Bytes Packet(const TEnd& from, const TEnd& to, TByteView payload) {
  const auto size = static_cast<std::uint32_t>(kUdpHead + payload.size());
  Bytes packet;
  AddHigh(packet, 0x4500, 2);  // version 4, a head of 5 words
  AddHigh(packet, static_cast<std::uint32_t>(kIpHead) + size, 2);
  AddHigh(packet, 0, 4);  // not in parts
  AddHigh(packet, 64 * 256 + kUdp, 2);
  AddHigh(packet, 0, 2);  // the check sum
  AddHigh(packet, from.Address, 4);
  AddHigh(packet, to.Address, 4);
  const std::uint32_t sum = CheckSum(packet);
  packet[10] = static_cast<std::uint8_t>(sum >> 8U);
  packet[11] = static_cast<std::uint8_t>(sum);
  AddHigh(packet, from.Port, 2);
  AddHigh(packet, to.Port, 2);
  AddHigh(packet, size, 2);
  AddHigh(packet, 0, 2);
  packet.insert(packet.end(), payload.begin(), payload.end());
  return packet;
}

}  // namespace

TPcapFile::TPcapFile() {
  AddLow(fText, kMagic, 4);
  AddLow(fText, 2, 2);  // version 2.4
  AddLow(fText, 4, 2);
  AddLow(fText, 0, 4);
  AddLow(fText, 0, 4);
  AddLow(fText, kMostBytes, 4);
  AddLow(fText, kLinkTypeRaw, 4);
}

void TPcapFile::Add(TTraceDirection direction, TByteView frame, TTime time) {
  const TEnd master{kMaster, kMasterPort};
  const std::uint32_t address = kServers + (frame.empty() ? 0U : frame[0]);
  const TByteView payload = frame.first(std::min(frame.size(), kMostBytes - kIpHead - kUdpHead));
  Bytes packet;
  switch (direction) {
    case TTraceDirection::tdSent:
      packet = Packet(master, {address, kPcapServerPort}, payload);
      break;
    case TTraceDirection::tdReceived:
      packet = Packet({address, kPcapServerPort}, master, payload);
      break;
    case TTraceDirection::tdIgnored:
      packet = Packet({kServers, kMasterPort}, {kMaster, kPcapIgnoredPort}, payload);
      break;
  }
  const auto passed = time.time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(passed);
  AddLow(fText, static_cast<std::uint32_t>(seconds.count()), 4);
  AddLow(fText, static_cast<std::uint32_t>((passed - seconds).count()), 4);
  AddLow(fText, static_cast<std::uint32_t>(packet.size()), 4);
  AddLow(fText, static_cast<std::uint32_t>(packet.size()), 4);
  fText.append(packet.begin(), packet.end());
}

}  // namespace OrvixModBus
