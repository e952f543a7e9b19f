#pragma once
// uSharedText: a text that many objects have in common, kept once.

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/model/uShare.h"

namespace OrvixModBus {

/// A text in the size of one pointer; the empty one takes no memory. Copies share it.
class TSharedText {
 public:
  TSharedText() = default;
  explicit TSharedText(const std::string& text);

  const std::string& Get() const;

 private:
  friend class TSharedTexts;

  struct TText : TShared {
    explicit TText(const std::string& text) : Text(text) {}
    const std::string Text;
  };

  TShare<TText> fText;
};

/// Hands out shared texts, equal ones the same. Forgets those that nobody else has any more, now
/// and then. Single thread, and so are those to whom it hands them out.
class TSharedTexts {
 public:
  TSharedText Share(const std::string& text);
  /// Different ones that are kept.
  int Count() const { return static_cast<int>(fTexts.size()); }

 private:
  void Sweep();

  TSharedText fLast;  // mostly the next one is the same
  std::unordered_map<std::string_view, TSharedText> fTexts;
  std::size_t fSweepAt = 16;
};

}  // namespace OrvixModBus
