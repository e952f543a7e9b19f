#pragma once
// uPipe: a pipe whose ends are watched by tests.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace OrvixModBus {

/// A pipe that never blocks. Its ends are closed with it.
class TPipe {
 public:
  TPipe() {
    if (pipe2(fEnds.data(), O_NONBLOCK | O_CLOEXEC) != 0) ADD_FAILURE() << "No pipe";
  }
  TPipe(const TPipe&) = delete;
  TPipe& operator=(const TPipe&) = delete;
  ~TPipe() {
    CloseReadEnd();
    CloseWriteEnd();
  }

  int ReadEnd() const { return fEnds[0]; }
  int WriteEnd() const { return fEnds[1]; }
  void CloseReadEnd() { Close(fEnds[0]); }
  void CloseWriteEnd() { Close(fEnds[1]); }

  void Put(char c) const { EXPECT_EQ(write(WriteEnd(), &c, 1), 1); }
  /// The next byte; 0 when there is none.
  char Take() const {
    char c = 0;
    return read(ReadEnd(), &c, 1) == 1 ? c : '\0';
  }
  void Fill() const {
    const std::array<char, 4096> block{};
    while (write(WriteEnd(), block.data(), block.size()) > 0) {
    }
  }
  void Drain() const {
    std::array<char, 4096> block{};
    while (read(ReadEnd(), block.data(), block.size()) > 0) {
    }
  }

 private:
  static void Close(int& end) {
    if (end >= 0) close(std::exchange(end, -1));
  }

  std::array<int, 2> fEnds{-1, -1};
};

}  // namespace OrvixModBus
