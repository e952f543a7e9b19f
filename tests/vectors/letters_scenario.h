#pragma once
// letters_scenario: the components of a scenario, what can be seen of them, and its steps.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fields.h"
#include "json.h"
#include "letters_loop.h"
#include "platform/modbus/uRecordedQueue.h"
#include "uMBClient.h"
#include "uMBLetters.h"
#include "uMBReadWrite.h"

namespace OrvixModBus::Vectors {

class TScenario;

/// One step: reads its arguments and acts.
using TStepOperation = void (*)(TScenario&, TFields& step);
using TStepOperations = std::map<std::string, TStepOperation, std::less<>>;

const TStepOperations& ClientSteps();
const TStepOperations& PropertySteps();
const TStepOperations& RegisterSteps();
const TStepOperations& SetSteps();
const TStepOperations& LetterSteps();
const TStepOperations& WritingSteps();
const TStepOperations& DriverSteps();
const TStepOperations& EmulatorSteps();
const TStepOperations& ToolSteps();
const TStepOperations& AutoFillSteps();
const TStepOperations& CustomFunctionSteps();
const TStepOperations& DesignSteps();

/// A scenario while it is played. Every request, event and result is recorded as an effect of the
/// step that caused it, at the moment it happens.
class TScenario {
 public:
  /// EUnknownOperation when the set-up has a part that the runner does not know.
  explicit TScenario(const Json& setup);
  TScenario(const TScenario&) = delete;
  TScenario& operator=(const TScenario&) = delete;
  ~TScenario();

  /// Plays all steps; EUnknownOperation, before the first, when one is not known.
  void Play(const Json& steps);
  const Json& Effects() const { return fEffects; }

  // Recording.

  template <class... TParts>
  void Effect(const TParts&... parts) {
    if (fRecording) fEffects.push_back(Json::array({Json(fStep), Json(parts)...}));
  }
  /// The effect "ev"; then plays what the set-up wants played at this event.
  template <class... TArgs>
  void Event(const std::string& id, const std::string& event, const TArgs&... args) {
    Effect("ev", id, event, args...);
    React(id, event);
  }
  /// The effect "cb"; then plays what the set-up wants played at it.
  template <class... TArgs>
  void Callback(const std::string& id, const std::string& name, const TArgs&... args) {
    Effect("cb", id, name, args...);
    React(id, name);
  }
  /// The step's result.
  void Return(const Json& value) { Effect("ret", value); }
  /// False for a handler that the set-up leaves unassigned.
  bool IsHooked(const std::string& id, const std::string& event) const;

  // Objects by id.

  template <class T>
  T& Add(const std::string& id, std::unique_ptr<T> component) {
    T& added = *component;
    fNames[&added] = id;
    fComponents.emplace_back(id, std::move(component));
    return added;
  }
  /// EMissing when there is no such component of that class.
  template <class T>
  T& Get(const std::string& id) const {
    auto* found = dynamic_cast<T*>(Find(id));
    if (found == nullptr) throw EMissing("no object " + id);
    return *found;
  }
  /// nil for null.
  template <class T>
  T* GetOrNil(const TField& id) const {
    return id.IsNull() ? nullptr : &Get<T>(id);
  }
  TComponent* Find(const std::string& id) const;
  /// Destroys the component.
  void Free(const std::string& id);
  /// The component of a name, else an opaque object of that name; nil for null.
  TObject* Owner(const TField& id);
  /// The name of an owner or another object; null for nil.
  Json NameOf(const TObject* object) const;

  TMBClient& Client(TFields& step) { return Get<TMBClient>(step.Get<std::string>("c", "C1")); }
  TMBLetter& Letter(TFields& step) { return Get<TMBLetter>(step.Get<std::string>("l", "L1")); }
  std::string LetterName(TFields& step) { return step.Get<std::string>("l", "L1"); }

  /// The drivers by their ids; they are no components.
  std::map<std::string, std::unique_ptr<TMBLetterReadWriter>> Drivers;
  /// The register containers and sorters, likewise.
  std::map<std::string, std::unique_ptr<TObject>> Tools;

  // Registers.

  TMBReg& AddReg(const std::string& id);
  /// "L1:2" or the id of a loose register.
  TMBReg& Reg(const std::string& reference) const;
  TMBRegList Regs(const TField& references) const;
  /// Its reference; [address, count, bytes per register] for a register that has none.
  Json RegJson(const TMBReg& reg) const;
  Json RegsJson(const TMBRegList& regs) const;

  // The transport and the loop.

  /// A serial line whose requests are recorded.
  void AddLine(const std::string& id, bool active);
  /// The queue and the index there of the index-th request of the scenario.
  std::pair<TRecordedQueue*, int> Request(int index) const;
  TRecordingLoop& Loop() { return fLoop; }

 private:
  struct TReaction {
    std::string Id, Event;
    int Nth;
    Json Steps;
  };

  void SetUp(const Json& setup);
  void AddReactions(const TField& list);
  void React(const std::string& id, const std::string& event);
  void PlayStep(const Json& step);
  void RecordRequest(const std::string& line, TRecordedQueue& queue,
                     const TModbusTransaction& transaction);
  void RecordPost(const TMessageSink& sink, const TMessage& message);
  std::string LetterOf(const TCollection* regs) const;

  TRecordingLoop fLoop;
  TLoop* const fLoopBefore;
  Json fEffects = Json::array();
  int fStep = 0;
  bool fRecording = true;

  std::vector<std::string> fUnhooked;
  std::vector<TReaction> fReactions;
  std::map<std::pair<std::string, std::string>, int> fRaised;
  std::vector<std::pair<TRecordedQueue*, int>> fRequests;

  std::map<std::string, std::unique_ptr<TMBReg>> fRegs;
  std::map<std::string, std::unique_ptr<TObject>> fOpaque;
  std::map<const TObject*, std::string> fNames;
  std::vector<std::pair<std::string, std::unique_ptr<TComponent>>> fComponents;
};

/// Describes a register: the resulting state, whatever the order of the setters asks for.
void DescribeReg(TScenario& scenario, TMBReg& reg, const Json& spec);

/// null for a cleared value, else [text, integer, real], a cleared number being null.
Json ShortValue(const TRegValue& value);
/// [name, address, read code, write code, bytes per register, count, data]
Json CopyJson(const TMBReg& reg);
/// [[file, record, length], ...]
Json RecordsJson(const TModbusFileRecordList& records);

}  // namespace OrvixModBus::Vectors
