#pragma once
// uStringsEditDlg: the designer's standard dialog for the lines of a string list.

#include <string>

#include "platform/designer/uDesigner.h"
#include "platform/model/uStringList.h"

namespace OrvixModBus {

/// A caption and lines to edit. How the dialog looks is the designer's own: it gives it a window,
/// or a place in its text, for the time of ShowModal.
class TStringsEditDlg : public TObject {
 public:
  explicit TStringsEditDlg(TDesigner& designer) : fDesigner(designer) {}

  const std::string& Caption() const { return fCaption; }
  void SetCaption(const std::string& value) { fCaption = value; }
  const TStringList& GetLines() const { return fLines; }
  /// Copies the lines.
  void SetLines(const TStringList& value) { fLines.Assign(value); }

  /// Returns once the user is done, see TDesigner::ShowModal.
  TModalResult ShowModal() { return fDesigner.ShowModal(*this); }

 private:
  TDesigner& fDesigner;
  std::string fCaption;
  TStringList fLines;
};

}  // namespace OrvixModBus
