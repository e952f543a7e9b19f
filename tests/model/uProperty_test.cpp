#include "platform/model/uProperty.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/model/uComponent.h"
#include "platform/model/uEvent.h"
#include "platform/model/uStringList.h"

namespace OrvixModBus {

enum class TColour { clRed, clGreen, clBlue };

template <>
struct TEnumNames<TColour> {
  static constexpr std::string_view Values[] = {"clRed", "clGreen", "clBlue"};
};

namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

using TPing = TEvent<void(int)>;

// One property of every kind.
class TThing : public TComponent {
 public:
  using TComponent::TComponent;
  ~TThing() override { BeginDestroy(); }

  std::uint8_t Byte() const { return fByte; }
  void SetByte(std::uint8_t value) {
    if (value == 13) throw EConvertError("13 is not wanted");
    fByte = value;
  }
  std::int16_t Short() const { return fShort; }
  void SetShort(std::int16_t value) { fShort = value; }
  std::uint32_t Address() const { return fAddress; }
  void SetAddress(std::uint32_t value) { fAddress = value; }
  std::int64_t Wide() const { return fWide; }
  void SetWide(std::int64_t value) { fWide = value; }
  double Ratio() const { return fRatio; }
  void SetRatio(double value) { fRatio = value; }
  const std::string& Title() const { return fTitle; }
  void SetTitle(const std::string& value) { fTitle = value; }
  bool Active() const { return fActive; }
  void SetActive(bool value) { fActive = value; }
  TColour Colour() const { return fColour; }
  void SetColour(TColour value) { fColour = value; }
  TStringList& Lines() { return fLines; }
  TThing* Peer() const { return fPeer.Get(); }
  void SetPeer(TThing* value) { fPeer = value; }

  TPing OnPing;

  static const TClassInfo& StaticClass() {
    static const TClassInfo info(
        "TThing", &TComponent::StaticClass(),
        {Published("Byte", &TThing::Byte, &TThing::SetByte, 1),
         Published("Short", &TThing::Short, &TThing::SetShort, 0),
         Published("Address", &TThing::Address, &TThing::SetAddress, 0),
         Published("Wide", &TThing::Wide, &TThing::SetWide),
         Published("Ratio", &TThing::Ratio, &TThing::SetRatio, 1.5),
         Published("Title", &TThing::Title, &TThing::SetTitle, "untitled"),
         Published("Active", &TThing::Active, &TThing::SetActive, true),
         Published("Colour", &TThing::Colour, &TThing::SetColour, TColour::clGreen),
         PublishedPart("Lines", &TThing::Lines),
         Published("Peer", &TThing::Peer, &TThing::SetPeer, nullptr),
         PublishedEvent("OnPing", &TThing::OnPing)});
    return info;
  }
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  std::uint8_t fByte = 1;
  std::int16_t fShort = 0;
  std::uint32_t fAddress = 0;
  std::int64_t fWide = 0;
  double fRatio = 1.5;
  std::string fTitle = "untitled";
  bool fActive = true;
  TColour fColour = TColour::clGreen;
  TStringList fLines;
  TRef<TThing> fPeer;
};

// Adds a property of its own and replaces one of its parent's.
class TSpecialThing : public TThing {
 public:
  using TThing::TThing;
  int Extra() const { return fExtra; }
  void SetExtra(int value) { fExtra = value; }
  int Level() const { return 1; }
  void SetLevel(int) {}

  static const TClassInfo& StaticClass() {
    static const TClassInfo info(
        "TSpecialThing", &TThing::StaticClass(),
        {Published("Extra", &TSpecialThing::Extra, &TSpecialThing::SetExtra, 0),
         Published("Byte", &TSpecialThing::Level, &TSpecialThing::SetLevel)});
    return info;
  }
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  int fExtra = 0;
};

const TPropertyInfo& PropertyOf(const TPersistent& object, std::string_view name) {
  const TPropertyInfo* const property = object.ClassInfo().Property(name);
  if (property == nullptr) throw std::out_of_range(std::string(name));
  return *property;
}

TPropertyValue Get(const TPersistent& object, std::string_view name) {
  return PropertyOf(object, name).Get(object);
}

void Set(TPersistent& object, std::string_view name, const TPropertyValue& value) {
  SetProperty(object, PropertyOf(object, name), value);
}

TPropertyValue Number(std::int64_t value) { return value; }
TPropertyValue Text(const char* value) { return std::string(value); }

// The simple kinds compare as they are; std::any does not.
bool Same(const TPropertyValue& a, const TPropertyValue& b) {
  if (a.index() != b.index()) return false;
  if (const auto* number = std::get_if<std::int64_t>(&a))
    return *number == std::get<std::int64_t>(b);
  if (const auto* real = std::get_if<double>(&a)) return *real == std::get<double>(b);
  if (const auto* text = std::get_if<std::string>(&a)) return *text == std::get<std::string>(b);
  if (const auto* object = std::get_if<TPersistent*>(&a))
    return *object == std::get<TPersistent*>(b);
  return false;
}

TEST(TClassInfo, TellsNameAndParent) {
  const TSpecialThing thing;
  EXPECT_EQ(thing.ClassName(), "TSpecialThing");
  EXPECT_EQ(thing.ClassInfo().Parent(), &TThing::StaticClass());
  EXPECT_TRUE(thing.ClassInfo().InheritsFrom(TThing::StaticClass()));
  EXPECT_TRUE(thing.ClassInfo().InheritsFrom(thing.ClassInfo()));
  EXPECT_TRUE(thing.ClassInfo().InheritsFrom(TPersistent::StaticClass()));
  EXPECT_FALSE(TThing::StaticClass().InheritsFrom(TSpecialThing::StaticClass()));
  EXPECT_EQ(TPersistent::StaticClass().Parent(), nullptr);
}

TEST(TClassInfo, ListsThePropertiesOfTheParentFirst) {
  std::vector<std::string> names;
  for (const TPropertyInfo* property : TSpecialThing::StaticClass().Properties()) {
    names.emplace_back(property->Name);
  }
  EXPECT_THAT(names, ElementsAre("Byte", "Short", "Address", "Wide", "Ratio", "Title", "Active",
                                 "Colour", "Lines", "Peer", "OnPing", "Extra", "Byte"));
}

TEST(TClassInfo, FindsTheNearestProperty) {
  const TClassInfo& info = TSpecialThing::StaticClass();
  EXPECT_NE(info.Property("Extra"), nullptr);
  EXPECT_NE(info.Property("Title"), nullptr);
  EXPECT_EQ(info.Property("Byte")->Max, std::numeric_limits<int>::max());
  EXPECT_EQ(info.Property("Nothing"), nullptr);
  EXPECT_EQ(TThing::StaticClass().Property("Extra"), nullptr);
}

TEST(TPropertyInfo, KnowsKindAndDefault) {
  struct TCase {
    const char* Name;
    TPropertyKind Kind;
    TPropertyValue Default;  // nothing: always stored
  };
  const std::vector<TCase> cases = {
      {"Byte", TPropertyKind::pkInteger, Number(1)},
      {"Short", TPropertyKind::pkInteger, Number(0)},
      {"Address", TPropertyKind::pkInteger, Number(0)},
      {"Wide", TPropertyKind::pkInteger, {}},
      {"Ratio", TPropertyKind::pkFloat, 1.5},
      {"Title", TPropertyKind::pkString, Text("untitled")},
      {"Active", TPropertyKind::pkBoolean, Number(1)},
      {"Colour", TPropertyKind::pkEnumeration, Number(1)},
      {"Lines", TPropertyKind::pkObject, {}},
      {"Peer", TPropertyKind::pkReference, static_cast<TPersistent*>(nullptr)},
  };
  const TThing thing;
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.Name);
    const TPropertyInfo& property = PropertyOf(thing, c.Name);
    EXPECT_EQ(property.Name, c.Name);
    EXPECT_EQ(property.Kind, c.Kind);
    ASSERT_EQ(property.Default.has_value(), c.Default.index() != 0);
    if (!property.Default) continue;
    EXPECT_TRUE(Same(*property.Default, c.Default));
    EXPECT_TRUE(Same(property.Get(thing), c.Default)) << "a new object has its defaults";
  }
}

TEST(TPropertyInfo, KnowsTheRangeOfAnInteger) {
  struct TCase {
    const char* Name;
    std::int64_t Min;
    std::int64_t Max;
  };
  const TThing thing;
  for (const TCase& c :
       {TCase{"Byte", 0, 255}, TCase{"Short", -32768, 32767}, TCase{"Address", 0, 4294967295},
        TCase{"Wide", std::numeric_limits<std::int64_t>::min(),
              std::numeric_limits<std::int64_t>::max()}}) {
    EXPECT_EQ(PropertyOf(thing, c.Name).Min, c.Min) << c.Name;
    EXPECT_EQ(PropertyOf(thing, c.Name).Max, c.Max) << c.Name;
  }
}

TEST(TPropertyInfo, KnowsTheNamesOfAnEnumeration) {
  const TThing thing;
  EXPECT_THAT(PropertyOf(thing, "Colour").EnumNames, ElementsAre("clRed", "clGreen", "clBlue"));
  EXPECT_TRUE(PropertyOf(thing, "Byte").EnumNames.empty());
}

TEST(SetProperty, SetsWhatGetTells) {
  TThing peer;
  struct TCase {
    const char* Name;
    TPropertyValue Value;
  };
  const std::vector<TCase> cases = {
      {"Byte", Number(255)},
      {"Byte", Number(0)},
      {"Short", Number(-32768)},
      {"Short", Number(32767)},
      {"Address", Number(4294967295)},
      {"Wide", Number(std::numeric_limits<std::int64_t>::min())},
      {"Ratio", -0.25},
      {"Title", Text("Насос")},
      {"Title", Text("")},
      {"Active", Number(0)},
      {"Active", Number(1)},
      {"Colour", Number(2)},
      {"Peer", static_cast<TPersistent*>(&peer)},
      {"Peer", static_cast<TPersistent*>(nullptr)},
  };
  TThing thing;
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.Name);
    Set(thing, c.Name, c.Value);
    EXPECT_TRUE(Same(Get(thing, c.Name), c.Value));
  }
  EXPECT_EQ(thing.Address(), 4294967295U);
  EXPECT_EQ(thing.Colour(), TColour::clBlue);
}

TEST(SetProperty, OfAPartAssigns) {
  TThing thing;
  TStringList lines;
  lines.Add("a");
  Set(thing, "Lines", static_cast<TPersistent*>(&lines));
  EXPECT_EQ(thing.Lines().Text(), "a\r\n");
  EXPECT_EQ(std::get<TPersistent*>(Get(thing, "Lines")), &thing.Lines());
  Set(thing, "Lines", static_cast<TPersistent*>(nullptr));
  EXPECT_EQ(thing.Lines().Count(), 1) << "a part is never taken away";
}

TEST(SetProperty, OfAPartRefusesWhatItCantBeAssigned) {
  TThing thing;
  TThing other;
  EXPECT_THAT([&] { Set(thing, "Lines", static_cast<TPersistent*>(&other)); },
              ThrowsMessage<EConvertError>("Cannot assign a TThing to a TStringList"));
}

TEST(SetProperty, OfAReferenceTakesADescendant) {
  TThing thing;
  {
    TSpecialThing special;
    Set(thing, "Peer", static_cast<TPersistent*>(&special));
    EXPECT_EQ(thing.Peer(), &special);
  }
  EXPECT_EQ(std::get<TPersistent*>(Get(thing, "Peer")), nullptr) << "its object is gone";
}

TEST(SetProperty, OfAnEventTakesAHandlerOfItsType) {
  TThing thing;
  int heard = 0;
  Set(thing, "OnPing", std::any(TPing([&](int value) { heard = value; })));
  thing.OnPing(8);
  EXPECT_EQ(heard, 8);
  EXPECT_TRUE(std::any_cast<TPing>(std::get<std::any>(Get(thing, "OnPing"))) == thing.OnPing);
  Set(thing, "OnPing", *PropertyOf(thing, "OnPing").Default);
  EXPECT_FALSE(thing.OnPing);
}

TEST(SetProperty, RefusesByPropertyAndReason) {
  struct TCase {
    const char* Name;
    TPropertyValue Value;
    const char* Reason;
  };
  TComponent stranger;
  TStringList list;
  const std::vector<TCase> cases = {
      {"Byte", Number(256), "256 is not between 0 and 255"},
      {"Byte", Number(-1), "-1 is not between 0 and 255"},
      {"Short", Number(32768), "32768 is not between -32768 and 32767"},
      {"Address", Number(4294967296), "4294967296 is not between 0 and 4294967295"},
      {"Byte", Text("1"), "expects an integer"},
      {"Byte", 1.0, "expects an integer"},
      {"Byte", {}, "expects an integer"},
      {"Ratio", Number(1), "expects a number"},
      {"Title", Number(1), "expects a text"},
      {"Active", Number(2), "2 is not between 0 and 1"},
      {"Active", Text("True"), "expects a Boolean"},
      {"Colour", Number(3), "3 is not between 0 and 2"},
      {"Colour", Number(-1), "-1 is not between 0 and 2"},
      {"Colour", Text("clRed"), "expects a value's name"},
      {"Lines", Text("a"), "expects an object"},
      {"Peer", Number(0), "expects an object"},
      {"Peer", static_cast<TPersistent*>(&stranger), "a TComponent does not fit"},
      {"Peer", static_cast<TPersistent*>(&list), "a TStringList does not fit"},
      {"OnPing", Text("Ping"), "expects a handler"},
      {"OnPing", std::any(TEvent<void()>()), "the handler does not fit"},
      {"OnPing", std::any(), "the handler does not fit"},
  };
  TThing thing;
  for (const TCase& c : cases) {
    SCOPED_TRACE(std::string(c.Name) + ": " + c.Reason);
    EXPECT_THAT([&] { Set(thing, c.Name, c.Value); },
                ThrowsMessage<EConvertError>("TThing." + std::string(c.Name) + ": " + c.Reason));
  }
  for (const TPropertyInfo* property : thing.ClassInfo().Properties()) {
    if (!property->Default || property->Kind == TPropertyKind::pkEvent) continue;
    EXPECT_TRUE(Same(property->Get(thing), *property->Default)) << property->Name;
  }
}

TEST(SetProperty, NamesTheClassOfTheObjectNotOfTheProperty) {
  TSpecialThing thing;
  EXPECT_THAT(
      [&] { Set(thing, "Short", Number(40000)); },
      ThrowsMessage<EConvertError>("TSpecialThing.Short: 40000 is not between -32768 and 32767"));
}

TEST(SetProperty, LetsTheSettersOwnRefusalThrough) {
  TThing thing;
  EXPECT_THAT([&] { Set(thing, "Byte", Number(13)); },
              ThrowsMessage<EConvertError>("13 is not wanted"));
  EXPECT_EQ(thing.Byte(), 1);
}

}  // namespace
}  // namespace OrvixModBus
