// A server that is dead does not hold up the others on its line.
#include <map>
#include <set>

#include "LineFixture.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;
using testing::ElementsAre;

constexpr std::uint8_t kServers = 10;
constexpr std::uint8_t kDead = 5;

// Ten servers, polled round and round, each by a client of its own: the next request of a client
// is queued when its last one has ended. A live server answers after 10 ms.
class TDeadServer : public TLineFixture {
 public:
  TDeadServer() {
    NoCharacters();
    Connection->SetReceiveTimeout(500);
    Connection->OnServerLost = [this](TModbusConnection&, std::uint8_t server) {
      News.emplace_back(server, "lost");
    };
    Connection->OnServerFound = [this](TModbusConnection&, std::uint8_t server) {
      News.emplace_back(server, "found");
    };
    Wire.OnWrite = [this](const Bytes& frame) {
      ++Asked[frame[0]];
      if (Alive(frame[0])) Wire.Arrive(10ms, Frame(Bytes{frame[0], 0x03, 0x02, 0x12, 0x34}));
    };
  }

  bool Alive(std::uint8_t server) const { return !Dead.contains(server); }

  void Poll() {
    for (std::uint8_t server = 1; server <= kServers; ++server) {
      TModbusClient& client = Clients[server];
      client.SetConnection(Connection.get());
      client.SetServerAddress(server);
      client.OnCustomTransactionComplete = [this](TModbusClient& sender, TModbusTransaction& done,
                                                  std::uint8_t) {
        ++Ended[done.ServerAddress()][done.ServerReply()];
        // Not at once: a client of a dead server would keep the loop busy for ever.
        Loop.Post([&] { Send("03 00 00 00 01", &sender); });
      };
      Send("03 00 00 00 01", &client);
    }
  }

  /// Requests per second that the live servers have answered in so long.
  double Rate(std::chrono::seconds time) {
    Ended.clear();
    RunFor(time);
    int answered = 0;
    for (auto& [_, kinds] : Ended) answered += kinds[srNormalReply];
    return answered / static_cast<double>(time.count());
  }

  std::map<std::uint8_t, TModbusClient> Clients;
  std::set<std::uint8_t> Dead;
  std::map<std::uint8_t, int> Asked;
  std::map<std::uint8_t, std::map<TServerReply, int>> Ended;
  std::vector<std::pair<std::uint8_t, std::string>> News;
};

TEST_F(TDeadServer, TheOthersKeepNineTenthsOfTheirRate) {
  Connection->SetSetAsideAfter(3);
  Connection->SetMaxRetries(2);
  Poll();
  const double before = Rate(100s);
  Dead = {kDead};
  RunFor(10s);
  const double after = Rate(100s);
  EXPECT_GE(after, 0.9 * before * (kServers - 1) / kServers);
  EXPECT_THAT(News, ElementsAre(std::pair(kDead, "lost")));
  EXPECT_TRUE(Connection->IsSetAside(kDead));
}

TEST_F(TDeadServer, OffAtFirstTheOthersWait) {
  Poll();
  const double before = Rate(100s);
  Dead = {kDead};
  RunFor(10s);
  EXPECT_LT(Rate(100s), 0.5 * before);
  EXPECT_THAT(News, ElementsAre());
}

TEST_F(TDeadServer, IsAskedOnceAnIntervalAndFoundAgain) {
  Connection->SetSetAsideAfter(2);
  Connection->SetMaxRetries(5);
  Connection->SetProbeInterval(10'000);
  Dead = {kDead};
  Poll();
  RunFor(5s);
  EXPECT_EQ(Asked[kDead], 2) << "the retries end, too";
  RunFor(30s);
  EXPECT_EQ(Asked[kDead], 5) << "at 11 s, 21.5 s and 32 s";
  Dead = {};
  RunFor(11s);
  EXPECT_THAT(News, ElementsAre(std::pair(kDead, "lost"), std::pair(kDead, "found")));
  EXPECT_GT(Ended[kDead][srNormalReply], 1);
  EXPECT_FALSE(Connection->IsSetAside(kDead));
}

TEST_F(TDeadServer, ItsRequestsCompleteInTheirTurnWithoutARequestOnTheLine) {
  Connection->SetSetAsideAfter(1);
  TModbusClient other;
  other.SetConnection(Connection.get());
  other.SetServerAddress(2);
  Listen(other);
  Dead = {1};
  Exchange("03 00 00 00 01");
  Asked.clear();
  Send("03 00 00 00 01", &other);
  Send("03 00 00 00 01");
  Send("06 00 00 00 01");
  Send("03 00 00 00 01", &other);
  const auto before = Loop.Now();
  Await(5);
  EXPECT_EQ(Asked[1], 0);
  EXPECT_EQ(Outcomes[1].Kind, srNormalReply);
  EXPECT_EQ(Outcomes[2].Kind, srNone);
  EXPECT_EQ(Outcomes[3].Kind, srNone);
  EXPECT_EQ(Outcomes[2].Time, Outcomes[1].Time);
  EXPECT_EQ(Outcomes[4].Kind, srNormalReply);
  EXPECT_EQ(Outcomes[4].Time - before, 20ms);
  EXPECT_EQ(Connection->Counters().Replies[0], 3u);
}

// What comes while the server is asked, and whether it counts as a sign of life.
TEST_F(TDeadServer, AnyFrameOfItsOwnIsASignOfLife) {
  const struct {
    const char* Name;
    Bytes Reply;
    bool Alive;
  } kCases[] = {
      {"nothing", {}, false},
      {"another server's frame", Frame("02 03 02 12 34"), false},
      {"an exception", Frame("01 83 02"), true},
      {"a wrong check sum", Hex("01 03 02 12 34 00 00"), true},
      {"another function", Frame("01 04 02 12 34"), true},
      {"the answer", Frame("01 03 02 12 34"), true},
  };
  Connection->SetSetAsideAfter(2);
  for (const auto& one : kCases) {
    SCOPED_TRACE(one.Name);
    Connection->SetActive(false);
    Connection->SetActive(true);
    Wire.OnWrite = [](const Bytes&) {};
    Exchange("03 00 00 00 01");
    Wire.OnWrite = [&](const Bytes&) { Wire.Arrive(10ms, one.Reply); };
    Exchange("03 00 00 00 01");
    Wire.OnWrite = [](const Bytes&) {};
    EXPECT_EQ(Connection->IsSetAside(1), !one.Alive);
  }
}

TEST_F(TDeadServer, BroadcastsAreNoTimeOuts) {
  Connection->SetSetAsideAfter(1);
  Client->SetServerAddress(0);
  for (int i = 0; i < 3; ++i) Exchange("06 00 00 00 01");
  EXPECT_EQ(Asked[0], 3);
  EXPECT_FALSE(Connection->IsSetAside(0));
}

TEST_F(TDeadServer, OpeningThePortGivesItAnotherChance) {
  Connection->SetSetAsideAfter(1);
  Dead = {1};
  Exchange("03 00 00 00 01");
  EXPECT_TRUE(Connection->IsSetAside(1));
  Connection->SetActive(false);
  Connection->SetActive(true);
  EXPECT_FALSE(Connection->IsSetAside(1));
  Dead = {};
  EXPECT_EQ(Exchange("03 00 00 00 01").Kind, srNormalReply);
}

TEST_F(TDeadServer, AHandlerThatThrowsLosesNoNews) {
  Connection->SetSetAsideAfter(1);
  Dead = {1};
  Connection->OnServerLost = [](TModbusConnection&, std::uint8_t) { throw Exception("lost"); };
  Send("03 00 00 00 01");
  EXPECT_THROW(Await(1), Exception);
  Await(1);
  EXPECT_EQ(Outcomes[0].Kind, srNone);
}

TEST_F(TDeadServer, AHandlerThatDestroysTheConnectionEndsAll) {
  Connection->SetSetAsideAfter(1);
  Dead = {1};
  Connection->OnServerLost = [this](TModbusConnection&, std::uint8_t) { Connection.reset(); };
  Send("03 00 00 00 01");
  RunFor(10s);
  EXPECT_EQ(Connection, nullptr);
  EXPECT_TRUE(Outcomes.empty());
}

}  // namespace
}  // namespace OrvixModBus
