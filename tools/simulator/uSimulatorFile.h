#pragma once
// uSimulatorFile: reads a simulator's devices and faults from a JSON file.

#include <string>
#include <string_view>

#include "tools/simulator/uSimulator.h"

namespace OrvixModBus {

/// The form of the file, for readers of this header and of the program's help.
inline constexpr std::string_view kSimulatorFileForm = R"(The file is JSON; it may have remarks:
{
  "servers": [{
    "address": 1,                             // 1 to 247
    "coils":    {"0": [1, 0, 1]},             // bits; $01 $05 $0F
    "discrete": {"0": [1, 0, 1]},             // bits; $02
    "holding":  {"100": [1, 2, 3]},           // 0 to 65535; $03 $06 $10 $6C
    "input":    {"0x20": [65535]},            // 0 to 65535; $04
    "extended": {"1": [4294967295]},          // four bytes each; $21
    "paged":    {"0x10000": "00 11 22 FF"},   // bytes as hexadecimal text; $43 $44 $65 $66
    "files":    {"5": {"0": "00 01 02 03"}},  // by file and record, bytes of registers; $14
    "identity": {"id": "0A 0B", "text": "Pump", "running": true},  // $11
    "logs": {"0x20": {"total": 1200, "records": 240, "format": [  // $20 $24
      {"size": 4, "formula": "ramp", "from": 1700000000, "step": 60},
      {"size": 2, "formula": "sine", "low": -40, "high": 60, "period": 24, "order": "little"},
      {"size": 8, "text": "Pump 1"}]}},
    "oscillograms": {"total": 9, "1": {"info": "00 C8", "records": 400, "format": [  // $41
      {"size": 2, "formula": "sine", "low": -900, "high": 900, "period": 20, "decay": 150}]}}
  }],
  "seed": 1,                                  // of all that is random about faults
  "faults": [
    {"address": 1, "function": 3, "requests": [5, 8], "fault": "silence"},
    {"fault": "late", "delay": 1500, "probability": 0.05},
    {"fault": "exception", "code": 4}
  ]
}
Only "servers", an "address" and a "fault" must be there. A table's keys are first addresses,
those of "files" file and record numbers, of "logs" the functions 0x20 and 0x24, of "oscillograms"
their numbers from 1, decimal or hexadecimal ("0x10", "$10"). Addresses, files and records that are
not named answer exception 2, functions of logs that are not there exception 1.
In place of its values a range may have a formula; periods, phase and decay are in seconds:
  {"count": 10, "formula": "constant", "value": 7}
  {"count": 10, "formula": "ramp", "from": 0, "step": 1}    along the addresses
  {"count": 1, "formula": "counter", "from": 0, "step": 1, "period": 0.5}
  {"count": 1, "formula": "sine", "low": -100, "high": 100, "period": 10}
    and "phase", which puts it so much ahead, and "decay", in which the swing fades to 37 %
  {"count": 1, "formula": "toggle", "period": 1}    0 and 1 by turns
  {"count": 1, "formula": "cycle", "values": [1, 2, 5], "period": 1}    by turns
"records" of a log or an oscillogram is a list of their bytes, ["00 01", "00 02"], or how many the
"format" makes; "total" says how many there ever were. A format is a list of fields: a number, of
1 to 8 bytes, the high byte first or in "order" "little", by a formula in which addresses and
seconds are records, so that a ramp makes time stamps; or a text with blanks behind it. An "info",
the description of an oscillogram, is bytes as hexadecimal text or a format, too.
The first fault that fits a request befalls it. "address" 0 means broadcasts, "requests" the first
and last by their number from 1; what is left out fits all. With a "probability" it befalls that
part of the requests that fit. The same seed and requests give the same faults. Every request is
executed, but that of "exception":
  {"fault": "none"}        spares the request from the faults behind
  {"fault": "silence"}     no reply
  {"fault": "late"}        the reply after a "delay" of 1500 ms; other requests are served meanwhile
  {"fault": "checksum"}    a wrong check sum
  {"fault": "bit"}         one bit is wrong, the one "at" this number from 0
  {"fault": "cut"}         the reply ends after "at" bytes
  {"fault": "extra"}       "count" bytes behind the reply
  {"fault": "noise"}       "count" bytes before it
  {"fault": "zeros"}       "count" zeros before it
  {"fault": "pause"}       a "delay" inside the reply, after "at" bytes
  {"fault": "server"}      another server's frame before the reply
  {"fault": "function"}    a frame of another function code before the reply
  {"fault": "count"}       a byte count that is wrong by 1, with a right check sum
  {"fault": "size"}        two data bytes too many, with a right byte count and check sum
  {"fault": "exception"}   refused by exception "code" 4, where 0 is any of 1 to 11
  {"fault": "twice"}       the reply twice, with a "delay" of 0 ms between
  {"fault": "echo"}        the request before the reply
  {"fault": "bytes"}       each byte alone, after a "delay" of 1 ms
  {"fault": "babble"}      for a "duration" of 2000 ms a byte after every "delay" of 5 ms, no reply
  {"fault": "hangup"}      the port is gone for a "duration" of 1000 ms, and back under its --link
Random when left out: "at", "count" from 1 to 8, "delay" of "pause" from 1 to 100 ms. "noise",
"zeros", "server", "function" and "echo" may have "reply": false, so that no reply follows.
)";

/// Throws Exception with the file, the place in it and what is wrong:
/// "plant.json:/servers/0/holding/100/2 must be 0 to 65535".
TSimulator ReadSimulatorFile(const std::string& path);
/// The same from the file's text; name stands for the file in messages.
TSimulator ReadSimulatorText(std::string_view text, const std::string& name);

}  // namespace OrvixModBus
