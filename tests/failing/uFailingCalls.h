#pragma once
// uFailingCalls: the n-th system call of a kind by this thread fails, or does only a part.

#include <cstdint>

namespace OrvixModBus {

/// The calls that the port and the loop are made of. Those of another program part are not seen.
enum class ECall { Open, Read, Write, Poll, Ioctl, Flock, Close };
inline constexpr ECall kCalls[] = {ECall::Open,  ECall::Read,  ECall::Write, ECall::Poll,
                                   ECall::Ioctl, ECall::Flock, ECall::Close};
const char* NameOf(ECall call);

/// What becomes of the call.
struct TCallFault {
  /// A read or a write of one byte, with what that does itself.
  static constexpr int kShort = -1;

  int Error = 0;  ///< an errno, or kShort
};

/// The number-th call of that kind by the calling thread from now on is hit, once; from 1.
void FailCall(ECall call, std::uint64_t number, const TCallFault& fault);
/// Nothing fails any more; true when that call has been made.
bool StopFailingCalls();

}  // namespace OrvixModBus
