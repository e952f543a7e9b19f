#include "uMBRegister.h"

#include "platform/rtl/uException.h"
#include "platform/rtl/uFormat.h"
#include "uMBClient.h"
#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"
#include "uMBRTU.h"
#include "uMBRegsAutoFill.h"
#include "uMBTypeInfo.h"

namespace OrvixModBus {
namespace {

TMBRegsAutoFill& AsAutoFill(TComponent& component) {
  auto* const autoFill = dynamic_cast<TMBRegsAutoFill*>(&component);
  if (autoFill != nullptr) return *autoFill;
  throw Exception("A " + std::string(component.ClassName()) + " is no TMBRegsAutoFill");
}

void EditRegNameList(TMBRegsAutoFill& edited, TDesigner& designer) {
  const TRef<TMBRegsAutoFill> autoFill = &edited;  // the form may be closed behind the dialog
  TCustomStringsEditDlg dialog(designer);
  dialog.SetCaption(Format(EditorCaptionFmt, {designer.GetComponentName(edited)}));
  dialog.SetLines(edited.RegNameList());
  if (dialog.ShowModal() != TModalResult::mrOk || !autoFill) return;
  autoFill->SetRegNameList(dialog.GetLines());
  designer.Modified();
}

}  // namespace

std::string TMBRegsAutoFillEditor::GetVerb(int index) const {
  return index == 0 ? "&RegNameList Editor..." : "";
}

void TMBRegsAutoFillEditor::ExecuteVerb(int index) {
  if (index == 0) {
    EditRegNameList(AsAutoFill(Component()), Designer());
  } else {
    TComponentEditor::ExecuteVerb(index);
  }
}

void Register(TClassRegistry& registry) {
  registry.RegisterComponents("ModBus",
                              {ComponentClass<TMBConnection>(), ComponentClass<TMBRTUConnection>(),
                               ComponentClass<TMBLetter>(), ComponentClass<TMBTypeInfo>(),
                               ComponentClass<TMBRegsAutoFill>(), ComponentClass<TMBClient>()});
  registry.RegisterComponents("MBCustomFunctions",
                              {ComponentClass<TMBFunction20>(), ComponentClass<TMBFunction24>(),
                               ComponentClass<TMBFunction41>()});
  registry.RegisterComponentEditor<TMBRegsAutoFillEditor>(TMBRegsAutoFill::StaticClass(),
                                                          "TMBRegsAutoFillEditor");
}

}  // namespace OrvixModBus
