#include "tools/orvixmb/uComparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "platform/rtl/uException.h"
#include "tools/orvixmb/uJsonText.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TRegisterRow Row(const std::string& name, std::uint32_t adress, const Bytes& raw,
                 const std::string& text) {
  TRegisterRow row;
  row.Name = name;
  row.Index = static_cast<int>(adress) / 10;
  row.Adress = adress;
  row.FuncRead = 3;
  row.Raw = raw;
  row.Text = text;
  return row;
}

TRegisterRow Silent(TRegisterRow row) {
  row.Error = "no reply";
  return row;
}

TSnapshot Before(const std::vector<TSnapshotRegister>& registers) {
  return {"Pumps", "2026-07-03T12:34:56Z", "emulated", 1, registers};
}

/// The registers of the rows: those at indexes 0 to 6 can be written.
class TPumps {
 public:
  TPumps() {
    for (int i = 0; i < 8; ++i) {
      TMBReg& reg = *fLetter.Regs().Add();
      if (i < 7) reg.SetMBFuncWrite(16);
      reg.SetRegsCount(2);
    }
  }
  const TMBRegs& Regs() const { return fLetter.Regs(); }

 private:
  TMBLetter fLetter;
};

/// A difference of every kind.
std::vector<TDifference> EveryKind() {
  const TSnapshot before = Before({{"Same", 10, 3, {0, 1}, "1"},
                                   {"Changed", 20, 3, {0, 1}, "On||"},
                                   {"Moved", 30, 3, {0, 3}, "3"},
                                   {"Gone", 40, 3, {0, 4}, "4"},
                                   {"Silent", 50, 3, {0, 5}, "5"}});
  const std::vector<TRegisterRow> now = {
      Row("Same", 10, {0, 1}, "1"), Row("Changed", 20, {0, 6}, "|Run|Fault"),
      Row("Moved", 31, {0, 3}, "3"), Silent(Row("Silent", 50, {0, 0}, "0")),
      Row("New", 60, {0xAB}, "171")};
  return Compare(before, now);
}

TEST(Comparison, FindsEveryKindOfDifferenceInTheOrderOfTheForm) {
  const auto differences = EveryKind();
  std::vector<std::pair<std::string, EDifference>> found;
  for (const TDifference& difference : differences) {
    found.emplace_back(difference.Register().Name, difference.Kind);
  }
  using Pair = std::pair<std::string, EDifference>;
  EXPECT_THAT(
      found,
      ElementsAre(Pair("Changed", EDifference::Changed), Pair("Moved", EDifference::OtherLayout),
                  Pair("Silent", EDifference::NotRead), Pair("New", EDifference::NotInSnapshot),
                  Pair("Gone", EDifference::NotInForm)));
  EXPECT_EQ(differences[0].Index, 2);
}

TEST(Comparison, TellsOneRegisterFromAnother) {
  const TSnapshotRegister was{"T1", 10, 3, {0, 1}, "1"};
  auto otherCode = Row("T1", 10, {0, 1}, "1");
  otherCode.FuncRead = 4;
  const struct {
    const char* Case;
    TRegisterRow Now;
    std::optional<EDifference> Kind;
  } cases[] = {
      {"the same", Row("T1", 10, {0, 1}, "1"), std::nullopt},
      {"name in other case", Row("t1", 10, {0, 1}, "1"), std::nullopt},
      {"other text", Row("T1", 10, {0, 1}, "0.1"), std::nullopt},
      {"other bytes", Row("T1", 10, {0, 2}, "1"), EDifference::Changed},
      {"other address", Row("T1", 11, {0, 1}, "1"), EDifference::OtherLayout},
      {"other code", otherCode, EDifference::OtherLayout},
      {"other length", Row("T1", 10, {0, 0, 0, 1}, "1"), EDifference::OtherLayout},
      {"unread and moved", Silent(Row("T1", 11, {0, 1}, "1")), EDifference::NotRead},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.Case);
    const auto differences = Compare(Before({was}), {&test.Now, 1});
    if (!test.Kind) {
      EXPECT_THAT(differences, IsEmpty());
      continue;
    }
    ASSERT_THAT(differences, SizeIs(1));
    EXPECT_EQ(differences[0].Kind, *test.Kind);
  }
}

TEST(Comparison, RegistersWithOneNameAreMatchedInTheirOrder) {
  const TSnapshot before =
      Before({{"A", 10, 3, {1}, ""}, {"a", 20, 3, {2}, ""}, {"B", 30, 3, {3}, ""}});
  const std::vector<TRegisterRow> same = {Row("A", 10, {1}, ""), Row("B", 30, {3}, ""),
                                          Row("a", 20, {2}, "")};
  EXPECT_THAT(Compare(before, same), IsEmpty());
  const auto fewer = Compare(before, std::span(same).first(2));
  ASSERT_THAT(fewer, SizeIs(1));
  EXPECT_EQ(fewer[0].Kind, EDifference::NotInForm);
  EXPECT_EQ(fewer[0].Register().Adress, 20U);
}

TEST(Comparison, TableShowsBothSides) {
  const std::string lines = TableText(ComparisonTable(EveryKind()));
  EXPECT_EQ(lines,
            "name     address  difference           snapshot                         "
            "now                              snapshot bytes  now bytes\n"
            "Changed       20  changed              On                               "
            "Run, Fault                       00 01           00 06\n"
            "Moved         31  other layout         address 30, function 3, 2 bytes  "
            "address 31, function 3, 2 bytes  00 03           00 03\n"
            "Silent        50  not read             5                                "
            "no reply                         00 05\n"
            "New           60  not in the snapshot                                   "
            "171                                              AB\n"
            "Gone          40  not in the form      4                                "
            "                                 00 04\n");
  EXPECT_THAT(TableLines(ComparisonTable({}, "/dev/ttyS0", "/dev/ttyS1")),
              ElementsAre("name  address  difference  /dev/ttyS0  /dev/ttyS1  /dev/ttyS0 bytes  "
                          "/dev/ttyS1 bytes"));
}

TEST(Comparison, JsonTellsBothSides) {
  const auto json = ComparisonJson(EveryKind());
  ASSERT_THAT(json, SizeIs(5));
  EXPECT_EQ(json[0].dump(),
            R"({"name":"Changed","difference":"changed",)"
            R"("was":{"adress":20,"function":3,"raw":"0001","text":"On||"},)"
            R"("now":{"adress":20,"function":3,"raw":"0006","text":"|Run|Fault"},"error":null})");
  EXPECT_EQ(json[1]["difference"], "other layout");
  EXPECT_EQ(json[2].dump(), R"({"name":"Silent","difference":"not read",)"
                            R"("was":{"adress":50,"function":3,"raw":"0005","text":"5"},)"
                            R"("now":null,"error":"no reply"})");
  EXPECT_EQ(json[3].dump(),
            R"({"name":"New","difference":"not in the snapshot","was":null,)"
            R"("now":{"adress":60,"function":3,"raw":"AB","text":"171"},"error":null})");
  EXPECT_EQ(json[4].dump(), R"({"name":"Gone","difference":"not in the form",)"
                            R"("was":{"adress":40,"function":3,"raw":"0004","text":"4"},)"
                            R"("now":null,"error":null})");
  EXPECT_EQ(JsonText(ComparisonJson({})), "[]\n");
}

TEST(RestorePlan, WritesWhatChangedAndTellsWhatStays) {
  auto differences = EveryKind();
  const TSnapshot before = Before({{"ReadOnly", 70, 3, {0, 7}, "7"}});
  const auto readOnly = Row("ReadOnly", 70, {0, 8}, "8");
  for (const TDifference& difference : Compare(before, {&readOnly, 1})) {
    differences.push_back(difference);
  }
  const TRestorePlan plan = PlanRestore(differences, TPumps().Regs());
  ASSERT_THAT(plan.Writes, SizeIs(1));
  EXPECT_EQ(plan.Writes[0].Index, 2);
  EXPECT_EQ(plan.Writes[0].Was->Raw, (Bytes{0, 1}));
  std::vector<std::pair<std::string, std::string>> left;
  for (const TNotRestorable& item : plan.NotRestorable) {
    left.emplace_back(item.Difference.Register().Name, item.Reason);
  }
  using Pair = std::pair<std::string, std::string>;
  EXPECT_THAT(
      left, ElementsAre(
                Pair("Moved", "it lies elsewhere in the form: address 31, function 3, 2 bytes"),
                Pair("Silent", "it was not read: no reply"), Pair("Gone", "it is not in the form"),
                Pair("ReadOnly", "it has no write function")));
}

TEST(RestorePlan, RefusesAnotherLengthEvenOfARegisterThatWasNotRead) {
  const TSnapshot before = Before({{"Long", 10, 3, {0, 1}, "1"}});
  for (const TRegisterRow& now :
       {Row("Long", 10, {0, 0, 0, 1}, "1"), Silent(Row("Long", 10, {0, 0, 0, 1}, "1"))}) {
    EXPECT_THAT(
        [&] {
          PlanRestore(Compare(before, {&now, 1}), TPumps().Regs());
        },
        testing::ThrowsMessage<Exception>(
            "Long has 2 bytes in the snapshot and 4 in the form; nothing is restored"));
  }
}

}  // namespace
}  // namespace OrvixModBus
