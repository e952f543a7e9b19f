#pragma once
// uFormReader: one reading of a form's text into components.

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/model/uCollection.h"
#include "platform/model/uForm.h"
#include "platform/model/uFormScanner.h"
#include "platform/model/uStringList.h"

namespace OrvixModBus {

/// Builds the tree while it reads; references and events are set at the end, when all that they
/// may name is there. A mistake in what is meant is handed to the caller, who throws it, or keeps
/// it and has the rest read; a text that is no form is thrown in any case.
class TFormReader {
 public:
  using TMistake = std::function<void(const EFormError&)>;

  TFormReader(TFormFile& form, std::string_view text, const std::string& file, TMistake mistake)
      : fForm(form), fScanner(text, file), fMistake(std::move(mistake)) {}

  /// The root; nil when its class is not known.
  std::unique_ptr<TComponent> Read();

 private:
  struct THead {
    std::string Name, ClassName;
    std::size_t NamePlace = 0, ClassPlace = 0;
  };
  // What is set when the whole text has been read.
  struct TPending {
    TPersistent* Object;
    const TPropertyInfo* Property;
    std::string Target;
    std::size_t Place;
  };
  using TSeen = std::vector<std::pair<const TPersistent*, const TPropertyInfo*>>;

  void Report(std::size_t place, const std::string& problem);
  void ReportValue(const TPersistent& object, const TPropertyInfo& property, std::size_t place,
                   const std::string& problem);
  void RefuseNext(const TPersistent& object, const TPropertyInfo& property);
  void ExpectSymbol(char symbol);
  void ExpectEnd(std::string_view what);
  TFormToken ExpectIdentifier(const std::string& what);

  std::unique_ptr<TComponent> ReadRoot();
  void ReadOwned(TComponent& root);
  THead ReadHead();
  std::unique_ptr<TComponent> Make(const THead& head, TComponent* owner);
  void NameComponent(TComponent& component, const THead& head);
  void SkipObject();

  void ReadProperties(TPersistent& object);
  void ReadProperty(TPersistent& object, TSeen& seen);
  void ReadInto(TPersistent& object, const TPropertyInfo& property);
  void ReadSimple(TPersistent& object, const TPropertyInfo& property);
  void ReadSet(TPersistent& object, const TPropertyInfo& property);
  void ReadName(TPersistent& object, const TPropertyInfo& property);
  void ReadPart(TPersistent& object, const TPropertyInfo& property);
  void ReadCollection(TCollection& collection);
  void ReadStrings(TStringList& list);
  void SkipValue();
  void Set(TPersistent& object, const TPropertyInfo& property, const TPropertyValue& value,
           std::size_t place);

  void ResolveReferences();
  TPersistent* Find(const std::string& target) const;
  void BindEvents();

  TFormFile& fForm;
  TFormScanner fScanner;
  const TMistake fMistake;
  std::vector<TPending> fReferences, fEvents;
  std::unordered_map<std::string, TComponent*> fByName;  // folded
};

}  // namespace OrvixModBus
