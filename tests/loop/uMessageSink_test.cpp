#include "platform/loop/uMessageSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/loop/uSystemLoop.h"
#include "platform/rtl/uException.h"
#include "tests/loop/uClockLoop.h"
#include "tests/model/uOtherThread.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class TReceiver : public TObject {
 public:
  TReceiver()
      : Sink(std::make_unique<TMessageSink>(*this,
                                            TMessageSink::THandler(this, &TReceiver::OnMessage))) {}
  void OnMessage(TMessage& message) {
    Log.push_back(std::to_string(message.Msg) + " " + std::to_string(message.WParam) + " " +
                  std::to_string(message.LParam));
    message.Result = 1;
    if (OnReceive) OnReceive();
  }

  std::vector<std::string> Log;
  std::function<void()> OnReceive;
  std::unique_ptr<TMessageSink> Sink;
};

// A loop of its own, current for the time of a test.
class MessageSink : public testing::Test {
 protected:
  MessageSink() { TLoop::SetCurrent(&*fLoop); }
  ~MessageSink() override { TLoop::SetCurrent(nullptr); }

  std::optional<TSystemLoop> fLoop{std::in_place};
};

TEST_F(MessageSink, ReceivesLaterFromTheLoop) {
  TReceiver receiver;
  EXPECT_EQ(&receiver.Sink->Receiver(), &receiver);
  EXPECT_TRUE(receiver.Sink->Post(kFirstUserMessage, 7, -8));
  EXPECT_THAT(receiver.Log, IsEmpty()) << "never inside Post";
  fLoop->RunPending();
  EXPECT_THAT(receiver.Log, ElementsAre("1024 7 -8"));
}

TEST_F(MessageSink, CarriesTheWholeRange) {
  TReceiver receiver;
  constexpr auto least = std::numeric_limits<std::intptr_t>::min();
  constexpr auto greatest = std::numeric_limits<std::intptr_t>::max();
  receiver.Sink->Post(std::numeric_limits<std::uint32_t>::max(), least, greatest);
  fLoop->RunPending();
  EXPECT_THAT(receiver.Log,
              ElementsAre("4294967295 " + std::to_string(least) + " " + std::to_string(greatest)));
}

TEST_F(MessageSink, KeepsTheOrderAmongAllThatIsPosted) {
  TReceiver one;
  TReceiver two;
  std::vector<std::string> order;
  one.OnReceive = [&] { order.push_back("one " + one.Log.back()); };
  two.OnReceive = [&] { order.push_back("two " + two.Log.back()); };
  one.Sink->Post(1, 0, 0);
  two.Sink->Post(2, 0, 0);
  fLoop->Post([&] { order.emplace_back("action"); });
  one.Sink->Post(3, 0, 0);
  fLoop->RunPending();
  EXPECT_THAT(order, ElementsAre("one 1 0 0", "two 2 0 0", "action", "one 3 0 0"));
}

TEST_F(MessageSink, PostsAgainFromItsHandler) {
  TReceiver receiver;
  receiver.OnReceive = [&] {
    if (receiver.Log.size() < 3) receiver.Sink->Post(5, 0, 0);
  };
  receiver.Sink->Post(5, 0, 0);
  fLoop->RunPending();
  EXPECT_EQ(receiver.Log.size(), 3U);
}

TEST_F(MessageSink, DestroyedDropsWhatIsUnderWay) {
  TReceiver receiver;
  receiver.Sink->Post(1, 0, 0);
  receiver.Sink.reset();
  fLoop->RunPending();
  EXPECT_THAT(receiver.Log, IsEmpty());
}

TEST_F(MessageSink, IsDestroyedInItsOwnHandler) {
  TReceiver receiver;
  receiver.OnReceive = [&] { receiver.Sink.reset(); };
  receiver.Sink->Post(1, 0, 0);
  receiver.Sink->Post(2, 0, 0);
  fLoop->RunPending();
  EXPECT_THAT(receiver.Log, ElementsAre("1 0 0"));
}

TEST_F(MessageSink, ReceiverIsDestroyedInItsOwnHandler) {
  auto receiver = std::make_unique<TReceiver>();
  receiver->OnReceive = [&] { receiver.reset(); };
  receiver->Sink->Post(1, 0, 0);
  receiver->Sink->Post(2, 0, 0);
  fLoop->RunPending();
  EXPECT_EQ(receiver, nullptr);
}

TEST_F(MessageSink, ReceiverThatWentBeforeItsSinkIsNotCalled) {
  std::optional<TReceiver> receiver(std::in_place);
  const std::unique_ptr<TMessageSink> sink = std::move(receiver->Sink);
  sink->Post(1, 0, 0);
  receiver.reset();
  EXPECT_NO_THROW(fLoop->RunPending());
}

TEST_F(MessageSink, PostFailsOnceTheLoopIsClosed) {
  TReceiver receiver;
  EXPECT_TRUE(receiver.Sink->Post(1, 0, 0));
  fLoop->Close();
  EXPECT_FALSE(receiver.Sink->Post(2, 0, 0));
  fLoop->RunPending();
  EXPECT_THAT(receiver.Log, IsEmpty());
}

TEST_F(MessageSink, PostFailsOnceTheLoopIsGone) {
  TReceiver receiver;
  EXPECT_TRUE(receiver.Sink->Post(1, 0, 0));
  fLoop.reset();
  EXPECT_FALSE(receiver.Sink->Post(2, 0, 0));
  EXPECT_THAT(receiver.Log, IsEmpty());
}

TEST_F(MessageSink, StaysWithTheLoopThatWasCurrentWhenItWasMade) {
  TReceiver receiver;
  TSystemLoop other;
  TLoop::SetCurrent(&other);
  receiver.Sink->Post(1, 0, 0);
  other.RunPending();
  EXPECT_THAT(receiver.Log, IsEmpty());
  fLoop->RunPending();
  EXPECT_THAT(receiver.Log, ElementsAre("1 0 0"));
}

TEST_F(MessageSink, HandsAMessageOverAtOnce) {
  TReceiver receiver;
  receiver.Sink->Receive({3, 4, 5, 0});
  EXPECT_THAT(receiver.Log, ElementsAre("3 4 5"));
}

TEST_F(MessageSink, HandlersExceptionLeavesByTheRun) {
  TReceiver receiver;
  receiver.OnReceive = [] { throw std::runtime_error("received"); };
  receiver.Sink->Post(1, 0, 0);
  receiver.Sink->Post(2, 0, 0);
  EXPECT_THAT([&] { fLoop->RunPending(); }, ThrowsMessage<std::runtime_error>("received"));
  receiver.OnReceive = nullptr;
  fLoop->RunPending();
  EXPECT_THAT(receiver.Log, ElementsAre("1 0 0", "2 0 0"));
}

TEST_F(MessageSink, PostFromAnotherThreadIsRefused) {
  TReceiver receiver;
  EXPECT_THAT([&] { OnAnotherThread([&] { receiver.Sink->Post(1, 0, 0); }); },
              ThrowsMessage<EThreadError>("The loop is used from another thread than its own"));
}

}  // namespace
}  // namespace OrvixModBus
