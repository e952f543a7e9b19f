#include "uMBLogCustomFunctions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "platform/rtl/uException.h"
#include "tests/src/uTestFunction.h"

namespace OrvixModBus {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::Throws;
using testing::ThrowsMessage;

constexpr std::uint32_t kCount = 0;
constexpr std::uint32_t kItems = 1;

class LogFunction : public testing::Test, public TTestFunction<TMBFunction20> {
 protected:
  LogFunction() {
    function->OnGetRecord = [this](TObject& sender, const Bytes& record) {
      EXPECT_EQ(&sender, function.get());
      log.push_back(Hex(record));
    };
  }
  // Has the device say how many items there are.
  void SetCount(std::uint16_t count) {
    Get(kCount,
        {0, 0, static_cast<std::uint8_t>(count >> 8), static_cast<std::uint8_t>(count & 0xFF)});
    TakeLog();
  }
};

TEST_F(LogFunction, KnowsNothingAtFirst) {
  EXPECT_EQ(function->TotalItem(), -1);
  EXPECT_EQ(function->ItemCount(), -1);
  EXPECT_EQ(function->OneRecordLength(), -1);
}

TEST(LogFunctions, DifferInTheirCode) {
  EXPECT_EQ(TMBFunction20().MBFunc(), 0x20);
  EXPECT_EQ(TMBFunction24().MBFunc(), 0x24);
}

TEST(LogFunctions, PublishWhatAFormStores) {
  for (const TClassInfo* info : {&TMBFunction20::StaticClass(), &TMBFunction24::StaticClass()}) {
    for (const char* name :
         {"MBClient", "OneRecordLength", "OnGetRecord", "OnGetCountInfo", "OnErorAnswer"}) {
      EXPECT_NE(info->Property(name), nullptr) << name;
    }
  }
}

TEST_F(LogFunction, AsksForTheCountWithFourZeros) {
  function->ReadCountItem();
  EXPECT_THAT(TakeRequests(), ElementsAre("20 00 00 00 00"));
}

TEST_F(LogFunction, TakesBothWordsOfTheCountReply) {
  function->ReadCountItem();
  ReplyLast({0x20, 0x12, 0x34, 0xFF, 0xFE});
  EXPECT_EQ(function->TotalItem(), 0x1234);
  EXPECT_EQ(function->ItemCount(), 0xFFFE);
  EXPECT_THAT(TakeLog(), ElementsAre("count"));
}

TEST_F(LogFunction, IgnoresACountReplyOfAnotherLength) {
  for (const unsigned size : {0U, 1U, 3U, 5U, 8U}) {
    SCOPED_TRACE(size);
    Get(kCount, Counting(size));
    EXPECT_EQ(function->ItemCount(), -1);
    EXPECT_THAT(TakeLog(), IsEmpty());
  }
}

TEST_F(LogFunction, AsksForAsManyItemsAsAReplyHolds) {
  struct TCase {
    const char* name;
    int length, count;
    std::vector<std::string> requests;
  };
  const TCase cases[] = {
      {"100 of 8",
       8,
       100,
       {"20 00 01 00 1F", "20 00 20 00 1F", "20 00 3F 00 1F", "20 00 5E 00 1F"}},
      {"fewer than a batch", 8, 5, {"20 00 01 00 05"}},
      {"one batch", 8, 31, {"20 00 01 00 1F"}},
      {"one batch and one item", 8, 32, {"20 00 01 00 1F", "20 00 20 00 1F"}},
      {"the longest items", 248, 2, {"20 00 01 00 01", "20 00 02 00 01"}},
      {"the shortest items", 1, 249, {"20 00 01 00 F8", "20 00 F9 00 F8"}},
      {"no items", 8, 0, {}},
      {"numbers that begin again", 100, 258, {}},
  };
  for (TCase test : cases) {
    SCOPED_TRACE(test.name);
    if (test.count == 258) {  // two items each: 1, 3 ... 255, then 257, whose byte is 1
      for (int i = 1; i <= 258; i += 2) {
        test.requests.push_back("20 00 " + IntToHex(static_cast<unsigned>(i & 0xFF), 2) + " 00 02");
      }
    }
    function->SetOneRecordLength(test.length);
    SetCount(static_cast<std::uint16_t>(test.count));
    function->ReadAllItems();
    EXPECT_EQ(TakeRequests(), test.requests);
  }
}

TEST_F(LogFunction, AsksForNothingBeforeTheCountIsKnown) {
  for (const int length : {-1, 8, 249}) {
    function->SetOneRecordLength(length);
    function->ReadAllItems();
  }
  EXPECT_THAT(TakeRequests(), IsEmpty());
}

TEST_F(LogFunction, RefusesLengthsOfWhichNoReplyHoldsAnItem) {
  SetCount(100);
  for (const int length :
       {-1, 249, 1000, -1000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    SCOPED_TRACE(length);
    function->SetOneRecordLength(length);
    EXPECT_THAT([&] { function->ReadAllItems(); },
                ThrowsMessage<Exception>("Items.OneRecordLength is " + std::to_string(length) +
                                         ", but a reply holds items of 1 to 248 bytes"));
  }
  function->SetOneRecordLength(0);
  EXPECT_THAT([&] { function->ReadAllItems(); },
              ThrowsMessage<EDivByZero>("Division by zero: Items.OneRecordLength is 0"));
  EXPECT_THAT(TakeRequests(), IsEmpty());
}

TEST_F(LogFunction, RefusesALengthOfZeroEvenForNoItems) {
  function->SetOneRecordLength(0);
  EXPECT_THAT([&] { function->ReadAllItems(); }, Throws<EDivByZero>());
}

TEST_F(LogFunction, CutsAReplyIntoRecords) {
  struct TCase {
    const char* name;
    int length;
    std::size_t size;
    std::vector<std::size_t> records;
  };
  const TCase cases[] = {
      {"three records", 8, 24, {8, 8, 8}},
      {"one byte more is left out", 8, 25, {8, 8, 8}},
      {"two bytes more are a record of two", 8, 26, {8, 8, 8, 2}},
      {"one byte less than one record", 8, 7, {}},
      {"nothing", 8, 0, {}},
      {"one record", 8, 8, {8}},
      {"one-byte records but the last", 1, 3, {1, 1}},
      {"a reply as long as they get", 248, 248, {248}},
      {"no length", 0, 24, {}},
      {"length not set", -1, 24, {}},
      {"the least length", std::numeric_limits<int>::min(), 24, {}},
      {"a length beyond any reply", std::numeric_limits<int>::max(), 24, {}},
  };
  for (const TCase& test : cases) {
    SCOPED_TRACE(test.name);
    function->SetOneRecordLength(test.length);
    const Bytes values = Counting(test.size);
    std::vector<std::string> expected;
    std::span<const std::uint8_t> rest(values);
    for (const std::size_t size : test.records) {
      expected.push_back(Hex(rest.first(size)));
      rest = rest.subspan(size);
    }
    Get(kItems, values);
    EXPECT_EQ(TakeLog(), expected);
  }
}

TEST_F(LogFunction, TellsOfEveryAnswerThatIsNotNormal) {
  using enum TServerReply;
  function->SetOneRecordLength(2);
  for (const TServerReply kind :
       {srNone, srInvalidFrame, srUnexpectedReply, srUnmatchedReply, srExceptionReply}) {
    SCOPED_TRACE(KindName(kind));
    function->ReadCountItem();
    FailLast(kind);
    EXPECT_THAT(TakeLog(), ElementsAre("eror"));
    EXPECT_EQ(function->ItemCount(), -1);
    function->OnRead(*client, kind, 0x20, kItems, {1, 2}, function.get());
    EXPECT_THAT(TakeLog(), ElementsAre("eror"));
  }
}

TEST_F(LogFunction, ReadsALogThroughTheClient) {
  function->SetOneRecordLength(3);
  function->OnGetCountInfo = [this](TObject&) { function->ReadAllItems(); };
  function->ReadCountItem();
  ReplyLast({0x20, 0, 9, 0, 2});
  EXPECT_THAT(TakeRequests(), ElementsAre("20 00 00 00 00", "20 00 01 00 02"));
  ReplyLast({0x20, 1, 2, 3, 4, 5, 6});
  EXPECT_THAT(TakeLog(), ElementsAre("01 02 03", "04 05 06"));
}

TEST_F(LogFunction, CutsAReplyByTheLengthThatItBeganWith) {
  function->SetOneRecordLength(2);
  function->OnGetRecord = [this](TObject&, const Bytes& record) {
    log.push_back(Hex(record));
    function->SetOneRecordLength(0);
  };
  Get(kItems, {1, 2, 3, 4});
  EXPECT_THAT(TakeLog(), ElementsAre("01 02", "03 04"));
}

TEST_F(LogFunction, HandsOverAllRecordsThoughAHandlerThrows) {
  function->SetOneRecordLength(2);
  function->OnGetRecord = [this](TObject&, const Bytes& record) {
    log.push_back(Hex(record));
    throw Exception("record " + std::to_string(log.size()));
  };
  EXPECT_THAT([&] { Get(kItems, {1, 2, 3, 4}); }, ThrowsMessage<Exception>("record 1"));
  EXPECT_THAT(TakeLog(), ElementsAre("01 02", "03 04"));
}

TEST_F(LogFunction, SendsAllBatchesThoughAHandlerThrows) {
  function->SetOneRecordLength(100);
  SetCount(4);
  client->OnWorkStart = [](TObject&) { throw Exception("started"); };
  EXPECT_THAT([&] { function->ReadAllItems(); }, ThrowsMessage<Exception>("started"));
  EXPECT_THAT(TakeRequests(), SizeIs(2));
}

TEST_F(LogFunction, EndsWithTheHandlerThatDestroysIt) {
  function->SetOneRecordLength(2);
  function->OnGetRecord = [this](TObject&, const Bytes& record) {
    log.push_back(Hex(record));
    function.reset();
  };
  Get(kItems, {1, 2, 3, 4});
  EXPECT_THAT(TakeLog(), ElementsAre("01 02"));
}

TEST_F(LogFunction, SendsNoMoreBatchesOnceItIsDestroyed) {
  function->SetOneRecordLength(100);
  SetCount(10);
  client->OnWorkStart = [this](TObject&) { function.reset(); };
  function->ReadAllItems();
  EXPECT_THAT(TakeRequests(), SizeIs(1));
}

TEST_F(LogFunction, SendsNoMoreBatchesOnceTheClientIsDestroyed) {
  function->SetOneRecordLength(100);
  SetCount(10);
  client->OnWorkStart = [this](TObject&) { client.reset(); };
  function->ReadAllItems();
  EXPECT_EQ(function->MBClient(), nullptr);
  EXPECT_THAT(TakeRequests(), SizeIs(1));
}

// A device family that sends a byte count first.
class TCountedLog : public TMBFunction20 {
 protected:
  Bytes ReplyValues(std::span<const std::uint8_t> reply) const override {
    const Bytes values = TMBFunction20::ReplyValues(reply);
    return values.empty() ? values : Bytes(values.begin() + 1, values.end());
  }
};

TEST_F(LogFunction, LetsADescendantSkipAByteCount) {
  TCountedLog counted;
  counted.SetOneRecordLength(2);
  counted.OnGetRecord = [this](TObject&, const Bytes& record) { log.push_back(Hex(record)); };
  counted.OnGetCountInfo = [&](TObject&) { counted.ReadAllItems(); };
  counted.SetMBClient(client.get());
  counted.ReadCountItem();
  ReplyLast({0x20, 4, 0, 9, 0, 2});
  ReplyLast({0x20, 4, 1, 2, 3, 4});
  EXPECT_THAT(TakeLog(), ElementsAre("01 02", "03 04"));
}

}  // namespace
}  // namespace OrvixModBus
