#pragma once
// outcome: what an operation gave - a result or an exception - held against what was expected.

#include <exception>
#include <functional>
#include <optional>
#include <string>

#include "fields.h"
#include "json.h"

namespace OrvixModBus::Vectors {

/// A result, or an exception and no result.
struct TOutcome {
  Json Result;
  std::exception_ptr Error;
  std::string Message;
};

/// Runs operation; what the runner itself does not understand passes through.
TOutcome Attempt(const std::function<Json()>& operation);

/// The expectation of one call or one step of a script: its fields "result", "raises",
/// "raises_class", "accept" and "open_fields".
class TExpectation {
 public:
  /// Takes the fields out of line.
  explicit TExpectation(TFields& line);

  /// Exception first, then the result: field by field where it is an object.
  std::optional<TDifference> OutcomeDifference(const TOutcome& outcome) const;
  /// Of a further judged field; nothing when it is an open one.
  std::optional<TDifference> FieldDifference(const std::string& name, const Json& expected,
                                             const Json& got) const;

 private:
  bool IsOpen(const std::string& field) const;
  bool IsAccepted(const std::string& field, const Json& got) const;
  std::optional<TDifference> ErrorDifference(const TOutcome& outcome) const;
  std::optional<TDifference> ResultDifference(const Json& got) const;

  Json fResult;
  Json fRaises;
  Json fClass;
  Json fAccept;
  Json fOpenFields;
};

}  // namespace OrvixModBus::Vectors
