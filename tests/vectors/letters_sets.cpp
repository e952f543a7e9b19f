// Steps on the register set of a letter.

#include "catalogue.h"
#include "letters_scenario.h"
#include "scratch_file.h"

namespace OrvixModBus::Vectors {
namespace {

TMBRegs& Set(TScenario& scenario, TFields& step) { return scenario.Letter(step).Regs(); }

Json RegOrNull(const TScenario& scenario, const TMBReg* reg) {
  return reg != nullptr ? scenario.RegJson(*reg) : Json();
}

void Add(TScenario& scenario, TFields& step) {
  TMBReg& reg = *Set(scenario, step).Add();
  if (step.Has("spec")) DescribeReg(scenario, reg, step["spec"].Value());
  scenario.Return(scenario.RegJson(reg));
}

void Find(TScenario& scenario, TFields& step) {
  scenario.Return(RegOrNull(scenario, Set(scenario, step).GetItemByName(step["n"])));
}

void Indexed(TScenario& scenario, TFields& step) {
  scenario.Return(Set(scenario, step).NameIndex(step["n"]) >= 0);
}

void SameIndex(TScenario& scenario, TFields& step) {
  const TMBRegs& set = Set(scenario, step);
  scenario.Return(set.NameIndex(step["n"]) == set.NameIndex(step["m"]));
}

void DeleteIndex(TScenario& scenario, TFields& step) {
  TMBRegs& set = Set(scenario, step);
  set.DelByIndex(set.NameIndex(step["n"]));
}

void Delete(TScenario& scenario, TFields& step) {
  scenario.Return(Set(scenario, step).DeleteByName(step["n"]));
}

void Clear(TScenario& scenario, TFields& step) { Set(scenario, step).Clear(); }

void Count(TScenario& scenario, TFields& step) { scenario.Return(Set(scenario, step).Count()); }

/// null for the list of an empty set.
void List(TScenario& scenario, TFields& step) {
  const TMBRegList regs = Set(scenario, step).RegList();
  scenario.Return(regs.empty() ? Json() : scenario.RegsJson(regs));
}

void Names(TScenario& scenario, TFields& step) {
  scenario.Return(Set(scenario, step).RegNameAr(KindSet(step["types"])));
}

void Value(TScenario& scenario, TFields& step) {
  scenario.Return(ShortValue(Set(scenario, step).RegValueByName(step["n"])));
}

void Clone(TScenario& scenario, TFields& step) {
  scenario.Return(RegOrNull(scenario, Set(scenario, step).CloneReg(scenario.Reg(step["reg"]))));
}

void SetItem(TScenario& scenario, TFields& step) {
  Set(scenario, step).SetItem(step["i"], scenario.Reg(step["reg"]));
}

void SetByName(TScenario& scenario, TFields& step) {
  Set(scenario, step).SetItemByName(step["n"], scenario.Reg(step["reg"]));
}

void ClearData(TScenario& scenario, TFields& step) { Set(scenario, step).ClearRegsData(); }

void Copy(TScenario& scenario, TFields& step) {
  TMBRegs& set = Set(scenario, step);
  const TMBRegs& source = scenario.Get<TMBLetter>(step["src"]).Regs();
  if (!step.Has("from")) return set.CopyRegDataByName(source);
  set.CopyRegDataByName(source, step["from"].Texts(), step["to"].Texts());
}

/// Per register: has it a catalogue?
void Types(TScenario& scenario, TFields& step) {
  const TMBRegs& set = Set(scenario, step);
  Json has = Json::array();
  for (int i = 0; i < set.Count(); ++i) has.push_back(set.GetItem(i)->TypeInfo() != nullptr);
  scenario.Return(has);
}

void Save(TScenario& scenario, TFields& step) {
  const TScratchFile file;
  Set(scenario, step).SaveRegsDataToFile(file.Name(), step.Get<std::string>("header", ""));
  scenario.Return(file.Content());
}

void Load(TScenario& scenario, TFields& step) {
  const TScratchFile file(step["content"].Text());
  scenario.Return(
      Set(scenario, step).LoadRegsDataFromFile(file.Name(), step.Get<std::string>("header", "")));
}

}  // namespace

const TStepOperations& SetSteps() {
  static const TStepOperations kSteps = {
      {"set_add", Add},
      {"set_find", Find},
      {"set_indexed", Indexed},
      {"set_same_index", SameIndex},
      {"set_del_index", DeleteIndex},
      {"set_delete", Delete},
      {"set_clear", Clear},
      {"set_count", Count},
      {"set_list", List},
      {"set_names", Names},
      {"set_value", Value},
      {"set_clone", Clone},
      {"set_item", SetItem},
      {"set_by_name", SetByName},
      {"set_clear_data", ClearData},
      {"set_copy", Copy},
      {"set_types", Types},
      {"save_file", Save},
      {"load_file", Load},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
