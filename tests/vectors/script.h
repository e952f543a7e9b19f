#pragma once
// script: steps on objects that live through a vector.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fields.h"
#include "json.h"

namespace OrvixModBus::Vectors {

/// The objects of a script and the operations on them.
class TScript {
 public:
  virtual ~TScript() = default;
  /// Runs one step ("op", "args", the objects it names) and returns its result. Reads of the step
  /// all that is not expectation.
  virtual Json Run(TFields& step) = 0;
  /// What could be seen since the step before: judged beside result and exception. An empty field
  /// is as good as an absent one.
  virtual Json Observed() = 0;
  /// All fields that Observed can have.
  virtual const std::vector<std::string>& ObservedFields() const = 0;
};

/// Two catalogues, "A" and "B".
std::unique_ptr<TScript> MakeCatalogueScript(TFields& setup);
/// Sets of registers, and catalogues for them.
std::unique_ptr<TScript> MakeRegisterScript(TFields& setup);

/// The arguments of a step, of which none may be left unread; a step may have none.
class TStepArgs {
 public:
  explicit TStepArgs(TFields& step)
      : fObject(step.Has("args") ? step["args"].Value() : Json::object()), fArgs(fObject) {}
  TFields& operator*() { return fArgs; }
  TFields* operator->() { return &fArgs; }

 private:
  Json fObject;
  TFields fArgs;
};

/// The operation that the step names.
template <class TOperation>
TOperation FindStep(const std::map<std::string, TOperation>& operations, TFields& step) {
  const auto found = operations.find(step["op"]);
  if (found == operations.end()) throw EUnknownOperation(step["op"]);
  return found->second;
}

}  // namespace OrvixModBus::Vectors
