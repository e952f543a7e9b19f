// The auto-fills of a set-up, and the steps on them.

#include "catalogue.h"
#include "letters_scenario.h"
#include "letters_setup.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus::Vectors {
namespace {

/// In the place of the lines that list has; null leaves them.
void ReplaceLines(TStringList& list, const Json& lines) {
  if (lines.is_null()) return;
  list.Clear();
  SetLines(list, TField(lines, "names"));
}

/// What a description says of the register of that name: its state and done.
void Describe(TScenario& scenario, const Json& infos, TMBReg& reg, bool& done) {
  const auto found = infos.find(reg.Name());
  if (found == infos.end()) return;
  TFields info(*found);
  if (info.Has("set")) DescribeReg(scenario, reg, info["set"].Value());
  done = info.Get("done", done);
  info.RefuseUnread();
}

/// An auto-fill whose empty hooks are filled.
class THookedAutoFill final : public TMBRegsAutoFill {
 public:
  THookedAutoFill(TScenario& scenario, std::string id, const Json& hook)
      : fScenario(scenario), fId(std::move(id)) {
    TFields fields(hook);
    if (fields.Has("names")) fNames = fields["names"].Value();
    if (fields.Has("info")) fInfos = fields["info"].Value();
    if (fields.Has("info_notype")) fInfosWithOutType = fields["info_notype"].Value();
    fields.RefuseUnread();
  }

 protected:
  void GetRegNameList() override {
    fScenario.Effect("hook", fId, "GetRegNameList");
    ReplaceLines(RegNameList(), fNames);
  }
  void GetRegInfo(TMBReg& reg, bool& done) override {
    fScenario.Effect("hook", fId, "GetRegInfo", reg.Name());
    Describe(fScenario, fInfos, reg, done);
  }
  void GetRegInfoWithOutType(TMBReg& reg, bool& done) override {
    fScenario.Effect("hook", fId, "GetRegInfoWithOutType", reg.Name());
    Describe(fScenario, fInfosWithOutType, reg, done);
  }

 private:
  TScenario& fScenario;
  std::string fId;
  Json fNames;
  Json fInfos = Json::object();
  Json fInfosWithOutType = Json::object();
};

void AssignEvents(TScenario& scenario, TMBRegsAutoFill& fill, const std::string& id,
                  const Json& events) {
  TFields fields(events);
  if (fields.Has("names")) {
    fill.OnGetRegName = [&scenario, id, names = fields["names"].Value()](TMBRegsAutoFill&,
                                                                         TStringList& list) {
      scenario.Event(id, "OnGetRegName", LinesJson(list));
      ReplaceLines(list, names);
    };
  }
  if (fields.Has("info")) {
    fill.OnGetRegInfo = [&scenario, id, infos = fields["info"].Value()](TMBRegsAutoFill&,
                                                                        TMBReg& reg, bool& done) {
      scenario.Event(id, "OnGetRegInfo", reg.Name(), done, reg.TypeInfo() != nullptr);
      Describe(scenario, infos, reg, done);
    };
  }
  fields.RefuseUnread();
}

TMBRegsAutoFill& FillOf(TScenario& scenario, TFields& step) {
  return scenario.Get<TMBRegsAutoFill>(step["af"]);
}

/// Records the registers that it gets; empty unless the step wants it.
TMBRegProc ProcOf(TScenario& scenario, TFields& step) {
  if (!step.Get("proc", false)) return {};
  return [&scenario, id = step["af"].Text()](TMBReg& reg) {
    scenario.Callback(id, "Proc", scenario.RegJson(reg));
  };
}

void Fill(TScenario& scenario, TFields& step) {
  FillOf(scenario, step).FillRegs(ProcOf(scenario, step));
}

void FillFast(TScenario& scenario, TFields& step) {
  TMBRegsAutoFill& fill = FillOf(scenario, step);
  fill.ProgressProc = nullptr;
  if (step.Get("progress", false)) {
    fill.ProgressProc = [&scenario, id = step["af"].Text()](std::int32_t done) {
      scenario.Callback(id, "Progress", done);
    };
  }
  fill.FillRegsFast(ProcOf(scenario, step), step["with_type"]);
}

void AddStructure(TScenario& scenario, TFields& step) {
  FillOf(scenario, step).AddStructurReg(step["name"], scenario.Reg(step["base"]));
}

void FillStructure(TScenario& scenario, TFields& step) {
  TMBRegsAutoFill& fill = FillOf(scenario, step);
  if (fill.MBLetter() == nullptr || fill.MBLetter()->Regs().MBTypeInfo() == nullptr) {
    throw EMissing("no catalogue");
  }
  const auto& structurs = fill.MBLetter()->Regs().MBTypeInfo()->TypeStructurs();
  fill.FillStructurReg(scenario.Reg(step["base"]), scenario.Reg(step["reg"]),
                       *structurs.Items(step["item"]));
}

void Names(TScenario& scenario, TFields& step) {
  scenario.Return(LinesJson(FillOf(scenario, step).RegNameList()));
}

}  // namespace

void AddAutoFills(TScenario& scenario, const TField& list) {
  for (const Json& object : list.Elements()) {
    TFields fields(object);
    const std::string id = fields["id"];
    auto& fill = scenario.Add<TMBRegsAutoFill>(
        id, fields.Has("hook")
                ? std::make_unique<THookedAutoFill>(scenario, id, fields["hook"].Value())
                : std::make_unique<TMBRegsAutoFill>());
    fill.SetMBLetter(scenario.GetOrNil<TMBLetter>(fields["letter"]));
    SetLines(fill.RegNameList(), fields["names"]);
    if (fields.Has("ev")) AssignEvents(scenario, fill, id, fields["ev"].Value());
    fields.RefuseUnread();
  }
}

const TStepOperations& AutoFillSteps() {
  static const TStepOperations kSteps = {
      {"fill", Fill},
      {"fill_fast", FillFast},
      {"add_struct", AddStructure},
      {"fill_struct", FillStructure},
      {"fill_names", Names},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
