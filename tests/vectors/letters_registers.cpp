// Steps on single registers, and how a register of a scenario is described.

#include "catalogue.h"
#include "letters_scenario.h"

namespace OrvixModBus::Vectors {
namespace {

/// The setter of the write code compares with the read code, so that one steps aside meanwhile.
void DescribeCodes(TMBReg& reg, TFields& spec) {
  const std::uint8_t readCode = spec.Get("r", reg.MBFuncRead());
  if (spec.Has("w")) {
    const std::uint8_t writeCode = spec["w"];
    reg.SetMBFuncRead(writeCode == 254 ? 253 : 254);
    reg.SetMBFuncWrite(writeCode);
  }
  reg.SetMBFuncRead(readCode);
}

using TAction = void (*)(TScenario&, TMBReg&, const TField& value);

const std::map<std::string, TAction>& Setters() {
  using TIn = TScenario&;
  static const std::map<std::string, TAction> kSetters = {
      {"n", [](TIn, TMBReg& reg, const TField& v) { reg.SetDisplayName(v); }},
      {"a", [](TIn, TMBReg& reg, const TField& v) { reg.SetRegAdress(v); }},
      {"ch", [](TIn, TMBReg& reg, const TField& v) { reg.SetChanelIndex(v); }},
      {"cap", [](TIn, TMBReg& reg, const TField& v) { reg.SetCaption(v); }},
      {"r", [](TIn, TMBReg& reg, const TField& v) { reg.SetMBFuncRead(v); }},
      {"w", [](TIn, TMBReg& reg, const TField& v) { reg.SetMBFuncWrite(v); }},
      {"b", [](TIn, TMBReg& reg, const TField& v) { reg.SetBytesInOneReg(v); }},
      {"c", [](TIn, TMBReg& reg, const TField& v) { reg.SetRegsCount(v); }},
      {"t", [](TIn, TMBReg& reg, const TField& v) { reg.SetRegType(v); }},
      {"tn", [](TIn, TMBReg& reg, const TField& v) { reg.SetTypeName(v); }},
      {"ti",
       [](TIn s, TMBReg& reg, const TField& v) { reg.SetTypeInfo(s.GetOrNil<TMBTypeInfo>(v)); }},
      {"d", [](TIn, TMBReg& reg, const TField& v) { reg.SetRegData(v.Data()); }},
  };
  return kSetters;
}

void RecordChanges(TScenario& scenario, TMBReg& reg) {
  reg.OnDataChange = [&scenario](TMBReg& changed) {
    scenario.Event(scenario.RegJson(changed).get<std::string>(), "OnDataChange");
  };
}

void Set(TScenario& scenario, TFields& step) {
  const auto setter = Setters().find(step["p"]);
  if (setter == Setters().end()) throw ENotUnderstood("unknown property " + step["p"].Text());
  setter->second(scenario, scenario.Reg(step["reg"]), step["v"]);
}

void SetTypeInfo(TScenario& scenario, TFields& step) {
  scenario.Reg(step["reg"]).SetTypeInfo(scenario.GetOrNil<TMBTypeInfo>(step["v"]));
}

void SetData(TScenario& scenario, TFields& step) {
  scenario.Reg(step["reg"]).SetRegData(step["d"].Data());
}

void SetByte(TScenario& scenario, TFields& step) {
  scenario.Reg(step["reg"]).SetData(step["i"], step["v"]);
}

Json DescriptionName(const TMBReg& reg) {
  const TMBRegTypeColItem* item = reg.GetRegTypeItem();
  return item != nullptr ? Json(item->Name()) : Json();
}

using TReader = Json (*)(const TMBReg&);

const std::map<std::string, TReader>& Readers() {
  using TIn = const TMBReg&;
  static const std::map<std::string, TReader> kReaders = {
      {"Name", [](TIn reg) -> Json { return reg.Name(); }},
      {"ChanelIndex", [](TIn reg) -> Json { return reg.ChanelIndex(); }},
      {"Adress", [](TIn reg) -> Json { return reg.Adress(); }},
      {"MBFuncRead", [](TIn reg) -> Json { return reg.MBFuncRead(); }},
      {"MBFuncWrite", [](TIn reg) -> Json { return reg.MBFuncWrite(); }},
      {"BytesInOneReg", [](TIn reg) -> Json { return reg.BytesInOneReg(); }},
      {"Count", [](TIn reg) -> Json { return reg.GetRegsCount(); }},
      {"GetRegsCount", [](TIn reg) -> Json { return reg.GetRegsCount(); }},
      {"CountInByte", [](TIn reg) -> Json { return reg.CountInByte(); }},
      {"Caption", [](TIn reg) -> Json { return reg.Caption(); }},
      {"RegType", [](TIn reg) -> Json { return KindJson(reg.RegType()); }},
      {"RegTypeName", [](TIn reg) -> Json { return reg.RegTypeName(); }},
      {"ValueStr", [](TIn reg) -> Json { return reg.ValueStr(); }},
      {"ValueInt", [](TIn reg) -> Json { return reg.ValueInt(); }},
      {"ValueRe", [](TIn reg) -> Json { return reg.ValueRe(); }},
      {"IsDataZero", [](TIn reg) -> Json { return reg.IsDataZero(); }},
      {"GetDataAsWordAr", [](TIn reg) -> Json { return reg.GetDataAsWordAr(); }},
      {"DataToStr", [](TIn reg) -> Json { return reg.DataToStr(); }},
      {"GetRegTypeItem", DescriptionName},
  };
  return kReaders;
}

void Call(TScenario& scenario, TFields& step) {
  TMBReg& reg = scenario.Reg(step["reg"]);
  const std::string name = step["op"];
  if (name == "ClearData") return reg.ClearData();
  if (name == "DataToValue") return reg.DataToValue();
  if (name == "DataToMin") return reg.DataToMin();
  const auto reader = Readers().find(name);
  if (reader == Readers().end()) throw EUnknownOperation("reg_call " + name);
  scenario.Return(reader->second(reg));
}

void Handle(TScenario& scenario, TFields& step) {
  TRegValue answer;
  answer.Srt = step["srt"].Text();
  answer.Int = step["int"];
  answer.R = step["r"];
  TMBReg& reg = scenario.Reg(step["reg"]);
  reg.OnDataToValue = [&scenario, answer, id = step["reg"].Text()](const Bytes& data,
                                                                   TRegValue& value) {
    scenario.Event(id, "OnDataToValue", ToHex(data));
    value = answer;
  };
}

void Assign(TScenario& scenario, TFields& step) {
  scenario.Reg(step["dst"]).Assign(scenario.Reg(step["src"]));
}

void Dump(TScenario& scenario, TFields& step) {
  const TMBReg& reg = scenario.Reg(step["reg"]);
  scenario.Effect("dump", step["reg"].Text(),
                  Json{{"n", reg.Name()},
                       {"ch", reg.ChanelIndex()},
                       {"a", reg.Adress()},
                       {"r", reg.MBFuncRead()},
                       {"w", reg.MBFuncWrite()},
                       {"b", reg.BytesInOneReg()},
                       {"c", reg.GetRegsCount()},
                       {"d", ToHex(reg.Data())},
                       {"cap", reg.Caption()},
                       {"t", KindJson(reg.RegType())},
                       {"tn", reg.RegTypeName()},
                       {"v", ShortValue(reg.Value())}});
}

}  // namespace

void DescribeReg(TScenario& scenario, TMBReg& reg, const Json& specJson) {
  TFields spec(specJson);
  spec.Ignore({"id"});
  const auto set = [&](const char* key) {
    if (spec.Has(key)) Setters().at(key)(scenario, reg, spec[key]);
  };
  set("n");
  set("a");
  DescribeCodes(reg, spec);
  for (const char* key : {"b", "c", "t", "tn", "cap", "ch", "ti", "d"}) set(key);
  if (spec.Get("odc", false)) RecordChanges(scenario, reg);
  spec.RefuseUnread();
}

const TStepOperations& RegisterSteps() {
  static const TStepOperations kSteps = {
      {"reg_set", Set},       {"reg_type_info", SetTypeInfo},
      {"reg_data", SetData},  {"reg_byte", SetByte},
      {"reg_call", Call},     {"reg_handler", Handle},
      {"reg_assign", Assign}, {"reg_dump", Dump},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
