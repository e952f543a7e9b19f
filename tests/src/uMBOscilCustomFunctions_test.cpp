#include "uMBOscilCustomFunctions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "tests/src/uTestFunction.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::Throws;
using testing::ThrowsMessage;

constexpr std::uint32_t kCount = 0;
constexpr std::uint32_t kInfo = 2;
constexpr std::uint32_t kRecords = 3;

class Oscillograms : public testing::Test, public TTestFunction<TMBFunction41> {
 protected:
  Oscillograms() {
    function->OnGetOscilInfo = [this](TObject& sender, const Bytes& info) {
      EXPECT_EQ(&sender, function.get());
      log.push_back("info " + Hex(info));
    };
    function->OnGetOscilData = [this](TObject& sender, std::uint16_t number, std::uint16_t record,
                                      const Bytes& data) {
      EXPECT_EQ(&sender, function.get());
      log.push_back(std::to_string(number) + "/" + std::to_string(record) + " " + Hex(data));
    };
  }
};

TEST_F(Oscillograms, KnowNothingAtFirstButALengthOfZero) {
  EXPECT_EQ(function->MBFunc(), 0x41);
  EXPECT_EQ(function->TotalItem(), -1);
  EXPECT_EQ(function->ItemCount(), -1);
  EXPECT_EQ(function->OscilInfoLength(), -1);
  EXPECT_EQ(function->OscilDataLength(), 0);
}

TEST(OscillogramProperties, AreWhatAFormStores) {
  for (const char* name : {"MBClient", "OscilInfoLength", "OscilDataLength", "OnGetOscilInfo",
                           "OnGetOscilData", "OnGetCountInfo", "OnErorAnswer"}) {
    EXPECT_NE(TMBFunction41::StaticClass().Property(name), nullptr) << name;
  }
}

TEST_F(Oscillograms, AskForCountAndDescription) {
  function->ReadCountItem();
  function->RaedOscilInfo(7);
  function->RaedOscilInfo(255);
  EXPECT_THAT(TakeRequests(), ElementsAre("41 00 00 00 00", "41 00 07 00 00", "41 00 FF 00 00"));
}

TEST_F(Oscillograms, TakeBothWordsOfTheCountReply) {
  function->ReadCountItem();
  ReplyLast({0x41, 0, 20, 0, 3});
  EXPECT_EQ(function->TotalItem(), 20);
  EXPECT_EQ(function->ItemCount(), 3);
  EXPECT_THAT(TakeLog(), ElementsAre("count"));
  Get(kCount, {0, 1, 0});
  EXPECT_EQ(function->ItemCount(), 3);
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(Oscillograms, AskForAsManyRecordsAsAReplyHolds) {
  struct TCase {
    const char* name;
    int length;
    std::uint16_t records;
    std::vector<std::string> requests;
  };
  const TCase cases[] = {
      {"40 of 16", 16, 40, {"41 0F 02 00 01", "41 0F 02 00 10", "41 0F 02 00 1F"}},
      {"no records", 16, 0, {}},
      {"one record, which is not read", 16, 1, {}},
      {"two records", 16, 2, {"41 0F 02 00 01"}},
      {"one batch", 16, 15, {"41 0F 02 00 01"}},
      {"one batch and one record, which is not read", 16, 16, {"41 0F 02 00 01"}},
      {"one batch and two records", 16, 17, {"41 0F 02 00 01", "41 0F 02 00 10"}},
      {"the longest records", 248, 3, {"41 01 02 00 01", "41 01 02 00 02"}},
      {"the shortest records", 1, 300, {"41 F8 02 00 01", "41 F8 02 00 F9"}},
  };
  for (const TCase& test : cases) {
    SCOPED_TRACE(test.name);
    function->SetOscilDataLength(test.length);
    function->ReadOscilData(2, test.records);
    EXPECT_EQ(TakeRequests(), test.requests);
  }
}

TEST_F(Oscillograms, CountRecordsInAWordAndEnd) {
  function->SetOscilDataLength(1);
  function->ReadOscilData(9, 65535);
  const auto sent = TakeRequests();
  EXPECT_THAT(sent, SizeIs(265));  // 65,534 records, 248 each
  EXPECT_EQ(sent.back(), "41 F8 09 FF C1");
}

TEST_F(Oscillograms, RefuseLengthsOfWhichNoReplyHoldsARecord) {
  EXPECT_THAT([&] { function->ReadOscilData(2, 40); },
              ThrowsMessage<EDivByZero>("Division by zero: Items.OscilDataLength is 0"));
  EXPECT_THAT([&] { function->ReadOscilData(2, 0); }, Throws<EDivByZero>());
  for (const int length : {-1, 249, 1000}) {
    SCOPED_TRACE(length);
    function->SetOscilDataLength(length);
    EXPECT_THAT([&] { function->ReadOscilData(2, 40); },
                ThrowsMessage<Exception>("Items.OscilDataLength is " + std::to_string(length) +
                                         ", but a reply holds items of 1 to 248 bytes"));
    EXPECT_NO_THROW(function->ReadOscilData(2, 1));
  }
  EXPECT_THAT(TakeRequests(), IsEmpty());
}

TEST_F(Oscillograms, CutADescriptionReplyIntoBlocks) {
  struct TCase {
    const char* name;
    int length;
    Bytes values;
    std::vector<std::string> blocks;
  };
  const TCase cases[] = {
      {"one block", 3, {1, 2, 3}, {"info 01 02 03"}},
      {"two blocks", 2, {1, 2, 3, 4}, {"info 01 02", "info 03 04"}},
      {"one byte more is left out", 3, {1, 2, 3, 4}, {"info 01 02 03"}},
      {"two bytes more are a block of two", 3, {1, 2, 3, 4, 5}, {"info 01 02 03", "info 04 05"}},
      {"less than a block", 3, {1, 2}, {}},
      {"no length", 0, {1, 2, 3}, {}},
      {"length not set", -1, {1, 2, 3}, {}},
  };
  for (const TCase& test : cases) {
    SCOPED_TRACE(test.name);
    function->SetOscilInfoLength(test.length);
    Get(kInfo, test.values);
    EXPECT_EQ(TakeLog(), test.blocks);
  }
}

TEST_F(Oscillograms, CutADataReplyIntoRecords) {
  struct TCase {
    const char* name;
    int length;
    Bytes values;
    std::vector<std::string> records;
  };
  const TCase cases[] = {
      {"two records", 2, {0, 2, 0, 16, 1, 2, 3, 4}, {"2/16 01 02", "2/17 03 04"}},
      {"number and record in full", 2, {9, 255, 0x12, 0x34, 1, 2}, {"255/4660 01 02"}},
      {"records that begin again",
       2,
       {0, 1, 0xFF, 0xFF, 1, 2, 3, 4},
       {"1/65535 01 02", "1/0 03 04"}},
      {"one byte more is left out", 2, {0, 2, 0, 1, 1, 2, 3}, {"2/1 01 02"}},
      {"two bytes more are a record of two",
       3,
       {0, 2, 0, 1, 1, 2, 3, 4, 5},
       {"2/1 01 02 03", "2/2 04 05"}},
      {"a head alone", 2, {0, 2, 0, 1}, {}},
      {"no whole head", 2, {0, 2, 0}, {}},
      {"shorter than a record", 8, {0, 2, 0, 1, 1, 2, 3}, {}},
      {"as long as a record, the head counted", 6, {0, 2, 0, 1, 1, 2}, {"2/1 01 02"}},
      {"length zero", 0, {0, 2, 0, 1, 1, 2}, {}},
      {"length below zero", -1, {0, 2, 0, 1, 1, 2}, {}},
  };
  for (const TCase& test : cases) {
    SCOPED_TRACE(test.name);
    function->SetOscilDataLength(test.length);
    Get(kRecords, test.values);
    EXPECT_EQ(TakeLog(), test.records);
  }
}

TEST_F(Oscillograms, TellOfEveryAnswerThatIsNotNormal) {
  using enum TServerReply;
  function->SetOscilInfoLength(2);
  function->SetOscilDataLength(2);
  const auto ask = {std::function<void()>([&] { function->ReadCountItem(); }),
                    std::function<void()>([&] { function->RaedOscilInfo(1); }),
                    std::function<void()>([&] { function->ReadOscilData(1, 2); })};
  for (const TServerReply kind :
       {srNone, srInvalidFrame, srUnexpectedReply, srUnmatchedReply, srExceptionReply}) {
    for (const auto& request : ask) {
      SCOPED_TRACE(KindName(kind));
      request();
      FailLast(kind);
      EXPECT_THAT(TakeLog(), ElementsAre("eror"));
    }
  }
}

TEST_F(Oscillograms, AreReadThroughTheClient) {
  function->SetOscilInfoLength(2);
  function->SetOscilDataLength(2);
  function->ReadCountItem();
  ReplyLast({0x41, 0, 1, 0, 1});
  function->RaedOscilInfo(1);
  ReplyLast({0x41, 0xAA, 0xBB});
  function->ReadOscilData(1, 3);
  ReplyLast({0x41, 0, 1, 0, 1, 1, 2, 3, 4, 5, 6});
  EXPECT_THAT(TakeLog(), ElementsAre("count", "info AA BB", "1/1 01 02", "1/2 03 04", "1/3 05 06"));
}

TEST_F(Oscillograms, EndWithTheHandlerThatDestroysThem) {
  function->SetOscilDataLength(2);
  function->OnGetOscilData = [this](TObject&, std::uint16_t, std::uint16_t, const Bytes&) {
    log.push_back("data");
    function.reset();
  };
  Get(kRecords, {0, 2, 0, 1, 1, 2, 3, 4});
  EXPECT_THAT(TakeLog(), ElementsAre("data"));
}

}  // namespace
}  // namespace OrvixModBus
