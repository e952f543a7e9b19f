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
    "identity": {"id": "0A 0B", "text": "Pump", "running": true}  // $11
  }],
  "faults": [
    {"address": 1, "function": 3, "requests": [5, 8], "fault": "silence"},
    {"fault": "exception", "code": 4},
    {"fault": "checksum"}
  ]
}
Only "servers", an "address" and a "fault" must be there. A table's keys are first addresses,
those of "files" are file and record numbers, decimal or hexadecimal ("0x10", "$10"). Addresses,
files and records that are not named answer exception 2.
In place of its values a range may have a formula; periods are in seconds:
  {"count": 10, "formula": "constant", "value": 7}
  {"count": 10, "formula": "ramp", "from": 0, "step": 1}    along the addresses
  {"count": 1, "formula": "counter", "from": 0, "step": 1, "period": 0.5}
  {"count": 1, "formula": "sine", "low": -100, "high": 100, "period": 10}
  {"count": 1, "formula": "toggle", "period": 1}    0 and 1 by turns
The first fault that fits a request befalls it. "address" 0 means broadcasts, "requests" the first
and last by their number from 1; what is left out fits all.
)";

/// Throws Exception with the file, the place in it and what is wrong:
/// "plant.json:/servers/0/holding/100/2 must be 0 to 65535".
TSimulator ReadSimulatorFile(const std::string& path);
/// The same from the file's text; name stands for the file in messages.
TSimulator ReadSimulatorText(std::string_view text, const std::string& name);

}  // namespace OrvixModBus
