#include <poll.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "platform/loop/uHandleWait.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

bool Has(TReadiness set, TReadiness one) { return (set & one) != TReadiness::rdNone; }

short ToEvents(TReadiness want) {
  int events = 0;
  if (Has(want, TReadiness::rdRead)) events |= POLLIN;
  if (Has(want, TReadiness::rdWrite)) events |= POLLOUT;
  return static_cast<short>(events);
}

TReadiness FromEvents(short revents, TReadiness want) {
  if ((revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) return want;
  int ready = 0;
  if ((revents & POLLIN) != 0) ready |= static_cast<int>(TReadiness::rdRead);
  if ((revents & POLLOUT) != 0) ready |= static_cast<int>(TReadiness::rdWrite);
  return static_cast<TReadiness>(ready);
}

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr milliseconds kFar{100};
constexpr milliseconds kFarthest = std::chrono::hours(1);

int WaitExactly(std::vector<pollfd>& polled, nanoseconds timeout) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
  const timespec limit{static_cast<time_t>(seconds.count()),
                       static_cast<long>((timeout - seconds).count())};
  return ppoll(polled.data(), polled.size(), &limit, nullptr);
}

// A far deadline is waited for to the millisecond before it: poll() takes a fiftieth off a whole
// transaction on a fast link, since it tells nobody how much of the time is left.
int WaitFor(std::vector<pollfd>& polled, nanoseconds timeout) {
  if (timeout.count() >= 0 && timeout < kFar) return WaitExactly(polled, timeout);
  const auto limit = std::min(std::chrono::floor<milliseconds>(timeout), kFarthest);
  return poll(polled.data(), polled.size(),
              timeout.count() < 0 ? -1 : static_cast<int>(limit.count()));
}

}  // namespace

THandleWait::THandleWait() {
#ifdef __linux__
  // The kernel's default lets a sleeping thread wake 50 microseconds late: at 115200 baud that
  // is half a character after every silent interval.
  prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
#endif
}

void THandleWait::Wait(std::span<TWaitItem> items, std::chrono::nanoseconds timeout) {
  fPolled.clear();
  for (TWaitItem& item : items) {
    item.Ready = TReadiness::rdNone;
    // A handle from which nothing is wanted is left out: even its hang-up would end the wait.
    const bool wanted = item.Want != TReadiness::rdNone;
    fPolled.push_back({wanted ? item.Handle : -1, ToEvents(item.Want), 0});
  }
  const int ready = WaitFor(fPolled, timeout);
  if (ready < 0 && errno != EINTR) {
    throw Exception(std::string("Waiting for handles failed: ") + std::strerror(errno));
  }
  if (ready <= 0) return;
  for (std::size_t i = 0; i < items.size(); ++i) {
    items[i].Ready = FromEvents(fPolled[i].revents, items[i].Want);
  }
}

}  // namespace OrvixModBus
