#include "platform/modbus/uModbusBuffer.h"

#include <gtest/gtest.h>

#include "ScriptedPort.h"

namespace OrvixModBus {
namespace {

using enum TSeekMode;

class TBuffer : public testing::Test {
 public:
  TBuffer() { Buffer.Assign(Hex("01 03 02 12 34")); }
  TModbusBuffer Buffer;
};

TEST_F(TBuffer, ReadsFromTheServerAddressOn) {
  EXPECT_EQ(Buffer.GetSize(), 5);
  EXPECT_EQ(Buffer.GetPosition(), 0);
  EXPECT_EQ(Buffer.GetByte(), 0x01);
  EXPECT_EQ(Buffer.GetByte(), 0x03);
  EXPECT_EQ(Buffer.GetByte(), 0x02);
  EXPECT_EQ(Buffer.GetWordHiLo(), 0x1234);
  EXPECT_EQ(Buffer.GetPosition(), 5);
}

TEST_F(TBuffer, ReadingPastTheEndRaisesAndStays) {
  Buffer.SetPosition(4);
  EXPECT_THROW(Buffer.GetWordHiLo(), EModLinkError);
  EXPECT_EQ(Buffer.GetPosition(), 4);
  EXPECT_EQ(Buffer.GetByte(), 0x34);
  EXPECT_THROW(Buffer.GetByte(), EModLinkError);
  EXPECT_EQ(Buffer.GetPosition(), 5);
}

TEST_F(TBuffer, SeekMovesByBytesAndWords) {
  Buffer.Seek(smBufEnd);
  EXPECT_EQ(Buffer.GetPosition(), 5);
  Buffer.Seek(smPriorByte);
  EXPECT_EQ(Buffer.GetPosition(), 4);
  Buffer.Seek(smPriorWord);
  EXPECT_EQ(Buffer.GetPosition(), 2);
  Buffer.Seek(smNextByte);
  EXPECT_EQ(Buffer.GetPosition(), 3);
  Buffer.Seek(smNextWord);
  EXPECT_EQ(Buffer.GetPosition(), 5);
  Buffer.Seek(smBufStart);
  EXPECT_EQ(Buffer.GetPosition(), 0);
}

TEST_F(TBuffer, SeekByAModeThatThereIsNotStays) {
  Buffer.SetPosition(3);
  Buffer.Seek(static_cast<TSeekMode>(99));
  EXPECT_EQ(Buffer.GetPosition(), 3);
}

TEST_F(TBuffer, MovingPastAnEndRaisesAndStays) {
  for (const TSeekMode mode : {smPriorByte, smPriorWord}) {
    EXPECT_THROW(Buffer.Seek(mode), EModLinkError);
    EXPECT_EQ(Buffer.GetPosition(), 0);
  }
  Buffer.SetPosition(1);
  EXPECT_THROW(Buffer.Seek(smPriorWord), EModLinkError);
  Buffer.SetPosition(5);
  for (const TSeekMode mode : {smNextByte, smNextWord}) {
    EXPECT_THROW(Buffer.Seek(mode), EModLinkError);
    EXPECT_EQ(Buffer.GetPosition(), 5);
  }
  for (const int position : {-1, 6, 1 << 30, -(1 << 30)}) {
    EXPECT_THROW(Buffer.SetPosition(position), EModLinkError) << position;
    EXPECT_EQ(Buffer.GetPosition(), 5);
  }
}

TEST_F(TBuffer, AnEmptyOneHasOnePosition) {
  Buffer.Clear();
  EXPECT_EQ(Buffer.GetSize(), 0);
  EXPECT_EQ(Buffer.GetPosition(), 0);
  Buffer.SetPosition(0);
  EXPECT_THROW(Buffer.GetByte(), EModLinkError);
}

TEST_F(TBuffer, TakesItsOwnKindOfError) {
  EXPECT_THROW(Buffer.SetPosition(9), Exception);  // the general class catches it too
}

}  // namespace
}  // namespace OrvixModBus
