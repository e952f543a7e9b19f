// docs/faults.md is the table of these cases: what befalls a reply, and what becomes of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"
#include "platform/rtl/uTextFile.h"
#include "tests/faults/Plant.h"
#include "tools/simulator/uSimulatorFile.h"

namespace OrvixModBus {
namespace {

using TRow = std::vector<std::string>;

// Without the marks that set it off as code.
std::string Plain(const std::string& cell) { return Trim(ReplaceAll(cell, "`", "")); }

TRow RowOf(const std::string& line) {
  TRow row = Split(line, '|');
  row.erase(row.begin());
  row.pop_back();
  std::ranges::transform(row, row.begin(), Plain);
  return row;
}

// The rows of the first table under a heading of the page, the column names first.
std::vector<TRow> TableUnder(const std::string& heading) {
  std::vector<TRow> rows;
  bool found = false;
  for (const std::string& text : Split(ReadWholeFile(ORVIX_SOURCE_DIR "/docs/faults.md"), '\n')) {
    const std::string line = Trim(text);
    if (found && line.starts_with("|---")) continue;
    if (found && line.starts_with("|")) rows.push_back(RowOf(line));
    if (found && !rows.empty() && !line.starts_with("|")) break;
    found |= line == "## " + heading;
  }
  return rows;
}

struct TCell {
  std::string Name;  // of the case
  std::string Reply;
  std::string Fault;  // as in a simulator's file
  std::string Expected;
  std::uint8_t Function;
  bool Echoes;  // EchoSuppression is on
};

std::vector<TCell> Cells(const std::string& heading, bool echoes) {
  std::vector<TCell> cells;
  const auto table = TableUnder(heading);
  for (std::size_t row = 1; row < table.size(); ++row) {
    for (std::size_t column = 2; column < table[row].size(); ++column) {
      const std::string& code = table[0].at(column);
      const std::string name = (echoes ? "Echoing" : "Row") + std::to_string(row) + "_" + code;
      const auto function = static_cast<std::uint8_t>(StrToInt("$" + code));
      cells.push_back({name, table[row][0], table[row][1], table[row][column], function, echoes});
    }
  }
  return cells;
}

std::vector<TCell> AllCells() {
  std::vector<TCell> cells = Cells("Every fault, every function", false);
  for (const TCell& cell : Cells("Lines that echo", true)) cells.push_back(cell);
  return cells;
}

TFaultRule RuleOf(const std::string& fault) {
  return ReadSimulatorText(R"({"servers": [], "faults": [)" + fault + "]}", "cell").Faults.at(0);
}

// What the page calls the kinds.
std::string KindOf(const std::string& cell) {
  static const std::map<std::string, std::string> kKinds = [] {
    std::map<std::string, std::string> kinds;
    for (const TRow& row : TableUnder("Reply kinds")) kinds[row.at(0)] = row.at(1);
    return kinds;
  }();
  return kKinds.at(cell);
}

std::string NameOf(TServerReply kind) {
  return std::string(TEnumNames<TServerReply>::Values[static_cast<std::size_t>(kind)]);
}

// What a kind raises, by the column of the road.
std::string EventsOf(const std::string& cell, TRoad road) {
  for (const TRow& row : TableUnder("What each kind raises")) {
    const auto kinds = Split(row.at(0), ',');
    const bool fits = std::ranges::any_of(
        kinds, [&](const std::string& kind) { return Trim(kind) == ReplaceAll(cell, "!", ""); });
    if (fits) return row.at(static_cast<std::size_t>(road) + 1);
  }
  return "a kind that the page leaves out";
}

// Every place of a fault that is to befall all of them; one absent place where there are none.
std::vector<std::optional<std::size_t>> Places(const TFaultRule& rule, std::size_t replySize) {
  const bool bits = rule.Fault == EFault::FlippedBit;
  if (!bits && rule.Fault != EFault::Cut && rule.Fault != EFault::Pause) return {std::nullopt};
  std::vector<std::optional<std::size_t>> places;
  for (std::size_t i = bits ? 0 : 1; i < (bits ? replySize * 8 : replySize); ++i) {
    places.emplace_back(i);
  }
  return places;
}

std::size_t ReplySize(std::uint8_t function) {
  TPlant plant(function);
  plant.SetValue(1);
  plant.Exchange();
  return plant.Line.Counters().BytesReceived;
}

class AReply : public testing::TestWithParam<TCell> {
 protected:
  static void SetUp(TPlant& plant, const TFaultRule& rule) {
    if (GetParam().Echoes) plant.Line.SetEchoSuppression(TEchoSuppression::esOn);
    plant.Simulator.Faults = {rule};
    plant.Simulator.Faults[0].Last = 1;
    plant.SetValue(1);
  }

  // Every request from the second one on; lines that echo go on to do so.
  static void SetSecondFault(TPlant& plant, bool answers) {
    const EFault fault = GetParam().Echoes ? EFault::Echo
                         : answers         ? EFault::None
                                           : EFault::Silence;
    plant.Simulator.Faults.push_back({.First = 2, .Fault = fault, .Reply = answers});
  }

  // By every place of the fault.
  template <typename TAction>
  static void ForEach(const TAction& action) {
    const TFaultRule rule = RuleOf(GetParam().Fault);
    for (const auto& place : Places(rule, ReplySize(GetParam().Function))) {
      SCOPED_TRACE(GetParam().Reply + (place ? ", place " + std::to_string(*place) : ""));
      TFaultRule here = rule;
      here.Position = place;
      TPlant plant(GetParam().Function);
      SetUp(plant, here);
      action(plant);
    }
  }

  // What the application holds after the first request.
  static Bytes ExpectedData(const TPlant& plant) {
    const TCell& cell = GetParam();
    const TRoad road = RoadOf(cell.Function);
    Bytes value = plant.Value(cell.Expected.starts_with("ok") && cell.Expected != "ok*" ? 1 : 0);
    if (road == TRoad::WriteBlock || road == TRoad::WritePaged) return plant.Value(0);
    if (road >= TRoad::Identity && !(cell.Expected == "ok" || cell.Expected == "ok!")) return {};
    if (road != TRoad::Identity) return value;
    value.push_back(0xFF);  // it runs
    if (cell.Expected == "ok!") value.insert(value.end(), {0x5A, 0xA5});
    return value;
  }
};

// What a second exchange with another value leaves there.
Bytes SecondValue(const TPlant& plant, TRoad road) {
  if (road == TRoad::WriteBlock || road == TRoad::WritePaged) return plant.Value(0);
  Bytes value = plant.Value(2);
  if (road == TRoad::Identity) value.push_back(0xFF);
  return value;
}

TEST_P(AReply, EndsAsThePageSays) {
  const TCell& cell = GetParam();
  ForEach([&](TPlant& plant) {
    plant.Exchange();
    EXPECT_EQ(NameOf(plant.Kind()), KindOf(cell.Expected));
    EXPECT_EQ(plant.TakeEvents(), EventsOf(cell.Expected, RoadOf(cell.Function)));
    EXPECT_EQ(plant.MostWaiting(), 1U);
    EXPECT_EQ(plant.Waiting(), 0U);
    EXPECT_EQ(plant.Held(), ExpectedData(plant));
    EXPECT_EQ(plant.Line.Counters().Requests, 1U);
  });
}

TEST_P(AReply, IsNotTakenForTheNextOne) {
  ForEach([&](TPlant& plant) {
    SetSecondFault(plant, true);
    plant.Exchange();
    plant.AwaitPort();
    plant.SetValue(2);
    plant.Exchange();
    EXPECT_EQ(NameOf(plant.Kind()), "srNormalReply");
    EXPECT_EQ(plant.Held(), SecondValue(plant, RoadOf(GetParam().Function)));
  });
}

TEST_P(AReply, IsNotTakenForTheNextOneThatIsNotAnswered) {
  ForEach([&](TPlant& plant) {
    SetSecondFault(plant, false);
    plant.Exchange();
    plant.AwaitPort();
    const Bytes held = plant.Held();
    plant.SetValue(2);
    plant.Exchange();
    EXPECT_EQ(NameOf(plant.Kind()), "srNone");
    EXPECT_EQ(plant.Held(), held);
    EXPECT_EQ(plant.Waiting(), 0U);
  });
}

TEST_P(AReply, IsAskedForAgainUnlessItIsOne) {
  const TCell& cell = GetParam();
  const bool final = cell.Expected.starts_with("ok") || cell.Expected == "refused";
  if (RuleOf(cell.Fault).Fault == EFault::HangUp) return;  // there is no port to ask through
  ForEach([&](TPlant& plant) {
    SetSecondFault(plant, true);
    plant.Line.SetMaxRetries(1);
    plant.Exchange();
    EXPECT_EQ(plant.Line.Counters().Retries, final ? 0U : 1U);
    EXPECT_EQ(NameOf(plant.Kind()), final ? KindOf(cell.Expected) : "srNormalReply");
    EXPECT_EQ(plant.TakeEvents(), EventsOf(final ? cell.Expected : "ok", RoadOf(cell.Function)));
    EXPECT_EQ(plant.Waiting(), 0U);
  });
}

INSTANTIATE_TEST_SUITE_P(Matrix, AReply, testing::ValuesIn(AllCells()),
                         [](const auto& one) { return one.param.Name; });

TEST(FaultMatrix, HasEveryFaultAndEveryFunctionFamily) {
  std::vector<bool> befallen(kFaultCount, false);
  for (const TRow& row : TableUnder("Every fault, every function")) {
    EXPECT_EQ(row.size(), 18U);
    if (row[1].starts_with("{")) befallen[static_cast<std::size_t>(RuleOf(row[1]).Fault)] = true;
  }
  EXPECT_EQ(std::ranges::count(befallen, true), std::ssize(befallen));
}

}  // namespace
}  // namespace OrvixModBus
