#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "platform/rtl/uException.h"
#include "platform/rtl/uTextFile.h"
#include "tests/model/uOtherThread.h"
#include "tests/rtl/uTempFolder.h"
#include "tests/src/uTestLine.h"
#include "tests/src/uTestRegs.h"
#include "uMBLetters.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;
using enum TRegType;

constexpr char kMark[] = "\xEF\xBB\xBF";

class RegisterSet : public testing::Test {
 protected:
  TMBReg& Add(const std::string& name, const Bytes& data = {}) {
    TMBReg& reg = *regs.Add();
    reg.SetDisplayName(name);
    reg.SetRegData(data);
    return reg;
  }
  std::string Saved(const std::string& header = "") {
    regs.SaveRegsDataToFile(folder.File("regs"), header);
    return folder.Read("regs");
  }
  bool Load(const std::string& content, const std::string& header = "") {
    return regs.LoadRegsDataFromFile(folder.Write("regs", content), header);
  }

  TMBLetter letter;
  TMBRegs& regs = letter.Regs();
  TTempFolder folder;
};

TEST_F(RegisterSet, BelongsToItsLetter) {
  EXPECT_EQ(regs.GetOwner(), &letter);
  EXPECT_EQ(regs.ClassName(), "TMBRegs");
  EXPECT_TRUE(regs.ClassInfo().InheritsFrom(TRegNameCollection::StaticClass()));
  ExpectDefaultsOfNew(regs, "MBTypeInfo");
}

TEST_F(RegisterSet, AnEmptyOneHasNothingToTell) {
  EXPECT_THAT(regs.RegList(), IsEmpty());
  EXPECT_THAT(regs.RegNameAr({rtNone, rtStr}), IsEmpty());
  EXPECT_EQ(regs.GetItemByName("Pump"), nullptr);
  EXPECT_FALSE(regs.DeleteByName("Pump"));
  EXPECT_EQ(Saved(), kMark);
  EXPECT_EQ(Saved("header"), std::string(kMark) + "header\r\n");
  regs.ClearRegsData();
}

TEST_F(RegisterSet, ARegisterAddedLaterGetsItsCatalogue) {
  auto types = std::make_unique<TMBTypeInfo>();
  TMBReg& before = *regs.Add();
  SetByTable(regs, "MBTypeInfo", types.get());
  TMBReg& after = *regs.Add();
  EXPECT_EQ(regs.MBTypeInfo(), types.get());
  EXPECT_EQ(before.TypeInfo(), nullptr);
  EXPECT_EQ(after.TypeInfo(), types.get());
  types.reset();
  EXPECT_EQ(regs.MBTypeInfo(), nullptr);
  EXPECT_EQ(after.TypeInfo(), nullptr);
  EXPECT_EQ(regs.Add()->TypeInfo(), nullptr);
}

TEST_F(RegisterSet, FindsByNameAsTheIndexDoes) {
  TMBReg& pump = Add("Pump");
  TMBReg* found = nullptr;
  EXPECT_EQ(regs.GetItemByName("PUMP[7]"), &pump);
  EXPECT_TRUE(regs.TryGetRegByName("pump", found));
  EXPECT_EQ(found, &pump);
  EXPECT_FALSE(regs.TryGetRegByName("Fan", found));
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(regs.GetItem(0), &pump);
  EXPECT_THROW(regs.GetItem(1), EListError);
  EXPECT_THROW(regs.GetItem(-1), EListError);
}

TEST_F(RegisterSet, AssigningByNameOrPlaceNeedsTheRegister) {
  TMBReg source(nullptr);
  Describe(source, {.Name = "New", .Adress = 9});
  Add("Old");
  regs.SetItemByName("Nobody", source);
  EXPECT_EQ(regs.GetItem(0)->Adress(), 1u);
  regs.SetItemByName("old", source);
  EXPECT_EQ(regs.GetItemByName("New")->Adress(), 9u);
  EXPECT_EQ(regs.GetItemByName("Old"), nullptr);
  source.SetDisplayName("Newer");
  regs.SetItem(0, source);
  EXPECT_EQ(regs.GetItemByName("Newer"), regs.GetItem(0));
  EXPECT_THROW(regs.SetItem(1, source), EListError);
}

TEST_F(RegisterSet, DeletesByName) {
  Add("A");
  Add("B");
  Add("a");
  EXPECT_FALSE(regs.DeleteByName("C"));
  EXPECT_EQ(regs.Count(), 3);
  EXPECT_TRUE(regs.DeleteByName("A[2]"));
  EXPECT_EQ(regs.Count(), 2);
  EXPECT_EQ(regs.GetItemByName("A"), nullptr) << "the twin is not in the index";
  EXPECT_FALSE(regs.DeleteByName("A"));
  EXPECT_EQ(regs.GetItem(0)->Name(), "B");
  EXPECT_THROW(OnAnotherThread([&] { regs.DeleteByName("B"); }), EThreadError);
  EXPECT_NE(regs.GetItemByName("B"), nullptr);
}

TEST_F(RegisterSet, ListsRegistersAndNamesInItsOrder) {
  const TRegType types[] = {rtNum, rtStr, rtNum, rtNone};
  const char* names[] = {"D", "C", "B", "A"};
  for (int i = 0; i < 4; ++i) Add(names[i]).SetRegType(types[i]);
  EXPECT_THAT(regs.RegList(),
              ElementsAre(regs.GetItem(0), regs.GetItem(1), regs.GetItem(2), regs.GetItem(3)));
  EXPECT_THAT(regs.RegNameAr({rtNum}), ElementsAre("D", "B"));
  EXPECT_THAT(regs.RegNameAr({rtNone, rtStr}), ElementsAre("C", "A"));
  EXPECT_THAT(regs.RegNameAr({}), IsEmpty());
  EXPECT_THAT(regs.RegNameAr({rtBin}), IsEmpty());
}

TEST_F(RegisterSet, AValueByNameIsDecodedFirst) {
  Add("Text", {'O', 'K'}).SetRegType(rtStr);
  EXPECT_EQ(regs.RegValueByName("TEXT"), (TRegValue{"OK"}));
  for (const char* name : {"Nobody", ""}) {
    EXPECT_THAT([&] { regs.RegValueByName(name); },
                ThrowsMessage<Exception>("Reg: '" + std::string(name) + "'  - not in reg list"));
  }
}

TEST_F(RegisterSet, AKnownNameIsNotCloned) {
  TMBReg& pump = Add("Pump", {1});
  TMBReg other(nullptr);
  Describe(other, {.Name = "PUMP", .Adress = 9});
  EXPECT_EQ(regs.CloneReg(other), &pump);
  EXPECT_EQ(regs.Count(), 1);
  EXPECT_EQ(pump.Data(), Bytes{1});
  EXPECT_EQ(pump.Adress(), 1u);
}

TEST_F(RegisterSet, ANewNameIsClonedAndEntered) {
  TMBReg other(nullptr);
  Describe(other, {.Name = "Reg0", .Adress = 9});
  TMBReg* const clone = regs.CloneReg(other);
  EXPECT_EQ(clone->Collection(), &regs);
  EXPECT_EQ(clone->Adress(), 9u);
  EXPECT_EQ(regs.GetItemByName("Reg0"), clone) << "even under the name of its construction";
}

TEST_F(RegisterSet, ACloneThatCannotBeMadeLeavesTheSetAsItWas) {
  TMBReg other(nullptr);
  other.SetDisplayName("Long");
  other.SetRegData(Bytes(251));
  EXPECT_THROW(regs.CloneReg(other), Exception);
  EXPECT_EQ(regs.Count(), 0);
  EXPECT_EQ(regs.GetItemByName("Long"), nullptr);
}

TEST_F(RegisterSet, AllDataIsClearedAtItsLength) {
  Add("A", {1, 2});
  Add("B", {3});
  regs.ClearRegsData();
  EXPECT_EQ(regs.GetItem(0)->Data(), (Bytes{0, 0}));
  EXPECT_EQ(regs.GetItem(1)->Data(), Bytes{0});
}

class TwoSets : public RegisterSet {
 protected:
  TwoSets() {
    Add("A", {0});
    Add("B", {0});
    AddSource("a", {1});
    AddSource("B", {2, 3, 4});
  }
  void AddSource(const std::string& name, const Bytes& data) {
    TMBReg& reg = *source.Add();
    reg.SetDisplayName(name);
    reg.SetRegData(data);
  }
  std::string Data() const {
    return Hex(regs.GetItem(0)->Data()) + "|" + Hex(regs.GetItem(1)->Data());
  }

  TMBLetter sourceLetter;
  TMBRegs& source = sourceLetter.Regs();
};

TEST_F(TwoSets, DataIsCopiedByName) {
  regs.CopyRegDataByName(source);
  EXPECT_EQ(Data(), "01|02 03 04") << "whatever the lengths";
}

TEST_F(TwoSets, ANameThatIsMissingHereStopsTheCopyBeforeItBegins) {
  AddSource("C", {5});
  EXPECT_THAT([&] { regs.CopyRegDataByName(source); },
              ThrowsMessage<Exception>("Reg: 'C'  - not in reg list"));
  EXPECT_EQ(Data(), "00|00");
}

TEST_F(TwoSets, DataIsCopiedByPairsOfNames) {
  regs.CopyRegDataByName(source, TStringDynArray{"B", "", "a"}, TStringDynArray{"A", "no", "b"});
  EXPECT_EQ(Data(), "02 03 04|01");
}

TEST_F(TwoSets, PairsMustBePairs) {
  EXPECT_THAT(
      [&] {
        regs.CopyRegDataByName(source, TStringDynArray{"A", "B"}, TStringDynArray{"A"});
      },
      ThrowsMessage<Exception>("Length of sourse and dest regnamelist not equele"));
  EXPECT_THROW(regs.CopyRegDataByName(source, TStringDynArray{"A", "X"}, TStringDynArray{"A", "B"}),
               Exception);
  EXPECT_THROW(regs.CopyRegDataByName(source, TStringDynArray{"A", "B"}, TStringDynArray{"A", "X"}),
               Exception);
  EXPECT_EQ(Data(), "00|00") << "nothing is copied";
}

TEST_F(RegisterSet, SavesALinePerRegisterThatHasData) {
  Add("Pump", {0x12, 0x34});
  Add("Empty");
  Add("Насос", {0xAB});
  EXPECT_EQ(Saved(), std::string(kMark) + "Pump=1234\r\nНасос=AB\r\n");
  EXPECT_EQ(Saved("Header =x"), std::string(kMark) + "Header =x\r\nPump=1234\r\nНасос=AB\r\n");
}

TEST_F(RegisterSet, OfTwinsTheLastIsSavedAndAnEmptyOneTakesTheLineAway) {
  Add("Pump", {1});
  Add("PUMP", {2});
  EXPECT_EQ(Saved(), std::string(kMark) + "PUMP=02\r\n");
  Add("pump");
  EXPECT_EQ(Saved(), kMark);
}

TEST_F(RegisterSet, LoadingMovesOneCharacterPerByte) {
  const struct {
    const char* line;
    std::size_t length;
    Bytes expected;
  } cases[] = {
      {"R=0A", 1, {0x0A}},
      {"R=1234", 2, {0x12, 0x23}},
      {"R=0102FF", 3, {0x01, 0x10, 0x02}},
      {"R=  1234 ", 2, {0x12, 0x23}},
      {"r[4]=ab", 1, {0xAB}},
      {"R=7", 1, {0x07}},
      {"R=123", 3, {0x12, 0x23, 0x03}},
      {"R=12=3", 1, {0x12}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    regs.Clear();
    Add("R", Bytes(c.length));
    EXPECT_FALSE(Load(c.line)) << "the result is always false";
    EXPECT_EQ(regs.GetItem(0)->Data(), c.expected);
  }
}

TEST_F(RegisterSet, LoadsLinesInAnyOrderUpToTheFirstUnknownName) {
  for (const char* name : {"A", "B", "C"}) Add(name, {0});
  EXPECT_FALSE(Load("C=03\nA=01\r\nX=09\nB=02\n"));
  EXPECT_EQ(regs.GetItem(0)->Data(), Bytes{1});
  EXPECT_EQ(regs.GetItem(1)->Data(), Bytes{0});
  EXPECT_EQ(regs.GetItem(2)->Data(), Bytes{3});
}

TEST_F(RegisterSet, LoadingStopsAtALineWithoutAName) {
  Add("A", {0});
  EXPECT_FALSE(Load("A=01\n\nA=02\n"));
  EXPECT_EQ(regs.GetItem(0)->Data(), Bytes{1});
}

// The header line is looked up as a register line, too: that ends the load at once.
TEST_F(RegisterSet, AMatchingHeaderStopsTheLoad) {
  Add("A", {1});
  const std::string saved = Saved("Header");
  regs.GetItem(0)->SetRegData({9});
  EXPECT_FALSE(Load(saved, "Header"));
  EXPECT_EQ(regs.GetItem(0)->Data(), Bytes{9});
  Add("", {0}).SetDisplayName("x");
  regs.GetItem(1)->SetDisplayName("");
  EXPECT_THROW(Load(saved, "Header"), EConvertError) << "a register without a name takes it";
}

TEST_F(RegisterSet, AHeaderThatNamesARegisterIsALine) {
  Add("A", {0});
  Add("B", {0});
  EXPECT_FALSE(Load("A=07\nB=08\n", "A=07"));
  EXPECT_EQ(regs.GetItem(0)->Data(), Bytes{7});
  EXPECT_EQ(regs.GetItem(1)->Data(), Bytes{8});
}

TEST_F(RegisterSet, AWrongHeaderLoadsNothing) {
  Add("A", {0});
  for (const char* content : {"header\nA=01\n", "A=01\n", "", " Header\nA=01\n"}) {
    EXPECT_FALSE(Load(content, "Header"));
    EXPECT_EQ(regs.GetItem(0)->Data(), Bytes{0}) << content;
  }
}

TEST_F(RegisterSet, DataThatIsNoHexadecimalOrTooShortFailsWithWhatWasReadInPlace) {
  for (const char* line : {"B=1G", "B=", "B=-1", "B=1", "B= "}) {
    SCOPED_TRACE(line);
    regs.Clear();
    Add("A", {0});
    Add("B", {0, 0});
    EXPECT_THROW(Load("A=01\n" + std::string(line)), EConvertError);
    EXPECT_EQ(regs.GetItem(0)->Data(), Bytes{1});
  }
}

TEST_F(RegisterSet, AFileThatCannotBeOpenedIsNamed) {
  const std::string name = folder.File("none/regs");
  EXPECT_THAT([&] { regs.LoadRegsDataFromFile(name, ""); },
              testing::Throws<EStreamError>(
                  testing::Property(&EStreamError::what, testing::HasSubstr(name))));
  EXPECT_THROW(regs.SaveRegsDataToFile(name, ""), EStreamError);
}

TEST_F(RegisterSet, LoadingTellsEveryByteButDoesNotDecode) {
  TMBReg& reg = Add("A", {0, 0});
  reg.SetRegType(rtStr);
  int changes = 0;
  reg.OnDataChange = [&](TMBReg&) { ++changes; };
  Load("A=4142");
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(reg.ValueStr(), "");
}

TEST_F(RegisterSet, ALoadEndsWhenAHandlerDestroysRegisterOrSet) {
  TMBReg& reg = Add("A", {0, 0});
  Add("B", {0});
  reg.OnDataChange = [&](TMBReg& r) { regs.Delete(r.Index()); };
  Load("A=4142\nB=07\n");
  ASSERT_EQ(regs.Count(), 1);
  EXPECT_EQ(regs.GetItem(0)->Data(), Bytes{7});

  auto other = std::make_unique<TMBLetter>();
  TMBReg& doomed = *other->Regs().Add();
  doomed.SetDisplayName("A");
  doomed.SetRegData({0, 0});
  doomed.OnDataChange = [&](TMBReg&) { other.reset(); };
  EXPECT_FALSE(other->Regs().LoadRegsDataFromFile(folder.Write("regs", "A=4142\nA=4142\n"), ""));
  EXPECT_EQ(other, nullptr);
}

TEST_F(RegisterSet, AssigningASetCopiesItsRegisters) {
  TMBLetter other;
  TMBTypeInfo types;
  other.Regs().SetMBTypeInfo(&types);
  TMBReg& reg = *other.Regs().Add();
  reg.SetDisplayName("Copied");
  Add("Old");
  letter.SetRegs(other.Regs());
  ASSERT_EQ(regs.Count(), 1);
  EXPECT_EQ(regs.GetItemByName("Copied"), regs.GetItem(0));
  EXPECT_NE(regs.GetItem(0), &reg);
  EXPECT_EQ(regs.GetItem(0)->TypeInfo(), &types) << "that of the register";
}

}  // namespace
}  // namespace OrvixModBus
