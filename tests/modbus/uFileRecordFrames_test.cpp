#include "platform/modbus/uFileRecordFrames.h"

#include "LineFixture.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;

TModbusFileRecordList List(int count, int length) {
  TModbusFileRecordList list;
  for (int i = 0; i < count; ++i) list.Add(4, static_cast<std::uint16_t>(i), length);
  return list;
}

TEST(TFileRecordFrames, ARequestNamesEveryRecord) {
  TModbusFileRecordList list;
  list.Add(4, 1, 2);
  list.Add(0x1234, 0x5678, 126);
  TModbusBuffer request;
  FormFileRequest(list, {0, 2}, 9, request);
  EXPECT_EQ(Bytes(request.Data().begin(), request.Data().end()),
            Hex("09 14 0E 06 00 04 00 01 00 02 06 12 34 56 78 00 7E"));
}

TEST(TFileRecordFrames, AFrameHoldsAsManyRecordsAsFitRequestAndReply) {
  const struct {
    int Count, Length, End;
  } cases[] = {
      {0, 1, 0},                                 // nothing to hold
      {1, 1, 1},    {35, 0, 35},  {36, 0, 35},   // a request of 256 bytes
      {100, 2, 35},                              // replies of 6 bytes each
      {100, 3, 31}, {100, 7, 15}, {100, 61, 2},  // 251 bytes of reply
      {100, 62, 1}, {3, 124, 1},  {3, 126, 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FileRecordGroup(List(c.Count, c.Length), 0).End, c.End)
        << c.Count << " of " << c.Length;
  }
}

TEST(TFileRecordFrames, GroupsFollowEachOtherToTheEnd) {
  const auto list = List(40, 7);
  EXPECT_EQ(FileRecordGroup(list, 15).End, 30);
  EXPECT_EQ(FileRecordGroup(list, 30).End, 40);
}

TEST(TFileRecordFrames, AReplyIsHandedOutToItsRecords) {
  auto list = List(3, 2);
  ASSERT_TRUE(TakeFileReply(list, {1, 3}, Hex("09 14 0C 05 06 0D FE 00 20 05 06 33 CD 00 40")));
  EXPECT_EQ(list.Records(0).Data, Bytes());
  EXPECT_EQ(list.Records(1).Data, Hex("0D FE 00 20"));
  EXPECT_EQ(list.Records(2).Data, Hex("33 CD 00 40"));
}

TEST(TFileRecordFrames, AReplyThatDoesNotFitIsHandedOutToNobody) {
  auto list = List(2, 1);
  for (const char* reply : {
           "", "09 14 00",
           "09 14 04 03 06 11 11",                    // one record missing
           "09 14 08 03 06 11 11 03 06 22",           // cut
           "09 14 08 03 06 11 11 03 07 22 22",        // another reference type
           "09 14 08 03 06 11 11 05 06 22 22 33 33",  // longer
           "09 14 0A 03 06 11 11 03 06 22 22 00 00",  // something behind
       }) {
    SCOPED_TRACE(reply);
    EXPECT_FALSE(TakeFileReply(list, {0, 2}, Hex(reply)));
    EXPECT_EQ(list.Records(0).Data, Bytes());
    EXPECT_EQ(list.Records(1).Data, Bytes());
  }
}

// Over a line: the list is read in as many frames as it takes and completed once.
class TFileRead : public TLineFixture {
 public:
  struct TRead {
    TTransactionInfo Info;
    TModbusFileRecordList List;
  };

  TFileRead() {
    NoCharacters();
    Client->OnFileRecordRead = [this](TModbusClient&, const TTransactionInfo& info,
                                      TModbusFileRecordList& list) {
      Reads.push_back({info, list});
    };
    Wire.OnWrite = [this](const Bytes& request) {
      Requests.push_back(request);
      if (static_cast<int>(Requests.size()) != Unanswered) Wire.Arrive(10ms, ReplyTo(request));
    };
  }

  /// Every register of a record holds the record's number.
  static Bytes ReplyTo(const Bytes& request) {
    Bytes body{request[0], 0x14, 0};
    for (std::size_t at = 3; at + 2 < request.size(); at += 7) {
      const int length = request[at + 6];
      body.push_back(static_cast<std::uint8_t>(1 + 2 * length));
      body.push_back(6);
      for (int i = 0; i < length; ++i) {
        body.push_back(request[at + 3]);
        body.push_back(request[at + 4]);
      }
    }
    body[2] = static_cast<std::uint8_t>(body.size() - 3);
    return Frame(body);
  }

  void AwaitReads(std::size_t count) {
    ASSERT_TRUE(Loop.RunUntil([&] { return Reads.size() >= count; }, 1h));
  }

  std::vector<TRead> Reads;
  std::vector<Bytes> Requests;
  int Unanswered = 0;  // number of the request, from 1
};

TEST_F(TFileRead, AShortListIsOneFrame) {
  TObject mine;
  TModbusFileRecordList list;
  list.Add(4, 7, 2);
  Client->ReadFileRecord(list, &mine);
  list.Clear();  // it has been copied
  AwaitReads(1);
  EXPECT_EQ(Wire.Written, Frame("01 14 07 06 00 04 00 07 00 02"));
  EXPECT_EQ(Reads[0].Info.Reply, srNormalReply);
  EXPECT_EQ(Reads[0].Info.UserData.Get(), &mine);
  ASSERT_EQ(Reads[0].List.Count(), 1);
  EXPECT_EQ(Reads[0].List.Records(0).Data, Hex("00 07 00 07"));
}

TEST_F(TFileRead, ALongListIsReadInFramesAndCompletedOnce) {
  Client->ReadFileRecord(List(40, 7), nullptr);
  AwaitReads(1);
  EXPECT_EQ(Requests.size(), 3u);
  ASSERT_EQ(Reads[0].List.Count(), 40);
  for (int i = 0; i < 40; ++i) {
    const Bytes& data = Reads[0].List.Records(i).Data;
    ASSERT_EQ(data.size(), 14u);
    EXPECT_EQ(data[13], i);
  }
  RunFor(10s);
  EXPECT_EQ(Reads.size(), 1u);
  EXPECT_EQ(Connection->Counters().Replies[5], 1u);
}

TEST_F(TFileRead, EveryFrameIsRetried) {
  Connection->SetMaxRetries(1);
  Unanswered = 2;
  Client->ReadFileRecord(List(40, 7), nullptr);
  AwaitReads(1);
  ASSERT_EQ(Requests.size(), 4u);
  EXPECT_EQ(Requests[1], Requests[2]);
  EXPECT_EQ(Reads[0].Info.Reply, srNormalReply);
  EXPECT_EQ(Reads[0].Info.Retries, 1);
  EXPECT_EQ(Reads[0].List.Records(39).Data.size(), 14u);
}

TEST_F(TFileRead, AFrameThatFailsEndsTheListWithWhatHasCome) {
  Unanswered = 2;
  Client->ReadFileRecord(List(40, 7), nullptr);
  AwaitReads(1);
  EXPECT_EQ(Reads[0].Info.Reply, srNone);
  EXPECT_EQ(Reads[0].List.Records(14).Data.size(), 14u);
  EXPECT_EQ(Reads[0].List.Records(15).Data.size(), 0u);
}

TEST_F(TFileRead, AReplyWithOtherRecordsIsUnmatched) {
  Answer({Frame("01 14 04 03 06 11 11")});
  Client->ReadFileRecord(List(2, 1), nullptr);
  AwaitReads(1);
  EXPECT_EQ(Reads[0].Info.Reply, srUnmatchedReply);
}

TEST_F(TFileRead, AnExceptionEndsTheList) {
  Answer({Frame("01 94 02")});
  Client->ReadFileRecord(List(40, 7), nullptr);
  AwaitReads(1);
  EXPECT_EQ(Reads[0].Info.Reply, srExceptionReply);
  RunFor(1s);
  EXPECT_EQ(Wire.WriteTimes.size(), 1u);
}

TEST_F(TFileRead, AListDiscardedHalfwayIsReadNoFurther) {
  Client->ReadFileRecord(List(40, 7), nullptr);
  Client->ReadFileRecord(List(1, 1), nullptr);
  ASSERT_TRUE(Loop.RunUntil([&] { return Requests.size() == 2; }, 1h));
  Connection->DiscardPendingTransactions(nullptr);
  Client->ReadFileRecord(List(2, 3), nullptr);
  AwaitReads(1);
  EXPECT_EQ(Requests.size(), 3u);
  EXPECT_EQ(Reads[0].List.Records(1).Data, Hex("00 01 00 01 00 01"));
}

TEST(TFileRecordList, RefusesLengthsThatNoReplyHolds) {
  TModbusFileRecordList list;
  list.Add(1, 2, 0);
  list.Add(1, 2, 126);
  EXPECT_THROW(list.Add(1, 2, 127), EModLinkError);
  EXPECT_THROW(list.Add(1, 2, -1), EModLinkError);
  EXPECT_EQ(list.Count(), 2);
  EXPECT_THROW(list.Records(2), EModLinkError);
  EXPECT_THROW(list.Records(-1), EModLinkError);
  const TModbusFileRecordList copy = list;
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(copy.Records(1).Length, 126);
}

}  // namespace
}  // namespace OrvixModBus
