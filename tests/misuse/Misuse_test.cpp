// Every event with every misdeed in its middle: the loop goes on, what was asked is completed or
// dropped once, the counters are as the rules give, and the others on the line are served.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <string>

#include "platform/modbus/uRtuQueue.h"
#include "tests/src/uTestRegs.h"
#include "uMisdeeds.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using testing::Each;
using testing::IsEmpty;

// Longer than all that any row has under way.
constexpr auto kLong = 60s;

class TMisuse : public testing::TestWithParam<TEventRow> {
 public:
  void RunWith(const TAct& act);
  void Commit(const TMisdeed& misdeed);
  bool HasSerialQueue() const { return dynamic_cast<TRtuQueue*>(&Plant->Line->Queue()) != nullptr; }
  void ExpectEverythingEnded(const TMisdeed& misdeed);
  void ExpectCounters();
  void ExpectTheOthersAreServed();
  void ExpectTheLetterIsServed();

  int Raised = 0;
  TAct Forget;
  std::unique_ptr<TPlant> Plant;
};

// act is done at every raise.
void TMisuse::RunWith(const TAct& act) {
  const TEventRow& row = GetParam();
  Raised = 0;
  Plant = std::make_unique<TPlant>();
  if (row.Emulated) Plant->Emulate();
  const auto hear = [&] {
    Forget = row.Hear(*Plant, [this, act] {
      ++Raised;
      act();
    });
  };
  if (!row.HearsLast) hear();
  Plant->Bind();
  if (row.HearsLast) hear();
  Plant->Traffic();
  Plant->Try([&] { row.Fire(*Plant); });
  Plant->Traffic();
  Plant->RunFor(kLong);
  // A queue that only records gives back what it holds by going.
  if (Plant->Line && !HasSerialQueue()) Plant->RenewPort();
}

// The misdeed is done at the first raise; one that throws, at every one.
void TMisuse::Commit(const TMisdeed& misdeed) {
  RunWith([&] {
    if (Raised == 1 || misdeed.Throws) misdeed.Do(*Plant, GetParam());
  });
}

void TMisuse::ExpectEverythingEnded(const TMisdeed& misdeed) {
  const TCountingClient& counting = Plant->Counting;
  EXPECT_GE(Raised, 1) << "the event did not happen";
  EXPECT_EQ(counting.Ended, counting.Asked);
  if (misdeed.Throws) {
    EXPECT_THAT(Plant->Errors, Each(testing::AnyOf("misdeed", "something else")));
    EXPECT_FALSE(Plant->Errors.empty());
  } else {
    EXPECT_THAT(Plant->Errors, IsEmpty());
  }
  if (!Plant->Line) return;
  EXPECT_EQ(Plant->Line->CountPendingTransactions(nullptr), 0);
  if (!GetParam().LosesRequests && !misdeed.LosesRequests) {
    EXPECT_EQ(counting.Answered, counting.Asked);
  }
}

void TMisuse::ExpectCounters() {
  if (!Plant->Client) return;
  for (const auto& model : Plant->Models) model->Check();
}

void TMisuse::ExpectTheOthersAreServed() {
  if (!Plant->Line) return;
  Plant->Device = EDevice::Answers;
  Plant->Wire.HungUp = false;
  Plant->Line->SetActive(true);
  int complete = 0;
  TMBLetter& letter = Plant->OtherLetter;
  letter.OnReadAllRegs = [&](TMBLetter&) { ++complete; };
  letter.ClearWaitQueue();
  letter.Regs().ClearRegsData();
  letter.ReadAllRegs();
  const int answered = Plant->Counting.Answered;
  Plant->Counting.Ask();
  Plant->RunFor(kLong);
  EXPECT_EQ(complete, 1);
  EXPECT_EQ(letter.Regs().GetItem(0)->Data(), (Bytes{0, 5}));
  EXPECT_TRUE(letter.ChekAllRegsResive());
  EXPECT_EQ(Plant->Counting.Answered, answered + 1);
  EXPECT_EQ(Plant->Counting.Ended, Plant->Counting.Asked);
}

// A letter that has lived through it works as before.
void TMisuse::ExpectTheLetterIsServed() {
  if (!Plant->Line || !Plant->Client || !Plant->Letter || !Plant->Connection) return;
  Plant->Connection->SetConnectionType(TConnectionType::mbRtu);
  int complete = 0;
  TMBLetter& letter = *Plant->Letter;
  letter.SetClient(Plant->Client.Get());
  letter.ClearWaitQueue();
  letter.OnReadAllRegs = [&](TMBLetter&) { ++complete; };
  const TMBReg& fresh = AddReg(letter.Regs(), {"Fresh", 150});
  letter.ReadAllRegs();
  Plant->RunFor(kLong);
  EXPECT_EQ(complete, 1);
  EXPECT_EQ(fresh.Data(), (Bytes{0, 150}));
  EXPECT_TRUE(letter.ChekAllRegsResive());
}

TEST_P(TMisuse, LeavesEverythingWhole) {
  for (const TMisdeed& misdeed : Misdeeds()) {
    SCOPED_TRACE(misdeed.Name);
    Commit(misdeed);
    ExpectEverythingEnded(misdeed);
    ExpectCounters();
    ExpectTheOthersAreServed();
    if (!misdeed.Throws) ExpectTheLetterIsServed();
    Plant.reset();
  }
}

TEST_P(TMisuse, ByTakingTheHandlerAwayEndsIt) {
  RunWith([this] {
    const TAct takeAway = Forget;
    takeAway();
  });
  EXPECT_EQ(Raised, 1);
  ExpectEverythingEnded({"takes itself away", nullptr});
  ExpectTheOthersAreServed();
  Plant.reset();
}

std::string NameOf(const testing::TestParamInfo<TEventRow>& info) {
  std::string name = info.param.Class + "_" + info.param.Event + "_" + info.param.Way;
  std::ranges::replace_if(
      name, [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Events, TMisuse, testing::ValuesIn(EventRows()), NameOf);

}  // namespace
}  // namespace OrvixModBus
