#pragma once
// uReplayText: the events of a replay, for people and for programs.

#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>

#include "tools/orvixmb/uRegisterRows.h"
#include "tools/orvixmb/uReplay.h"

namespace OrvixModBus {

/// One line: seconds, server, what was asked and what came of it; then one for each row.
///
///     0.031250 server 1: read 1 holding register from 100 - 2 bytes: 0005
///         Boiler.Level = 5 %
///     1.048000 server 1: write 5 to register 12 - no answer, 2 retries
///     1.048000 server 1 lost
///     1.500000 port lost: Input/output error
std::string ReplayText(const TReplayEvent& event, std::span<const TRegisterRow> rows);
/// `time`, `event` (reply, port lost, port found, server lost,
/// server found); of a server `server`; of a reply `server`, `function`, `request`,
/// `meaning`, `reply`, `exception`, `retries`, `data`, `registers`; of a lost port `reason`.
nlohmann::ordered_json ReplayJson(const TReplayEvent& event, std::span<const TRegisterRow> rows);

/// Two lines of numbers.
std::string CountersText(const TLineCounters& counters);
nlohmann::ordered_json CountersJson(const TLineCounters& counters);

}  // namespace OrvixModBus
