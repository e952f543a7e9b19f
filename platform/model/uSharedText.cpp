#include "platform/model/uSharedText.h"

#include <algorithm>

namespace OrvixModBus {

TSharedText::TSharedText(const std::string& text)
    : fText(text.empty() ? nullptr : new TText(text)) {}

const std::string& TSharedText::Get() const {
  static const std::string empty;
  const TText* const text = fText.Get();
  return text != nullptr ? text->Text : empty;
}

TSharedText TSharedTexts::Share(const std::string& text) {
  if (text == fLast.Get()) return fLast;
  const auto known = fTexts.find(text);
  if (known != fTexts.end()) return fLast = known->second;
  if (fTexts.size() >= fSweepAt) Sweep();
  const TSharedText added(text);
  fTexts.try_emplace(added.Get(), added);
  return fLast = added;
}

void TSharedTexts::Sweep() {
  std::erase_if(fTexts, [](const auto& text) { return text.second.fText.IsOnlyHolder(); });
  fSweepAt = std::max(fSweepAt, 2 * fTexts.size());
}

}  // namespace OrvixModBus
