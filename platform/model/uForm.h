#pragma once
// uForm: form files - component trees as text, read and written by the property tables alone.

#include <any>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/model/uComponentClass.h"
#include "platform/model/uEvent.h"
#include "platform/model/uFormScanner.h"

namespace OrvixModBus {

/// Reads and writes component trees as text: a root and the components that it owns, each with
/// those published properties that differ from their defaults. Components without a name are no
/// part of the form: a root's own class makes them.
///
///   object Plant: TDataModule
///     object Line: TMBRTUConnection
///       Port = '/dev/ttyUSB0'
///     end
///   end
///
/// References between components are written as names, events as the names of methods. What is
/// read and written again is the same text, when it was written by this class. Outlives no
/// handler that it was given; single thread.
class TFormFile {
 public:
  /// Which classes a form may name. Exception for a second class of one name.
  void RegisterClass(const TComponentClass& added);
  void RegisterClasses(const std::vector<TComponentClass>& added);
  /// What a form's events may name: `form.RegisterMethod("PumpsRead", this, &Panel::PumpsRead)`,
  /// or any event of exactly the property's type. Replaces an earlier one of that name.
  template <class TTarget, class TOwner, class TResult, class... TArgs>
  void RegisterMethod(const std::string& name, TTarget* object,
                      TResult (TOwner::*method)(TArgs...)) {
    RegisterMethod(name, TEvent<TResult(TArgs...)>(object, method));
  }
  template <class TSignature>
  void RegisterMethod(const std::string& name, TEvent<TSignature> handler) {
    fMethods.insert_or_assign(name, std::any(std::move(handler)));
  }
  /// With true a method that is not registered leaves the event empty and is no error. Its name
  /// is kept with the component, and written again by this object.
  void SetIgnoreUnknownMethods(bool value) { fIgnoreUnknownMethods = value; }
  bool IgnoreUnknownMethods() const { return fIgnoreUnknownMethods; }

  /// The tree that text (UTF-8) describes; its components have been told by Loaded. EFormError
  /// for the first mistake, what Loaded throws, and nothing is left of the tree.
  std::unique_ptr<TComponent> Read(std::string_view text, const std::string& file = {});
  /// Of a file; EStreamError when it can't be read.
  std::unique_ptr<TComponent> ReadFile(const std::string& file);
  /// As Read, but every component is still Loading, so that no port is opened: for programs that
  /// show or change a form. FinishLoading, if the tree is to work.
  std::unique_ptr<TComponent> ReadLoading(std::string_view text, const std::string& file = {});
  /// Ends Loading and calls Loaded, for root and all that it owns. All are told even if one
  /// throws; the first exception leaves afterwards.
  static void FinishLoading(TComponent& root);
  /// All mistakes of a text in order, at most 100; those after one that leaves it unclear what is
  /// meant are not told.
  std::vector<EFormError> Check(std::string_view text, const std::string& file = {});

  /// The text of a tree. Exception for what a form can't hold: a handler that is not registered,
  /// a reference to an object outside the tree or without a name, a text that is no UTF-8.
  std::string Write(const TComponent& root) const;
  /// Replaces the file, or leaves it as it was: EStreamError.
  void WriteFile(const TComponent& root, const std::string& file) const;

 private:
  friend class TFormReader;
  friend class TFormWriter;

  struct TUnbound {
    TRef<TPersistent> Object;
    std::string Method;
  };
  using TEventPlace = std::pair<const TPersistent*, const TPropertyInfo*>;

  const TComponentClass* FindClass(std::string_view name) const;
  void ForgetGone();
  void KeepUnbound(TPersistent& object, const TPropertyInfo& event, std::string method);

  std::map<std::string, TComponentClass, std::less<>> fClasses;  // by folded name
  std::map<std::string, std::any, std::less<>> fMethods;
  std::map<TEventPlace, TUnbound> fUnbound;
  bool fIgnoreUnknownMethods = false;
};

/// The component of that name which root owns. Exception "There is no TMBLetter 'Pumps'" when it
/// is missing or of another class.
template <class T>
T& FormComponent(const TComponent& root, const std::string& name) {
  auto* const found = dynamic_cast<T*>(root.FindComponent(name));
  if (found != nullptr) return *found;
  throw Exception("There is no " + std::string(T::StaticClass().Name()) + " '" + name + "'");
}

}  // namespace OrvixModBus
