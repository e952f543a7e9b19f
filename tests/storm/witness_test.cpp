#include "tests/storm/witness.h"

#include <gtest/gtest.h>

#include "platform/modbus/uRtuFrame.h"

namespace OrvixModBus {
namespace {

// The checker of the storm: what the device did not say in this transaction is found out.
class TWitnessTest : public testing::Test {
 public:
  TWitnessTest() {
    Reg.SetMBFuncRead(0x03);
    Reg.SetBytesInOneReg(2);
    Reg.SetRegsCount(1);
    Reg.SetRegAdress(8);
    Reg.SetRegData({0x56, 0x78});
    Witness.Hear({1, kRequest, kReply, EFault::None});
  }

  const Bytes kRequest{0x03, 0x00, 0x07, 0x00, 0x02};
  const Bytes kReply{0x03, 0x04, 0x12, 0x34, 0x56, 0x78};
  TWitness Witness;
  TMBReg Reg{nullptr};
};

TEST_F(TWitnessTest, KnowsWhatTheDeviceSaid) {
  EXPECT_TRUE(Witness.Answered(1, kRequest, kReply));
  EXPECT_TRUE(Witness.Holds(1, Reg));
  EXPECT_TRUE(Witness.Reported(1, 0x03, Bytes{0x12, 0x34, 0x56, 0x78}));
  EXPECT_TRUE(Witness.ReportedRecord(1, 0x03, Bytes{0x34, 0x56}));
}

TEST_F(TWitnessTest, ATurnOfAnyOneThingIsFoundOut) {
  EXPECT_FALSE(Witness.Answered(2, kRequest, kReply)) << "another server";
  EXPECT_FALSE(Witness.Answered(1, {{0x03, 0x00, 0x08, 0x00, 0x02}}, kReply)) << "another request";
  EXPECT_FALSE(Witness.Answered(1, kRequest, {{0x03, 0x04, 0x12, 0x34, 0x56, 0x79}}));
  EXPECT_FALSE(Witness.Holds(2, Reg));
  EXPECT_FALSE(Witness.Reported(1, 0x04, Bytes{0x56, 0x78}));
  EXPECT_FALSE(Witness.ReportedRecord(1, 0x03, Bytes{0x34, 0x57}));
  Reg.SetRegAdress(7);
  EXPECT_FALSE(Witness.Holds(1, Reg)) << "the neighbour's value";
  Reg.SetRegAdress(6);
  EXPECT_FALSE(Witness.Holds(1, Reg)) << "not asked for";
  Reg.SetRegAdress(8);
  Reg.SetMBFuncRead(0x04);
  EXPECT_FALSE(Witness.Holds(1, Reg)) << "another table";
}

TEST_F(TWitnessTest, WhatWasSaidToAnEarlierTransactionIsFoundOut) {
  Witness.TransactionOver();
  Witness.Hear({1, kRequest, {0x03, 0x04, 0x99, 0x99, 0x99, 0x99}, EFault::None});
  EXPECT_FALSE(Witness.Answered(1, kRequest, kReply));
  EXPECT_FALSE(Witness.Holds(1, Reg));
}

TEST_F(TWitnessTest, EveryAttemptOfATransactionCounts) {
  Witness.Hear({1, kRequest, {0x03, 0x04, 0x99, 0x99, 0x99, 0x99}, EFault::Late});
  EXPECT_TRUE(Witness.Answered(1, kRequest, kReply));
}

TEST_F(TWitnessTest, OnlyAReplyThatEndsWithSilenceMayHaveAZeroBehind) {
  const Bytes request{0x20, 0, 0, 0, 0}, reply{0x20, 0x01, 0x02};
  Witness.Hear({1, request, reply, EFault::ExtraBytes});
  EXPECT_FALSE(Witness.AnsweredButForAZero(1, request, reply));
  Bytes frame;
  FormFrame(Bytes{0x01, 0x20, 0x01, 0x02}, frame);
  const Bytes longer{0x20, 0x01, 0x02, frame[4]};
  EXPECT_TRUE(Witness.AnsweredButForAZero(1, request, longer));
  EXPECT_FALSE(Witness.AnsweredButForAZero(1, request, Bytes{0x20, 0x01, 0x02, 0x00}));
}

}  // namespace
}  // namespace OrvixModBus
