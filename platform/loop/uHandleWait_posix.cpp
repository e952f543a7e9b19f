#include <poll.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

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
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
  const timespec limit{static_cast<time_t>(seconds.count()),
                       static_cast<long>((timeout - seconds).count())};
  const int ready =
      ppoll(fPolled.data(), fPolled.size(), timeout.count() < 0 ? nullptr : &limit, nullptr);
  if (ready < 0 && errno != EINTR) {
    throw Exception(std::string("Waiting for handles failed: ") + std::strerror(errno));
  }
  if (ready <= 0) return;
  for (std::size_t i = 0; i < items.size(); ++i) {
    items[i].Ready = FromEvents(fPolled[i].revents, items[i].Want);
  }
}

}  // namespace OrvixModBus
