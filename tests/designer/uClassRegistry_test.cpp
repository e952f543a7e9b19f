#include "platform/designer/uClassRegistry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/rtl/uException.h"
#include "tests/designer/uTestDesigner.h"

namespace OrvixModBus {
namespace {

using testing::IsEmpty;
using testing::ThrowsMessage;

// A class of components; each Number is another class.
template <class TParent, int Number>
class TPart : public TParent {
 public:
  using TParent::TParent;
  static const TClassInfo& StaticClass() {
    static const std::string kName = "TPart" + std::to_string(Number);
    static const TClassInfo kInfo(kName, &TParent::StaticClass(), {});
    return kInfo;
  }
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

using TPump = TPart<TComponent, 1>;
using TValve = TPart<TComponent, 2>;
using TBigPump = TPart<TPump, 3>;
using THugePump = TPart<TBigPump, 4>;

// A class of somebody else, of the same name as TPump but for the case.
class TOtherPump : public TComponent {
 public:
  using TComponent::TComponent;
  static const TClassInfo& StaticClass() {
    static const TClassInfo kInfo("TPART1", &TComponent::StaticClass(), {});
    return kInfo;
  }
};

template <int Number>
class TPartEditor : public TComponentEditor {
 public:
  using TComponentEditor::TComponentEditor;
  std::string GetVerb(int /*index*/) const override { return "editor " + std::to_string(Number); }
};

// "page: class class, page: ..."
std::string Palette(const TClassRegistry& registry) {
  std::string text;
  for (const TPalettePage& page : registry.Pages()) {
    text += (text.empty() ? "" : ", ") + page.Name + ":";
    for (const auto& shown : page.Classes) text += " " + std::string(shown.Info->Name());
  }
  return text;
}

std::string Editors(const TClassRegistry& registry) {
  std::string text;
  for (const auto& editor : registry.Editors()) {
    text += std::string(editor.Component->Name()) + "=" + editor.Name + ";";
  }
  return text;
}

TEST(ClassRegistry, IsEmptyAtFirst) {
  const TClassRegistry registry;
  EXPECT_THAT(registry.Pages(), IsEmpty());
  EXPECT_THAT(registry.Editors(), IsEmpty());
  EXPECT_EQ(registry.FindClass("TPart1"), nullptr);
}

TEST(ClassRegistry, KeepsPagesAndClassesInTheOrderOfRegistration) {
  TClassRegistry registry;
  registry.RegisterComponents("Wet", {ComponentClass<TValve>(), ComponentClass<TPump>()});
  registry.RegisterComponents("Dry", {});
  registry.RegisterComponents("Wet", {ComponentClass<TBigPump>()});
  EXPECT_EQ(Palette(registry), "Wet: TPart2 TPart1 TPart3, Dry:");
}

TEST(ClassRegistry, ShowsAClassOnceOnEachPage) {
  TClassRegistry registry;
  registry.RegisterComponents("Wet", {ComponentClass<TPump>(), ComponentClass<TPump>()});
  registry.RegisterComponents("Dry", {ComponentClass<TPump>()});
  registry.RegisterComponents("Wet", {ComponentClass<TValve>(), ComponentClass<TPump>()});
  EXPECT_EQ(Palette(registry), "Wet: TPart1 TPart2, Dry: TPart1");
}

TEST(ClassRegistry, RefusesASecondClassOfTheSameNameWhole) {
  const auto refused = ThrowsMessage<Exception>("Another class named TPART1 is registered already");
  TClassRegistry registry;
  registry.RegisterComponents("Wet", {ComponentClass<TPump>()});
  EXPECT_THAT(
      [&] {
        registry.RegisterComponents("Dry",
                                    {ComponentClass<TValve>(), ComponentClass<TOtherPump>()});
      },
      refused);
  EXPECT_EQ(Palette(registry), "Wet: TPart1");
}

TEST(ClassRegistry, RefusesTwoClassesOfTheSameNameAtOnce) {
  TClassRegistry registry;
  EXPECT_THAT(
      [&] {
        registry.RegisterComponents("Wet", {ComponentClass<TPump>(), ComponentClass<TOtherPump>()});
      },
      ThrowsMessage<Exception>("Another class named TPart1 is registered already"));
  EXPECT_THAT(registry.Pages(), IsEmpty());
}

TEST(ClassRegistry, FindsAClassOnAnyPageWithoutRegardToCase) {
  TClassRegistry registry;
  registry.RegisterComponents("Wet", {ComponentClass<TPump>()});
  registry.RegisterComponents("Dry", {ComponentClass<TValve>()});
  ASSERT_NE(registry.FindClass("tpart2"), nullptr);
  EXPECT_EQ(registry.FindClass("tpart2")->Info, &TValve::StaticClass());
  EXPECT_EQ(registry.FindClass("TPart"), nullptr);
  EXPECT_EQ(registry.FindClass(""), nullptr);
}

TEST(ClassRegistry, CreatesAComponentThatBelongsToItsOwner) {
  TClassRegistry registry;
  registry.RegisterComponents("Wet", {ComponentClass<TPump>()});
  TComponent form;
  TComponent* const made = registry.FindClass("TPart1")->Create(&form);
  EXPECT_NE(dynamic_cast<TPump*>(made), nullptr);
  EXPECT_EQ(made->Owner(), &form);
}

// A component of each class, and which editor it gets.
class ComponentEditors : public testing::Test {
 protected:
  std::string EditorOf(TComponent& component) {
    return Registry.CreateEditor(component, fDesigner)->GetVerb(0);
  }

  TClassRegistry Registry;
  TComponent Plain;
  TPump Pump;
  TBigPump BigPump;
  THugePump HugePump;
  TValve Valve;

 private:
  TTestDesigner fDesigner;
};

TEST_F(ComponentEditors, AreThoseOfTheClassOrItsNearestAncestor) {
  Registry.RegisterComponentEditor<TPartEditor<3>>(TBigPump::StaticClass(), "TBigEditor");
  Registry.RegisterComponentEditor<TPartEditor<1>>(TPump::StaticClass(), "TPumpEditor");
  EXPECT_EQ(EditorOf(Pump), "editor 1");
  EXPECT_EQ(EditorOf(BigPump), "editor 3");
  EXPECT_EQ(EditorOf(HugePump), "editor 3");
  EXPECT_EQ(Editors(Registry), "TPart3=TBigEditor;TPart1=TPumpEditor;");
}

TEST_F(ComponentEditors, AreWithoutVerbsWhereNoneIsRegistered) {
  Registry.RegisterComponentEditor<TPartEditor<1>>(TPump::StaticClass(), "TPumpEditor");
  EXPECT_EQ(EditorOf(Valve), "");
  EXPECT_EQ(EditorOf(Plain), "");
}

TEST_F(ComponentEditors, OfTheSameClassAreReplacedByTheLatest) {
  Registry.RegisterComponentEditor<TPartEditor<1>>(TPump::StaticClass(), "TPumpEditor");
  Registry.RegisterComponentEditor<TPartEditor<2>>(TPump::StaticClass(), "TNewEditor");
  EXPECT_EQ(EditorOf(Pump), "editor 2");
  EXPECT_EQ(EditorOf(BigPump), "editor 2");
  EXPECT_EQ(Editors(Registry), "TPart1=TNewEditor;");
}

TEST_F(ComponentEditors, EditTheComponentTheyWereMadeFor) {
  TTestDesigner designer;
  Registry.RegisterComponentEditor<TPartEditor<1>>(TPump::StaticClass(), "TPumpEditor");
  for (TComponent* component : {static_cast<TComponent*>(&Pump), &Plain}) {
    const auto editor = Registry.CreateEditor(*component, designer);
    EXPECT_EQ(&editor->Component(), component);
    EXPECT_EQ(&editor->Designer(), &designer);
  }
}

}  // namespace
}  // namespace OrvixModBus
