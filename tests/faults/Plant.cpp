#include "tests/faults/Plant.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kAdress = 0x10;
constexpr std::uint16_t kFile = 3, kRecord = 7;

// Of a register that this function reads or writes.
struct TRegisterForm {
  std::uint8_t Function;
  std::uint8_t Count;
  std::uint8_t BytesInOneReg;
};

constexpr TRegisterForm kRegisters[] = {{0x01, 1, 1}, {0x02, 1, 1}, {0x03, 1, 2}, {0x04, 1, 2},
                                        {0x05, 1, 2}, {0x06, 1, 2}, {0x10, 2, 2}, {0x21, 2, 2},
                                        {0x43, 4, 1}, {0x65, 4, 1}, {0x6C, 1, 2}};

const TRegisterForm& RegisterForm(std::uint8_t function) {
  return *std::ranges::find(kRegisters, function, &TRegisterForm::Function);
}

std::size_t DataSize(std::uint8_t function) {
  const TRegisterForm& form = RegisterForm(function);
  return std::size_t{form.Count} * form.BytesInOneReg;
}

TSimulatedTable& TableOf(TSimulatedDevice& device, std::uint8_t function) {
  switch (function) {
    case 0x01:
    case 0x05:
      return device.Coils;
    case 0x02:
      return device.Discrete;
    case 0x04:
      return device.Input;
    case 0x21:
      return device.Extended;
    case 0x43:
    case 0x65:
      return device.Paged;
    default:
      return device.Holding;
  }
}

// How many bytes one cell of the table holds.
std::size_t CellSize(std::uint8_t function) {
  switch (function) {
    case 0x01:
    case 0x02:
    case 0x43:
    case 0x65:
      return 1;
    case 0x21:
      return 4;
    default:
      return 2;
  }
}

// A coil that is written by $05 holds 1 for FF 00.
std::vector<std::uint32_t> Cells(std::uint8_t function, const Bytes& data) {
  if (function == 0x05) return {data[0] == 0xFF ? 1U : 0U};
  std::vector<std::uint32_t> cells;
  const std::size_t size = CellSize(function);
  for (std::size_t at = 0; at < data.size(); at += size) {
    std::uint32_t cell = 0;
    for (std::size_t i = 0; i < size; ++i) cell = cell << 8 | data[at + i];
    cells.push_back(cell);
  }
  return cells;
}

}  // namespace

TRoad RoadOf(std::uint8_t function) {
  switch (function) {
    case 0x05:
    case 0x06:
    case 0x6C:
      return TRoad::WriteRegister;
    case 0x10:
      return TRoad::WriteBlock;
    case 0x65:
      return TRoad::WritePaged;
    case 0x11:
      return TRoad::Identity;
    case 0x14:
      return TRoad::File;
    case 0x20:
    case 0x24:
    case 0x41:
      return TRoad::Items;
    default:
      return TRoad::ReadRegister;
  }
}

TPlant::TPlant(std::uint8_t function)
    : fFunction(function),
      fRoad(RoadOf(function)),
      fFarLine(Loop, Cable.FarEnd(), [this](auto request) { return Simulator.Answer(request); },
               {.BaudRate = 9600, .Burst = 1}) {
  Simulator.Clock = [] { return 0.0; };
  Line.SetSerialPort(Cable.NewPort());
  Line.SetPortProperty("cable");
  Line.SetReceiveTimeout(kTimeout);
  Line.SetReconnectInterval(100);
  Line.SetMaxRetries(0);
  Line.SetActive(true);
  fConnection.SetRTU(&Line);
  fClient.SetConnection(&fConnection);
  fClient.SetAdres(kServer);
  SetUpRegister();
  Listen();
  if (function == 0x20) SetUpItems<TMBFunction20>();
  if (function == 0x24) SetUpItems<TMBFunction24>();
  if (function == 0x41) SetUpItems<TMBFunction41>();
  SetValue(0);
}

bool TPlant::Writes() const {
  return fRoad == TRoad::WriteRegister || fRoad == TRoad::WriteBlock || fRoad == TRoad::WritePaged;
}

void TPlant::SetUpRegister() {
  fLetter.SetClient(&fClient);
  const auto* const form = std::ranges::find(kRegisters, fFunction, &TRegisterForm::Function);
  if (form == std::end(kRegisters)) return;
  fReg = fLetter.Regs().Add();
  fReg->SetRegAdress(kAdress);
  fReg->SetMBFuncRead(Writes() ? 0x03 : fFunction);
  fReg->SetMBFuncWrite(Writes() ? fFunction : std::uint8_t{0});
  fReg->SetBytesInOneReg(form->BytesInOneReg);
  fReg->SetRegsCount(form->Count);
  const Bytes first = Value(0);
  for (std::size_t i = 0; i < first.size(); ++i) {
    fReg->SetData(static_cast<std::uint16_t>(i), first[i]);
  }
}

void TPlant::Note(const char* event) {
  if (!fEvents.empty()) fEvents += ", ";
  fEvents += event;
}

void TPlant::Listen() {
  fLetter.OnReadAllRegs = [this](TMBLetter&) { Note("letter.OnReadAllRegs"); };
  fLetter.OnWriteAllRegs = [this](TMBLetter&) { Note("letter.OnWriteAllRegs"); };
  fLetter.OnRegDataChange = [this](TMBLetter&, TMBReg&) { Note("letter.OnRegDataChange"); };
  fLetter.OnWriteReg = [this](TMBLetter&, TMBReg&) { Note("letter.OnWriteReg"); };
  fLetter.OnExeptionAnswer = [this](TMBLetter&, std::uint8_t) { Note("letter.OnExeptionAnswer"); };
  fLetter.OnNoneAnswer = [this](TMBLetter&, std::uint8_t) { Note("letter.OnNoneAnswer"); };
  fClient.OnExeptionAnswer = [this](TMBClient&, TServerReply, std::uint8_t, std::uint32_t) {
    Note("client.OnExeptionAnswer");
  };
  fClient.OnNoneAnswer = [this](TMBClient&, TServerReply, std::uint8_t, std::uint32_t) {
    Note("client.OnNoneAnswer");
  };
  fClient.OnRead = [this](TMBClient&, TServerReply kind, std::uint8_t, std::uint32_t,
                          const Bytes& values, TObject*) {
    Note("client.OnRead");
    fKind = kind;
    if (kind == TServerReply::srNormalReply) fRead = values;
  };
  fClient.OnWrite = [this](TMBClient&, TServerReply kind, std::uint8_t, std::uint32_t, const Bytes&,
                           TObject*) {
    Note("client.OnWrite");
    fKind = kind;
  };
  fClient.OnReadFile.Add(
      [this](TMBClient&, TServerReply kind, TModbusFileRecordList& list, TObject*) {
        Note("client.OnReadFile");
        fKind = kind;
        if (kind == TServerReply::srNormalReply) fRead = list.Records(0).Data;
      });
  fClient.OnCastomTrunsaction.Add([this](TModbusClient&, TModbusTransaction& transaction,
                                         std::uint8_t) { fKind = transaction.ServerReply(); });
}

template <class TFunction>
void TPlant::SetUpItems() {
  fItems = std::make_unique<TFunction>();
  fItems->SetMBClient(&fClient);
  fItems->OnGetCountInfo = [this](TObject&) {
    Note("function.OnGetCountInfo");
    const auto total = static_cast<std::uint32_t>(fItems->TotalItem());
    fRead = {static_cast<std::uint8_t>(total >> 8), static_cast<std::uint8_t>(total & 0xFF)};
  };
  fItems->OnErorAnswer = [this](TObject&) { Note("function.OnErorAnswer"); };
}

// Not one of them looks like a part of a frame's head.
Bytes TPlant::Value(int number) const {
  const auto byte = static_cast<std::uint8_t>(0xB0 + number);
  if (fFunction == 0x01 || fFunction == 0x02) return {static_cast<std::uint8_t>(number % 2)};
  if (fFunction == 0x05) {
    return {number % 2 == 0 ? std::uint8_t{0x00} : std::uint8_t{0xFF}, std::uint8_t{0x00}};
  }
  Bytes value(fReg != nullptr ? DataSize(fFunction) : 2, 0xA7);
  value.back() = byte;
  return value;
}

void TPlant::SetValue(int number) {
  fNumber = number;
  TSimulatedDevice& device = Simulator.Device(kServer);
  const Bytes value = Value(number);
  const auto total = static_cast<std::uint16_t>(value[0] << 8 | value.back());
  switch (fRoad) {
    case TRoad::Identity:
      device.Identity = {.ServerId = value};
      break;
    case TRoad::File:
      device.Files[kFile].Records[kRecord] = value;
      break;
    case TRoad::Items:
      device.Logs[0x20].Total = device.Logs[0x24].Total = device.OscillogramTotal = total;
      break;
    default:
      if (Writes() && number != 0) return;
      TableOf(device, fFunction).Set(kAdress, Cells(fFunction, value));
  }
}

void TPlant::Ask() {
  TModbusFileRecordList list;
  switch (fRoad) {
    case TRoad::Identity:
      return fClient.Read(0x11, 0, 0, nullptr);
    case TRoad::File:
      list.Add(kFile, kRecord, 1);
      return fClient.ReadFileRecord(list, nullptr);
    case TRoad::Items:
      return fItems->ReadCountItem();
    case TRoad::ReadRegister:
      return fLetter.ReadAllRegs();
    default:
      return fLetter.WriteReg(fReg, 0, Value(fNumber));
  }
}

void TPlant::Exchange() {
  Ask();
  fMostWaiting = Waiting();
  EXPECT_TRUE(Loop.RunUntil([this] { return IsEnded(); }, 1min)) << "a lost completion";
}

void TPlant::AwaitPort() {
  EXPECT_TRUE(Loop.RunUntil([this] { return Line.Active(); }, 1min)) << "the port stays away";
}

std::string TPlant::TakeEvents() { return std::exchange(fEvents, {}); }

Bytes TPlant::Held() const {
  if (fReg != nullptr) return ToBytes(fReg->Data());
  return fRead;
}

unsigned TPlant::Waiting() const {
  if (fReg != nullptr) return fLetter.WaitQueue(fFunction);
  return static_cast<unsigned>(fClient.CountPendingTransactions());
}

}  // namespace OrvixModBus
