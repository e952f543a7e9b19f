// Any text as a form: it is read or refused, and what is read is written as text that reads back
// the same.

#include <memory>
#include <string>

#include "platform/model/uForm.h"
#include "tests/fuzz/fuzz.h"
#include "uMBForm.h"

namespace OrvixModBus {
namespace {

TFormFile NewForm() {
  TFormFile form;
  form.RegisterClasses(ModBusClasses());
  form.SetIgnoreUnknownMethods(true);
  return form;
}

// Empty for a tree that can't be written.
std::string Written(const TFormFile& form, const TComponent& root) {
  try {
    return form.Write(root);
  } catch (const Exception&) {
    return {};
  }
}

}  // namespace

void FuzzOne(std::string_view input) {
  static TFormFile form = NewForm();
  const auto mistakes = form.Check(input);
  std::unique_ptr<TComponent> root;
  try {
    root = form.ReadLoading(input);
  } catch (const EFormError&) {
    Require(!mistakes.empty(), "what can't be read has a mistake");
    return;
  }
  Require(mistakes.empty(), "what can be read has none");
  const std::string text = Written(form, *root);
  Require(!text.empty(), "what was read can be written");
  Require(Written(form, *form.ReadLoading(text)) == text, "written text is canonical");
}

}  // namespace OrvixModBus
