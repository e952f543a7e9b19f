#pragma once
// ProcessorTime: what a thread has used of the processor.

#include <sys/resource.h>

#include <chrono>

namespace OrvixModBus {

inline std::chrono::microseconds ProcessorTimeOfThisThread() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  const auto of = [](const timeval& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
  };
  return of(usage.ru_utime) + of(usage.ru_stime);
}

}  // namespace OrvixModBus
