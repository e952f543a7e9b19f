#include "tools/simulator/uSimulatedDevice.h"

#include <gtest/gtest.h>

#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

std::size_t SizeOf(std::string_view request) {
  return TSimulatedDevice::RequestSize(FromHex(request));
}

TEST(TSimulatedDevice, SizeOfARequestIsToldByItsBeginning) {
  for (const char* code : {"01", "02", "03", "04", "05", "06", "21", "43", "44", "67", "6C"}) {
    EXPECT_EQ(SizeOf(code), 5U) << code;
  }
  EXPECT_EQ(SizeOf("11"), 1U);
  EXPECT_EQ(SizeOf("0F 00 00 00 0A 02"), 8U);
  EXPECT_EQ(SizeOf("10 00 00 00 02 04"), 10U);
  EXPECT_EQ(SizeOf("65 00 00 00 80"), 133U);
  EXPECT_EQ(SizeOf("66 00 00 00 FF"), 260U);
}

TEST(TSimulatedDevice, SizeIsMoreThanABeginningThatDoesNotTellIt) {
  EXPECT_EQ(SizeOf("10 00 00 00 02"), 6U);
  EXPECT_EQ(SizeOf("66 00 00 00"), 5U);
}

TEST(TSimulatedDevice, SizeOfAnUnknownFunctionIsNotKnown) {
  EXPECT_EQ(SizeOf("2B 0E 01 00"), 0U);
  EXPECT_EQ(SizeOf("80"), 0U);
}

TEST(TSimulatedDevice, ComputedValuesSeeTheTimeOfTheRequest) {
  TSimulatedDevice device;
  device.Input.SetFormula(
      0, 1, [](std::uint32_t, double seconds) { return static_cast<std::uint32_t>(seconds); });
  EXPECT_EQ(ToHex(device.Answer(FromHex("04 00 00 00 01"), 258.9)), "04 02 01 02");
}

TEST(TSimulatedDevice, LongestRunsAreServed) {
  TSimulatedDevice device;
  device.Coils.Set(0, std::vector<std::uint32_t>(2000, 1));
  device.Holding.Set(0, std::vector<std::uint32_t>(125, 0xABCD));
  device.Paged.Set(0, std::vector<std::uint32_t>(255, 0xEE));
  const auto sizeOfReply = [&device](std::string_view request, std::size_t extra) {
    Bytes whole = FromHex(request);
    whole.resize(whole.size() + extra, 0xFF);
    const Bytes reply = device.Answer(whole, 0);
    EXPECT_EQ(reply.at(0), whole[0]) << request;
    return reply.size();
  };
  EXPECT_EQ(sizeOfReply("01 00 00 07 D0", 0), 252U);
  EXPECT_EQ(sizeOfReply("03 00 00 00 7D", 0), 252U);
  EXPECT_EQ(sizeOfReply("43 00 00 00 FF", 0), 260U);
  EXPECT_EQ(sizeOfReply("0F 00 00 07 B0 F6", 246), 5U);
  EXPECT_EQ(sizeOfReply("10 00 00 00 7B F6", 246), 5U);
  EXPECT_EQ(sizeOfReply("66 00 00 00 80", 128), 5U);
  EXPECT_EQ(device.Holding.Get(122), 0xFFFFU);
  EXPECT_EQ(device.Holding.Get(123), 0xABCDU);
}

TEST(TSimulatedDevice, RunsOneLongerAreRefused) {
  TSimulatedDevice device;
  device.Coils.Set(0, std::vector<std::uint32_t>(2001, 1));
  device.Holding.Set(0, std::vector<std::uint32_t>(126, 1));
  device.Paged.Set(0, std::vector<std::uint32_t>(200, 1));
  const auto reply = [&device](std::string_view request, std::size_t extra) {
    Bytes whole = FromHex(request);
    whole.resize(whole.size() + extra, 0xFF);
    return ToHex(device.Answer(whole, 0));
  };
  EXPECT_EQ(reply("01 00 00 07 D1", 0), "81 03");
  EXPECT_EQ(reply("03 00 00 00 7E", 0), "83 03");
  EXPECT_EQ(reply("0F 00 00 07 B1 F7", 247), "8F 03");
  EXPECT_EQ(reply("10 00 00 00 7C F8", 248), "90 03");
  EXPECT_EQ(reply("66 00 00 00 81", 129), "E6 03");
}

TEST(TSimulatedDevice, ReportedIdentityIsCutToTheLongestReply) {
  TSimulatedDevice device;
  device.Identity = {.ServerId = {0x01}, .Text = std::string(300, 'x'), .Running = false};
  const Bytes reply = device.Answer(FromHex("11"), 0);
  EXPECT_EQ(reply.size(), 253U);
  EXPECT_EQ(ToHex(std::span(reply).first(5)), "11 FB 01 00 78");
}

}  // namespace
}  // namespace OrvixModBus
