#pragma once
// uMBRegister: the design-time part - what the package shows in a form designer.

#include <string>
#include <string_view>

#include "platform/designer/uClassRegistry.h"
#include "platform/designer/uComponentEditor.h"
#include "platform/designer/uStringsEditDlg.h"

namespace OrvixModBus {

/// Caption of the dialog. On purpose: with the doubled word.
inline constexpr std::string_view EditorCaptionFmt =  // NOLINT(readability-identifier-naming)
    "RegNameList Editor Editor (%s)";

/// The dialog for a list of register names: a class of its own, so that a designer can tell it
/// from other string lists.
class TCustomStringsEditDlg final : public TStringsEditDlg {
 public:
  using TStringsEditDlg::TStringsEditDlg;
};

/// Edits the RegNameList of a TMBRegsAutoFill in the designer's dialog.
class TMBRegsAutoFillEditor : public TComponentEditor {
 public:
  using TComponentEditor::TComponentEditor;

  int GetVerbCount() const override { return 1; }
  std::string GetVerb(int index) const override;
  /// 0 shows the names. Only OK copies the dialog's lines into the list and tells the designer
  /// that the form was modified; a component destroyed meanwhile stays out of it. Exception when
  /// the component is no TMBRegsAutoFill.
  void ExecuteVerb(int index) override;
};

/// Shows the package's components on the designer's palette and gives them their editor.
void Register(TClassRegistry& registry);

}  // namespace OrvixModBus
