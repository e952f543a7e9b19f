// The tools over register sets, the order of names and the auto-fill.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bench/scale/Letters.h"
#include "bench/scale/Measure.h"
#include "platform/rtl/uNumText.h"
#include "uMBRegSort.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {
namespace {

enum class TOrder { Ascending, Descending, Random };

// A set of flag registers whose addresses are in this order, their names at random beside it.
struct TRegSet {
  TRegSet(int count, TOrder order) {
    std::vector<std::uint32_t> adresses(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < adresses.size(); ++i) adresses[i] = static_cast<std::uint32_t>(i);
    if (order == TOrder::Descending) std::reverse(adresses.begin(), adresses.end());
    if (order == TOrder::Random) std::shuffle(adresses.begin(), adresses.end(), Chance);
    for (const std::uint32_t adress : adresses) {
      TMBReg& reg = *Letter.Regs().Add();
      reg.SetDisplayName(NameOf(static_cast<int>(adress)));
      reg.SetRegAdress(adress);
      reg.SetBytesInOneReg(2);
      reg.SetRegsCount(1);
      reg.SetRegType(TRegType::rtBin);
      Names.push_back(reg.Name());
    }
    std::shuffle(Names.begin(), Names.end(), Chance);
    Names = TStringDynArray(Names);  // in memory, too, as an application would have made them
  }

  const TMBRegs& Regs() const { return Letter.Regs(); }

  TMBLetter Letter;
  TStringDynArray Names;
  std::mt19937 Chance{1};
};

template <TOrder kOrder>
struct TRegSetOf : TRegSet {
  explicit TRegSetOf(int count) : TRegSet(count, kOrder) {}
};
using TAscending = TRegSetOf<TOrder::Ascending>;
using TRandom = TRegSetOf<TOrder::Random>;

// The least that does what the tools do.
struct TPlainTools {
  using TPlace = std::pair<std::uint32_t, TMBReg*>;

  void AddNames(const TMBRegs& regs) {
    Names.clear();
    for (TMBReg* reg : regs.RegList()) Names.try_emplace(reg->Name(), reg);
  }
  void AddAll(const TMBRegs& regs) {
    Adresses.clear();
    Images.clear();
    AddNames(regs);
    for (TMBReg* reg : regs.RegList()) {
      Adresses.try_emplace(reg->Adress(), reg);
      Images.try_emplace(reg, 0);
    }
  }
  TMBReg* Find(const std::string& name) const {
    const auto found = Names.find(name);
    return found != Names.end() ? found->second : nullptr;
  }
  std::vector<TPlace> Sorted(const TMBRegList& regs) const {
    std::vector<TPlace> places;
    for (TMBReg* reg : regs) places.emplace_back(reg->Adress(), reg);
    std::ranges::stable_sort(places, {}, &TPlace::first);
    return places;
  }

  std::unordered_map<std::string, TMBReg*> Names;
  std::unordered_map<std::uint32_t, TMBReg*> Adresses;
  std::unordered_map<TMBReg*, std::int64_t> Images;
};

TWork DicFill(int count) {
  const auto set = std::make_shared<TAscending>(count);
  auto dic = std::make_shared<TMBRegNameDic>();
  auto plain = std::make_shared<TPlainTools>();
  return {.Run = [=] { dic->AddList(set->Regs(), true, {}); },
          .Limit = [=] { plain->AddNames(set->Regs()); }};
}

TWork DicFind(int count) {
  const auto set = std::make_shared<TAscending>(count);
  auto dic = std::make_shared<TMBRegNameDic>();
  auto plain = std::make_shared<TPlainTools>();
  dic->AddList(set->Regs(), true, {});
  plain->AddNames(set->Regs());
  return {.Run =
              [=] {
                TMBReg* reg = nullptr;
                for (const std::string& name : set->Names) {
                  benchmark::DoNotOptimize(dic->Find(name, reg));
                }
              },
          .Limit =
              [=] {
                for (const std::string& name : set->Names) {
                  benchmark::DoNotOptimize(plain->Find(name));
                }
              }};
}

// A set at random, in a container and in plain.
struct TContained {
  explicit TContained(int count) : Set(count) {
    FillContainer();
    FillPlain();
  }
  void FillContainer() { Container.AddList(Set.Regs(), true, {}); }
  void FillPlain() { Plain.AddAll(Set.Regs()); }

  TRandom Set;
  TMBRegContainer Container;
  TPlainTools Plain;
};

TWork ContainerFill(int count) {
  const auto regs = std::make_shared<TContained>(count);
  return {.Run = [=] { regs->FillContainer(); }, .Limit = [=] { regs->FillPlain(); }};
}

TWork ContainerValues(int count) {
  const auto regs = std::make_shared<TContained>(count);
  return {.Run =
              [=] {
                for (const std::string& name : regs->Set.Names) {
                  regs->Container.AddValue(name, "1", 3);
                }
              },
          .Limit =
              [=] {
                for (const std::string& name : regs->Set.Names) {
                  regs->Plain.Images[regs->Plain.Find(name)] |= 8;
                }
              }};
}

TWork ContainerList(int count) {
  const auto regs = std::make_shared<TContained>(count);
  return {.Run =
              [=] {
                std::size_t length = 0;
                regs->Container.EnumRegNames(
                    [&](const std::string&, const std::string& text) { length += text.size(); });
                benchmark::DoNotOptimize(length);
              },
          .Limit =
              [=] {
                std::size_t length = 0;
                TPlainTools& plain = regs->Plain;
                std::vector<TPlainTools::TPlace> places(plain.Adresses.begin(),
                                                        plain.Adresses.end());
                std::ranges::sort(places, {}, &TPlainTools::TPlace::first);
                for (const auto& [adress, reg] : places) {
                  const std::string name = reg->Name();
                  length += IntToHex(static_cast<std::uint64_t>(plain.Images[reg]), 4).size();
                }
                benchmark::DoNotOptimize(length);
              }};
}

template <TOrder kOrder>
TWork SortByAdress(int count) {
  const auto set = std::make_shared<TRegSetOf<kOrder>>(count);
  auto sorter = std::make_shared<TMBRegSorter>();
  return {.Run = [=] { sorter->AddList(set->Regs(), true); },
          .Limit = [=] { benchmark::DoNotOptimize(TPlainTools().Sorted(set->Regs().RegList())); }};
}

TWork SortNamed(int count) {
  const auto set = std::make_shared<TRandom>(count);
  auto sorter = std::make_shared<TMBRegSorter>();
  auto plain = std::make_shared<TPlainTools>();
  plain->AddNames(set->Regs());
  return {.Run = [=] { sorter->AddListByArray(set->Regs(), set->Names, true); },
          .Limit =
              [=] {
                TMBRegList found;
                for (const std::string& name : set->Names) found.push_back(plain->Find(name));
                benchmark::DoNotOptimize(plain->Sorted(found));
              }};
}

TWork SortNamedBits(int count) {
  const auto set = std::make_shared<TRandom>(count);
  auto entries = std::make_shared<TStringDynArray>();
  for (const std::string& name : set->Names) entries->push_back(name + ":5");
  auto sorter = std::make_shared<TMBRegBitSorter>(U':');
  auto plain = std::make_shared<TPlainTools>();
  plain->AddNames(set->Regs());
  return {.Run = [=] { sorter->AddListByArray(set->Regs(), *entries, true); },
          .Limit =
              [=] {
                TMBRegList found;
                std::unordered_map<TMBReg*, Bytes> bits;
                for (const std::string& entry : *entries) {
                  const std::size_t length = entry.find(':');
                  found.push_back(plain->Find(entry.substr(0, length)));
                  bits[found.back()].push_back(static_cast<std::uint8_t>(entry[length + 1] - '0'));
                }
                benchmark::DoNotOptimize(plain->Sorted(found));
              }};
}

// The order of names is made when the first position is asked for.
TWork SortByName(int count) {
  auto letter = std::make_shared<TEmulated>();
  auto places = std::make_shared<std::vector<std::pair<std::string, TMBReg*>>>();
  return {.Run = [=] { benchmark::DoNotOptimize(letter->Letter.Regs().NameIndex(NameOf(0))); },
          .Limit = [=] { std::ranges::sort(*places); },
          .Prepare =
              [=] {
                places->clear();
                letter->Letter.Regs().Clear();
                Build(letter->Letter.Regs(), count);
              },
          .PrepareLimit =
              [=] {
                for (TMBReg* reg : letter->Letter.Regs().RegList()) {
                  places->emplace_back(reg->Name(), reg);
                }
              }};
}

class TDeviceFill : public TMBRegsAutoFill {
 protected:
  void GetRegInfo(TMBReg& reg, bool& done) override {
    reg.SetBytesInOneReg(2);
    reg.SetRegsCount(1);
    done = true;
  }
};

struct TFilled {
  explicit TFilled(int count) : Names(TAscending(count).Names) {
    Letter.Regs().SetMBTypeInfo(&Types);
    Fill.SetMBLetter(&Letter);
    for (const std::string& name : Names) Fill.RegNameList().Add(name);
    Fill.ProgressProc = [&](std::int32_t done) { Told += done; };
  }
  TMBTypeInfo Types;
  TMBLetter Letter;
  TDeviceFill Fill;
  TStringDynArray Names;
  TPlainLetter Plain;
  std::int64_t Told = 0;
};

TWork AutoFill(int count, bool fast) {
  auto filled = std::make_shared<TFilled>(count);
  return {.Run =
              [=] {
                const auto proc = [&](TMBReg&) { ++filled->Told; };
                if (fast) {
                  filled->Fill.FillRegsFast(proc, true);
                } else {
                  filled->Fill.FillRegs(proc);
                }
              },
          .Limit =
              [=] {
                for (const std::string& name : filled->Names) {
                  if (filled->Plain.Find(name) == nullptr) filled->Plain.Add(name).Data.resize(2);
                }
              },
          .Prepare = [=] { filled->Letter.Regs().Clear(); },
          .PrepareLimit = [=] { filled->Plain.Clear(); }};
}

}  // namespace

void RegisterToolOperations() {
  Register("AutoFill", [](int count) { return AutoFill(count, false); });
  Register("AutoFillFast", [](int count) { return AutoFill(count, true); });
  Register("SortByAdress", SortByAdress<TOrder::Random>);
  Register("SortByAdressDescending", SortByAdress<TOrder::Descending>);
  Register("SortByName", SortByName);
  Register("SortNamed", SortNamed);
  Register("SortNamedBits", SortNamedBits);
  Register("DicFill", DicFill);
  Register("DicFind", DicFind);
  Register("ContainerFill", ContainerFill);
  Register("ContainerValues", ContainerValues);
  Register("ContainerList", ContainerList);
}

}  // namespace OrvixModBus
