#include "uEventRows.h"

#include "platform/modbus/uRecordedQueue.h"
#include "platform/modbus/uRtuQueue.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

// A handler of any event.
template <class TResult, class... TArgs>
void Listen(TEvent<TResult(TArgs...)>& event, const TAct& act) {
  event = [act](TArgs...) {
    act();
    return TResult();
  };
}

template <class TEventType>
TAct HearEvent(TEventType& event, const TAct& act) {
  if constexpr (requires { event.Count(); }) {
    typename TEventType::THandler handler;
    Listen(handler, act);
    event.Add(handler);
    return [&event, handler] { event.Remove(handler); };
  } else {
    Listen(event, act);
    return [&event] { event = nullptr; };
  }
}

template <auto Part, auto Event>
TAct Hear(TPlant& plant, const TAct& act) {
  return HearEvent((*(plant.*Part)).*Event, act);
}

template <auto Part>
void Destroy(TPlant& plant) {
  delete (plant.*Part).Get();
}

constexpr auto kDestroyAll = &Destroy<&TPlant::Root>;

// ---- what makes events happen -------------------------------------------------------------------

// The misdeed may have been done by others' requests before.
template <class T, class TAction>
void With(const TRef<T>& object, TAction action) {
  if (object) action(*object);
}

void Read(TPlant& plant) {
  With(plant.Letter, [&](TMBLetter& letter) { plant.Read(letter); });
}

void ReadUnanswered(TPlant& plant) {
  plant.Device = EDevice::IsSilent;
  Read(plant);
}

void ReadRefused(TPlant& plant) {
  plant.Device = EDevice::Refuses;
  Read(plant);
}

void Write(TPlant& plant) {
  With(plant.Letter, [&](TMBLetter& letter) { plant.Write(letter); });
}

// Set aside after one time-out, found by the first probe after the device is back.
void LoseTheServer(TPlant& plant) {
  plant.Line->SetSetAsideAfter(1);
  plant.Line->SetProbeInterval(200);
  ReadUnanswered(plant);
}

void LoseAndFindTheServer(TPlant& plant) {
  LoseTheServer(plant);
  plant.RunFor(2s);
  plant.Device = EDevice::Answers;
  Read(plant);
}

void LoseThePort(TPlant& plant) {
  Read(plant);
  plant.Wire.HungUp = true;
}

void LoseAndFindThePort(TPlant& plant) {
  plant.Line->SetReconnectInterval(50);
  LoseThePort(plant);
  plant.RunFor(1ms);
  plant.Wire.HungUp = false;
}

void ReadFile(TPlant& plant) {
  TModbusFileRecordList list;
  list.Add(4, 1, 2);
  With(plant.Client, [&](TMBClient& client) { client.ReadFileRecord(list, plant.Letter.Get()); });
}

void ReadFileRefused(TPlant& plant) {
  plant.Device = EDevice::Refuses;
  Read(plant);
  ReadFile(plant);
}

void ReadFileRaw(TPlant& plant) {
  TModbusFileRecordList list;
  list.Add(4, 1, 2);
  plant.Raw->ReadFileRecord(list, plant.Letter.Get());
  plant.Plain->ReadFileRecord(list, nullptr);
}

void AskWhoIsThere(TPlant& plant) {
  plant.Raw->ReportServerID(plant.Letter.Get());
  plant.Plain->ReportServerID(nullptr);
}

void AskRaw(TPlant& plant, const TRef<TRTUClient>& client, std::uint8_t func, const char* data) {
  if (!client || client->Connection() == nullptr) return;
  client->InitCustomTransaction(func, Hex(data), false, plant.Letter.Get());
}

void AskRaw(TPlant& plant) {
  AskRaw(plant, plant.Raw, 0x43, "00 00 10 04");
  AskRaw(plant, plant.Raw, 0x66, "00 00 20 02 01 02");
  AskRaw(plant, plant.Raw, 0x03, "00 00 00 01");
}

void AskPlain(TPlant& plant) {
  plant.Plain->InitCustomTransaction(0x03, Hex("00 00 00 01"), false, plant.Letter.Get());
}

void ClearTheQueue(TPlant& plant) {
  Read(plant);
  With(plant.Client, [](TMBClient& client) { client.ClearWaitQueueAllLetters(); });
}

void ReadEmulatedAlone(TPlant& plant) {
  TRef<TEmulClient> emul = plant.Emul;
  for (int i = 0; i < 3 && emul; ++i) {
    if (plant.Reg) emul->ReadRegs(*plant.Reg, plant.Letter.Get());
  }
}

void WriteEmulatedAlone(TPlant& plant) {
  TRef<TEmulClient> emul = plant.Emul;
  for (int i = 0; i < 3 && emul; ++i) {
    if (plant.Reg) emul->WriteReg(*plant.Reg, {1, 2}, plant.Letter.Get());
  }
}

template <auto Part>
void ReadCount(TPlant& plant) {
  With(plant.*Part, [](auto& function) { function.ReadCountItem(); });
}

template <auto Part>
void ReadCountRefused(TPlant& plant) {
  plant.Device = EDevice::Refuses;
  ReadCount<Part>(plant);
}

template <auto Part>
void ReadLog(TPlant& plant) {
  ReadCount<Part>(plant);
  plant.RunFor(5s);
  With(plant.*Part, [](auto& function) { function.ReadAllItems(); });
}

void ReadOscilInfo(TPlant& plant) { plant.Oscil41->RaedOscilInfo(1); }
void ReadOscilData(TPlant& plant) { plant.Oscil41->ReadOscilData(1, 3); }

void FillTheSet(TPlant& plant) {
  plant.Fill->FillRegs();
  if (plant.Fill && plant.Letter) plant.Fill->FillRegsFast({}, true);
}

void ReadByDriver(TPlant& plant) {
  plant.Driver->AssignRegs(plant.Driver->Letter().Regs().RegList());
  plant.Driver->ReadArray();
}

void ChangeLines(TPlant& plant) {
  TRef<TStringList> lines = plant.Lines;
  if (lines) lines->Add("b=1");
  if (lines) lines->SetValue("b", "2");
  if (lines) lines->SetText("c\r\na\r\nb");
  if (lines) lines->SetSorted(true);
  if (lines) lines->Clear();
}

void ChangeNames(TPlant& plant) {
  plant.Fill->RegNameList().Add("New4");
  if (plant.Fill) plant.Fill->SetRegNameList(TStringList());
}

// ---- handlers of another kind -------------------------------------------------------------------

template <auto Event>
TAct HearTheSerialQueue(TPlant& plant, const TAct& act) {
  auto& queue = dynamic_cast<TRtuQueue&>(plant.Line->Queue());
  queue.IsTraced = [] { return true; };
  return HearEvent(queue.*Event, act);
}

TAct HearTheRecorder(TPlant& plant, const TAct& act) {
  plant.Line->SetRecorderSize(4096);
  plant.Line->SetRecordingFile("/no such folder/recording");
  return Hear<&TPlant::Line, &TModbusConnection::OnRecorded>(plant, act);
}

template <auto Event>
TAct HearARecordedQueue(TPlant& plant, const TAct& act) {
  auto queue = std::make_unique<TRecordedQueue>();
  queue->SetActive(true);
  TAct undo = HearEvent((*queue).*Event, act);
  plant.Line->SetQueue(std::move(queue));
  return undo;
}

void DestroyQueue(TPlant& plant) {
  if (plant.Line) plant.RenewPort();
}

TAct HearNames(TPlant& plant, const TAct& act) {
  return HearEvent(plant.Fill->RegNameList().OnChange, act);
}

TAct HearDriverEvent(TPlant& plant, const TAct& act) {
  plant.Driver->AssignProcs([act](TObject&) { act(); }, {});
  return [&plant] { plant.Driver->AssignProcs({}, {}); };
}

TAct HearDriverProc(TPlant& plant, const TAct& act) {
  plant.Driver->AssignProcs({}, act);
  return [&plant] { plant.Driver->AssignProcs({}, {}); };
}

// For what is called by itself in the middle of a call.
TAct& HeardByCall() {
  static TAct act;
  return act;
}

TAct HearCall(TPlant& /*plant*/, const TAct& act) {
  HeardByCall() = act;
  return [] { HeardByCall() = nullptr; };
}

void CallBack() {
  if (const TAct act = HeardByCall()) act();
}

void ReadWithProc(TPlant& plant) {
  plant.Read(*plant.Letter, [](TMBReg&) { CallBack(); });
}

void FillWithProc(TPlant& plant) {
  plant.Fill->OnGetRegInfo = [](TMBRegsAutoFill&, TMBReg&, bool& done) { done = true; };
  plant.Fill->FillRegs([](TMBReg&) { CallBack(); });
}

void FillWithProgress(TPlant& plant) {
  plant.Fill->ProgressProc = [](std::int32_t) { CallBack(); };
  plant.Fill->FillRegsFast({}, true);
}

void CutStructure(TPlant& plant) {
  for (const char* name : {"First", "Second"}) {
    auto& field = *plant.Types->TypeStructurs().Add();
    field.SetName(name);
    field.SetStructurName("Block");
    field.SetOffset(name[0] == 'F' ? 0 : 2);
    field.SetSize(2);
    field.SetRegType(TRegType::rtStructur);
  }
  plant.Types->TypeStructurs().ValuesByStructurName(
      "Block", {1, 2, 3, 4}, *plant.Types,
      [](TObject&, TMBRegTypeStructure&, const Bytes&, const Bytes&, bool&) {
        CallBack();
        return TRegValue();
      });
}

TEventRow HearLast(TEventRow row) {
  row.Way = "behind the letters";
  row.HearsLast = true;
  return row;
}

TEventRow Emulate(TEventRow row) {
  row.Way = row.Way.empty() ? "by emulation" : row.Way + " by emulation";
  row.Emulated = true;
  return row;
}

// ---- the tables ---------------------------------------------------------------------------------

void AddLineRows(std::vector<TEventRow>& rows) {
  using TSelf = TModbusConnection;
  constexpr auto kLine = &TPlant::Line;
  constexpr auto kDestroy = &Destroy<kLine>;
  for (const TEventRow& row : std::vector<TEventRow>{
           {"TMBRTUConnection", "OnPortLost", "", &Hear<kLine, &TSelf::OnPortLost>, &LoseThePort,
            kDestroy, kDestroyAll, true},
           {"TMBRTUConnection", "OnPortLost", "and looked for", &Hear<kLine, &TSelf::OnPortLost>,
            &LoseAndFindThePort, kDestroy, kDestroyAll, true},
           {"TMBRTUConnection", "OnPortFound", "", &Hear<kLine, &TSelf::OnPortFound>,
            &LoseAndFindThePort, kDestroy, kDestroyAll, true},
           {"TMBRTUConnection", "OnTrace", "", &Hear<kLine, &TSelf::OnTrace>, &Read, kDestroy,
            kDestroyAll},
           {"TMBRTUConnection", "OnServerLost", "", &Hear<kLine, &TSelf::OnServerLost>,
            &LoseTheServer, kDestroy, kDestroyAll},
           {"TMBRTUConnection", "OnServerFound", "", &Hear<kLine, &TSelf::OnServerFound>,
            &LoseAndFindTheServer, kDestroy, kDestroyAll},
           {"TMBRTUConnection", "OnRecorded", "", &HearTheRecorder, &ReadUnanswered, kDestroy,
            kDestroyAll},
           {"TRtuQueue", "OnPortLost", "", &HearTheSerialQueue<&TRtuQueue::OnPortLost>,
            &LoseThePort, &DestroyQueue, kDestroy, true},
           {"TRtuQueue", "OnPortFound", "", &HearTheSerialQueue<&TRtuQueue::OnPortFound>,
            &LoseAndFindThePort, &DestroyQueue, kDestroy, true},
           {"TRtuQueue", "OnServerLost", "", &HearTheSerialQueue<&TRtuQueue::OnServerLost>,
            &LoseTheServer, &DestroyQueue, kDestroy, true},
           {"TRtuQueue", "OnServerFound", "", &HearTheSerialQueue<&TRtuQueue::OnServerFound>,
            &LoseAndFindTheServer, &DestroyQueue, kDestroy, true},
           {"TRtuQueue", "OnFailure", "", &HearTheSerialQueue<&TRtuQueue::OnFailure>,
            &ReadUnanswered, &DestroyQueue, kDestroy, true},
           {"TRtuQueue", "OnTrace", "", &HearTheSerialQueue<&TRtuQueue::OnTrace>, &Read,
            &DestroyQueue, kDestroy, true},
           {"TRecordedQueue", "OnQueued", "", &HearARecordedQueue<&TRecordedQueue::OnQueued>,
            &AskRaw, &DestroyQueue, kDestroy, true},
           {"TRecordedQueue", "OnDiscard", "", &HearARecordedQueue<&TRecordedQueue::OnDiscard>,
            &ClearTheQueue, &DestroyQueue, kDestroy, true},
       }) {
    rows.push_back(row);
  }
}

void AddTransportRows(std::vector<TEventRow>& rows) {
  constexpr auto kRaw = &TPlant::Raw;
  constexpr auto kPlain = &TPlant::Plain;
  using TBase = TModbusClient;
  for (const TEventRow& row : std::vector<TEventRow>{
           {"TModbusClient", "OnCustomTransactionComplete", "",
            &Hear<kPlain, &TBase::OnCustomTransactionComplete>, &AskPlain, &Destroy<kPlain>,
            kDestroyAll},
           {"TModbusClient", "OnServerIDReport", "", &Hear<kPlain, &TBase::OnServerIDReport>,
            &AskWhoIsThere, &Destroy<kPlain>, kDestroyAll},
           {"TModbusClient", "OnFileRecordRead", "", &Hear<kPlain, &TBase::OnFileRecordRead>,
            &ReadFileRaw, &Destroy<kPlain>, kDestroyAll},
           {"TRTUClient", "OnCustomTransactionComplete", "",
            &Hear<kRaw, &TBase::OnCustomTransactionComplete>, &AskRaw, &Destroy<kRaw>, kDestroyAll},
           {"TRTUClient", "OnServerIDReport", "", &Hear<kRaw, &TBase::OnServerIDReport>,
            &AskWhoIsThere, &Destroy<kRaw>, kDestroyAll},
           {"TRTUClient", "OnFileRecordRead", "", &Hear<kRaw, &TBase::OnFileRecordRead>,
            &ReadFileRaw, &Destroy<kRaw>, kDestroyAll},
           {"TRTUClient", "OnDX517Read", "", &Hear<kRaw, &TRTUClient::OnDX517Read>, &AskRaw,
            &Destroy<kRaw>, kDestroyAll},
           {"TRTUClient", "OnDX517Write", "", &Hear<kRaw, &TRTUClient::OnDX517Write>, &AskRaw,
            &Destroy<kRaw>, kDestroyAll},
           {"TRTUClient", "OnTransactionEnded", "", &Hear<kRaw, &TRTUClient::OnTransactionEnded>,
            &AskRaw, &Destroy<kRaw>, kDestroyAll},
       }) {
    rows.push_back(row);
  }
}

void AddClientRows(std::vector<TEventRow>& rows) {
  using TSelf = TMBClient;
  constexpr auto kClient = &TPlant::Client;
  constexpr auto kDestroy = &Destroy<kClient>;
  const auto add = [&](const char* event, TAct (*hear)(TPlant&, const TAct&), void (*fire)(TPlant&),
                       const char* way = "") -> TEventRow& {
    rows.push_back({"TMBClient", event, way, hear, fire, kDestroy, kDestroyAll});
    return rows.back();
  };
  rows.push_back(HearLast(add("OnReadList", &Hear<kClient, &TSelf::OnReadList>, &Read)));
  rows.push_back(Emulate(add("OnReadList", &Hear<kClient, &TSelf::OnReadList>, &Read, "again")));
  rows.push_back(HearLast(add("OnWriteList", &Hear<kClient, &TSelf::OnWriteList>, &Write)));
  rows.push_back(Emulate(add("OnWriteList", &Hear<kClient, &TSelf::OnWriteList>, &Write, "again")));
  add("OnClearWaitQueue", &Hear<kClient, &TSelf::OnClearWaitQueue>, &ClearTheQueue).LosesRequests =
      true;
  rows.push_back(HearLast(rows.back()));
  add("OnReadFile", &Hear<kClient, &TSelf::OnReadFile>, &ReadFile);
  add("OnReadFile", &Hear<kClient, &TSelf::OnReadFile>, &ReadFileRefused, "refused").LosesRequests =
      true;
  rows.push_back(HearLast(add("OnCastomTrunsaction", &Hear<kClient, &TSelf::OnCastomTrunsaction>,
                              &ReadCount<&TPlant::Log20>)));
  rows.push_back(Emulate(add("OnRead", &Hear<kClient, &TSelf::OnRead>, &Read)));
  rows.push_back(Emulate(add("OnWrite", &Hear<kClient, &TSelf::OnWrite>, &Write)));
  add("OnNoneAnswer", &Hear<kClient, &TSelf::OnNoneAnswer>, &ReadUnanswered);
  add("OnNoneAnswer", &Hear<kClient, &TSelf::OnNoneAnswer>, &LoseThePort, "without a port")
      .LosesRequests = true;
  add("OnExeptionAnswer", &Hear<kClient, &TSelf::OnExeptionAnswer>, &ReadRefused);
  add("OnExeptionAnswer", &Hear<kClient, &TSelf::OnExeptionAnswer>, &ReadFileRefused, "to a file")
      .LosesRequests = true;
  add("OnGetEmulData", &Hear<kClient, &TSelf::OnGetEmulData>, &Read).Emulated = true;
  add("OnSetEmulData", &Hear<kClient, &TSelf::OnSetEmulData>, &Write).Emulated = true;
  constexpr auto kHearStart = &Hear<kClient, &TSelf::OnWorkStart>;
  rows.push_back(Emulate(add("OnWorkStart", kHearStart, &Read, "of a read")));
  rows.push_back(Emulate(add("OnWorkStart", kHearStart, &Write, "of a write")));
  rows.push_back(Emulate(add("OnWorkStart", kHearStart, &ReadFile, "of a file")));
  add("OnWorkStart", kHearStart, &ReadLog<&TPlant::Log24>, "of a log");
}

void AddLetterRows(std::vector<TEventRow>& rows) {
  using TSelf = TMBLetter;
  constexpr auto kLetter = &TPlant::Letter;
  constexpr auto kDestroy = &Destroy<kLetter>;
  const auto add = [&](const char* event, TAct (*hear)(TPlant&, const TAct&), void (*fire)(TPlant&),
                       const char* way = "") -> TEventRow& {
    rows.push_back({"TMBLetter", event, way, hear, fire, kDestroy, kDestroyAll});
    return rows.back();
  };
  rows.push_back(Emulate(add("OnReadAllRegs", &Hear<kLetter, &TSelf::OnReadAllRegs>, &Read)));
  add("OnReadAllRegs", &Hear<kLetter, &TSelf::OnReadAllRegs>, &ReadUnanswered, "unanswered");
  rows.push_back(Emulate(add("OnWriteAllRegs", &Hear<kLetter, &TSelf::OnWriteAllRegs>, &Write)));
  rows.push_back(Emulate(add("OnRegDataChange", &Hear<kLetter, &TSelf::OnRegDataChange>, &Read)));
  add("OnRegDataChange", &Hear<kLetter, &TSelf::OnRegDataChange>, &Write, "when written").Emulated =
      true;
  add("OnExeptionAnswer", &Hear<kLetter, &TSelf::OnExeptionAnswer>, &ReadRefused);
  add("OnNoneAnswer", &Hear<kLetter, &TSelf::OnNoneAnswer>, &ReadUnanswered);
  rows.push_back(Emulate(add("OnWriteReg", &Hear<kLetter, &TSelf::OnWriteReg>, &Write)));
  rows.push_back(Emulate(add("proc", &HearCall, &ReadWithProc, "of a read")));
}

template <auto Part, class TSelf>
void AddItemRows(std::vector<TEventRow>& rows, const char* name) {
  rows.push_back({name, "OnGetCountInfo", "", &Hear<Part, &TSelf::OnGetCountInfo>, &ReadCount<Part>,
                  &Destroy<Part>, kDestroyAll});
  rows.push_back({name, "OnErorAnswer", "", &Hear<Part, &TSelf::OnErorAnswer>,
                  &ReadCountRefused<Part>, &Destroy<Part>, kDestroyAll});
}

template <auto Part, class TSelf>
void AddLogRows(std::vector<TEventRow>& rows, const char* name) {
  AddItemRows<Part, TSelf>(rows, name);
  rows.push_back({name, "OnGetRecord", "", &Hear<Part, &TSelf::OnGetRecord>, &ReadLog<Part>,
                  &Destroy<Part>, kDestroyAll});
}

void AddFunctionRows(std::vector<TEventRow>& rows) {
  constexpr auto kOscil = &TPlant::Oscil41;
  AddLogRows<&TPlant::Log20, TMBFunction20>(rows, "TMBFunction20");
  AddLogRows<&TPlant::Log24, TMBFunction24>(rows, "TMBFunction24");
  AddItemRows<kOscil, TMBFunction41>(rows, "TMBFunction41");
  rows.push_back({"TMBFunction41", "OnGetOscilInfo", "",
                  &Hear<kOscil, &TMBFunction41::OnGetOscilInfo>, &ReadOscilInfo, &Destroy<kOscil>,
                  kDestroyAll});
  rows.push_back({"TMBFunction41", "OnGetOscilData", "",
                  &Hear<kOscil, &TMBFunction41::OnGetOscilData>, &ReadOscilData, &Destroy<kOscil>,
                  kDestroyAll});
}

void AddValueRows(std::vector<TEventRow>& rows) {
  constexpr auto kReg = &TPlant::Reg;
  constexpr auto kTypes = &TPlant::Types;
  constexpr auto kDestroyReg = &Destroy<kReg>;
  constexpr auto kDestroyLetter = &Destroy<&TPlant::Letter>;
  // The register that is decoded by its handler has no catalogue.
  const auto hearToDecode = [](TPlant& plant, const TAct& act) {
    plant.Reg->SetTypeInfo(nullptr);
    return Hear<kReg, &TMBReg::OnDataToValue>(plant, act);
  };
  for (const TEventRow& row : std::vector<TEventRow>{
           {"TMBReg", "OnDataChange", "", &Hear<kReg, &TMBReg::OnDataChange>, &Read, kDestroyReg,
            kDestroyLetter},
           {"TMBReg", "OnDataChange", "when written", &Hear<kReg, &TMBReg::OnDataChange>, &Write,
            kDestroyReg, kDestroyLetter, false, false, true},
           {"TMBReg", "OnDataToValue", "", hearToDecode, &Read, kDestroyReg, kDestroyLetter},
           {"TMBTypeInfo", "OnNoneType", "", &Hear<kTypes, &TMBTypeInfo::OnNoneType>, &Read,
            &Destroy<kTypes>, kDestroyAll},
           {"TMBTypeInfo", "OnNoneType", "and its register",
            &Hear<kTypes, &TMBTypeInfo::OnNoneType>, &Read, kDestroyReg, kDestroyLetter},
           {"TMBTypeInfo", "OnDataToValue", "", &Hear<kTypes, &TMBTypeInfo::OnDataToValue>, &Read,
            &Destroy<kTypes>, kDestroyAll},
           {"TMBTypeInfo", "OnDataToValue", "and its register",
            &Hear<kTypes, &TMBTypeInfo::OnDataToValue>, &Read, kDestroyReg, kDestroyLetter},
           {"TMBTypeInfo", "proc", "of a structure", &HearCall, &CutStructure, &Destroy<kTypes>,
            kDestroyAll},
           {"TStringList", "OnChange", "", &Hear<&TPlant::Lines, &TStringList::OnChange>,
            &ChangeLines, &Destroy<&TPlant::Lines>, &Destroy<&TPlant::Lines>},
           {"TStringList", "OnChange", "of a component", &HearNames, &ChangeNames,
            &Destroy<&TPlant::Fill>, kDestroyAll},
       }) {
    rows.push_back(row);
  }
}

void AddOtherRows(std::vector<TEventRow>& rows) {
  constexpr auto kFill = &TPlant::Fill;
  constexpr auto kEmul = &TPlant::Emul;
  constexpr auto kDestroyDriver = &Destroy<&TPlant::Driver>;
  for (const TEventRow& row : std::vector<TEventRow>{
           {"TEmulClient", "OnRead", "", &Hear<kEmul, &TEmulClient::OnRead>, &ReadEmulatedAlone,
            &Destroy<kEmul>, kDestroyAll},
           {"TEmulClient", "OnWrite", "", &Hear<kEmul, &TEmulClient::OnWrite>, &WriteEmulatedAlone,
            &Destroy<kEmul>, kDestroyAll},
           {"TMBRegsAutoFill", "OnGetRegName", "", &Hear<kFill, &TMBRegsAutoFill::OnGetRegName>,
            &FillTheSet, &Destroy<kFill>, kDestroyAll},
           {"TMBRegsAutoFill", "OnGetRegInfo", "", &Hear<kFill, &TMBRegsAutoFill::OnGetRegInfo>,
            &FillTheSet, &Destroy<kFill>, kDestroyAll},
           {"TMBRegsAutoFill", "proc", "", &HearCall, &FillWithProc, &Destroy<kFill>, kDestroyAll},
           {"TMBRegsAutoFill", "progress", "", &HearCall, &FillWithProgress, &Destroy<kFill>,
            kDestroyAll},
           {"TMBLetterReadWriter", "event", "", &HearDriverEvent, &ReadByDriver, kDestroyDriver,
            kDestroyDriver, false, true},
           {"TMBLetterReadWriter", "proc", "", &HearDriverProc, &ReadByDriver, kDestroyDriver,
            kDestroyDriver, false, true},
       }) {
    rows.push_back(row);
  }
}

}  // namespace

const std::vector<TEventRow>& EventRows() {
  static const std::vector<TEventRow> rows = [] {
    std::vector<TEventRow> all;
    AddLineRows(all);
    AddTransportRows(all);
    AddClientRows(all);
    AddLetterRows(all);
    AddFunctionRows(all);
    AddValueRows(all);
    AddOtherRows(all);
    return all;
  }();
  return rows;
}

}  // namespace OrvixModBus
