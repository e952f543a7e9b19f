// Steps on clients, their requests and the replies of the transport.

#include <algorithm>

#include "letters_scenario.h"

namespace OrvixModBus::Vectors {
namespace {

Bytes DataOf(TFields& step) {
  if (!step.Has("d") || step["d"].IsNull()) return {};
  return step["d"].Data();
}

TServerReply KindOf(TFields& step) {
  const int kind = step["k"];
  if (kind < 0 || kind > static_cast<int>(TServerReply::srNormalReply)) {
    throw ENotUnderstood("no kind of reply: " + std::to_string(kind));
  }
  return static_cast<TServerReply>(kind);
}

void Read(TScenario& scenario, TFields& step) {
  scenario.Client(step).Read(step["f"], step["a"], step["n"], scenario.Owner(step["own"]),
                             DataOf(step));
}

void Write(TScenario& scenario, TFields& step) {
  scenario.Client(step).Write(step["f"], step["a"], DataOf(step), scenario.Owner(step["own"]));
}

void Custom(TScenario& scenario, TFields& step) {
  scenario.Client(step).InitCustomTransaction(step["f"], DataOf(step), scenario.Owner(step["own"]));
}

void ReadEmul(TScenario& scenario, TFields& step) {
  scenario.Client(step).ReadEmul(scenario.Reg(step["reg"]), scenario.Owner(step["own"]));
}

void WriteEmul(TScenario& scenario, TFields& step) {
  scenario.Client(step).WriteEmul(scenario.Reg(step["reg"]), DataOf(step),
                                  scenario.Owner(step["own"]));
}

template <class T>
T Narrow(const Json& number) {
  return TField(number, "number");
}

const Json& ElementsOf(const Json& list, std::size_t count) {
  const Json& elements = TField(list, "list").Elements();
  if (elements.size() != count) throw ENotUnderstood("a list of another length: " + Show(list));
  return elements;
}

void ReadFile(TScenario& scenario, TFields& step) {
  TModbusFileRecordList records;
  for (const Json& record : step["recs"].Elements()) {
    const Json& parts = ElementsOf(record, 3);
    records.Add(Narrow<std::uint16_t>(parts[0]), Narrow<std::uint16_t>(parts[1]),
                Narrow<int>(parts[2]));
  }
  scenario.Client(step).ReadFileRecord(records, scenario.Owner(step["own"]));
}

void ReadStructur(TScenario& scenario, TFields& step) {
  std::vector<std::unique_ptr<TMBRegTypeStructure>> fields;
  std::vector<TMBRegTypeStructure*> list;
  for (const Json& item : step["items"].Elements()) {
    const Json& parts = ElementsOf(item, 2);
    fields.push_back(std::make_unique<TMBRegTypeStructure>(nullptr));
    fields.back()->SetOffset(Narrow<std::int16_t>(parts[0]));
    fields.back()->SetSize(Narrow<std::uint16_t>(parts[1]));
    list.push_back(fields.back().get());
  }
  scenario.Client(step).ReadFileByStructur(step["file"], step["first"], step["need"], list,
                                           scenario.Owner(step["own"]));
}

void Confirm(TScenario& scenario, TFields& step) { scenario.Client(step).ConfirmComandDX517(); }

void ClearAll(TScenario& scenario, TFields& step) {
  scenario.Client(step).ClearWaitQueueAllLetters();
}

void Pending(TScenario& scenario, TFields& step) {
  scenario.Return(scenario.Client(step).CountPendingTransactions());
}

void Lists(TScenario& scenario, TFields& step) {
  const TMBClient& client = scenario.Client(step);
  scenario.Effect("dump", scenario.NameOf(&client),
                  Json{{"OnReadList", client.OnReadList.Count()},
                       {"OnWriteList", client.OnWriteList.Count()},
                       {"OnClearWaitQueue", client.OnClearWaitQueue.Count()},
                       {"OnReadFile", client.OnReadFile.Count()},
                       {"OnCastomTrunsaction", client.OnCastomTrunsaction.Count()}});
}

/// Records the list, the handler's id and the arguments.
class TListener {
 public:
  TListener(TScenario& scenario, std::string client, std::string list, std::string id)
      : fScenario(scenario),
        fClient(std::move(client)),
        fList(std::move(list)),
        fId(std::move(id)) {}

  void operator()(TMBClient&, TServerReply kind, std::uint8_t func, std::uint32_t start,
                  const Bytes& values, TObject* owner) {
    Record(kind, func, start, ToHex(values), fScenario.NameOf(owner));
  }
  void operator()(TObject&) { Record(); }
  void operator()(TMBClient&, TServerReply kind, TModbusFileRecordList& records, TObject* owner) {
    Record(kind, RecordsJson(records), fScenario.NameOf(owner));
  }
  void operator()(TModbusClient&, TModbusTransaction& transaction, std::uint8_t func) {
    Record(func, transaction.ServerReply());
  }

 private:
  template <class... TArgs>
  void Record(const TArgs&... args) {
    fScenario.Effect("lst", fClient, fList, fId, args...);
  }

  TScenario& fScenario;
  std::string fClient, fList, fId;
};

template <class TList>
void AddTo(TList& list, const TListener& listener, bool empty) {
  using THandler = typename TList::THandler;
  list.Add(empty ? THandler() : THandler(listener));
}

void Listen(TScenario& scenario, TFields& step) {
  TMBClient& client = scenario.Client(step);
  const std::string list = step["list"];
  const bool empty = step.Get("empty", false);
  const TListener listener(scenario, step.Get<std::string>("c", "C1"), list, step["id"]);
  if (list == "OnReadList") return AddTo(client.OnReadList, listener, empty);
  if (list == "OnWriteList") return AddTo(client.OnWriteList, listener, empty);
  if (list == "OnClearWaitQueue") return AddTo(client.OnClearWaitQueue, listener, empty);
  if (list == "OnReadFile") return AddTo(client.OnReadFile, listener, empty);
  if (list == "OnCastomTrunsaction") return AddTo(client.OnCastomTrunsaction, listener, empty);
  throw ENotUnderstood("unknown list " + list);
}

void Emit(TScenario& scenario, TFields& step, const TMBEventList& list) {
  list(scenario.Client(step), KindOf(step), step["f"], step["a"], DataOf(step),
       scenario.Owner(step["own"]));
}

void EmitRead(TScenario& scenario, TFields& step) {
  Emit(scenario, step, scenario.Client(step).OnReadList);
}

void EmitWrite(TScenario& scenario, TFields& step) {
  Emit(scenario, step, scenario.Client(step).OnWriteList);
}

void HookPaged(TScenario& scenario, TFields& step) {
  TRTUClient& client = scenario.Client(step).RTUClient();
  const std::string id = step.Get<std::string>("c", "C1") + ".rtu";
  if (step.Get("read", false)) {
    client.OnDX517Read = [&scenario, id](TModbusClient&, const TTransactionInfo& info,
                                         std::uint8_t page, std::uint16_t start, std::uint8_t count,
                                         const Bytes& values) {
      scenario.Event(id, "OnDX517Read", info.Reply, page, start, count, ToHex(values));
    };
  }
  if (step.Get("write", false)) {
    client.OnDX517Write = [&scenario, id](TModbusClient&, const TTransactionInfo& info,
                                          std::uint8_t page, std::uint16_t start,
                                          std::uint8_t count) {
      scenario.Event(id, "OnDX517Write", info.Reply, page, start, count);
    };
  }
}

void ReplaceUserData(TScenario& scenario, TModbusTransaction& transaction, const TField& by) {
  const Json foreign = "foreign";
  if (by.Text() == "nil") return transaction.SetUserData(nullptr);
  if (by.Text() != foreign) throw ENotUnderstood("unknown user data " + by.Text());
  transaction.SetUserData(scenario.Owner(by));
}

/// A custom reply is handed over from the server address on, read up to rpos. Behind the end there
/// is as little to read as at the end.
void CompleteCustom(TRecordedQueue& queue, int index, TServerReply kind, TFields& step) {
  Bytes reply = step.Has("r") ? step["r"].Data() : Bytes();
  if (!reply.empty()) reply.insert(reply.begin(), queue.Transaction(index).ServerAddress());
  const int position = std::min(step.Get("rpos", 2), static_cast<int>(reply.size()));
  queue.Complete(index, kind, reply, position);
}

void Complete(TScenario& scenario, TFields& step) {
  const auto [queue, index] = scenario.Request(step["i"]);
  TModbusTransaction& transaction = queue->Transaction(index);
  const TServerReply kind = KindOf(step);
  if (step.Has("ud")) ReplaceUserData(scenario, transaction, step["ud"]);
  if (transaction.Kind() == TTransactionKind::tkCustom) {
    CompleteCustom(*queue, index, kind, step);
  } else if (transaction.Kind() == TTransactionKind::tkServerID) {
    queue->Complete(index, kind, DataOf(step));
  } else {
    queue->Complete(index, kind);
  }
}

void Pump(TScenario& scenario, TFields&) { scenario.Loop().RunPending(); }

void PostFail(TScenario& scenario, TFields& step) { scenario.Loop().Refuses = step["v"]; }

}  // namespace

const TStepOperations& ClientSteps() {
  static const TStepOperations kSteps = {
      {"read", Read},
      {"write", Write},
      {"custom", Custom},
      {"read_emul", ReadEmul},
      {"write_emul", WriteEmul},
      {"file_rec", ReadFile},
      {"file_struct", ReadStructur},
      {"confirm", Confirm},
      {"clear_all", ClearAll},
      {"pending", Pending},
      {"lists", Lists},
      {"listen", Listen},
      {"emit_read", EmitRead},
      {"emit_write", EmitWrite},
      {"dx_hook", HookPaged},
      {"complete", Complete},
      {"pump", Pump},
      {"post_fail", PostFail},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
