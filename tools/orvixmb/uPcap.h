#pragma once
// uPcap: frames of a line as a capture file that packet analysers read.

#include <chrono>
#include <string>

#include "platform/modbus/uModbusTypes.h"
#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// The UDP port of servers, and of what was received and thrown away.
inline constexpr std::uint16_t kPcapServerPort = 5020;
inline constexpr std::uint16_t kPcapIgnoredPort = 9;  // "discard" (RFC 863)

/// A capture file (pcap, nanoseconds, LINKTYPE_RAW): serial frames have no link type that tells
/// who sent them, so each is the payload of a UDP packet. The master is 127.0.0.1, the server of
/// address 17 is 127.0.1.17 at kPcapServerPort, what was thrown away goes to kPcapIgnoredPort.
/// Decoded by `tshark -o mbrtu.udp.port:5020`.
class TPcapFile {
 public:
  using TTime = std::chrono::sys_time<std::chrono::nanoseconds>;

  TPcapFile();

  /// frame: with its check sum. One too long for a packet is cut.
  void Add(TTraceDirection direction, TByteView frame, TTime time);
  /// The file so far.
  const std::string& Text() const { return fText; }

 private:
  std::string fText;
};

}  // namespace OrvixModBus
