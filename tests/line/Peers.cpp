#include "Peers.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <sstream>

#include "platform/loop/uLoop.h"
#include "platform/rtl/uException.h"

extern char** environ;

namespace OrvixModBus {
namespace {

constexpr auto kLimit = std::chrono::seconds(30);

// Moves what has arrived at one end to the other.
void Pass(int from, int to) {
  std::array<char, 4096> buffer;
  const ssize_t count = read(from, buffer.data(), buffer.size());
  for (ssize_t done = 0; done < count;) {
    const ssize_t written = write(to, buffer.data() + done, static_cast<std::size_t>(count - done));
    if (written < 0 && errno != EINTR && errno != EAGAIN) return;
    if (written > 0) done += written;
  }
}

// One end of a socket for this program, the other for the one that it starts; a socket, because
// writing to a program that has ended must not end this one.
std::array<int, 2> NewTalk() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    ThrowSystemError("no socket");
  }
  return ends;
}

// Closes talk, which becomes the program's standard input and output.
pid_t Spawn(const std::vector<std::string>& command, int talk) {
  const TOwnedHandle theirs(talk, "no socket");
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, talk, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, talk, STDOUT_FILENO);
  pid_t process = -1;
  const int failed =
      posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw Exception("can't start " + command[0]);
  return process;
}

std::vector<std::string> CommandOf(const TPeerKind& kind, const std::string& port) {
  auto command = kind.Command;
  command.push_back(port);
  command.push_back(std::to_string(TPeerLine::kServer));
  return command;
}

}  // namespace

TCable::TCable() : fCarrier([this] { Carry(); }) {}

TCable::~TCable() {
  fEnd.Wake();
  fCarrier.join();
}

void TCable::Carry() {
  std::array<pollfd, 3> ends{
      {{fA.Handle(), POLLIN, 0}, {fB.Handle(), POLLIN, 0}, {fEnd.ReadEnd(), POLLIN, 0}}};
  for (;;) {
    if (poll(ends.data(), ends.size(), -1) < 0) continue;
    if (ends[2].revents != 0) return;
    if (ends[0].revents != 0) Pass(fA.Handle(), fB.Handle());
    if (ends[1].revents != 0) Pass(fB.Handle(), fA.Handle());
  }
}

TPeerProgram::TPeerProgram(const std::vector<std::string>& command)
    : TPeerProgram(command, NewTalk()) {}

TPeerProgram::TPeerProgram(const std::vector<std::string>& command, std::array<int, 2> talk)
    : fName(command.front()), fTalk(talk[0], "no socket"), fProcess(Spawn(command, talk[1])) {
  while (ReadLine() != "ready") continue;
}

TPeerProgram::TProcess::~TProcess() {
  kill(fId, SIGKILL);
  waitpid(fId, nullptr, 0);
}

std::string TPeerProgram::Ask(const std::string& question) {
  const std::string line = question + "\n";
  const ssize_t sent = send(fTalk.Get(), line.data(), line.size(), MSG_NOSIGNAL);
  if (sent != static_cast<ssize_t>(line.size())) throw Exception(fName + " can't be asked");
  return ReadLine();
}

std::string TPeerProgram::ReadLine() {
  const auto limit = std::chrono::steady_clock::now() + kLimit;
  std::size_t end;
  while ((end = fSaid.find('\n')) == std::string::npos) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        limit - std::chrono::steady_clock::now());
    pollfd waited{fTalk.Get(), POLLIN, 0};
    if (left.count() <= 0 || poll(&waited, 1, static_cast<int>(left.count())) <= 0) {
      throw Exception(fName + " says no line within 30 seconds; it said: " + fSaid);
    }
    std::array<char, 4096> buffer;
    const ssize_t count = read(fTalk.Get(), buffer.data(), buffer.size());
    if (count <= 0) throw Exception(fName + " has ended; it said: " + fSaid);
    fSaid.append(buffer.data(), static_cast<std::size_t>(count));
  }
  const std::string line = fSaid.substr(0, end);
  fSaid.erase(0, end + 1);
  return line;
}

TPeerLine::TPeerLine(const TPeerKind& kind) : Peer(CommandOf(kind, Cable.PathB())) {
  Line.SetPortProperty(Cable.PathA());
  Line.SetBaudRate(115200);
  Line.SetParity(TParityScheme::psNone);
  Line.SetReceiveTimeout(5000);
  Line.SetMaxRetries(0);
  Line.SetActive(true);
  Connection.SetRTU(&Line);
  Client.SetConnection(&Connection);
  Client.SetAdres(kServer);
}

std::vector<int> TPeerLine::Ask(const std::string& table, std::uint32_t first,
                                std::uint32_t count) {
  std::istringstream answer(
      Peer.Ask(table + " " + std::to_string(first) + " " + std::to_string(count)));
  std::vector<int> cells;
  for (int cell = 0; answer >> cell;) cells.push_back(cell);
  return cells;
}

bool TPeerLine::RunDry() {
  return TLoop::Current().RunUntil([this] { return Client.CountPendingTransactions() == 0; },
                                   kLimit);
}

std::vector<TPeerKind> PeerKinds() {
  return {{"Libmodbus", {ORVIX_LIBMODBUS_SERVER}},
          {"Pymodbus", {ORVIX_PYTHON, ORVIX_SOURCE_DIR "/tests/line/peers/pymodbus_server.py"}}};
}

}  // namespace OrvixModBus
