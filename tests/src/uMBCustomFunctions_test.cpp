#include "uMBCustomFunctions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"
#include "tests/src/uTestFunction.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Notes every completion that it is told of and that is its own.
class TNotingFunction : public TMBCustomFunction {
 public:
  explicit TNotingFunction(TTestLog& log) : fLog(log) {}
  ~TNotingFunction() override { BeginDestroy(); }
  std::uint8_t GetMBFunc() const override { return 0x41; }
  void OnRead(TMBClient& sender, TServerReply kind, std::uint8_t func, std::uint32_t start,
              const Bytes& values, TObject* owner) override {
    if (!IsOwn(func, owner)) return;
    fLog.push_back(std::to_string(sender.GetAdres()) + " " + KindName(kind) + " " +
                   std::to_string(start) + (values.empty() ? "" : " " + Hex(values)));
  }
  void Ask(std::uint32_t start) { Request(start, {1, 2, 3, 4}); }

 private:
  TTestLog& fLog;
};

class CustomFunctions : public testing::Test {
 protected:
  CustomFunctions() {
    b.client->SetAdres(2);
    function->SetMBClient(a.client.get());
  }
  std::vector<std::string> TakeLog() { return std::exchange(log, {}); }

  TTestLog log;
  TTestClient a, b;  // server addresses 1 and 2
  std::unique_ptr<TNotingFunction> function = std::make_unique<TNotingFunction>(log);
};

TEST_F(CustomFunctions, BringBackWhatWasAskedWithTheReply) {
  function->Ask(7);
  EXPECT_THAT(a.TakeRequests(), ElementsAre("41 01 02 03 04"));
  a.ReplyLast({0x41, 9, 8, 7});
  EXPECT_THAT(TakeLog(), ElementsAre("1 srNormalReply 7 09 08 07"));
}

TEST_F(CustomFunctions, GetEveryKindOfAnswerAndNoValuesOfABadOne) {
  using enum TServerReply;
  for (const TServerReply kind :
       {srNone, srInvalidFrame, srUnexpectedReply, srUnmatchedReply, srExceptionReply}) {
    function->Ask(7);
    a.Queue().Complete(a.Queue().Count() - 1, kind, Bytes{1, 0x41, 5, 5});
    EXPECT_THAT(TakeLog(), ElementsAre("1 " + std::string(KindName(kind)) + " 7"));
  }
}

TEST_F(CustomFunctions, GetAnEmptyReplyForOneWithoutData) {
  function->Ask(7);
  a.ReplyLast({0x41});
  EXPECT_THAT(TakeLog(), ElementsAre("1 srNormalReply 7"));
}

TEST_F(CustomFunctions, DoNotHearOneAnother) {
  TMBFunction41 other;
  other.OnErorAnswer = [&](TObject&) { log.push_back("other"); };
  other.SetMBClient(a.client.get());
  function->Ask(3);
  a.FailLast(TServerReply::srNone);
  EXPECT_THAT(TakeLog(), ElementsAre("1 srNone 3"));
  other.ReadCountItem();
  a.FailLast(TServerReply::srNone);
  EXPECT_THAT(TakeLog(), ElementsAre("other"));
}

TEST_F(CustomFunctions, IgnoreForeignOwnersAndOtherCodes) {
  TObject stranger;
  const auto tell = [&](std::uint8_t func, TObject* owner) {
    a.client->OnReadList(*a.client, TServerReply::srNormalReply, func, 0, {1, 2}, owner);
  };
  tell(0x41, &stranger);
  tell(0x41, nullptr);
  tell(0x20, function.get());
  EXPECT_THAT(TakeLog(), IsEmpty());
  tell(0x41, function.get());
  EXPECT_THAT(TakeLog(), ElementsAre("1 srNormalReply 0 01 02"));
}

TEST_F(CustomFunctions, GoOnListeningToAFormerClient) {
  function->Ask(1);
  function->SetMBClient(b.client.get());
  EXPECT_EQ(function->MBClient(), b.client.get());
  function->Ask(2);
  EXPECT_EQ(a.client->OnReadList.Count(), 1);
  EXPECT_EQ(b.client->OnReadList.Count(), 1);
  a.ReplyLast({0x41, 5});
  b.ReplyLast({0x41, 6});
  EXPECT_THAT(TakeLog(), ElementsAre("1 srNormalReply 1 05", "2 srNormalReply 2 06"));
}

TEST_F(CustomFunctions, HearEachReplyOnceFromAClientThatComesBack) {
  function->SetMBClient(b.client.get());
  function->SetMBClient(a.client.get());
  function->SetMBClient(a.client.get());
  function->Ask(1);
  a.ReplyLast({0x41, 5});
  EXPECT_THAT(TakeLog(), ElementsAre("1 srNormalReply 1 05"));
}

TEST_F(CustomFunctions, SendNothingWithoutAClientOrALine) {
  function->SetMBClient(nullptr);
  function->Ask(1);
  function->SetMBClient(a.client.get());
  for (const TConnectionType type : {TConnectionType::mbEmul, TConnectionType::mbTCP}) {
    a.connection->SetConnectionType(type);
    function->Ask(1);
  }
  b.line->SetActive(false);
  function->SetMBClient(b.client.get());
  function->Ask(1);
  EXPECT_THAT(a.TakeRequests(), IsEmpty());
  EXPECT_THAT(b.TakeRequests(), IsEmpty());
}

TEST_F(CustomFunctions, WithoutAClientDoNotEvenLookAtTheLength) {
  TMBFunction20 log20;
  TMBFunction41 oscillograms;
  EXPECT_NO_THROW(log20.ReadAllItems());
  EXPECT_NO_THROW(log20.ReadCountItem());
  EXPECT_NO_THROW(oscillograms.ReadOscilData(2, 40));
  EXPECT_NO_THROW(oscillograms.RaedOscilInfo(2));
}

TEST_F(CustomFunctions, LoseTheirClientWhenItIsDestroyed) {
  a.client.reset();
  EXPECT_EQ(function->MBClient(), nullptr);
  function->Ask(1);
  EXPECT_THAT(a.TakeRequests(), IsEmpty());
}

TEST_F(CustomFunctions, AreNotCalledOnceDestroyed) {
  function->Ask(1);
  function->SetMBClient(b.client.get());
  function->Ask(2);
  function.reset();
  EXPECT_EQ(a.client->OnReadList.Count(), 0);
  EXPECT_EQ(b.client->OnReadList.Count(), 0);
  EXPECT_EQ(b.client->OnCastomTrunsaction.Count(), 0);
  a.ReplyLast({0x41, 5});
  b.ReplyLast({0x41, 6});
  EXPECT_THAT(log, IsEmpty());
}

TEST(CustomFunctionParts, GoInAnyOrder) {
  constexpr std::size_t kParts = 6;
  for (std::size_t first = 0; first < kParts; ++first) {
    SCOPED_TRACE(first);
    TTestLog log;
    TTestClient a, b;
    auto function = std::make_unique<TNotingFunction>(log);
    function->SetMBClient(a.client.get());
    function->Ask(1);
    function->SetMBClient(b.client.get());
    function->Ask(2);
    const std::function<void()> ends[kParts] = {
        [&] { function.reset(); },     [&] { a.client.reset(); }, [&] { b.client.reset(); },
        [&] { a.connection.reset(); }, [&] { a.line.reset(); },   [&] { b.line.reset(); }};
    for (std::size_t next = 0; next < kParts; ++next) ends[(first + next) % kParts]();
    EXPECT_THAT(log, IsEmpty());
  }
}

TEST_F(CustomFunctions, AreSilencedWithTheClient) {
  a.client->SetDisableHandling(true);
  function->Ask(1);
  a.ReplyLast({0x41, 5});
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(CustomFunctions, TellTheClientFirstOfAMissingAnswer) {
  a.client->OnNoneAnswer = NotingFault(log, "client");
  function->Ask(1);
  a.FailLast(TServerReply::srNone);
  EXPECT_THAT(TakeLog(), ElementsAre("client srNone $41 1", "1 srNone 1"));
}

TEST_F(CustomFunctions, BelongToTheirThread) {
  EXPECT_THROW(OnAnotherThread([&] { function->SetMBClient(b.client.get()); }), EThreadError);
  EXPECT_EQ(function->MBClient(), a.client.get());
}

}  // namespace
}  // namespace OrvixModBus
