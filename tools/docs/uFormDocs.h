#pragma once
// uFormDocs: what docs/forms.md says - the format of form files, and every property of every class,
// taken from the property tables.

#include <string>
#include <string_view>
#include <vector>

#include "platform/model/uProperty.h"

namespace OrvixModBus {

/// The whole page, in Markdown.
std::string FormDocs();

/// What the page says of a property, by "TClass.Property" of the class that declares it, and of a
/// class by its name; empty when it has nothing to say.
std::string_view FormDescription(std::string_view name);
/// All names that have a description.
std::vector<std::string_view> FormDescriptionNames();

/// The classes that a form may hold, as components or as items inside them, each once.
std::vector<const TClassInfo*> FormClasses();
/// "TModbusConnection.Port" for TMBRTUConnection's Port: by the class that declares it.
std::string DeclaredName(const TClassInfo& info, const TPropertyInfo& property);

}  // namespace OrvixModBus
