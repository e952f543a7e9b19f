#include "platform/modbus/uRtuQueue.h"

#include <algorithm>
#include <utility>

#include "platform/modbus/uRtuFrame.h"
#include "platform/rtl/uFirstError.h"

namespace OrvixModBus {
namespace {

using std::chrono::milliseconds;

constexpr std::uint8_t kBroadcast = 0;
// Less than any character takes; a handler may well take longer.
constexpr std::chrono::microseconds kFresh{100};
constexpr int kMostReads = 8;  // of at least 512 bytes

}  // namespace

TRtuQueue::TRtuQueue(const TLineSettings& settings, const TReplyLengths& lengths,
                     TLineStatistics& statistics, TFlightRecorder& recorder,
                     std::unique_ptr<TSerialPort> port)
    : fSettings(settings),
      fStatistics(statistics),
      fRecorder(recorder),
      fPort(std::move(port)),
      fTiming(settings),
      fReceiver(settings, lengths),
      fDeadServers(settings) {
  fReceiver.OnIgnored = [this](std::span<const std::uint8_t> bytes) {
    fStatistics.Counters.NoiseBytes += bytes.size();
    Trace(TTraceDirection::tdIgnored, bytes);
    RecordLook();
  };
  fReceiver.OnLateReply = [this] { ++fStatistics.Counters.LateReplies; };
}

TRtuQueue::~TRtuQueue() {
  ForgetReferences();
  fRecorder.SetInside(false);
  fTimer.reset();
  fWatch.reset();
  fPort->Close();
  DiscardAll();
}

// ---- the turn -----------------------------------------------------------------------------------

TLoop& TRtuQueue::Loop() {
  if (!fLoop) {
    TLoop& current = TLoop::Current();
    const TRef<TLoop> loop(&current);
    fTimer = current.NewTimer([this] { Turn(false); });
    fLoop = loop;
  }
  return *fLoop;
}

void TRtuQueue::Turn(bool ready) {
  fNow = Loop().Now();
  Run([&] { Advance(ready); });
  // What handlers do or throw finds everything whole, and the timer set for what is left.
  do {
    if (HasNews()) {
      if (!RaiseAllNews()) return;
      fNow = Loop().Now();
    }
    Run([&] { Pump(); });
  } while (HasNews());
  Arm();
}

// A step of the line. What breaks it off, want of memory as a rule, is thrown when all is whole.
template <class TStep>
void TRtuQueue::Run(TStep step) {
  try {
    step();
  } catch (...) {
    BreakOff();
    if (!fError) fError = std::current_exception();
  }
}

// The request on the line is given up, whatever had come of it: nothing is known of its reply.
void TRtuQueue::BreakOff() noexcept {
  if (fState == TState::Sending && fOpened.RS485Mode == TRS485Mode::rmRTS) {
    fPort->SetTransmitting(false);
  }
  if (fState == TState::Sending || fState == TState::Awaiting) {
    fReceiver.GiveUp();
  } else {
    fReceiver.ExpectNothing();
  }
  if (fState > TState::Free) SetFree(std::max(fSent, fNow));
  if (fCurrent != nullptr) Finish(TServerReply::srNone, {});
}

void TRtuQueue::Advance(bool ready) {
  switch (fState) {
    case TState::Closed:
      return FailAll();
    case TState::Away:
      FailAll();
      return LookForPort();
    case TState::Free:
      if (ready && !Receive()) return;
      fReceiver.LookIdle(fNow);
      while (SkipsFirst()) FailFirst();
      return;
    case TState::Sending:
      if (fWritten < fFrame.size()) return Write();
      if (ready && !Receive()) return;
      return Release();
    case TState::Awaiting:
      return Await();
    case TState::Turnaround:
      if (ready && !Receive()) return;
      fReceiver.LookIdle(fNow);
      if (fNow >= fDue) Failed(TServerReply::srNone);
  }
}

// Sends what may be sent now.
void TRtuQueue::Pump() {
  if (fState != TState::Free) return;
  if (fOpened != fSettings.Port) Reopen();
  if (MaySend() && (IsFresh() || (Drain() && MaySend()))) Send();
}

void TRtuQueue::Arm() {
  Loop();  // whose timer it is
  const TTime due = HasNews() ? fNow : Due();
  if (due == TTime::max()) {
    fTimer->Stop();
  } else {
    fTimer->Start(due);
  }
  if (fWatch != nullptr) fWatch->Want(Wanted());
}

TRtuQueue::TTime TRtuQueue::Due() {
  switch (fState) {
    case TState::Closed:
      return Pending().empty() ? TTime::max() : fNow;
    case TState::Away:
      return Pending().empty() ? fDue : fNow;
    case TState::Free: {
      if (fOpened != fSettings.Port) return fNow;
      const TTime idle = fReceiver.IdleDue();
      if (Pending().empty()) return idle;
      return SkipsFirst() ? fNow : std::min(idle, FreeAt());
    }
    case TState::Awaiting:
      return fReceiver.Due();
    case TState::Sending:
    case TState::Turnaround:
      break;
  }
  return fDue;
}

// Nothing is wanted where the port is read at Due anyway: many lines in one thread would wake it
// for every burst, and each handle that is waited for costs at every wait.
TReadiness TRtuQueue::Wanted() {
  switch (fState) {
    case TState::Free:
      return IsKeepingSilence() ? TReadiness::rdNone : TReadiness::rdRead;
    case TState::Sending:
      return fWritten < fFrame.size() ? TReadiness::rdWrite : TReadiness::rdRead;
    case TState::Awaiting:
      return fReceiver.WantsBytes() ? TReadiness::rdRead : TReadiness::rdNone;
    default:
      return TReadiness::rdRead;
  }
}

// ---- what the application is told ---------------------------------------------------------------

// As long as this lives, what the program does is recorded as done inside an event.
class TRtuQueue::TInside {
 public:
  explicit TInside(const TRef<TRtuQueue>& queue) : fQueue(queue) {
    fQueue->fRecorder.SetInside(true);
  }
  TInside(const TInside&) = delete;
  TInside& operator=(const TInside&) = delete;
  ~TInside() {
    if (fQueue) fQueue->fRecorder.SetInside(false);
  }

 private:
  const TRef<TRtuQueue>& fQueue;
};

bool TRtuQueue::HasNews() const {
  return fError || fTellFailure || fTellLost || fTellFound || fServerNews || HasEnded() ||
         !fTraces.Entries.empty();
}

// False when the queue did not survive it.
bool TRtuQueue::RaiseAllNews() {
  while (HasNews()) {
    Arm();
    if (!RaiseNews()) return false;
  }
  return true;
}

// Raises one thing; false when the queue did not survive it.
bool TRtuQueue::RaiseNews() {
  const TRef<TRtuQueue> self(this);
  const TInside inside(self);
  if (fError) {
    std::rethrow_exception(std::exchange(fError, nullptr));
  } else if (std::exchange(fTellFailure, false)) {
    OnFailure();
  } else if (!fTraces.Entries.empty()) {
    RaiseTraces();
  } else if (fTellLost) {
    const std::string reason = fLossReason;
    fTellLost = false;
    OnPortLost(reason);
  } else if (std::exchange(fTellFound, false)) {
    OnPortFound();
  } else if (fServerNews) {
    RaiseServerNews();
  } else {
    RaiseEnded();
  }
  return static_cast<bool>(self);
}

void TRtuQueue::RaiseTraces() {
  const TRef<TRtuQueue> self(this);
  TTraces traces = std::exchange(fTraces, std::exchange(fSpareTraces, {}));
  const auto onTrace = OnTrace;
  TFirstError error;
  std::span<const std::uint8_t> frames(traces.Frames);
  for (const TTrace& trace : traces.Entries) {
    error.Run([&] { onTrace(trace.Direction, frames.first(trace.Size), trace.Time); });
    frames = frames.subspan(trace.Size);
  }
  if (self) {
    traces.Entries.clear();
    traces.Frames.clear();
    fSpareTraces = std::move(traces);
  }
  error.Raise();
}

void TRtuQueue::RaiseServerNews() {
  const TServerNews news = *std::exchange(fServerNews, std::nullopt);
  const auto event = news.Lost ? OnServerLost : OnServerFound;
  event(news.Server);
}

// The line goes on even where there is no memory to tell of it.
void TRtuQueue::Trace(TTraceDirection direction, std::span<const std::uint8_t> frame) noexcept {
  if (!IsTraced()) return;
  const std::size_t before = fTraces.Frames.size();
  try {
    fTraces.Frames.insert(fTraces.Frames.end(), frame.begin(), frame.end());
    fTraces.Entries.push_back({direction, fNow, frame.size()});
  } catch (...) {
    fTraces.Frames.resize(before);
    if (!fError) fError = std::current_exception();
  }
}

// ---- the port -----------------------------------------------------------------------------------

TLowLatency TRtuQueue::LowLatency() const {
  return Active() ? fPort->LowLatency() : TLowLatency::llNotOffered;
}

void TRtuQueue::SetActive(bool value) {
  if (value == Active() && fState != TState::Away) return;
  fNow = Loop().Now();
  if (value) {
    Open();
    Record(TFlightKind::fkOpen);
  } else {
    Record(TFlightKind::fkClose);
    Close();
  }
  Arm();
}

void TRtuQueue::SettingsChanged() {
  fTiming = TLineTiming(fSettings);
  fReceiver.SetTiming(fTiming);
  if (fState == TState::Away) {
    if (fSettings.ReconnectInterval == 0) fState = TState::Closed;
    fDue = Loop().Now() + milliseconds(fSettings.ReconnectInterval);
  }
  if (fState != TState::Closed) Arm();
}

void TRtuQueue::Open() {
  fRecorder.Begin();
  if (fLoop.Get() != &TLoop::Current()) fLoop = {};
  fNow = Loop().Now();
  fPort->Open(fSettings.Port);
  try {
    fOpened = fSettings.Port;
    fWatch = fLoop->NewWatch(fPort->Handle(), [this](TReadiness) { Turn(true); });
  } catch (...) {
    fOpened = {};
    fPort->Close();
    throw;
  }
  fReceiver.Reset();
  fDeadServers.Clear();
  SetFree(fNow);
}

void TRtuQueue::Reopen() {
  fWatch.reset();
  fPort->Close();
  try {
    Open();
    Record(TFlightKind::fkReopen);
  } catch (const EModLinkError& error) {
    Lose(error.what());
  }
}

void TRtuQueue::LookForPort() {
  if (fNow < fDue) return;
  fDue = fNow + milliseconds(fSettings.ReconnectInterval);
  try {
    Open();
    Record(TFlightKind::fkReopen);
    fTellFound = true;
  } catch (const EModLinkError&) {
    Record(TFlightKind::fkAway);  // it is not back yet
  }
}

void TRtuQueue::Close() {
  if (fState == TState::Awaiting) fReceiver.GiveUp();
  fReceiver.ExpectNothing();
  fWatch.reset();
  fPort->Close();
  fState = TState::Closed;
  FailAll();
}

void TRtuQueue::Lose(const std::string& reason) {
  fLossReason = reason;
  fTellLost = fTellFailure = true;
  Record(TFlightKind::fkLost, 0, 0,
         {reinterpret_cast<const std::uint8_t*>(reason.data()), reason.size()});
  Close();
  if (fSettings.ReconnectInterval == 0) return;
  fState = TState::Away;
  fDue = fNow + milliseconds(fSettings.ReconnectInterval);
}

// Without a port nothing is answered.
void TRtuQueue::FailAll() {
  while (!Pending().empty()) FailFirst();
}

void TRtuQueue::FailFirst() {
  fCurrent = &Pending().front();
  Record(TFlightKind::fkSkip, fCurrent->Number());
  Finish(TServerReply::srNone, {});
}

// ---- sending ------------------------------------------------------------------------------------

void TRtuQueue::Queued(TModbusTransaction& transaction) {
  fNow = Loop().Now();
  RecordQueued(transaction);
  if (&transaction == &Pending().front()) fFreeSince = fNow;
  Arm();
}

void TRtuQueue::Dropped(const TModbusTransaction& transaction) {
  if (&transaction == fCurrent) {
    // Its request runs its course on the line; nobody wants to know any more.
    fCurrent = nullptr;
    fAttempt = 0;
    fGroup = {};
  }
  if (fTimer == nullptr) return;
  fNow = Loop().Now();
  Record(TFlightKind::fkDiscard, transaction.Number());
  Arm();  // another one is the first now
}

// The first request is for a server that is left in peace at present.
bool TRtuQueue::SkipsFirst() {
  return !Pending().empty() && fDeadServers.RestsAt(Pending().front().ServerAddress(), fNow);
}

bool TRtuQueue::MaySend() {
  if (fState != TState::Free || Pending().empty() || SkipsFirst()) return false;
  return fNow >= FreeAt();
}

// A request only waits for the silent interval to end; before it leaves, the port is read.
bool TRtuQueue::IsKeepingSilence() {
  return !Pending().empty() && !SkipsFirst() && FreeAt() <= fSilentUntil;
}

// Nothing can have come unseen. A doubled or late reply that waits in the port while the program
// was busy or suspended would pass for the reply to the next request.
bool TRtuQueue::IsFresh() const { return fNow - fEmptyAt < kFresh; }

// Takes all that waits in the port, as much as a port's buffer can hold; false when it is lost.
bool TRtuQueue::Drain() {
  for (int reads = 0; reads < kMostReads && !IsFresh(); ++reads) {
    if (!Receive()) return false;
    fReceiver.LookIdle(fNow);
  }
  return true;
}

// From when on the first request may leave. A line that chatters is not waited for for ever.
TRtuQueue::TTime TRtuQueue::FreeAt() {
  const TModbusTransaction& first = Pending().front();
  const TTime silent = std::min(
      fSilentUntil, fFreeSince + milliseconds(fSettings.ReceiveTimeout) + fTiming.Silence());
  if (first.ServerAddress() == kBroadcast) return silent;
  return std::max(silent, fReceiver.Late().FreeAt(first.Request().Data(), first.Number()));
}

// A list of file records leaves in groups; all other requests are there already.
void TRtuQueue::Prepare(TModbusTransaction& transaction) {
  if (transaction.Kind() == TTransactionKind::tkFileRecord && fAttempt == 0) {
    fGroup = FileRecordGroup(transaction.FileRecords(), fGroup.End);
    FormFileRequest(transaction.FileRecords(), fGroup, transaction.ServerAddress(),
                    transaction.Request());
  }
  FormFrame(transaction.Request().Data(), fFrame);
}

void TRtuQueue::Send() {
  fCurrent = &Pending().front();
  Prepare(*fCurrent);
  fReceiver.Expect(fFrame, fCurrent->Number());
  Trace(TTraceDirection::tdSent, fFrame);
  Record(TFlightKind::fkSent, fCurrent->Number(), fAttempt, fFrame);
  ++fStatistics.Counters.Requests;
  fState = TState::Sending;
  fWritten = 0;
  fStarted = fNow;
  fSent = fNow + fTiming.Characters(fFrame.size());
  fDue = fSent + milliseconds(fSettings.ReceiveTimeout);
  if (fOpened.RS485Mode == TRS485Mode::rmRTS) fPort->SetTransmitting(true);
  Write();
}

void TRtuQueue::Write() {
  const TPortTransfer done = fPort->Write(std::span(fFrame).subspan(fWritten));
  if (done.Lost) return Lose(fPort->LossReason());
  fWritten += done.Count;
  fStatistics.Counters.BytesSent += done.Count;
  if (done.Count < fFrame.size()) Record(TFlightKind::fkWrote, done.Count);
  if (fWritten == fFrame.size()) return Written();
  if (fNow < fDue) return;
  // The port takes no more, so nothing whole has been sent, and nobody owes a reply.
  fReceiver.ExpectNothing();
  Failed(TServerReply::srNone);
}

void TRtuQueue::Written() {
  if (fNow > fStarted) fSent = std::max(fSent, fNow + fTiming.Characters(1));
  if (fOpened.RS485Mode == TRS485Mode::rmRTS) {
    fDue = fSent;
  } else {
    Release();
  }
}

// The request is out: the line belongs to the server.
void TRtuQueue::Release() {
  if (fOpened.RS485Mode == TRS485Mode::rmRTS) {
    if (fNow < fSent) return;
    const TTime patience = fSent + milliseconds(fSettings.ReceiveTimeout);
    if (!fPort->IsDrained() && fNow < patience) {
      fDue = fNow + std::max<TLineTiming::TDuration>(fTiming.Characters(1), milliseconds(1));
      return;
    }
    fPort->SetTransmitting(false);
    fSent = fNow;
    Record(TFlightKind::fkReleased);
  }
  if (fFrame[0] == kBroadcast) {
    fReceiver.ExpectNothing();
    fState = TState::Turnaround;
    fDue = fSent + milliseconds(fSettings.TurnaroundDelay);
  } else {
    fReceiver.Sent(fSent, fNow);
    fState = TState::Awaiting;
  }
}

// ---- receiving ----------------------------------------------------------------------------------

// Takes what has arrived; false when the port is lost.
bool TRtuQueue::Receive() {
  const auto room = fReceiver.Room();
  const TPortTransfer done = fPort->Read(room);
  if (done.Lost) {
    Lose(fPort->LossReason());
    return false;
  }
  fStatistics.Counters.BytesReceived += done.Count;
  if (done.Count > 0) Record(TFlightKind::fkRead, 0, 0, room.first(done.Count));
  fReceiver.Received(done.Count, fNow);
  if (done.Count > 0) KeepSilence();
  if (done.Count < room.size()) fEmptyAt = fNow;
  return true;
}

// Bytes may have come between the begin of the turn and the read.
void TRtuQueue::KeepSilence() {
  if (fTiming.Silence().count() > 0) fSilentUntil = Loop().Now() + fTiming.Silence();
}

void TRtuQueue::Await() {
  if (!Receive()) return;
  if (!fReceiver.Look(fNow)) return RecordLook();
  const TServerReply kind = fReceiver.Result();
  JudgeServer(kind);
  if (kind == TServerReply::srNormalReply || kind == TServerReply::srExceptionReply) {
    Succeeded();
  } else {
    Failed(kind);
  }
}

// Any frame of its own, a broken one too, shows that a server is alive.
void TRtuQueue::JudgeServer(TServerReply kind) {
  const std::uint8_t server = fFrame[0];
  const bool silent = kind == TServerReply::srNone || kind == TServerReply::srUnexpectedReply;
  const bool changed = silent ? fDeadServers.TimedOut(server, fNow) : fDeadServers.Answered(server);
  if (changed) fServerNews = {server, silent};
}

void TRtuQueue::Succeeded() {
  fStatistics.RoundTrips[fFrame[0]].Add(fNow - fStarted);
  Trace(TTraceDirection::tdReceived, fReceiver.ReplyFrame());
  RecordEnd(fReceiver.Result());
  SetFree(fNow);
  if (fCurrent == nullptr) return;
  const bool files = fCurrent->Kind() == TTransactionKind::tkFileRecord &&
                     fReceiver.Result() == TServerReply::srNormalReply;
  if (files && !TakeFileReply(fCurrent->FileRecords(), fGroup, fReceiver.Reply())) {
    return Failed(TServerReply::srUnmatchedReply);
  }
  fAttempt = 0;
  if (files && fGroup.End < fCurrent->FileRecords().Count()) return;  // the next group follows
  Finish(fReceiver.Result(), fReceiver.Reply());
}

void TRtuQueue::Failed(TServerReply kind) {
  RecordEnd(kind);
  SetFree(fSent);
  if (fCurrent == nullptr) return;
  const bool again = fFrame[0] != kBroadcast && fAttempt < fSettings.MaxRetries &&
                     !fDeadServers.IsSetAside(fFrame[0]);
  if (!again) {
    if (fFrame[0] != kBroadcast) fTellFailure = true;
    return Finish(kind, fReceiver.Reply());
  }
  ++fAttempt;
  ++fStatistics.Counters.Retries;
  fCurrent->CountRetry();
}

void TRtuQueue::Finish(TServerReply kind, std::span<const std::uint8_t> reply) {
  ++fStatistics.Counters.Replies[static_cast<std::size_t>(kind)];
  fCurrent->SetReply(kind, reply);
  End(*std::exchange(fCurrent, nullptr));
  fAttempt = 0;
  fGroup = {};
}

// Nothing is on the line since lastCharacter, and the silence after it begins.
void TRtuQueue::SetFree(TTime lastCharacter) {
  fState = TState::Free;
  fFreeSince = fNow;
  fSilentUntil = std::max(fSilentUntil, lastCharacter + fTiming.Silence());
}

// ---- the recorder -------------------------------------------------------------------------------

void TRtuQueue::Record(TFlightKind kind, std::uint64_t number, std::uint8_t detail,
                       std::span<const std::uint8_t> data) {
  fRecorder.Record(kind, fNow, static_cast<std::uint32_t>(number), detail, data);
}

// A list of file records has no frame yet: it is recorded as file, record and length of each.
void TRtuQueue::RecordQueued(const TModbusTransaction& transaction) {
  if (!fRecorder.IsRecording()) return;
  const auto detail = static_cast<std::uint8_t>(transaction.Kind());
  if (transaction.Kind() != TTransactionKind::tkFileRecord) {
    return Record(TFlightKind::fkQueue, transaction.Number(), detail, transaction.Request().Data());
  }
  Bytes asked = ToBytes(transaction.Request().Data());
  for (int i = 0; i < transaction.FileRecords().Count(); ++i) {
    const TModbusFileRecord& record = transaction.FileRecords().Records(i);
    for (const int word : {int{record.File}, int{record.Record}, record.Length}) {
      asked.push_back(static_cast<std::uint8_t>(word >> 8));
      asked.push_back(static_cast<std::uint8_t>(word));
    }
  }
  Record(TFlightKind::fkQueue, transaction.Number(), detail, asked);
}

// What the receiver makes of its bytes depends on when it looks at them.
void TRtuQueue::RecordLook() {
  if (fRecorder.LastTime() != fNow) Record(TFlightKind::fkLook);
}

void TRtuQueue::RecordEnd(TServerReply kind) {
  Record(TFlightKind::fkEnd, 0, static_cast<std::uint8_t>(kind));
}

}  // namespace OrvixModBus
