#include "platform/designer/uComponentEditor.h"

#include "platform/rtl/uException.h"

namespace OrvixModBus {

TComponent& TComponentEditor::Component() const {
  if (!fComponent) throw Exception("The component being edited has been destroyed");
  return *fComponent;
}

std::string TComponentEditor::GetVerb(int /*index*/) const { return {}; }

void TComponentEditor::ExecuteVerb(int /*index*/) {}

void TComponentEditor::Edit() {
  if (GetVerbCount() > 0) ExecuteVerb(0);
}

}  // namespace OrvixModBus
