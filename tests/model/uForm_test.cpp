#include "platform/model/uForm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "platform/model/uCollection.h"
#include "platform/model/uDataModule.h"
#include "platform/model/uStringList.h"
#include "platform/rtl/uTextFile.h"
#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {

enum class TFruit { frApple, frPear, frPlum };

template <>
struct TEnumNames<TFruit> {
  static constexpr std::string_view Values[] = {"frApple", "frPear", "frPlum"};
};

namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

using TRipe = TEvent<void(int)>;
using TRotten = TEvent<void(const std::string&)>;

class TBasket;

class TCrop : public TCollectionItem {
 public:
  explicit TCrop(TCollection* collection) : TCollectionItem(collection), fParts(&New) {
    Introduce();
  }
  const std::string& Label() const { return fLabel; }
  void SetLabel(const std::string& value) {
    if (value == "weed") throw Exception("Weed is no crop");
    fLabel = value;
  }
  TCrop* Parent() const { return fParent.Get(); }
  void SetParent(TCrop* value) { fParent = value; }
  TCollection& Parts() { return fParts; }
  TRipe OnRipe;

  static TCollectionItem* New(TCollection* collection) { return new TCrop(collection); }
  static const TClassInfo& StaticClass() {
    static const TClassInfo info("TCrop", &TCollectionItem::StaticClass(),
                                 {Published("Label", &TCrop::Label, &TCrop::SetLabel, ""),
                                  Published("Parent", &TCrop::Parent, &TCrop::SetParent, nullptr),
                                  PublishedPart<TCrop, TCollection>("Parts", &TCrop::Parts),
                                  PublishedEvent("OnRipe", &TCrop::OnRipe)});
    return info;
  }
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  std::string fLabel;
  TRef<TCrop> fParent;
  TCollection fParts;
};

// A collection with a property of its own.
class TCrops : public TCollection {
 public:
  explicit TCrops(TPersistent& owner) : TCollection(&TCrop::New), fOwner(owner) {}
  TPersistent* GetOwner() const override { return &fOwner; }
  TBasket* Store() const { return fStore.Get(); }
  void SetStore(TBasket* value);

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  TPersistent& fOwner;
  TRef<TBasket> fStore;
};

// One property of every kind.
class TBasket : public TComponent {
 public:
  explicit TBasket(TComponent* owner = nullptr)
      : TComponent(owner), fOwn(new TDataModule(this)), fLiner(fOwn), fCrops(*this) {}
  ~TBasket() override { BeginDestroy(); }

  std::uint8_t Count() const { return fCount; }
  void SetCount(std::uint8_t value) {
    if (value == 13) throw Exception("13 is not wanted");
    if (value != 14) fCount = value;
  }
  double Weight() const { return fWeight; }
  void SetWeight(double value) { fWeight = value; }
  const std::string& Title() const { return fTitle; }
  void SetTitle(const std::string& value) { fTitle = value; }
  bool Open() const { return fOpen; }
  void SetOpen(bool value) { fOpen = value; }
  TFruit Fruit() const { return fFruit; }
  void SetFruit(TFruit value) { fFruit = value; }
  TSet<TFruit> Mixture() const { return fMixture; }
  void SetMixture(TSet<TFruit> value) { fMixture = value; }
  const Bytes& Stamp() const { return fStamp; }
  void SetStamp(const Bytes& value) { fStamp = value; }
  TBasket* Peer() const { return fPeer.Get(); }
  void SetPeer(TBasket* value) { fPeer = value; }
  TDataModule* Liner() const { return fLiner.Get(); }
  void SetLiner(TDataModule* value) { fLiner = value; }
  TStringList& Lines() { return fLines; }
  TCrops& Crops() { return fCrops; }
  TRipe OnRipe;
  TRotten OnRotten;

  void Loaded() override {
    ++LoadedCount;
    if (Title() == "cursed") throw Exception("It is cursed");
  }
  int LoadedCount = 0;

  static const TClassInfo& StaticClass() {
    static const TClassInfo info(
        "TBasket", &TComponent::StaticClass(),
        {Published("Count", &TBasket::Count, &TBasket::SetCount, 1),
         Published("Weight", &TBasket::Weight, &TBasket::SetWeight, 1.5),
         Published("Title", &TBasket::Title, &TBasket::SetTitle, ""),
         Published("Open", &TBasket::Open, &TBasket::SetOpen, true),
         Published("Fruit", &TBasket::Fruit, &TBasket::SetFruit, TFruit::frPear),
         Published("Mixture", &TBasket::Mixture, &TBasket::SetMixture, TSet<TFruit>({})),
         Published("Stamp", &TBasket::Stamp, &TBasket::SetStamp, Bytes()),
         Published("Peer", &TBasket::Peer, &TBasket::SetPeer, nullptr),
         Published("Liner", &TBasket::Liner, &TBasket::SetLiner),
         PublishedPart<TBasket, TStringList>("Lines", &TBasket::Lines),
         PublishedPart<TBasket, TCrops>("Crops", &TBasket::Crops),
         PublishedEvent("OnRipe", &TBasket::OnRipe),
         PublishedEvent("OnRotten", &TBasket::OnRotten)});
    return info;
  }
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  TDataModule* fOwn;
  std::uint8_t fCount = 1;
  double fWeight = 1.5;
  std::string fTitle;
  bool fOpen = true;
  TFruit fFruit = TFruit::frPear;
  TSet<TFruit> fMixture{};
  Bytes fStamp;
  TRef<TBasket> fPeer;
  TRef<TDataModule> fLiner;
  TStringList fLines;
  TCrops fCrops;
};

void TCrops::SetStore(TBasket* value) { fStore = value; }

const TClassInfo& TCrops::StaticClass() {
  static const TClassInfo info("TCrops", &TCollection::StaticClass(),
                               {Published("Store", &TCrops::Store, &TCrops::SetStore, nullptr)});
  return info;
}

struct TFarmer {
  void Eat(int pieces) { Eaten += pieces; }
  int Eaten = 0;
};

class FormFile : public testing::Test {
 protected:
  FormFile() {
    Form.RegisterClasses({ComponentClass<TDataModule>(), ComponentClass<TBasket>()});
    Form.RegisterMethod("Eat", &Farmer, &TFarmer::Eat);
    Form.RegisterMethod("Throw", TRotten([](const std::string&) {}));
  }

  // A module with a basket in it that has these properties.
  static std::string Basket(const std::string& properties) {
    return "object Farm: TDataModule\n  object Box: TBasket\n" + properties + "  end\nend\n";
  }
  std::unique_ptr<TComponent> ReadBasket(const std::string& properties) {
    return Form.Read(Basket(properties), "farm.form");
  }

  TFarmer Farmer;
  TFormFile Form;
};

// One that is not empty at first.
class TFullBasket : public TBasket {
 public:
  explicit TFullBasket(TComponent* owner = nullptr) : TBasket(owner) {
    Lines().Add("straw");
    Crops().Add();
  }
  static const TClassInfo& StaticClass() {
    static const TClassInfo info("TFullBasket", &TBasket::StaticClass(), {});
    return info;
  }
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

constexpr std::string_view kFullForm = R"(object Farm: TDataModule
  object Box: TBasket
    Count = 200
    Weight = -0.1
    Title = 'it''s '#1103#13#10'.~'#127#55357#56832
    Open = False
    Fruit = frPlum
    Mixture = [frApple, frPlum]
    Stamp = {00FF1A}
    Peer = Other
    Liner = nil
    Lines.Strings = (
      '0=Stop'
      ''
      '1=Run')
    Crops.Store = Other
    Crops = <
      item
        Label = 'roots'
        Parent = Other.Crops[1]
      end
      item
        Parts = <
          item
            Label = 'leaf'
            OnRipe = Eat
          end>
      end>
    OnRipe = Eat
    OnRotten = Throw
  end
  object Other: TBasket
    Peer = Other
    Liner = Farm
    Crops = <
      item
      end
      item
      end>
  end
end
)";

TEST_F(FormFile, WhatIsReadIsThere) {
  const auto farm = Form.Read(kFullForm);
  ASSERT_EQ(farm->ComponentCount(), 2);
  EXPECT_EQ(farm->Name(), "Farm");
  auto& box = FormComponent<TBasket>(*farm, "Box");
  auto& other = FormComponent<TBasket>(*farm, "Other");
  EXPECT_EQ(box.Count(), 200);
  EXPECT_EQ(box.Weight(), -0.1);
  EXPECT_EQ(box.Title(), "it's я\r\n.~\x7F\xF0\x9F\x98\x80");
  EXPECT_FALSE(box.Open());
  EXPECT_EQ(box.Fruit(), TFruit::frPlum);
  EXPECT_EQ(box.Mixture(), (TSet<TFruit>{TFruit::frApple, TFruit::frPlum}));
  EXPECT_EQ(box.Stamp(), (Bytes{0x00, 0xFF, 0x1A}));
  EXPECT_EQ(box.Peer(), &other);
  EXPECT_EQ(box.Liner(), nullptr);
  EXPECT_EQ(box.Lines().Text(), "0=Stop\r\n\r\n1=Run\r\n");
  EXPECT_EQ(box.Crops().Store(), &other);
  ASSERT_EQ(box.Crops().Count(), 2);
  auto& roots = dynamic_cast<TCrop&>(*box.Crops().Items(0));
  EXPECT_EQ(roots.Label(), "roots");
  EXPECT_EQ(roots.Parent(), other.Crops().Items(1));
  auto& leaf = dynamic_cast<TCrop&>(*dynamic_cast<TCrop&>(*box.Crops().Items(1)).Parts().Items(0));
  EXPECT_EQ(leaf.Label(), "leaf");
  leaf.OnRipe(2);
  box.OnRipe(5);
  EXPECT_EQ(Farmer.Eaten, 7);
  EXPECT_TRUE(box.OnRotten.Assigned());
  EXPECT_EQ(other.Peer(), &other);
  EXPECT_EQ(other.Liner(), farm.get());
}

TEST_F(FormFile, WhatIsReadAndWrittenIsTheSameText) {
  EXPECT_EQ(Form.Write(*Form.Read(kFullForm)), kFullForm);
}

TEST_F(FormFile, DefaultsAreNotWritten) {
  TDataModule farm;
  (new TBasket(&farm))->SetName("Box");
  EXPECT_EQ(Form.Write(farm), "object TDataModule\n  object Box: TBasket\n  end\nend\n");
}

TEST_F(FormFile, WhatPeopleWriteOtherwiseIsReadAlike) {
  const struct {
    std::string Written, Canonical;
  } cases[] = {
      {"COUNT = $10", "    Count = 16\n"},
      {"weight = 2", "    Weight = 2\n"},
      {"Weight = 1.50", ""},
      {"Weight = -inf", "    Weight = -INF\n"},
      {"Weight = nan", "    Weight = NAN\n"},
      {"Open = FALSE", "    Open = False\n"},
      {"fruit = FRPLUM", "    Fruit = frPlum\n"},
      {"Mixture = [frPlum,frApple]", "    Mixture = [frApple, frPlum]\n"},
      {"Mixture = []", ""},
      {"Title = 'Яблоко'", "    Title = #1071#1073#1083#1086#1082#1086\n"},
      {"Title = 'a' + 'b'", "    Title = 'ab'\n"},
      {"Peer = farm_box Peer2 = 1", "error"},
      {"Peer = BOX", "    Peer = Box\n"},
      {"Peer = nil", ""},
      {"OnRipe = nil", ""},
      {"Lines.Strings = ()", ""},
      {"Crops = <>", ""},
      {"Stamp = {}", ""},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.Written);
    if (each.Canonical == "error") {
      EXPECT_THROW(ReadBasket(each.Written + "\n"), EFormError);
    } else {
      EXPECT_EQ(Form.Write(*ReadBasket(each.Written + "\r\n")), Basket(each.Canonical));
    }
  }
}

TEST_F(FormFile, LongTextsAndBytesAreSplitIntoLines) {
  const std::string text = std::string(64, 'a') + std::string(64, 'b') + "c";
  auto farm = ReadBasket("Title = '" + text + "' Lines.Strings = ('" + text + "' 'x')\n");
  auto& box = FormComponent<TBasket>(*farm, "Box");
  box.SetStamp(Bytes(33, 0xAB));
  std::string stamp;
  for (int i = 0; i < 32; ++i) stamp += "AB";
  const std::string a = "'" + std::string(64, 'a') + "' +\n";
  const std::string b = "'" + std::string(64, 'b') + "' +\n";
  const std::string expected =
      Basket("    Title =\n      " + a + "      " + b + "      'c'\n    Stamp = {\n      " +  //
             stamp + "\n      AB}\n    Lines.Strings = (\n      " + a + "      " + b +
             "      'c'\n      'x')\n");
  EXPECT_EQ(Form.Write(*farm), expected);
  EXPECT_EQ(Form.Write(*Form.Read(expected)), expected);
}

TEST_F(FormFile, BytesThatFillALineHaveNoOther) {
  auto farm = ReadBasket("");
  FormComponent<TBasket>(*farm, "Box").SetStamp(Bytes(32, 0));
  EXPECT_EQ(Form.Write(*farm), Basket("    Stamp = {" + std::string(64, '0') + "}\n"));
}

TEST_F(FormFile, PartsAreReplacedByWhatTheFormHolds) {
  Form.RegisterClass(ComponentClass<TFullBasket>());
  const std::string text =
      "object Box: TFullBasket\n  Lines.Strings = (\n    'a')\n  Crops = <\n    item\n"
      "      Label = 'b'\n    end>\nend\n";
  EXPECT_EQ(Form.Write(*Form.Read(text)), text);
}

TEST_F(FormFile, FloatsKeepEveryDigit) {
  for (const double value : {0.1 + 0.2, 1e300, 5e-324, 1.0 / 3, -1e21, 123456789012345678.0,
                             std::numeric_limits<double>::max(), 0.0}) {
    auto farm = ReadBasket("");
    FormComponent<TBasket>(*farm, "Box").SetWeight(value);
    const auto again = Form.Read(Form.Write(*farm));
    EXPECT_EQ(FormComponent<TBasket>(*again, "Box").Weight(), value);
  }
}

TEST_F(FormFile, EachMistakeIsToldWithItsPlace) {
  const struct {
    std::string Properties, Message;  // the properties begin in line 3
  } cases[] = {
      {"Colour = 1\n", "3:1: TBasket has no property 'Colour'"},
      {"Crops.Colour = 1\n", "3:1: TBasket has no property 'Crops.Colour'"},
      {"Title.Length = 1\n", "3:1: TBasket has no property 'Title.Length'"},
      {"Crops = <\nitem\n Colour = 1 end>\n", "5:2: TCrop has no property 'Colour'"},
      {"Count = 2\nCount = 3\n", "4:1: 'Count' is set twice"},
      {"Lines.Strings = ()\nLines.Strings = ()\n", "4:1: 'Lines.Strings' is set twice"},
      {"Count = 'two'\n",
       "3:9: TBasket.Count: expected an integer between 0 and 255, found the text 'two'"},
      {"Count = 256\n", "3:9: TBasket.Count: expected an integer between 0 and 255, found 256"},
      {"Count = -1\n", "3:9: TBasket.Count: expected an integer between 0 and 255, found -1"},
      {"Count = 1.5\n", "3:9: TBasket.Count: expected an integer between 0 and 255, found 1.5"},
      {"Count = {00}\n",
       "3:9: TBasket.Count: expected an integer between 0 and 255, found bytes in braces"},
      {"Count = (\n", "3:9: TBasket.Count: expected an integer between 0 and 255, found '('"},
      {"Count = 13\n", "3:9: TBasket.Count: 13 is not wanted"},
      {"Count = 14\n", "3:9: TBasket.Count: the object does not take this value"},
      {"Weight = big\n", "3:10: TBasket.Weight: expected a number, found 'big'"},
      {"Title = 5\n", "3:9: TBasket.Title: expected a text in quotes, found 5"},
      {"Open = 1\n", "3:8: TBasket.Open: expected True or False, found 1"},
      {"Fruit = frFig\n",
       "3:9: TBasket.Fruit: expected one of frApple, frPear, frPlum, found 'frFig'"},
      {"Mixture = frPear\n",
       "3:11: TBasket.Mixture: expected a set in brackets of frApple, frPear, frPlum, found "
       "'frPear'"},
      {"Mixture = [frPear, frFig]\n",
       "3:20: TBasket.Mixture: expected a set in brackets of frApple, frPear, frPlum, found "
       "'frFig'"},
      {"Stamp = 'x'\n",
       "3:9: TBasket.Stamp: expected hexadecimal digits in braces, found the text 'x'"},
      {"Peer = 'Box'\n",
       "3:8: TBasket.Peer: expected a component's name or nil, found the text 'Box'"},
      {"Peer = Bag\n", "3:8: TBasket.Peer: there is no component 'Bag'"},
      {"Peer = Farm\n", "3:8: TBasket.Peer: 'Farm' is a TDataModule, which does not fit"},
      {"Peer = Box.Crops\n", "3:8: TBasket.Peer: 'Box.Crops' is a TCrops, which does not fit"},
      {"Peer = Box.Crops[0]\n", "3:8: TBasket.Peer: there is no component 'Box.Crops[0]'"},
      {"Peer = Box.Lines[0]\n", "3:8: TBasket.Peer: there is no component 'Box.Lines[0]'"},
      {"OnRipe = 7\n", "3:10: TBasket.OnRipe: expected a method's name or nil, found 7"},
      {"OnRipe = Cook\n", "3:10: TBasket.OnRipe: no method 'Cook' is registered"},
      {"OnRipe = Throw\n", "3:10: TBasket.OnRipe: the method 'Throw' takes other arguments"},
      {"Lines = 'x'\n", "3:9: TBasket.Lines: expected Lines.Strings = ( ... )"},
      {"Crops = 5\n", "3:9: expected '<', found 5"},
      {"Crops = < item\n", "5:1: expected '>', found 'end'"},
      {"Crops = < item end\n", "4:3: expected '>', found 'end'"},
      {"Crops = < item Label = 'weed' end>\n", "3:24: TCrop.Label: Weed is no crop"},
      {"Lines.Strings = 'x'\n", "3:17: expected '(', found the text 'x'"},
      {"Lines.Strings = ('x' y)\n", "3:22: expected ')', found 'y'"},
      {"Count 5\n", "3:7: expected '=', found 5"},
      {"5 = Count\n", "3:1: expected a property's name or 'end', found 5"},
      {"Count =\n", "4:3: TBasket.Count: expected an integer between 0 and 255, found 'end'"},
      {"object Bag: TBasket\nend\n", "3:1: expected 'end' of Box, found 'object'"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.Properties);
    EXPECT_THAT([&] { ReadBasket(each.Properties); },
                ThrowsMessage<EFormError>("farm.form:" + each.Message));
  }
}

TEST_F(FormFile, EachMistakeOfTheFrameIsToldWithItsPlace) {
  const struct {
    std::string Text, Message;
  } cases[] = {
      {"", "1:1: expected 'object', found the end of the text"},
      {"inherited Farm: TDataModule", "1:1: expected 'object', found 'inherited'"},
      {"object", "1:7: expected a component's name or class, found the end of the text"},
      {"object Farm:", "1:13: expected a component's class, found the end of the text"},
      {"object Farm: TBarn end", "1:14: no class 'TBarn' is registered"},
      {"object Farm: TDataModule",
       "1:25: expected a property's name or 'end', found the end of "
       "the text"},
      {"object Farm: TDataModule object Box: TBasket end",
       "1:49: expected 'end' of TDataModule, found the end of the text"},
      {"object Farm: TDataModule end end", "1:30: expected the end of the text, found 'end'"},
      {"object Farm: TDataModule\n object Box: TBasket end\n object box: TBasket end\nend",
       "3:9: A component named box already exists"},
      {"object Farm: TDataModule\n object TBasket end\nend",
       "2:9: expected a name and ':' before the class"},
      {"object Farm: TDataModule\n object Farm: TBasket end\nend",
       "2:9: A component named Farm already exists"},
      {"object Farm: TDataModule\n object A.B: TBasket end\nend",
       "2:9: 'A.B' is not a valid component name"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.Text);
    EXPECT_THAT([&] { Form.Read(each.Text, "farm.form"); },
                ThrowsMessage<EFormError>("farm.form:" + each.Message));
  }
}

TEST_F(FormFile, AtWhateverByteATextEndsTheErrorIsToldAndNothingIsLeft) {
  for (std::size_t size = 0; size + 1 < kFullForm.size(); ++size) {
    SCOPED_TRACE(size);
    EXPECT_THROW(Form.Read(kFullForm.substr(0, size)), EFormError);
  }
}

TEST_F(FormFile, CheckTellsAllMistakesInOrder) {
  const std::string text =
      "object Farm: TDataModule\n"
      " object Box: TBasket Count = 300 Colour = 7 Peer = Nobody Fruit = frFig end\n"
      " object Cup: TGlass Count = 1 Parts = < item end item end> end\n"
      " object Bag: TBasket Open = Maybe OnRipe = Eat Mixture = [frFig, frOak] Count = end\n"
      " object Bag: TBasket Crops = < item Label = 'weed' X = < > end> end\n"
      "end\n";
  std::string told;
  for (const EFormError& mistake : Form.Check(text, "f"))
    told += std::string(mistake.what()) + "\n";
  EXPECT_EQ(told,
            "f:2:30: TBasket.Count: expected an integer between 0 and 255, found 300\n"
            "f:2:34: TBasket has no property 'Colour'\n"
            "f:2:52: TBasket.Peer: there is no component 'Nobody'\n"
            "f:2:67: TBasket.Fruit: expected one of frApple, frPear, frPlum, found 'frFig'\n"
            "f:3:14: no class 'TGlass' is registered\n"
            "f:4:29: TBasket.Open: expected True or False, found 'Maybe'\n"
            "f:4:59: TBasket.Mixture: expected a set in brackets of frApple, frPear, frPlum, "
            "found 'frFig'\n"
            "f:4:66: TBasket.Mixture: expected a set in brackets of frApple, frPear, frPlum, "
            "found 'frOak'\n"
            "f:4:81: TBasket.Count: expected an integer between 0 and 255, found 'end'\n"
            "f:5:9: A component named Bag already exists\n"
            "f:5:45: TCrop.Label: Weed is no crop\n"
            "f:5:52: TCrop has no property 'X'\n");
}

TEST_F(FormFile, CheckEndsWhereItIsNotClearWhatIsMeant) {
  const auto mistakes = Form.Check(Basket("Count = 300\nOpen = OnRipe = Eat\nCount = 400\n"), "f");
  ASSERT_EQ(mistakes.size(), 3U);
  EXPECT_STREQ(mistakes[2].what(), "f:4:15: expected a property's name or 'end', found '='");
}

TEST_F(FormFile, CheckOfAGoodFormTellsNothingAndLoadsNothing) {
  EXPECT_TRUE(Form.Check(Basket("Title = 'cursed'\n")).empty());
}

TEST_F(FormFile, CheckEndsAtAHundredMistakes) {
  std::string properties;
  for (int i = 0; i < 300; ++i) properties += "Colour = 1\n";
  EXPECT_EQ(Form.Check(Basket(properties)).size(), 100U);
}

TEST_F(FormFile, ComponentsAreLoadedOnceTheWholeFormIsThere) {
  const auto farm = ReadBasket("Title = 'x'\n");
  const auto& box = FormComponent<TBasket>(*farm, "Box");
  EXPECT_EQ(box.LoadedCount, 1);
  EXPECT_FALSE(box.Loading());
}

TEST_F(FormFile, ALoadingTreeWaitsToBeFinished) {
  const auto farm = Form.ReadLoading(Basket(""));
  const auto& box = FormComponent<TBasket>(*farm, "Box");
  EXPECT_TRUE(box.Loading());
  EXPECT_TRUE(farm->Loading());
  EXPECT_EQ(box.LoadedCount, 0);
  TFormFile::FinishLoading(*farm);
  EXPECT_FALSE(box.Loading());
  EXPECT_EQ(box.LoadedCount, 1);
}

TEST_F(FormFile, WhatLoadedThrowsLeavesReadAfterAllHaveBeenTold) {
  const auto farm = Form.ReadLoading(
      "object Farm: TDataModule object A: TBasket Title = 'cursed' end object B: TBasket end end");
  EXPECT_THAT([&] { TFormFile::FinishLoading(*farm); }, ThrowsMessage<Exception>("It is cursed"));
  EXPECT_EQ(FormComponent<TBasket>(*farm, "B").LoadedCount, 1);
  EXPECT_THAT([&] { ReadBasket("Title = 'cursed'\n"); }, ThrowsMessage<Exception>("It is cursed"));
}

TEST_F(FormFile, UnknownMethodsAreKeptWhereTheCallerWantsSo) {
  Form.SetIgnoreUnknownMethods(true);
  const std::string text =
      Basket("    Crops = <\n      item\n        OnRipe = Bake\n      end>\n    OnRipe = Cook\n");
  const auto farm = Form.Read(text);
  auto& box = FormComponent<TBasket>(*farm, "Box");
  EXPECT_FALSE(box.OnRipe.Assigned());
  EXPECT_EQ(Form.Write(*farm), text);
  box.OnRipe = {&Farmer, &TFarmer::Eat};
  EXPECT_THAT(Form.Write(*farm), HasSubstr("    OnRipe = Eat\n"));
}

TEST_F(FormFile, WhatAFormCannotHoldIsNotWritten) {
  const auto refused = [&](auto change) {
    const auto farm = ReadBasket("Crops = <item end>\n");
    auto& box = FormComponent<TBasket>(*farm, "Box");
    TBasket stranger;
    change(box, stranger);
    try {
      Form.Write(*farm);
    } catch (const Exception& error) {
      return std::string(error.what());
    }
    return std::string("written");
  };
  EXPECT_EQ(refused([](TBasket& box, TBasket& stranger) { box.SetPeer(&stranger); }),
            "Box.Peer: what it refers to has no name in this form");
  EXPECT_EQ(refused([](TBasket& box, TBasket&) { box.SetPeer(new TBasket(box.Owner())); }),
            "Box.Peer: what it refers to has no name in this form");
  EXPECT_EQ(refused([](TBasket& box, TBasket& stranger) {
              dynamic_cast<TCrop&>(*box.Crops().Items(0))
                  .SetParent(dynamic_cast<TCrop*>(stranger.Crops().Add()));
            }),
            "Box.Parent: what it refers to has no name in this form");
  EXPECT_EQ(refused([](TBasket& box, TBasket&) { box.OnRipe = [](int) {}; }),
            "Box.OnRipe: its handler is not registered by a name");
  EXPECT_EQ(refused([](TBasket& box, TBasket&) { box.SetTitle("\xFF"); }),
            "Box.Title: the text is no UTF-8");
  EXPECT_EQ(refused([](TBasket& box, TBasket&) { box.Lines().Add("a\xC3"); }),
            "Box.Lines: the text is no UTF-8");
  EXPECT_EQ(refused([](TBasket& box, TBasket&) { box.SetName("Farm"); }),
            "The root and a component that it owns are both named Farm");
}

TEST_F(FormFile, TwoClassesOfOneNameAreRefused) {
  class TOther : public TBasket {
   public:
    using TBasket::TBasket;
    static const TClassInfo& StaticClass() {
      static const TClassInfo info("tbasket", &TBasket::StaticClass(), {});
      return info;
    }
  };
  Form.RegisterClass(ComponentClass<TBasket>());
  EXPECT_THAT([&] { Form.RegisterClass(ComponentClass<TOther>()); },
              ThrowsMessage<Exception>("Another class named tbasket is registered already"));
}

TEST_F(FormFile, AMissingComponentIsToldByNameAndClass) {
  const auto farm = ReadBasket("");
  EXPECT_THAT([&] { FormComponent<TBasket>(*farm, "Bag"); },
              ThrowsMessage<Exception>("There is no TBasket 'Bag'"));
  EXPECT_THAT([&] { FormComponent<TDataModule>(*farm, "Box"); },
              ThrowsMessage<Exception>("There is no TDataModule 'Box'"));
}

TEST_F(FormFile, FilesAreReadAndWritten) {
  const TTempFolder folder;
  const std::string file = folder.File("plant.form");
  Form.WriteFile(*Form.Read(kFullForm), file);
  EXPECT_EQ(ReadWholeFile(file), kFullForm);
  EXPECT_EQ(Form.Write(*Form.ReadFile(file)), kFullForm);
  WriteWholeFile(file, "object");
  EXPECT_THAT([&] { Form.ReadFile(file); }, ThrowsMessage<EFormError>(HasSubstr(file + ":1:7: ")));
  EXPECT_THROW(Form.ReadFile(file + ".none"), EStreamError);
}

}  // namespace
}  // namespace OrvixModBus
