#pragma once
// uLateReplies: which requests may still be answered after they were given up.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/modbus/uReplyMatch.h"

namespace OrvixModBus {

/// An attempt that was given up still owes a reply until its window is over. No such reply may
/// be taken for the answer to another transaction. A late reply to an earlier attempt of the
/// same transaction is an answer to the same question; then the later attempt owes one.
/// Requests and replies here are whole frames without their check sums.
class TLateReplies {
 public:
  using TTime = std::chrono::steady_clock::time_point;

  TLateReplies() { fOwed.reserve(kUsual); }

  /// An attempt of transaction was given up; its reply may come until the given time. Where there
  /// is no memory for it, every request waits until then.
  void Owe(std::uint64_t transaction, std::span<const std::uint8_t> request, TTime until) noexcept;
  /// A reply to transaction has come. True when an earlier attempt of it owed one, which is
  /// paid by it: then the present attempt owes one.
  bool Settle(std::uint64_t transaction);
  /// True when reply may be the answer owed to another transaction than the given one: then it is
  /// nobody else's. It pays what is owed, unless it may be an accepted reply once more.
  bool Take(std::span<const std::uint8_t> reply, std::uint64_t transaction, bool onceMore);
  /// From when on request of transaction may be sent: no owed reply can be mistaken for its own.
  TTime FreeAt(std::span<const std::uint8_t> request, std::uint64_t transaction) const;
  /// Forgets what can't come any more.
  void Expire(TTime now);
  bool Any() const { return !fOwed.empty(); }

 private:
  static constexpr std::size_t kUsual = 8;

  struct TOwed {
    std::span<const std::uint8_t> Request() const { return {Bytes.data(), Size}; }

    std::uint64_t Transaction = 0;
    TTime Until{};
    std::array<std::uint8_t, kTellingBytes> Bytes{};
    std::size_t Size = 0;
  };

  std::vector<TOwed> fOwed;  // the oldest first
  TTime fAnyUntil = TTime::min();
};

}  // namespace OrvixModBus
