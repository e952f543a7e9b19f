// Every system call of a port and its loop fails once, in every way: somebody is told, and the
// line works again.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "tests/src/uTestRegs.h"
#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uSimulatorThread.h"
#include "uFailingCalls.h"
#include "uMBLetters.h"
#include "uWalk.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 30s;

int OpenHandles() {
  const std::filesystem::directory_iterator handles("/proc/self/fd");
  return static_cast<int>(std::distance(begin(handles), end(handles)));
}

class TRealLine {
 public:
  TRealLine() : fThread(Prepared(fSimulator), fTerminal.Handle()) {
    fLine.SetPortProperty(fTerminal.Path());
    fLine.SetSilentInterval(0);
    fLine.SetMaxRetries(0);
    fLine.SetReceiveTimeout(1000);  // a busy machine answers late
    fLine.SetReconnectInterval(10);
    fConnection.SetRTU(&fLine);
    fClient.SetConnection(&fConnection);
    fLetter.SetClient(&fClient);
    AddReg(fLetter.Regs(), {"A", 10});
    AddReg(fLetter.Regs(), {"Far", 100, 60, 0x03, 2, 0x10});
    fLetter.OnReadAllRegs = [this](TMBLetter&) { ++fRead; };
    fLetter.OnWriteAllRegs = [this](TMBLetter&) { ++fWritten; };
    fLine.OnPortLost = [this](TModbusConnection&, const std::string&) { ++fFaults; };
    fClient.OnNoneAnswer = [this](TMBClient&, TServerReply, std::uint8_t, std::uint32_t) {
      ++fFaults;
    };
    fClient.OnExeptionAnswer = fClient.OnNoneAnswer;
  }

  void Run() {
    fRead = fWritten = fFaults = 0;
    fLetter.Regs().ClearRegsData();
    fLine.SetActive(true);
    fLetter.ReadAllRegs();
    RunDry();
    // On purpose what is asked of a line without a port is waited for and never answered.
    if (fLine.Active()) fLetter.WriteAllRegs();
    RunDry();
    fLine.SetActive(false);
  }
  bool IsDone() {
    return fRead == 1 && fWritten >= 1 && fFaults == 0 &&
           fLetter.Regs().GetItem(0)->Data() == Bytes{0, 10} &&
           fLetter.Regs().GetItem(1)->GetData(119) == 159 && !fLine.Active();
  }
  bool WasTold() const { return fFaults > 0; }

  // Whatever went wrong, it goes on until nothing is under way.
  void CheckAfterFailure() {
    for (int i = 0; i < 3; ++i) {
      try {
        RunDry();
        break;
      } catch (const Exception&) {
      }
    }
    EXPECT_EQ(fLine.CountPendingTransactions(nullptr), 0);
    EXPECT_TRUE(fLetter.ChekAllRegsResive());
    fLine.SetActive(false);
  }

 private:
  static TSimulator& Prepared(TSimulator& simulator) {
    std::vector<std::uint32_t> ramp(200);
    for (std::uint32_t i = 0; i < 200; ++i) ramp[i] = i;
    simulator.Device(1).Holding.Set(0, ramp);
    return simulator;
  }
  void RunDry() {
    const bool dry = TLoop::Current().RunUntil(
        [this] { return fLine.CountPendingTransactions(nullptr) == 0; }, kPatience);
    EXPECT_TRUE(dry) << "the queue stands still";
  }

  TSimulator fSimulator;
  TPseudoTerminal fTerminal;
  TSimulatorThread fThread;
  TMBRTUConnection fLine;
  TMBConnection fConnection;
  TMBClient fClient;
  TMBLetter fLetter;
  int fRead = 0, fWritten = 0, fFaults = 0;
};

// The number-th call is hit; false when there are not so many.
bool HitOne(TRealLine& line, ECall call, const TCallFault& fault, std::uint64_t number) {
  FailCall(call, number, fault);
  const TRunEnd end = RunFailing([&] { line.Run(); });
  const bool hit = StopFailingCalls();
  EXPECT_TRUE(end.Threw || line.WasTold() || line.IsDone()) << "nobody was told";
  EXPECT_TRUE(!end.Threw || end.Message.size() > 10) << end.Message;
  line.CheckAfterFailure();
  EXPECT_NO_THROW(line.Run());
  EXPECT_TRUE(line.IsDone());
  return hit;
}

class TFailingCalls : public testing::TestWithParam<ECall> {};

TEST_P(TFailingCalls, LeaveAWorkingLine) {
  const ECall call = GetParam();
  std::vector<TCallFault> faults{{EINTR}, {EAGAIN}, {EIO}};
  if (call == ECall::Read || call == ECall::Write) faults.push_back({TCallFault::kShort});
  TRealLine line;
  line.Run();
  ASSERT_TRUE(line.IsDone());
  const int handles = OpenHandles();
  for (const TCallFault& fault : faults) {
    std::uint64_t number = 0;
    do {
      ++number;
      SCOPED_TRACE(testing::Message()
                   << NameOf(call) << " number " << number << ", error " << fault.Error);
      ASSERT_LT(number, 1000u);
      if (!HitOne(line, call, fault, number)) break;
    } while (!HasFailure());
    EXPECT_GT(number, 1u) << "there was no such call";
    RecordProperty("calls", std::to_string(number - 1));
    if (HasFailure()) return;
  }
  EXPECT_EQ(OpenHandles(), handles);
}

INSTANTIATE_TEST_SUITE_P(SystemCalls, TFailingCalls, testing::ValuesIn(kCalls),
                         [](const auto& call) { return std::string(NameOf(call.param)); });

}  // namespace
}  // namespace OrvixModBus
