// Steps on letters: writing, copying and comparing.

#include "catalogue.h"
#include "letters_scenario.h"

namespace OrvixModBus::Vectors {
namespace {

std::uint8_t OffsetOf(TFields& step) { return step.Get<std::uint8_t>("off", 0); }

void WriteReg(TScenario& scenario, TFields& step) {
  TMBReg* reg = step["reg"].IsNull() ? nullptr : &scenario.Reg(step["reg"]);
  scenario.Letter(step).WriteReg(reg, OffsetOf(step), step["d"].Data());
}

void WriteName(TScenario& scenario, TFields& step) {
  scenario.Letter(step).WriteRegByName(step["n"], OffsetOf(step), step["d"].Data());
}

void WriteF10(TScenario& scenario, TFields& step) {
  scenario.Letter(step).WriteRegsF10(step["names"].Texts());
}

/// null is a nil list.
void WriteF6665(TScenario& scenario, TFields& step) {
  TMBLetter& letter = scenario.Letter(step);
  if (!step.Has("regs")) return letter.WriteAllF66F65();
  letter.WriteAllF66F65(step["regs"].IsNull() ? TMBRegList() : scenario.Regs(step["regs"]));
}

void WriteAll(TScenario& scenario, TFields& step) { scenario.Letter(step).WriteAllRegs(); }

void CopyValues(TScenario& scenario, TFields& step) {
  auto* source = scenario.GetOrNil<TComponent>(step["src"]);
  scenario.Return(scenario.Letter(step).CopyRegValues(source, step["names"].Texts()));
}

void SameReg(TScenario& scenario, TFields& step) {
  scenario.Return(TMBLetter::SameReg(scenario.Reg(step["x"]), scenario.Reg(step["y"])));
}

void RemoveNotFound(TScenario& scenario, TFields& step) {
  TStringList list;
  SetLines(list, step["list"]);
  scenario.Letter(step).RemoveNotFoundRegNames(list);
  Json lines = Json::array();
  for (int i = 0; i < list.Count(); ++i) lines.push_back(list.Strings(i));
  scenario.Return(lines);
}

}  // namespace

const TStepOperations& WritingSteps() {
  static const TStepOperations kSteps = {
      {"write_reg", WriteReg}, {"write_name", WriteName},
      {"f10", WriteF10},       {"f6665", WriteF6665},
      {"write_all", WriteAll}, {"copy_values", CopyValues},
      {"same_reg", SameReg},   {"remove_not_found", RemoveNotFound},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
