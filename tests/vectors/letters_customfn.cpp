// Steps on the components that read logs and oscillograms.

#include "letters_scenario.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus::Vectors {
namespace {

template <class TFunction>
TFunction& FunctionOf(TScenario& scenario, TFields& step) {
  return scenario.Get<TFunction>(step["fn"]);
}

void ReadCount(TScenario& scenario, TFields& step) {
  FunctionOf<TMBItemFunction>(scenario, step).ReadCountItem();
}

void ReadAll(TScenario& scenario, TFields& step) {
  FunctionOf<TMBLogFunction>(scenario, step).ReadAllItems();
}

void ReadInfo(TScenario& scenario, TFields& step) {
  FunctionOf<TMBFunction41>(scenario, step).RaedOscilInfo(step["n"]);
}

void ReadData(TScenario& scenario, TFields& step) {
  FunctionOf<TMBFunction41>(scenario, step).ReadOscilData(step["n"], step["r"]);
}

void SetClient(TScenario& scenario, TFields& step) {
  FunctionOf<TMBCustomFunction>(scenario, step)
      .SetMBClient(scenario.GetOrNil<TMBClient>(step["c"]));
}

void Free(TScenario& scenario, TFields& step) {
  FunctionOf<TMBCustomFunction>(scenario, step);  // it must be there
  scenario.Free(step["fn"]);
}

void Dump(TScenario& scenario, TFields& step) {
  const auto& function = FunctionOf<TMBItemFunction>(scenario, step);
  Json state = {{"MBFunc", function.MBFunc()},
                {"TotalItem", function.TotalItem()},
                {"ItemCount", function.ItemCount()}};
  if (const auto* log = dynamic_cast<const TMBLogFunction*>(&function)) {
    state["OneRecordLength"] = log->OneRecordLength();
  }
  if (const auto* oscillograms = dynamic_cast<const TMBFunction41*>(&function)) {
    state["OscilInfoLength"] = oscillograms->OscilInfoLength();
    state["OscilDataLength"] = oscillograms->OscilDataLength();
  }
  scenario.Effect("dump", scenario.NameOf(&function), state);
}

}  // namespace

const TStepOperations& CustomFunctionSteps() {
  static const TStepOperations kSteps = {
      {"fn_count", ReadCount},  {"fn_all", ReadAll}, {"fn_info", ReadInfo}, {"fn_data", ReadData},
      {"fn_client", SetClient}, {"fn_free", Free},   {"fn_dump", Dump},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
