// Adapters that hand back what is sent.
#include "LineFixture.h"
#include "platform/modbus/uRtuQueue.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;

class TEcho : public TLineFixture {
 public:
  TEcho() { NoCharacters(); }

  /// Every request comes back at once, and is answered after 50 ms unless the reply is empty.
  void EchoAndAnswer(const char* reply) {
    Wire.OnWrite = [this, reply](const Bytes& request) {
      Wire.Arrive(1ms, request);
      if (reply[0] != 0) Wire.Arrive(50ms, Frame(reply));
    };
  }
  void AnswerOnly(const char* reply) { Answer({Frame(reply), Frame(reply), Frame(reply)}, 50ms); }
};

TEST_F(TEcho, IsLearntFromAReadAndThenTakenOffEveryRequest) {
  EchoAndAnswer("01 03 02 00 07");
  EXPECT_EQ(Exchange("03 00 00 00 01").Reply, Hex("01 03 02 00 07"));
  EchoAndAnswer("01 06 00 01 00 02");
  Wire.WriteTimes.clear();
  const TOutcome outcome = Exchange("06 00 01 00 02");
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 50);
  EXPECT_EQ(Connection->Counters().NoiseBytes, 0u);
}

TEST_F(TEcho, OnceLearntAnUnansweredWriteIsNotTakenForAnswered) {
  EchoAndAnswer("01 03 02 00 07");
  Exchange("03 00 00 00 01");
  EchoAndAnswer("");
  EXPECT_EQ(Exchange("06 00 01 00 02").Kind, srNone);
}

TEST_F(TEcho, AnUnansweredReadIsNoAnswerInSpiteOfItsEcho) {
  EchoAndAnswer("");
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNone);
  EXPECT_EQ(Connection->Counters().NoiseBytes, 0u);
}

TEST_F(TEcho, WithoutOneAWriteIsAnsweredAtOnce) {
  AnswerOnly("01 06 00 01 00 02");
  const TOutcome outcome = Exchange("06 00 01 00 02");
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 50);
}

TEST_F(TEcho, IsForgottenWhenAReadComesWithoutIt) {
  EchoAndAnswer("01 03 02 00 07");
  Exchange("03 00 00 00 01");
  AnswerOnly("01 03 02 00 07");
  Exchange("03 00 00 00 01");
  AnswerOnly("01 06 00 01 00 02");
  EXPECT_EQ(Exchange("06 00 01 00 02").Kind, srNormalReply);
}

constexpr char kCountItems[] = "20 00 00 00 00";  // an empty log answers the same bytes

TEST_F(TEcho, OfACountIsNoCountWhileNothingIsLearnt) {
  EchoAndAnswer("01 20 00 07 00 05");
  const TOutcome outcome = Exchange(kCountItems);
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_EQ(outcome.Reply, Hex("01 20 00 07 00 05"));
  EchoAndAnswer("");
  EXPECT_EQ(Exchange("06 00 01 00 02").Kind, srNone) << "learnt from the count";
}

TEST_F(TEcho, AloneIsNoCountWhileNothingIsLearnt) {
  EchoAndAnswer("");
  const TOutcome outcome = Exchange(kCountItems);
  EXPECT_EQ(outcome.Kind, srUnmatchedReply);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 1000);
  EXPECT_TRUE(outcome.Reply.empty());
}

TEST_F(TEcho, AndTheSameReplyMakeACountOfNothing) {
  EchoAndAnswer("01 20 00 00 00 00");
  EXPECT_EQ(Exchange(kCountItems).Kind, srNormalReply);
}

TEST_F(TEcho, ACountOfNothingIsOneOnceItIsKnownThatThereIsNone) {
  AnswerOnly("01 03 02 00 07");
  Exchange("03 00 00 00 01");
  AnswerOnly("01 20 00 00 00 00");
  EXPECT_EQ(Exchange(kCountItems).Kind, srNormalReply);
  EXPECT_EQ(Exchange(kCountItems).Kind, srNormalReply);
}

TEST_F(TEcho, SwitchedOffACountOfNothingIsOne) {
  Connection->SetEchoSuppression(TEchoSuppression::esOff);
  AnswerOnly("01 20 00 00 00 00");
  EXPECT_EQ(Exchange(kCountItems).Kind, srNormalReply);
}

TEST_F(TEcho, OfAFileReadIsNoReply) {
  EchoAndAnswer("");
  TModbusFileRecordList list;
  list.Add(3, 7, 1);
  TServerReply kind = srNormalReply;
  Client->OnFileRecordRead = [&](TModbusClient&, const TTransactionInfo& info,
                                 TModbusFileRecordList&) { kind = info.Reply; };
  Client->ReadFileRecord(list, nullptr);
  RunFor(2s);
  EXPECT_EQ(kind, srNone);
}

TEST_F(TEcho, IsForgottenWhenThePortIsOpenedAgain) {
  EchoAndAnswer("01 03 02 00 07");
  Exchange("03 00 00 00 01");
  Connection->SetActive(false);
  Connection->SetActive(true);
  AnswerOnly("01 06 00 01 00 02");
  EXPECT_EQ(Exchange("06 00 01 00 02").Kind, srNormalReply);
}

TEST_F(TEcho, SwitchedOnTheFirstCopyOfAWriteIsTheEcho) {
  Connection->SetEchoSuppression(TEchoSuppression::esOn);
  EchoAndAnswer("01 06 00 01 00 02");
  const TOutcome outcome = Exchange("06 00 01 00 02");
  EXPECT_EQ(outcome.Kind, srNormalReply);
  EXPECT_DOUBLE_EQ(Elapsed(outcome), 50);
}

TEST_F(TEcho, SwitchedOnAReadIsAnsweredWithoutOneToo) {
  Connection->SetEchoSuppression(TEchoSuppression::esOn);
  AnswerOnly("01 03 02 00 07");
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
}

TEST_F(TEcho, SwitchedOffAnEchoIsAFrameThatWillNotDo) {
  Connection->SetEchoSuppression(TEchoSuppression::esOff);
  EchoAndAnswer("01 03 02 00 07");
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
  EXPECT_EQ(Connection->Counters().NoiseBytes, 8u);
  EchoAndAnswer("01 06 00 01 00 02");
  Wire.WriteTimes.clear();
  EXPECT_DOUBLE_EQ(Elapsed(Exchange("06 00 01 00 02")), 1);
}

TEST_F(TEcho, SplitAtEveryByteItIsOne) {
  for (const char* request : {"03 00 00 00 01", "43 01 20 00 02", "20 00 01", "41 01 03 00"}) {
    const Bytes echo = Frame("01 " + std::string(request));
    const Bytes reply = Frame("01 " + std::string(request).substr(0, 2) +
                              (request[0] == '0' ? " 02 00 07" : " 01 20 00 02 DE AD"));
    for (std::size_t cut = 1; cut < echo.size(); ++cut) {
      SCOPED_TRACE(std::string(request) + " cut at " + std::to_string(cut));
      const auto at = echo.begin() + static_cast<std::ptrdiff_t>(cut);
      Wire.OnWrite = [&](const Bytes&) {
        Wire.Arrive(1ms, Bytes(echo.begin(), at));
        Wire.Arrive(10ms, Bytes(at, echo.end()) + reply);
      };
      const TOutcome outcome = Exchange(request);
      EXPECT_EQ(outcome.Kind, srNormalReply);
      EXPECT_EQ(Frame(outcome.Reply), reply);
    }
  }
  EXPECT_EQ(Connection->Counters().NoiseBytes, 0u);
}

}  // namespace
}  // namespace OrvixModBus
