#include "tools/simulator/uSimulatorLine.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/rtl/uException.h"
#include "tools/simulator/uSimulator.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kInputBuffer = 4096;  // as that of a terminal; what overflows it is lost

std::chrono::nanoseconds CharacterTime(std::uint32_t baudRate) {
  constexpr std::int64_t kBits = 11'000'000'000;  // of a character, in billionths
  return std::chrono::nanoseconds(baudRate == 0 ? 0 : (kBits + baudRate - 1) / baudRate);
}

TSimulatorLineSettings Checked(const TSimulatorLineSettings& settings) {
  if (settings.Burst == 0)
    throw EArgumentOutOfRangeException("A burst must be 1 character or more");
  return settings;
}

}  // namespace

TSimulatorLine::TSimulatorLine(TLoop& loop, TSerialPort& port, TAnswer answer,
                               const TSimulatorLineSettings& settings)
    : fLoop(loop),
      fPort(port),
      fAnswer(std::move(answer)),
      fSettings(Checked(settings)),
      fCharacter(CharacterTime(settings.BaudRate)),
      fTimer(loop.NewTimer([this] { Advance(); })) {
  Watch();
}

void TSimulatorLine::Watch() {
  fWatch = fLoop.NewWatch(fPort.Handle(), [this](TReadiness ready) { Ready(ready); });
  fWatch->Want(TReadiness::rdRead);
}

void TSimulatorLine::Ready(TReadiness ready) {
  if ((ready & TReadiness::rdRead) != TReadiness::rdNone) Receive();
  if ((ready & TReadiness::rdWrite) != TReadiness::rdNone) fWatch->Want(TReadiness::rdRead);
  Advance();
}

void TSimulatorLine::Receive() {
  std::array<std::uint8_t, 512> buffer{};
  const TPortTransfer done = fPort.Read(buffer);
  if (done.Lost) Fail();
  if (done.Count == 0) return;
  if (fReceived.size() + done.Count > kInputBuffer) fReceived.clear();
  fReceived.insert(fReceived.end(), buffer.begin(),
                   buffer.begin() + static_cast<std::ptrdiff_t>(done.Count));
  fReceivedEnd = std::max(fReceivedEnd, fLoop.Now()) + TimeOf(done.Count);
}

// Does all that is due. Where more is to come later, the timer or the watch leads back to here.
void TSimulatorLine::Advance() {
  do {
    fDue = TTime::max();
    if (fReturn && IsDue(*fReturn)) Return();
  } while (!fReturn && (SendDueBytes() || TakeRequest()));
  if (fDue != TTime::max()) fTimer->Start(fDue);
}

bool TSimulatorLine::TakeRequest() {
  if (fReceived.empty() || IsBusy()) return false;
  const std::size_t size = TSimulator::RequestSize(fReceived);
  const bool whole = size != 0 && size <= fReceived.size();
  const TTime end =
      whole ? fReceivedEnd - TimeOf(fReceived.size() - size) : fReceivedEnd + fSettings.Silence;
  if (!IsDue(end)) return false;
  AnswerRequest(whole ? size : fReceived.size(), end);
  return true;
}

void TSimulatorLine::AnswerRequest(std::size_t size, TTime end) {
  const auto request = std::span<const std::uint8_t>(fReceived).first(size);
  Show(ELineFrame::Request, request);
  Plan(fAnswer(request), std::max(end, fSentEnd) + fSettings.Turnaround);
  // What follows a broken frame begins nowhere in particular.
  if (!TSimulator::IsWhole(request)) size = fReceived.size();
  fReceived.erase(fReceived.begin(), fReceived.begin() + static_cast<std::ptrdiff_t>(size));
}

void TSimulatorLine::Plan(TSimulatedReply reply, TTime begin) {
  if (reply.HangUp) reply.Pieces.push_back({});
  const Bytes whole = OnFrame ? reply.AllBytes() : Bytes();
  for (TReplyPiece& piece : reply.Pieces) {
    begin += piece.Delay;
    const TTime end = begin + TimeOf(piece.Data.size());
    const bool last = &piece == &reply.Pieces.back();
    Insert({std::exchange(begin, end), std::move(piece.Data), last ? whole : Bytes(),
            last ? reply.HangUp : std::nullopt});
  }
}

// Behind those that begin at the same time.
void TSimulatorLine::Insert(TPiece piece) {
  const auto place = std::ranges::upper_bound(fPieces, piece.Begin, {}, &TPiece::Begin);
  fPieces.insert(place, std::move(piece));
}

bool TSimulatorLine::SendDueBytes() {
  if (fPieces.empty()) return false;
  const TPiece& piece = fPieces.front();
  const TTime begin = std::max(piece.Begin, fSentEnd);
  const std::size_t rest = piece.Data.size() - fSent;
  const std::size_t size = fSettings.BaudRate == 0 ? rest : std::min(rest, fSettings.Burst);
  if (!IsDue(begin + TimeOf(fSent + size))) return false;
  const TPortTransfer done = fPort.Write(std::span(piece.Data).subspan(fSent, size));
  if (done.Lost) Fail();
  if (done.Count == 0 && size != 0) {
    fWatch->Want(TReadiness::rdReadWrite);
    return false;
  }
  fSent += done.Count;
  if (fSent == piece.Data.size()) EndPiece(begin + TimeOf(fSent));
  return true;
}

void TSimulatorLine::EndPiece(TTime end) {
  const TPiece piece = std::move(fPieces.front());
  fPieces.pop_front();
  fSent = 0;
  fSentEnd = end;
  if (!piece.Reply.empty()) Show(ELineFrame::Reply, piece.Reply);
  if (piece.HangUp) HangUp(*piece.HangUp);
}

void TSimulatorLine::HangUp(std::chrono::nanoseconds duration) {
  fWatch.reset();
  fPort.Close();
  fReceived.clear();
  fPieces.clear();
  fReturn = fLoop.Now() + duration;
}

void TSimulatorLine::Return() {
  fReturn.reset();
  fPort.Open(fSettings.Port);
  Watch();
}

bool TSimulatorLine::IsDue(TTime time) {
  if (fLoop.Now() >= time) return true;
  fDue = std::min(fDue, time);
  return false;
}

std::chrono::nanoseconds TSimulatorLine::TimeOf(std::size_t characters) const {
  return fCharacter * static_cast<std::int64_t>(characters);
}

void TSimulatorLine::Show(ELineFrame kind, std::span<const std::uint8_t> frame) const {
  if (OnFrame) OnFrame(kind, frame);
}

void TSimulatorLine::Fail() const {
  throw Exception("The line has hung up: " + fPort.LossReason());
}

}  // namespace OrvixModBus
