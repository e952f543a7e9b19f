#pragma once
// uDocPages: the pages in docs/ that are made from the program, so that they can't differ from it.

#include <string>
#include <vector>

namespace OrvixModBus {

struct TDocPage {
  std::string Name;  ///< of its file in docs/
  std::string Text;
};

/// forms.md, and the tool's manual page and shell completion.
std::vector<TDocPage> DocPages();

}  // namespace OrvixModBus
