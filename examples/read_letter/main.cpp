// Reads two registers of the device with server address 1, and shows their bytes.
// usage: example_read_letter [PORT]; without a port the device is simulated.

#include <cstdio>

#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uSimulatorThread.h"
#include "uMBLetters.h"

using namespace OrvixModBus;

namespace {

bool ReadLetter(const std::string& port) {
  TMBRTUConnection line;  // a serial line, 9600 baud, 8 data bits, even parity
  line.SetPortProperty(port);
  line.SetActive(true);
  TMBConnection connection;
  connection.SetRTU(&line);
  TMBClient client;  // the device with server address 1
  client.SetConnection(&connection);

  TMBLetter letter;  // registers that are read together
  letter.SetClient(&client);
  for (const std::uint32_t adress : {100u, 101u}) {
    TMBReg& reg = *letter.Regs().Add();
    reg.SetDisplayName("Temp" + std::to_string(adress));
    reg.SetRegAdress(adress);
    reg.SetBytesInOneReg(2);
    reg.SetRegsCount(1);
  }
  letter.OnRegDataChange = [](TMBLetter&, TMBReg& reg) {
    std::printf("%s = %02X%02X\n", reg.Name().c_str(), reg.GetData(0), reg.GetData(1));
  };
  bool complete = false;
  letter.OnReadAllRegs = [&complete](TMBLetter&) { complete = true; };

  letter.ReadAllRegs();  // one request for both
  return TLoop::Current().RunUntil([&complete] { return complete; }, std::chrono::seconds(5));
}

bool ReadSimulated() {
  TSimulator simulator;
  simulator.Device(1).Holding.Set(100, {0x0102, 0x0304});
  TPseudoTerminal terminal;
  TSimulatorThread device(simulator, terminal.Handle());
  return ReadLetter(terminal.Path());
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return (argc > 1 ? ReadLetter(argv[1]) : ReadSimulated()) ? 0 : 1;
  } catch (const Exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
