#include "platform/modbus/uRtuFrame.h"

#include <gtest/gtest.h>

#include "ScriptedPort.h"

namespace OrvixModBus {
namespace {

TEST(TRtuFrame, TheLowByteOfTheCheckSumComesFirst) {
  Bytes frame{1, 2, 3};  // what is in there goes
  FormFrame(Hex("01 03 00 00 00 0A"), frame);
  EXPECT_EQ(frame, Hex("01 03 00 00 00 0A C5 CD"));
}

TEST(TRtuFrame, CheckSums) {
  EXPECT_TRUE(CheckSumFits(Hex("01 04 02 03 01 78 00")));
  EXPECT_TRUE(CheckSumFits(Hex("01 04 02 03 01 78")));  // fits early
  EXPECT_TRUE(CheckSumFits(Hex("02 07 41 12")));
  EXPECT_FALSE(CheckSumFits(Hex("02 07 12 41")));
  EXPECT_FALSE(CheckSumFits(Hex("01 04 02 03 02 78 00")));
}

TEST(TRtuFrame, NothingShorterThanFourBytesIsAFrame) {
  EXPECT_FALSE(CheckSumFits({}));
  EXPECT_FALSE(CheckSumFits(Hex("FF FF")));  // the check sum of nothing
  EXPECT_FALSE(CheckSumFits(Hex("00 BF 40")));
}

TEST(TRtuFrame, TheBodyIsTheFrameWithoutItsCheckSum) {
  const Bytes frame = Hex("02 07 41 12");
  const auto body = Body(frame);
  EXPECT_EQ(Bytes(body.begin(), body.end()), Hex("02 07"));
}

}  // namespace
}  // namespace OrvixModBus
