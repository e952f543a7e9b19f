#include "tools/simulator/uSimulatedDevice.h"

#include <gtest/gtest.h>

#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

std::size_t SizeOf(std::string_view request) {
  return TSimulatedDevice::RequestSize(FromHex(request));
}

TEST(TSimulatedDevice, SizeOfARequestIsToldByItsBeginning) {
  for (const char* code :
       {"01", "02", "03", "04", "05", "06", "20", "21", "24", "41", "43", "44", "67", "6C"}) {
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

struct TExchange {
  const char* Name;
  const char* Request;
  const char* Reply;
};

void ExpectReplies(TSimulatedDevice& device, std::span<const TExchange> exchanges) {
  for (const TExchange& exchange : exchanges) {
    SCOPED_TRACE(exchange.Name);
    EXPECT_EQ(ToHex(device.Answer(FromHex(exchange.Request), 0)), exchange.Reply);
  }
}

TEST(TSimulatedDevice, ReadsFileRecords) {
  TSimulatedDevice device;
  device.Files[4].Records[1] = {0x0D, 0xFE, 0x00, 0x20};
  device.Files[3].Records[9] = {0x33, 0xCD, 0x00, 0x40};
  device.Files[0xFFFF].Records[0x270F] = {0xAB, 0xCD};
  device.Files[7];
  const TExchange exchanges[] = {
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
  ExpectReplies(device, exchanges);
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

TEST(TSimulatedDevice, ReadsLogs) {
  TSimulatedDevice device;
  device.Logs[0x20] = {.Records = {{0x0A, 0x01}, {0x0B, 0x02}, {0x0C, 0x03}}, .Total = 0x1234};
  device.Logs[0x24].Records = {{0xDD}};
  const TExchange exchanges[] = {
      {"Count", "20 00 00 00 00", "20 12 34 00 03"},
      {"TotalIsTheCountByDefault", "24 00 00 00 00", "24 00 01 00 01"},
      {"OneRecord", "20 00 02 00 01", "20 0B 02"},
      {"AllRecords", "20 00 01 00 03", "20 0A 01 0B 02 0C 03"},
      {"AnotherLog", "24 00 01 00 01", "24 DD"},
      {"LastBatchPastTheEnd", "20 00 03 00 02", "20 0C 03"},
      {"MostThatFit", "20 00 01 00 7E", "20 0A 01 0B 02 0C 03"},
      {"RecordAfterTheLast", "20 00 04 00 01", "A0 02"},
      {"LastNumber", "20 00 FF 00 01", "A0 02"},
      {"RecordNumberZero", "20 00 00 00 01", "A0 02"},
      {"NoRecords", "20 00 01 00 00", "A0 03"},
      {"NoRecordsOfNone", "20 00 04 00 00", "A0 03"},
      {"OneMoreThanFits", "20 00 01 00 7F", "A0 03"},
      {"RecordNumberPastAByte", "20 01 01 00 01", "A0 03"},
      {"CountPastAByte", "20 00 01 01 01", "A0 03"},
      {"CountRequestWithOtherBytes", "20 00 00 01 00", "A0 03"},
      {"ShortRequest", "20 00 01 00", "A0 03"},
      {"LongRequest", "20 00 01 00 01 00", "A0 03"},
  };
  ExpectReplies(device, exchanges);
}

TEST(TSimulatedDevice, LogThatIsNotThereIsIllegalAndAnEmptyOneIsNot) {
  TSimulatedDevice device;
  device.Logs[0x20];
  const TExchange exchanges[] = {
      {"CountOfNone", "24 00 00 00 00", "A4 01"},
      {"RecordOfNone", "24 00 01 00 01", "A4 01"},
      {"CountOfAnEmptyOne", "20 00 00 00 00", "20 00 00 00 00"},
      {"RecordOfAnEmptyOne", "20 00 01 00 01", "A0 02"},
  };
  ExpectReplies(device, exchanges);
}

// Records of so many bytes, each filled with the low byte of its number from 1.
std::vector<Bytes> NumberedRecords(std::size_t count, std::size_t size) {
  std::vector<Bytes> records;
  for (std::size_t number = 1; number <= count; ++number) {
    records.emplace_back(size, static_cast<std::uint8_t>(number));
  }
  return records;
}

TEST(TSimulatedDevice, LogIsReadInBatches) {
  TSimulatedDevice device;
  device.Logs[0x20].Records = NumberedRecords(100, 8);
  std::vector<Bytes> records;
  for (const char* request : {"20 00 01 00 1F", "20 00 20 00 1F", "20 00 3F 00 1F",
                              "20 00 5E 00 1F"}) {  // the last one past the end
    const Bytes reply = device.Answer(FromHex(request), 0);
    ASSERT_EQ(reply.at(0), 0x20) << request;
    for (std::size_t i = 1; i + 8 <= reply.size(); i += 8) {
      records.emplace_back(reply.begin() + std::ptrdiff_t(i),
                           reply.begin() + std::ptrdiff_t(i + 8));
    }
  }
  EXPECT_EQ(records, device.Logs[0x20].Records);
}

TEST(TSimulatedDevice, RecordNumbersOfALongLogWrap) {
  TSimulatedDevice device;
  device.Logs[0x24].Records = NumberedRecords(300, 1);
  const TExchange exchanges[] = {
      {"All300AreCounted", "24 00 00 00 00", "24 01 2C 01 2C"},
      {"LastNumber", "24 00 FF 00 01", "24 FF"},
      {"RecordsAfterTheLastNumber", "24 00 FF 00 03", "24 FF 00 01"},
      {"Number257IsNumber1", "24 00 01 00 01", "24 01"},
      {"Number256IsNone", "24 00 00 00 01", "A4 02"},
  };
  ExpectReplies(device, exchanges);
}

TEST(TSimulatedDevice, CountOfALogEndsAtItsGreatestWord) {
  TSimulatedDevice device;
  device.Logs[0x20].Records.resize(0x10001);
  EXPECT_EQ(ToHex(device.Answer(FromHex("20 00 00 00 00"), 0)), "20 FF FF FF FF");
}

TEST(TSimulatedDevice, LongestRecordTellsHowManyFit) {
  TSimulatedDevice device;
  device.Logs[0x20].Records = {Bytes(1, 0xAA), Bytes(126, 0xBB), {}};
  device.Logs[0x24].Records = {Bytes(252, 0xCC), Bytes(252, 0xCC)};
  EXPECT_EQ(device.Answer(FromHex("20 00 01 00 02"), 0).size(), 128U);
  EXPECT_EQ(ToHex(device.Answer(FromHex("20 00 01 00 03"), 0)), "A0 03");
  EXPECT_EQ(ToHex(device.Answer(FromHex("20 00 03 00 01"), 0)), "20");
  EXPECT_EQ(device.Answer(FromHex("24 00 02 00 01"), 0).size(), 253U);
  EXPECT_EQ(ToHex(device.Answer(FromHex("24 00 02 00 02"), 0)), "A4 03");
  device.Logs[0x24].Records[0].push_back(0xCC);
  EXPECT_EQ(ToHex(device.Answer(FromHex("24 00 01 00 01"), 0)), "A4 03");
}

TEST(TSimulatedDevice, ReadsOscillograms) {
  TSimulatedDevice device;
  device.OscillogramTotal = 0x0405;
  device.Oscillograms[2] = {.Info = {0x01, 0x02, 0x03}, .Records = NumberedRecords(0x102, 2)};
  device.Oscillograms[7];
  device.Oscillograms[8] = {.Info = Bytes(253, 0xEE), .Records = {Bytes(249, 0xEE)}};
  const TExchange exchanges[] = {
      {"Count", "41 00 00 00 00", "41 04 05 00 03"},
      {"Info", "41 00 02 00 00", "41 01 02 03"},
      {"EmptyInfo", "41 00 07 00 00", "41"},
      {"Records", "41 02 02 00 03", "41 00 02 00 03 03 03 04 04"},
      {"RecordsPast255", "41 02 02 01 00", "41 00 02 01 00 00 00 01 01"},
      {"LastBatchPastTheEnd", "41 7C 02 01 02", "41 00 02 01 02 02 02"},
      {"RecordAfterTheLast", "41 01 02 01 03", "C1 02"},
      {"RecordNumberZero", "41 01 02 00 00", "C1 02"},
      {"RecordOfAnEmptyOne", "41 01 07 00 01", "C1 02"},
      {"InfoOfNone", "41 00 03 00 00", "C1 02"},
      {"RecordsOfNone", "41 01 03 00 01", "C1 02"},
      {"RecordsOfNumberZero", "41 01 00 00 01", "C1 02"},
      {"InfoOfNumberZero", "41 00 00 00 01", "C1 02"},
      {"OneMoreThanFits", "41 7D 02 00 01", "C1 03"},
      {"InfoWithOtherBytes", "41 00 02 00 01", "C1 03"},
      {"InfoTooLong", "41 00 08 00 00", "C1 03"},
      {"RecordTooLong", "41 01 08 00 01", "C1 03"},
      {"ShortRequest", "41 00 02 00", "C1 03"},
      {"LongRequest", "41 00 02 00 00 00", "C1 03"},
  };
  ExpectReplies(device, exchanges);
}

TEST(TSimulatedDevice, OscillogramFillsTheLongestReply) {
  TSimulatedDevice device;
  device.Oscillograms[255] = {.Info = Bytes(252, 0xAB), .Records = NumberedRecords(40, 16)};
  const Bytes info = device.Answer(FromHex("41 00 FF 00 00"), 0);
  EXPECT_EQ(info.size(), 253U);
  EXPECT_EQ(info.back(), 0xAB);
  const Bytes batch = device.Answer(FromHex("41 0F FF 00 10"), 0);
  EXPECT_EQ(batch.size(), 5U + 15 * 16);
  EXPECT_EQ(ToHex(std::span(batch).first(6)), "41 00 FF 00 10 10");
  EXPECT_EQ(batch.back(), 30);
  const Bytes last = device.Answer(FromHex("41 0F FF 00 1F"), 0);
  EXPECT_EQ(last.size(), 5U + 10 * 16);
  EXPECT_EQ(last.back(), 40);
}

TEST(TSimulatedDevice, OscillogramsAreIllegalWithoutOneAndWithoutATotal) {
  TSimulatedDevice device;
  EXPECT_EQ(ToHex(device.Answer(FromHex("41 00 00 00 00"), 0)), "C1 01");
  EXPECT_EQ(ToHex(device.Answer(FromHex("41 00 01 00 00"), 0)), "C1 01");
  device.OscillogramTotal = 0;
  EXPECT_EQ(ToHex(device.Answer(FromHex("41 00 00 00 00"), 0)), "41 00 00 00 00");
  EXPECT_EQ(ToHex(device.Answer(FromHex("41 00 01 00 00"), 0)), "C1 02");
  device.OscillogramTotal.reset();
  device.Oscillograms[9];
  EXPECT_EQ(ToHex(device.Answer(FromHex("41 00 00 00 00"), 0)), "41 00 01 00 01");
}

}  // namespace
}  // namespace OrvixModBus
