#pragma once
// uPlanText: the plan of a letter for people and for programs.

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/orvixmb/uLetterPlan.h"

namespace OrvixModBus {

/// A table with a line for each request and one for their sum:
///
///   #  Function  Address  Count        Registers         Out  In    ms  Split
///   1  $03            10  3 registers  2: Flow to Level    8  11  25.8
///
/// Out and In are bytes on the line, ms the milliseconds from a request to the next; Split says
/// which register began another request, and why.
std::string PlanText(const TLetterPlan& plan);

/// An object of `letter`, `requests`, `bytesOut`, `bytesIn`, `milliseconds`; each request one of
/// `function`, `adress`, `count`, `unit`, `registers`, `first`, `last`, `bytesOut`, `bytesIn`,
/// `milliseconds`, `split` (null, or an object of `register`, `reason`).
nlohmann::ordered_json PlanJson(const TLetterPlan& plan);

}  // namespace OrvixModBus
