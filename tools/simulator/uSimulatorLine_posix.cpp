#include "tools/simulator/uSimulatorLine.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/rtl/uException.h"
#include "tools/simulator/uOwnedHandle.h"
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

void MakeNonBlocking(THandle handle) {
  const int flags = fcntl(handle, F_GETFL);
  if (flags == -1 || fcntl(handle, F_SETFL, flags | O_NONBLOCK) == -1) {
    ThrowSystemError("The line can't be used");
  }
}

bool OnlyLater() { return errno == EAGAIN || errno == EINTR; }

}  // namespace

TSimulatorLine::TSimulatorLine(TLoop& loop, THandle handle, TAnswer answer,
                               const TSimulatorLineSettings& settings)
    : fLoop(loop),
      fHandle(handle),
      fAnswer(std::move(answer)),
      fSettings(Checked(settings)),
      fCharacter(CharacterTime(settings.BaudRate)),
      fTimer(loop.NewTimer([this] { Advance(); })),
      fWatch(loop.NewWatch(handle, [this](TReadiness ready) { Ready(ready); })) {
  MakeNonBlocking(handle);
  fWatch->Want(TReadiness::rdRead);
}

void TSimulatorLine::Ready(TReadiness ready) {
  if ((ready & TReadiness::rdRead) != TReadiness::rdNone) Receive();
  if ((ready & TReadiness::rdWrite) != TReadiness::rdNone) fWatch->Want(TReadiness::rdRead);
  Advance();
}

void TSimulatorLine::Receive() {
  std::uint8_t buffer[512];
  const auto count = read(fHandle, buffer, sizeof buffer);
  if (count < 0 && OnlyLater()) return;
  if (count < 0) ThrowSystemError("Reading from the line failed");
  if (count == 0) throw Exception("The line has hung up");
  const auto size = static_cast<std::size_t>(count);
  if (fReceived.size() + size > kInputBuffer) fReceived.clear();
  fReceived.insert(fReceived.end(), buffer, buffer + count);
  fReceivedEnd = std::max(fReceivedEnd, fLoop.Now()) + TimeOf(size);
}

// Does all that is due. Where more is to come later, the timer or the watch leads back to here.
void TSimulatorLine::Advance() {
  while (fReply.empty() ? TakeRequest() : SendDueBytes()) {
  }
}

bool TSimulatorLine::TakeRequest() {
  if (fReceived.empty()) return false;
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
  fReply = fAnswer(request);
  fReplyBegin = std::max(end, fReplyEnd) + fSettings.Turnaround;
  fSent = 0;
  // What follows a broken frame begins nowhere in particular.
  if (!TSimulator::IsWhole(request)) size = fReceived.size();
  fReceived.erase(fReceived.begin(), fReceived.begin() + static_cast<std::ptrdiff_t>(size));
}

bool TSimulatorLine::SendDueBytes() {
  const std::size_t rest = fReply.size() - fSent;
  const std::size_t size = fSettings.BaudRate == 0 ? rest : std::min(rest, fSettings.Burst);
  if (!IsDue(fReplyBegin + TimeOf(fSent + size))) return false;
  const auto count = write(fHandle, fReply.data() + fSent, size);
  if (count < 0 && !OnlyLater()) ThrowSystemError("Writing to the line failed");
  if (count < 0) {
    fWatch->Want(TReadiness::rdReadWrite);
    return false;
  }
  fSent += static_cast<std::size_t>(count);
  if (fSent == fReply.size()) EndReply();
  return true;
}

void TSimulatorLine::EndReply() {
  Show(ELineFrame::Reply, fReply);
  fReplyEnd = fReplyBegin + TimeOf(fReply.size());
  fReply.clear();
}

bool TSimulatorLine::IsDue(TTime time) {
  if (fLoop.Now() >= time) return true;
  fTimer->Start(time);
  return false;
}

std::chrono::nanoseconds TSimulatorLine::TimeOf(std::size_t characters) const {
  return fCharacter * static_cast<std::int64_t>(characters);
}

void TSimulatorLine::Show(ELineFrame kind, std::span<const std::uint8_t> frame) const {
  if (OnFrame) OnFrame(kind, frame);
}

}  // namespace OrvixModBus
