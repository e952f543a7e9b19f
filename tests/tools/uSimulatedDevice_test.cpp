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
  EXPECT_EQ(SizeOf("14 0E"), 16U);
  EXPECT_EQ(SizeOf("65 00 00 00 80"), 133U);
  EXPECT_EQ(SizeOf("66 00 00 00 FF"), 260U);
}

TEST(TSimulatedDevice, SizeIsMoreThanABeginningThatDoesNotTellIt) {
  EXPECT_EQ(SizeOf("10 00 00 00 02"), 6U);
  EXPECT_EQ(SizeOf("14"), 2U);
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

struct TFileExchange {
  const char* Name;
  const char* Request;
  const char* Reply;
};

TEST(TSimulatedDevice, ReadsFileRecords) {
  TSimulatedDevice device;
  device.Files[4].Records[1] = {0x0D, 0xFE, 0x00, 0x20};
  device.Files[3].Records[9] = {0x33, 0xCD, 0x00, 0x40};
  device.Files[0xFFFF].Records[0x270F] = {0xAB, 0xCD};
  device.Files[7];
  const TFileExchange exchanges[] = {
      {"OneRecord", "14 07 06 00 04 00 01 00 02", "14 06 05 06 0D FE 00 20"},
      {"TwoFiles", "14 0E 06 00 04 00 01 00 02 06 00 03 00 09 00 02",
       "14 0C 05 06 0D FE 00 20 05 06 33 CD 00 40"},
      {"BeginOfARecord", "14 07 06 00 04 00 01 00 01", "14 04 03 06 0D FE"},
      {"NothingOfARecord", "14 07 06 00 04 00 01 00 00", "14 02 01 06"},
      {"GreatNumbers", "14 07 06 FF FF 27 0F 00 01", "14 04 03 06 AB CD"},
      {"FileThatIsNotThere", "14 07 06 00 05 00 01 00 02", "94 02"},
      {"RecordThatIsNotThere", "14 07 06 00 04 00 02 00 02", "94 02"},
      {"FileWithoutRecords", "14 07 06 00 07 00 01 00 01", "94 02"},
      {"RecordShorterThanAsked", "14 07 06 00 04 00 01 00 03", "94 02"},
      {"MostRegisters", "14 07 06 00 04 00 01 FF FF", "94 02"},
      {"SecondRecordThatIsNotThere", "14 0E 06 00 04 00 01 00 02 06 00 03 00 01 00 02", "94 02"},
      {"AnotherReferenceType", "14 07 07 00 04 00 01 00 02", "94 02"},
      {"NoGroup", "14 00", "94 03"},
      {"PartOfAGroup", "14 06 06 00 04 00 01 00", "94 03"},
      {"MoreThanAGroup", "14 08 06 00 04 00 01 00 02 06", "94 03"},
      {"FewerBytesThanCounted", "14 0E 06 00 04 00 01 00 02", "94 03"},
      {"MoreBytesThanCounted", "14 07 06 00 04 00 01 00 02 06 00 03 00 09 00 02", "94 03"},
  };
  for (const TFileExchange& exchange : exchanges) {
    SCOPED_TRACE(exchange.Name);
    EXPECT_EQ(ToHex(device.Answer(FromHex(exchange.Request), 0)), exchange.Reply);
  }
}

// A request for so many groups, all the same.
Bytes FileRequest(std::string_view group, std::size_t groups) {
  Bytes request{0x14, static_cast<std::uint8_t>(7 * groups)};
  const Bytes bytes = FromHex(group);
  for (std::size_t i = 0; i < groups; ++i) {
    request.insert(request.end(), bytes.begin(), bytes.end());
  }
  return request;
}

TEST(TSimulatedDevice, FileRecordsFillTheLongestReply) {
  TSimulatedDevice device;
  device.Files[1].Records[0] = Bytes(300, 0xEE);
  const Bytes whole = device.Answer(FileRequest("06 00 01 00 00 00 7C", 1), 0);  // 124 registers
  EXPECT_EQ(whole.size(), 252U);
  EXPECT_EQ(ToHex(std::span(whole).first(5)), "14 FA F9 06 EE");
  const Bytes shared = device.Answer(FileRequest("06 00 01 00 00 00 18", 5), 0);  // 5 * 24
  EXPECT_EQ(shared.size(), 252U);
  EXPECT_EQ(ToHex(std::span(shared).first(5)), "14 FA 31 06 EE");
  const Bytes most = device.Answer(FileRequest("06 00 01 00 00 00 02", 35), 0);
  EXPECT_EQ(most.size(), 212U);
}

TEST(TSimulatedDevice, FileRecordsPastTheLongestReplyAreRefused) {
  TSimulatedDevice device;
  device.Files[1].Records[0] = Bytes(300, 0xEE);
  const auto answer = [&device](std::string_view group, std::size_t groups) {
    return ToHex(device.Answer(FileRequest(group, groups), 0));
  };
  EXPECT_EQ(answer("06 00 01 00 00 00 7D", 1), "94 03");
  EXPECT_EQ(answer("06 00 01 00 00 00 19", 5), "94 03");
  EXPECT_EQ(answer("06 00 01 00 00 00 03", 35), "94 03");
  EXPECT_EQ(answer("06 00 01 00 00 00 01", 36), "94 03");  // more groups than a request takes
}

}  // namespace
}  // namespace OrvixModBus
