#pragma once
// uDesigner: what the part of a component package that runs in a form designer asks of it.

#include <string>

#include "platform/model/uComponent.h"

namespace OrvixModBus {

class TStringsEditDlg;

/// How a modal dialog was closed.
enum class TModalResult { mrNone, mrOk, mrCancel };

/// A form designer, graphical or textual, as its component editors see it. It outlives them.
/// Single thread.
class TDesigner : public TObject {
 public:
  /// An editor has changed the form.
  virtual void Modified() = 0;
  /// Shows caption and lines of dialog, lets the user edit the lines, and returns once the user
  /// is done. With mrOk the dialog holds the user's lines; with any other result its lines do not
  /// matter. What this throws reaches the caller of the editor's verb, and the form is unchanged.
  virtual TModalResult ShowModal(TStringsEditDlg& dialog) = 0;
  /// What the user knows component by: its Name, unless the designer shows another.
  virtual std::string GetComponentName(const TComponent& component) const {
    return component.Name();
  }
};

}  // namespace OrvixModBus
