// The subcommand poll: registers of a device without a form, as a line tester reads them.

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uLetterReader.h"
#include "tools/orvixmb/uOutput.h"
#include "tools/orvixmb/uParityOption.h"

namespace OrvixModBus {
namespace {

struct TPollOptions {
  std::string Port;
  std::uint32_t Baud = 0;
  std::uint32_t Address = 0;  // of the server
  std::uint32_t Function = 0;
  std::uint32_t Start = 0;
  std::uint32_t Count = 0;  // of registers, of bits, or of bytes of paged memory
  std::string Type;         // empty = the first that fits the function
  std::string Parity = "even";
  std::uint32_t Timeout = TLineSettings().ReceiveTimeout;
  std::uint32_t Retries = TLineSettings().MaxRetries;
  bool Trace = false;
  TOutputOptions Output;
  TWatchOptions Watch;
};

struct TPollFunc {
  std::uint8_t Code;
  const char* Name;  // of what it reads, as the names of the registers begin
  std::uint8_t Width;
  bool IsBit;
  std::uint32_t Most;  // at a time
};

constexpr std::uint32_t kAdresses = 0x10000;  // of all functions; of a page of paged memory
constexpr TPollFunc kFuncs[] = {
    {0x01, "Coil", 1, true, kAdresses},
    {0x02, "Discrete", 1, true, kAdresses},
    {0x03, "Holding", 2, false, kAdresses},
    {0x04, "Input", 2, false, kAdresses},
    {0x21, "Reg", 2, false, 2},  // its reply has four bytes
    {0x43, "Memory", 1, false, kAdresses},
    {0x44, "Memory", 1, false, kAdresses},
};

void SetInteger(std::int64_t number, TRegValue& value) {
  value.Srt = IntToStr(number);
  value.R = static_cast<double>(number);
  if (std::in_range<std::int32_t>(number)) value.Int = static_cast<std::int32_t>(number);
}

void DecodeUnsigned(const Bytes& data, TRegValue& value) {
  SetInteger(TMBLib::ByteArToCardinal(data), value);
}

void DecodeSigned(const Bytes& data, TRegValue& value) {
  const auto bits = static_cast<std::int32_t>(TMBLib::ByteArToCardinal(data));
  SetInteger(TMBLib::CorrectIntValue(bits, static_cast<int>(data.size())), value);
}

// IEEE 754, the high register first.
void DecodeFloat(const Bytes& data, TRegValue& value) {
  static_assert(std::numeric_limits<float>::is_iec559);
  constexpr int kDigits = 7;
  const auto number = static_cast<double>(std::bit_cast<float>(TMBLib::ByteArToCardinal(data)));
  value.Srt = FloatToGeneral(number, kDigits);
  value.R = std::isfinite(number) ? number : TRegValue::kClearedReal;
}

void DecodeHex(const Bytes& data, TRegValue& value) {
  DecodeUnsigned(data, value);
  value.Srt = TMBLib::ByteArrayToHexStr(data, true);
}

void DecodeBits(const Bytes& data, TRegValue& value) {
  DecodeUnsigned(data, value);
  value.Srt = TMBLib::ByteArToBinStr(data, true);
}

struct TPollType {
  const char* Name;
  std::uint32_t Size;                        // bytes of a value; 0 = those of a register
  void (*Decode)(const Bytes&, TRegValue&);  // nil: one text of all registers
};

constexpr TPollType kTypes[] = {
    {"uint16", 2, DecodeUnsigned}, {"int16", 2, DecodeSigned}, {"uint32", 4, DecodeUnsigned},
    {"int32", 4, DecodeSigned},    {"float", 4, DecodeFloat},  {"hex", 0, DecodeHex},
    {"bits", 0, DecodeBits},       {"text", 0, nullptr},
};

std::vector<std::string> TypeNames() {
  std::vector<std::string> names;
  for (const TPollType& type : kTypes) names.emplace_back(type.Name);
  return names;
}

const TPollFunc& FuncOf(const TPollOptions& options) {
  const auto found = std::ranges::find(kFuncs, options.Function, &TPollFunc::Code);
  if (found != std::end(kFuncs)) return *found;
  throw EUsageError("--function " + IntToStr(options.Function) +
                    " reads no registers; those that do are 1, 2, 3, 4, 0x21, 0x43 and 0x44");
}

const TPollType& TypeOf(const TPollOptions& options, const TPollFunc& func) {
  std::string name = options.Type;
  if (name.empty()) name = func.IsBit ? "bits" : func.Width == 1 ? "hex" : "uint16";
  if (func.IsBit && name == "bits") {
    static constexpr TPollType kBit = {"bits", 0, DecodeUnsigned};
    return kBit;
  }
  if (func.IsBit) throw EUsageError("--function reads single bits, so --type has to be bits");
  return *std::ranges::find(kTypes, name, &TPollType::Name);
}

// How many registers (or bytes of paged memory) make a value.
std::uint32_t RegistersOf(const TPollType& type, const TPollFunc& func, std::uint32_t count) {
  if (type.Decode == nullptr) return count;
  return std::max(1U, type.Size / func.Width);
}

void CheckRange(const TPollOptions& options, const TPollFunc& func) {
  const std::uint32_t page = options.Start / kAdresses;
  if (page > 0 && !IsPagedRead(func.Code)) {
    throw EUsageError("--start is above 65535, which only 0x43 and 0x44 can read");
  }
  if (options.Start % kAdresses + options.Count > kAdresses) {
    throw EUsageError(
        Format("--start and --count go past address %u", {(page + 1) * kAdresses - 1}));
  }
  if (options.Count > func.Most) {
    throw EUsageError(Format("--function 0x%x reads at most %u registers", {func.Code, func.Most}));
  }
}

void CheckType(const TPollOptions& options, const TPollFunc& func, const TPollType& type) {
  const std::uint32_t each = RegistersOf(type, func, options.Count);
  if (each * func.Width > kMaxRegBytes) {
    throw EUsageError(
        Format("--count is too large: a %s has at most %d bytes", {type.Name, kMaxRegBytes}));
  }
  if (options.Count % each == 0) return;
  throw EUsageError(
      Format("--count has to be a multiple of %u, which one %s takes", {each, type.Name}));
}

void AddRegisters(TMBRegs& regs, const TPollOptions& options) {
  const TPollFunc& func = FuncOf(options);
  const TPollType& type = TypeOf(options, func);
  CheckRange(options, func);
  CheckType(options, func, type);
  const std::uint32_t each = RegistersOf(type, func, options.Count);
  for (std::uint32_t at = 0; at < options.Count; at += each) {
    TMBReg& reg = *regs.Add();
    reg.SetRegAdress(options.Start + at);
    reg.SetDisplayName(func.Name + IntToStr(reg.Adress()));
    reg.SetMBFuncRead(func.Code);
    reg.SetBytesInOneReg(func.Width);
    reg.SetRegsCount(static_cast<std::uint8_t>(each));
    if (type.Decode == nullptr) {
      reg.SetRegType(TRegType::rtStr);
    } else {
      reg.OnDataToValue = type.Decode;
    }
  }
}

// A line, a client and a letter for one device.
class TPoll {
 public:
  TPoll(const TPollOptions& options, TToolIo& io) {
    fClient.SetName("Client");
    fLetter.SetName("Poll");
    fConnection.SetRTU(&fLine);
    fClient.SetConnection(&fConnection);
    fClient.SetAdres(static_cast<std::uint8_t>(options.Address));
    fLetter.SetClient(&fClient);
    AddRegisters(fLetter.Regs(), options);
    fLine.SetPortProperty(options.Port);
    fLine.SetBaudRate(options.Baud);
    fLine.SetParity(ParityNamed(options.Parity));
    fLine.SetReceiveTimeout(options.Timeout);
    fLine.SetMaxRetries(static_cast<std::uint8_t>(options.Retries));
    if (options.Trace) TraceLine(fLine, io);
    fLine.SetActive(true);
  }

  std::vector<TRegisterRow> Read() { return ReadRegisters(fLetter, fLetter.Regs().RegList()); }

 private:
  TMBRTUConnection fLine;
  TMBConnection fConnection;
  TMBClient fClient;
  TMBLetter fLetter;
};

void RunPoll(const TPollOptions& options, TToolIo& io) {
  TPoll poll(options, io);
  PrintRows(io, options.Output, options.Watch, [&poll] { return poll.Read(); });
}

// A number the way people write addresses: 16, 0x10 or $10.
CLI::Option* AddNumber(CLI::App& command, const std::string& name, std::uint32_t& number,
                       std::int32_t low, std::int32_t high, const std::string& description) {
  const auto read = [low, high](std::string& text) -> std::string {
    std::int32_t value = 0;
    if (!TryStrToInt(text, value) || value < low || value > high) {
      return Format("'%s' is no number from %d to %d", {text, low, high});
    }
    text = IntToStr(value);
    return {};
  };
  return command.add_option(name, number, description)
      ->transform(CLI::Validator(read, ""))
      ->type_name("N");
}

void AddDeviceOptions(CLI::App& command, TPollOptions& options) {
  constexpr std::int32_t kMostBaud = 10'000'000;
  constexpr std::int32_t kMostAdress = 0xFFFFFF;
  command.add_option("--port", options.Port, "the serial port")->required()->type_name("PATH");
  AddNumber(command, "--baud", options.Baud, 1, kMostBaud, "bits per second")->required();
  AddNumber(command, "--address", options.Address, 1, 255, "the device's server address")
      ->required();
  AddNumber(command, "--function", options.Function, 1, 255,
            "1 reads coils, 2 discrete inputs, 3 holding registers, 4 input registers; 0x21 the "
            "registers, 0x43 and 0x44 the paged memory of DX517 devices")
      ->required();
  AddNumber(command, "--start", options.Start, 0, kMostAdress, "the first address, from 0")
      ->required();
  AddNumber(command, "--count", options.Count, 1, kAdresses,
            "how many registers; bits of 1 and 2, bytes of paged memory")
      ->required();
}

void AddLineOptions(CLI::App& command, TPollOptions& options) {
  constexpr std::int32_t kMostTimeout = 600'000;
  AddParityOption(command, options.Parity, "the port's; even without this option");
  AddNumber(command, "--timeout", options.Timeout, 1, kMostTimeout,
            "milliseconds until an answer begins; 1000 without this option");
  AddNumber(command, "--retries", options.Retries, 0, 255,
            "how often a request is repeated; twice without this option");
  AddTraceOption(command, options.Trace);
}

}  // namespace

void AddPollCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TPollOptions>();
  CLI::App& command =
      AddSubcommand(app,
                    {.Name = "poll",
                     .Summary = "Read registers of a device without a form",
                     .Details = "Numbers may be hexadecimal, as 0x10.",
                     .Example = "orvixmb poll --port /dev/ttyUSB0 --baud 19200 --address 17 "
                                "--function 3 --start 100 --count 6 --watch 1"},
                    [options, &io] { RunPoll(*options, io); });
  AddDeviceOptions(command, *options);
  command
      .add_option("--type", options->Type,
                  "what a value is; without this option uint16, or hex for paged memory")
      ->check(CLI::IsMember(TypeNames()))
      ->type_name("TYPE");
  AddLineOptions(command, *options);
  AddOutputOptions(command, options->Output);
  AddWatchOptions(command, options->Watch, "--rounds");
}

}  // namespace OrvixModBus
