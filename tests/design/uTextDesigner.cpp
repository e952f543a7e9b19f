#include "uTextDesigner.h"

#include <istream>
#include <ostream>

#include "platform/rtl/uException.h"

namespace OrvixModBus {
namespace {

std::string FreeName(const TComponent& form, const TClassInfo& info) {
  const std::string stem(info.Name().substr(1));  // without the T
  int number = 1;
  while (form.FindComponent(stem + std::to_string(number)) != nullptr) ++number;
  return stem + std::to_string(number);
}

}  // namespace

void TTextDesigner::ShowPalette() {
  for (const TPalettePage& page : fRegistry.Pages()) {
    fOutput << page.Name << ":";
    for (const TComponentClass& shown : page.Classes) fOutput << " " << shown.Info->Name();
    fOutput << "\n";
  }
}

TComponent& TTextDesigner::Create(std::string_view className) {
  const TComponentClass* const found = fRegistry.FindClass(className);
  if (found == nullptr) throw Exception("No class " + std::string(className) + " on the palette");
  const std::string name = FreeName(fForm, *found->Info);
  TComponent& created = *found->Create(&fForm);
  created.SetName(name);
  Modified();
  return created;
}

void TTextDesigner::ShowVerbs(TComponent& component) {
  const auto editor = fRegistry.CreateEditor(component, *this);
  for (int i = 0; i < editor->GetVerbCount(); ++i) {
    fOutput << i << " " << editor->GetVerb(i) << "\n";
  }
}

void TTextDesigner::ExecuteVerb(TComponent& component, int index) {
  fRegistry.CreateEditor(component, *this)->ExecuteVerb(index);
}

void TTextDesigner::DoubleClick(TComponent& component) {
  fRegistry.CreateEditor(component, *this)->Edit();
}

TModalResult TTextDesigner::ShowModal(TStringsEditDlg& dialog) {
  const TStringList& shown = dialog.GetLines();
  fOutput << "[" << dialog.Caption() << "]\n";
  for (int i = 0; i < shown.Count(); ++i) fOutput << shown.Strings(i) << "\n";
  TStringList typed;
  const TModalResult result = ReadLines(typed);
  dialog.SetLines(typed);
  return result;
}

TModalResult TTextDesigner::ReadLines(TStringList& lines) {
  std::string line;
  while (std::getline(fInput, line) && line != "cancel") {
    if (line == "ok") return TModalResult::mrOk;
    lines.Add(line);
  }
  return TModalResult::mrCancel;
}

}  // namespace OrvixModBus
