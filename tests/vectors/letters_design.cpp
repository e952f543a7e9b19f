// Steps on the design-time part.

#include "catalogue.h"
#include "letters_scenario.h"
#include "uMBRegister.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus::Vectors {
namespace {

/// A designer whose dialogs are recorded and answered as the step says.
class TScriptedDesigner final : public TDesigner {
 public:
  explicit TScriptedDesigner(TScenario& scenario) : fScenario(scenario) { Register(Registry); }

  void Modified() override { IsModified = true; }
  TModalResult ShowModal(TStringsEditDlg& dialog) override {
    fScenario.Effect("dialog", dialog.Caption(), LinesJson(dialog.GetLines()));
    dialog.SetLines(Typed);
    return Confirms ? TModalResult::mrOk : TModalResult::mrCancel;
  }
  /// The step's name, which need not be one that a component can bear.
  std::string GetComponentName(const TComponent& /*component*/) const override { return ShownName; }

  TClassRegistry Registry;
  TStringList Typed;
  std::string ShownName;
  bool Confirms = false;
  bool IsModified = false;

 private:
  TScenario& fScenario;
};

void Pages(TScenario& scenario, TFields& /*step*/) {
  const TScriptedDesigner designer(scenario);
  Json pages = Json::array();
  for (const TPalettePage& page : designer.Registry.Pages()) {
    Json classes = Json::array();
    for (const TComponentClass& shown : page.Classes) classes.push_back(shown.Info->Name());
    pages.push_back({page.Name, classes});
  }
  scenario.Return(pages);
}

void Editors(TScenario& scenario, TFields& /*step*/) {
  const TScriptedDesigner designer(scenario);
  Json editors = Json::array();
  for (const TComponentEditorClass& editor : designer.Registry.Editors()) {
    editors.push_back(Json::array({editor.Component->Name(), editor.Name}));
  }
  scenario.Return(editors);
}

TMBRegsAutoFill& AutoFillOf(TScenario& scenario, TFields& step) {
  return scenario.Get<TMBRegsAutoFill>(step["af"]);
}

void Verbs(TScenario& scenario, TFields& step) {
  TScriptedDesigner designer(scenario);
  const auto editor = designer.Registry.CreateEditor(AutoFillOf(scenario, step), designer);
  Json verbs = {editor->GetVerbCount()};
  for (const int index : step["idx"].ListOf<int>()) verbs.push_back(editor->GetVerb(index));
  scenario.Return(verbs);
}

void Edit(TScenario& scenario, TFields& step) {
  TMBRegsAutoFill& fill = AutoFillOf(scenario, step);
  TScriptedDesigner designer(scenario);
  designer.ShownName = step["name"].Text();
  designer.Confirms = step["ok"];
  SetLines(designer.Typed, step["lines"]);
  const auto editor = designer.Registry.CreateEditor(fill, designer);
  const int verb = step.Get("verb", 0);
  if (step.Get("dbl", false)) {
    editor->Edit();
  } else {
    editor->ExecuteVerb(verb);
  }
  scenario.Return({designer.IsModified, LinesJson(fill.RegNameList())});
}

}  // namespace

const TStepOperations& DesignSteps() {
  static const TStepOperations kSteps = {
      {"design_pages", Pages},
      {"design_editors", Editors},
      {"design_verbs", Verbs},
      {"design_edit", Edit},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
