#pragma once
// values: vectors of single calls and of scripts, each judged against the library.

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "fields.h"
#include "json.h"
#include "outcome.h"

namespace OrvixModBus::Vectors {

/// One call: what goes in, and beside the result what comes out.
struct TCall {
  TFields Args;
  TFields Setup;
  /// Arguments changed in place, and "events"; null for an operation that has none.
  Json After;
};

/// Runs operation and then notes what after tells: it is judged after an exception, too.
Json ThenAfter(TCall& call, const std::function<Json()>& operation,
               const std::function<Json()>& after);

/// Builds what the call needs, calls, and returns the result (null for none).
using TCallOperation = Json (*)(TCall&);
/// By "unit.operation".
using TCallOperations = std::map<std::string, TCallOperation, std::less<>>;

const TCallOperations& LibOperations();
const TCallOperations& TypeOperations();
const TCallOperations& CatalogueOperations();

/// Judges a vector of a call or a script; nothing when it passes.
std::optional<TDifference> JudgeValues(const Json& vector);

}  // namespace OrvixModBus::Vectors
