#include "letters_setup.h"

#include "catalogue.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus::Vectors {
namespace {

/// A letter whose empty hook is filled.
class THookedLetter final : public TMBLetter {
 public:
  THookedLetter(TScenario& scenario, std::string id) : fScenario(scenario), fId(std::move(id)) {}

 protected:
  void RegDataChange(TMBReg& reg) override {
    fScenario.Effect("hook", fId, "RegDataChange", fScenario.RegJson(reg));
  }

 private:
  TScenario& fScenario;
  std::string fId;
};

void AddNumber(TMBRegTypeNumber& item, TFields& fields) {
  item.SetName(fields["name"]);
  item.SetMinValue(fields.Get("min", 0.0));
  item.SetMaxValue(fields.Get("max", 0.0));
  item.SetIntPart(fields.Get<std::uint8_t>("int", 0));
  item.SetRealPart(fields.Get<std::uint8_t>("frac", 0));
  item.SetMultiplier(fields.Get("mul", 0.0));
  item.SetFromIndex(fields.Get("from", -1));
  if (fields.Has("step")) item.SetStep(fields["step"]);
}

void AddField(TMBRegTypeStructure& item, TFields& fields) {
  item.SetName(fields["name"]);
  if (fields.Has("struct")) item.SetStructurName(fields["struct"]);
  if (fields.Has("code")) item.SetCode(fields["code"]);
  if (fields.Has("t")) item.SetRegType(fields["t"]);
  if (fields.Has("tn")) item.SetRegTypeName(fields["tn"]);
  if (fields.Has("off")) item.SetOffset(fields["off"]);
  if (fields.Has("size")) item.SetSize(fields["size"]);
  if (fields.Has("cap")) item.SetCaption(fields["cap"]);
}

void AddList(TMBRegTypeList& item, TFields& fields) {
  item.SetName(fields["name"]);
  if (fields.Has("dict")) SetLines(item.Dictionary(), fields["dict"]);
}

void AddBin(TMBRegTypeBin& item, TFields& fields) {
  item.SetName(fields["name"]);
  if (fields.Has("dict")) SetLines(item.Dictionary(), fields["dict"]);
  if (fields.Has("bits")) SetLines(item.Bits(), fields["bits"]);
}

/// Calls create with the fields of each object of the list.
template <class TCreate>
void ForEach(const TField& list, TCreate create) {
  for (const Json& object : list.Elements()) {
    TFields fields(object);
    create(fields);
    fields.RefuseUnread();
  }
}

/// New items out of the list under that key, if it is there.
template <class TItems, class TAdd>
void AddItems(TItems& items, TFields& fields, const char* key, TAdd add) {
  if (fields.Has(key)) ForEach(fields[key], [&](TFields& item) { add(*items.Add(), item); });
}

void AddTypes(TScenario& scenario, const TField& list) {
  ForEach(list, [&](TFields& fields) {
    auto& types = scenario.Add(fields["id"], std::make_unique<TMBTypeInfo>());
    AddItems(types.TypeLists(), fields, "lists", AddList);
    AddItems(types.TypeBins(), fields, "bins", AddBin);
    AddItems(types.TypeNumbers(), fields, "nums", AddNumber);
    AddItems(types.TypeStructurs(), fields, "structs", AddField);
  });
}

void AddLines(TScenario& scenario, const TField& list) {
  ForEach(list, [&](TFields& line) { scenario.AddLine(line["id"], line.Get("active", true)); });
}

void AddTCPs(TScenario& scenario, const TField& list) {
  for (const std::string& id : list.Texts()) {
    scenario.Add(id, std::make_unique<TMBTCPConnection>());
  }
}

TConnectionType ConnectionTypeOf(const std::string& name) {
  const auto& names = TEnumNames<TConnectionType>::Values;
  const auto found = std::find(std::begin(names), std::end(names), name);
  if (found == std::end(names)) throw ENotUnderstood("unknown connection type " + name);
  return static_cast<TConnectionType>(found - std::begin(names));
}

void AddConnections(TScenario& scenario, const TField& list) {
  ForEach(list, [&](TFields& fields) {
    auto& connection = scenario.Add(fields["id"], std::make_unique<TMBConnection>());
    connection.SetConnectionType(ConnectionTypeOf(fields.Get<std::string>("type", "mbRtu")));
    if (fields.Has("rtu")) connection.SetRTU(scenario.GetOrNil<TMBRTUConnection>(fields["rtu"]));
    if (fields.Has("tcp")) connection.SetTCP(scenario.GetOrNil<TMBTCPConnection>(fields["tcp"]));
  });
}

/// A handler that records kind, function, start, values and owner.
TMBEvent ReplyRecorder(TScenario& scenario, const std::string& id, const std::string& event) {
  return [&scenario, id, event](TMBClient&, TServerReply kind, std::uint8_t func,
                                std::uint32_t start, const Bytes& values, TObject* owner) {
    scenario.Event(id, event, kind, func, start, ToHex(values), scenario.NameOf(owner));
  };
}

TClientExceptEvent ErrorRecorder(TScenario& scenario, const std::string& id,
                                 const std::string& event) {
  return
      [&scenario, id, event](TMBClient&, TServerReply kind, std::uint8_t func,
                             std::uint32_t start) { scenario.Event(id, event, kind, func, start); };
}

void HookClient(TScenario& scenario, TMBClient& client, const std::string& id) {
  if (scenario.IsHooked(id, "OnRead")) client.OnRead = ReplyRecorder(scenario, id, "OnRead");
  if (scenario.IsHooked(id, "OnWrite")) client.OnWrite = ReplyRecorder(scenario, id, "OnWrite");
  if (scenario.IsHooked(id, "OnNoneAnswer")) {
    client.OnNoneAnswer = ErrorRecorder(scenario, id, "OnNoneAnswer");
  }
  if (scenario.IsHooked(id, "OnExeptionAnswer")) {
    client.OnExeptionAnswer = ErrorRecorder(scenario, id, "OnExeptionAnswer");
  }
  if (scenario.IsHooked(id, "OnWorkStart")) {
    client.OnWorkStart = [&scenario, id](TObject&) { scenario.Event(id, "OnWorkStart"); };
  }
}

void AddClients(TScenario& scenario, const TField& list) {
  ForEach(list, [&](TFields& fields) {
    const std::string id = fields["id"];
    auto& client = scenario.Add(id, std::make_unique<TMBClient>());
    if (fields.Has("conn") && !fields["conn"].IsNull()) {
      client.SetConnection(&scenario.Get<TMBConnection>(fields["conn"]));
    }
    if (fields.Has("adres")) client.SetAdres(fields["adres"]);
    HookClient(scenario, client, id);
  });
}

void HookLetter(TScenario& scenario, TMBLetter& letter, const std::string& id) {
  for (const auto& [name, event] : {std::pair{"OnReadAllRegs", &TMBLetter::OnReadAllRegs},
                                    std::pair{"OnWriteAllRegs", &TMBLetter::OnWriteAllRegs}}) {
    if (!scenario.IsHooked(id, name)) continue;
    letter.*event = [&scenario, id, event = name](TMBLetter&) { scenario.Event(id, event); };
  }
  for (const auto& [name, event] : {std::pair{"OnRegDataChange", &TMBLetter::OnRegDataChange},
                                    std::pair{"OnWriteReg", &TMBLetter::OnWriteReg}}) {
    if (!scenario.IsHooked(id, name)) continue;
    letter.*event = [&scenario, id, event = name](TMBLetter&, TMBReg& reg) {
      scenario.Event(id, event, scenario.RegJson(reg), reg.ValueStr());
    };
  }
  for (const auto& [name, event] : {std::pair{"OnExeptionAnswer", &TMBLetter::OnExeptionAnswer},
                                    std::pair{"OnNoneAnswer", &TMBLetter::OnNoneAnswer}}) {
    if (!scenario.IsHooked(id, name)) continue;
    letter.*event = [&scenario, id, event = name](TMBLetter&, std::uint8_t func) {
      scenario.Event(id, event, func);
    };
  }
}

void AddLetters(TScenario& scenario, const TField& list) {
  ForEach(list, [&](TFields& fields) {
    const std::string id = fields["id"];
    auto& letter = scenario.Add<TMBLetter>(id, fields.Get("hook", false)
                                                   ? std::make_unique<THookedLetter>(scenario, id)
                                                   : std::make_unique<TMBLetter>());
    letter.SetMaxHole(fields.Get<std::uint8_t>("maxhole", 0));
    letter.SetChanelID(fields.Get("chanel", 0));
    letter.SetClient(fields.Has("client") ? scenario.GetOrNil<TMBClient>(fields["client"])
                                          : &scenario.Get<TMBClient>("C1"));
    if (fields.Has("types")) {
      letter.Regs().SetMBTypeInfo(scenario.GetOrNil<TMBTypeInfo>(fields["types"]));
    }
    if (fields.Has("regs")) {
      for (const Json& spec : fields["regs"].Elements()) {
        DescribeReg(scenario, *letter.Regs().Add(), spec);
      }
    }
    HookLetter(scenario, letter, id);
  });
}

void AddLooseRegs(TScenario& scenario, const TField& list) {
  for (const Json& spec : list.Elements()) {
    DescribeReg(scenario, scenario.AddReg(TFields(spec)["id"]), spec);
  }
}

void HookItems(TScenario& scenario, TMBItemFunction& function, const std::string& id) {
  for (const auto& [name, event] : {std::pair{"OnGetCountInfo", &TMBItemFunction::OnGetCountInfo},
                                    std::pair{"OnErorAnswer", &TMBItemFunction::OnErorAnswer}}) {
    if (!scenario.IsHooked(id, name)) continue;
    function.*event = [&scenario, id, event = name](TObject&) { scenario.Event(id, event); };
  }
}

/// A handler that records the bytes.
TGetData DataRecorder(TScenario& scenario, const std::string& id, const std::string& event) {
  return [&scenario, id, event](TObject&, const Bytes& data) {
    scenario.Event(id, event, ToHex(data));
  };
}

template <class TLog>
TMBItemFunction& AddLog(TScenario& scenario, const std::string& id, TFields& fields) {
  auto& log = scenario.Add(id, std::make_unique<TLog>());
  if (fields.Has("OneRecordLength")) log.SetOneRecordLength(fields["OneRecordLength"]);
  if (scenario.IsHooked(id, "OnGetRecord")) {
    log.OnGetRecord = DataRecorder(scenario, id, "OnGetRecord");
  }
  return log;
}

TMBItemFunction& AddOscillograms(TScenario& scenario, const std::string& id, TFields& fields) {
  auto& function = scenario.Add(id, std::make_unique<TMBFunction41>());
  if (fields.Has("OscilInfoLength")) function.SetOscilInfoLength(fields["OscilInfoLength"]);
  if (fields.Has("OscilDataLength")) function.SetOscilDataLength(fields["OscilDataLength"]);
  if (scenario.IsHooked(id, "OnGetOscilInfo")) {
    function.OnGetOscilInfo = DataRecorder(scenario, id, "OnGetOscilInfo");
  }
  if (scenario.IsHooked(id, "OnGetOscilData")) {
    function.OnGetOscilData = [&scenario, id](TObject&, std::uint16_t number, std::uint16_t record,
                                              const Bytes& data) {
      scenario.Event(id, "OnGetOscilData", number, record, ToHex(data));
    };
  }
  return function;
}

TMBItemFunction& AddFunction(TScenario& scenario, const std::string& id, TFields& fields) {
  const std::string name = fields["cls"];
  if (name == "TMBFunction20") return AddLog<TMBFunction20>(scenario, id, fields);
  if (name == "TMBFunction24") return AddLog<TMBFunction24>(scenario, id, fields);
  if (name == "TMBFunction41") return AddOscillograms(scenario, id, fields);
  throw ENotUnderstood("unknown class " + name);
}

void AddFunctions(TScenario& scenario, const TField& list) {
  ForEach(list, [&](TFields& fields) {
    const std::string id = fields["id"];
    TMBItemFunction& function = AddFunction(scenario, id, fields);
    HookItems(scenario, function, id);
    if (fields.Has("client")) {
      function.SetMBClient(scenario.GetOrNil<TMBClient>(fields["client"]));
    }
  });
}

void AddEmulators(TScenario& scenario, const TField& list) {
  ForEach(list, [&](TFields& fields) {
    const std::string id = fields["id"];
    auto& emulator = scenario.Add(id, std::make_unique<TEmulClient>());
    if (fields.Get("read", true)) {
      emulator.OnRead = [&scenario, id](TMBReg& reg, TObject* owner) {
        scenario.Event(id, "OnRead", scenario.RegJson(reg), scenario.NameOf(owner));
      };
    }
    if (fields.Get("write", true)) {
      emulator.OnWrite = [&scenario, id](TMBReg& copy, Bytes& data, TObject* owner) {
        scenario.Event(id, "OnWrite", CopyJson(copy), ToHex(data), scenario.NameOf(owner));
      };
    }
  });
}

void AssignEmulData(TScenario& scenario, const std::string& id, TFields& fields) {
  auto& client = scenario.Get<TMBClient>(id);
  if (fields.Has("get") && !fields["get"].IsNull()) {
    client.OnGetEmulData = [&scenario, id, values = fields["get"].Value()](TMBReg& reg,
                                                                           Bytes& data) {
      scenario.Event(id, "OnGetEmulData", scenario.RegJson(reg));
      if (values.contains(reg.Name())) data = FromHex(values[reg.Name()].get<std::string>());
    };
  }
  if (fields.Get("set", false)) {
    client.OnSetEmulData = [&scenario, id](TMBReg& copy, Bytes& data) {
      scenario.Event(id, "OnSetEmulData", CopyJson(copy), ToHex(data));
    };
  }
}

void AssignAllEmulData(TScenario& scenario, const TField& byClient) {
  for (const auto& [id, object] : byClient.Value().items()) {
    TFields fields(object);
    AssignEmulData(scenario, id, fields);
    fields.RefuseUnread();
  }
}

}  // namespace

const std::vector<TSetupPart>& SetupParts() {
  static const std::vector<TSetupPart> kParts = {
      {"types", "[]", AddTypes},
      {"rtus", R"([{"id":"T1"}])", AddLines},
      {"tcps", "[]", AddTCPs},
      {"conns", R"([{"id":"N1","type":"mbRtu","rtu":"T1"}])", AddConnections},
      {"clients", R"([{"id":"C1","conn":"N1","adres":1}])", AddClients},
      {"letters", "[]", AddLetters},
      {"regs", "[]", AddLooseRegs},
      {"fns", "[]", AddFunctions},
      {"autofills", "[]", AddAutoFills},
      {"emuls", "[]", AddEmulators},
      {"emul", "{}", AssignAllEmulData},
  };
  return kParts;
}

}  // namespace OrvixModBus::Vectors
