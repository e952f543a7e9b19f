#include "tools/simulator/uPseudoTerminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>

#include "platform/rtl/uException.h"
#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

constexpr int kPatience = 5000;  // ms

TOwnedHandle OpenOtherEnd(const TPseudoTerminal& terminal) {
  return {open(terminal.Path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), terminal.Path()};
}

void Write(THandle handle, const Bytes& bytes) {
  ASSERT_EQ(write(handle, bytes.data(), bytes.size()), std::ssize(bytes));
}

// What comes, until it is so many bytes.
Bytes Read(THandle handle, std::size_t size) {
  Bytes bytes;
  std::array<std::uint8_t, 512> buffer{};
  pollfd polled{handle, POLLIN, 0};
  while (bytes.size() < size && poll(&polled, 1, kPatience) > 0) {
    const auto count = read(handle, buffer.data(), buffer.size());
    if (count <= 0) break;
    bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + count);
  }
  return bytes;
}

TEST(TPseudoTerminal, PassesEveryByteUnchangedBothWays) {
  const TPseudoTerminal terminal;
  const TOwnedHandle other = OpenOtherEnd(terminal);
  Bytes all(256);
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::uint8_t>(i);
  Write(other.Get(), all);
  EXPECT_EQ(ToHex(Read(terminal.Handle(), all.size())), ToHex(all));
  Write(terminal.Handle(), all);
  EXPECT_EQ(ToHex(Read(other.Get(), all.size())), ToHex(all));
}

TEST(TPseudoTerminal, DoesNotHangUpWhenAProgramClosesItsEnd) {
  const TPseudoTerminal terminal;
  { const TOwnedHandle first = OpenOtherEnd(terminal); }
  pollfd polled{terminal.Handle(), POLLIN, 0};
  EXPECT_EQ(poll(&polled, 1, 0), 0);
  const TOwnedHandle second = OpenOtherEnd(terminal);
  Write(second.Get(), {0x55});
  EXPECT_EQ(ToHex(Read(terminal.Handle(), 1)), "55");
}

TEST(TOwnedHandle, ThrowsTheSystemsReason) {
  try {
    const TOwnedHandle handle(open("/nowhere/port", O_RDONLY), "Can't open the port");
    ADD_FAILURE() << "opened";
  } catch (const Exception& error) {
    EXPECT_STREQ(error.what(), "Can't open the port: No such file or directory");
  }
}

TEST(TOwnedHandle, MovesToOneOwnerOnly) {
  TOwnedHandle first(open("/dev/null", O_RDWR | O_CLOEXEC), "null");
  const THandle handle = first.Get();
  {
    const TOwnedHandle second(std::move(first));
    EXPECT_EQ(second.Get(), handle);
    EXPECT_NE(fcntl(handle, F_GETFD), -1);
  }
  EXPECT_EQ(fcntl(handle, F_GETFD), -1);
}

TEST(TWakePipe, StaysReadable) {
  const TWakePipe wake;
  pollfd polled{wake.ReadEnd(), POLLIN, 0};
  EXPECT_EQ(poll(&polled, 1, 0), 0);
  wake.Wake();
  wake.Wake();
  EXPECT_EQ(poll(&polled, 1, kPatience), 1);
  EXPECT_EQ(poll(&polled, 1, 0), 1);
}

}  // namespace
}  // namespace OrvixModBus
