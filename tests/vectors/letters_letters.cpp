// Steps on letters: reading, their wait queue, and the operations on lists of registers.

#include <algorithm>

#include "catalogue.h"
#include "letters_scenario.h"

namespace OrvixModBus::Vectors {
namespace {

void ReadAll(TScenario& scenario, TFields& step) {
  TMBRegProc proc;
  if (step.Get("proc", false)) {
    proc = [&scenario, id = scenario.LetterName(step)](TMBReg& reg) {
      scenario.Effect("cb", id, "Proc", scenario.RegJson(reg));
    };
  }
  scenario.Letter(step).ReadAllRegs(proc);
}

void ReadNames(TScenario& scenario, TFields& step) {
  scenario.Letter(step).ReadRegsByName(step["names"].Texts());
}

void ReadItems(TScenario& scenario, TFields& step) {
  scenario.Letter(step).ReadRegsByItem(step["idx"].ListOf<std::uint32_t>());
}

void ReadArray(TScenario& scenario, TFields& step) {
  scenario.Letter(step).ReadRegsByArray(scenario.Regs(step["regs"]));
}

/// null when none of the named registers reads with the function code.
void OptimizedList(TScenario& scenario, TFields& step) {
  const TMBLetter& letter = scenario.Letter(step);
  const TStringDynArray names = step["names"].Texts();
  const std::uint8_t func = step["f"];
  const bool reads = std::ranges::any_of(names, [&](const std::string& name) {
    const TMBReg* reg = letter.Regs().GetItemByName(name);
    return reg != nullptr && reg->MBFuncRead() == func;
  });
  Json groups = reads ? Json::array() : Json();
  for (const auto& group : letter.CreateOptimizedRegList(names, func)) {
    groups.push_back(
        {group->Adress(), group->GetRegsCount(), group->BytesInOneReg(), group->MBFuncRead()});
  }
  scenario.Return(groups);
}

void Chek(TScenario& scenario, TFields& step) {
  scenario.Return(scenario.Letter(step).ChekAllRegsResive());
}

void ChekReply(TScenario& scenario, TFields& step) {
  const auto kind = static_cast<TServerReply>(static_cast<std::uint8_t>(step["k"]));
  scenario.Return(scenario.Letter(step).ChekServerReply(kind, step["f"]));
}

void ClearWaitQueue(TScenario& scenario, TFields& step) { scenario.Letter(step).ClearWaitQueue(); }

void SetClient(TScenario& scenario, TFields& step) {
  scenario.Letter(step).SetClient(scenario.GetOrNil<TMBClient>(step["c"]));
}

void FreeLetter(TScenario& scenario, TFields& step) {
  scenario.Letter(step);  // it must be a letter
  scenario.Free(scenario.LetterName(step));
}

void ChekSame(TScenario& scenario, TFields& step) {
  using TChek = bool (*)(const TMBRegList&);
  static const std::map<std::string, TChek> kCheks = {
      {"MBFuncRead", ChekSameMBFuncRead},
      {"MBFuncWrite", ChekSameMBFuncWrite},
      {"RegType", ChekSameRegType},
      {"Size", ChekSameSize},
  };
  const auto chek = kCheks.find(step["what"]);
  if (chek == kCheks.end()) throw EUnknownOperation("chek_same " + step["what"].Text());
  scenario.Return(chek->second(scenario.Regs(step["regs"])));
}

void ChekSameSet(TScenario& scenario, TFields& step) {
  scenario.Return(ChekSameMBFuncRead(scenario.Letter(step).Regs()));
}

/// null when nothing matches.
void ByFunc(TScenario& scenario, TFields& step) {
  const int kind = step["kind"];
  if (kind != 0 && kind != 1) throw ENotUnderstood("unknown kind " + std::to_string(kind));
  const TMBRegList found =
      ListByFunc(scenario.Regs(step["regs"]), step["f"], static_cast<TFuncKind>(kind));
  scenario.Return(found.empty() ? Json() : scenario.RegsJson(found));
}

void Sort(TScenario& scenario, TFields& step) {
  TMBRegList regs = scenario.Regs(step["regs"]);
  SortMBRegs(regs);
  scenario.Return(scenario.RegsJson(regs));
}

void Compare(TScenario& scenario, TFields& step) {
  if (step["cmp"].Text() != "TMBRegAdressComparer") {
    throw EUnknownOperation("compare " + step["cmp"].Text());
  }
  const TMBReg& x = scenario.Reg(step["x"]);
  const TMBReg& y = scenario.Reg(step["y"]);
  scenario.Return(TMBRegAdressComparer().Compare(x, y));
}

/// The counters that are not zero.
Json WaitQueueJson(const TMBLetter& letter) {
  Json counters = Json::object();
  for (std::uint8_t func = 0; func <= 128; ++func) {
    if (letter.WaitQueue(func) != 0) counters[std::to_string(func)] = letter.WaitQueue(func);
  }
  return counters;
}

/// [name, data], and the value unless it is cleared.
Json ContentJson(const TMBReg& reg) {
  Json content = {reg.Name(), ToHex(reg.Data())};
  for (const Json& part : ShortValue(reg.Value())) content.push_back(part);
  return content;
}

Json ShapeJson(const TMBReg& reg) {
  return {reg.Name(),          reg.Adress(),       reg.MBFuncRead(),        reg.MBFuncWrite(),
          reg.BytesInOneReg(), reg.GetRegsCount(), KindJson(reg.RegType()), reg.RegTypeName(),
          reg.Caption(),       reg.ChanelIndex(),  ToHex(reg.Data())};
}

Json AllRegs(const TMBLetter& letter, Json (*toJson)(const TMBReg&)) {
  Json list = Json::array();
  for (const TMBReg* reg : letter.Regs().RegList()) list.push_back(toJson(*reg));
  return list;
}

void Dump(TScenario& scenario, TFields& step) {
  const TMBLetter& letter = scenario.Letter(step);
  const std::string what = step.Get<std::string>("what", "all");
  Json state = Json::object();
  if (what == "wq" || what == "all") state["wq"] = WaitQueueJson(letter);
  if (what == "regs" || what == "all") state["regs"] = AllRegs(letter, ContentJson);
  if (what == "shape") state["regs"] = AllRegs(letter, ShapeJson);
  if (what == "props") {
    state = {{"MaxHole", letter.MaxHole()},
             {"ChanelID", letter.ChanelID()},
             {"Client", scenario.NameOf(letter.Client())}};
  }
  if (state.empty()) throw EUnknownOperation("dump " + what);
  scenario.Effect("dump", scenario.LetterName(step), state);
}

}  // namespace

const TStepOperations& LetterSteps() {
  static const TStepOperations kSteps = {
      {"read_all", ReadAll},      {"read_names", ReadNames},
      {"read_items", ReadItems},  {"read_array", ReadArray},
      {"optlist", OptimizedList}, {"chek", Chek},
      {"chek_reply", ChekReply},  {"clear_wq", ClearWaitQueue},
      {"set_client", SetClient},  {"letter_free", FreeLetter},
      {"chek_same", ChekSame},    {"chek_same_set", ChekSameSet},
      {"by_func", ByFunc},        {"sort_regs", Sort},
      {"compare", Compare},       {"dump", Dump},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
