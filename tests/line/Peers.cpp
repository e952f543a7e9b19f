#include "Peers.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

#include "platform/rtl/uException.h"

extern char** environ;

namespace OrvixModBus {
namespace {

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

void WaitForReady(int output, const std::string& program) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  std::string said;
  while (said.find("ready") == std::string::npos) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        limit - std::chrono::steady_clock::now());
    pollfd waited{output, POLLIN, 0};
    if (left.count() <= 0 || poll(&waited, 1, static_cast<int>(left.count())) <= 0) {
      throw Exception(program + " is not ready after 30 seconds; it said: " + said);
    }
    std::array<char, 256> buffer;
    const ssize_t count = read(output, buffer.data(), buffer.size());
    if (count <= 0) throw Exception(program + " ended before it was ready; it said: " + said);
    said.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

pid_t Spawn(const std::vector<std::string>& command, int output) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t process = -1;
  const int failed =
      posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw Exception("can't start " + command[0]);
  return process;
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

TPeerProgram::TPeerProgram(const std::vector<std::string>& command) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw Exception("no pipe");
  fProcess = Spawn(command, ends[1]);
  close(ends[1]);
  try {
    WaitForReady(ends[0], command.back());
  } catch (...) {
    close(ends[0]);
    kill(fProcess, SIGKILL);
    waitpid(fProcess, nullptr, 0);
    throw;
  }
  close(ends[0]);
}

TPeerProgram::~TPeerProgram() {
  kill(fProcess, SIGKILL);
  waitpid(fProcess, nullptr, 0);
}

std::vector<TPeerKind> PeerKinds() {
  return {{"Libmodbus", {ORVIX_LIBMODBUS_SERVER}},
          {"Pymodbus", {ORVIX_PYTHON, ORVIX_SOURCE_DIR "/tests/line/peers/pymodbus_server.py"}}};
}

}  // namespace OrvixModBus
