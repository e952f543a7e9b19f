#pragma once
// uComponent: named objects that own each other and are told when one of them goes.

#include <string>
#include <vector>

#include "platform/model/uPersistent.h"
#include "platform/model/uThreadMark.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {

/// A name that a component can't bear.
class EComponentError : public Exception {
 public:
  using Exception::Exception;
};

/// What happens to the component named in a notification.
enum class TOperation { opInsert, opRemove };

/// A component: owned by another one (or by nobody), owning others, named uniquely inside its
/// owner. Destroying a component destroys what it owns, the last first; an owned component may
/// as well go first, or live on the stack. Belongs to the thread that made it.
class TComponent : public TPersistent {
 public:
  explicit TComponent(TComponent* owner = nullptr);
  ~TComponent() override;

  TComponent* Owner() const { return fOwner; }
  TPersistent* GetOwner() const override { return fOwner; }
  int ComponentCount() const { return static_cast<int>(fComponents.size()); }
  /// The owned component at index (0 is the oldest); EListError past the end.
  TComponent* Components(int index) const;
  /// The owned component of that name, case ignored; nil when there is none.
  TComponent* FindComponent(const std::string& name) const;

  const std::string& Name() const { return fName; }
  /// Empty, or an identifier (letters, digits, "_", not beginning with a digit) that no sibling
  /// bears; EComponentError otherwise, and nothing has changed.
  void SetName(const std::string& value);

  /// True while a form is being read into this component: what a property asks for beyond its
  /// value, such as an open port, waits for Loaded. For readers of forms to set.
  bool Loading() const { return fLoading; }
  void SetLoading(bool value) { fLoading = value; }
  /// Called once after a form has been read whole. The base does nothing.
  virtual void Loaded() {}

  /// Asks that this component be notified when the other one is destroyed.
  void FreeNotification(TComponent& other);
  /// Called when component enters or leaves this component's ownership, and when one that was
  /// asked for with FreeNotification goes; then it must not throw. The base does nothing.
  virtual void Notification(TComponent& component, TOperation operation);

  /// EThreadError when called from another thread than the one that made this component.
  void CheckThread() const {
    if (!fThread.IsHere()) RefuseThread();
  }

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  /// What a setter that does nothing else does.
  template <class T, class TValue>
  void Store(T& field, const TValue& value) {
    CheckThread();
    field = value;
  }
  /// First statement of the destructor of every class whose parts may be reached by others:
  /// references to this become nil, notifications go out, owned components are destroyed.
  /// Components that are members of such a class are made without an owner.
  void BeginDestroy() noexcept;

 private:
  [[noreturn]] void RefuseThread() const;
  void Insert(TComponent& component);
  void Remove(TComponent& component) noexcept;
  void TellOfRemoval() noexcept;
  void DestroyComponents() noexcept;

  TComponent* fOwner = nullptr;
  std::vector<TComponent*> fComponents;
  std::vector<TRef<TComponent>> fToNotify;
  std::string fName;
  TThreadMark fThread;
  bool fDestroying = false;
  bool fLoading = false;
};

}  // namespace OrvixModBus
