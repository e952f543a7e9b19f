// Transactions per second over a pseudo-terminal against libmodbus: the same server program, both
// masters in turn, master and server on one processor so that the scheduler's placement does not
// decide. Prints also the system calls and heap allocations of one transaction of ours.

#include <modbus.h>
#include <poll.h>
#include <sched.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "tools/simulator/uPseudoTerminal.h"
#include "tools/simulator/uSimulatorThread.h"
#include "uMBRTU.h"

// What the calling thread has asked of the system and of the heap. The functions below stand in
// front of the C library's for this program and for the shared libraries that it uses.
namespace {
thread_local long systemCalls = 0;
thread_local long allocations = 0;

template <class... TArgs>
long Call(long number, TArgs... args) {
  ++systemCalls;
  return syscall(number, args...);
}
}  // namespace

extern "C" {
ssize_t read(int handle, void* buffer, size_t size) { return Call(SYS_read, handle, buffer, size); }
ssize_t write(int handle, const void* buffer, size_t size) {
  return Call(SYS_write, handle, buffer, size);
}
int ppoll(pollfd* handles, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  timespec rest = timeout != nullptr ? *timeout : timespec{};  // the system call changes it
  return static_cast<int>(
      Call(SYS_ppoll, handles, count, timeout != nullptr ? &rest : nullptr, mask, std::size_t{8}));
}
int select(int count, fd_set* reads, fd_set* writes, fd_set* errors, timeval* timeout) {
  return static_cast<int>(Call(SYS_select, count, reads, writes, errors, timeout));
}
}

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kServer = 1;
constexpr int kTransactions = 4000;
constexpr int kRounds = 9;

using TClock = std::chrono::steady_clock;

double PerSecond(TClock::duration time) {
  return kTransactions / std::chrono::duration<double>(time).count();
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

struct TOurs {
  double PerSecond = 0, SystemCalls = 0, Allocations = 0;
};

// Each completion queues the next request, as a program that polls would.
class TOurMaster {
 public:
  TOurMaster(const std::string& port, std::uint8_t count) : fRequest{0, 0, 0, count} {
    fLine.SetPortProperty(port);
    fLine.SetSilentInterval(0);  // a pseudo-terminal has no characters
    fLine.SetActive(true);
    fClient.SetConnection(&fLine);
    fClient.SetServerAddress(kServer);
    fClient.OnCustomTransactionComplete = {this, &TOurMaster::Complete};
  }

  TOurs Measure() {
    Exchange(kTransactions / 4);  // warm up
    const long calls = systemCalls, news = allocations;
    const auto start = TClock::now();
    Exchange(kTransactions);
    TOurs result;
    result.PerSecond = PerSecond(TClock::now() - start);
    result.SystemCalls = static_cast<double>(systemCalls - calls) / kTransactions;
    result.Allocations = static_cast<double>(allocations - news) / kTransactions;
    return result;
  }

 private:
  void Exchange(int count) {
    fLeft = count;
    Request();
    TLoop::Current().RunUntil([this] { return fLeft == 0; }, std::chrono::minutes(1));
    if (fLeft != 0) throw Exception("the line stands still");
  }
  void Request() { fClient.InitCustomTransaction(0x03, fRequest, false, nullptr); }
  void Complete(TModbusClient&, TModbusTransaction& transaction, std::uint8_t) {
    if (transaction.ServerReply() != TServerReply::srNormalReply) throw Exception("a bad reply");
    if (--fLeft > 0) Request();
  }

  TModbusConnection fLine;
  TModbusClient fClient;
  std::array<std::uint8_t, 4> fRequest;
  int fLeft = 0;
};

double MeasureLibmodbus(const std::string& port, int count) {
  modbus_t* line = modbus_new_rtu(port.c_str(), 115200, 'N', 8, 1);
  if (line == nullptr || modbus_set_slave(line, kServer) != 0 || modbus_connect(line) != 0) {
    throw Exception("libmodbus can't open the port");
  }
  std::array<std::uint16_t, 125> values;
  const auto exchange = [&](int transactions) {
    for (int i = 0; i < transactions; ++i) {
      if (modbus_read_registers(line, 0, count, values.data()) != count) {
        throw Exception("libmodbus got a bad reply");
      }
    }
  };
  exchange(kTransactions / 4);
  const auto start = TClock::now();
  exchange(kTransactions);
  const double result = PerSecond(TClock::now() - start);
  modbus_close(line);
  modbus_free(line);
  return result;
}

void Compare(const std::string& port, std::uint8_t count) {
  std::vector<double> ours, theirs, ratios;
  TOurs last;
  for (int round = 0; round < kRounds; ++round) {
    last = TOurMaster(port, count).Measure();
    ours.push_back(last.PerSecond);
    theirs.push_back(MeasureLibmodbus(port, count));
    ratios.push_back(ours.back() / theirs.back());
  }
  const auto [least, most] = std::ranges::minmax(ratios);
  std::printf("$03 x %-4u %9.0f %11.0f    %5.2f (%.2f to %.2f) %10.2f %14.3f\n", count,
              Median(ours), Median(theirs), Median(ratios), least, most, last.SystemCalls,
              last.Allocations);
}

void Run() {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(0, &one);
  sched_setaffinity(0, sizeof one, &one);
  TSimulator simulator;
  simulator.Device(kServer).Holding.Set(0, std::vector<std::uint32_t>(125, 0x1234));
  TPseudoTerminal terminal;
  TSimulatorThread thread(simulator, terminal.Handle());
  std::printf("Transactions per second, medians of %d rounds of %d, both masters in turn\n\n",
              kRounds, kTransactions);
  std::printf(
      "request       ours   libmodbus    ratio (least to most)  "
      "sys.calls/tx  allocations/tx\n");
  for (const std::uint8_t count : {std::uint8_t{1}, std::uint8_t{10}, std::uint8_t{125}}) {
    Compare(terminal.Path(), count);
  }
}

}  // namespace
}  // namespace OrvixModBus

int main() {
  try {
    OrvixModBus::Run();
  } catch (const OrvixModBus::Exception& error) {
    std::fprintf(stderr, "bench_line: %s\n", error.what());
    return 1;
  }
}
