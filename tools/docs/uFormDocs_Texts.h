#pragma once
// uFormDocs_Texts: what docs/forms.md says beyond the property tables.

#include <span>
#include <string_view>

namespace OrvixModBus {

struct TFormText {
  std::string_view Name, Text;
};

/// What there is to say of classes and properties.
std::span<const TFormText> FormTexts();
/// The begin of the page: the format.
std::string_view FormFormatText();

}  // namespace OrvixModBus
