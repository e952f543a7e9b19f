#pragma once
// uTextDesigner: a form designer made of text, to host the package in.

#include <iosfwd>
#include <string>
#include <string_view>

#include "platform/designer/uClassRegistry.h"
#include "platform/designer/uStringsEditDlg.h"

namespace OrvixModBus {

/// Has a palette and one form. Shows everything on one stream, and takes what the user types into
/// a dialog from another: lines up to "ok" or "cancel"; input that ends cancels, too.
class TTextDesigner : public TDesigner {
 public:
  TTextDesigner(std::istream& input, std::ostream& output) : fInput(input), fOutput(output) {}

  TClassRegistry& Registry() { return fRegistry; }  ///< for the packages
  TComponent& Form() { return fForm; }
  bool IsModified() const { return fIsModified; }
  void MarkSaved() { fIsModified = false; }

  void ShowPalette();
  /// Puts a component on the form and names it after its class: MBLetter1, MBLetter2, ... Exception
  /// when the palette has no such class.
  TComponent& Create(std::string_view className);
  void ShowVerbs(TComponent& component);
  void ExecuteVerb(TComponent& component, int index);
  void DoubleClick(TComponent& component);

  void Modified() override { fIsModified = true; }
  TModalResult ShowModal(TStringsEditDlg& dialog) override;

 private:
  TModalResult ReadLines(TStringList& lines);

  std::istream& fInput;
  std::ostream& fOutput;
  TClassRegistry fRegistry;
  TComponent fForm;
  bool fIsModified = false;
};

}  // namespace OrvixModBus
