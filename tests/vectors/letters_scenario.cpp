#include "letters_scenario.h"

#include <algorithm>

#include "catalogue.h"
#include "letters_setup.h"
#include "outcome.h"
#include "platform/rtl/uBeep.h"
#include "platform/rtl/uNumText.h"

namespace OrvixModBus::Vectors {
namespace {

const TStepOperation* FindStepOperation(const std::string& name) {
  for (const TStepOperations* table :
       {&ClientSteps(), &PropertySteps(), &RegisterSteps(), &SetSteps(), &LetterSteps(),
        &WritingSteps(), &DriverSteps(), &EmulatorSteps(), &CustomFunctionSteps(), &DesignSteps(),
        &ToolSteps(), &AutoFillSteps()}) {
    if (const auto found = table->find(name); found != table->end()) return &found->second;
  }
  return nullptr;
}

/// Before anything is played: a handler must not find out in the middle of a call.
void RefuseUnknown(const Json& steps, const std::string& place) {
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const std::string name = steps[i].at("do").get<std::string>();
    if (FindStepOperation(name) == nullptr) {
      throw EUnknownOperation(name, place + "step " + std::to_string(i) + ": ");
    }
  }
}

}  // namespace

TScenario::TScenario(const Json& setup) : fLoopBefore(TLoop::SetCurrent(&fLoop)) {
  SetBeep([this] { Effect("beep"); });
  try {
    SetUp(setup);
  } catch (...) {
    SetBeep({});
    TLoop::SetCurrent(fLoopBefore);
    throw;
  }
}

// The last component first: letters leave their clients, clients their lines.
TScenario::~TScenario() {
  fRecording = false;
  Drivers.clear();
  while (!fComponents.empty()) fComponents.pop_back();
  fRegs.clear();
  SetBeep({});
  TLoop::SetCurrent(fLoopBefore);
}

void TScenario::SetUp(const Json& setup) {
  TFields fields(setup);
  if (fields.Has("unhook")) fUnhooked = fields["unhook"].Texts();
  if (fields.Has("react")) AddReactions(fields["react"]);
  if (fields.Get("posts", false)) {
    fLoop.OnPosted = [this](const TMessageSink& sink, const TMessage& message) {
      RecordPost(sink, message);
    };
  }
  for (const TSetupPart& part : SetupParts()) {
    const Json fallback = Json::parse(part.Default);
    part.Create(*this, fields.Has(part.Key) ? fields[part.Key] : TField(fallback, part.Key));
  }
  for (const auto& [key, value] : setup.items()) {
    if (!fields.HasRead(key)) throw EUnknownOperation("setup." + key);
  }
}

void TScenario::AddReactions(const TField& list) {
  for (const Json& object : list.Elements()) {
    TFields reaction(object);
    const auto on = reaction["on"].Texts();
    if (on.size() != 2) throw ENotUnderstood("no event: " + Show(object));
    fReactions.push_back({on[0], on[1], reaction["nth"], reaction["steps"].Elements()});
    RefuseUnknown(fReactions.back().Steps, "reaction, ");
    reaction.RefuseUnread();
  }
}

bool TScenario::IsHooked(const std::string& id, const std::string& event) const {
  return std::find(fUnhooked.begin(), fUnhooked.end(), id + "." + event) == fUnhooked.end();
}

void TScenario::React(const std::string& id, const std::string& event) {
  if (!fRecording) return;
  const int count = ++fRaised[{id, event}];
  for (const TReaction& reaction : fReactions) {
    if (reaction.Id != id || reaction.Event != event || reaction.Nth != count) continue;
    for (const Json& step : reaction.Steps) PlayStep(step);
  }
}

void TScenario::Play(const Json& steps) {
  RefuseUnknown(steps, "");
  for (const Json& step : steps) {
    PlayStep(step);
    ++fStep;
  }
}

void TScenario::PlayStep(const Json& stepJson) {
  TFields step(stepJson);
  const TStepOperation operation = *FindStepOperation(step["do"]);
  const TOutcome outcome = Attempt([&]() -> Json {
    operation(*this, step);
    return nullptr;
  });
  if (outcome.Error) Effect("raise", outcome.Message);
  if (!outcome.Error) step.RefuseUnread();
}

TComponent* TScenario::Find(const std::string& id) const {
  const auto found = std::find_if(fComponents.begin(), fComponents.end(),
                                  [&](const auto& entry) { return entry.first == id; });
  return found != fComponents.end() ? found->second.get() : nullptr;
}

void TScenario::Free(const std::string& id) {
  const auto found = std::find_if(fComponents.begin(), fComponents.end(),
                                  [&](const auto& entry) { return entry.first == id; });
  if (found == fComponents.end()) throw EMissing("no object " + id);
  fNames.erase(found->second.get());
  const auto component = std::move(found->second);
  fComponents.erase(found);
}

TObject* TScenario::Owner(const TField& id) {
  if (id.IsNull()) return nullptr;
  if (TComponent* component = Find(id)) return component;
  auto& opaque = fOpaque[id];
  if (opaque == nullptr) {
    opaque = std::make_unique<TObject>();
    fNames[opaque.get()] = id.Text();
  }
  return opaque.get();
}

Json TScenario::NameOf(const TObject* object) const {
  if (object == nullptr) return nullptr;
  const auto found = fNames.find(object);
  return found != fNames.end() ? Json(found->second) : Json("?");
}

TMBReg& TScenario::AddReg(const std::string& id) {
  auto& reg = fRegs[id];
  reg = std::make_unique<TMBReg>(nullptr);
  fNames[reg.get()] = id;
  return *reg;
}

TMBReg& TScenario::Reg(const std::string& reference) const {
  if (const auto loose = fRegs.find(reference); loose != fRegs.end()) return *loose->second;
  const std::size_t colon = reference.find(':');
  if (colon != std::string::npos) {
    auto& letter = Get<TMBLetter>(reference.substr(0, colon));
    std::int32_t index = 0;
    const bool valid = TryStrToInt(reference.substr(colon + 1), index);
    if (valid && index >= 0 && index < letter.Regs().Count()) return *letter.Regs().GetItem(index);
  }
  throw EMissing("no register " + reference);
}

TMBRegList TScenario::Regs(const TField& references) const {
  TMBRegList regs;
  for (const std::string& reference : references.Texts()) regs.push_back(&Reg(reference));
  return regs;
}

std::string TScenario::LetterOf(const TCollection* regs) const {
  for (const auto& [id, component] : fComponents) {
    const auto* letter = dynamic_cast<const TMBLetter*>(component.get());
    if (letter != nullptr && &letter->Regs() == regs) return id;
  }
  return {};
}

Json TScenario::RegJson(const TMBReg& reg) const {
  if (const auto loose = fNames.find(&reg); loose != fNames.end()) return loose->second;
  const std::string letter = LetterOf(reg.Collection());
  if (!letter.empty()) return letter + ":" + std::to_string(reg.Index());
  return {reg.Adress(), reg.GetRegsCount(), reg.BytesInOneReg()};
}

Json TScenario::RegsJson(const TMBRegList& regs) const {
  Json list = Json::array();
  for (const TMBReg* reg : regs) list.push_back(RegJson(*reg));
  return list;
}

void TScenario::AddLine(const std::string& id, bool active) {
  auto& line = Add(id, std::make_unique<TMBRTUConnection>());
  auto owned = std::make_unique<TRecordedQueue>();
  TRecordedQueue& queue = *owned;
  queue.OnQueued = [this, id, &queue](TModbusTransaction& transaction) {
    RecordRequest(id, queue, transaction);
  };
  queue.OnDiscard = [this, id](const TModbusClient* client) {
    if (client == nullptr) Effect("discard", id);
  };
  line.SetQueue(std::move(owned));
  line.SetActive(active);
}

void TScenario::RecordRequest(const std::string& line, TRecordedQueue& queue,
                              const TModbusTransaction& transaction) {
  fRequests.emplace_back(&queue, queue.Count() - 1);
  if (transaction.Kind() == TTransactionKind::tkCustom) {
    Effect("pdu", line, ToHex(transaction.Request().Data().subspan(1)));
  } else if (transaction.Kind() == TTransactionKind::tkServerID) {
    Effect("sid", line);
  } else {
    Effect("file", line, RecordsJson(transaction.FileRecords()));
  }
}

std::pair<TRecordedQueue*, int> TScenario::Request(int index) const {
  if (index < 0 || index >= static_cast<int>(fRequests.size())) {
    throw EMissing("no request " + std::to_string(index));
  }
  return fRequests[static_cast<std::size_t>(index)];
}

// An emulator that a client owns goes by the client's name.
void TScenario::RecordPost(const TMessageSink& sink, const TMessage& message) {
  const auto* component = dynamic_cast<const TComponent*>(&sink.Receiver());
  const TComponent* owner = component != nullptr ? component->Owner() : nullptr;
  Effect("post", NameOf(owner != nullptr ? owner : &sink.Receiver()), message.WParam);
}

Json ShortValue(const TRegValue& value) {
  if (value == TRegValue()) return nullptr;
  return {value.Srt, value.Int == TRegValue::kClearedInt ? Json() : Json(value.Int),
          value.R == TRegValue::kClearedReal ? Json() : Json(value.R)};
}

Json CopyJson(const TMBReg& reg) {
  return {reg.Name(),          reg.Adress(),       reg.MBFuncRead(), reg.MBFuncWrite(),
          reg.BytesInOneReg(), reg.GetRegsCount(), ToHex(reg.Data())};
}

Json RecordsJson(const TModbusFileRecordList& records) {
  Json list = Json::array();
  for (int i = 0; i < records.Count(); ++i) {
    const TModbusFileRecord& record = records.Records(i);
    list.push_back({record.File, record.Record, record.Length});
  }
  return list;
}

}  // namespace OrvixModBus::Vectors
