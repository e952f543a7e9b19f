#include "tools/simulator/uOwnedHandle.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

std::pair<THandle, THandle> MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) ThrowSystemError("No pipe");
  return {ends[0], ends[1]};
}

}  // namespace

TOwnedHandle::TOwnedHandle(THandle handle, const std::string& what) : fHandle(handle) {
  if (handle == kNone) ThrowSystemError(what);
}

TOwnedHandle::~TOwnedHandle() {
  if (fHandle != kNone) close(fHandle);
}

void ThrowSystemError(const std::string& what) {
  throw Exception(what + ": " + std::strerror(errno));
}

TWakePipe::TWakePipe() : TWakePipe(MakePipe()) {}

TWakePipe::TWakePipe(const std::pair<THandle, THandle>& ends)
    : fReadEnd(ends.first, "No pipe"), fWriteEnd(ends.second, "No pipe") {}

void TWakePipe::Wake() const {
  // Fails only when the pipe is full, and then it is readable anyway.
  [[maybe_unused]] const auto written = write(fWriteEnd.Get(), "", 1);
}

}  // namespace OrvixModBus
