#include "uMBRegister.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/rtl/uException.h"
#include "tests/designer/uTestDesigner.h"
#include "uMBLetters.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using testing::ThrowsMessage;

std::vector<std::string> ClassNames(const TPalettePage& page) {
  std::vector<std::string> names;
  for (const TComponentClass& shown : page.Classes) names.emplace_back(shown.Info->Name());
  return names;
}

TEST(Register, ShowsNineClassesOnTwoPages) {
  TClassRegistry registry;
  Register(registry);
  ASSERT_THAT(registry.Pages(), SizeIs(2));
  EXPECT_EQ(registry.Pages()[0].Name, "ModBus");
  EXPECT_THAT(ClassNames(registry.Pages()[0]),
              ElementsAre("TMBConnection", "TMBRTUConnection", "TMBLetter", "TMBTypeInfo",
                          "TMBRegsAutoFill", "TMBClient"));
  EXPECT_EQ(registry.Pages()[1].Name, "MBCustomFunctions");
  EXPECT_THAT(ClassNames(registry.Pages()[1]),
              ElementsAre("TMBFunction20", "TMBFunction24", "TMBFunction41"));
}

TEST(Register, GivesTheAutoFillItsEditor) {
  TClassRegistry registry;
  Register(registry);
  ASSERT_THAT(registry.Editors(), SizeIs(1));
  EXPECT_EQ(registry.Editors()[0].Component, &TMBRegsAutoFill::StaticClass());
  EXPECT_EQ(registry.Editors()[0].Name, "TMBRegsAutoFillEditor");
}

TEST(Register, CalledTwiceChangesNothing) {
  TClassRegistry registry;
  Register(registry);
  Register(registry);
  ASSERT_THAT(registry.Pages(), SizeIs(2));
  EXPECT_THAT(registry.Pages()[0].Classes, SizeIs(6));
  EXPECT_THAT(registry.Pages()[1].Classes, SizeIs(3));
  EXPECT_THAT(registry.Editors(), SizeIs(1));
}

TEST(Register, MakesEachClassCreatable) {
  TClassRegistry registry;
  Register(registry);
  TComponent form;
  for (const TPalettePage& page : registry.Pages()) {
    for (const TComponentClass& shown : page.Classes) {
      EXPECT_EQ(&shown.Create(&form)->ClassInfo(), shown.Info) << shown.Info->Name();
    }
  }
  EXPECT_EQ(form.ComponentCount(), 9);
}

// An auto-fill with the names A and B in a designer, and its editor.
class AutoFillEditor : public testing::Test {
 protected:
  AutoFillEditor() {
    Register(fRegistry);
    Fill->SetName("Fill1");
    Fill->RegNameList().SetText("A\nB");
    Editor = fRegistry.CreateEditor(*Fill, Designer);
  }
  std::string Names() const { return Fill->RegNameList().Text(); }

  /// The user types C, then act ends the dialog.
  template <class TAct>
  void AnswerWithC(TAct act) {
    Designer.Answer = [act](TStringsEditDlg& dialog) {
      TStringList typed;
      typed.Add("C");
      dialog.SetLines(typed);
      return act();
    };
  }

  TTestDesigner Designer;
  std::unique_ptr<TMBRegsAutoFill> Fill = std::make_unique<TMBRegsAutoFill>();
  std::unique_ptr<TComponentEditor> Editor;

 private:
  TClassRegistry fRegistry;
};

TEST_F(AutoFillEditor, HasOneVerb) {
  EXPECT_NE(dynamic_cast<TMBRegsAutoFillEditor*>(Editor.get()), nullptr);
  EXPECT_EQ(Editor->GetVerbCount(), 1);
  EXPECT_EQ(Editor->GetVerb(0), "&RegNameList Editor...");
  EXPECT_EQ(Editor->GetVerb(1), "");
  EXPECT_EQ(Editor->GetVerb(-1), "");
}

TEST_F(AutoFillEditor, ShowsTheNamesInTheDialogOfThisLibrary) {
  Designer.Answer = [](TStringsEditDlg& dialog) {
    EXPECT_NE(dynamic_cast<TCustomStringsEditDlg*>(&dialog), nullptr);
    EXPECT_EQ(dialog.Caption(), "RegNameList Editor Editor (Fill1)");
    EXPECT_EQ(dialog.GetLines().Text(), "A\r\nB\r\n");
    return TModalResult::mrCancel;
  };
  Editor->ExecuteVerb(0);
  EXPECT_EQ(Designer.DialogsShown, 1);
}

TEST_F(AutoFillEditor, TakesTheLinesOnOkIntoTheSameList) {
  const TStringList* const list = &Fill->RegNameList();
  AnswerWithC([] { return TModalResult::mrOk; });
  Editor->ExecuteVerb(0);
  EXPECT_EQ(Names(), "C\r\n");
  EXPECT_EQ(&Fill->RegNameList(), list);
  EXPECT_EQ(Designer.ModifiedCalls, 1);
}

TEST_F(AutoFillEditor, TellsOfAChangeOnOkEvenIfTheLinesAreTheSame) {
  Designer.Answer = [](TStringsEditDlg&) { return TModalResult::mrOk; };
  Editor->ExecuteVerb(0);
  EXPECT_EQ(Names(), "A\r\nB\r\n");
  EXPECT_EQ(Designer.ModifiedCalls, 1);
}

TEST_F(AutoFillEditor, LeavesAllAsItWasUnlessTheResultIsOk) {
  for (const auto result : {TModalResult::mrCancel, TModalResult::mrNone}) {
    AnswerWithC([result] { return result; });
    Editor->ExecuteVerb(0);
    EXPECT_EQ(Names(), "A\r\nB\r\n");
    EXPECT_EQ(Designer.ModifiedCalls, 0);
  }
  EXPECT_EQ(Designer.DialogsShown, 2);
}

TEST_F(AutoFillEditor, LeavesAllAsItWasWhenTheDialogFails) {
  AnswerWithC([]() -> TModalResult { throw Exception("no window"); });
  EXPECT_THAT([&] { Editor->ExecuteVerb(0); }, ThrowsMessage<Exception>("no window"));
  EXPECT_EQ(Names(), "A\r\nB\r\n");
  EXPECT_EQ(Designer.ModifiedCalls, 0);
}

TEST_F(AutoFillEditor, RunsItsVerbOnDoubleClick) {
  AnswerWithC([] { return TModalResult::mrOk; });
  Editor->Edit();
  EXPECT_EQ(Names(), "C\r\n");
  EXPECT_EQ(Designer.ModifiedCalls, 1);
}

TEST_F(AutoFillEditor, DoesNothingForAnotherVerb) {
  for (const int index : {-1, 1}) Editor->ExecuteVerb(index);
  EXPECT_EQ(Designer.DialogsShown, 0);
  EXPECT_EQ(Designer.ModifiedCalls, 0);
}

TEST_F(AutoFillEditor, LeavesAComponentDestroyedBehindTheDialogAlone) {
  AnswerWithC([this] {
    Fill.reset();
    return TModalResult::mrOk;
  });
  Editor->ExecuteVerb(0);
  EXPECT_EQ(Designer.ModifiedCalls, 0);
  EXPECT_THAT([&] { Editor->ExecuteVerb(0); },
              ThrowsMessage<Exception>("The component being edited has been destroyed"));
  EXPECT_EQ(Designer.DialogsShown, 1);
}

TEST_F(AutoFillEditor, RefusesAComponentOfAnotherClass) {
  TMBLetter letter;
  TMBRegsAutoFillEditor editor(letter, Designer);
  EXPECT_THAT([&] { editor.Edit(); },
              ThrowsMessage<Exception>("A TMBLetter is no TMBRegsAutoFill"));
  EXPECT_EQ(Designer.DialogsShown, 0);
}

}  // namespace
}  // namespace OrvixModBus
