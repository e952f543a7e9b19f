#pragma once
// uClassRegistry: the palette of a designer and the component editors, as packages register them.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/designer/uComponentEditor.h"
#include "platform/designer/uDesigner.h"
#include "platform/model/uComponentClass.h"

namespace OrvixModBus {

/// A page of the palette: its classes in order of registration.
struct TPalettePage {
  std::string Name;
  std::vector<TComponentClass> Classes;
};

/// A class of editors, and the class of components that it is for.
struct TComponentEditorClass {
  const TClassInfo* Component;
  std::string Name;
  std::unique_ptr<TComponentEditor> (*Create)(TComponent& component, TDesigner& designer);
};

/// What packages have registered. A designer owns one and hands it to the procedure `Register` of
/// each package; nothing is registered globally. Registering a package twice changes nothing.
class TClassRegistry {
 public:
  /// Appends classes, in order, to the page of that name, which is made when there is none; a
  /// class that the page shows already keeps its place. Exception, and nothing has changed, when
  /// another class of the same name is registered: a form names classes by their names.
  void RegisterComponents(std::string_view page, const std::vector<TComponentClass>& classes);
  /// The pages in the order in which they were first named.
  const std::vector<TPalettePage>& Pages() const { return fPages; }
  /// The class of that name, case ignored; nil when it is not registered.
  const TComponentClass* FindClass(std::string_view name) const;

  /// TEditor edits components of componentClass and of its descendants that have no editor of
  /// their own. Replaces the editor registered for that class before.
  template <class TEditor>
  void RegisterComponentEditor(const TClassInfo& componentClass, std::string_view editorName) {
    AddEditor({&componentClass, std::string(editorName),
               [](TComponent& component, TDesigner& designer) -> std::unique_ptr<TComponentEditor> {
                 return std::make_unique<TEditor>(component, designer);
               }});
  }
  /// The editors in order of registration.
  const std::vector<TComponentEditorClass>& Editors() const { return fEditors; }
  /// An editor of the class registered for the component's class or its nearest ancestor; the
  /// TComponentEditor without verbs when there is none.
  std::unique_ptr<TComponentEditor> CreateEditor(TComponent& component, TDesigner& designer) const;

 private:
  TPalettePage& Page(std::string_view name);
  void AddEditor(const TComponentEditorClass& editor);

  std::vector<TPalettePage> fPages;
  std::vector<TComponentEditorClass> fEditors;
};

}  // namespace OrvixModBus
