#include "platform/model/uThreadMark.h"

#include <gtest/gtest.h>

#include "tests/model/uOtherThread.h"

namespace OrvixModBus {
namespace {

TEST(TThreadMark, KnowsTheThreadOnWhichItWasMade) {
  const TThreadMark here;
  EXPECT_TRUE(here.IsHere());
  OnAnotherThread([&] {
    EXPECT_FALSE(here.IsHere());
    const TThreadMark there;
    EXPECT_TRUE(there.IsHere());
    const TThreadMark copy = here;
    EXPECT_FALSE(copy.IsHere());
  });
}

}  // namespace
}  // namespace OrvixModBus
