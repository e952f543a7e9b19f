// Reads a letter of forty registers from a device over a serial line, shows them, and reads on for
// a while; then changes settings, reads a file of records, the device's identity and its log, and
// draws an oscillogram. Without arguments the device is simulated, on a pseudo-terminal.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>

#include "Plant.h"
#include "Recordings.h"
#include "Table.h"
#include "Writing.h"
#include "tools/display/uShownText.h"
#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uSimulatorThread.h"

namespace OrvixModBus {
namespace {

constexpr auto kLetterLimit = std::chrono::seconds(10);
constexpr auto kPeriod = std::chrono::milliseconds(500);

std::uint8_t Byte(std::uint32_t value, std::uint8_t index) {
  return TMBLib::ByteFromCardinal(value, index);
}

struct TOptions {
  bool Emul = false;
  bool Trace = false;
  bool Write = false;
  std::string Port;
  std::uint32_t Baud = 19200;
  std::string Parity = "even";
  std::uint8_t Adres = kPlantAdres;
  double Seconds = 5;
  std::uint16_t LogRecords = kLogRecords;
  bool WholeLog = false;
  std::string Picture = (std::filesystem::temp_directory_path() / "orvix_oscillogram.svg").string();
};

/// The simulated plant at the other end of a pseudo-terminal, as fast as a real line.
struct TSimulatedPlant {
  explicit TSimulatedPlant(const TOptions& options)
      : Simulator(Build(options.LogRecords)),
        Thread(Simulator, Terminal.Handle(), Pace(options.Baud)) {}

  static TSimulatorLineSettings Pace(std::uint32_t baud) {
    return {.BaudRate = baud, .Turnaround = std::chrono::milliseconds(2)};
  }
  static TSimulator Build(std::uint16_t logRecords) {
    TSimulator simulator;
    BuildPlant(simulator, logRecords);
    return simulator;
  }

  TSimulator Simulator;
  TPseudoTerminal Terminal;
  TSimulatorThread Thread;
};

class TDemo {
 public:
  explicit TDemo(const TOptions& options) : fOptions(options) {
    DescribeTypes(fTypes);
    DescribeRegisters(fLetter.Regs(), fTypes);
    fLetter.SetClient(&fClient);
    fLetter.OnReadAllRegs = [this](TMBLetter&) { fComplete = true; };
    fClient.SetAdres(options.Adres);
    fClient.OnNoneAnswer = {this, &TDemo::TellFailure};
    fClient.OnExeptionAnswer = {this, &TDemo::TellFailure};
    fClient.OnWorkStart = [this](TObject&) { ++fRequests; };
    fLine.OnTrace = {this, &TDemo::TellFrame};
    if (options.Emul) {
      Emulate();
    } else {
      Connect();
    }
  }

  bool Run() {
    std::printf("Reading the letter \"Boiler\", %d registers...\n\n", fLetter.Regs().Count());
    if (!ReadLetter()) return false;
    std::printf("%s", fOptions.Trace ? "\n" : "");
    PrintTable(fLetter.Regs());
    std::printf("\n%d requests for %d registers.\n\n", fRequests, fLetter.Regs().Count());
    if (!Watch() || !Write() || !ReadRecordings()) return false;
    std::printf("\nDone.\n");
    return true;
  }

 private:
  void Connect() {
    if (fOptions.Port.empty()) fPlant = std::make_unique<TSimulatedPlant>(fOptions);
    fLine.SetPortProperty(fPlant ? fPlant->Terminal.Path() : fOptions.Port);
    fLine.SetBaudRate(fOptions.Baud);
    fLine.SetParity(fOptions.Parity == "none"  ? TParityScheme::psNone
                    : fOptions.Parity == "odd" ? TParityScheme::psOdd
                                               : TParityScheme::psEven);
    fLine.SetReceiveTimeout(300);
    fLine.SetMaxRetries(1);
    fLine.SetActive(true);
    fConnection.SetRTU(&fLine);
    fClient.SetConnection(&fConnection);
    std::printf("%s on %s, %u baud, %s parity, server address %u\n",
                fPlant ? "A simulated boiler plant" : "A device", fLine.Port().c_str(),
                fLine.BaudRate(), fOptions.Parity.c_str(), fClient.GetAdres());
  }

  void Emulate() {
    BuildPlant(fEmulated);
    fConnection.SetConnectionType(TConnectionType::mbEmul);
    fClient.SetConnection(&fConnection);
    fClient.OnGetEmulData = {this, &TDemo::AnswerEmulated};
    fClient.OnSetEmulData = {this, &TDemo::StoreEmulated};
    std::printf(
        "An emulated boiler plant inside this program: no line, no faults, and discrete\n"
        "inputs (function $02) are not read.\n");
  }

  // The emulated device takes its values from the same plant, register by register. A reply of
  // bits holds eight of them, and updates the neighbours too, so it must hold theirs as well.
  void AnswerEmulated(TMBReg& reg, Bytes& data) {
    const std::uint8_t func = reg.MBFuncRead();
    const std::uint32_t adress = reg.Adress();
    const auto bytes = static_cast<std::uint8_t>(reg.CountInByte());
    const std::uint8_t count = func == 0x01 ? 8 : func == 0x21 ? 0 : reg.GetRegsCount();
    const bool paged = func == 0x43 || func == 0x44;
    const Bytes request =
        paged ? Bytes{func, Byte(adress, 2), Byte(adress, 1), Byte(adress, 0), bytes}
              : Bytes{func, Byte(adress, 1), Byte(adress, 0), 0, count};
    const double seconds = std::chrono::duration<double>(Age()).count();
    const Bytes reply = fEmulated.Device(kPlantAdres).Answer(request, seconds);
    if (reply[0] != func) return;  // an exception reply: there is no such register
    data.assign(reply.begin() + (paged ? 5 : func == 0x21 ? 1 : 2), reply.end());
  }

  void StoreEmulated(TMBReg& reg, Bytes& data) {
    const std::uint8_t func = reg.MBFuncWrite();
    const std::uint32_t adress = reg.Adress();
    const auto size = static_cast<std::uint8_t>(data.size());
    Bytes request{func, Byte(adress, 1), Byte(adress, 0)};
    if (func == 0x66) request.insert(request.begin() + 1, Byte(adress, 2));
    if (func == 0x10) request.insert(request.end(), {0, static_cast<std::uint8_t>(size / 2)});
    if (func != 0x06) request.push_back(size);
    request.insert(request.end(), data.begin(), data.end());
    fEmulated.Device(kPlantAdres).Answer(request, 0);
  }

  bool ReadLetter() {
    fComplete = false;
    fLetter.ReadAllRegs();
    return Wait();
  }

  bool Wait() {
    if (TLoop::Current().RunUntil([this] { return fComplete; }, kLetterLimit)) return true;
    std::fprintf(stderr, "The letter is not complete after 10 seconds.\n");
    return false;
  }

  // Reads the registers that answer, again and again, and shows what has changed.
  bool Watch() {
    for (const TMBReg* reg : fLetter.Regs().RegList()) {
      if (reg->Name() == kRefusedReg || reg->Name() == kSilentReg) continue;
      fWatched.push_back(reg->Name());
      fShown[reg->Name()] = reg->ValueStr();
    }
    fLetter.OnRegDataChange = {this, &TDemo::TellChange};
    std::printf("Reading on for %g seconds; what changes:\n", fOptions.Seconds);
    const auto end = Age() + std::chrono::duration<double>(fOptions.Seconds);
    while (Age() < end) {
      if (!WaitForPeriod()) return false;
      fComplete = false;
      fLetter.ReadRegsByName(fWatched);
      if (!Wait()) return false;
    }
    return true;
  }

  // A real device's settings are not touched unless asked for.
  bool Write() {
    TPlantWriter writer(fClient, fTypes);
    const bool writes = fOptions.Port.empty() || fOptions.Write;
    if (writes && !writer.ChangeSettings()) return false;
    return fOptions.Emul || (writer.ReadServiceLog() && writer.ReadIdentity());
  }

  // An emulated device has registers only.
  bool ReadRecordings() {
    if (fOptions.Emul) return true;
    TPlantRecorder recorder(fClient, fTypes);
    return recorder.ReadLog(fOptions.WholeLog) && recorder.DrawOscillogram(fOptions.Picture);
  }

  bool WaitForPeriod() {
    bool due = false;
    const auto timer = TLoop::Current().NewTimer([&due] { due = true; });
    timer->Start(std::chrono::steady_clock::now() + kPeriod);
    return TLoop::Current().RunUntil([&due] { return due; }, 2 * kPeriod);
  }

  void TellChange(TMBLetter&, TMBReg& reg) {
    std::string& shown = fShown[reg.Name()];
    if (shown == reg.ValueStr()) return;
    shown = reg.ValueStr();
    std::printf("  %5.1f s  %-14s %-24s %s\n", std::chrono::duration<double>(Age()).count(),
                reg.Name().c_str(), ValueText(reg).c_str(), reg.Caption().c_str());
    std::fflush(stdout);
  }

  void TellFailure(TMBClient&, TServerReply reply, std::uint8_t func, std::uint32_t adress) {
    std::printf("No value from address %u by function $%02X: %s\n", adress, func,
                std::string(TEnumNames<TServerReply>::Values[static_cast<int>(reply)]).c_str());
  }

  void TellFrame(TModbusConnection&, TTraceDirection direction, std::span<const std::uint8_t> frame,
                 std::chrono::steady_clock::time_point) {
    if (!fOptions.Trace) return;
    constexpr const char* kSigns[] = {"->", "<-", "??"};
    std::printf("  %7.4f s %s %s\n", std::chrono::duration<double>(Age()).count(),
                kSigns[static_cast<int>(direction)], HexText(frame).c_str());
  }

  std::chrono::steady_clock::duration Age() const {
    return std::chrono::steady_clock::now() - fStart;
  }

  const TOptions& fOptions;
  std::chrono::steady_clock::time_point fStart = std::chrono::steady_clock::now();
  std::unique_ptr<TSimulatedPlant> fPlant;
  TSimulator fEmulated;
  TMBTypeInfo fTypes;
  TMBRTUConnection fLine;
  TMBConnection fConnection;
  TMBClient fClient;
  TMBLetter fLetter;
  TStringDynArray fWatched;
  std::map<std::string, std::string> fShown;
  int fRequests = 0;
  bool fComplete = false;
};

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) {
  using namespace OrvixModBus;
  TOptions options;
  CLI::App app(
      "Reads a letter of registers from a boiler plant and shows it, changes settings, reads the\n"
      "service log, the identity and the event log, and draws an oscillogram.\n"
      "Without options the plant is simulated, on a pseudo-terminal.");
  app.add_flag("--emul", options.Emul, "read from an emulated device inside the program");
  app.add_flag("--trace", options.Trace, "show every frame with its time and direction");
  app.add_option("--port", options.Port, "read from a device on this serial port");
  app.add_flag("--write", options.Write,
               "change settings of the device on --port, too (a simulated one's always)");
  app.add_option("--baud", options.Baud, "bits per second")->capture_default_str();
  app.add_option("--parity", options.Parity, "even, odd or none")
      ->check(CLI::IsMember({"even", "odd", "none"}))
      ->capture_default_str();
  app.add_option("--address", options.Adres, "the device's server address")
      ->check(CLI::Range(1, 247))
      ->capture_default_str();
  app.add_option("--seconds", options.Seconds, "how long to read on")
      ->check(CLI::Range(0.0, 86400.0))
      ->capture_default_str();
  app.add_option("--log-records", options.LogRecords, "how many records the simulated log holds")
      ->check(CLI::Range(0, 60000))
      ->capture_default_str();
  app.add_flag("--whole-log", options.WholeLog, "show every record of the log");
  app.add_option("--picture", options.Picture, "where to draw the oscillogram (SVG)")
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  try {
    return TDemo(options).Run() ? 0 : 1;
  } catch (const Exception& error) {
    std::fprintf(stderr, "orvix_demo: %s\n", error.what());
    return 1;
  }
}
