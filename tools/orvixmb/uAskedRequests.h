#pragma once
// uAskedRequests: what a client has been asked, and why some of it has failed.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "uMBClient.h"

namespace OrvixModBus {

/// Listens to a client, which outlives it, for as long as it lives; one at a time. The requests of
/// an emulated client do not fail.
class TAskedRequests : public TObject {
 public:
  explicit TAskedRequests(TMBClient& client);
  TAskedRequests(const TAskedRequests&) = delete;
  TAskedRequests& operator=(const TAskedRequests&) = delete;
  ~TAskedRequests() override;

  /// A request for count addresses from first on has just been handed to the client.
  void Ask(std::uint8_t func, std::uint32_t first, std::size_t count);
  /// Empty when a request that holds this address has not failed, else why: "no answer". Requests
  /// may overlap. None at all is "its function code 7 is not read".
  std::string ErrorOf(std::uint8_t func, std::uint32_t adress) const;
  /// Of all that the client sends, asked here or not: why the last that failed did. Empty = none. A
  /// failed read of file records ends after those queued behind it, which it discards.
  const std::string& LastFailure() const { return fLastFailure; }

 private:
  using TPlace = std::pair<std::uint8_t, std::uint32_t>;  // function code, first address
  struct TAsked {
    std::uint64_t End;  // address, not included
    std::string Failure;
  };

  void Ended(TModbusTransaction& transaction);
  void NoteFailure(const TModbusTransaction& transaction);

  TMBClient& fClient;
  TEvent<void(TModbusTransaction&)> fEnded;  // the client's own
  std::multimap<TPlace, TAsked> fAsked;
  std::uint64_t fLongest = 0;  // addresses of one request
  std::string fLastFailure;
};

/// "exception 2: illegal data address", "no answer".
std::string FailureText(TServerReply reply, std::uint8_t exceptionCode);

}  // namespace OrvixModBus
