#include "platform/rtl/uFirstError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace OrvixModBus {
namespace {

using testing::ThrowsMessage;

TEST(TFirstError, RunsEveryStepAndRaisesTheFirstException) {
  TFirstError error;
  int steps = 0;
  error.Run([&] { ++steps; });
  error.Run([&] {
    ++steps;
    throw std::runtime_error("one");
  });
  error.Run([&] {
    ++steps;
    throw std::logic_error("two");
  });
  EXPECT_EQ(steps, 3);
  EXPECT_THAT([&] { error.Raise(); }, ThrowsMessage<std::runtime_error>("one"));
  EXPECT_NO_THROW(error.Raise()) << "raised once";
}

TEST(TFirstError, RaisesNothingWhenNothingFailed) {
  TFirstError error;
  error.Run([] {});
  EXPECT_NO_THROW(error.Raise());
}

}  // namespace
}  // namespace OrvixModBus
