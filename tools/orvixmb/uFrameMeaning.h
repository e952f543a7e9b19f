#pragma once
// uFrameMeaning: what a frame on the line says, in words, and the line of a trace that shows it.

#include <chrono>
#include <string>

#include "platform/modbus/uModbusTypes.h"
#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

// Frames are whole: server address, function code, data and check sum. Any bytes may be given; what
// is no frame, or not one that its function code allows, is said to be so.

/// "read 10 holding registers from 100", "write 5 to register 12".
std::string RequestMeaning(TByteView frame);
/// "20 bytes: 0001 0002 ...", "exception 2: illegal data address". The request that it answers, if
/// there was one, tells what the bytes are.
std::string ReplyMeaning(TByteView frame, TByteView request = {});

/// "exception 2: illegal data address"; the words of Modbus Application Protocol V1.1b3, 7.
std::string ExceptionText(std::uint8_t code);

/// The lines of a trace: seconds since its start, > for a request or < for a reply (? for what
/// was received and thrown away), the bytes, the meaning.
///
///     0.012 > 01 03 00 64 00 01 C5 D5  read 1 holding register from 100
///     0.021 < 01 03 02 00 05 78 47  2 bytes: 0005
class TFrameTrace {
 public:
  using TTime = std::chrono::steady_clock::time_point;

  explicit TFrameTrace(TTime start) : fStart(start) {}

  /// Frames come in the order of the line, for a reply is read by the request before it.
  std::string Line(TTraceDirection direction, TByteView frame, TTime time);

 private:
  std::string Meaning(TTraceDirection direction, TByteView frame);

  const TTime fStart;
  Bytes fRequest;  // the last one
};

}  // namespace OrvixModBus
