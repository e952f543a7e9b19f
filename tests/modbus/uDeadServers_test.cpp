#include "platform/modbus/uDeadServers.h"

#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

constexpr std::uint8_t kDead = 7, kOther = 8;

class TDeadServersTest : public testing::Test {
 public:
  TDeadServersTest() {
    Settings.SetAsideAfter = 3;
    Settings.ProbeInterval = 1000;
  }

  void TimeOut(int times) {
    for (int i = 0; i < times; ++i) Servers.TimedOut(kDead, Now);
  }

  TLineSettings Settings;
  TDeadServers Servers{Settings};
  const TDeadServers::TTime Now{1h};
};

TEST_F(TDeadServersTest, TheLastOfSoManyTimeOutsSetsAside) {
  EXPECT_FALSE(Servers.TimedOut(kDead, Now));
  EXPECT_FALSE(Servers.TimedOut(kDead, Now));
  EXPECT_FALSE(Servers.IsSetAside(kDead));
  EXPECT_TRUE(Servers.TimedOut(kDead, Now));
  EXPECT_TRUE(Servers.IsSetAside(kDead));
  EXPECT_FALSE(Servers.IsSetAside(kOther));
  EXPECT_FALSE(Servers.TimedOut(kDead, Now)) << "told once";
}

TEST_F(TDeadServersTest, AnAnswerBetweenThemBeginsTheCountAnew) {
  TimeOut(2);
  EXPECT_FALSE(Servers.Answered(kDead));
  TimeOut(2);
  EXPECT_FALSE(Servers.IsSetAside(kDead));
}

TEST_F(TDeadServersTest, OneProbeIsDueAfterEveryInterval) {
  TimeOut(3);
  EXPECT_TRUE(Servers.RestsAt(kDead, Now));
  EXPECT_TRUE(Servers.RestsAt(kDead, Now + 999ms));
  EXPECT_FALSE(Servers.RestsAt(kDead, Now + 1000ms));
  Servers.TimedOut(kDead, Now + 1500ms);
  EXPECT_TRUE(Servers.RestsAt(kDead, Now + 2499ms));
  EXPECT_FALSE(Servers.RestsAt(kDead, Now + 2500ms));
}

TEST_F(TDeadServersTest, AnAnswerEndsIt) {
  TimeOut(3);
  EXPECT_TRUE(Servers.Answered(kDead));
  EXPECT_FALSE(Servers.IsSetAside(kDead));
  EXPECT_FALSE(Servers.RestsAt(kDead, Now));
  EXPECT_FALSE(Servers.Answered(kDead)) << "told once";
}

TEST_F(TDeadServersTest, WithoutALimitNobodyIsSetAside) {
  Settings.SetAsideAfter = 0;
  TimeOut(1000);
  EXPECT_FALSE(Servers.IsSetAside(kDead));
}

TEST_F(TDeadServersTest, TheGreatestLimitIsReached) {
  Settings.SetAsideAfter = 255;
  TimeOut(254);
  EXPECT_FALSE(Servers.IsSetAside(kDead));
  TimeOut(1);
  EXPECT_TRUE(Servers.IsSetAside(kDead));
}

TEST_F(TDeadServersTest, ALimitThatIsTakenAwayFreesAllAtOnce) {
  TimeOut(3);
  Settings.SetAsideAfter = 0;
  EXPECT_FALSE(Servers.IsSetAside(kDead));
  EXPECT_FALSE(Servers.RestsAt(kDead, Now));
}

}  // namespace
}  // namespace OrvixModBus
