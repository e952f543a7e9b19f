// The server that all masters are measured against, on pseudo-terminals: as fast as the machine, or
// at the pace of a serial line. Prints the paths of its terminals, a line each, and when its
// standard input ends what it saw, as JSON. Values change with every reply.

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <queue>
#include <thread>

#include "platform/modbus/uRtuFrame.h"
#include "tools/simulator/uPseudoTerminal.h"

namespace OrvixModBus {
namespace {

using TClock = std::chrono::steady_clock;
using TTime = TClock::time_point;
using std::chrono::nanoseconds;

struct TOptions {
  int Ports = 1;
  int BaudRate = 0;        // 0 = as fast as the machine, one port
  int Turnaround = 0;      // microseconds
  int Silence = 0;         // microseconds that a request must keep from the reply before it
  std::size_t Burst = 16;  // characters that come at once, as from a port's buffer
};

std::atomic<std::uint64_t> requests = 0, early = 0;

// ---- replies ------------------------------------------------------------------------------------

// How long the request is; 0 while it can't be told.
std::size_t RequestSize(const Bytes& received) {
  if (received.size() < 8) return 0;
  return received[1] == 16 ? std::size_t{9} + received[6] : 8;
}

int WordAt(const Bytes& frame, std::size_t index) { return frame[index] << 8 | frame[index + 1]; }

Bytes FormReply(const Bytes& request, int change) {
  Bytes body(request.begin(), request.begin() + 2);
  if (request[1] == 3) {
    body.push_back(static_cast<std::uint8_t>(2 * WordAt(request, 4)));
    for (int i = 0; i < WordAt(request, 4); ++i) {
      const int value = (WordAt(request, 2) + i) * 7 + change;
      body.push_back(static_cast<std::uint8_t>(value >> 8 & 0x7F));
      body.push_back(static_cast<std::uint8_t>(value & 0xFF));
    }
  } else if (request[1] == 1) {
    const int size = (WordAt(request, 4) + 7) / 8;
    body.push_back(static_cast<std::uint8_t>(size));
    for (int i = 0; i < size; ++i) body.push_back(static_cast<std::uint8_t>(i + change));
  } else {
    body.insert(body.end(), request.begin() + 2, request.begin() + 6);
  }
  Bytes frame;
  FormFrame(body, frame);
  return frame;
}

// Replies are made once for each request, two of them, which take turns.
class TReplies {
 public:
  const Bytes& To(const Bytes& request) {
    if (request != fLast) {
      fLast = request;
      fPair = &fKnown[request];
      if ((*fPair)[0].empty()) *fPair = {FormReply(request, 0), FormReply(request, 1)};
    }
    fTurn = !fTurn;
    return (*fPair)[fTurn ? 1 : 0];
  }

 private:
  std::map<Bytes, std::array<Bytes, 2>> fKnown;
  std::array<Bytes, 2>* fPair = nullptr;
  Bytes fLast;
  bool fTurn = false;
};

[[noreturn]] void Fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

// ---- as fast as the machine ---------------------------------------------------------------------

void ServeFree(int port) {
  TReplies replies;
  Bytes received;
  std::array<std::uint8_t, 512> buffer{};
  for (;;) {
    const ssize_t count = read(port, buffer.data(), buffer.size());
    if (count <= 0) Fail("read");
    received.insert(received.end(), buffer.begin(), buffer.begin() + count);
    const std::size_t size = RequestSize(received);
    if (size == 0 || received.size() < size) continue;
    received.resize(size);
    const Bytes& reply = replies.To(received);
    received.clear();
    ++requests;
    if (write(port, reply.data(), reply.size()) < 0) Fail("write");
  }
}

// ---- at the pace of a line ----------------------------------------------------------------------

// One that spins, so that its own lateness is that of the processor and not that of the scheduler.
class TPacedServer {
 public:
  TPacedServer(const TOptions& options, const std::vector<std::unique_ptr<TPseudoTerminal>>& ports)
      : fOptions(options), fCharacter(11'000'000'000 / options.BaudRate), fLines(ports.size()) {
    for (std::size_t i = 0; i < ports.size(); ++i) {
      fLines[i].Port = ports[i]->Handle();
      if (fcntl(fLines[i].Port, F_SETFL, O_NONBLOCK) != 0) Fail("fcntl");
      epoll_event event{EPOLLIN, {.u64 = i}};
      if (epoll_ctl(fPoll, EPOLL_CTL_ADD, fLines[i].Port, &event) != 0) Fail("epoll_ctl");
    }
  }

  void Run() {
    for (TTime polled{};;) {
      const TTime now = TClock::now();
      if (!fDue.empty() && fDue.top().first <= now) {
        const std::size_t line = fDue.top().second;
        fDue.pop();
        Act(fLines[line], line);
      } else if (now >= polled + kPollInterval) {
        ReceiveAll();
        polled = TClock::now();
      } else {
        Pause();
      }
    }
  }

 private:
  struct TLine {
    int Port = -1;
    Bytes Received;
    TTime ReceivedEnd{};  // when the last character of it has passed
    Bytes Reply;
    std::size_t Sent = 0;
    TTime ReplyBegin{}, ReplyEnd{};
    TReplies Replies;
  };

  // The other core may be the same one's second thread, which a busy kernel would slow down.
  static constexpr std::chrono::microseconds kPollInterval{4};

  static void Pause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
  }

  void ReceiveAll() {
    std::array<epoll_event, 64> events{};
    const int ready = epoll_wait(fPoll, events.data(), static_cast<int>(events.size()), 0);
    for (int i = 0; i < ready; ++i) Receive(events[static_cast<std::size_t>(i)].data.u64);
  }

  nanoseconds TimeOf(std::size_t characters) const {
    return fCharacter * static_cast<std::int64_t>(characters);
  }

  void Receive(std::size_t index) {
    TLine& line = fLines[index];
    std::array<std::uint8_t, 512> buffer{};
    const ssize_t count = read(line.Port, buffer.data(), buffer.size());
    if (count <= 0) return;
    const TTime now = TClock::now();
    if (line.Received.empty() &&
        now < line.ReplyEnd + std::chrono::microseconds(fOptions.Silence)) {
      ++early;
    }
    line.Received.insert(line.Received.end(), buffer.begin(), buffer.begin() + count);
    line.ReceivedEnd = std::max(line.ReceivedEnd, now) + TimeOf(static_cast<std::size_t>(count));
    const std::size_t size = RequestSize(line.Received);
    if (size == 0 || line.Received.size() < size) return;
    line.Received.resize(size);
    line.Reply = line.Replies.To(line.Received);
    line.Received.clear();
    line.Sent = 0;
    line.ReplyBegin = line.ReceivedEnd + std::chrono::microseconds(fOptions.Turnaround);
    line.ReplyEnd = line.ReplyBegin + TimeOf(line.Reply.size());
    ++requests;
    Plan(line, index);
  }

  std::size_t NextBurst(const TLine& line) const {
    return std::min(fOptions.Burst, line.Reply.size() - line.Sent);
  }

  // A burst is there when its last character is.
  void Plan(const TLine& line, std::size_t index) {
    fDue.push({line.ReplyBegin + TimeOf(line.Sent + NextBurst(line)), index});
  }

  void Act(TLine& line, std::size_t index) {
    const std::size_t size = NextBurst(line);
    if (write(line.Port, line.Reply.data() + line.Sent, size) != static_cast<ssize_t>(size)) {
      Fail("write");
    }
    line.Sent += size;
    if (line.Sent < line.Reply.size()) Plan(line, index);
  }

  using TDue = std::pair<TTime, std::size_t>;

  const TOptions fOptions;
  const nanoseconds fCharacter;
  const int fPoll = epoll_create1(0);
  std::vector<TLine> fLines;
  std::priority_queue<TDue, std::vector<TDue>, std::greater<>> fDue;
};

// ---- the program --------------------------------------------------------------------------------

void ReportAtEndOfInput() {
  while (std::getchar() != EOF) continue;
  std::printf("{\"requests\": %llu, \"early\": %llu}\n",
              static_cast<unsigned long long>(requests.load()),
              static_cast<unsigned long long>(early.load()));
  std::fflush(stdout);
  std::_Exit(0);
}

void Run(const TOptions& options) {
  std::vector<std::unique_ptr<TPseudoTerminal>> ports;
  for (int i = 0; i < options.Ports; ++i) {
    ports.push_back(std::make_unique<TPseudoTerminal>());
    std::puts(ports.back()->Path().c_str());
  }
  std::fflush(stdout);
  std::thread(ReportAtEndOfInput).detach();
  if (options.BaudRate == 0) {
    ServeFree(ports[0]->Handle());
  } else {
    TPacedServer(options, ports).Run();
  }
}

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) {
  OrvixModBus::TOptions options;
  CLI::App app("A server for masters to be measured against.");
  app.add_option("--ports", options.Ports)->check(CLI::PositiveNumber);
  app.add_option("--baud", options.BaudRate, "0 = as fast as the machine, one port")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--turnaround", options.Turnaround, "Microseconds");
  app.add_option("--silence", options.Silence, "Microseconds; requests before that are early");
  app.add_option("--burst", options.Burst, "Characters")->check(CLI::PositiveNumber);
  CLI11_PARSE(app, argc, argv);
  try {
    OrvixModBus::Run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "slave: %s\n", error.what());
    return 1;
  }
}
