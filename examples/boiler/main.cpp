// Builds in code what boiler.form describes, and reads its letter from a simulated device on a
// pseudo-terminal. With --form it prints the form instead.

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string_view>

#include "Boiler.h"
#include "platform/loop/uLoop.h"
#include "platform/model/uDataModule.h"
#include "platform/model/uForm.h"
#include "tools/orvixmb/uFormDevice.h"
#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uSimulatorThread.h"
#include "uMBLetters.h"
#include "uMBRTU.h"

namespace OrvixModBus {
namespace {

// Waits until every request of the letter has been answered.
bool Read(TMBLetter& letter) {
  letter.ReadAllRegs();
  return TLoop::Current().RunUntil([&] { return letter.ChekAllRegsResive(); },
                                   std::chrono::seconds(30));
}

int ReadBoiler(TComponent& plant) {
  TSimulator simulator;
  FormDevices(plant, simulator);
  TPseudoTerminal terminal;
  TSimulatorThread device(simulator, terminal.Handle());

  auto& line = FormComponent<TMBRTUConnection>(plant, "Line");
  line.SetPortProperty(terminal.Path());
  line.SetActive(true);
  auto& letter = FormComponent<TMBLetter>(plant, "Boiler");
  if (!Read(letter)) {
    std::fprintf(stderr, "The letter is not complete after 30 seconds.\n");
    return 1;
  }
  for (const TMBReg* reg : letter.Regs().RegList()) {
    std::printf("%-14s %-24s %s\n", reg->Name().c_str(), reg->ValueStr().c_str(),
                reg->Caption().c_str());
  }
  return 0;
}

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) {
  using namespace OrvixModBus;
  try {
    TDataModule plant;
    BuildBoiler(plant);
    if (argc == 1) return ReadBoiler(plant);
    if (argc != 2 || std::string_view(argv[1]) != "--form") {
      std::fprintf(stderr, "usage: example_boiler [--form]\n");
      return 2;
    }
    std::cout << TFormFile().Write(plant);
    return 0;
  } catch (const Exception& error) {
    std::fprintf(stderr, "example_boiler: %s\n", error.what());
    return 1;
  }
}
