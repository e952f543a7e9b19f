#include "tools/simulator/uSimulatorThread.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <future>

#include "platform/rtl/uException.h"
#include "tests/tools/uHexFrame.h"
#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uTerminalPort.h"

namespace OrvixModBus {
namespace {

constexpr char kQuestion[] = "11 03 00 6B 00 01 F7 46";
constexpr char kReply[] = "11 03 02 02 2B 38 F8";
constexpr char kWrite[] = "11 06 00 6B 12 34 F7 F1";

// Sends a request to the terminal's other end and returns what comes, up to so many bytes.
std::string Exchange(const std::string& path, std::string_view request, std::size_t size) {
  const TOwnedHandle port(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "port");
  const Bytes bytes = FromHex(request);
  EXPECT_EQ(write(port.Get(), bytes.data(), bytes.size()), std::ssize(bytes));
  Bytes reply;
  std::array<std::uint8_t, 256> buffer{};
  pollfd polled{port.Get(), POLLIN, 0};
  while (reply.size() < size && poll(&polled, 1, 5000) > 0) {
    const auto count = read(port.Get(), buffer.data(), buffer.size());
    if (count <= 0) break;
    reply.insert(reply.end(), buffer.begin(), buffer.begin() + count);
  }
  return ToHex(reply);
}

std::string Exchange(const TPseudoTerminal& terminal, std::string_view request, std::size_t size) {
  return Exchange(terminal.Path(), request, size);
}

std::ptrdiff_t CountHandles() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class ASimulatorThread : public testing::Test {
 protected:
  ASimulatorThread() { fSimulator.Device(0x11).Holding.Set(0x6B, {0x022B}); }

  TSimulator fSimulator;
  TPseudoTerminal fTerminal;
};

TEST_F(ASimulatorThread, ServesAPseudoTerminal) {
  const TSimulatorThread thread(fSimulator, fTerminal.Handle());
  EXPECT_EQ(Exchange(fTerminal, kQuestion, 7), kReply);
  EXPECT_EQ(Exchange(fTerminal, kQuestion, 7), kReply);  // the port was closed in between
}

TEST_F(ASimulatorThread, SharesItsDevicesUnderTheLock) {
  TSimulatorThread thread(fSimulator, fTerminal.Handle());
  EXPECT_EQ(Exchange(fTerminal, kWrite, 8), kWrite);
  const auto lock = thread.Lock();
  EXPECT_EQ(fSimulator.Device(0x11).Holding.Get(0x6B), 0x1234U);
}

TEST_F(ASimulatorThread, HoldsRequestsBackAsLongAsItIsLocked) {
  TSimulatorThread thread(fSimulator, fTerminal.Handle());
  std::future<std::string> reply;
  {
    const auto lock = thread.Lock();
    reply = std::async(std::launch::async, [&] { return Exchange(fTerminal, kQuestion, 7); });
    EXPECT_EQ(reply.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    fSimulator.Device(0x11).Holding.Set(0x6B, {0x1234});
  }
  EXPECT_EQ(reply.get(), "11 03 02 12 34 74 F0");
}

TEST_F(ASimulatorThread, StartsAndStopsWithoutLeavingAnything) {
  const auto handles = CountHandles();
  for (int i = 0; i < 50; ++i) {
    const TPseudoTerminal terminal;
    TSimulatorThread thread(fSimulator, terminal.Handle());
    if (i % 2 == 0) {
      EXPECT_EQ(Exchange(terminal, kQuestion, 7), kReply);
    }
    if (i % 3 == 0) thread.Stop();
  }
  EXPECT_EQ(CountHandles(), handles);
}

TEST_F(ASimulatorThread, CanBeStoppedTwice) {
  TSimulatorThread thread(fSimulator, fTerminal.Handle());
  thread.Stop();
  EXPECT_NO_THROW(thread.Stop());
}

TEST_F(ASimulatorThread, StopsInTheMiddleOfAReply) {
  // 8 + 7 characters at 11 seconds each: nothing of the reply will ever come.
  TSimulatorThread thread(fSimulator, fTerminal.Handle(), {.BaudRate = 1});
  const TOwnedHandle port(open(fTerminal.Path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "port");
  const Bytes request = FromHex(kQuestion);
  ASSERT_EQ(write(port.Get(), request.data(), request.size()), std::ssize(request));
  EXPECT_NO_THROW(thread.Stop());
}

TEST_F(ASimulatorThread, ServesAPortThatHangsUpAndReturns) {
  fSimulator.Faults = {{.Last = 1, .Fault = EFault::HangUp, .Duration = std::chrono::seconds(0)}};
  TTerminalPort port(testing::TempDir() + "thread_" + std::to_string(getpid()) + "_link");
  const std::string before = port.Path();
  TSimulatorThread thread(fSimulator, port);
  EXPECT_EQ(Exchange(before, kQuestion, 7), "") << "the terminal is gone";
  thread.Stop();
  const TSimulatorThread again(fSimulator, port);
  EXPECT_EQ(Exchange(port.Path(), kQuestion, 7), kReply);
}

TEST_F(ASimulatorThread, StopTellsWhatEndedTheLine) {
  TSimulatorThread thread(fSimulator, -1);
  EXPECT_THROW(thread.Stop(), Exception);
  EXPECT_NO_THROW(thread.Stop());
}

TEST_F(ASimulatorThread, CanBeDestroyedAfterTheLineEnded) {
  EXPECT_NO_THROW(TSimulatorThread(fSimulator, -1));
}

}  // namespace
}  // namespace OrvixModBus
