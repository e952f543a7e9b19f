// Steps on the register container and the sorters.

#include <algorithm>

#include "catalogue.h"
#include "letters_scenario.h"
#include "uMBRegSort.h"

namespace OrvixModBus::Vectors {
namespace {

template <class T>
T& ToolOf(TScenario& scenario, TFields& step) {
  const std::string id = step["id"];
  auto* const tool = dynamic_cast<T*>(scenario.Tools[id].get());
  if (tool == nullptr) throw EMissing("no tool " + id);
  return *tool;
}

const TMBRegs& Set(TScenario& scenario, TFields& step) { return scenario.Letter(step).Regs(); }

/// Accepts the names that the step lists, and records whom it was asked about.
TConfirmStrFunc ConfirmOf(TScenario& scenario, TFields& step) {
  if (!step.Has("confirm")) return {};
  return [&scenario, id = step["id"].Text(),
          accepted = step["confirm"].Texts()](const std::string& name) {
    scenario.Callback(id, "Confirm", name);
    return std::find(accepted.begin(), accepted.end(), name) != accepted.end();
  };
}

// The name dictionary.

void NewDic(TScenario& scenario, TFields& step) {
  scenario.Tools[step["id"]] = std::make_unique<TMBRegNameDic>();
}

void AddToDic(TScenario& scenario, TFields& step) {
  ToolOf<TMBRegNameDic>(scenario, step)
      .AddList(Set(scenario, step), step["clear"], ConfirmOf(scenario, step));
}

void FindInDic(TScenario& scenario, TFields& step) {
  TMBReg* reg = nullptr;
  const bool found = ToolOf<TMBRegNameDic>(scenario, step).Find(step["n"], reg);
  scenario.Return({found, reg != nullptr ? scenario.RegJson(*reg) : Json()});
}

// The container.

TMBRegContainer& Container(TScenario& scenario, TFields& step) {
  return ToolOf<TMBRegContainer>(scenario, step);
}

void NewContainer(TScenario& scenario, TFields& step) {
  scenario.Tools[step["id"]] = std::make_unique<TMBRegContainer>();
}

void AddReg(TScenario& scenario, TFields& step) {
  Container(scenario, step)
      .AddReg(scenario.Reg(step["reg"]), ConfirmOf(scenario, step), step["flags"]);
}

void AddRegs(TScenario& scenario, TFields& step) {
  Container(scenario, step).AddList(Set(scenario, step), step["clear"], ConfirmOf(scenario, step));
}

void ClearContainer(TScenario& scenario, TFields& step) {
  Container(scenario, step).Clear(step["flags"]);
}

void CountNames(TScenario& scenario, TFields& step) {
  scenario.Return(Container(scenario, step).GetCount());
}

void AddValue(TScenario& scenario, TFields& step) {
  scenario.Return(Container(scenario, step).AddValue(step["n"], step["v"], step["bit"]));
}

void Reset(TScenario& scenario, TFields& step) { Container(scenario, step).ResetObjects(); }

void EnumObjects(TScenario& scenario, TFields& step) {
  const std::string id = step["id"];
  TRefNotifyEvent progress;
  if (step.Get("progress", false)) {
    progress = [&](std::int32_t done) { scenario.Callback(id, "Progress", done); };
  }
  Container(scenario, step)
      .EnumRegObjects([&](TMBReg& reg) { scenario.Callback(id, "Proc", scenario.RegJson(reg)); },
                      progress);
}

void EnumNames(TScenario& scenario, TFields& step) {
  const std::string id = step["id"];
  Container(scenario, step).EnumRegNames([&](const std::string& name, const std::string& text) {
    scenario.Callback(id, "RegName", name, text);
  });
}

// The sorters.

TMBRegSorter& Sorter(TScenario& scenario, TFields& step) {
  return ToolOf<TMBRegSorter>(scenario, step);
}

TMBRegBitSorter& BitSorter(TScenario& scenario, TFields& step) {
  return ToolOf<TMBRegBitSorter>(scenario, step);
}

void NewSorter(TScenario& scenario, TFields& step) {
  auto& sorter = scenario.Tools[step["id"]];
  if (step.Has("sep")) {
    sorter = std::make_unique<TMBRegBitSorter>(static_cast<char32_t>(step["sep"]));
  } else {
    sorter = std::make_unique<TMBRegSorter>();
  }
}

void SortList(TScenario& scenario, TFields& step) {
  Sorter(scenario, step).AddList(Set(scenario, step), step["clear"]);
}

void SortNames(TScenario& scenario, TFields& step) {
  const TStringDynArray names = step["names"].Texts();
  Sorter(scenario, step).AddListByArray(Set(scenario, step), names, step["clear"]);
}

void Sort(TScenario& scenario, TFields& step) { Sorter(scenario, step).Sort(); }

void ClearSorter(TScenario& scenario, TFields& step) { Sorter(scenario, step).Clear(); }

void DumpSorter(TScenario& scenario, TFields& step) {
  const TMBRegSorter& sorter = Sorter(scenario, step);
  Json regs = Json::array();
  for (int i = 0; i < sorter.Count(); ++i) {
    regs.push_back(scenario.RegJson(*sorter.GetItemReg(i)));
  }
  scenario.Return(regs);
}

void Bits(TScenario& scenario, TFields& step) {
  scenario.Return(BitSorter(scenario, step).GetBitNums(scenario.Reg(step["reg"])));
}

void Extract(TScenario& scenario, TFields& step) {
  TStringList list;
  SetLines(list, step["list"]);
  const TStringDynArray names = step["names"].Texts();
  BitSorter(scenario, step).ExtractNames(list, names);
  scenario.Return(LinesJson(list));
}

}  // namespace

const TStepOperations& ToolSteps() {
  static const TStepOperations kSteps = {
      {"dic_new", NewDic},
      {"dic_add", AddToDic},
      {"dic_find", FindInDic},
      {"cont_new", NewContainer},
      {"cont_add", AddReg},
      {"cont_add_list", AddRegs},
      {"cont_clear", ClearContainer},
      {"cont_count", CountNames},
      {"cont_value", AddValue},
      {"cont_objects", EnumObjects},
      {"cont_reset", Reset},
      {"cont_names", EnumNames},
      {"sorter_new", NewSorter},
      {"sorter_list", SortList},
      {"sorter_names", SortNames},
      {"sorter_sort", Sort},
      {"sorter_clear", ClearSorter},
      {"sorter_dump", DumpSorter},
      {"sorter_bits", Bits},
      {"sorter_extract", Extract},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
