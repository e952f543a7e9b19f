// Steps on the read/write driver.

#include "letters_scenario.h"

namespace OrvixModBus::Vectors {
namespace {

using TDriver = TMBLetterReadWriter;

void New(TScenario& scenario, TFields& step) {
  scenario.Drivers[step["d"]] = std::make_unique<TDriver>(scenario.Letter(step));
}

TDriver& DriverOf(TScenario& scenario, TFields& step) {
  const auto found = scenario.Drivers.find(step["d"]);
  if (found == scenario.Drivers.end()) throw EMissing("no driver " + step["d"].Text());
  return *found->second;
}

void Free(TScenario& scenario, TFields& step) {
  DriverOf(scenario, step);  // it must be there
  scenario.Drivers.erase(step["d"]);
}

void AssignNames(TScenario& scenario, TFields& step) {
  const TStringDynArray names = step["names"].Texts();
  DriverOf(scenario, step).AssignRegs(names);
}

void AssignList(TScenario& scenario, TFields& step) {
  const TMBRegList regs = scenario.Regs(step["regs"]);
  DriverOf(scenario, step).AssignRegs(regs);
}

/// event, proc, both or none.
std::pair<TDriver::TAfterEvent, TDriver::TAfterProc> CallbacksOf(TScenario& scenario,
                                                                 TFields& step) {
  const std::string after = step["after"];
  const bool both = after == "both";
  if (!both && after != "event" && after != "proc" && after != "none") {
    throw ENotUnderstood("unknown callback " + after);
  }
  const auto tell = [&scenario, id = step["d"].Text()](const char* name) {
    scenario.Callback(id, name);
  };
  TDriver::TAfterEvent event;
  TDriver::TAfterProc proc;
  if (both || after == "event") event = [tell](TObject&) { tell("AfterEvent"); };
  if (both || after == "proc") proc = [tell] { tell("AfterProc"); };
  return {event, proc};
}

void AssignProcs(TScenario& scenario, TFields& step) {
  const auto [event, proc] = CallbacksOf(scenario, step);
  DriverOf(scenario, step).AssignProcs(event, proc);
}

void Read(TScenario& scenario, TFields& step) {
  if (!step.Has("after")) return DriverOf(scenario, step).ReadArray();
  const auto [event, proc] = CallbacksOf(scenario, step);
  DriverOf(scenario, step).ReadRegsByArray(event, proc);
}

void Write(TScenario& scenario, TFields& step) { DriverOf(scenario, step).WriteArray(); }

void WriteF6665(TScenario& scenario, TFields& step) { DriverOf(scenario, step).WriteAllF66F65(); }

void Float(TScenario& scenario, TFields& step) {
  const double value = DriverOf(scenario, step).GetFloatValue(step["n"], step["def"]);
  scenario.Return(value == TRegValue::kClearedReal ? Json() : Json(value));
}

}  // namespace

const TStepOperations& DriverSteps() {
  static const TStepOperations kSteps = {
      {"driver_new", New},         {"driver_free", Free},         {"driver_names", AssignNames},
      {"driver_regs", AssignList}, {"driver_procs", AssignProcs}, {"driver_read", Read},
      {"driver_write", Write},     {"driver_f6665", WriteF6665},  {"driver_float", Float},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
