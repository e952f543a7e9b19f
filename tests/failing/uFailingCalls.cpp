#include "uFailingCalls.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>

namespace {

using OrvixModBus::ECall;

struct TPlan {
  ECall Call = ECall::Open;
  std::uint64_t Left = 0;  // calls of that kind until the one that is hit; 0 = none is
  int Error = 0;
  bool Hit = false;
};

thread_local TPlan plan;

// The fault of this call; 0 for none.
int FaultOf(ECall call) {
  if (plan.Left == 0 || plan.Call != call || --plan.Left > 0) return 0;
  plan.Hit = true;
  return plan.Error;
}

// True when the call is to fail, with errno set.
bool Fails(ECall call) {
  const int fault = FaultOf(call);
  if (fault <= 0) return false;
  errno = fault;
  return true;
}

}  // namespace

namespace OrvixModBus {

const char* NameOf(ECall call) {
  constexpr const char* kNames[] = {"open", "read", "write", "poll", "ioctl", "flock", "close"};
  return kNames[static_cast<std::size_t>(call)];
}

void FailCall(ECall call, std::uint64_t number, const TCallFault& fault) {
  plan = {call, number, fault.Error, false};
}

bool StopFailingCalls() {
  plan.Left = 0;
  return plan.Hit;
}

}  // namespace OrvixModBus

// The linker hands the calls of the program to these, and theirs to the system.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {
int __real_open(const char* name, int flags, ...);
ssize_t __real_read(int handle, void* bytes, std::size_t count);
ssize_t __real_write(int handle, const void* bytes, std::size_t count);
int __real_poll(pollfd* handles, nfds_t count, int timeout);
int __real_ppoll(pollfd* handles, nfds_t count, const timespec* timeout, const sigset_t* mask);
int __real_ioctl(int handle, unsigned long request, ...);
int __real_flock(int handle, int operation);
int __real_close(int handle);

int __wrap_open(const char* name, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : mode_t{0};
  va_end(more);
  return Fails(ECall::Open) ? -1 : __real_open(name, flags, mode);
}

ssize_t __wrap_read(int handle, void* bytes, std::size_t count) {
  const int fault = FaultOf(ECall::Read);
  if (fault > 0) {
    errno = fault;
    return -1;
  }
  return __real_read(handle, bytes, fault == 0 ? count : std::min<std::size_t>(count, 1));
}

ssize_t __wrap_write(int handle, const void* bytes, std::size_t count) {
  const int fault = FaultOf(ECall::Write);
  if (fault > 0) {
    errno = fault;
    return -1;
  }
  return __real_write(handle, bytes, fault == 0 ? count : std::min<std::size_t>(count, 1));
}

int __wrap_poll(pollfd* handles, nfds_t count, int timeout) {
  return Fails(ECall::Poll) ? -1 : __real_poll(handles, count, timeout);
}

int __wrap_ppoll(pollfd* handles, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  return Fails(ECall::Poll) ? -1 : __real_ppoll(handles, count, timeout, mask);
}

// Exclusive use of a handle that is about to be closed is given back whatever comes of it: else
// nobody could open that terminal any more while its other end is held.
int __wrap_ioctl(int handle, unsigned long request, ...) {
  va_list more;
  va_start(more, request);
  void* const argument = va_arg(more, void*);
  va_end(more);
  const bool fails = Fails(ECall::Ioctl);
  if (fails && request == TIOCNXCL) __real_ioctl(handle, request, argument);
  return fails ? -1 : __real_ioctl(handle, request, argument);
}

int __wrap_flock(int handle, int operation) {
  return Fails(ECall::Flock) ? -1 : __real_flock(handle, operation);
}

// The handle is closed whatever close says, as on every system that this runs on.
int __wrap_close(int handle) {
  const bool fails = Fails(ECall::Close);
  const int error = errno;
  const int result = __real_close(handle);
  if (!fails) return result;
  errno = error;
  return -1;
}
}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
