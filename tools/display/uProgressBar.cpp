#include "tools/display/uProgressBar.h"

#include <algorithm>
#include <utility>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uText.h"
#include "tools/display/uTerminal.h"

namespace OrvixModBus {
namespace {

constexpr std::uint64_t kWidth = 30;

}  // namespace

std::string ProgressLine(const std::string& what, std::uint64_t done, std::uint64_t total) {
  const double share =
      total == 0 ? 1 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
  const auto filled = static_cast<std::size_t>(share * kWidth);
  return Format("  %s [%s%s] %3d %%  %u of %u",
                {what, std::string(filled, '#'), std::string(kWidth - filled, '-'),
                 static_cast<int>(share * 100), done, total});
}

TProgressBar::TProgressBar(std::string what, std::FILE* out)
    : fWhat(std::move(what)), fOut(out), fShown(IsTerminal(out)) {}

TProgressBar::~TProgressBar() {
  if (!fLine.empty()) Replace("");
}

void TProgressBar::Show(std::uint64_t done, std::uint64_t total) {
  if (!fShown) return;
  const std::string line = ProgressLine(fWhat, done, total);
  if (line != fLine) Replace(line);
}

void TProgressBar::Replace(const std::string& line) {
  const std::string blanks(static_cast<std::size_t>(Utf8Length(fLine)), ' ');
  std::fprintf(fOut, "\r%s\r%s", blanks.c_str(), line.c_str());
  std::fflush(fOut);
  fLine = line;
}

}  // namespace OrvixModBus
