#include "tools/simulator/uSimulatorLine.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/loop/uSystemLoop.h"
#include "platform/rtl/uException.h"
#include "tests/tools/uHexFrame.h"
#include "tools/simulator/uHandlePort.h"
#include "tools/simulator/uMemoryCable.h"
#include "tools/simulator/uOwnedHandle.h"
#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uSimulator.h"
#include "tools/simulator/uTerminalPort.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr char kQuestion[] = "11 03 00 6B 00 01 F7 46";
constexpr char kReply[] = "11 03 02 02 2B 38 F8";
constexpr char kLongQuestion[] = "11 03 00 01 00 14 16 95";
constexpr char kLongReply[] =
    "11 03 28 00 01 00 02 00 03 00 04 00 05 00 06 00 07 00 08 00 09 00 0A "
    "00 0B 00 0C 00 0D 00 0E 00 0F 00 10 00 11 00 12 00 13 00 14 B5 EA";
constexpr char kWrite[] = "11 06 00 6B 12 34 F7 F1";
constexpr char kBroadcast[] = "00 06 00 6B 12 34 F4 B0";
constexpr char kReplyAfterWrite[] = "11 03 02 12 34 74 F0";
constexpr char kUnknown[] = "11 2B 0E 01 00 B1 B4";
constexpr char kUnknownReply[] = "11 AB 01 9F 35";
constexpr char kForeign[] = "13 03 00 6B 00 01 F6 A4";

// A loop whose clock only the test moves.
class TManualLoop : public TSystemLoop {
 public:
  TClock::time_point Now() const override { return fNow; }
  void Pass(std::chrono::nanoseconds time) {
    fNow += time;
    RunPending();
  }

 private:
  TClock::time_point fNow = TClock::time_point(1h);
};

std::pair<THandle, THandle> MakeSockets() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
    ThrowSystemError("No sockets");
  }
  return {ends[0], ends[1]};
}

// A line over sockets, which pass bytes at once, so that every time in here is exact.
class ALine : public testing::Test {
 protected:
  ALine() : ALine(MakeSockets()) {}
  explicit ALine(const std::pair<THandle, THandle>& ends)
      : fOwn(ends.first, "socket"),
        fPort(ends.first),
        fOther(std::make_unique<TOwnedHandle>(ends.second, "socket")) {
    fSimulator.Device(0x11).Holding.SetFormula(
        1, 20, [](std::uint32_t index, double) { return index + 1; });
    fSimulator.Device(0x11).Holding.Set(0x6B, {0x022B});
  }

  void Open(const TSimulatorLineSettings& settings = {}) {
    fLine = std::make_unique<TSimulatorLine>(
        fLoop, fPort, [this](auto request) { return fSimulator.Answer(request); }, settings);
    fLine->OnFrame = [this](ELineFrame kind, std::span<const std::uint8_t> frame) {
      fFrames.push_back((kind == ELineFrame::Request ? "request " : "reply ") + ToHex(frame));
    };
  }

  void SendOnly(const Bytes& bytes) {
    ASSERT_EQ(write(fOther->Get(), bytes.data(), bytes.size()), std::ssize(bytes));
  }
  void Send(std::string_view hex) {
    SendOnly(FromHex(hex));
    fLoop.RunPending();
  }

  // What has come up to now.
  std::string Received() {
    std::array<std::uint8_t, 4096> buffer{};
    const auto count = read(fOther->Get(), buffer.data(), buffer.size());
    return ToHex(std::span(buffer).first(count > 0 ? static_cast<std::size_t>(count) : 0));
  }
  std::size_t ReceivedSize() { return FromHex(Received()).size(); }

  TSimulator fSimulator;
  TManualLoop fLoop;
  TOwnedHandle fOwn;
  THandlePort fPort;
  std::unique_ptr<TOwnedHandle> fOther;
  std::unique_ptr<TSimulatorLine> fLine;
  std::vector<std::string> fFrames;
};

TEST_F(ALine, AnswersAtOnce) {
  Open();
  Send(kQuestion);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, WaitsOnlyOnceForATransaction) {
  Open();
  for (int i = 0; i < 3; ++i) {
    SendOnly(FromHex(kQuestion));
    const std::uint64_t waits = fLoop.WaitCount();
    EXPECT_TRUE(fLoop.RunOnce(fLoop.Now()));
    EXPECT_EQ(Received(), kReply);
    EXPECT_EQ(fLoop.WaitCount(), waits + 1);
  }
}

TEST_F(ALine, AnswersWhenTheLastPieceIsThere) {
  Open();
  Send("11");
  Send("03 00 6B 00");
  fLoop.Pass(19ms);
  Send("01 F7");
  EXPECT_EQ(Received(), "");
  Send("46");
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, AnswersEveryRequestOfOnePiece) {
  Open();
  Send(std::string(kQuestion) + kWrite + kQuestion);
  EXPECT_EQ(Received(), std::string(kReply) + " " + kWrite + " " + kReplyAfterWrite);
}

TEST_F(ALine, TakesWhatFollowsABroadcast) {
  Open();
  Send(std::string(kBroadcast) + kQuestion);
  EXPECT_EQ(Received(), kReplyAfterWrite);
}

TEST_F(ALine, TakesWhatFollowsAnotherServersRequest) {
  Open();
  Send(std::string(kForeign) + kQuestion);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, DropsWhatCameWithABrokenRequest) {
  Open();
  Send(std::string("11 03 00 6B 00 01 F7 47 ") + kQuestion);
  EXPECT_EQ(Received(), "");
  Send(kQuestion);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, ForgetsACutRequestAfterSilence) {
  Open();
  Send("11 03 00 6B");
  fLoop.Pass(20ms);
  EXPECT_THAT(fFrames, ElementsAre("request 11 03 00 6B"));
  Send(kQuestion);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, AnswersAnUnknownFunctionAfterSilence) {
  Open();
  Send(kUnknown);
  fLoop.Pass(20ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), kUnknownReply);
}

TEST_F(ALine, CountsSilenceFromTheLastPiece) {
  Open({.Silence = 5ms});
  Send("11 2B 0E 01");
  fLoop.Pass(4ms);
  Send("00 B1 B4");
  fLoop.Pass(4ms);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ms);
  EXPECT_EQ(Received(), kUnknownReply);
}

TEST_F(ALine, KeepsJunkWithoutSilenceInBounds) {
  Open();
  for (int i = 0; i < 50; ++i) {
    SendOnly(Bytes(100, 0xFF));
    fLoop.Pass(1ms);
  }
  fLoop.Pass(20ms);
  ASSERT_EQ(fFrames.size(), 1U);
  EXPECT_LE(fFrames[0].size(), 4096 * std::string_view(" FF").size());
  Send(kQuestion);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, RepliesAfterTheTurnaround) {
  Open({.Turnaround = 3ms});
  Send(kQuestion);
  fLoop.Pass(3ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, ShowsItsFrames) {
  Open();
  Send(kQuestion);
  Send(kBroadcast);
  EXPECT_THAT(fFrames,
              ElementsAre(std::string("request ") + kQuestion, std::string("reply ") + kReply,
                          std::string("request ") + kBroadcast));
}

TEST_F(ALine, KeepsSendingToASlowReceiver) {
  const int size = 1;  // the system takes the least it can
  ASSERT_EQ(setsockopt(fOwn.Get(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
  Open();
  constexpr std::size_t kCount = 80;
  std::string questions;
  for (std::size_t i = 0; i < kCount; ++i) questions += kLongQuestion;
  Send(questions);
  std::size_t received = ReceivedSize();
  EXPECT_LT(received, kCount * 45);
  for (int turn = 0; turn < 1000 && received < kCount * 45; ++turn) {
    fLoop.RunPending();
    received += ReceivedSize();
  }
  EXPECT_EQ(received, kCount * 45);
}

TEST_F(ALine, ReportsItsHangUp) {
  Open();
  fOther.reset();
  try {
    fLoop.RunPending();
    ADD_FAILURE() << "no exception";
  } catch (const Exception& error) {
    EXPECT_STREQ(error.what(), "The line has hung up: the other end is closed");
  }
}

TEST_F(ALine, RefusesBurstsOfNothing) {
  EXPECT_THROW(Open({.Burst = 0}), EArgumentOutOfRangeException);
}

TEST_F(ALine, RefusesAHandleThatIsNone) { EXPECT_THROW(THandlePort(-1), Exception); }

constexpr std::uint32_t kMillisecondEach = 11000;  // baud: a character of 11 bits takes 1 ms

TEST_F(ALine, PacedRequestCountsWhenItsLastCharacterCouldHaveArrived) {
  Open({.BaudRate = kMillisecondEach});
  Send(kWrite);
  fLoop.Pass(8ms - 1ns);
  EXPECT_EQ(fSimulator.Device(0x11).Holding.Get(0x6B), 0x022BU);
  fLoop.Pass(1ns);
  EXPECT_EQ(fSimulator.Device(0x11).Holding.Get(0x6B), 0x1234U);
}

TEST_F(ALine, PacedReplyArrivesAfterItsCharacters) {
  Open({.BaudRate = kMillisecondEach, .Turnaround = 5ms});
  Send(kQuestion);
  fLoop.Pass(8ms + 5ms + 7ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, PacedReplyComesInBursts) {
  Open({.BaudRate = kMillisecondEach});
  Send(kLongQuestion);
  fLoop.Pass(8ms);
  std::string all;
  for (const auto& [time, size] : {std::pair(16ms, 16U), {16ms, 16U}, {13ms, 13U}}) {
    fLoop.Pass(time - 1ns);
    EXPECT_EQ(Received(), "");
    fLoop.Pass(1ns);
    const std::string burst = Received();
    EXPECT_EQ(FromHex(burst).size(), size);
    all += (all.empty() ? "" : " ") + burst;
  }
  EXPECT_EQ(all, kLongReply);
}

TEST_F(ALine, LateBurstsAreMadeUpFor) {
  Open({.BaudRate = kMillisecondEach, .Burst = 1});
  Send(kLongQuestion);
  fLoop.Pass(8ms);
  fLoop.Pass(10ms + 500us);
  EXPECT_EQ(ReceivedSize(), 10U);
  fLoop.Pass(500us);
  EXPECT_EQ(ReceivedSize(), 1U);
}

TEST_F(ALine, PacedPiecesFollowEachOtherOnTheLine) {
  Open({.BaudRate = kMillisecondEach, .Burst = 100});
  Send("11 03 00 6B");
  fLoop.Pass(2ms);
  Send("00 01 F7 46");  // while the first four are still on their way
  fLoop.Pass(6ms + 7ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, RequestThatComesDuringAReplyWaits) {
  Open({.BaudRate = kMillisecondEach, .Turnaround = 1ms});
  Send(kQuestion);
  fLoop.Pass(10ms);
  Send(kQuestion);  // whole 8 ms later, while the reply lasts 6 more
  fLoop.Pass(6ms);
  EXPECT_EQ(Received(), kReply);
  fLoop.Pass(2ms + 1ms + 7ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, QueuedRequestIsAnsweredAfterTheReplyBeforeIt) {
  Open({.BaudRate = kMillisecondEach, .Turnaround = 1ms});
  Send(std::string(kLongQuestion) + kQuestion);  // the second is whole while the first is answered
  fLoop.Pass(8ms);
  fLoop.Pass(1ms + 45ms);
  EXPECT_EQ(ReceivedSize(), 45U);
  fLoop.Pass(1ms + 7ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, PacedSilenceBeginsWithTheEndOfTheLastCharacter) {
  Open({.BaudRate = kMillisecondEach, .Silence = 4ms});
  Send(kUnknown);
  fLoop.Pass(7ms + 4ms - 1ns);
  EXPECT_TRUE(fFrames.empty());
  fLoop.Pass(1ns);
  EXPECT_EQ(fFrames.size(), 1U);
}

TEST_F(ALine, CharacterTimeIsNeverTooShort) {
  Open({.BaudRate = 115200});  // 95486.1 ns
  Send(kQuestion);
  fLoop.Pass(8 * 95487ns);
  fLoop.Pass(7 * 95487ns - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), kReply);
}

// ---- faults -------------------------------------------------------------------------------------

TEST_F(ALine, ServesOtherRequestsWhileAReplyIsLate) {
  fSimulator.Faults = {{.Last = 1, .Fault = EFault::Late, .Delay = 30ms}};
  Open();
  Send(kQuestion);
  fLoop.Pass(10ms);
  Send(kWrite);
  EXPECT_EQ(Received(), kWrite);
  fLoop.Pass(20ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), kReply) << "the value as it was when it was asked for";
}

TEST_F(ALine, RepliesOfOneTimeComeInTheOrderOfTheirRequests) {
  fSimulator.Faults = {{.Last = 1, .Fault = EFault::Late, .Delay = 30ms}};
  Open({.Turnaround = 10ms});
  Send(kQuestion);
  fLoop.Pass(30ms);
  Send(kWrite);
  fLoop.Pass(10ms);
  EXPECT_EQ(Received(), std::string(kReply) + " " + kWrite);
}

TEST_F(ALine, PacedRepliesDoNotOverlap) {
  fSimulator.Faults = {{.Last = 1, .Fault = EFault::Late, .Delay = 12ms}};
  Open({.BaudRate = kMillisecondEach, .Burst = 100});
  Send(kQuestion);  // whole at 8, answered at 20 to 27
  fLoop.Pass(8ms);
  Send(kLongQuestion);  // whole at 16, answered from then on, until 61
  fLoop.Pass(8ms);
  fLoop.Pass(45ms);
  EXPECT_EQ(Received(), kLongReply);
  fLoop.Pass(7ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ALine, PiecesArriveAtTheirTimes) {
  fSimulator.Faults = {{.Fault = EFault::Pause, .Delay = 5ms, .Position = 3}};
  Open();
  Send(kQuestion);
  EXPECT_EQ(Received(), "11 03 02");
  EXPECT_EQ(fFrames.size(), 1U);
  fLoop.Pass(5ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), "02 2B 38 F8");
  EXPECT_EQ(fFrames.at(1), std::string("reply ") + kReply);
}

TEST_F(ALine, PacedPauseBeginsBehindTheLastCharacter) {
  fSimulator.Faults = {{.Fault = EFault::Pause, .Delay = 5ms, .Position = 3}};
  Open({.BaudRate = kMillisecondEach});
  Send(kQuestion);
  fLoop.Pass(8ms + 3ms);
  EXPECT_EQ(Received(), "11 03 02");
  fLoop.Pass(5ms + 4ms - 1ns);
  EXPECT_EQ(Received(), "");
  fLoop.Pass(1ns);
  EXPECT_EQ(Received(), "02 2B 38 F8");
}

// A program at the near end of a cable in memory, the line at the far end.
class ACable : public testing::Test {
 protected:
  ACable() {
    fSimulator.Device(0x11).Holding.Set(0x6B, {0x022B});
    fPort->Open({.Name = "cable"});
  }

  void Send() { EXPECT_EQ(fPort->Write(FromHex(kQuestion)).Count, 8U); }
  void Pass(std::chrono::nanoseconds time) {
    fLoop.RunUntil([] { return false; }, time);
  }
  std::string Received() {
    std::array<std::uint8_t, 64> buffer{};
    const TPortTransfer done = fPort->Read(buffer);
    return done.Lost ? "lost" : ToHex(std::span(buffer).first(done.Count));
  }
  bool CanOpen() {
    try {
      fPort->Open({.Name = "cable"});
      return true;
    } catch (const EModLinkError&) {
      return false;
    }
  }

  TVirtualLoop fLoop;
  TMemoryCable fCable{fLoop};
  TSimulator fSimulator;
  TSimulatorLine fLine{fLoop, fCable.FarEnd(),
                       [this](auto request) { return fSimulator.Answer(request); }};
  const std::unique_ptr<TSerialPort> fPort = fCable.NewPort();
};

TEST_F(ACable, CarriesRequestAndReply) {
  Send();
  Pass(1us);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ACable, HangsUpAndReturns) {
  fSimulator.Faults = {{.Last = 1, .Fault = EFault::HangUp, .Duration = 300ms}};
  Send();
  Pass(1us);
  EXPECT_EQ(Received(), "lost");
  Pass(300ms - 2us);
  EXPECT_FALSE(CanOpen());
  Pass(1us);
  ASSERT_TRUE(CanOpen());
  Send();
  Pass(1us);
  EXPECT_EQ(Received(), kReply);
}

TEST_F(ACable, WhatWasToComeIsLostWithTheCable) {
  fSimulator.Faults = {{.Last = 1, .Fault = EFault::Late, .Delay = 500ms},
                       {.First = 2, .Last = 2, .Fault = EFault::HangUp, .Duration = 100ms}};
  Send();
  Pass(10ms);
  Send();
  Pass(200ms);
  ASSERT_TRUE(CanOpen());
  Pass(1s);
  EXPECT_EQ(Received(), "");
}

TEST_F(ACable, BabblesForItsTimeAlone) {
  fSimulator.Faults = {{.Last = 1, .Fault = EFault::Babble, .Delay = 10ms, .Duration = 200ms}};
  Send();
  Pass(100ms);
  EXPECT_EQ(FromHex(Received()).size(), 10U);
  Pass(1s);
  EXPECT_EQ(FromHex(Received()).size(), 10U);
}

TEST_F(ACable, SeveralLinesRunInOneLoop) {
  TMemoryCable other(fLoop);
  TSimulator simulator;
  simulator.Device(0x11).Holding.Set(0x6B, {0x1234});
  const TSimulatorLine line(fLoop, other.FarEnd(),
                            [&](auto request) { return simulator.Answer(request); });
  const auto port = other.NewPort();
  port->Open({});
  port->Write(FromHex(kQuestion));
  Send();
  Pass(1us);
  EXPECT_EQ(Received(), kReply);
  std::array<std::uint8_t, 64> buffer{};
  EXPECT_EQ(ToHex(std::span(buffer).first(port->Read(buffer).Count)), kReplyAfterWrite);
}

// On the system's own loop: the terminal is gone, and another one comes back under its name.
TEST(ATerminalPort, HangsUpAndReturnsUnderItsName) {
  const std::string link = testing::TempDir() + "line_" + std::to_string(getpid()) + "_link";
  TSimulator simulator;
  simulator.Device(0x11).Holding.Set(0x6B, {0x022B});
  simulator.Faults = {{.Last = 1, .Fault = EFault::HangUp, .Duration = 20ms}};
  TTerminalPort device(link);
  TSystemLoop loop;
  const TSimulatorLine line(loop, device, [&](auto request) { return simulator.Answer(request); });
  const auto port = TSerialPort::New();
  std::array<std::uint8_t, 64> buffer{};
  const auto open = [&] {
    try {
      port->Open({.Name = link});
      return port->Write(FromHex(kQuestion)).Count == 8;
    } catch (const EModLinkError&) {
      return false;
    }
  };
  ASSERT_TRUE(open());
  EXPECT_TRUE(loop.RunUntil([&] { return port->Read(buffer).Lost; }, 5s));
  EXPECT_FALSE(std::filesystem::is_symlink(link));
  port->Close();
  EXPECT_TRUE(loop.RunUntil(open, 5s));
  std::size_t count = 0;
  EXPECT_TRUE(loop.RunUntil([&] { return (count += port->Read(buffer).Count) > 0; }, 5s));
  EXPECT_EQ(ToHex(std::span(buffer).first(count)), kReply);
}

// On the system's own clock and a pseudo-terminal: nothing comes before its time.
TEST(ASimulatorLine, KeepsToTheBaudRateInRealTime) {
  TSimulator simulator;
  simulator.Device(0x11).Holding.Set(1, std::vector<std::uint32_t>(20, 0));
  const TPseudoTerminal terminal;
  const TOwnedHandle port(open(terminal.Path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "port");
  TSystemLoop loop;
  const auto answer = [&](auto request) { return simulator.Answer(request); };
  THandlePort device(terminal.Handle());
  const TSimulatorLine line(loop, device, answer, {.BaudRate = 115200, .Turnaround = 2ms});
  std::size_t size = 0;
  const auto begin = loop.Now();
  const auto watch = loop.NewWatch(port.Get(), [&](TReadiness) {
    std::array<std::uint8_t, 512> buffer{};
    const auto count = read(port.Get(), buffer.data(), buffer.size());
    ASSERT_GT(count, 0);
    size += static_cast<std::size_t>(count);
    EXPECT_GE(loop.Now() - begin, 2ms + (8 + static_cast<int>(size)) * 95486ns) << size;
  });
  watch->Want(TReadiness::rdRead);
  const Bytes request = FromHex(kLongQuestion);
  ASSERT_EQ(write(port.Get(), request.data(), request.size()), std::ssize(request));
  EXPECT_TRUE(loop.RunUntil([&] { return size == 45; }, 5s));
}

}  // namespace
}  // namespace OrvixModBus
