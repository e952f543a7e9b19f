#include "platform/rtl/uBeep.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace OrvixModBus {
namespace {

/// Standard error is another handle for as long as this lives.
class TErrorsTo {
 public:
  explicit TErrorsTo(int handle) : fBefore(dup(STDERR_FILENO)) { dup2(handle, STDERR_FILENO); }
  TErrorsTo(const TErrorsTo&) = delete;
  TErrorsTo& operator=(const TErrorsTo&) = delete;
  ~TErrorsTo() {
    dup2(fBefore, STDERR_FILENO);
    close(fBefore);
  }

 private:
  int fBefore;
};

/// What has arrived at handle, after waiting for the first of it as long as told.
std::string Arrived(int handle, int milliseconds) {
  pollfd waited{handle, POLLIN, 0};
  if (poll(&waited, 1, milliseconds) != 1) return {};
  char bytes[16];
  const ssize_t count = read(handle, bytes, sizeof bytes);
  return count > 0 ? std::string(bytes, static_cast<std::size_t>(count)) : std::string();
}

class Beeping : public testing::Test {
 protected:
  ~Beeping() override { SetBeep({}); }
};

TEST_F(Beeping, RingsTheBellOfTheTerminalOnStandardError) {
  const int far = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(far, 0);
  char name[64];
  ASSERT_TRUE(grantpt(far) == 0 && unlockpt(far) == 0 && ptsname_r(far, name, sizeof name) == 0);
  const int terminal = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(terminal, 0);
  {
    const TErrorsTo errors(terminal);
    Beep();
  }
  EXPECT_EQ(Arrived(far, 5000), "\a");
  close(terminal);
  close(far);
}

TEST_F(Beeping, IsSilentWhereStandardErrorIsNoTerminal) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  {
    const TErrorsTo errors(ends[1]);
    Beep();
  }
  EXPECT_EQ(Arrived(ends[0], 0), "");
  close(ends[0]);
  close(ends[1]);
}

TEST_F(Beeping, IsTakenOverByTheApplicationUntilGivenBack) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  int beeps = 0;
  SetBeep([&] { ++beeps; });
  Beep();
  Beep();
  EXPECT_EQ(beeps, 2);
  SetBeep({});
  {
    const TErrorsTo errors(ends[1]);
    Beep();
  }
  EXPECT_EQ(beeps, 2);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(Beeping, MayBeGivenBackByTheOneThatTookItOver) {
  const std::string word = "a text that is too long to be kept inside the object that holds it";
  std::string said;
  SetBeep([&said, word] {
    SetBeep([] {});
    said = word;  // what the first one holds is still there
  });
  Beep();
  Beep();
  EXPECT_EQ(said, word);
}

}  // namespace
}  // namespace OrvixModBus
