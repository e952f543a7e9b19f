#pragma once
// uFlightRecorder: the last things that happened on a line, with their times, in a ring in memory.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>

#include "platform/modbus/uLineSettings.h"
#include "platform/rtl/uBytes.h"

namespace OrvixModBus {

/// What can happen on a line. All that decides how a line goes on is among it, and every time at
/// which it did something, so that a recording can be replayed to the same end.
enum class TFlightKind : std::uint8_t {
  fkQueue,     ///< a request was queued: Number, its TTransactionKind as Detail, what it is
  fkDiscard,   ///< its program gave it up: Number
  fkOpen,      ///< the program opened the port
  fkClose,     ///< the program closed it
  fkSet,       ///< the program changed a setting
  fkSent,      ///< a frame was handed to the port: Number, retries so far as Detail, the frame
  fkWrote,     ///< the port took only so many bytes of the frame at once: Number
  fkReleased,  ///< RTS was released
  fkRead,      ///< bytes came
  fkEnd,       ///< the attempt is over: its TServerReply as Detail
  fkSkip,      ///< a request was completed without being sent: Number
  fkLook,      ///< the line looked at what had come, if anything, and went on
  fkLost,      ///< the port was lost: the reason
  fkReopen,    ///< the line opened the port by itself, again
  fkAway,      ///< it tried to, in vain; of several tries in a row the last one
};

struct TFlightEntry {
  std::chrono::steady_clock::time_point Time{};
  TFlightKind Kind = TFlightKind::fkLook;
  bool Inside = false;  ///< the program did it inside an event of the line
  std::uint8_t Detail = 0;
  std::uint32_t Number = 0;  ///< of the transaction, the low half; else a count
  Bytes Data;
};

/// Keeps the last entries that fit its memory, oldest first out, whole ones only. That memory is
/// taken once, by Begin. Not thread-safe.
class TFlightRecorder {
 public:
  using TTime = std::chrono::steady_clock::time_point;

  static constexpr std::uint32_t kDefaultSize = 65536;
  static constexpr std::uint32_t kGreatestSize = 1U << 24U;

  std::uint32_t Size() const { return fSize; }  ///< bytes; 0 = records nothing
  /// Forgets what was recorded. EModLinkError above kGreatestSize, and nothing has changed.
  void SetSize(std::uint32_t value);

  /// From now on Record records, unless it does already. isOpen: the port is open by now.
  void Begin(bool isOpen = false);
  bool IsRecording() const { return !fRing.empty(); }
  /// Copies the bytes. No memory is taken; an entry that doesn't fit forgets all before it, too.
  void Record(TFlightKind kind, TTime time, std::uint32_t number = 0, std::uint8_t detail = 0,
              std::span<const std::uint8_t> data = {}) noexcept;
  /// A setting is about to change from what it is in settings.
  void RecordChange(TTime time, const TLineSettings& settings);
  TTime LastTime() const { return fLastTime; }
  /// An event of the line is being raised: what is recorded meanwhile is done inside of it.
  void SetInside(bool value) { fInside = value; }

  /// How many entries have been overwritten.
  std::uint64_t Overwritten() const { return fOverwritten; }
  /// Was the port open before the first entry?
  bool BeginsOpen() const { return fBeginsOpen; }
  /// Takes the entries from the oldest on.
  void ForEach(const std::function<void(const TFlightEntry&)>& take) const;
  /// Line settings before each entry of the kind fkSet.
  const std::deque<TLineSettings>& FormerSettings() const { return fFormer; }

 private:
  // As it stands in the ring before the data.
  struct THead {
    std::int64_t Time;
    std::uint32_t Number;
    std::uint16_t Size;
    std::uint8_t Kind;  // and kInside
    std::uint8_t Detail;
  };

  void Forget() noexcept;
  std::size_t PlaceOf(std::size_t at) const noexcept;
  void Put(std::size_t at, const void* bytes, std::size_t size) noexcept;
  void Get(std::size_t at, void* bytes, std::size_t size) const noexcept;
  THead HeadAt(std::size_t at) const noexcept;
  void DropOldest() noexcept;

  std::uint32_t fSize = kDefaultSize;
  Bytes fRing;
  std::size_t fBegin = 0;  // of the oldest entry
  std::size_t fUsed = 0;   // bytes of all entries
  std::size_t fLast = 0;   // of the youngest entry, counted from the oldest
  std::deque<TLineSettings> fFormer;
  std::uint64_t fOverwritten = 0;
  TTime fLastTime{};
  TFlightKind fLastKind = TFlightKind::fkLook;
  bool fBeginsOpen = false;
  bool fInside = false;
};

}  // namespace OrvixModBus
