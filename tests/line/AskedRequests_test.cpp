#include <gtest/gtest.h>

#include "SimulatedLine.h"
#include "tools/orvixmb/uAskedRequests.h"

namespace OrvixModBus {
namespace {

class AskedRequests : public testing::Test {
 protected:
  void Read(TAskedRequests& asked, std::uint32_t start, std::uint16_t count) {
    fLine.Client.Read(0x03, start, static_cast<std::uint16_t>(2 * count), nullptr);
    asked.Ask(0x03, start, count);
  }

  TSimulatedLine fLine;
};

TEST_F(AskedRequests, AnAddressFailsWithTheRequestThatHoldsIt) {
  TAskedRequests asked(fLine.Client);
  Read(asked, 10, 5);
  Read(asked, 998, 5);
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_EQ(asked.ErrorOf(0x03, 10), "");
  EXPECT_EQ(asked.ErrorOf(0x03, 14), "");
  EXPECT_EQ(asked.ErrorOf(0x03, 15), "its function code 3 is not read");
  EXPECT_EQ(asked.ErrorOf(0x04, 10), "its function code 4 is not read");
  EXPECT_EQ(asked.ErrorOf(0x03, 998), "exception 2: illegal data address");
  EXPECT_EQ(asked.ErrorOf(0x03, 1002), "exception 2: illegal data address");
  EXPECT_EQ(asked.LastFailure(), "exception 2: illegal data address");
}

TEST_F(AskedRequests, AnAnswerCountsMoreThanAFailureOfTheSameAddress) {
  TAskedRequests asked(fLine.Client);
  Read(asked, 990, 20);
  Read(asked, 995, 2);
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_EQ(asked.ErrorOf(0x03, 996), "");
  EXPECT_EQ(asked.ErrorOf(0x03, 991), "exception 2: illegal data address");
}

TEST_F(AskedRequests, TheClientGoesOnUsingItsInfosAgain) {
  {
    TAskedRequests asked(fLine.Client);
    Read(asked, 1, 1);
    ASSERT_TRUE(fLine.RunDry());
  }
  const int components = fLine.Client.ComponentCount();
  {
    TAskedRequests asked(fLine.Client);
    Read(asked, 1, 1);
    ASSERT_TRUE(fLine.RunDry());
  }
  fLine.Client.Read(0x03, 1, 2, nullptr);
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_EQ(fLine.Client.ComponentCount(), components);
}

}  // namespace
}  // namespace OrvixModBus
