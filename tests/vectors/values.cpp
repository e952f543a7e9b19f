#include "values.h"

#include "script.h"

namespace OrvixModBus::Vectors {
namespace {

TCallOperation FindOperation(const std::string& name) {
  for (const TCallOperations* table :
       {&LibOperations(), &TypeOperations(), &CatalogueOperations()}) {
    if (const auto found = table->find(name); found != table->end()) return found->second;
  }
  throw EUnknownOperation(name);
}

Json FieldOr(TFields& line, std::string_view name, Json fallback) {
  return line.Has(name) ? line[name].Value() : std::move(fallback);
}

std::optional<TDifference> JudgeCall(TFields& line, const std::string& name) {
  const TCallOperation operation = FindOperation(name);
  const TExpectation expected(line);
  TCall call{TFields(line["args"].Value()), TFields(line["setup"].Value()), nullptr};
  const Json after = FieldOr(line, "after", nullptr);
  line.RefuseUnread();

  const TOutcome outcome = Attempt([&] { return operation(call); });
  call.Args.RefuseUnread();
  call.Setup.RefuseUnread();
  if (auto found = expected.OutcomeDifference(outcome)) return found;
  return expected.FieldDifference("after", after, call.After);
}

/// Without the fields that say that nothing was seen.
Json Seen(TFields& step, const std::vector<std::string>& fields) {
  Json seen = Json::object();
  for (const std::string& name : fields) {
    Json value = FieldOr(step, name, nullptr);
    if (!value.empty()) seen[name] = std::move(value);
  }
  return seen;
}

std::optional<TDifference> JudgeStep(TScript& script, const Json& stepJson) {
  TFields step(stepJson);
  const TExpectation expected(step);
  const Json expectedSeen = Seen(step, script.ObservedFields());
  step.Ignore({"open", "note", "trap"});

  const TOutcome outcome = Attempt([&] { return script.Run(step); });
  step.RefuseUnread();
  const Json observed = script.Observed();
  if (stepJson.value("open", false)) return std::nullopt;
  TFields seen(observed);
  const Json gotSeen = Seen(seen, script.ObservedFields());
  seen.RefuseUnread();

  if (auto found = expected.OutcomeDifference(outcome)) return found;
  for (const std::string& name : script.ObservedFields()) {
    if (auto found = expected.FieldDifference(name, expectedSeen.value(name, Json()),
                                              gotSeen.value(name, Json()))) {
      return found;
    }
  }
  return std::nullopt;
}

std::optional<TDifference> JudgeScript(TFields& line, const std::string& unit) {
  using TMakeScript = std::unique_ptr<TScript> (*)(TFields&);
  static const std::map<std::string, TMakeScript> kMakers = {
      {"TMBTypeInfo", MakeCatalogueScript},
      {"TMBReg", MakeRegisterScript},
      {"TRegNameCollection", MakeRegisterScript},
      {"TMBRegs", MakeRegisterScript},
  };
  const auto made = kMakers.find(unit);
  if (made == kMakers.end()) throw EUnknownOperation(unit + ".script");
  line.Ignore({"args", "result", "raises", "raises_class"});
  TFields setup(line["setup"].Value());
  const auto script = made->second(setup);
  setup.RefuseUnread();
  const Json& steps = line["steps"].Value();
  line.RefuseUnread();
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (auto found = JudgeStep(*script, steps[i])) {
      found->Path = "step " + std::to_string(i) + ": " + found->Path;
      return found;
    }
  }
  return std::nullopt;
}

}  // namespace

Json ThenAfter(TCall& call, const std::function<Json()>& operation,
               const std::function<Json()>& after) {
  const TOutcome outcome = Attempt(operation);
  call.After = after();
  if (outcome.Error) std::rethrow_exception(outcome.Error);
  return outcome.Result;
}

std::optional<TDifference> JudgeValues(const Json& vector) {
  TFields line(vector);
  line.Ignore({"id", "open", "platform", "trap", "note"});
  const std::string unit = line["unit"];
  const std::string operation = line["op"];
  if (operation == "script") return JudgeScript(line, unit);
  return JudgeCall(line, unit + "." + operation);
}

}  // namespace OrvixModBus::Vectors
