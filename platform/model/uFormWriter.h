#pragma once
// uFormWriter: one writing of components as the text of a form.

#include <any>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/model/uCollection.h"
#include "platform/model/uForm.h"
#include "platform/model/uStringList.h"

namespace OrvixModBus {

/// Writes what differs from the defaults, in the order of the property tables, two blanks deeper
/// for each level.
class TFormWriter {
 public:
  TFormWriter(const TFormFile& form, const TComponent& root)
      : fForm(form), fRoot(root), fWritten(&root) {}

  std::string Write();

 private:
  void Line(std::string_view text);
  void Begin(const std::string& text);
  void End() { fIndent.resize(fIndent.size() - 2); }

  void WriteComponent(const TComponent& component);
  void WriteOwned();
  void WriteProperties(const TPersistent& object, const std::string& path);
  void WriteProperty(const TPersistent& object, const TPropertyInfo& property,
                     const std::string& name);
  void WriteValue(const TPersistent& object, const TPropertyInfo& property,
                  const TPropertyValue& value, const std::string& name);
  void WritePart(const TPersistent& part, const std::string& name);
  void WriteCollection(const TCollection& collection, const std::string& name);
  void WriteStrings(const TStringList& list, const std::string& name);
  void WriteString(const std::string& text, const std::string& name);
  void WriteBinary(const Bytes& bytes, const std::string& name);
  void WriteReference(const TPersistent& object, const TPersistent* target,
                      const std::string& name);
  void WriteEvent(const TPersistent& object, const TPropertyInfo& event, const std::any& handler,
                  const std::string& name);
  TStringDynArray PiecesOf(const std::string& text, const std::string& name) const;
  std::string ReferenceTo(const TPersistent& target) const;
  [[noreturn]] void Refuse(const std::string& name, const std::string& reason) const;

  const TFormFile& fForm;
  const TComponent& fRoot;
  const TComponent* fWritten;  // the one that is being written
  std::string fText;
  std::string fIndent;
  std::unordered_map<const TClassInfo*, std::vector<const TPropertyInfo*>> fProperties;
};

}  // namespace OrvixModBus
