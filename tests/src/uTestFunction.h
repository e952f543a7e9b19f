#pragma once
// uTestFunction: a component that reads items, on a line without a port, its events noted.

#include <memory>
#include <numeric>
#include <string>

#include "tests/src/uTestLine.h"
#include "uMBCustomFunctions.h"

namespace OrvixModBus {

/// 0, 1, 2...
inline Bytes Counting(std::size_t count) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

template <class TFunction>
class TTestFunction : public TTestClient {
 public:
  TTestFunction() {
    function->SetName("Items");
    function->OnGetCountInfo = [this](TObject&) { log.push_back("count"); };
    function->OnErorAnswer = [this](TObject&) { log.push_back("eror"); };
    function->SetMBClient(client.get());
  }

  /// The completion of a request that was started so, as the client hands it over.
  void Get(std::uint32_t start, const Bytes& values) {
    function->OnRead(*client, TServerReply::srNormalReply, function->MBFunc(), start, values,
                     function.get());
  }
  std::vector<std::string> TakeLog() { return std::exchange(log, {}); }

  std::unique_ptr<TFunction> function = std::make_unique<TFunction>();
  TTestLog log;
};

}  // namespace OrvixModBus
