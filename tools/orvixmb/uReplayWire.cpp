#include "tools/orvixmb/uReplayWire.h"

#include <algorithm>

#include "tools/display/uShownText.h"

namespace OrvixModBus {

using enum TFlightKind;

class TReplayWire::TPort final : public TSerialPort {
 public:
  explicit TPort(TReplayWire& wire) : fWire(wire) {}

  void Open(const TPortSettings& settings) override { fWire.Open(settings); }
  void Close() noexcept override {}
  THandle Handle() const override { return fWire.fHandle; }
  TPortTransfer Read(std::span<std::uint8_t> bytes) override { return fWire.Read(bytes); }
  TPortTransfer Write(std::span<const std::uint8_t> bytes) override { return fWire.Write(bytes); }
  std::string LossReason() const override { return fWire.fLossReason; }
  void SetTransmitting(bool) override {}
  bool IsDrained() const override {
    const auto released = fWire.NextOfFrame(fkReleased);
    return released && fWire.IsDue(*released);
  }
  TLowLatency LowLatency() const override { return TLowLatency::llNotOffered; }

 private:
  TReplayWire& fWire;
};

std::unique_ptr<TSerialPort> TReplayWire::NewPort() { return std::make_unique<TPort>(*this); }

void TReplayWire::StartAt(std::size_t index) { fReached = fSentEnd = index; }

void TReplayWire::Reach(std::size_t index) {
  for (; fReached <= index; ++fReached) {
    const TRecordedEntry& entry = fEntries[fReached];
    if (entry.Kind == fkRead) fIncoming.push_back(entry.Data);
    if (entry.Kind != fkLost || fDone[fReached]) continue;
    fLost = true;
    fLossReason = entry.Text;
  }
}

TReadiness TReplayWire::Ready() const {
  if (fLost) return TReadiness::rdReadWrite;
  return static_cast<TReadiness>((fIncoming.empty() ? 0 : 1) | (Takes() ? 2 : 0));
}

// A line looks for its port more often than it was found.
void TReplayWire::Open(const TPortSettings& settings) {
  std::string reason = "Port " + settings.Name + ": away";
  bool found = fOpening;
  const std::size_t first = fReached > 0 ? fReached - 1 : 0;
  for (std::size_t i = first; !found && i < fEntries.size() && IsDue(i); ++i) {
    if (fDone[i] || (fEntries[i].Kind != fkReopen && fEntries[i].Kind != fkLost)) continue;
    fDone[i] = true;
    found = fEntries[i].Kind == fkReopen;
    if (found) break;
    reason = fEntries[i].Text;
    break;
  }
  if (!found) throw EModLinkError(reason);
  fIncoming.clear();
  fLost = false;
  fFrameRest = 0;
}

TPortTransfer TReplayWire::Read(std::span<std::uint8_t> bytes) {
  if (fIncoming.empty()) return {0, fLost};
  Bytes& first = fIncoming.front();
  const std::size_t count = std::min(bytes.size(), first.size());
  const auto end = first.begin() + static_cast<std::ptrdiff_t>(count);
  std::copy(first.begin(), end, bytes.begin());
  first.erase(first.begin(), end);
  if (first.empty()) fIncoming.pop_front();
  return {count};
}

TPortTransfer TReplayWire::Write(std::span<const std::uint8_t> bytes) {
  if (bytes.size() != fFrameRest) Compare(bytes);
  fFrameRest = bytes.size();
  const auto lost = NextOfFrame(fkLost);
  if (fLost || (lost && IsDue(*lost))) {
    if (lost) fDone[*lost] = true;
    if (!fLost && lost) fLossReason = fEntries[*lost].Text;
    return {0, true};
  }
  std::size_t count = bytes.size();
  if (const auto wrote = NextOfFrame(fkWrote)) {
    const bool due = IsDue(*wrote);
    count = due ? std::min<std::size_t>(count, fEntries[*wrote].Number) : 0;
    fDone[*wrote] = due;
  }
  fFrameRest -= count;
  return {count};
}

std::size_t TReplayWire::NextSent() const {
  std::size_t next = fSentEnd;
  while (next < fEntries.size() && fEntries[next].Kind != fkSent) ++next;
  return next;
}

void TReplayWire::Compare(TByteView frame) {
  const std::size_t next = NextSent();
  const bool recorded = next < fEntries.size();
  const bool same = recorded && std::ranges::equal(fEntries[next].Data, frame);
  fSentEnd = std::min(next + 1, fEntries.size());
  if (same || !fDifference.empty()) return;
  fDifference = HexText(frame) + " was sent";
  fDifference += recorded ? " where the recording has " + HexText(fEntries[next].Data)
                          : " after all that the recording has";
}

void TReplayWire::Finish() {
  const std::size_t next = NextSent();
  if (next == fEntries.size() || !fDifference.empty()) return;
  fDifference = HexText(fEntries[next].Data) + " of the recording was not sent";
}

// The next entry of that kind that is about the frame that was sent last.
std::optional<std::size_t> TReplayWire::NextOfFrame(TFlightKind kind) const {
  for (std::size_t i = fSentEnd; i < fEntries.size(); ++i) {
    const TFlightKind at = fEntries[i].Kind;
    if (at == kind && !fDone[i]) return i;
    if (at == fkSent || at == fkEnd || at == fkLost || at == fkClose) break;
    if (kind == fkLost && at <= fkSet) break;  // the line had its turn meanwhile
  }
  return {};
}

bool TReplayWire::Takes() const {
  const auto wrote = NextOfFrame(fkWrote);
  return !wrote || IsDue(*wrote);
}

}  // namespace OrvixModBus
