#include "platform/designer/uComponentEditor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/rtl/uException.h"
#include "tests/designer/uTestDesigner.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

// An editor with as many verbs as the test wants, which notes what runs.
class TCountedVerbs : public TComponentEditor {
 public:
  TCountedVerbs(TComponent& component, TDesigner& designer, int count)
      : TComponentEditor(component, designer), fCount(count) {}
  int GetVerbCount() const override { return fCount; }
  void ExecuteVerb(int index) override { Run.push_back(index); }

  std::vector<int> Run;

 private:
  int fCount;
};

TEST(ComponentEditor, WithoutVerbsDoesNothing) {
  TTestDesigner designer;
  TComponent component;
  TComponentEditor editor(component, designer);
  EXPECT_EQ(editor.GetVerbCount(), 0);
  for (const int index : {-1, 0, 1}) {
    EXPECT_EQ(editor.GetVerb(index), "") << index;
    editor.ExecuteVerb(index);
  }
  editor.Edit();
  EXPECT_EQ(designer.ModifiedCalls, 0);
  EXPECT_EQ(designer.DialogsShown, 0);
}

TEST(ComponentEditor, DoubleClickRunsTheFirstVerbOnly) {
  TTestDesigner designer;
  TComponent component;
  TCountedVerbs editor(component, designer, 2);
  editor.Edit();
  EXPECT_THAT(editor.Run, ElementsAre(0));
}

TEST(ComponentEditor, DoubleClickWithoutAVerbRunsNone) {
  TTestDesigner designer;
  TComponent component;
  TCountedVerbs editor(component, designer, 0);
  editor.Edit();
  EXPECT_THAT(editor.Run, IsEmpty());
}

TEST(ComponentEditor, KnowsItsComponentUntilThatIsDestroyed) {
  TTestDesigner designer;
  auto component = std::make_unique<TComponent>();
  const TComponentEditor editor(*component, designer);
  EXPECT_EQ(&editor.Component(), component.get());
  EXPECT_EQ(&editor.Designer(), &designer);
  component.reset();
  EXPECT_THAT([&] { editor.Component(); },
              ThrowsMessage<Exception>("The component being edited has been destroyed"));
}

}  // namespace
}  // namespace OrvixModBus
