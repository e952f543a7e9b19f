// Steps on emulators of their own.

#include "letters_scenario.h"

namespace OrvixModBus::Vectors {
namespace {

TEmulClient& Emulator(TScenario& scenario, TFields& step) {
  return scenario.Get<TEmulClient>(step["e"]);
}

void Read(TScenario& scenario, TFields& step) {
  Emulator(scenario, step).ReadRegs(scenario.Reg(step["reg"]), scenario.Owner(step["own"]));
}

void Write(TScenario& scenario, TFields& step) {
  Emulator(scenario, step)
      .WriteReg(scenario.Reg(step["reg"]), step["d"].Data(), scenario.Owner(step["own"]));
}

void Pending(TScenario& scenario, TFields& step) {
  scenario.Return(Emulator(scenario, step).CountPendingTransactions());
}

void Message(TScenario& scenario, TFields& step) {
  TMessage message;
  message.Msg = step["m"];
  message.WParam = step["p"];
  Emulator(scenario, step).OnGetMessage(message);
}

}  // namespace

const TStepOperations& EmulatorSteps() {
  static const TStepOperations kSteps = {
      {"emul_read", Read},
      {"emul_write", Write},
      {"emul_pending", Pending},
      {"emul_message", Message},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
