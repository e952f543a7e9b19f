#include "platform/modbus/uLateReplies.h"

#include <algorithm>

namespace OrvixModBus {

void TLateReplies::Owe(std::uint64_t transaction, std::span<const std::uint8_t> request,
                       TTime until) noexcept {
  TOwed owed{transaction, until, {}, std::min(request.size(), kTellingBytes)};
  std::copy_n(request.begin(), owed.Size, owed.Bytes.begin());
  try {
    fOwed.push_back(owed);
  } catch (...) {
    fAnyUntil = std::max(fAnyUntil, until);
  }
}

bool TLateReplies::Settle(std::uint64_t transaction) {
  const auto found = std::ranges::find(fOwed, transaction, &TOwed::Transaction);
  if (found == fOwed.end()) return false;
  fOwed.erase(found);
  return true;
}

bool TLateReplies::Take(std::span<const std::uint8_t> reply, std::uint64_t transaction,
                        bool onceMore) {
  const auto found = std::ranges::find_if(fOwed, [&](const TOwed& owed) {
    return owed.Transaction != transaction && ReplyFits(owed.Request(), reply);
  });
  if (found == fOwed.end()) return false;
  if (!onceMore) fOwed.erase(found);
  return true;
}

TLateReplies::TTime TLateReplies::FreeAt(std::span<const std::uint8_t> request,
                                         std::uint64_t transaction) const {
  TTime free = fAnyUntil;
  for (const TOwed& owed : fOwed) {
    if (owed.Transaction != transaction && RepliesAlike(owed.Request(), request)) {
      free = std::max(free, owed.Until);
    }
  }
  return free;
}

void TLateReplies::Expire(TTime now) {
  std::erase_if(fOwed, [now](const TOwed& owed) { return owed.Until <= now; });
}

}  // namespace OrvixModBus
