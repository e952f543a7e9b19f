#include "tests/storm/station.h"

#include "platform/rtl/uNumText.h"
#include "tests/storm/weather.h"
#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMostComplaints = 10;
constexpr std::uint64_t kLongestPause = 20;  // ms between two activities
constexpr std::uint64_t kAwhile = 10;        // ms until a lost port is asked for again
constexpr std::uint8_t kLastWaitedFunction = 128;

Bytes Words(std::int32_t one, std::int32_t other) {
  return {static_cast<std::uint8_t>(one >> 8 & 0xFF), static_cast<std::uint8_t>(one & 0xFF),
          static_cast<std::uint8_t>(other >> 8 & 0xFF), static_cast<std::uint8_t>(other & 0xFF)};
}

}  // namespace

void TStormTally::Check(bool right, const std::function<std::string()>& what) {
  ++Compared;
  if (right) return;
  ++Wrong;
  if (Complaints.size() < kMostComplaints) Complaints.push_back(what());
}

TStation::TStation(TMBRTUConnection& line, TMBConnection& connection, std::uint8_t server,
                   TWitness& witness, TStormTally& tally, std::uint64_t seed)
    : fLine(line),
      fWitness(witness),
      fTally(tally),
      fServer(server),
      fRandom(seed),
      fTimer(TLoop::Current().NewTimer([this] { Next(); })) {
  fClient.SetConnection(&connection);
  fClient.SetAdres(server);
  fReading.SetClient(&fClient);
  fWriting.SetClient(&fClient);
  FillReading();
  FillWriting();
  Listen(fReading);
  Listen(fWriting);
  ListenToClient();
  ListenToLogs();
  ListenToOscillograms();
}

TMBReg& TStation::AddReg(TMBLetter& letter, std::uint8_t read, std::uint32_t adress,
                         std::uint8_t width, std::uint8_t count, std::uint8_t write) {
  TMBReg& reg = *letter.Regs().Add();
  reg.SetDisplayName("R" + std::to_string(letter.Regs().Count()));
  reg.SetMBFuncRead(read);
  reg.SetMBFuncWrite(write);
  reg.SetRegAdress(adress);
  reg.SetBytesInOneReg(width);
  reg.SetRegsCount(count);
  return reg;
}

void TStation::FillReading() {
  for (std::uint32_t i = 0; i < 12; ++i) {
    AddReg(fReading, 0x01, i * 3, 1, 1);
    AddReg(fReading, 0x02, i, 1, 1);
    AddReg(fReading, 0x03, i * 4, 2, i % 2 == 0 ? 4 : 2);
    AddReg(fReading, 0x04, i, 2, 1);
    AddReg(fReading, 0x43, 0x10000 + i * 4, 1, 4);
  }
  for (std::uint32_t i = 0; i < 4; ++i) AddReg(fReading, 0x21, i, 2, 2);
  AddReg(fReading, 0x44, 0x10100, 1, 200);
  AddReg(fReading, 0x03, 200, 2, 100);
}

void TStation::FillWriting() {
  for (std::uint32_t i = 0; i < 3; ++i) {
    AddReg(fWriting, 0x01, 1000 + i * 2, 2, 1, 0x05);
    AddReg(fWriting, 0x03, 1000 + i, 2, 1, 0x06);
    AddReg(fWriting, 0x03, 1010 + i, 2, 1, 0x6C);
    AddReg(fWriting, 0x43, 0x20000 + i * 10, 1, 10, 0x65);
    AddReg(fWriting, 0x44, 0x20064 + i * 8, 1, 6, 0x66);
  }
  AddReg(fWriting, 0x03, 1020, 2, 12, 0x10);
}

void TStation::Check(bool right, const std::string& what) const {
  fTally.Check(right, [&] { return "server " + std::to_string(fServer) + ": " + what; });
}

void TStation::Listen(TMBLetter& letter) {
  letter.OnRegDataChange = [this](TMBLetter&, TMBReg& reg) {
    Check(fWitness.Holds(fServer, reg),
          reg.Name() + " changed to " + ToHex(reg.Data()) + fWitness.Text());
  };
  letter.OnWriteReg = [this](TMBLetter&, TMBReg& reg) {
    Check(fWitness.Holds(fServer, reg), reg.Name() + " told as written " + ToHex(reg.Data()));
  };
}

void TStation::ListenToClient() {
  const auto former = fClient.RTUClient().OnTransactionEnded;
  fClient.RTUClient().OnTransactionEnded = [this, former](TModbusTransaction& transaction) {
    Ended(transaction);
    former(transaction);
  };
  fClient.OnRead = [this](TMBClient&, TServerReply kind, std::uint8_t func, std::uint32_t,
                          const Bytes& values, TObject*) {
    const bool good = kind == TServerReply::srNormalReply;
    Check(good ? fWitness.Reported(fServer, func, values) : values.empty(),
          "read $" + IntToHex(func, 2) + " " + ToHex(values));
  };
  fClient.OnReadFile.Add(
      [this](TMBClient&, TServerReply kind, TModbusFileRecordList& records, TObject*) {
        if (kind != TServerReply::srNormalReply) return OnDropped();
        for (int i = 0; i < records.Count(); ++i) {
          const TModbusFileRecord& record = records.Records(i);
          Check(fWitness.Holds(fServer, record), "file record " + ToHex(record.Data));
        }
      });
}

void TStation::ListenToLogs() {
  for (TMBLogFunction* log :
       {static_cast<TMBLogFunction*>(&fEvents), static_cast<TMBLogFunction*>(&fAlarms)}) {
    log->SetMBClient(&fClient);
    log->SetOneRecordLength(TStormDevices::kLogRecordSize);
    log->OnGetCountInfo = [this, log](TObject&) {
      const Bytes counts = Words(log->TotalItem(), log->ItemCount());
      Check(fWitness.Reported(fServer, log->MBFunc(), counts), "log count " + ToHex(counts));
      log->ReadAllItems();
    };
    log->OnGetRecord = [this, log](TObject&, const Bytes& record) {
      Check(fWitness.ReportedRecord(fServer, log->MBFunc(), record), "log record " + ToHex(record));
    };
  }
}

void TStation::ListenToOscillograms() {
  fOscillograms.SetMBClient(&fClient);
  fOscillograms.SetOscilInfoLength(TStormDevices::kInfoSize);
  fOscillograms.SetOscilDataLength(TStormDevices::kSampleSize);
  const auto check = [this](const char* what, const Bytes& record) {
    Check(fWitness.ReportedRecord(fServer, 0x41, record), what + ToHex(record));
  };
  fOscillograms.OnGetCountInfo = [this](TObject&) {
    fOscillograms.RaedOscilInfo(1);
    fOscillograms.ReadOscilData(1, TStormDevices::kSamples);
  };
  fOscillograms.OnGetOscilInfo = [check](TObject&, const Bytes& info) { check("info ", info); };
  fOscillograms.OnGetOscilData = [check](TObject&, std::uint16_t, std::uint16_t,
                                         const Bytes& sample) { check("sample ", sample); };
}

// Whatever a transaction ended with, the devices must have said just that.
void TStation::Ended(TModbusTransaction& transaction) {
  ++fTally.Ended;
  const TServerReply kind = transaction.ServerReply();
  const bool answered =
      kind == TServerReply::srNormalReply || kind == TServerReply::srExceptionReply;
  if (answered && transaction.Kind() != TTransactionKind::tkFileRecord) CheckAnswer(transaction);
  OnEnded(transaction);
  Wait(fRandom.Between(0, kLongestPause));
}

void TStation::CheckAnswer(const TModbusTransaction& transaction) {
  const auto request = transaction.Request().Data(), reply = transaction.Reply().Data();
  const auto asked = request.subspan(1), told = reply.subspan(1);
  if (fWitness.AnsweredButForAZero(fServer, asked, told)) {
    ++fTally.Undecidable;
    return;
  }
  Check(reply[0] == fServer && fWitness.Answered(fServer, asked, told),
        ToHex(request) + " answered by " + ToHex(reply) + fWitness.Text());
}

void TStation::Wait(std::uint64_t time) {
  fTimer->Start(TLoop::Current().Now() + milliseconds(time));
}

void TStation::CheckCounters(TMBLetter& letter) {
  for (std::uint8_t func = 0; func <= kLastWaitedFunction && !fDropped; ++func) {
    if (letter.WaitQueue(func) != 0) ++fTally.Stuck;
  }
  letter.ClearWaitQueue();
}

void TStation::Next() {
  if (!IsIdle()) return;  // the end of what is pending leads back to here
  CheckCounters(fReading);
  CheckCounters(fWriting);
  fDropped = false;
  if (fTally.Stopping) return;
  if (fLine.Active()) Act();
  if (IsIdle()) Wait(kAwhile);
}

void TStation::Act() {
  switch (fRandom.Between(0, 9)) {
    case 0:
    case 1:
    case 2:
      return fReading.ReadAllRegs();
    case 3:
      return WriteLetter();
    case 4:
      return fWriting.ReadAllRegs();
    case 5:
      return fEvents.ReadCountItem();
    case 6:
      return fAlarms.ReadCountItem();
    case 7:
      return fOscillograms.ReadCountItem();
    case 8:
      return ReadFile();
    default:
      fClient.Read(0x11, 0, 0, nullptr);
      return fClient.ConfirmComandDX517();
  }
}

void TStation::WriteLetter() {
  for (TMBReg* reg : fWriting.Regs().RegList()) {
    const Bytes data = fRandom.SomeBytes(reg->Data().size());
    const auto coil = static_cast<std::uint8_t>(data[0] < 128 ? 0x00 : 0xFF);
    reg->SetRegData(reg->MBFuncWrite() == 0x05 ? Bytes{coil, 0x00} : data);
  }
  fWriting.WriteAllRegs();
}

void TStation::ReadFile() {
  TModbusFileRecordList records;
  for (std::uint16_t record = 0; record < TStormDevices::kFileRecords; ++record) {
    records.Add(1, record, TStormDevices::kFileRecordLength);
  }
  fClient.ReadFileRecord(records, &fReading);
}

}  // namespace OrvixModBus
