#include "tools/orvixmb/uItemReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using TAsked = std::pair<int, int>;  // first, count

// A device that answers by a rule; its records are pairs of their number.
class RecordReading : public testing::Test {
 protected:
  TRecording Read(int first, int last, const std::function<int(int first, int count)>& sends,
                  std::size_t length = 2) {
    const auto ask = [&, this](int item, int count) {
      fAsked.emplace_back(item, count);
      Bytes reply;
      for (int i = 0; i < sends(item, count); ++i) {
        reply.insert(reply.end(), length, static_cast<std::uint8_t>(item + i));
      }
      reply.insert(reply.end(), fRest.begin(), fRest.end());
      return reply;
    };
    return ReadRecords({first, last, length, ask},
                       [this](std::size_t count) { fProgress.push_back(count); });
  }

  std::vector<TAsked> fAsked;
  std::vector<std::size_t> fProgress;
  Bytes fRest;  // behind the records of each reply
};

int All(int /*first*/, int count) { return count; }

TEST_F(RecordReading, AsksForNoMoreThanThereAre) {
  const TRecording recording = Read(1, 260, All);
  EXPECT_EQ(recording.Problem, "");
  EXPECT_EQ(recording.Next(), 261);
  EXPECT_THAT(fAsked, ElementsAre(TAsked(1, 124), TAsked(125, 124), TAsked(249, 12)));
  EXPECT_THAT(fProgress, ElementsAre(124U, 248U, 260U));
}

TEST_F(RecordReading, ReadsTheLargestRecordsOneByOne) {
  EXPECT_THAT(Read(3, 4, All, 248).Records, ElementsAre(SizeIs(248), SizeIs(248)));
  EXPECT_THAT(fAsked, ElementsAre(TAsked(3, 1), TAsked(4, 1)));
}

TEST_F(RecordReading, AsksAgainFromWhereAShortReplyEnds) {
  fRest = {0xEE};  // the begin of a record that is not whole
  const TRecording recording = Read(5, 9, [](int, int) { return 2; });
  EXPECT_THAT(recording.Records,
              ElementsAre(Bytes(2, 5), Bytes(2, 6), Bytes(2, 7), Bytes(2, 8), Bytes(2, 9)));
  EXPECT_THAT(fAsked, ElementsAre(TAsked(5, 5), TAsked(7, 3), TAsked(9, 1)));
}

TEST_F(RecordReading, DropsWhatWasNotAskedFor) {
  EXPECT_THAT(Read(1, 1, [](int, int) { return 3; }).Records, ElementsAre(Bytes(2, 1)));
}

TEST_F(RecordReading, EndsAtAReplyWithoutARecord) {
  fRest = {0xEE};
  const TRecording recording = Read(1, 9, [](int first, int) { return first == 1 ? 4 : 0; });
  EXPECT_EQ(recording.Problem, "an answer without a record");
  EXPECT_EQ(recording.Next(), 5);
  EXPECT_THAT(fAsked, SizeIs(2));
}

TEST_F(RecordReading, KeepsWhatCameBeforeTheLineFailed) {
  const TRecording recording = Read(1, 200, [](int first, int count) {
    if (first > 1) throw Exception("no answer");
    return count;
  });
  EXPECT_EQ(recording.Problem, "no answer");
  EXPECT_THAT(recording.Records, SizeIs(124));
  EXPECT_EQ(recording.Next(), 125);
}

TEST_F(RecordReading, AsksNothingOfAnEmptyRange) {
  EXPECT_EQ(Read(4, 3, All).Next(), 4);
  EXPECT_THAT(fAsked, IsEmpty());
}

TEST(OscillogramRecords, AreThoseOfTheRequest) {
  EXPECT_EQ(OscillogramRecords({0, 2, 0x01, 0x75, 0xAA, 0xBB}, 2, 0x175), (Bytes{0xAA, 0xBB}));
  EXPECT_EQ(OscillogramRecords({9, 2, 0x01, 0x75}, 2, 0x175), Bytes());
  const Bytes others[] = {
      {0, 3, 0x01, 0x75, 0xAA}, {0, 2, 0x00, 0x75, 0xAA}, {0, 2, 0x01, 0x74, 0xAA}, {0, 2, 1}, {}};
  for (const Bytes& other : others) {
    EXPECT_THAT([&] { OscillogramRecords(other, 2, 0x175); },
                testing::ThrowsMessage<Exception>("an answer to something else"));
  }
}

}  // namespace
}  // namespace OrvixModBus
