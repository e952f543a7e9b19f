#include "uMBRegsAutoFill.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/rtl/uBeep.h"
#include "platform/rtl/uException.h"
#include "tests/src/uTestRegs.h"

namespace OrvixModBus {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::ThrowsMessage;

using TTexts = std::vector<std::string>;

/// A descendant that knows a device: it notes what it is asked, then does what the test says.
class TDeviceFill : public TMBRegsAutoFill {
 public:
  using TInfo = std::function<void(TMBReg&, bool&)>;

  explicit TDeviceFill(TTexts& log) : fLog(log) {}

  std::function<void()> Names;
  TInfo Info;
  TInfo InfoWithOutType;

 protected:
  void GetRegNameList() override {
    fLog.push_back("names");
    if (Names) Names();
  }
  void GetRegInfo(TMBReg& reg, bool& done) override {
    fLog.push_back("info " + reg.Name());
    if (Info) Info(reg, done);
  }
  void GetRegInfoWithOutType(TMBReg& reg, bool& done) override {
    fLog.push_back("short info " + reg.Name());
    if (InfoWithOutType) InfoWithOutType(reg, done);
  }

 private:
  TTexts& fLog;
};

/// A letter with a catalogue and an auto-fill that describes every name as one word.
class AutoFill : public testing::Test {
 protected:
  AutoFill() {
    letter->Regs().SetMBTypeInfo(types.get());
    fill->SetMBLetter(letter.get());
    fill->Info = fill->InfoWithOutType = [](TMBReg& reg, bool& done) {
      reg.SetBytesInOneReg(2);
      reg.SetRegsCount(1);
      done = true;
    };
    SetBeep([this] { log.push_back("beep"); });
  }
  ~AutoFill() override { SetBeep({}); }

  void SetNames(const TTexts& names) {
    fill->RegNameList().Clear();
    for (const std::string& name : names) fill->RegNameList().Add(name);
  }
  TMBRegProc Proc() {
    return [this](TMBReg& reg) { log.push_back("proc " + reg.Name()); };
  }
  void TellProgress() {
    fill->ProgressProc = [this](std::int32_t done) {
      log.push_back("progress " + std::to_string(done));
    };
  }
  TTexts Names() const {
    TTexts names;
    for (const TMBReg* reg : letter->Regs().RegList()) names.push_back(reg->Name());
    return names;
  }
  TMBRegTypeStructure& AddMember(const std::string& structur, const std::string& name, int offset,
                                 int size, TRegType type = TRegType::rtNum,
                                 const std::string& typeName = "U8") {
    TMBRegTypeStructure& member = *types->TypeStructurs().Add();
    member.SetStructurName(structur);
    member.SetName(name);
    member.SetOffset(static_cast<std::int16_t>(offset));
    member.SetSize(static_cast<std::uint16_t>(size));
    member.SetRegType(type);
    member.SetRegTypeName(typeName);
    return member;
  }

  TTexts log;
  std::unique_ptr<TMBTypeInfo> types = std::make_unique<TMBTypeInfo>();
  std::unique_ptr<TMBLetter> letter = std::make_unique<TMBLetter>();
  std::unique_ptr<TDeviceFill> fill = std::make_unique<TDeviceFill>(log);
};

// --- what every operation needs ----------------------------------------------------------------

TEST_F(AutoFill, RefusesToWorkWithoutLetterOrCatalogue) {
  SetNames({"A"});
  AddMember("S", "A", 0, 1);
  const TMBReg base(nullptr);
  TMBReg reg(nullptr);
  const std::vector<std::function<void()>> operations = {
      [&] { fill->FillRegs(Proc()); }, [&] { fill->FillRegsFast(Proc(), true); },
      [&] { fill->AddStructurReg("S", base); },
      [&] { fill->FillStructurReg(base, reg, *types->TypeStructurs().Items(0)); }};
  TellProgress();
  fill->SetMBLetter(nullptr);
  for (const auto& operation : operations) {
    EXPECT_THAT(operation, ThrowsMessage<Exception>("MBLetters not assigned"));
  }
  fill->SetMBLetter(letter.get());
  letter->Regs().SetMBTypeInfo(nullptr);
  for (const auto& operation : operations) {
    EXPECT_THAT(operation, ThrowsMessage<Exception>("TypeInfo not assigned"));
  }
  EXPECT_THAT(log, IsEmpty());
  EXPECT_THAT(Names(), IsEmpty());
  EXPECT_EQ(reg.Adress(), 1u) << "as it was made";
}

TEST_F(AutoFill, ForgetsALetterThatIsDestroyed) {
  letter.reset();
  EXPECT_EQ(fill->MBLetter(), nullptr);
  EXPECT_THAT([&] { fill->FillRegs(); }, ThrowsMessage<Exception>("MBLetters not assigned"));
}

// --- the full fill -----------------------------------------------------------------------------

TEST_F(AutoFill, AddsOneRegisterPerNameAndTellsIt) {
  SetNames({"A", "B"});
  fill->FillRegs(Proc());
  EXPECT_THAT(log, ElementsAre("names", "info A", "proc A", "info B", "proc B"));
  EXPECT_THAT(Names(), ElementsAre("A", "B"));
  const TMBReg& reg = *letter->Regs().GetItemByName("b");
  EXPECT_EQ(reg.CountInByte(), 2);
  EXPECT_EQ(reg.TypeInfo(), types.get());
}

TEST_F(AutoFill, TakesNamesWithoutBlanksBitSuffixAndMask) {
  struct TCase {
    TTexts Lines;
    TTexts Names;
  };
  for (const TCase& c :
       {TCase{{"Temp", "Temp[3]", "Temp{x}"}, {"Temp"}},
        TCase{{"", "  ", " A ", "\tB\r"}, {"A", "B"}}, TCase{{"{pre}Level"}, {"Level"}},
        TCase{{"A[1]{m}", "B{m}[1]"}, {"A", "B"}}, TCase{{}, {}}}) {
    letter->Regs().Clear();
    SetNames(c.Lines);
    fill->FillRegs();
    EXPECT_EQ(Names(), c.Names);
  }
}

TEST_F(AutoFill, SkipsAKnownNameWithoutAskingForIt) {
  TMBReg& known = AddReg(letter->Regs(), {.Name = "Temp", .Adress = 99});
  fill->OnGetRegInfo = [&](TMBRegsAutoFill&, TMBReg& reg, bool&) {
    log.push_back("event " + reg.Name());
  };
  SetNames({"TEMP", "temp[1]"});
  fill->FillRegs(Proc());
  EXPECT_THAT(log, ElementsAre("names"));
  EXPECT_THAT(letter->Regs().RegList(), ElementsAre(&known));
}

TEST_F(AutoFill, AsksTheHookThenTheEventBothAlways) {
  struct TCase {
    bool Hook;   // what the hook leaves in done
    bool Event;  // what the event leaves
  };
  for (const TCase& c :
       {TCase{false, false}, TCase{false, true}, TCase{true, false}, TCase{true, true}}) {
    SCOPED_TRACE(testing::Message() << c.Hook << c.Event);
    letter->Regs().Clear();
    log.clear();
    fill->Info = [&](TMBReg& reg, bool& done) {
      EXPECT_FALSE(done);
      EXPECT_EQ(reg.TypeInfo(), types.get());
      reg.SetRegAdress(10);
      done = c.Hook;
    };
    fill->OnGetRegInfo = [&](TMBRegsAutoFill& sender, TMBReg& reg, bool& done) {
      log.push_back("event " + reg.Name());
      EXPECT_EQ(&sender, fill.get());
      EXPECT_EQ(done, c.Hook);
      EXPECT_EQ(reg.Adress(), 10u);
      reg.SetRegAdress(11);
      done = c.Event;
    };
    SetNames({"A"});
    fill->FillRegs();
    EXPECT_THAT(log, ElementsAre("names", "info A", "event A"));
    ASSERT_THAT(Names(), SizeIs(c.Event ? 1 : 0));
    for (const TMBReg* reg : letter->Regs().RegList()) EXPECT_EQ(reg->Adress(), 11u);
  }
}

TEST_F(AutoFill, AddsNothingThatNobodyDescribes) {
  TMBRegsAutoFill plain;
  plain.SetMBLetter(letter.get());
  plain.RegNameList().Add("A");
  plain.FillRegs(Proc());
  plain.FillRegsFast(Proc(), true);
  plain.FillRegsFast(Proc(), false);
  EXPECT_THAT(Names(), IsEmpty());
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(AutoFill, AsksForNamesTheHookThenTheEvent) {
  SetNames({"A"});
  fill->Names = [&] { SetNames({"B", "C"}); };
  fill->OnGetRegName = [&](TMBRegsAutoFill& sender, TStringList& list) {
    EXPECT_EQ(&sender, fill.get());
    EXPECT_EQ(list.Text(), "B\r\nC\r\n");
    log.push_back("event");
    TStringList other;
    other.Add("D");
    list.Assign(other);
  };
  fill->FillRegs();
  EXPECT_THAT(log, ElementsAre("names", "event", "info D"));
  EXPECT_EQ(fill->RegNameList().Text(), "D\r\n");
}

TEST_F(AutoFill, BeepsForRegistersWithoutBytesAndGoesOn) {
  fill->Info = [](TMBReg& reg, bool& done) {
    if (reg.Name() != "Good") reg.SetBytesInOneReg(0);
    done = reg.Name() != "Unwanted";
  };
  SetNames({"Bad", "Good", "Unwanted", "Last"});
  fill->FillRegs(Proc());
  EXPECT_THAT(log, ElementsAre("names", "info Bad", "beep", "proc Bad", "info Good", "proc Good",
                               "info Unwanted", "beep", "info Last", "beep", "proc Last"));
}

// --- the fast fill -----------------------------------------------------------------------------

TEST_F(AutoFill, FastTakesNamesAsTheyAreWrittenAndTellsProgress) {
  TellProgress();
  fill->OnGetRegName = [&](TMBRegsAutoFill&, TStringList&) { log.push_back("name event"); };
  fill->OnGetRegInfo = [&](TMBRegsAutoFill&, TMBReg&, bool&) { log.push_back("event"); };
  SetNames({"Temp{x}", "", " Other "});
  fill->FillRegsFast(Proc(), true);
  EXPECT_THAT(log, ElementsAre("progress -3", "info Temp{x}", "proc Temp{x}", "progress 1",
                               "info Other", "proc Other", "progress 3"));
  EXPECT_THAT(Names(), ElementsAre("Temp{x}", "Other"));
}

TEST_F(AutoFill, FastAsksForADescriptionOfEveryNameAlsoOfOneThatIsThere) {
  SetNames({"Temp", "Temp[3]", "Temp{x}"});
  TTexts told;
  fill->FillRegsFast([&](TMBReg& reg) { told.push_back(std::to_string(reg.Index())); }, true);
  EXPECT_THAT(log, ElementsAre("info Temp", "info Temp[3]", "info Temp{x}"));
  EXPECT_THAT(told, ElementsAre("0", "0", "1")) << "a bit of a register is that register";
  EXPECT_THAT(Names(), ElementsAre("Temp", "Temp{x}"));
}

TEST_F(AutoFill, FastTellsNoLinesWithZero) {
  TellProgress();
  fill->FillRegsFast(Proc(), true);
  EXPECT_THAT(log, ElementsAre("progress 0"));
}

TEST_F(AutoFill, FastWithOutTypeAddsNoCollections) {
  struct TCase {
    TRegType Type;
    bool WithType;
    bool Added;
  };
  using enum TRegType;
  for (const TCase& c : {TCase{rtNum, true, true}, TCase{rtNum, false, true},
                         TCase{rtCollection, true, true}, TCase{rtCollection, false, false}}) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(c.Type) << c.WithType);
    letter->Regs().Clear();
    log.clear();
    fill->Info = fill->InfoWithOutType = [&](TMBReg& reg, bool& done) {
      EXPECT_EQ(reg.TypeInfo(), nullptr) << "not before it is described";
      reg.SetBytesInOneReg(0);  // nobody beeps
      reg.SetRegType(c.Type);
      done = true;
    };
    SetNames({"A"});
    fill->FillRegsFast({}, c.WithType);
    EXPECT_THAT(log, ElementsAre(c.WithType ? "info A" : "short info A"));
    ASSERT_THAT(Names(), SizeIs(c.Added ? 1 : 0));
    for (const TMBReg* reg : letter->Regs().RegList()) EXPECT_EQ(reg->TypeInfo(), types.get());
  }
}

// --- what callbacks may do ---------------------------------------------------------------------

/// Where a callback acts, in a fill of the names A and B.
struct TPlace {
  const char* Name;
  bool Fast;
  std::function<void(TDeviceFill& fill, TMBRegProc& proc, const std::function<void()>& act)> Attach;
};

const std::vector<TPlace>& Places() {
  using TAct = std::function<void()>;
  const auto atInfo = [](TDeviceFill& fill, TMBRegProc&, const TAct& act) {
    fill.Info = [act](TMBReg&, bool& done) {
      done = true;
      act();
    };
  };
  const auto atProc = [](TDeviceFill&, TMBRegProc& proc, const TAct& act) {
    proc = [act](TMBReg&) { act(); };
  };
  static const std::vector<TPlace> kPlaces = {
      {"names", false, [](TDeviceFill& fill, TMBRegProc&, const TAct& act) { fill.Names = act; }},
      {"name event", false,
       [](TDeviceFill& fill, TMBRegProc&, const TAct& act) {
         fill.OnGetRegName = [act](TMBRegsAutoFill&, TStringList&) { act(); };
       }},
      {"info", false, atInfo},
      {"info event", false,
       [](TDeviceFill& fill, TMBRegProc&, const TAct& act) {
         fill.OnGetRegInfo = [act](TMBRegsAutoFill&, TMBReg&, bool&) { act(); };
       }},
      {"proc", false, atProc},
      {"info, fast", true, atInfo},
      {"proc, fast", true, atProc},
      {"progress", true,
       [](TDeviceFill& fill, TMBRegProc&, const TAct& act) {
         fill.ProgressProc = [act](std::int32_t) { act(); };
       }},
  };
  return kPlaces;
}

class AutoFillInterrupted : public AutoFill {
 protected:
  /// A fill for each place, in which act runs once there; then check.
  void AtEachPlace(const std::function<void()>& act, const std::function<void()>& check) {
    for (const TPlace& place : Places()) {
      SCOPED_TRACE(place.Name);
      types = std::make_unique<TMBTypeInfo>();
      letter = std::make_unique<TMBLetter>();
      letter->Regs().SetMBTypeInfo(types.get());
      fill = std::make_unique<TDeviceFill>(log);
      fill->SetMBLetter(letter.get());
      fill->Info = [](TMBReg&, bool& done) { done = true; };
      SetNames({"A", "B"});
      log.clear();
      bool acted = false;
      TMBRegProc proc = Proc();
      place.Attach(*fill, proc, [&] {
        if (!std::exchange(acted, true)) act();
      });
      Run(place.Fast, proc);
      EXPECT_TRUE(acted);
      check();
    }
  }
  void Run(bool fast, const TMBRegProc& proc) {
    if (fast) {
      fill->FillRegsFast(proc, true);
    } else {
      fill->FillRegs(proc);
    }
  }
};

TEST_F(AutoFillInterrupted, EndsWhenTheLetterIsDestroyed) {
  AtEachPlace([this] { letter.reset(); },
              [this] {
                EXPECT_EQ(letter, nullptr);
                EXPECT_THAT(log, Not(Contains("info B")));
              });
}

TEST_F(AutoFillInterrupted, EndsWhenItIsDestroyedItself) {
  AtEachPlace([this] { fill.reset(); },
              [this] {
                EXPECT_EQ(fill, nullptr);
                EXPECT_THAT(log, Not(Contains("info B")));
              });
}

TEST_F(AutoFillInterrupted, GoesOnWithTheLetterThatItBeganWith) {
  TMBLetter other;
  AtEachPlace([&] { fill->SetMBLetter(&other); },
              [&] {
                EXPECT_THAT(Names(), ElementsAre("A", "B"));
                EXPECT_EQ(other.Regs().Count(), 0);
              });
}

TEST_F(AutoFillInterrupted, GoesOnWhenTheCatalogueIsDestroyed) {
  AtEachPlace([&] { types.reset(); },
              [&] {
                EXPECT_THAT(Names(), ElementsAre("A", "B"));
                EXPECT_EQ(letter->Regs().GetItem(1)->TypeInfo(), nullptr);
              });
}

TEST_F(AutoFillInterrupted, GoesOnWithTheLinesThatItHad) {
  for (const bool fast : {false, true}) {
    letter->Regs().Clear();
    SetNames({"A", "B", "C"});
    fill->Info = [&](TMBReg& reg, bool& done) {
      done = true;
      SetNames(reg.Name() == "A" ? TTexts{} : TTexts{"X", "Y", "Z", "Q"});
    };
    Run(fast, {});
    EXPECT_THAT(Names(), ElementsAre("A", "B", "C"));
    EXPECT_EQ(fill->RegNameList().Count(), 4);
  }
}

TEST_F(AutoFillInterrupted, KeepsItsCallbacksAlsoWhenTheyAreReplaced) {
  SetNames({"A", "B"});
  TMBRegProc proc = [&](TMBReg& reg) {
    proc = {};
    log.push_back("proc " + reg.Name());
  };
  fill->ProgressProc = [this, text = std::string("progress, a text too long for a small object ")](
                           std::int32_t done) {
    fill->ProgressProc = {};
    log.push_back(text.substr(0, 9) + std::to_string(done));
  };
  fill->FillRegsFast(proc, true);
  EXPECT_THAT(log, ElementsAre("progress,-2", "info A", "proc A", "progress,1", "info B", "proc B",
                               "progress,2"));
}

TEST_F(AutoFillInterrupted, KeepsWhatStandsWhenACallbackThrows) {
  for (const bool fast : {false, true}) {
    letter->Regs().Clear();
    SetNames({"A", "B", "C"});
    fill->Info = [](TMBReg& reg, bool& done) {
      if (reg.Name() == "B") {
        reg.SetBytesInOneReg(2);
        reg.SetRegsCount(126);
      }
      done = true;
    };
    EXPECT_THAT([&] { Run(fast, {}); }, ThrowsMessage<Exception>("More then 250 bytes in reg"));
    EXPECT_THAT(Names(), ElementsAre("A"));
    fill->Info = [](TMBReg&, bool& done) { done = true; };
    Run(fast, {});
    EXPECT_THAT(Names(), ElementsAre("A", "B", "C")) << "the next fill goes on";
  }
}

TEST_F(AutoFill, FillsAHundredThousandNames) {
  constexpr int kCount = 100000;
  for (int i = 0; i < kCount; ++i) fill->RegNameList().Add("Value" + std::to_string(i));
  int progress = 0;
  fill->ProgressProc = [&](std::int32_t done) { progress = done; };
  fill->Info = [](TMBReg&, bool& done) { done = true; };
  fill->FillRegsFast({}, true);
  EXPECT_EQ(progress, kCount);
  EXPECT_EQ(letter->Regs().Count(), kCount);
  letter->Regs().Clear();
  fill->FillRegs();
  EXPECT_EQ(letter->Regs().Count(), kCount);
}

// --- structures --------------------------------------------------------------------------------

class AutoFillStructur : public AutoFill {
 protected:
  AutoFillStructur() {
    Describe(base,
             {.Name = "Base", .Adress = 1000, .Count = 0, .Read = 0x43, .Width = 1, .Write = 0x66});
    base.SetChanelIndex(4);
  }

  /// name adress read write width count channel, of each register
  TTexts Shapes() const {
    TTexts shapes;
    for (const TMBReg* reg : letter->Regs().RegList()) {
      shapes.push_back(
          reg->Name() + " " + std::to_string(reg->Adress()) + " " +
          std::to_string(reg->MBFuncRead()) + " " + std::to_string(reg->MBFuncWrite()) + " " +
          std::to_string(reg->BytesInOneReg()) + " " + std::to_string(reg->GetRegsCount()) + " " +
          std::to_string(reg->ChanelIndex()));
    }
    return shapes;
  }

  TMBReg base{nullptr};
};

TEST_F(AutoFillStructur, AddsTheMembersInOffsetOrder) {
  AddMember("S", "B_!", 4, 2);
  AddMember("Other", "X", 0, 1);
  AddMember("S", "A!_!", 0, 4).SetCaption("First");
  fill->AddStructurReg("S", base);
  EXPECT_THAT(Shapes(), ElementsAre("A4_4 1000 67 102 1 4 4", "B_4 1004 67 102 1 2 4"));
  const TMBReg& first = *letter->Regs().GetItem(0);
  EXPECT_EQ(first.Caption(), "First");
  EXPECT_EQ(first.RegType(), TRegType::rtNum);
  EXPECT_EQ(first.RegTypeName(), "U8");
  EXPECT_EQ(first.TypeInfo(), types.get());
}

TEST_F(AutoFillStructur, PutsNestedStructuresInPlaceOfTheirMember) {
  using enum TRegType;
  AddMember("Outer", "Head", 0, 1);
  AddMember("Outer", "N1", 1, 2, rtStructur, "Inner");
  AddMember("Outer", "N2", 3, 2, rtStructur, "Inner");
  AddMember("Outer", "Tail", 5, 1);
  AddMember("Inner", "I", 0, 1);
  AddMember("Inner", "D", 1, 1, rtStructur, "Deep");
  AddMember("Deep", "P", 2, 1);
  AddMember("Outer", "Empty", 6, 1, rtStructur, "Nowhere");
  fill->AddStructurReg("Outer", base);
  EXPECT_THAT(Names(), ElementsAre("Head", "I", "P", "I", "P", "Tail"));
  EXPECT_EQ(letter->Regs().GetItem(3)->Adress(), 1000u) << "from the base, not from its member";
}

TEST_F(AutoFillStructur, CountsNegativeOffsetsDownward) {
  AddMember("S", "M", -3, 1);
  fill->AddStructurReg("S", base);
  base.SetRegAdress(1);
  fill->AddStructurReg("S", base);
  EXPECT_THAT(Shapes(), ElementsAre("M 997 67 102 1 1 4", "M 4294967294 67 102 1 1 4"));
}

TEST_F(AutoFillStructur, AddsMembersAgainWhateverIsInTheSet) {
  AddMember("S", "A", 0, 1);
  fill->AddStructurReg("S", base);
  fill->AddStructurReg("S", *letter->Regs().GetItem(0));
  EXPECT_THAT(Names(), ElementsAre("A", "A"));
  EXPECT_EQ(letter->Regs().GetItemByName("A"), letter->Regs().GetItem(0));
}

TEST_F(AutoFillStructur, KnowsNoSuchStructure) {
  fill->AddStructurReg("Nix", base);
  EXPECT_THAT(Names(), IsEmpty());
}

// Each level holds the next one twice: twenty levels are a million members, of a short form.
TEST_F(AutoFillStructur, RefusesStructuresThatWouldFillTheMemory) {
  for (const char* innermost : {"Leaf", "Nix"}) {
    types->TypeStructurs().Clear();
    AddMember("Leaf", "A", 0, 1);
    for (int level = 0; level < 20; ++level) {
      const std::string inner = level == 0 ? innermost : "Level" + std::to_string(level - 1);
      const std::string outer = "Level" + std::to_string(level);
      AddMember(outer, "A", 0, 1, TRegType::rtStructur, inner);
      AddMember(outer, "B", 1, 1, TRegType::rtStructur, inner);
    }
    EXPECT_THAT([&] { fill->AddStructurReg("Level19", base); },
                ThrowsMessage<Exception>("Structure Level19 has too many members"));
    EXPECT_THAT(Names(), IsEmpty());
  }
}

TEST_F(AutoFillStructur, RefusesAStructureThatContainsItselfBeforeItAddsAnything) {
  using enum TRegType;
  AddMember("Self", "A", 0, 1);
  AddMember("Self", "B", 1, 1, rtStructur, "Self");
  AddMember("One", "A", 0, 1);
  AddMember("One", "B", 1, 1, rtStructur, "Two");
  AddMember("Two", "A", 0, 1);
  AddMember("Two", "B", 1, 1, rtStructur, "One");
  AddMember("Outer", "A", 0, 1);
  AddMember("Outer", "B", 1, 1, rtStructur, "Two");
  struct TCase {
    const char* Structur;
    const char* Culprit;
  };
  for (const TCase& c : {TCase{"Self", "Self"}, TCase{"One", "One"}, TCase{"Outer", "Two"}}) {
    const std::string message = std::string("Structure ") + c.Culprit + " contains itself";
    EXPECT_THAT([&] { fill->AddStructurReg(c.Structur, base); }, ThrowsMessage<Exception>(message));
  }
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(AutoFillStructur, EndsAtAMemberThatIsTooLong) {
  struct TCase {
    int Width;
    int Size;
    bool Fits;
  };
  for (const TCase& c : {TCase{1, 250, true}, TCase{1, 251, false}, TCase{1, 255, false},
                         TCase{1, 256, false}, TCase{1, 65535, false}, TCase{2, 125, true},
                         TCase{2, 126, false}, TCase{250, 1, true}, TCase{250, 2, false}}) {
    SCOPED_TRACE(testing::Message() << c.Width << " " << c.Size);
    types->TypeStructurs().Clear();
    letter->Regs().Clear();
    base.SetBytesInOneReg(static_cast<std::uint8_t>(c.Width));
    AddMember("S", "A", 0, 1);
    AddMember("S", "B", 1, c.Size);
    const auto add = [&] { fill->AddStructurReg("S", base); };
    if (c.Fits) {
      EXPECT_NO_THROW(add());
    } else {
      EXPECT_THAT(add, ThrowsMessage<Exception>("More then 250 bytes in reg"));
    }
    EXPECT_THAT(Names(), SizeIs(c.Fits ? 2 : 1)) << "what stands before it stays";
  }
}

TEST_F(AutoFillStructur, DescribesAMemberAsFarAsItFits) {
  const TMBRegTypeStructure& member = AddMember("S", "B_!", 4, 2);
  TMBReg reg(nullptr);
  reg.SetRegsCount(3);
  base.SetBytesInOneReg(100);
  EXPECT_THAT([&] { fill->FillStructurReg(base, reg, member); },
              ThrowsMessage<Exception>("More then 250 bytes in reg"));
  EXPECT_EQ(reg.Name(), "B_4");
  EXPECT_EQ(reg.Adress(), 1004u);
  EXPECT_EQ(reg.RegType(), TRegType::rtNone) << "what is set after the width is as it was";
}

// On purpose: the setter of the write code compares with the read code.
TEST_F(AutoFillStructur, TakesNoWriteCodeThatEqualsTheReadCode) {
  AddMember("S", "A", 0, 1);
  Describe(base, {.Name = "Base", .Count = 0, .Read = 3, .Width = 1, .Write = 3});
  fill->AddStructurReg("S", base);
  EXPECT_THAT(Shapes(), ElementsAre("A 0 3 0 1 1 4"));
}

// --- the component -----------------------------------------------------------------------------

TEST_F(AutoFill, AssignsLetterAndNamesButNoHandlers) {
  TDeviceFill other(log);
  SetNames({"A", "B"});
  fill->OnGetRegInfo = [](TMBRegsAutoFill&, TMBReg&, bool&) {};
  TellProgress();
  other.RegNameList().Add("X");
  other.Assign(*fill);
  EXPECT_EQ(other.MBLetter(), letter.get());
  EXPECT_EQ(other.RegNameList().Text(), "A\r\nB\r\n");
  EXPECT_FALSE(other.OnGetRegInfo.Assigned());
  EXPECT_FALSE(other.ProgressProc);
  other.Assign(other);
  EXPECT_EQ(other.RegNameList().Count(), 2);
  EXPECT_THAT([&] { other.Assign(*letter); },
              ThrowsMessage<EConvertError>("Cannot assign a TMBLetter to a TMBRegsAutoFill"));
  EXPECT_EQ(other.RegNameList().Count(), 2);
}

TEST_F(AutoFill, PublishesLetterNamesAndEvents) {
  TMBRegsAutoFill fresh;
  ExpectDefaultsOfNew(fresh, "MBLetter RegNameList OnGetRegName OnGetRegInfo");
  EXPECT_EQ(fresh.ClassName(), "TMBRegsAutoFill");
  SetByTable(fresh, "MBLetter", static_cast<TPersistent*>(letter.get()));
  EXPECT_EQ(fresh.MBLetter(), letter.get());
  EXPECT_THROW(SetByTable(fresh, "MBLetter", static_cast<TPersistent*>(types.get())),
               EConvertError);
  TStringList names;
  names.Add("A");
  SetByTable(fresh, "RegNameList", static_cast<TPersistent*>(&names));
  EXPECT_EQ(fresh.RegNameList().Text(), "A\r\n");
  SetEventByTable(fresh, "OnGetRegName",
                  TOnGetRegName([&](TMBRegsAutoFill&, TStringList&) { log.push_back("name"); }));
  SetEventByTable(fresh, "OnGetRegInfo",
                  TOnGetRegInfo([&](TMBRegsAutoFill&, TMBReg&, bool&) { log.push_back("info"); }));
  fresh.FillRegs();
  EXPECT_THAT(log, ElementsAre("name", "info"));
}

}  // namespace
}  // namespace OrvixModBus
