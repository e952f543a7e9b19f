#pragma once
// uItemReader: reads what a device keeps behind a function code of its own, one request after the
// other, until one fails.

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/rtl/uBytes.h"
#include "uMBCustomFunctions.h"

namespace OrvixModBus {

/// Asks as a component of a form does, but waits for each reply before the next request, so that a
/// dead line is noticed at once, and begins with whatever item is wanted.
class TItemReader : public TMBCustomFunction {
 public:
  /// By the component's function code and client, which is not nil and outlives this.
  explicit TItemReader(const TMBItemFunction& component);
  ~TItemReader() override;

  std::uint8_t GetMBFunc() const override { return fFunc; }
  void OnRead(TMBClient& sender, TServerReply serverReply, std::uint8_t func,
              std::uint32_t startReg, const Bytes& values, TObject* letterOwner) override;

  /// The reply's bytes after the function code. Exception says why there is none: "no answer".
  Bytes Ask(const std::array<std::uint8_t, 4>& data);
  /// How many items there are.
  int Count();

 private:
  const std::uint8_t fFunc;
  std::optional<Bytes> fReply;
};

/// The records of a reply of $41 to a request for those from first on of one oscillogram; Exception
/// for what answers another request.
Bytes OscillogramRecords(const Bytes& reply, std::uint8_t oscillogram, std::uint16_t first);

/// Records of one length, numbered from First on.
struct TRecording {
  int First = 1;
  std::vector<Bytes> Records = {};
  std::string Problem = {};  ///< why those that follow are missing; empty = none are

  int Next() const { return First + static_cast<int>(Records.size()); }
};

/// Which records are read, and how.
struct TRecordRange {
  int First, Last;     ///< none when Last is below First
  std::size_t Length;  ///< bytes of one, 1 to TMBItemFunction::kMaxItemBytes
  /// The bytes of that many records from one on; Exception where the line fails.
  std::function<Bytes(int first, int count)> Ask;
};

/// As many at a time as a reply holds. A device may send fewer than it is asked for; one that sends
/// none fails. Progress is told how many records have come.
TRecording ReadRecords(const TRecordRange& range, const std::function<void(std::size_t)>& progress);

}  // namespace OrvixModBus
