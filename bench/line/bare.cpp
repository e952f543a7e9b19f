// The limit: prepared frames, a write, a wait and a read, and nothing else. With characters it
// sleeps until the reply can be whole, and keeps the silent interval.

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "bench/line/uMaster.h"
#include "platform/modbus/uRtuFrame.h"

namespace OrvixModBus {
namespace {

using TClock = std::chrono::steady_clock;
using TTime = TClock::time_point;

void Require(bool good, const char* what) {
  if (good) return;
  std::perror(what);
  std::exit(1);
}

int OpenPort(const std::string& path) {
  const int port = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  Require(port >= 0, path.c_str());
  termios mode{};
  Require(tcgetattr(port, &mode) == 0, "tcgetattr");
  cfmakeraw(&mode);
  mode.c_cc[VMIN] = 1;
  mode.c_cc[VTIME] = 0;
  Require(tcsetattr(port, TCSANOW, &mode) == 0, "tcsetattr");
  return port;
}

struct TLine {
  int Port = -1;
  bool Sent = false;
  bool Late = false;  // the reply was not whole when it could have been
  std::size_t Received = 0;
  TTime Due{};
};

class TBareMaster {
 public:
  explicit TBareMaster(const TMasterOptions& options)
      : fReplySize(ReplySize(options)),
        fSilence(SilentInterval(options)),
        fLines(options.Ports.size()),
        fPolled(fLines.size()),
        fMeasure(options) {
    FormFrame(RequestOf(options), fRequest);
    if (options.Silence != 0 && options.Paced) {
      fOnTheLine =
          CharacterTime(options.BaudRate) * static_cast<std::int64_t>(fRequest.size() + fReplySize);
    }
    for (std::size_t i = 0; i < fLines.size(); ++i) fLines[i].Port = OpenPort(options.Ports[i]);
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
  }

  void Run() {
    while (!fDone) {
      Sleep();
      const TTime now = TClock::now();
      for (std::size_t i = 0; i < fLines.size(); ++i) {
        TLine& line = fLines[i];
        if (line.Due <= now || (fPolled[i].revents & POLLIN) != 0) Advance(i);
      }
    }
  }

  // Without characters and silence: one line, no clock.
  void RunFree() {
    const int port = fLines[0].Port;
    do {
      Require(
          write(port, fRequest.data(), fRequest.size()) == static_cast<ssize_t>(fRequest.size()),
          "write");
      for (std::size_t received = 0; received < fReplySize;) {
        pollfd polled{port, POLLIN, 0};
        Require(poll(&polled, 1, 1000) == 1, "poll");
        received += Read(port);
      }
    } while (fMeasure.Completed(0));
  }

 private:
  static std::vector<std::uint8_t> RequestOf(const TMasterOptions& options) {
    std::vector<std::uint8_t> body = RequestPdu(options);
    body.insert(body.begin(), 1);
    return body;
  }

  std::size_t Read(int port) {
    const ssize_t count = read(port, fBuffer.data(), fBuffer.size());
    Require(count > 0, "read");
    return static_cast<std::size_t>(count);
  }

  void Sleep() {
    TTime due = TTime::max();
    for (std::size_t i = 0; i < fLines.size(); ++i) {
      const TLine& line = fLines[i];
      const bool wanted = line.Sent && line.Late;
      fPolled[i] = {wanted ? line.Port : -1, POLLIN, 0};
      due = std::min(due, wanted ? TTime::max() : line.Due);
    }
    timespec limit{1, 0};
    if (due != TTime::max()) {
      const auto rest = std::clamp<std::chrono::nanoseconds>(due - TClock::now(), {},
                                                             std::chrono::milliseconds(999));
      limit = {0, static_cast<long>(rest.count())};
    }
    Require(ppoll(fPolled.data(), fPolled.size(), &limit, nullptr) >= 0, "ppoll");
  }

  void Advance(std::size_t index) {
    TLine& line = fLines[index];
    if (!line.Sent) return Send(line);
    const ssize_t count = read(line.Port, fBuffer.data(), fBuffer.size());
    if (count > 0) line.Received += static_cast<std::size_t>(count);
    line.Late = true;
    if (line.Received < fReplySize) return;
    line.Sent = line.Late = false;
    line.Due = TClock::now() + fSilence;
    if (!fMeasure.Completed(index)) fDone = true;
  }

  void Send(TLine& line) {
    Require(
        write(line.Port, fRequest.data(), fRequest.size()) == static_cast<ssize_t>(fRequest.size()),
        "write");
    line.Sent = true;
    line.Late = fOnTheLine.count() == 0;
    line.Received = 0;
    line.Due = line.Late ? TTime::max() : TClock::now() + fOnTheLine;
  }

  std::vector<std::uint8_t> fRequest;
  const std::size_t fReplySize;
  const std::chrono::nanoseconds fSilence;
  std::chrono::nanoseconds fOnTheLine{};  // request and reply; 0 = not waited for
  std::vector<TLine> fLines;
  std::vector<pollfd> fPolled;
  std::array<std::uint8_t, 512> fBuffer{};
  bool fDone = false;
  TMeasure fMeasure;
};

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) {
  using namespace OrvixModBus;
  const TMasterOptions options = ReadOptions(argc, argv);
  TBareMaster master(options);
  if (options.Silence == 0) {
    master.RunFree();
  } else {
    master.Run();
  }
}
