#include "tools/simulator/uHandlePort.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/simulator/uOwnedHandle.h"

namespace OrvixModBus {

void THandlePort::Attach(THandle handle) {
  const int flags = fcntl(handle, F_GETFL);
  if (flags == -1 || fcntl(handle, F_SETFL, flags | O_NONBLOCK) == -1) {
    ThrowSystemError("The line can't be used");
  }
  fHandle = handle;
}

TPortTransfer THandlePort::Read(std::span<std::uint8_t> bytes) {
  const auto count = read(fHandle, bytes.data(), bytes.size());
  if (count > 0) return {static_cast<std::size_t>(count)};
  if (count < 0) return Failed();
  fLossReason = "the other end is closed";
  return {0, true};
}

TPortTransfer THandlePort::Write(std::span<const std::uint8_t> bytes) {
  const auto count = write(fHandle, bytes.data(), bytes.size());
  return count >= 0 ? TPortTransfer{static_cast<std::size_t>(count)} : Failed();
}

// Nothing, when it only has to be tried again.
TPortTransfer THandlePort::Failed() {
  if (errno == EAGAIN || errno == EINTR) return {};
  fLossReason = std::strerror(errno);
  return {0, true};
}

}  // namespace OrvixModBus
