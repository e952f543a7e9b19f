#include "tools/orvixmb/uReplay.h"

#include <algorithm>
#include <set>
#include <utility>

#include "platform/modbus/uModbusClient.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using enum TFlightKind;

// The line has been silent for long when the recording starts.
constexpr auto kLead = 10s;

bool IsByProgram(TFlightKind kind) { return kind <= fkSet; }

Bytes RecordsOf(const TModbusFileRecordList& list) {
  Bytes all;
  for (int i = 0; i < list.Count(); ++i) {
    const Bytes& data = list.Records(i).Data;
    all.insert(all.end(), data.begin(), data.end());
  }
  return all;
}

// Six bytes each: file, record, length.
TModbusFileRecordList ListOf(TByteView asked) {
  TModbusFileRecordList list;
  for (; asked.size() >= 6; asked = asked.subspan(6)) {
    const auto word = [asked](std::size_t at) { return asked[at] * 256 + asked[at + 1]; };
    list.Add(static_cast<std::uint16_t>(word(0)), static_cast<std::uint16_t>(word(2)), word(4));
  }
  return list;
}

// The request of a frame that was queued before the recording begins.
TRecordedEntry QueuedBefore(const TRecordedEntry& sent) {
  TRecordedEntry entry = sent;
  entry.Kind = fkQueue;
  entry.Detail = static_cast<std::uint8_t>(TTransactionKind::tkCustom);
  entry.Data.resize(entry.Data.size() - std::min<std::size_t>(entry.Data.size(), 2));
  return entry;
}

}  // namespace

// One for each request, so that each can be discarded alone.
class TReplay::TClient final : public TModbusClient {
 public:
  TClient(TReplay& replay, std::uint32_t number) : Number(number), fReplay(replay) {}

  const std::uint32_t Number;

 protected:
  void TransactionEnded(TModbusTransaction& transaction) override {
    fReplay.Ended(*this, transaction);
  }

 private:
  TReplay& fReplay;
};

TReplay::TReplay(const TFlightRecording& recording)
    : fRecording(recording),
      fEntries(recording.Entries),
      fStart(fLoop.Now() + kLead),
      fWire(fLoop, fEntries, fStart),
      fApplied(fEntries.size()) {
  fLine.SetRecorderSize(0);
  fLine.SetSerialPort(fWire.NewPort());
  fLine.OnPortLost = [this](TModbusConnection&, const std::string& reason) {
    TReplayEvent event;
    event.Kind = TReplayEvent::TKind::PortLost;
    event.Text = reason;
    Tell(std::move(event));
  };
  fLine.OnPortFound = [this](TModbusConnection&) {
    TReplayEvent event;
    event.Kind = TReplayEvent::TKind::PortFound;
    Tell(std::move(event));
  };
  fLine.OnServerLost = [this](TModbusConnection&, std::uint8_t server) {
    TReplayEvent event;
    event.Kind = TReplayEvent::TKind::ServerLost;
    event.Request = {server};
    Tell(std::move(event));
  };
  fLine.OnServerFound = [this](TModbusConnection&, std::uint8_t server) {
    TReplayEvent event;
    event.Kind = TReplayEvent::TKind::ServerFound;
    event.Request = {server};
    Tell(std::move(event));
  };
  fLine.OnTrace = [this](TModbusConnection&, TTraceDirection direction, TByteView frame,
                         TLoop::TClock::time_point time) {
    if (OnFrame) OnFrame(direction, frame, time - fStart);
    ApplyInside(false);
  };
}

TReplay::~TReplay() = default;

void TReplay::Run() {
  Prepare();
  for (; fAt < fEntries.size(); ++fAt) {
    SkipTo(fEntries[fAt].Time);
    fWire.Reach(fAt);
    if (!fApplied[fAt]) Apply(fAt);
    if (IsQuiet()) continue;
    fLoop.RunPending();
    fEnded.clear();
  }
  fWire.Finish();
}

// The program did something; the line does nothing about it before the next entry, but for an
// event in which the program went on.
bool TReplay::IsQuiet() const {
  const TRecordedEntry& now = fEntries[fAt];
  if (!IsByProgram(now.Kind)) return false;
  if (now.Inside || fAt + 1 == fEntries.size()) return true;
  return !fEntries[fAt + 1].Inside || fApplied[fAt + 1];
}

// A recording whose begin has been overwritten is replayed from the first request on.
std::size_t TReplay::FirstWhole() const {
  if (fRecording.Overwritten == 0) return 0;
  const auto found = std::ranges::find_if(fEntries, [](const TRecordedEntry& entry) {
    return entry.Kind == fkSent && entry.Detail == 0;
  });
  return static_cast<std::size_t>(found - fEntries.begin());
}

void TReplay::Prepare() {
  for (const std::string& setting : fRecording.Settings) ApplyLineSetting(fLine, setting);
  fLine.ReplyLengths() = fRecording.Lengths;
  bool open = fRecording.BeginsOpen;
  const std::size_t begin = FirstWhole();
  for (std::size_t i = 0; i < begin; ++i) {
    const TFlightKind kind = fEntries[i].Kind;
    if (kind == fkSet) Apply(i);
    if (kind == fkOpen || kind == fkReopen) open = true;
    if (kind == fkClose || kind == fkLost) open = false;
  }
  fWire.StartAt(begin);
  fAt = begin;
  if (open) {
    fWire.SetOpening(true);
    fLine.SetActive(true);
    fWire.SetOpening(false);
  }
  if (begin < fEntries.size()) SkipTo(fEntries[begin].Time);
  QueueWaiting(begin);
}

// What had been queued before the replay's begin and is sent after it, in the order in which it
// is sent; then what is not sent at all.
void TReplay::QueueWaiting(std::size_t begin) {
  std::map<std::uint32_t, const TRecordedEntry*> waiting;
  std::set<std::uint32_t> later;
  for (std::size_t i = 0; i < begin; ++i) {
    const TRecordedEntry& entry = fEntries[i];
    if (entry.Kind == fkQueue) waiting[entry.Number] = &entry;
    if (entry.Kind == fkSkip || entry.Kind == fkDiscard) waiting.erase(entry.Number);
  }
  for (std::size_t i = begin; i < fEntries.size(); ++i) {
    const TRecordedEntry& entry = fEntries[i];
    if (entry.Kind == fkQueue) later.insert(entry.Number);
    if (entry.Kind != fkSent || entry.Detail > 0 || later.contains(entry.Number)) continue;
    const auto found = waiting.find(entry.Number);
    Queue(found != waiting.end() ? *found->second : QueuedBefore(entry));
    later.insert(entry.Number);
  }
  for (const auto& [number, entry] : waiting) {
    if (!later.contains(number)) Queue(*entry);
  }
}

void TReplay::SkipTo(std::chrono::nanoseconds time) {
  if (time > Now()) fLoop.Skip(time - Now());
}

void TReplay::Apply(std::size_t index) {
  const TRecordedEntry& entry = fEntries[index];
  fApplied[index] = true;
  switch (entry.Kind) {
    case fkQueue:
      return Queue(entry);
    case fkDiscard:
      return Discard(entry.Number);
    case fkOpen:
      fWire.SetOpening(true);
      fLine.SetActive(true);
      return fWire.SetOpening(false);
    case fkClose:
      return fLine.SetActive(false);
    case fkSet:
      return ApplyLineSetting(fLine, entry.Text);
    default:
      return;
  }
}

// What the program did inside the event that is being raised.
void TReplay::ApplyInside(bool isLast) {
  bool applied = false;
  std::size_t next = fAt;
  for (; next < fEntries.size() && (fApplied[next] || MayPass(next)); ++next) {
    if (!fEntries[next].Inside || fApplied[next]) continue;
    SkipTo(fEntries[next].Time);
    Apply(next);
    applied = true;
  }
  if (!applied || !isLast || next == fEntries.size()) return;
  // What had come meanwhile is found before the line sends again.
  const TFlightKind kind = fEntries[next].Kind;
  if (kind != fkRead && kind != fkLost) return;
  SkipTo(fEntries[next].Time);
  fWire.Reach(next);
}

// Is the entry part of the event, or of what led to it?
bool TReplay::MayPass(std::size_t index) const {
  const TRecordedEntry& entry = fEntries[index];
  if (IsByProgram(entry.Kind)) return entry.Inside;
  if (fWire.IsDone(index)) return true;
  if (entry.Kind == fkSent) return fWire.IsSent(index);
  return entry.Kind != fkRead && entry.Kind != fkLost && entry.Time <= Now();
}

void TReplay::Queue(const TRecordedEntry& entry) {
  auto client = std::make_unique<TClient>(*this, entry.Number);
  const TByteView data(entry.Data);
  if (data.size() < 2) return;
  client->SetConnection(&fLine);
  client->SetServerAddress(data[0]);
  switch (static_cast<TTransactionKind>(entry.Detail)) {
    case TTransactionKind::tkCustom:
      client->InitCustomTransaction(data[1], data.subspan(2), false, nullptr);
      break;
    case TTransactionKind::tkServerID:
      client->ReportServerID(nullptr);
      break;
    case TTransactionKind::tkFileRecord:
      client->ReadFileRecord(ListOf(data.subspan(2)), nullptr);
      break;
  }
  fClients.insert_or_assign(entry.Number, std::move(client));
}

void TReplay::Discard(std::uint32_t number) {
  const auto found = fClients.find(number);
  if (found == fClients.end()) return;
  fDiscarding = true;
  fLine.DiscardPendingTransactions(found->second.get());
  fDiscarding = false;
}

void TReplay::Ended(TClient& client, TModbusTransaction& transaction) {
  const auto found = fClients.find(client.Number);
  if (found != fClients.end() && found->second.get() == &client) {
    fEnded.push_back(std::move(found->second));
    fClients.erase(found);
  }
  if (fDiscarding) return;
  const bool files = transaction.Kind() == TTransactionKind::tkFileRecord;
  TReplayEvent event;
  event.Request = ToBytes(transaction.Request().Data());
  event.Reply = transaction.ServerReply();
  event.ExceptionCode = transaction.ExceptionCode();
  event.Retries = transaction.Retries();
  event.Data = files ? RecordsOf(transaction.FileRecords()) : ToBytes(transaction.Reply().Data());
  Tell(std::move(event));
}

void TReplay::Tell(TReplayEvent event) {
  event.Time = Now();
  if (OnEvent) OnEvent(event);
  ApplyInside(event.Kind == TReplayEvent::TKind::Reply);
}

}  // namespace OrvixModBus
