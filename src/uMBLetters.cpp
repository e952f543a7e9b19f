#include "uMBLetters.h"

#include <algorithm>
#include <utility>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uFirstError.h"
#include "platform/rtl/uFormat.h"

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kWriteMultipleRegisters = 0x10;
constexpr std::uint8_t kWriteSingleCoil = 0x05;
// Completion is told by the counters of the codes 1 to 102.
constexpr std::size_t kLastCheckedFunc = 0x66;

bool IsBitFunc(std::uint8_t func) { return func == 0x01 || func == 0x02; }
bool IsSingleWrite(std::uint8_t func) { return func == 0x06 || func == 0x6C; }

// Emulation leaves out $02, as this system does.
bool IsReadEmulated(std::uint8_t func) {
  return func != 0x02 && std::ranges::find(kMBReadFuncs, func) != std::end(kMBReadFuncs);
}

// Does a reply with these values, read from startReg on, hold the whole register?
bool Covers(std::uint8_t func, std::uint32_t startReg, const Bytes& values, const TMBReg& reg) {
  const std::int64_t start = startReg;
  const std::int64_t adress = reg.Adress();
  const auto length = static_cast<std::int64_t>(values.size());
  if (adress < start) return false;
  if (IsBitFunc(func)) return start + 8 * length - 1 >= adress + reg.GetRegsCount() / 8;
  if (IsPagedRead(func)) return start + length >= adress + reg.CountInByte();
  return start + length / 2 >= adress + reg.GetRegsCount();
}

// Bytes for every function code, also where addresses count registers.
bool CoversWritten(std::uint32_t startReg, const Bytes& values, const TMBReg& reg) {
  const std::uint64_t end = std::uint64_t{reg.Adress()} + static_cast<unsigned>(reg.CountInByte());
  return reg.Adress() >= startReg && startReg + values.size() >= end;
}

// Every byte raises the register's event, whose handler may throw or destroy the register.
void StoreByte(TMBReg& reg, int index, std::uint8_t value, TFirstError& error) {
  error.Run([&] { reg.SetData(static_cast<std::uint16_t>(index), value); });
}

// The values from offset on, as far as register and values reach.
void StoreValues(const TRef<TMBReg>& reg, const Bytes& values, std::uint64_t offset,
                 TFirstError& error) {
  const auto part = std::span(values).subspan(std::min<std::uint64_t>(offset, values.size()));
  if (!reg->OnDataChange) return error.Run([&] { reg->ReplaceData(part); });
  int index = 0;
  for (const std::uint8_t value : part) {
    if (!reg || index >= reg->CountInByte()) return;
    StoreByte(*reg, index++, value, error);
  }
}

// Every byte of a bit register takes the register's one bit.
void StoreBit(const TRef<TMBReg>& reg, const Bytes& values, std::uint32_t offset,
              TFirstError& error) {
  const auto bit = static_cast<std::uint16_t>(offset & 0xFFFF);
  if (bit / 8u >= values.size()) return;
  const auto value = static_cast<std::uint8_t>(TMBLib::BitFromAr(values, bit, false));
  for (int j = 0; reg && j < reg->CountInByte(); ++j) StoreByte(*reg, j, value, error);
}

void StoreReply(std::uint8_t func, std::uint32_t startReg, const Bytes& values,
                const TRef<TMBReg>& reg, TFirstError& error) {
  const std::uint32_t distance = reg->Adress() - startReg;
  if (IsBitFunc(func)) return StoreBit(reg, values, distance, error);
  const std::uint64_t width = IsPagedRead(func) ? 1 : reg->BytesInOneReg();
  StoreValues(reg, values, distance * width, error);
}

// What the client would refuse, or can't be cut into registers, is refused before anything of a
// write is sent.
void CheckWrite(const TMBClient& client, const TMBReg& reg, std::size_t size) {
  const std::size_t need = std::size_t{2} * reg.GetRegsCount();
  if (client.IsEmul()) return;
  if (IsSingleWrite(reg.MBFuncWrite()) && size < need) {
    throw Exception(Format("Reg %s: writing %d registers takes %d bytes, not %d",
                           {reg.Name(), reg.GetRegsCount(), need, size}));
  }
  if (client.Active()) TMBClient::CheckWrite(reg.MBFuncWrite(), size);
}

std::string& LogFileName() {
  static std::string name;
  return name;
}

}  // namespace

TMBLetter::TMBLetter(TComponent* owner)
    : TComponent(owner),
      fRegs(*this),
      fReadPlaces(fRegs, &TMBReg::MBFuncRead),
      fWritePlaces(fRegs, &TMBReg::MBFuncWrite) {}

TMBLetter::~TMBLetter() {
  Bind(nullptr);
  BeginDestroy();
}

void TMBLetter::SetClient(TMBClient* value) {
  CheckThread();
  if (value != fClient.Get()) Bind(value);
}

void TMBLetter::Bind(TMBClient* value) {
  if (fClient) {
    fClient->OnReadList.Remove(this, &TMBLetter::OnRead);
    fClient->OnWriteList.Remove(this, &TMBLetter::OnWrite);
    fClient->OnClearWaitQueue.Remove(this, &TMBLetter::OnClearWaitQueue);
  }
  fClient = value;
  if (value == nullptr) return;
  value->OnReadList.Add(this, &TMBLetter::OnRead);
  value->OnWriteList.Add(this, &TMBLetter::OnWrite);
  value->OnClearWaitQueue.Add(this, &TMBLetter::OnClearWaitQueue);
}

void TMBLetter::ReadAllRegs(const TMBRegProc& proc) {
  CheckThread();
  if (!proc && fClient && !fClient->IsEmul()) {
    const auto groups = AllReadGroups();
    return ReadOptimizeRegs(*groups, {});
  }
  TMBRegList list = fRegs.RegList();
  ReadRegs(list, proc);
}

// A letter is read again and again: it is grouped once for each layout of its registers. Shared,
// because a handler of the client may change that while the groups are being requested.
std::shared_ptr<const TMBGroupList> TMBLetter::AllReadGroups() {
  if (fAllReadGroups == nullptr || fAllReadGroupsRevision != fRegs.LayoutRevision()) {
    TMBRegList list = fRegs.RegList();
    SortMBRegs(list);
    fAllReadGroups = std::make_shared<const TMBGroupList>(ReadGroups(list));
    fAllReadGroupsRevision = fRegs.LayoutRevision();
  }
  return fAllReadGroups;
}

// list must be sorted by address.
TMBGroupList TMBLetter::ReadGroups(const TMBRegList& list) const {
  TMBGroupList groups;
  for (const std::uint8_t func : kMBReadFuncs) {
    std::ranges::move(MBRegsOptimize(list, fMaxHole, func), std::back_inserter(groups));
  }
  return groups;
}

void TMBLetter::ReadRegsByName(std::span<const std::string> names) {
  TMBRegList list = fRegs.RegList(names);
  ReadRegs(list, {});
}

void TMBLetter::ReadRegsByItem(std::span<const std::uint32_t> items) {
  TMBRegList list;
  for (const std::uint32_t item : items) {
    constexpr std::uint32_t kPastEveryEnd = 0x7FFFFFFF;
    list.push_back(fRegs.GetItem(static_cast<int>(std::min(item, kPastEveryEnd))));
  }
  ReadRegs(list, {});
}

void TMBLetter::ReadRegsByArray(std::span<TMBReg* const> regs) {
  TMBRegList list(regs.begin(), regs.end());
  ReadRegs(list, {});
}

void TMBLetter::ReadRegs(TMBRegList& list, const TMBRegProc& proc) {
  CheckThread();
  std::erase(list, nullptr);
  if (list.empty()) return;
  if (!fClient) throw Exception("MBClient not assigned");
  SortMBRegs(list);
  if (fClient->IsEmul()) return ReadEmulated(list, proc);
  ReadOptimizeRegs(ReadGroups(list), proc);
}

// Has send hand one request of this letter to the client, and waits for it: from before it is sent,
// for a handler of OnWorkStart may run the loop until the answer is there, or clear the queue. One
// that is under way is waited for even if such a handler throws; what else send throws leaves at
// once.
template <class TSend>
void TMBLetter::Request(std::uint8_t func, TSend send, TFirstError& error) {
  const TRef<TMBLetter> self(this);
  const TRef<TMBClient> client(fClient);
  const std::uint64_t started = client->WorkStarts();
  const std::uint32_t forgets = fForgets;
  const bool counted = func < fWaitQueue.size();
  bool sent = false;
  if (counted) ++fWaitQueue[func];
  error.Run([&] {
    send(*client);
    sent = true;
  });
  const bool underWay = client && (sent || client->WorkStarts() != started);
  if (self && counted) {
    if (underWay && fForgets != forgets) ++fWaitQueue[func];
    if (!underWay && fWaitQueue[func] > 0) --fWaitQueue[func];
  }
  if (client && !underWay) error.Raise();
}

// Handlers of the client and proc may destroy registers, the letter and its client.
void TMBLetter::ReadEmulated(const TMBRegList& list, const TMBRegProc& proc) {
  const TRef<TMBLetter> self(this);
  const std::vector<TRef<TMBReg>> regs(list.begin(), list.end());
  TFirstError error;
  for (const TRef<TMBReg>& reg : regs) {
    if (!self || !fClient) break;
    if (!reg || !IsReadEmulated(reg->MBFuncRead())) continue;
    Request(
        reg->MBFuncRead(), [&](TMBClient& client) { client.ReadEmul(*reg, this); }, error);
    if (reg && proc) error.Run([&] { proc(*reg); });
  }
  error.Raise();
}

void TMBLetter::ReadOptimizeRegs(const TMBGroupList& groups, const TMBRegProc& proc) {
  const TRef<TMBLetter> self(this);
  TFirstError error;
  for (const auto& group : groups) {
    const std::uint8_t func = group->MBFuncRead();
    const auto count = CountToRead(*group);
    if (!count) continue;
    if (!self || !fClient) break;
    Request(
        func, [&](TMBClient& client) { client.Read(func, group->Adress(), *count, this); }, error);
    if (proc) error.Run([&] { proc(*group); });
  }
  error.Raise();
}

TMBGroupList TMBLetter::CreateOptimizedRegList(std::span<const std::string> names,
                                               std::uint8_t func) const {
  TMBRegList list = fRegs.RegList(names);
  SortMBRegs(list);
  return MBRegsOptimize(list, fMaxHole, func);
}

void TMBLetter::WriteReg(TMBReg* reg, std::uint8_t offset, const Bytes& data) {
  CheckThread();
  if (reg == nullptr || data.empty()) return;
  if (!fClient) throw Exception("MBClient not assigned");
  CheckWrite(*fClient, *reg, data.size());
  TFirstError error;
  SendWrite(*reg, offset, data, error);
  error.Raise();
}

void TMBLetter::WriteRegByName(const std::string& name, std::uint8_t offset, const Bytes& data) {
  WriteReg(fRegs.GetItemByName(name), offset, data);
}

// Handlers of the client may destroy reg, data, the letter and its client, or change reg after the
// check.
void TMBLetter::SendWrite(const TMBReg& reg, std::uint8_t offset, const Bytes& data,
                          TFirstError& error) {
  const std::uint8_t func = reg.MBFuncWrite();
  if (fClient->IsEmul()) {
    return Request(
        func, [&](TMBClient& client) { client.WriteEmul(reg, data, this); }, error);
  }
  const auto write = [&](std::uint32_t adress, const Bytes& value) {
    Request(
        func, [&](TMBClient& client) { client.Write(func, adress, value, this); }, error);
  };
  const std::uint32_t adress = reg.Adress() + offset;
  const std::size_t count = std::min<std::size_t>(reg.GetRegsCount(), data.size() / 2);
  const bool whole = count == 1 && data.size() == 2;
  if (!IsSingleWrite(func) || whole) return write(adress, data);
  const TRef<TMBLetter> self(this);
  const Bytes all = data;
  for (std::size_t k = 0; k < count && self && fClient; ++k) {
    write(adress + static_cast<std::uint32_t>(k), {all[2 * k], all[2 * k + 1]});
  }
}

void TMBLetter::WriteRegs(TMBRegList list) {
  CheckThread();
  std::erase_if(list, [](const TMBReg* reg) { return reg == nullptr || reg->Data().empty(); });
  if (list.empty()) return;
  if (!fClient) throw Exception("MBClient not assigned");
  for (const TMBReg* reg : list) CheckWrite(*fClient, *reg, reg->Data().size());
  const TRef<TMBLetter> self(this);
  const std::vector<TRef<TMBReg>> regs(list.begin(), list.end());
  TFirstError error;
  for (const TRef<TMBReg>& reg : regs) {
    if (!self || !fClient) break;
    if (reg && !reg->Data().empty()) SendWrite(*reg, 0, ToBytes(reg->Data()), error);
  }
  error.Raise();
}

void TMBLetter::WriteRegsF10(std::span<const std::string> names) {
  if (names.empty()) return;
  TMBRegList list = std::exchange(fList, {});
  list.clear();
  for (const std::string& name : names) {
    list.push_back(fRegs.GetItemByName(name));
    if (list.back() == nullptr) throw Exception("Regs with name " + name + " not in regs list");
  }
  if (!ChekSameMBFuncRead(list)) throw Exception("Not all regs have write function $10");
  SortMBRegs(list);
  Bytes data = std::exchange(fData, {});
  data.clear();
  for (std::size_t i = 0; i < list.size(); ++i) {
    // On purpose: only the address before is cut to 16 bits.
    if (i > 0 && list[i]->Adress() - (list[i - 1]->Adress() & 0xFFFF) != 1) {
      throw Exception("Max hole between regs must be 0");
    }
    const auto& bytes = list[i]->Data();
    if (bytes.size() < 2) {
      throw Exception("Reg " + list[i]->Name() + " has fewer than the 2 bytes that are written");
    }
    data.insert(data.end(), bytes.begin(), bytes.begin() + 2);
  }
  TMBReg* const first = list.front();
  fList = std::move(list);
  const TRef<TMBLetter> self(this);
  WriteReg(first, 0, data);
  if (self) fData = std::move(data);
}

void TMBLetter::WriteAllF66F65(const TMBRegList& list) { WriteBlocks(list, {}); }

void TMBLetter::WriteAllRegs() {
  TMBRegList others = fRegs.RegList();
  std::erase_if(others, [](const TMBReg* reg) { return IsPagedWrite(reg->MBFuncWrite()); });
  WriteBlocks(fRegs.RegList(), others);
}

// The blocks of list, then the others.
void TMBLetter::WriteBlocks(TMBRegList list, const TMBRegList& others) {
  CheckThread();
  std::erase(list, nullptr);
  if (list.empty()) return;
  if (!fClient) throw Exception("MBClient not assigned");
  TMBGroupList groups;
  TMBRegList all;
  if (fClient->IsEmul()) {
    all = list;
  } else {
    groups = RegsToWriteF66F65Optimize(list, 0x66);
    std::ranges::move(RegsToWriteF66F65Optimize(list, 0x65), std::back_inserter(groups));
  }
  for (const auto& group : groups) all.push_back(group.get());
  all.insert(all.end(), others.begin(), others.end());
  WriteRegs(std::move(all));
}

void TMBLetter::OnRead(TMBClient& /*sender*/, TServerReply serverReply, std::uint8_t func,
                       std::uint32_t startReg, const Bytes& values, TObject* letterOwner) {
  if (letterOwner != this) return;
  if (func < fWaitQueue.size() && fWaitQueue[func] > 0) --fWaitQueue[func];
  const TRef<TMBLetter> self(this);
  TFirstError error;
  error.Run([&] {
    if (ChekServerReply(serverReply, func) && self) SpreadRead(func, startReg, values);
  });
  if (self && IsComplete(func)) error.Run([&] { DoOnReadAllRegs(); });
  error.Raise();
}

// Calls action(reg, error) for the registers that still live when their turn comes, until it
// returns false or the letter itself is destroyed. Gives the list back for the next reply.
template <class TAction>
void TMBLetter::ForEachAlive(std::vector<TRef<TMBReg>>& found, TAction action) {
  const TRef<TMBLetter> self(this);
  TFirstError error;
  for (const TRef<TMBReg>& reg : found) {
    if (!self || (reg && !action(reg, error))) break;
  }
  if (self) fFound = std::move(found);
  error.Raise();
}

// Stores the bytes that have come for a register, decodes it and tells of it. A handler may
// destroy the register at any step, or the letter, and so the register too.
template <class TStore>
void TMBLetter::Update(const TRef<TMBReg>& reg, bool written, TFirstError& error, TStore store) {
  const auto step = [&](auto action) {
    if (reg) error.Run(action);
  };
  step(store);
  step([&] { reg->DataToValue(); });
  step([&] { RegDataChange(*reg); });
  step([&] {
    if (written) OnWriteReg(*this, *reg);
  });
  step([&] { DoOnRegDataChange(*reg); });
}

void TMBLetter::SpreadRead(std::uint8_t func, std::uint32_t startReg, const Bytes& values) {
  if (std::ranges::find(kMBReadFuncs, func) == std::end(kMBReadFuncs)) return;
  const std::uint64_t reach = values.size() * (IsBitFunc(func) ? 8 : 1);
  auto found = std::exchange(fFound, {});
  fReadPlaces.Find(func, startReg, startReg + reach, found);
  ForEachAlive(found, [&](const TRef<TMBReg>& reg, TFirstError& error) {
    if (reg->MBFuncRead() != func || !Covers(func, startReg, values, *reg)) return true;
    Update(reg, false, error, [&] { StoreReply(func, startReg, values, reg, error); });
    return true;
  });
}

void TMBLetter::OnWrite(TMBClient& /*sender*/, TServerReply serverReply, std::uint8_t func,
                        std::uint32_t startReg, const Bytes& values, TObject* letterOwner) {
  if (letterOwner != this) return;
  if (func < fWaitQueue.size()) --fWaitQueue[func];
  const TRef<TMBLetter> self(this);
  TFirstError error;
  bool done = false;
  error.Run([&] {
    if (!ChekServerReply(serverReply, func) || !self) return;
    if (func == kWriteMultipleRegisters) {
      done = true;
      DoOnWriteAllRegs();
    } else if (IsPagedWrite(func)) {
      TellWritten(func, startReg, values, done);
    } else {
      SpreadWritten(func, startReg, values);
    }
  });
  if (self && !done && IsComplete(func)) error.Run([&] { DoOnWriteAllRegs(); });
  error.Raise();
}

void TMBLetter::SpreadWritten(std::uint8_t func, std::uint32_t startReg, const Bytes& values) {
  auto found = std::exchange(fFound, {});
  fWritePlaces.Find(func, startReg, startReg + values.size(), found);
  ForEachAlive(found, [&](const TRef<TMBReg>& reg, TFirstError& error) {
    if (reg->MBFuncWrite() != func || !CoversWritten(startReg, values, *reg)) return true;
    const std::uint64_t offset = (reg->Adress() - startReg) * std::uint64_t{reg->BytesInOneReg()};
    Update(reg, true, error, [&] { StoreValues(reg, values, offset, error); });
    return func != kWriteSingleCoil;
  });
}

// done: there is nothing left to tell, not even that the letter is complete.
void TMBLetter::TellWritten(std::uint8_t func, std::uint32_t startReg, const Bytes& values,
                            bool& done) {
  auto remaining = static_cast<std::int64_t>(values.size());
  auto found = std::exchange(fFound, {});
  fWritePlaces.Find(func, startReg, startReg + values.size(), found);
  ForEachAlive(found, [&](const TRef<TMBReg>& reg, TFirstError& error) {
    if (reg->MBFuncWrite() != func || !CoversWritten(startReg, values, *reg)) return true;
    remaining -= reg->CountInByte();
    done = !OnWriteReg || remaining < 1;
    error.Run([&] { OnWriteReg(*this, *reg); });
    return !done;
  });
}

// What the client had queued is gone, the request that is just being sent, too.
void TMBLetter::OnClearWaitQueue(TObject& /*sender*/) { fWaitQueue.fill(0); }

void TMBLetter::ClearWaitQueue() {
  CheckThread();
  fWaitQueue.fill(0);
  ++fForgets;
}

bool TMBLetter::ChekServerReply(TServerReply serverReply, std::uint8_t func) {
  switch (serverReply) {
    case TServerReply::srNone:
      OnNoneAnswer(*this, func);
      return false;
    case TServerReply::srInvalidFrame:
    case TServerReply::srUnexpectedReply:
    case TServerReply::srUnmatchedReply:
    case TServerReply::srExceptionReply:
      OnExeptionAnswer(*this, func);
      return false;
    case TServerReply::srNormalReply:
      return true;
  }
  return false;
}

bool TMBLetter::ChekAllRegsResive() const {
  return std::all_of(fWaitQueue.begin() + 1, fWaitQueue.begin() + kLastCheckedFunc + 1,
                     [](std::uint32_t count) { return count == 0; });
}

std::uint32_t TMBLetter::WaitQueue(std::uint8_t func) const {
  return func < fWaitQueue.size() ? fWaitQueue[func] : 0;
}

bool TMBLetter::IsComplete(std::uint8_t func) const {
  return WaitQueue(func) == 0 && ChekAllRegsResive();
}

void TMBLetter::Assign(const TPersistent& source) {
  const auto* letter = dynamic_cast<const TMBLetter*>(&source);
  if (letter == nullptr) return TComponent::Assign(source);
  CheckThread();
  SetClient(letter->Client());
  SetMaxHole(letter->MaxHole());
  SetRegs(letter->Regs());
}

bool TMBLetter::SameReg(const TMBReg& reg1, const TMBReg& reg2) {
  return reg1.Name() == reg2.Name() && reg1.Adress() == reg2.Adress() &&
         reg1.GetRegsCount() == reg2.GetRegsCount() && reg1.BytesInOneReg() == reg2.BytesInOneReg();
}

// Decoding runs handlers of the catalogue, which may destroy either letter.
int TMBLetter::CopyRegValues(TObject* source, std::span<const std::string> names) {
  CheckThread();
  auto* const letter = dynamic_cast<TMBLetter*>(source);
  if (letter == nullptr) return -1;
  const TRef<TMBLetter> from(letter), self(this);
  int count = 0;
  for (const std::string& name : names) {
    if (!from || !self) break;
    const TMBReg* const other = letter->fRegs.GetItemByName(name);
    TMBReg* const reg = fRegs.GetItemByName(name);
    if (other == nullptr || reg == nullptr || other->Adress() != reg->Adress() ||
        other->CountInByte() != reg->CountInByte()) {
      continue;
    }
    reg->SetRegData(ToBytes(other->Data()));
    ++count;
    reg->DataToValue();
  }
  return count;
}

void TMBLetter::RemoveNotFoundRegNames(TStrings& list) {
  CheckThread();
  for (int i = list.Count() - 1; i >= 0; --i) {
    if (fRegs.GetItemByName(list.Strings(i)) == nullptr) list.Delete(i);
  }
  TStringList names;  // sorted: quick to search
  names.SetSorted(true);
  names.Assign(list);
  for (int i = fRegs.Count() - 1; i >= 0; --i) {
    if (names.IndexOf(fRegs.GetItem(i)->Name()) < 0) fRegs.Delete(i);
  }
}

const TClassInfo& TMBLetter::StaticClass() {
  static const TClassInfo info(
      "TMBLetter", &TComponent::StaticClass(),
      {
          Published("Client", &TMBLetter::Client, &TMBLetter::SetClient, nullptr),
          Published("MaxHole", &TMBLetter::MaxHole, &TMBLetter::SetMaxHole, 0),
          PublishedPart<TMBLetter, TMBRegs>("Regs", &TMBLetter::Regs),
          PublishedEvent("OnReadAllRegs", &TMBLetter::OnReadAllRegs),
          PublishedEvent("OnRegDataChange", &TMBLetter::OnRegDataChange),
          PublishedEvent("OnExeptionAnswer", &TMBLetter::OnExeptionAnswer),
          PublishedEvent("OnNoneAnswer", &TMBLetter::OnNoneAnswer),
          PublishedEvent("OnWriteReg", &TMBLetter::OnWriteReg),
          Published("ChanelID", &TMBLetter::ChanelID, &TMBLetter::SetChanelID, 0),
      });
  return info;
}

void EnableLogging(const std::string& fileName) { LogFileName() = fileName; }

bool LoggingEnabled() { return !LogFileName().empty(); }

const std::string& LoggingFileName() { return LogFileName(); }

}  // namespace OrvixModBus
