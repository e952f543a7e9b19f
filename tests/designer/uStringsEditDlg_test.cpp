#include "platform/designer/uStringsEditDlg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rtl/uException.h"
#include "tests/designer/uTestDesigner.h"

namespace OrvixModBus {
namespace {

using testing::ThrowsMessage;

TEST(StringsEditDlg, ShowsTheDesignerItsCaptionAndLines) {
  TTestDesigner designer;
  TStringsEditDlg dialog(designer);
  TStringList lines;
  lines.SetText("one\ntwo");
  dialog.SetCaption("Lines of x");
  dialog.SetLines(lines);
  lines.Clear();  // the dialog has its own
  designer.Answer = [](TStringsEditDlg& shown) {
    EXPECT_EQ(shown.Caption(), "Lines of x");
    EXPECT_EQ(shown.GetLines().Text(), "one\r\ntwo\r\n");
    TStringList typed;
    typed.Add("three");
    shown.SetLines(typed);
    return TModalResult::mrOk;
  };
  EXPECT_EQ(dialog.ShowModal(), TModalResult::mrOk);
  EXPECT_EQ(dialog.GetLines().Text(), "three\r\n");
}

TEST(StringsEditDlg, HandsOverWhateverResultTheDesignerGives) {
  TTestDesigner designer;
  TStringsEditDlg dialog(designer);
  for (const auto result : {TModalResult::mrNone, TModalResult::mrOk, TModalResult::mrCancel}) {
    designer.Answer = [result](TStringsEditDlg&) { return result; };
    EXPECT_EQ(dialog.ShowModal(), result);
  }
}

TEST(StringsEditDlg, CanBeShownAgainAfterTheDesignerFailed) {
  TTestDesigner designer;
  TStringsEditDlg dialog(designer);
  designer.Answer = [](TStringsEditDlg&) -> TModalResult { throw Exception("no window"); };
  EXPECT_THAT([&] { dialog.ShowModal(); }, ThrowsMessage<Exception>("no window"));
  designer.Answer = nullptr;
  EXPECT_EQ(dialog.ShowModal(), TModalResult::mrCancel);
}

}  // namespace
}  // namespace OrvixModBus
