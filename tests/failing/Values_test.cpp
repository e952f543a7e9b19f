// Every allocation fails once while forms are read and written, and sets, catalogues, lists and
// data files are changed: what is there afterwards is whole.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/model/uForm.h"
#include "platform/rtl/uFold.h"
#include "tests/src/uTestRegs.h"
#include "uFailingMemory.h"
#include "uMBForm.h"
#include "uMBLetters.h"
#include "uMBRegSort.h"
#include "uMBRegsAutoFill.h"
#include "uWalk.h"

namespace OrvixModBus {
namespace {

constexpr char kForm[] = R"(object Plant: TDataModule
  object Line: TMBRTUConnection
    Port = '/dev/serial/by-id/usb-a-long-name-of-an-adapter-if00-port0'
    BaudRate = 19200
  end
  object Connection: TMBConnection
    RTU = Line
  end
  object Controller: TMBClient
    Connection = Connection
    Adres = 17
  end
  object Types: TMBTypeInfo
    TypeLists = <
      item
        Name = 'Mode'
        RegType = rtList
        Dictionary.Strings = (
          '0=Off'
          '1=Heating, and that for longer than usual')
      end>
  end
  object Pumps: TMBLetter
    Client = Controller
    Regs.MBTypeInfo = Types
    Regs = <
      item
        Name = 'Pressure of the first pump, in tenths'
        Adress = 4
        BytesInOneReg = 2
        Count = 1
        RegType = rtList
        RegTypeName = 'Mode'
        TypeInfo = Types
      end>
  end
end
)";

class TFormScenario {
 public:
  TFormScenario() { fForm.RegisterClasses(ModBusClasses()); }
  void Run() {
    fText.clear();
    const auto root = fForm.Read(kForm);
    fText = fForm.Write(*root);
  }
  void CheckAfterFailure() {}
  static bool WasTold() { return false; }
  bool IsDone() const { return fText == kForm; }

 private:
  TFormFile fForm;
  std::string fText;
};

class TSetScenario {
 public:
  void Run() {
    TMBRegs& regs = fLetter.Regs();
    regs.Clear();
    for (std::uint32_t i = 0; i < 20; ++i) {
      AddReg(regs, {"A register with a long name, number " + std::to_string(i), i});
    }
    regs.NameIndex("none");
    for (int i = 0; i < 20; i += 3) {
      regs.GetItem(i)->SetDisplayName("Renamed, and longer than before: " + std::to_string(i));
    }
    regs.GetItem(1)->SetDisplayName("A REGISTER with a long name, number 1");
    regs.GetItem(19)->SetIndex(0);
    regs.DeleteByName("A register with a long name, number 4");
    regs.CopyRegDataByName(fLetter.Regs());
    regs.Insert(3);
    TMBReg loose(nullptr);
    Describe(loose, {"Loose, with a name of its own[3]", 99, 4});
    regs.CloneReg(loose);
    fOther.SetRegs(regs);
  }
  void CheckAfterFailure() {
    CheckIndex(fLetter.Regs());
    CheckIndex(fOther.Regs());
  }
  static bool WasTold() { return false; }
  bool IsDone() {
    return fOther.Regs().Count() == 21 && fLetter.Regs().Count() == 21 &&
           fOther.Regs().GetItemByName("loose, with a name of its own") != nullptr &&
           fOther.Regs().GetItemByName("renamed, and longer than before: 18") != nullptr &&
           fOther.Regs().GetItemByName("A register with a long name, number 4") == nullptr;
  }

 private:
  // In order, each line standing for a register that is there and bears its name.
  static void CheckIndex(TMBRegs& regs) {
    std::string last;
    int lines = 0;
    for (;; ++lines) {
      TMBReg* reg = nullptr;
      try {
        reg = regs.RegByIndex(lines);
      } catch (const EListError&) {
        break;
      }
      ASSERT_EQ(reg->Collection(), &regs);
      EXPECT_EQ(regs.GetItemByName(reg->Name()), reg);
      EXPECT_EQ(regs.NameIndex(reg->Name()), lines);
      EXPECT_LT(CompareText(last, reg->Name()), 0);
      last = reg->Name();
    }
    EXPECT_LE(lines, regs.Count());
    for (const TMBReg* reg : regs.RegList()) {
      if (reg->Name().starts_with("Reg")) continue;  // as it was made, without a line
      EXPECT_NE(regs.GetItemByName(reg->Name()), nullptr);
    }
  }

  TMBLetter fLetter, fOther;
};

class TCatalogueScenario {
 public:
  TCatalogueScenario() { fLetter.Regs().SetMBTypeInfo(&fTypes); }
  void Run() {
    fTypes.ClearAllDataType();
    fLetter.Regs().Clear();
    auto& number = *fTypes.TypeNumbers().Add();
    number.SetName("A number with a name that is long");
    number.SetIntPart(2);
    number.SetMultiplier(0.5);
    number.SetMaxValue(65535);
    number.SetDisplayFormat("%.2f of something that is measured");
    auto& mode = *fTypes.TypeLists().Add();
    mode.SetName("Mode");
    mode.SetValue(1, "Heating, and that for longer than usual");
    mode.SetValue(70000, "Cooling, and that for longer than usual");
    for (const int offset : {0, 2}) {
      auto& field = *fTypes.TypeStructurs().Add();
      field.SetName("Field " + std::to_string(offset));
      field.SetStructurName("A block of two fields, one after the other");
      field.SetOffset(static_cast<std::int16_t>(offset));
      field.SetSize(2);
      field.SetRegType(TRegType::rtNum);
      field.SetRegTypeName("A number with a name that is long");
    }
    fTexts = fTypes.TypeStructurs().ValuesByStructurName(
        "A block of two fields, one after the other", {0, 2, 0, 4}, fTypes, nullptr);
    TMBReg& reg = AddReg(fLetter.Regs(), {"Mode", 1});
    reg.SetRegType(TRegType::rtList);
    reg.SetTypeName("Mode");
    reg.SetRegData({0, 1});
    reg.DataToValue();
    TMBRegsAutoFill fill;
    fill.SetMBLetter(&fLetter);
    fill.RegNameList().SetText("First register of this fill\nSecond register of this fill");
    fill.OnGetRegInfo = [](TMBRegsAutoFill&, TMBReg& described, bool& done) {
      described.SetBytesInOneReg(2);
      done = true;
    };
    fill.FillRegs();
    fill.AddStructurReg("A block of two fields, one after the other", reg);
  }
  void CheckAfterFailure() {
    for (const TMBReg* reg : fLetter.Regs().RegList()) EXPECT_EQ(reg->TypeInfo(), &fTypes);
  }
  static bool WasTold() { return false; }
  bool IsDone() {
    const TMBReg* mode = fLetter.Regs().GetItemByName("Mode");
    return fTexts.size() == 2 && fTexts[1] == "2.00 of something that is measured" &&
           mode != nullptr && mode->ValueStr() == "Heating, and that for longer than usual" &&
           fLetter.Regs().Count() == 5;
  }

 private:
  TMBTypeInfo fTypes;
  TMBLetter fLetter;
  TStringDynArray fTexts;
};

class TListScenario {
 public:
  void Run() {
    fLines.SetSorted(false);
    fLines.Clear();
    for (int i = 9; i >= 0; --i) {
      fLines.Add("a name long enough for the heap " + std::to_string(i) + "=" + std::to_string(i));
    }
    fLines.IndexOfName("none");
    fLines.SetValue("a name long enough for the heap 3", "three, and that is a long text as well");
    fLines.SetValue("another name long enough for the heap", "ten");
    fLines.Insert(0, "the first line, as long as the others=0");
    fLines.Sort();
    TStringList copy;
    copy.SetSorted(true);
    copy.Assign(fLines);
    copy.Add("b, as long as all the others are, and more");
    fLines.SetSorted(true);
    fLines.SetText(copy.Text());
  }
  // Every line is whole, and found under its name.
  void CheckAfterFailure() const {
    for (int i = 0; i < fLines.Count(); ++i) {
      const std::string& line = fLines.Strings(i);
      EXPECT_GT(line.size(), 15u);
      EXPECT_EQ(fLines.Strings(fLines.IndexOf(line)), line);
      const auto name = fLines.Names(i);
      if (name.empty()) continue;
      EXPECT_EQ(fLines.Values(name), fLines.ValueFromIndex(i));
    }
  }
  static bool WasTold() { return false; }
  bool IsDone() const {
    return fLines.Count() == 13 && fLines.Values("a name long enough for the heap 7") == "7" &&
           fLines.Values("a name long enough for the heap 3").starts_with("three");
  }

 private:
  TStringList fLines;
};

class TDataFileScenario {
 public:
  TDataFileScenario() {
    AddReg(fLetter.Regs(), {"A register of a long name", 1, 8});
    AddReg(fLetter.Regs(), {"Another register of a long name", 9, 8});
    Fill(0x11);
    fLetter.Regs().SaveRegsDataToFile(fName, "header");
  }
  TDataFileScenario(const TDataFileScenario&) = delete;
  TDataFileScenario& operator=(const TDataFileScenario&) = delete;
  ~TDataFileScenario() { std::filesystem::remove(fName); }

  void Run() {
    Fill(0x22);
    fLetter.Regs().SaveRegsDataToFile(fName, "");
    Fill(0);
    fLetter.Regs().LoadRegsDataFromFile(fName, "");
  }
  // The file is the old one or the new one.
  void CheckAfterFailure() const {
    TStringList lines;
    lines.LoadFromFile(fName);
    const bool old = lines.Strings(0) == "header";
    EXPECT_EQ(lines.Count(), old ? 3 : 2);
    EXPECT_FALSE(std::filesystem::exists(fName + ".part"));
  }
  static bool WasTold() { return false; }
  bool IsDone() const {
    return fLetter.Regs().GetItem(0)->Data() == Bytes(16, 0x22) &&
           fLetter.Regs().GetItem(1)->Data() == Bytes(16, 0x22);
  }

 private:
  void Fill(std::uint8_t value) {
    for (TMBReg* reg : fLetter.Regs().RegList()) reg->SetRegData(Bytes(16, value));
  }

  const std::string fName =
      testing::TempDir() + "failing_memory_" + std::to_string(getpid()) + ".data";
  TMBLetter fLetter;
};

// A catalogue with a type of each kind, whose values have long texts.
void Describe(TMBTypeInfo& types) {
  auto& number = *types.TypeNumbers().Add();
  number.SetName("rtNum");
  number.SetIntPart(2);
  number.SetMultiplier(0.1);
  number.SetMaxValue(65535);
  number.SetDisplayFormat("%.2f of something that is measured");
  auto& third = *types.TypeNumbers().Add();
  third.Assign(number);
  third.SetName("a third");
  third.SetMultiplier(1.0 / 3);
  third.SetDisplayFormat("");
  auto& mode = *types.TypeLists().Add();
  mode.SetName("rtList");
  mode.SetValue(1, "Heating, and that for longer than usual");
  mode.SetValue(2, "Cooling, and that for longer than usual");
  auto& states = *types.TypeBins().Add();
  states.SetName("rtBin");
  states.SetValue(0, true, "Heating, and that for longer than usual");
  states.SetValue(15, false, "Cooling, and that for longer than usual");
}

TEST(DecodingAgain, TakesNoMemory) {
  using enum TRegType;
  TMBTypeInfo types;
  Describe(types);
  TMBLetter letter;
  letter.Regs().SetMBTypeInfo(&types);
  const Bytes text(40, 'a'), one{0, 1}, two{0, 2};
  for (const auto& [kind, name, first, second] : {std::tuple{rtNum, "rtNum", one, two},
                                                  {rtNum, "a third", one, two},
                                                  {rtList, "rtList", one, two},
                                                  {rtBin, "rtBin", one, two},
                                                  {rtStructur, "", one, two},
                                                  {rtStr, "", text, text}}) {
    SCOPED_TRACE(name);
    TMBReg& reg = *letter.Regs().Add();
    reg.SetRegType(kind);
    reg.SetTypeName(name);
    const auto decode = [&reg](const Bytes& data) {
      for (std::size_t i = 0; i < data.size(); ++i) {
        reg.SetData(static_cast<std::uint16_t>(i), data[i]);
      }
      reg.DataToValue();
    };
    decode(first);
    decode(second);
    FailAllocation(1);
    EXPECT_NO_THROW(decode(first));
    EXPECT_FALSE(StopFailing());
    EXPECT_FALSE(reg.ValueStr().empty());
  }
}

TEST(DecodingABlockAgain, TakesNoMemory) {
  TMBTypeInfo types;
  Describe(types);
  std::int16_t offset = 0;
  for (const TRegType kind : {TRegType::rtNum, TRegType::rtList, TRegType::rtBin}) {
    auto& field = *types.TypeStructurs().Add();
    field.SetStructurName("A block of three fields");
    field.SetOffset(offset);
    field.SetSize(2);
    field.SetRegType(kind);
    field.SetRegTypeName(std::string(TEnumNames<TRegType>::Values[static_cast<int>(kind)]));
    offset += 2;
  }
  const std::string name = "A block of three fields";
  TStringDynArray texts;
  const auto decode = [&](const Bytes& block) {
    texts =
        types.TypeStructurs().ValuesByStructurName(name, block, types, nullptr, std::move(texts));
  };
  const Bytes first{0, 1, 0, 1, 0, 1}, second{0, 2, 0, 2, 0x80, 0};
  decode(first);
  decode(second);
  FailAllocation(1);
  EXPECT_NO_THROW(decode(first));
  EXPECT_FALSE(StopFailing());
  EXPECT_EQ(texts.size(), 18U);
}

TEST(FailingMemory, ReadingAndWritingAForm) { WalkAllocations<TFormScenario>(200); }
TEST(FailingMemory, ChangingARegisterSet) { WalkAllocations<TSetScenario>(200); }
TEST(FailingMemory, ChangingACatalogue) { WalkAllocations<TCatalogueScenario>(50); }
TEST(FailingMemory, ChangingAStringList) { WalkAllocations<TListScenario>(50); }
TEST(FailingMemory, SavingAndLoadingRegisterData) { WalkAllocations<TDataFileScenario>(20); }

}  // namespace
}  // namespace OrvixModBus
