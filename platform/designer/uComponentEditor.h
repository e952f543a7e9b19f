#pragma once
// uComponentEditor: what a designer offers for one component: the verbs of its menu.

#include <string>

#include "platform/designer/uDesigner.h"
#include "platform/model/uComponent.h"

namespace OrvixModBus {

/// The editor of a component. This one, which serves every class without one of its own, has no
/// verbs. The designer makes an editor when the user turns to a component and may drop it at any
/// time, but not while one of its operations runs.
class TComponentEditor : public TObject {
 public:
  TComponentEditor(TComponent& component, TDesigner& designer)
      : fComponent(&component), fDesigner(designer) {}

  /// The component edited. Exception when it has been destroyed.
  TComponent& Component() const;
  TDesigner& Designer() const { return fDesigner; }

  /// Number of menu items.
  virtual int GetVerbCount() const { return 0; }
  /// Text of the menu item, "&" before its accelerator; empty for an index that has none.
  virtual std::string GetVerb(int index) const;
  /// What the menu item does; nothing for an index that has none.
  virtual void ExecuteVerb(int index);
  /// The component was double-clicked: runs the first verb, if there is one.
  virtual void Edit();

 private:
  TRef<TComponent> fComponent;
  TDesigner& fDesigner;
};

}  // namespace OrvixModBus
