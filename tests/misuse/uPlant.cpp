#include "uPlant.h"

#include <algorithm>
#include <utility>

#include "tests/src/uTestRegs.h"
#include "tests/support/FurnishedDevice.h"

namespace OrvixModBus {

using namespace std::chrono_literals;

TCountingClient::TCountingClient(TMBRTUConnection* line) {
  SetConnection(line);
  SetServerAddress(kOtherDevice);
  OnCustomTransactionComplete = [this](TModbusClient&, TModbusTransaction& transaction,
                                       std::uint8_t) {
    if (transaction.ServerReply() == TServerReply::srNormalReply) ++Answered;
  };
}

void TCountingClient::Ask() {
  if (Connection() == nullptr) return;
  const int ended = Ended;
  ++Asked;
  try {
    InitCustomTransaction(0x03, Hex("00 05 00 01"), false, nullptr);
  } catch (...) {
    if (Ended == ended) --Asked;  // nothing was queued
    throw;
  }
}

void TCountingClient::TransactionEnded(TModbusTransaction& /*transaction*/) { ++Ended; }

void TWaitModel::Listen(TMBClient& client) {
  const auto answered = [this](bool write) {
    return TMBEvent([this, write](TMBClient&, TServerReply, std::uint8_t, std::uint32_t,
                                  const Bytes&, TObject* owner) { Answered(write, owner); });
  };
  client.OnReadList.Add(answered(false));
  client.OnWriteList.Add(answered(true));
  client.OnClearWaitQueue.Add([this](TObject&) { Cleared(); });
  auto& line = client.RTUClient();
  line.OnCustomTransactionComplete = [this, former = line.OnCustomTransactionComplete](
                                         TModbusClient& sender, TModbusTransaction& transaction,
                                         std::uint8_t command) {
    fCompleting.push_back(&transaction);
    former(sender, transaction, command);
  };
  line.OnTransactionEnded = [this, former = line.OnTransactionEnded](TModbusTransaction& t) {
    Ended(t);
    former(t);
  };
}

void TWaitModel::Answered(bool write, const TObject* letterOwner) {
  if (!fLetter || letterOwner != fLetter.Get()) return;
  const bool forgotten =
      !fCompleting.empty() && std::ranges::count(fForgotten, fCompleting.back()) > 0;
  if (fLetter->Client() == nullptr) {
    ++fLeft;
  } else if (forgotten && write) {
    --fLeft;
  }
}

void TWaitModel::Cleared() {
  if (!fLetter || fLetter->Client() == nullptr) return;
  fLeft = 0;
  fForgotten = fCompleting;
  fUncertain = fLetter->Client()->IsEmul();
}

void TWaitModel::Ended(const TModbusTransaction& transaction) {
  std::erase(fForgotten, &transaction);
  if (std::erase(fCompleting, &transaction) > 0) return;
  const auto* info = dynamic_cast<const TLetterOwnerInfo*>(transaction.UserData());
  if (info != nullptr && fLetter && info->LetterOwner.Get() == fLetter.Get()) ++fLeft;
}

void TWaitModel::Check() const {
  if (!fLetter) return;
  std::uint32_t reads = 0, writes = 0;
  for (const std::uint8_t func : kMBReadFuncs) reads += fLetter->WaitQueue(func);
  for (const int func : {0x05, 0x06, 0x10, 0x65, 0x66}) {
    writes += fLetter->WaitQueue(static_cast<std::uint8_t>(func));
  }
  if (fUncertain) {
    EXPECT_EQ(reads, 0u);
  } else {
    EXPECT_EQ(reads + writes, fLeft);
  }
}

TPlant::TPlant() {
  Furnish(Devices[kDevice]);
  Furnish(Devices[kOtherDevice]);
  Wire.OnWrite = [this](const Bytes& request) { Answer(request); };
  Loop.OnException = [this](const std::exception_ptr& error) { Keep(error); };

  RenewPort();
  Line->SetSilentInterval(0);
  Line->SetMaxRetries(0);
  Line->SetReceiveTimeout(100);
  Line->SetActive(true);
  Connection->SetRTU(Line.Get());
  Client->SetConnection(Connection.Get());
  OtherConnection.SetRTU(Line.Get());
  OtherClient.SetConnection(&OtherConnection);
  OtherClient.SetAdres(kOtherDevice);
  Raw->SetConnection(Line.Get());
  Plain->SetConnection(Line.Get());

  auto& number = *Types->TypeNumbers().Add();
  number.SetName("Number");
  number.SetIntPart(2);
  number.SetMultiplier(1);
  number.SetMaxValue(65535);
  for (TMBLetter* letter : {Letter.Get(), Neighbour.Get()}) {
    letter->Regs().SetMBTypeInfo(Types.Get());
    FillRegs(*letter);
  }
  AddReg(OtherLetter.Regs(), {"Bystander", 5});
  Reg = Letter->Regs().GetItemByName("A");
  Fill->SetMBLetter(Letter.Get());
  Fill->RegNameList().SetText("New1\nNew2\nNew3");
}

TPlant::~TPlant() {
  delete Root.Get();
  delete Driver.Get();
  delete Lines.Get();
}

void TPlant::Bind() {
  for (TMBLetter* letter : {Letter.Get(), Neighbour.Get()}) {
    Models.push_back(std::make_unique<TWaitModel>(*letter));
    Models.back()->Listen(*Client);
    letter->SetClient(Client.Get());
  }
  Models.push_back(std::make_unique<TWaitModel>(OtherLetter));
  Models.back()->Listen(OtherClient);
  OtherLetter.SetClient(&OtherClient);
  Log20->SetMBClient(Client.Get());
  Log24->SetMBClient(Client.Get());
  Oscil41->SetMBClient(Client.Get());
  Log20->SetOneRecordLength(4);
  Log24->SetOneRecordLength(4);
  Oscil41->SetOscilInfoLength(4);
  Oscil41->SetOscilDataLength(4);
  Driver = new TMBLetterReadWriter(*Letter);
}

// One register for every way in which bytes travel and are decoded.
void TPlant::FillRegs(TMBLetter& letter) {
  TMBRegs& regs = letter.Regs();
  AddReg(regs, {"A", 10});
  AddReg(regs, {"B", 11}).SetRegType(TRegType::rtNum);
  regs.GetItemByName("B")->SetTypeName("Number");
  AddReg(regs, {"C", 12}).SetTypeInfo(nullptr);
  AddReg(regs, {"Far", 40, 2, 0x03, 2, 0x10});
  AddReg(regs, {"Paged", 0x100, 4, 0x43, 1, 0x66});
  AddReg(regs, {"Coil", 3, 1, 0x01, 2, 0x05});
}

void TPlant::RunFor(TLoop::TClock::duration time) {
  Loop.RunUntil([] { return false; }, time);
}

void TPlant::Emulate() {
  Connection->SetConnectionType(TConnectionType::mbEmul);
  Client->OnGetEmulData = [](TMBReg& reg, Bytes& data) { data = reg.Data(); };
  Client->OnSetEmulData = [](TMBReg&, Bytes&) {};
}

void TPlant::Traffic() {
  Try([this] { Counting.Ask(); });
  Try([this] {
    if (Neighbour) Read(*Neighbour);
  });
  Try([this] { Read(OtherLetter); });
  Try([this] { Counting.Ask(); });
}

// Requests of the letter that are not started have been sent to a line without a port, unless the
// sending was broken off.
template <class TSend>
void TPlant::Send(TMBLetter& letter, std::uint64_t requests, TSend send) {
  const TRef<TMBClient> client = letter.Client();
  const TRef<TMBLetter> alive = &letter;
  if (!client) return;
  const std::uint64_t before = client->WorkStarts();
  const std::uint64_t startsOutside = std::exchange(fStartsInside, 0);
  TFirstError error;
  bool done = false;
  error.Run([&] {
    send();
    done = true;
  });
  const std::uint64_t starts = client ? client->WorkStarts() - before : 0;
  const std::uint64_t own = starts - std::exchange(fStartsInside, startsOutside + starts);
  for (const auto& model : Models) {
    if (model->Letter() != &letter || !client || !alive || alive->Client() != client.Get())
      continue;
    if (done && !client->IsEmul() && own < requests) model->Lose(requests - own);
  }
  error.Raise();
}

void TPlant::Read(TMBLetter& letter, const TMBRegProc& proc) {
  TMBRegList list = letter.Regs().RegList();
  SortMBRegs(list);
  std::uint64_t requests = 0;
  for (const std::uint8_t func : kMBReadFuncs) requests += MBRegsOptimize(list, 0, func).size();
  Send(letter, requests, [&] { letter.ReadAllRegs(proc); });
}

void TPlant::Write(TMBLetter& letter) {
  if (TMBReg* coil = letter.Regs().GetItemByName("Coil")) coil->SetRegData({0xFF, 0});
  Send(letter, static_cast<std::uint64_t>(letter.Regs().Count()), [&] { letter.WriteAllRegs(); });
}

// frame: | server address | function code | data | CRC lo | CRC hi |
void TPlant::Answer(std::span<const std::uint8_t> frame) {
  const std::uint8_t server = frame[0];
  const auto request = frame.subspan(1, frame.size() - 3);
  const EDevice device = server == kDevice ? Device : EDevice::Answers;
  if (device == EDevice::IsSilent) return;
  const Bytes refusal{static_cast<std::uint8_t>(request[0] | 0x80), 4};
  const Bytes reply = device == EDevice::Refuses ? refusal : Devices.at(server).Answer(request, 0);
  Wire.Arrive(10ms, Frame(Bytes{server} + reply));
}

void TPlant::Keep(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& known) {
    Errors.emplace_back(known.what());
  } catch (...) {
    Errors.emplace_back("something else");
  }
}

}  // namespace OrvixModBus
