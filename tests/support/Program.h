#pragma once
// Program: a program that a test starts, and what it prints.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "tools/simulator/uOwnedHandle.h"

namespace OrvixModBus {

/// What comes, until `enough` says so or nothing more comes for ten seconds.
template <typename TEnough>
std::string ReadUntil(THandle handle, const TEnough& enough) {
  constexpr int kPatience = 10000;  // ms
  std::string text;
  std::array<char, 4096> buffer{};
  pollfd polled{handle, POLLIN, 0};
  while (!enough(text) && poll(&polled, 1, kPatience) > 0) {
    const auto count = read(handle, buffer.data(), buffer.size());
    if (count <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

/// A program, run with these arguments; killed when it is still there at the end. Both its outputs
/// are one.
class TProgram {
 public:
  TProgram(const std::string& path, const std::vector<std::string>& arguments)
      : TProgram(MakePipe(), path, arguments) {}
  TProgram(const TProgram&) = delete;
  TProgram& operator=(const TProgram&) = delete;
  ~TProgram() { End(SIGKILL); }

  /// The next line of what it prints, without its end.
  std::string Line() {
    const auto whole = [](const std::string& text) { return text.find('\n') != text.npos; };
    if (!whole(fPrinted)) fPrinted += ReadUntil(fOutput.Get(), whole);
    const auto end = std::min(fPrinted.find('\n'), fPrinted.size());
    const std::string line = fPrinted.substr(0, end);
    fPrinted.erase(0, end + 1);
    return line;
  }
  /// All that it prints until it ends.
  std::string Rest() {
    return fPrinted + ReadUntil(fOutput.Get(), [](const std::string&) { return false; });
  }
  /// Sends a signal, 0 for none, and returns the exit status, -1 when it was killed by the signal.
  int End(int signal) {
    if (fId <= 0) return -1;
    int status = 0;
    kill(fId, signal);
    waitpid(std::exchange(fId, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  static std::pair<THandle, THandle> MakePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) ThrowSystemError("No pipe");
    return {ends[0], ends[1]};
  }

  TProgram(std::pair<THandle, THandle> pipe, const std::string& path,
           std::vector<std::string> arguments)
      : fOutput(pipe.first, "pipe") {
    const TOwnedHandle writeEnd(pipe.second, "pipe");
    arguments.insert(arguments.begin(), path);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, writeEnd.Get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, writeEnd.Get(), STDERR_FILENO);
    EXPECT_EQ(posix_spawn(&fId, path.c_str(), &actions, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
  }

  TOwnedHandle fOutput;
  std::string fPrinted;
  pid_t fId = 0;
};

}  // namespace OrvixModBus
