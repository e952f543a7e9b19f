#include "script_registers.h"

#include <set>

#include "catalogue.h"
#include "scratch_file.h"

namespace OrvixModBus::Vectors {

void TRegisterBook::Enter(const std::string& set, TMBReg& reg) {
  fEntries[set + std::to_string(fCounts[set]++)] = {&reg, Defaults()};
}

TMBReg& TRegisterBook::Reg(const std::string& label) const {
  const auto found = fEntries.find(label);
  if (found == fEntries.end() || !found->second.Reg) {
    throw EMissing("no register " + label);
  }
  return *found->second.Reg;
}

Json TRegisterBook::Label(const TMBReg* reg) const {
  if (reg == nullptr) return nullptr;
  for (const auto& [label, entry] : fEntries) {
    if (entry.Reg.Get() == reg) return label;
  }
  return "?";
}

Json TRegisterBook::Defaults() {
  return {{"Name", nullptr},  // always told
          {"ChanelIndex", -1},
          {"Adress", 1},
          {"MBFuncRead", 3},
          {"MBFuncWrite", 0},
          {"BytesInOneReg", 1},
          {"Count", 0},
          {"Data", ""},
          {"Caption", ""},
          {"RegType", "rtNone"},
          {"RegTypeName", ""},
          {"TypeInfo", nullptr},
          {"ValueStr", ""},
          {"ValueInt", TRegValue::kClearedInt},
          {"ValueRe", RealJson(TRegValue::kClearedReal)},
          {"OnDataChange", false},
          {"OnDataToValue", false}};
}

Json TRegisterBook::State(const TMBReg& reg) const {
  const auto catalogue = Catalogues.find(reg.TypeInfo());
  return {{"Name", reg.Name()},
          {"ChanelIndex", reg.ChanelIndex()},
          {"Adress", reg.Adress()},
          {"MBFuncRead", reg.MBFuncRead()},
          {"MBFuncWrite", reg.MBFuncWrite()},
          {"BytesInOneReg", reg.BytesInOneReg()},
          {"Count", reg.GetRegsCount()},
          {"Data", ToHex(reg.Data())},
          {"Caption", reg.Caption()},
          {"RegType", KindJson(reg.RegType())},
          {"RegTypeName", reg.RegTypeName()},
          {"TypeInfo", catalogue != Catalogues.end() ? Json(catalogue->second) : Json()},
          {"ValueStr", reg.ValueStr()},
          {"ValueInt", reg.ValueInt()},
          {"ValueRe", RealJson(reg.ValueRe())},
          {"OnDataChange", reg.OnDataChange.Assigned()},
          {"OnDataToValue", reg.OnDataToValue.Assigned()}};
}

Json TRegisterBook::TakeChanged() {
  Json changed = Json::object();
  for (auto& [label, entry] : fEntries) {
    if (!entry.Reg) continue;
    Json state = State(*entry.Reg);
    for (const auto& [field, value] : state.items()) {
      if (FirstDifference(entry.State[field], value, "")) changed[label][field] = value;
    }
    entry.State = std::move(state);
  }
  return changed;
}

Json TRegisterBook::TakeFreed() {
  Json freed = Json::array();
  std::erase_if(fEntries, [&](const auto& entry) {
    if (entry.second.Reg) return false;
    freed.push_back(entry.first);
    return true;
  });
  return freed;
}

namespace {

/// A set of either class; Regs is nil for a plain collection of names.
struct TScriptSet {
  std::unique_ptr<TRegNameCollection> Names;
  TMBRegs* Regs = nullptr;
};

/// [class, name, place in its collection]
Json DescriptionJson(const TMBRegTypeColItem* item) {
  if (item == nullptr) return nullptr;
  return {item->ClassName(), item->Name(), item->Index()};
}

/// The position itself, or that of a name.
int IndexOf(const TRegNameCollection& names, TFields& args) {
  if (args.Has("NameOfIndex")) return names.NameIndex(args["NameOfIndex"]);
  return args["Index"];
}

class TRegisterScript final : public TScript {
 public:
  explicit TRegisterScript(TFields& setup);

  Json Run(TFields& step) override;
  Json Observed() override;
  const std::vector<std::string>& ObservedFields() const override {
    static const std::vector<std::string> kFields = {"changed", "freed", "events"};
    return kFields;
  }

 private:
  // Actions give nothing, queries a result.
  template <class TResult, class TOn>
  using TTable = std::map<std::string, TResult (*)(TRegisterScript&, TOn&, TFields& args)>;
  static const TTable<void, TMBReg>& RegActions();
  static const TTable<Json, TMBReg>& RegQueries();
  static const TTable<void, TRegNameCollection>& NamesActions();
  static const TTable<Json, TRegNameCollection>& NamesQueries();
  static const TTable<void, TMBRegs>& RegsActions();
  static const TTable<Json, TMBRegs>& RegsQueries();

  Json RunOnReg(TFields& step, TFields& args);
  Json RunOnSet(TFields& step, TFields& args);

  void AddCatalogues(const Json& catalogues);
  void AddSet(const std::string& label, const std::string& collection);
  TScriptSet& Set(const std::string& label);
  TMBReg& Reg(const TField& label) const { return fBook.Reg(label); }
  Json Label(const TMBReg* reg) const { return fBook.Label(reg); }
  Json Labels(const TMBRegList& regs) const;
  TMBTypeInfo* Catalogue(const TField& label);
  void AttachDataChange(TMBReg& reg, bool attach);
  void AttachDataToValue(TMBReg& reg, const Json& fields);

  // In the order of need: the sets and catalogues tell the book what happens.
  TRegisterBook fBook;
  std::map<std::string, TMBTypeInfo> fCatalogues;
  TMBLetter fLetter;
  std::map<std::string, TScriptSet> fSets;
};

TRegisterScript::TRegisterScript(TFields& setup) {
  if (setup.Has("TypeInfos")) AddCatalogues(setup["TypeInfos"].Value());
  for (const std::string& label : setup["sets"].Texts()) AddSet(label, setup["collection"]);
}

void TRegisterScript::AddCatalogues(const Json& catalogues) {
  for (const auto& [label, description] : catalogues.items()) {
    TMBTypeInfo& catalogue = fCatalogues[label];
    TFields fields(description);
    Describe(catalogue, fields, fBook.Events);
    fields.RefuseUnread();
    fBook.Catalogues[&catalogue] = label;
  }
}

void TRegisterScript::AddSet(const std::string& label, const std::string& collection) {
  TScriptSet& set = fSets[label];
  if (collection == "TMBRegs") {
    auto regs = std::make_unique<TWatchedSet<TMBRegs>>(fBook, label, fLetter);
    set.Regs = regs.get();
    set.Names = std::move(regs);
  } else if (collection == "TRegNameCollection") {
    set.Names = std::make_unique<TWatchedSet<TRegNameCollection>>(fBook, label);
  } else {
    throw ENotUnderstood("unknown collection " + collection);
  }
}

TScriptSet& TRegisterScript::Set(const std::string& label) {
  const auto found = fSets.find(label);
  if (found == fSets.end()) throw ENotUnderstood("unknown set " + label);
  return found->second;
}

TMBTypeInfo* TRegisterScript::Catalogue(const TField& label) {
  if (label.IsNull()) return nullptr;
  const auto found = fCatalogues.find(label);
  if (found == fCatalogues.end()) throw ENotUnderstood("unknown catalogue " + label.Text());
  return &found->second;
}

void TRegisterScript::AttachDataChange(TMBReg& reg, bool attach) {
  reg.OnDataChange = nullptr;
  if (!attach) return;
  reg.OnDataChange = [this](TMBReg& changed) {
    fBook.Events.push_back("D:" + Label(&changed).get<std::string>());
  };
}

void TRegisterScript::AttachDataToValue(TMBReg& reg, const Json& fields) {
  reg.OnDataToValue = nullptr;
  if (fields.is_null()) return;
  reg.OnDataToValue = [this, fields, label = Label(&reg).get<std::string>()](const Bytes& data,
                                                                             TRegValue& value) {
    fBook.Events.push_back("V:" + label + ":" + ToHex(data));
    StoreFields(fields, value);
  };
}

/// null for the list of an empty set.
Json TRegisterScript::Labels(const TMBRegList& regs) const {
  Json labels;
  for (const TMBReg* reg : regs) labels.push_back(Label(reg));
  return labels;
}

Json TRegisterScript::Observed() {
  return {{"changed", fBook.TakeChanged()},
          {"freed", fBook.TakeFreed()},
          {"events", fBook.TakeEvents()}};
}

Json TRegisterScript::Run(TFields& step) {
  TStepArgs args(step);
  Json result = step.Has("reg") ? RunOnReg(step, *args) : RunOnSet(step, *args);
  args->RefuseUnread();
  return result;
}

Json TRegisterScript::RunOnReg(TFields& step, TFields& args) {
  TMBReg& reg = Reg(step["reg"]);
  const auto action = RegActions().find(step["op"]);
  if (action == RegActions().end()) return FindStep(RegQueries(), step)(*this, reg, args);
  action->second(*this, reg, args);
  return nullptr;
}

Json TRegisterScript::RunOnSet(TFields& step, TFields& args) {
  const TScriptSet& set = Set(step.Get<std::string>("set", "A"));
  const std::string op = step["op"];
  if (set.Regs != nullptr && RegsActions().contains(op)) {
    RegsActions().at(op)(*this, *set.Regs, args);
    return nullptr;
  }
  if (set.Regs != nullptr && RegsQueries().contains(op)) {
    return RegsQueries().at(op)(*this, *set.Regs, args);
  }
  if (!NamesActions().contains(op)) return FindStep(NamesQueries(), step)(*this, *set.Names, args);
  NamesActions().at(op)(*this, *set.Names, args);
  return nullptr;
}

const TRegisterScript::TTable<void, TMBReg>& TRegisterScript::RegActions() {
  using TMe = TRegisterScript&;
  using TArgs = TFields&;
  static const TTable<void, TMBReg> kActions = {
      {"SetDisplayName", [](TMe, TMBReg& r, TArgs a) { r.SetDisplayName(a["Value"]); }},
      {"SetChanelIndex", [](TMe, TMBReg& r, TArgs a) { r.SetChanelIndex(a["Value"]); }},
      {"SetRegAdress", [](TMe, TMBReg& r, TArgs a) { r.SetRegAdress(a["Value"]); }},
      {"SetMBFuncRead", [](TMe, TMBReg& r, TArgs a) { r.SetMBFuncRead(a["Value"]); }},
      {"SetMBFuncWrite", [](TMe, TMBReg& r, TArgs a) { r.SetMBFuncWrite(a["Value"]); }},
      {"SetRegsCount", [](TMe, TMBReg& r, TArgs a) { r.SetRegsCount(a["Value"]); }},
      {"SetBytesInOneReg", [](TMe, TMBReg& r, TArgs a) { r.SetBytesInOneReg(a["Value"]); }},
      {"SetCaption", [](TMe, TMBReg& r, TArgs a) { r.SetCaption(a["Value"]); }},
      {"SetRegType", [](TMe, TMBReg& r, TArgs a) { r.SetRegType(a["Value"]); }},
      {"SetTypeName", [](TMe, TMBReg& r, TArgs a) { r.SetTypeName(a["Value"]); }},
      {"SetTypeInfo", [](TMe me, TMBReg& r, TArgs a) { r.SetTypeInfo(me.Catalogue(a["Value"])); }},
      {"SetRegData", [](TMe, TMBReg& r, TArgs a) { r.SetRegData(a["Data"].Data()); }},
      {"SetData", [](TMe, TMBReg& r, TArgs a) { r.SetData(a["Index"], a["Value"]); }},
      {"ClearData", [](TMe, TMBReg& r, TArgs) { r.ClearData(); }},
      {"DataToValue", [](TMe, TMBReg& r, TArgs) { r.DataToValue(); }},
      {"DataToMin", [](TMe, TMBReg& r, TArgs) { r.DataToMin(); }},
      {"Assign", [](TMe me, TMBReg& r, TArgs a) { r.Assign(me.Reg(a["Source"])); }},
      {"AssignOther", [](TMe, TMBReg& r, TArgs) { r.Assign(TStringList()); }},
      {"SetOnDataChange", [](TMe me, TMBReg& r, TArgs a) { me.AttachDataChange(r, a["Value"]); }},
      {"SetOnDataToValue",
       [](TMe me, TMBReg& r, TArgs a) { me.AttachDataToValue(r, a["Value"].Value()); }},
  };
  return kActions;
}

const TRegisterScript::TTable<Json, TMBReg>& TRegisterScript::RegQueries() {
  using TMe = TRegisterScript&;
  using TArgs = TFields&;
  static const TTable<Json, TMBReg> kQueries = {
      {"GetDisplayName", [](TMe, TMBReg& r, TArgs) -> Json { return r.GetDisplayName(); }},
      {"GetRegsCount", [](TMe, TMBReg& r, TArgs) -> Json { return r.GetRegsCount(); }},
      {"CountInByte", [](TMe, TMBReg& r, TArgs) -> Json { return r.CountInByte(); }},
      {"GetData", [](TMe, TMBReg& r, TArgs a) -> Json { return r.GetData(a["Index"]); }},
      {"IsDataZero", [](TMe, TMBReg& r, TArgs) -> Json { return r.IsDataZero(); }},
      {"GetDataAsWordAr", [](TMe, TMBReg& r, TArgs) -> Json { return r.GetDataAsWordAr(); }},
      {"DataToStr", [](TMe, TMBReg& r, TArgs) -> Json { return r.DataToStr(); }},
      {"GetRegTypeItem",
       [](TMe, TMBReg& r, TArgs) -> Json { return DescriptionJson(r.GetRegTypeItem()); }},
      {"GetValueStr", [](TMe, TMBReg& r, TArgs) -> Json { return r.ValueStr(); }},
      {"GetValueInt", [](TMe, TMBReg& r, TArgs) -> Json { return r.ValueInt(); }},
      {"GetValueRe", [](TMe, TMBReg& r, TArgs) -> Json { return RealJson(r.ValueRe()); }},
  };
  return kQueries;
}

const TRegisterScript::TTable<void, TRegNameCollection>& TRegisterScript::NamesActions() {
  using TMe = TRegisterScript&;
  using TNames = TRegNameCollection&;
  using TArgs = TFields&;
  static const TTable<void, TRegNameCollection> kActions = {
      {"SetRegValue",
       [](TMe me, TNames n, TArgs a) { n.SetRegValue(IndexOf(n, a), me.Reg(a["Reg"])); }},
      {"SetNameByIndex",
       [](TMe, TNames n, TArgs a) { n.SetNameByIndex(IndexOf(n, a), a["Name"]); }},
      {"AddRegItem", [](TMe me, TNames n, TArgs a) { n.AddRegItem(a["Name"], me.Reg(a["Reg"])); }},
      {"ChangeName", [](TMe me, TNames n,
                        TArgs a) { n.ChangeName(a["OldName"], a["NewName"], me.Reg(a["Reg"])); }},
      {"DelByIndex", [](TMe, TNames n, TArgs a) { n.DelByIndex(IndexOf(n, a)); }},
      {"DelByIndexRaw", [](TMe, TNames n, TArgs a) { n.DelByIndex(a["Index"]); }},
      {"Delete", [](TMe, TNames n, TArgs a) { n.Delete(a["Index"]); }},
      {"Clear", [](TMe, TNames n, TArgs) { n.Clear(); }},
  };
  return kActions;
}

const TRegisterScript::TTable<Json, TRegNameCollection>& TRegisterScript::NamesQueries() {
  using TMe = TRegisterScript&;
  using TNames = TRegNameCollection&;
  using TArgs = TFields&;
  static const TTable<Json, TRegNameCollection> kQueries = {
      {"Add", [](TMe me, TNames n, TArgs) { return me.Label(static_cast<TMBReg*>(n.Add())); }},
      {"NameIndex", [](TMe, TNames n, TArgs a) -> Json { return n.NameIndex(a["Name"]); }},
      {"RegByIndex", [](TMe me, TNames n, TArgs a) { return me.Label(n.RegByIndex(a["Index"])); }},
      {"RegByName",
       [](TMe me, TNames n, TArgs a) {
         const int index = n.NameIndex(a["Name"]);
         return index >= 0 ? me.Label(n.RegByIndex(index)) : Json();
       }},
      {"NumberOfItems", [](TMe, TNames n, TArgs) -> Json { return n.Count(); }},
  };
  return kQueries;
}

const TRegisterScript::TTable<void, TMBRegs>& TRegisterScript::RegsActions() {
  using TMe = TRegisterScript&;
  using TArgs = TFields&;
  static const TTable<void, TMBRegs> kActions = {
      {"SetMBTypeInfo",
       [](TMe me, TMBRegs& s, TArgs a) { s.SetMBTypeInfo(me.Catalogue(a["Value"])); }},
      {"SetItem", [](TMe me, TMBRegs& s, TArgs a) { s.SetItem(a["Index"], me.Reg(a["Value"])); }},
      {"SetItemByName",
       [](TMe me, TMBRegs& s, TArgs a) { s.SetItemByName(a["Name"], me.Reg(a["Value"])); }},
      {"ClearRegsData", [](TMe, TMBRegs& s, TArgs) { s.ClearRegsData(); }},
      {"CopyRegDataByName",
       [](TMe me, TMBRegs& s, TArgs a) {
         const TMBRegs& source = *me.Set(a["Source"]).Regs;
         if (!a.Has("SrcNames")) return s.CopyRegDataByName(source);
         s.CopyRegDataByName(source, a["SrcNames"].Texts(), a["DestNames"].Texts());
       }},
  };
  return kActions;
}

const TRegisterScript::TTable<Json, TMBRegs>& TRegisterScript::RegsQueries() {
  using TMe = TRegisterScript&;
  using TArgs = TFields&;
  static const TTable<Json, TMBRegs> kQueries = {
      {"GetItem", [](TMe me, TMBRegs& s, TArgs a) { return me.Label(s.GetItem(a["Index"])); }},
      {"GetItemByName",
       [](TMe me, TMBRegs& s, TArgs a) { return me.Label(s.GetItemByName(a["Name"])); }},
      {"TryGetRegByName",
       [](TMe me, TMBRegs& s, TArgs a) -> Json {
         TMBReg* reg = nullptr;
         const bool found = s.TryGetRegByName(a["Name"], reg);
         return Json::array({found, me.Label(reg)});
       }},
      {"DeleteByName", [](TMe, TMBRegs& s, TArgs a) -> Json { return s.DeleteByName(a["Name"]); }},
      {"RegList", [](TMe me, TMBRegs& s, TArgs) { return me.Labels(s.RegList()); }},
      {"RegNameAr",
       [](TMe, TMBRegs& s, TArgs a) -> Json { return s.RegNameAr(KindSet(a["Types"])); }},
      {"RegValueByName",
       [](TMe, TMBRegs& s, TArgs a) { return ValueJson(s.RegValueByName(a["Name"])); }},
      {"CloneReg",
       [](TMe me, TMBRegs& s, TArgs a) { return me.Label(s.CloneReg(me.Reg(a["Reg"]))); }},
      {"SaveRegsDataToFile",
       [](TMe, TMBRegs& s, TArgs a) -> Json {
         const TScratchFile file;
         s.SaveRegsDataToFile(file.Name(), a["Header"]);
         return ToHex(BytesOf(file.Content()));
       }},
      {"LoadRegsDataFromFile",
       [](TMe, TMBRegs& s, TArgs a) -> Json {
         const TScratchFile file(TextOf(a["File"].Data()));
         return s.LoadRegsDataFromFile(file.Name(), a["Header"]);
       }},
  };
  return kQueries;
}

}  // namespace

std::unique_ptr<TScript> MakeRegisterScript(TFields& setup) {
  return std::make_unique<TRegisterScript>(setup);
}

}  // namespace OrvixModBus::Vectors
