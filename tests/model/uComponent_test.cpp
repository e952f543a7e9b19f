#include "platform/model/uComponent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/model/uEvent.h"
#include "platform/model/uProperty.h"
#include "tests/model/uOtherThread.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

using TLog = std::vector<std::string>;

// Tells of its end and of what it is told.
class TProbe : public TComponent {
 public:
  TProbe(TComponent* owner, const std::string& name, TLog& log) : TComponent(owner), fLog(log) {
    SetName(name);
  }
  ~TProbe() override {
    BeginDestroy();
    fLog.push_back("end of " + Name());
  }
  void Notification(TComponent& component, TOperation operation) override {
    fLog.push_back(Name() + (operation == TOperation::opInsert ? " gets " : " loses ") +
                   component.Name());
    if (OnNotify) OnNotify(component);
  }
  std::function<void(TComponent&)> OnNotify;

 private:
  TLog& fLog;
};

TEST(TComponent, OwnsNothingAndNobodyAtFirst) {
  const TComponent component;
  EXPECT_EQ(component.Owner(), nullptr);
  EXPECT_EQ(component.GetOwner(), nullptr);
  EXPECT_EQ(component.ComponentCount(), 0);
  EXPECT_EQ(component.Name(), "");
  EXPECT_EQ(component.ClassName(), "TComponent");
}

TEST(TComponent, ListsWhatItOwnsInOrderOfCreation) {
  TComponent owner;
  auto* const first = new TComponent(&owner);
  auto* const second = new TComponent(&owner);
  EXPECT_EQ(owner.ComponentCount(), 2);
  EXPECT_EQ(owner.Components(0), first);
  EXPECT_EQ(owner.Components(1), second);
  EXPECT_EQ(first->Owner(), &owner);
  EXPECT_EQ(first->GetOwner(), &owner);
}

TEST(TComponent, IndexPastTheEndIsRefused) {
  TComponent owner;
  new TComponent(&owner);
  EXPECT_THAT([&] { owner.Components(1); },
              ThrowsMessage<EListError>("List index out of bounds (1)"));
  EXPECT_THAT([&] { owner.Components(-1); },
              ThrowsMessage<EListError>("List index out of bounds (-1)"));
}

TEST(TComponent, DestroysWhatItOwnsTheLastFirst) {
  TLog log;
  {
    const TProbe owner(nullptr, "Owner", log);
    new TProbe(&const_cast<TProbe&>(owner), "First", log);
    auto* const second = new TProbe(&const_cast<TProbe&>(owner), "Second", log);
    new TProbe(second, "Inner", log);
    log.clear();
  }
  EXPECT_THAT(log, ElementsAre("end of Inner", "end of Second", "end of First", "end of Owner"));
}

TEST(TComponent, LeavesItsOwnerWhenItGoesFirst) {
  TLog log;
  TProbe owner(nullptr, "Owner", log);
  auto* const first = new TProbe(&owner, "First", log);
  auto* const second = new TProbe(&owner, "Second", log);
  log.clear();
  delete first;
  EXPECT_EQ(owner.ComponentCount(), 1);
  EXPECT_EQ(owner.Components(0), second);
  EXPECT_THAT(log, ElementsAre("Owner loses First", "end of First"));
}

TEST(TComponent, OwnedOneLivesOnTheStack) {
  TLog log;
  TProbe owner(nullptr, "Owner", log);
  {
    const TProbe onStack(&owner, "OnStack", log);
    EXPECT_EQ(owner.ComponentCount(), 1);
  }
  EXPECT_EQ(owner.ComponentCount(), 0);
}

TEST(TComponent, OwnedOneIsAMemberOfItsOwner) {
  struct TPanel : TComponent {
    TComponent Part{this};
  };
  auto panel = std::make_unique<TPanel>();
  EXPECT_EQ(panel->ComponentCount(), 1);
  panel.reset();  // freed once
}

TEST(TComponent, IsInsertedIntoItsOwnerAndTold) {
  TLog log;
  TProbe owner(nullptr, "Owner", log);
  new TComponent(&owner);
  EXPECT_THAT(log, ElementsAre("Owner gets "));  // still without a name
}

TEST(TComponent, OwnerThatRefusesKeepsNothing) {
  TLog log;
  TProbe owner(nullptr, "Owner", log);
  owner.OnNotify = [](TComponent&) { throw std::runtime_error("full"); };
  EXPECT_THAT([&] { const TComponent refused(&owner); }, ThrowsMessage<std::runtime_error>("full"));
  EXPECT_EQ(owner.ComponentCount(), 0);
}

TEST(TComponent, WhoseConstructorThrowsLeavesItsOwner) {
  struct TFailing : TComponent {
    explicit TFailing(TComponent* owner) : TComponent(owner) { throw std::runtime_error("no"); }
  };
  TComponent owner;
  EXPECT_THROW(new TFailing(&owner), std::runtime_error);
  EXPECT_EQ(owner.ComponentCount(), 0);
}

// ---- names

TEST(TComponent, NameIsAnIdentifierOrEmpty) {
  for (const char* name : {"A", "_", "Pump1", "pump_2", "Насос", ""}) {
    TComponent component;
    component.SetName("Before");
    component.SetName(name);
    EXPECT_EQ(component.Name(), name);
  }
}

TEST(TComponent, NameThatIsNoIdentifierIsRefused) {
  for (const std::string name : {"1A", "A B", "A.B", " A", "A-B", "A\n"}) {
    TComponent component;
    component.SetName("Before");
    EXPECT_THAT([&] { component.SetName(name); },
                ThrowsMessage<EComponentError>("'" + name + "' is not a valid component name"));
    EXPECT_EQ(component.Name(), "Before");
  }
}

TEST(TComponent, NameOfASiblingIsRefusedWithoutRegardToCase) {
  TComponent owner;
  auto* const pump = new TComponent(&owner);
  auto* const other = new TComponent(&owner);
  pump->SetName("Насос");
  other->SetName("Valve");
  EXPECT_THAT([&] { other->SetName("НАСОС"); },
              ThrowsMessage<EComponentError>("A component named НАСОС already exists"));
  EXPECT_EQ(other->Name(), "Valve");
}

TEST(TComponent, OwnNameChangesItsCase) {
  TComponent owner;
  auto* const pump = new TComponent(&owner);
  pump->SetName("pump");
  pump->SetName("Pump");
  EXPECT_EQ(pump->Name(), "Pump");
}

TEST(TComponent, NamesAreUniqueInsideOneOwnerOnly) {
  TComponent one;
  TComponent two;
  (new TComponent(&one))->SetName("Pump");
  auto* const other = new TComponent(&two);
  other->SetName("Pump");
  EXPECT_EQ(other->Name(), "Pump");
  TComponent nobodys;
  nobodys.SetName("Pump");
}

TEST(TComponent, IsFoundByNameWithoutRegardToCase) {
  TComponent owner;
  auto* const pump = new TComponent(&owner);
  new TComponent(&owner);
  pump->SetName("Pump");
  EXPECT_EQ(owner.FindComponent("PUMP"), pump);
  EXPECT_EQ(owner.FindComponent("Valve"), nullptr);
  EXPECT_EQ(owner.FindComponent(""), nullptr) << "not the one without a name";
}

TEST(TComponent, NameIsFreeAgainAfterItsBearer) {
  TComponent owner;
  auto* const pump = new TComponent(&owner);
  pump->SetName("Pump");
  delete pump;
  EXPECT_EQ(owner.FindComponent("Pump"), nullptr);
  (new TComponent(&owner))->SetName("Pump");
}

// ---- notification of removal

TEST(TComponent, TellsThoseWhoAskedThatItGoes) {
  TLog log;
  TProbe one(nullptr, "One", log);
  TProbe two(nullptr, "Two", log);
  {
    TProbe watched(nullptr, "Watched", log);
    one.FreeNotification(watched);
    two.FreeNotification(watched);
    one.FreeNotification(watched);  // asked twice, told once
  }
  EXPECT_THAT(log, ElementsAre("One loses Watched", "Two loses Watched", "end of Watched"));
}

TEST(TComponent, DoesNotTellThoseWhoAreGone) {
  TLog log;
  TProbe watched(nullptr, "Watched", log);
  {
    TProbe one(nullptr, "One", log);
    one.FreeNotification(watched);
  }
  EXPECT_THAT(log, ElementsAre("end of One"));
}

TEST(TComponent, TwoThatWatchEachOtherGoInEitherOrder) {
  for (const bool firstGoesFirst : {true, false}) {
    TLog log;
    std::optional<TProbe> first(std::in_place, nullptr, "First", log);
    std::optional<TProbe> second(std::in_place, nullptr, "Second", log);
    first->FreeNotification(*second);
    second->FreeNotification(*first);
    (firstGoesFirst ? first : second).reset();
    (firstGoesFirst ? second : first).reset();
    if (firstGoesFirst) {
      EXPECT_THAT(log, ElementsAre("Second loses First", "end of First", "end of Second"));
    } else {
      EXPECT_THAT(log, ElementsAre("First loses Second", "end of Second", "end of First"));
    }
  }
}

TEST(TComponent, OneWhoIsToldDestroysAnotherWhoIsToBeTold) {
  TLog log;
  TProbe one(nullptr, "One", log);
  auto two = std::make_unique<TProbe>(nullptr, "Two", log);
  one.OnNotify = [&](TComponent&) { two.reset(); };
  {
    TProbe watched(nullptr, "Watched", log);
    one.FreeNotification(watched);
    two->FreeNotification(watched);
  }
  EXPECT_THAT(log, ElementsAre("One loses Watched", "end of Two", "end of Watched"));
}

TEST(TComponent, OneWhoIsToldAsksAgain) {
  TLog log;
  TProbe one(nullptr, "One", log);
  one.OnNotify = [&](TComponent& component) { one.FreeNotification(component); };
  {
    TProbe watched(nullptr, "Watched", log);
    one.FreeNotification(watched);
  }
  EXPECT_THAT(log, ElementsAre("One loses Watched", "end of Watched"));
}

TEST(TComponent, OneWhoIsToldDestroysTheOwner) {
  TLog log;
  TProbe one(nullptr, "One", log);
  auto* const owner = new TProbe(nullptr, "Owner", log);
  auto* const watched = new TProbe(owner, "Watched", log);
  one.FreeNotification(*watched);
  one.OnNotify = [owner](TComponent&) { delete owner; };
  log.clear();
  delete watched;
  EXPECT_THAT(log, ElementsAre("One loses Watched", "end of Owner", "end of Watched"));
}

TEST(TComponent, OwnerDestroysItselfWhenItLosesAPart) {
  TLog log;
  auto* const owner = new TProbe(nullptr, "Owner", log);
  auto* const part = new TProbe(owner, "Part", log);
  new TProbe(owner, "Other", log);
  owner->OnNotify = [owner](TComponent&) { delete owner; };
  log.clear();
  delete part;
  EXPECT_THAT(log, ElementsAre("Owner loses Part", "end of Other", "end of Owner", "end of Part"));
}

TEST(TComponent, PartDestroysAnotherPartInItsDestructor) {
  TLog log;
  auto* const owner = new TProbe(nullptr, "Owner", log);
  auto* const victim = new TProbe(owner, "Victim", log);
  TProbe witness(nullptr, "Witness", log);
  auto* const last = new TProbe(owner, "Last", log);
  witness.FreeNotification(*last);
  witness.OnNotify = [victim](TComponent&) { delete victim; };
  log.clear();
  delete owner;
  EXPECT_THAT(log, ElementsAre("Witness loses Last", "Owner loses Victim", "end of Victim",
                               "end of Last", "end of Owner"));
}

TEST(TComponent, ReferencesAreNilBeforeAnybodyIsTold) {
  TLog log;
  TProbe one(nullptr, "One", log);
  auto watched = std::make_unique<TProbe>(nullptr, "Watched", log);
  const TRef<TComponent> ref(watched.get());
  one.FreeNotification(*watched);
  bool nil = false;
  one.OnNotify = [&](TComponent&) { nil = !ref; };
  watched.reset();
  EXPECT_TRUE(nil);
}

TEST(TComponent, MadeInADyingOwnerDiesWithIt) {
  struct TLate : TComponent {
    ~TLate() override {
      BeginDestroy();
      new TComponent(this);  // nobody else would free it
    }
  };
  { const TLate late; }
  EXPECT_FALSE(testing::Test::HasFailure());  // the leak check speaks
}

TEST(TComponent, DestroysItselfInItsOwnHandler) {
  struct TSelf : TComponent {
    using TComponent::TComponent;
    ~TSelf() override { BeginDestroy(); }
    void End() { delete this; }
    TEvent<void()> OnEnd;
  };
  TComponent owner;
  auto* const self = new TSelf(&owner);
  self->OnEnd = {self, &TSelf::End};
  self->OnEnd();
  EXPECT_EQ(owner.ComponentCount(), 0);
}

TEST(TComponent, HandlerOfAPartDestroysTheOwner) {
  struct TPart : TComponent {
    using TComponent::TComponent;
    ~TPart() override { BeginDestroy(); }
    TEvent<void()> OnEnd;
  };
  auto* const owner = new TComponent;
  auto* const part = new TPart(owner);
  bool called = false;
  part->OnEnd = [owner, &called, text = std::string(100, 'x')] {
    delete owner;
    called = text.size() == 100;
  };
  part->OnEnd();
  EXPECT_TRUE(called);
}

TEST(TComponent, EventsFallSilentFromTheBeginningOfTheDestructor) {
  struct TListener : TComponent {
    ~TListener() override {
      BeginDestroy();
      Raise();
    }
    void Called() { FAIL() << "half destroyed"; }
    std::function<void()> Raise;
  };
  TEventList<void()> list;
  {
    TListener listener;
    list.Add(&listener, &TListener::Called);
    listener.Raise = [&] { list(); };
  }
  EXPECT_EQ(list.Count(), 0);
}

TEST(TComponent, ThousandsGoInAnyOrder) {
  TComponent owner;
  std::vector<TComponent*> parts;
  for (int i = 0; i < 3000; ++i) parts.push_back(new TComponent(&owner));
  for (std::size_t i = 0; i < parts.size(); i += 2) delete parts[i];
  ASSERT_EQ(owner.ComponentCount(), 1500);
  for (int i = 0; i < 1500; ++i) {
    ASSERT_EQ(owner.Components(i), parts[2 * static_cast<std::size_t>(i) + 1]);
  }
}

// ---- classes and threads

TEST(TComponent, IsAPersistentByItsClassTable) {
  EXPECT_EQ(TComponent::StaticClass().Parent(), &TPersistent::StaticClass());
  EXPECT_TRUE(TComponent::StaticClass().InheritsFrom(TPersistent::StaticClass()));
  EXPECT_FALSE(TPersistent::StaticClass().InheritsFrom(TComponent::StaticClass()));
}

TEST(TComponent, AssignRefusesByTheNamesOfTheClasses) {
  TComponent component;
  const TPersistent other;
  EXPECT_THAT([&] { component.Assign(other); },
              ThrowsMessage<EConvertError>("Cannot assign a TPersistent to a TComponent"));
}

constexpr const char* kWrongThread =
    "TComponent is used from another thread than the one that made it";

TEST(TComponent, AnotherThreadIsRefused) {
  TComponent component;
  EXPECT_NO_THROW(component.CheckThread());
  const std::vector<std::function<void()>> uses = {
      [&] { component.CheckThread(); },
      [&] { const TComponent part(&component); },
      [&] { component.SetName("Pump"); },
      [&] { component.FreeNotification(component); },
  };
  for (std::size_t i = 0; i < uses.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_THAT([&] { OnAnotherThread(uses[i]); }, ThrowsMessage<EThreadError>(kWrongThread));
  }
  EXPECT_EQ(component.ComponentCount(), 0);
  EXPECT_EQ(component.Name(), "");
}

TEST(TComponent, AnotherThreadIsToldTheName) {
  TComponent component;
  component.SetName("Pump");
  EXPECT_THAT([&] { OnAnotherThread([&] { component.CheckThread(); }); },
              ThrowsMessage<EThreadError>(
                  "TComponent Pump is used from another thread than the one that made it"));
}

TEST(TComponent, BelongsToTheThreadThatMadeIt) {
  OnAnotherThread([] {
    TComponent owner;
    (new TComponent(&owner))->SetName("Part");
    EXPECT_NE(owner.FindComponent("Part"), nullptr);
  });
}

}  // namespace
}  // namespace OrvixModBus
