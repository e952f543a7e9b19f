#include "tools/orvixmb/uAskedRequests.h"

#include <algorithm>

#include "tools/orvixmb/uFrameMeaning.h"

namespace OrvixModBus {

std::string FailureText(TServerReply reply, std::uint8_t exceptionCode) {
  switch (reply) {
    case TServerReply::srNone:
      return "no answer";
    case TServerReply::srInvalidFrame:
      return "a broken answer";
    case TServerReply::srExceptionReply:
      return ExceptionText(exceptionCode);
    default:
      return "an answer to something else";
  }
}

// The client's own events tell no exception code. Each transaction ends here, after its events and
// before the loop's next turn.
TAskedRequests::TAskedRequests(TMBClient& client)
    : fClient(client), fEnded(client.RTUClient().OnTransactionEnded) {
  fClient.RTUClient().OnTransactionEnded = {this, &TAskedRequests::Ended};
}

TAskedRequests::~TAskedRequests() { fClient.RTUClient().OnTransactionEnded = fEnded; }

void TAskedRequests::Ask(std::uint8_t func, std::uint32_t first, std::size_t count) {
  fAsked.emplace(TPlace(func, first), TAsked{std::uint64_t{first} + count, {}});
  fLongest = std::max<std::uint64_t>(fLongest, count);
}

void TAskedRequests::Ended(TModbusTransaction& transaction) {
  if (transaction.ServerReply() != TServerReply::srNormalReply) NoteFailure(transaction);
  fEnded(transaction);
}

void TAskedRequests::NoteFailure(const TModbusTransaction& transaction) {
  const std::string failure = FailureText(transaction.ServerReply(), transaction.ExceptionCode());
  fLastFailure = failure;
  const auto* const info = dynamic_cast<const TLetterOwnerInfo*>(transaction.UserData());
  if (info == nullptr) return;
  const auto [first, last] = fAsked.equal_range({transaction.Command(), info->StartAdres});
  std::for_each(first, last, [&](auto& asked) { asked.second.Failure = failure; });
}

std::string TAskedRequests::ErrorOf(std::uint8_t func, std::uint32_t adress) const {
  std::string error = "its function code " + std::to_string(func) + " is not read";
  auto asked = fAsked.upper_bound({func, adress});
  while (asked != fAsked.begin()) {
    --asked;
    const auto& [place, request] = *asked;
    if (place.first != func || place.second + fLongest < adress) break;
    if (place.second != adress && request.End <= adress) continue;
    if (request.Failure.empty()) return {};
    error = request.Failure;
  }
  return error;
}

}  // namespace OrvixModBus
