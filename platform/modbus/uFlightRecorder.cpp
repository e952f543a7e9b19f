#include "platform/modbus/uFlightRecorder.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

namespace OrvixModBus {

using std::chrono::nanoseconds;

namespace {

constexpr std::uint8_t kInside = 0x80;

// Only a program can do something inside an event.
bool IsByProgram(TFlightKind kind) { return kind <= TFlightKind::fkSet; }

TFlightKind KindOf(std::uint8_t kind) { return static_cast<TFlightKind>(kind & ~kInside); }

}  // namespace

void TFlightRecorder::SetSize(std::uint32_t value) {
  if (value == fSize) return;
  if (value > kGreatestSize) {
    throw EModLinkError("A recorder of " + std::to_string(value) + " bytes is too large; " +
                        std::to_string(kGreatestSize) + " is the most");
  }
  Bytes ring(IsRecording() ? value : 0);
  Forget();
  fOverwritten = 0;
  fRing.swap(ring);
  fSize = value;
}

void TFlightRecorder::Begin(bool isOpen) {
  if (fRing.size() == fSize) return;
  fRing.resize(fSize);
  fBeginsOpen = isOpen;
}

void TFlightRecorder::Record(TFlightKind kind, TTime time, std::uint32_t number,
                             std::uint8_t detail, std::span<const std::uint8_t> data) noexcept {
  if (!IsRecording()) return;
  const std::size_t size = sizeof(THead) + data.size();
  if (size > fRing.size() || data.size() > std::numeric_limits<std::uint16_t>::max()) {
    return Forget();
  }
  // A port may be away for days: that must not drive out what was before.
  const bool again = kind == TFlightKind::fkAway && fLastKind == kind && fUsed > 0;
  if (!again) {
    while (fUsed + size > fRing.size()) DropOldest();
    fLast = fUsed;
  }
  const nanoseconds passed = time.time_since_epoch();
  const bool inside = fInside && IsByProgram(kind);
  const int kindByte = static_cast<int>(kind) | (inside ? kInside : 0);
  const THead head{passed.count(), number, static_cast<std::uint16_t>(data.size()),
                   static_cast<std::uint8_t>(kindByte), detail};
  Put(fLast, &head, sizeof head);
  Put(fLast + sizeof head, data.data(), data.size());
  fUsed = fLast + size;
  fLastTime = time;
  fLastKind = kind;
}

void TFlightRecorder::RecordChange(TTime time, const TLineSettings& settings) {
  if (!IsRecording()) return;
  fFormer.push_back(settings);
  Record(TFlightKind::fkSet, time);
}

void TFlightRecorder::ForEach(const std::function<void(const TFlightEntry&)>& take) const {
  for (std::size_t at = 0; at < fUsed;) {
    const THead head = HeadAt(at);
    TFlightEntry entry{TTime(nanoseconds(head.Time)),
                       KindOf(head.Kind),
                       (head.Kind & kInside) != 0,
                       head.Detail,
                       head.Number,
                       {}};
    entry.Data.resize(head.Size);
    Get(at + sizeof head, entry.Data.data(), head.Size);
    take(entry);
    at += sizeof head + head.Size;
  }
}

void TFlightRecorder::Forget() noexcept {
  while (fUsed > 0) DropOldest();
  fFormer.clear();  // also what a change has left that didn't fit
}

// at: bytes behind the begin of the oldest entry, at most the ring's size.
inline std::size_t TFlightRecorder::PlaceOf(std::size_t at) const noexcept {
  const std::size_t place = fBegin + at;
  return place < fRing.size() ? place : place - fRing.size();
}

// The ring has room for it. Inline, as the size of a head is known then.
inline void TFlightRecorder::Put(std::size_t at, const void* bytes, std::size_t size) noexcept {
  const std::size_t begin = PlaceOf(at), room = fRing.size() - begin;
  const auto* const source = static_cast<const std::uint8_t*>(bytes);
  if (size <= room) {
    if (size > 0) std::memcpy(fRing.data() + begin, source, size);
    return;
  }
  std::memcpy(fRing.data() + begin, source, room);
  std::memcpy(fRing.data(), source + room, size - room);
}

inline void TFlightRecorder::Get(std::size_t at, void* bytes, std::size_t size) const noexcept {
  const std::size_t begin = PlaceOf(at), room = fRing.size() - begin;
  auto* const target = static_cast<std::uint8_t*>(bytes);
  if (size <= room) {
    if (size > 0) std::memcpy(target, fRing.data() + begin, size);
    return;
  }
  std::memcpy(target, fRing.data() + begin, room);
  std::memcpy(target + room, fRing.data(), size - room);
}

TFlightRecorder::THead TFlightRecorder::HeadAt(std::size_t at) const noexcept {
  THead head{};
  Get(at, &head, sizeof head);
  return head;
}

void TFlightRecorder::DropOldest() noexcept {
  const THead head = HeadAt(0);
  const std::size_t size = sizeof head + head.Size;
  fBegin = PlaceOf(size);
  fUsed -= size;
  fLast -= std::min(fLast, size);
  ++fOverwritten;
  switch (KindOf(head.Kind)) {
    case TFlightKind::fkSet:
      return fFormer.pop_front();
    case TFlightKind::fkOpen:
    case TFlightKind::fkReopen:
      fBeginsOpen = true;
      return;
    case TFlightKind::fkClose:
    case TFlightKind::fkLost:
      fBeginsOpen = false;
      return;
    default:
      return;
  }
}

}  // namespace OrvixModBus
