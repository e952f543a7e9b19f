// What a program that polls for years must not do: use the processor while idle, or grow.

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
// g++ brings the function, but not the header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

#include "platform/loop/uSystemLoop.h"
#include "tests/line/SimulatedLine.h"
#include "tests/timing/ProcessorTime.h"

namespace OrvixModBus {
namespace {

TEST(IdleProgram, AnOpenPortUsesNoProcessorTime) {
  TSystemLoop loop;
  TLoop* const former = TLoop::SetCurrent(&loop);
  {
    TSimulatedLine line;
    TMBLetter letter;
    letter.SetClient(&line.Client);
    AddReg(letter, 0x03, 7, 1);
    letter.ReadAllRegs();
    ASSERT_TRUE(line.RunDry());
    loop.RunUntil([] { return false; }, std::chrono::milliseconds(100));  // what is left to settle
    const auto time = ProcessorTimeOfThisThread();
    const auto waits = loop.WaitCount();
    loop.RunUntil([] { return false; }, std::chrono::milliseconds(500));
    EXPECT_LT(ProcessorTimeOfThisThread() - time, std::chrono::milliseconds(5));
    EXPECT_LE(loop.WaitCount() - waits, 2u);
  }
  TLoop::SetCurrent(former);
}

// Bytes of the heap that are in use, of the sanitizer's heap where it has replaced the library's.
std::size_t BytesInUse() {
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

TEST(LongRun, TwoHundredThousandTransactionsNeedNoMoreMemoryThanTwoThousand) {
  constexpr int kFew = 2000, kMany = 200000;
  TSimulatedLine line;
  TMBLetter letter;
  letter.SetClient(&line.Client);
  for (std::uint32_t adress = 0; adress < 40; adress += 2) AddReg(letter, 0x03, adress, 1);
  int requests = 0;
  line.Client.OnWorkStart = [&](TObject&) { ++requests; };
  letter.OnReadAllRegs = [&](TMBLetter& complete) {
    if (requests < kFew || (requests < kMany && requests > kFew)) complete.ReadAllRegs();
  };
  letter.ReadAllRegs();
  ASSERT_TRUE(line.RunDry());
  const std::size_t afterFew = BytesInUse();
  const int components = line.Client.ComponentCount();
  requests = kFew + 1;
  letter.ReadAllRegs();
  ASSERT_TRUE(line.RunDry(std::chrono::seconds(170)));
  EXPECT_GE(requests, kMany);
  EXPECT_EQ(line.Client.ComponentCount(), components);
  EXPECT_LE(BytesInUse(), afterFew + 4096);
}

}  // namespace
}  // namespace OrvixModBus
