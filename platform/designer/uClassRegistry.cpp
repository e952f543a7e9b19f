#include "platform/designer/uClassRegistry.h"

#include <algorithm>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFold.h"

namespace OrvixModBus {
namespace {

void RefuseSameName(const TClassInfo& one, const TClassInfo& other) {
  if (&one == &other || !SameText(one.Name(), other.Name())) return;
  throw Exception("Another class named " + std::string(one.Name()) + " is registered already");
}

}  // namespace

void TClassRegistry::RegisterComponents(std::string_view page,
                                        const std::vector<TComponentClass>& classes) {
  for (const TComponentClass& added : classes) {
    if (const auto* known = FindClass(added.Info->Name()))
      RefuseSameName(*added.Info, *known->Info);
    for (const TComponentClass& other : classes) RefuseSameName(*added.Info, *other.Info);
  }
  auto& shown = Page(page).Classes;
  for (const TComponentClass& added : classes) {
    if (std::ranges::find(shown, added.Info, &TComponentClass::Info) == shown.end()) {
      shown.push_back(added);
    }
  }
}

TPalettePage& TClassRegistry::Page(std::string_view name) {
  const auto found = std::ranges::find(fPages, name, &TPalettePage::Name);
  return found != fPages.end() ? *found : fPages.emplace_back(TPalettePage{std::string(name), {}});
}

const TComponentClass* TClassRegistry::FindClass(std::string_view name) const {
  for (const TPalettePage& page : fPages) {
    for (const TComponentClass& shown : page.Classes) {
      if (SameText(shown.Info->Name(), name)) return &shown;
    }
  }
  return nullptr;
}

void TClassRegistry::AddEditor(const TComponentEditorClass& editor) {
  const auto known =
      std::ranges::find(fEditors, editor.Component, &TComponentEditorClass::Component);
  if (known != fEditors.end()) {
    *known = editor;
  } else {
    fEditors.push_back(editor);
  }
}

std::unique_ptr<TComponentEditor> TClassRegistry::CreateEditor(TComponent& component,
                                                               TDesigner& designer) const {
  for (const auto* info = &component.ClassInfo(); info != nullptr; info = info->Parent()) {
    const auto found = std::ranges::find(fEditors, info, &TComponentEditorClass::Component);
    if (found != fEditors.end()) return found->Create(component, designer);
  }
  return std::make_unique<TComponentEditor>(component, designer);
}

}  // namespace OrvixModBus
